#!/usr/bin/env bash
# Runs every fuzz target of a fuzz build for a while (default 20 s each),
# starting from the seed inputs in fuzz/corpus/.  New inputs go to a scratch
# directory, so the repository is never written.
#
#   scripts/fuzz.sh BUILD_DIR [SECONDS]
set -euo pipefail
build=$1
seconds=${2:-20}
source_dir=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
work=$(mktemp -d /tmp/arx-fuzz.XXXXXX)
trap 'rm -rf "$work"' EXIT

status=0
for fuzzer in "$build"/fuzz/fuzz_*; do
  [ -x "$fuzzer" ] || continue
  name=${fuzzer##*/fuzz_}
  mkdir -p "$work/$name"
  printf 'fuzz %-16s ' "$name"
  if "$fuzzer" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 -print_final_stats=1 \
       -artifact_prefix="$work/$name/" "$work/$name" "$source_dir/fuzz/corpus/$name" > "$work/$name.log" 2>&1; then
    grep -E '^stat::number_of_executed_units' "$work/$name.log" | awk '{print $2 " runs, no failure"}'
  else
    echo "FAILED"
    tail -n 40 "$work/$name.log"
    mkdir -p "$build/fuzz-failures"
    cp -a "$work/$name/." "$build/fuzz-failures/" 2>/dev/null || true
    status=1
  fi
done
exit $status
