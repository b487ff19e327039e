#!/usr/bin/env bash
# Per-request cost of a CGI program built on WebMan (construct, read a 1 KiB
# JSON body, write headers and a JSON body), run as a whole process, against
# two floors given the same input: a trivial C program, and a C++ program
# linked against libstdc++ and jsoncpp only.
#
# The libraries are installed stripped into a scratch prefix, as a package
# would install them, and the three programs are built against it with
# pkg-config, as an outside program would be: the build tree's run paths
# would make the loader search directories a real system never searches.
# The program finds the prefix through its (transitive) DT_RPATH.
#
# With BASELINE_PREFIX (an earlier build installed with `cmake --install
# BUILD --prefix DIR --strip`), the same program is also built against that
# tree and timed in the same interleaved run, so that a change is measured
# against what it replaces on one machine state.
#
#   bench/request_cost.sh [BUILD_DIR] [ROUNDS] [BASELINE_PREFIX]
set -euo pipefail
source_dir=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
build=${1:-$source_dir/build/release}
rounds=${2:-2000}
baseline=${3:-}
work=$(mktemp -d /tmp/arx-bench.XXXXXX)
trap 'rm -rf "$work"' EXIT

cmake --install "$build" --prefix "$work/prefix" --strip > /dev/null
libdir=$(dirname "$(find "$work/prefix" -name 'libarx.so.7' | head -n 1)")
export PKG_CONFIG_PATH="$libdir/pkgconfig"
cc -O2 -o "$work/floor_c" "$source_dir/bench/floor_c.c"
c++ -O2 -std=c++17 -o "$work/floor_cxx_jsoncpp" "$source_dir/bench/floor_cxx_jsoncpp.cc" \
    $(pkg-config --cflags --libs jsoncpp)
c++ -O2 -std=c++17 -o "$work/webman_request" "$source_dir/bench/webman_request.cc" \
    $(pkg-config --cflags --libs arx) -Wl,--disable-new-dtags,-rpath,"$libdir"
programs=("$work/floor_c" "$work/floor_cxx_jsoncpp" "$work/webman_request")
if [ -n "$baseline" ]; then
  baselib=$(dirname "$(find "$baseline" -name 'libarx.so.7' | head -n 1)")
  c++ -O2 -std=c++17 -o "$work/webman_baseline" "$source_dir/bench/webman_request.cc" \
      $(PKG_CONFIG_PATH="$baselib/pkgconfig" pkg-config --cflags --libs arx) \
      -Wl,--disable-new-dtags,-rpath,"$baselib"
  programs+=("$work/webman_baseline")
fi

# A JSON body of exactly 1 KiB.
{
  printf '{"name":"bench","items":['
  for i in $(seq 1 40); do printf '"item-%03d",' "$i"; done
  printf '"last"],"note":"'
  head -c 541 /dev/zero | tr '\0' 'x'
  printf '"}'
} > "$work/body.json"
size=$(stat -c %s "$work/body.json")

mkdir -p "$work/root"
export VORN_ROOT="$work/root" REQUEST_METHOD=POST CONTENT_TYPE=application/json CONTENT_LENGTH=$size

"$build/bench/exec_bench" "$rounds" "$work/body.json" "${programs[@]}" > "$work/times"

read -r _ c_median c_mean < <(sed -n 1p "$work/times")
read -r _ cxx_median cxx_mean < <(sed -n 2p "$work/times")
read -r _ web_median web_mean < <(sed -n 3p "$work/times")
echo "per request, $rounds rounds, body $size bytes (median / mean, microseconds):"
printf '  %-34s %8.1f %8.1f\n' "trivial C program" "$c_median" "$c_mean" \
  "C++ program with jsoncpp" "$cxx_median" "$cxx_mean" "WebMan request" "$web_median" "$web_mean"
awk -v w="$web_median" -v x="$cxx_median" -v c="$c_median" 'BEGIN {
  printf "  WebMan / C++ + jsoncpp floor: %.2fx (target: at most 1.30x)\n", w / x
  printf "  WebMan / trivial C floor:     %.2fx\n", w / c
}'
if [ -n "$baseline" ]; then
  read -r _ base_median base_mean < <(sed -n 4p "$work/times")
  printf '  %-34s %8.1f %8.1f\n' "WebMan request, baseline" "$base_median" "$base_mean"
  awk -v w="$web_median" -v b="$base_median" -v x="$cxx_median" 'BEGIN {
    printf "  baseline / C++ + jsoncpp floor: %.2fx; this build / baseline: %.3fx\n", b / x, w / b
  }'
fi
