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
# and, as a CGI program gets its body from the web server, from a pipe
# (cat BODY | PROGRAM): "cat|cat" and "cat|reader".  GNU cat copies a file
# into a file inside the kernel (copy_file_range); from a pipe it reads and
# writes as the reader does.
#
# Each runs ROUNDS times under /usr/bin/time -v, interleaved; the best time
# counts (the peak resident size is the consumer's).  Printed: seconds, MiB/s, throughput as a ratio to cat's, and the
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
  local command=("$work/${name#cat|}")
  case "$name" in cat | "cat|cat") command=(sh -c 'exec cat > "$UPLOAD_DIR/file"') ;; esac
  local input=("$work/body")
  [ "${name#cat|}" != "$name" ] && input=(cat "$work/body")
  # /usr/bin/time tells the peak resident size; its clock counts in
  # hundredths, so the wall time is read around it.
  local start end
  start=$(date +%s.%N)
  if [ "${#input[@]}" -eq 1 ]; then
    /usr/bin/time -v -o "$work/time" "${command[@]}" < "$work/body"
  else
    "${input[@]}" | /usr/bin/time -v -o "$work/time" "${command[@]}"
  fi
  end=$(date +%s.%N)
  local stored
  stored=$(find "$work/out" -type f -printf '%s\n')
  if [ "${name%cat}" = "$name" ] && [ "$stored" != $((size_mib * 1048576)) ]; then
    echo "upload_throughput: $name stored ${stored:-nothing}, not $((size_mib * 1048576)) bytes" >&2
    exit 1
  fi
  awk -v name="$name" -v seconds="$(awk -v a="$start" -v b="$end" 'BEGIN { print b - a }')" -F': ' '
    /Maximum resident set size/ { kib = $2 }
    END { print name, seconds, kib }' "$work/time" >> "$work/results"
}

for round in $(seq 1 "$rounds"); do
  for name in cat reader cgicc "cat|cat" "cat|reader"; do run "$name"; done
done

echo "upload of $size_mib MiB ($length bytes of body), best of $rounds, load: $(cut -d' ' -f1-3 /proc/loadavg)"
awk -v mib="$size_mib" '
  { if (!($1 in best) || $2 < best[$1]) best[$1] = $2; if ($3 > peak[$1]) peak[$1] = $3 }
  END {
    printf "  %-11s %9s %9s %9s %12s\n", "program", "seconds", "MiB/s", "vs cat", "peak RSS KiB"
    n = split("cat reader cgicc cat|cat cat|reader", order, " ")
    for (i = 1; i <= n; i++) {
      p = order[i]; s = best[p] > 0 ? best[p] : 0.005
      floor = p ~ /^cat\|/ ? "cat|cat" : "cat"
      printf "  %-11s %9.3f %9.1f %9.2f %12d\n", p, best[p], mib / s, (best[floor] > 0 ? best[floor] : 0.005) / s, peak[p]
    }
  }' "$work/results"
