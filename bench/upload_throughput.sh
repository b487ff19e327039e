#!/usr/bin/env bash
# An upload read as a whole process: the body (one file part of SIZE MiB of
# random bytes in a multipart/form-data body) on standard input from a file,
# the file stored into a scratch directory.  Three programs, each given the
# same body:
#
#   cat       cat BODY > DIR/file: the floor, what copying the bytes costs
#   reader    a WebMan program: LoadIn(DIR), the platform's streaming reader
#   cgicc     a CGI program built on cgicc (Debian's libcgicc-dev), which
#             reads the whole body into memory before it parses it
#
# Each runs ROUNDS times under /usr/bin/time -v, interleaved; the best time
# counts.  Printed: seconds, MiB/s, throughput as a ratio to cat's, and the
# peak resident size.  The libraries are installed into a scratch prefix and
# the programs built against it with pkg-config, as an outside program
# would be.  Targets: reader at least 0.8 of cat's throughput, peak
# resident size under 8 MiB.
#
#   bench/upload_throughput.sh [BUILD_DIR] [SIZE_MIB] [ROUNDS]
set -euo pipefail
source_dir=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
build=${1:-$source_dir/build/release}
size_mib=${2:-100}
rounds=${3:-3}
work=$(mktemp -d /tmp/arx-upload-bench.XXXXXX)
trap 'rm -rf "$work"' EXIT

cmake --install "$build" --prefix "$work/prefix" --strip > /dev/null
libdir=$(dirname "$(find "$work/prefix" -name 'libarx.so.7' | head -n 1)")
export PKG_CONFIG_PATH="$libdir/pkgconfig"
c++ -O2 -std=c++17 -o "$work/reader" "$source_dir/bench/upload_reader.cc" \
    $(pkg-config --cflags --libs arx) -Wl,--disable-new-dtags,-rpath,"$libdir"
c++ -O2 -std=c++17 -o "$work/cgicc" "$source_dir/bench/upload_cgicc.cc" -lcgicc

boundary="----ArxBenchBoundary7MA4YWxkTrZu0gW"
{
  printf -- '--%s\r\nContent-Disposition: form-data; name="folder"\r\n\r\n/public\r\n' "$boundary"
  printf -- '--%s\r\nContent-Disposition: form-data; name="file"; filename="bench.bin"\r\n' "$boundary"
  printf 'Content-Type: application/octet-stream\r\n\r\n'
  head -c $((size_mib * 1048576)) /dev/urandom
  printf -- '\r\n--%s--\r\n' "$boundary"
} > "$work/body"
length=$(stat -c %s "$work/body")

mkdir -p "$work/root" "$work/out"
export VORN_ROOT="$work/root" UPLOAD_DIR="$work/out" REQUEST_METHOD=POST
export CONTENT_TYPE="multipart/form-data; boundary=$boundary" CONTENT_LENGTH=$length

run() {  # run NAME: one timed run; appends "NAME seconds kib" to the results
  local name=$1
  rm -rf "$work/out" && mkdir "$work/out" && sync
  local command=("$work/$name")
  [ "$name" = cat ] && command=(sh -c 'exec cat > "$UPLOAD_DIR/file"')
  /usr/bin/time -v -o "$work/time" "${command[@]}" < "$work/body"
  local stored
  stored=$(find "$work/out" -type f -printf '%s\n')
  if [ "$name" != cat ] && [ "$stored" != $((size_mib * 1048576)) ]; then
    echo "upload_throughput: $name stored ${stored:-nothing}, not $((size_mib * 1048576)) bytes" >&2
    exit 1
  fi
  awk -v name="$name" -F': ' '
    /Elapsed \(wall clock\)/ { n = split($2, t, ":"); s = 0; for (i = 1; i <= n; i++) s = s * 60 + t[i] }
    /Maximum resident set size/ { kib = $2 }
    END { print name, s, kib }' "$work/time" >> "$work/results"
}

for round in $(seq 1 "$rounds"); do
  for name in cat reader cgicc; do run "$name"; done
done

echo "upload of $size_mib MiB ($length bytes of body), best of $rounds, load: $(cut -d' ' -f1-3 /proc/loadavg)"
awk -v mib="$size_mib" '
  { if (!($1 in best) || $2 < best[$1]) best[$1] = $2; if ($3 > peak[$1]) peak[$1] = $3 }
  END {
    printf "  %-8s %9s %9s %9s %12s\n", "program", "seconds", "MiB/s", "vs cat", "peak RSS KiB"
    n = split("cat reader cgicc", order, " ")
    for (i = 1; i <= n; i++) {
      p = order[i]; s = best[p] > 0 ? best[p] : 0.005
      printf "  %-8s %9.2f %9.1f %9.2f %12d\n", p, best[p], mib / s, (best["cat"] > 0 ? best["cat"] : 0.005) / s, peak[p]
    }
  }' "$work/results"
