#!/usr/bin/env bash
# Installs what is missing, builds, and runs every test: the unit and
# end-to-end tests, the same tests under AddressSanitizer and
# UndefinedBehaviorSanitizer, and each fuzz target for a short while.
#
#   scripts/test.sh            (FUZZ_SECONDS=N sets the time per fuzz target)
set -euo pipefail
source_dir=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
fuzz_seconds=${FUZZ_SECONDS:-20}

step() { printf '\n== %s\n' "$*"; }

step "dependencies"
"$source_dir/scripts/setup.sh"

if [ "$(id -u)" -ne 0 ]; then
  echo "note: not root: the identity tests will be skipped"
fi

for kind in release asan; do
  step "build ($kind)"
  "$source_dir/scripts/build.sh" "$kind"
  step "tests ($kind)"
  ctest --test-dir "$source_dir/build/$kind" -j2 --output-on-failure --timeout 300
done

step "build (fuzz)"
"$source_dir/scripts/build.sh" fuzz
step "fuzzing, ${fuzz_seconds}s per target"
"$source_dir/scripts/fuzz.sh" "$source_dir/build/fuzz" "$fuzz_seconds"

step "all tests passed"
