#!/usr/bin/env bash
# Cost of the desktop's configuration with a generated tree of modules,
# each as a ratio to its floor measured in the same run:
#
#   (a) the module scan without the cache (JSConfigParser::
#       ParsePathFromVornman) against reading and parsing the same config
#       files with jsoncpp in one loop (in one process, Google Benchmark),
#       and against that loop with the readability checks every module
#       needs (each script file its config names, its style sheet);
#   (a') the same two as whole processes, one scan or one loop each: what a
#       request without a cache pays in fresh memory;
#   (b) desktop.cgi answering the configuration and the texts from the cache
#       (session check, stamp, both cache files, the document, its ETag)
#       against a C++ program that reads the two cache files into jsoncpp;
#   (c) desktop.cgi answering "304 Not Modified" against a C++ program that
#       links jsoncpp and prints a response;
#   (d) desktop.cgi answering the configuration of a standalone
#       application's page (app=ID: the desktop's configuration to check the
#       application, then the page's own) against the full desktop's, both
#       from the cache.
#
# The libraries are installed stripped into a scratch prefix and every
# program is built against it with pkg-config, as an outside program
# would be.  The whole processes of (b) and (c) are timed with exec_bench,
# interleaved round by round.  Needs root: the cache is root's (as another
# user the script says so and exits with 77, which CTest counts as skipped).
#
#   bench/desktop_cost.sh [BUILD_DIR] [ROUNDS] [MODULES]
set -euo pipefail
source_dir=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
build=$(cd "${1:-$source_dir/build/release}" && pwd)
rounds=${2:-500}
modules=${3:-500}
if [ "$(id -u)" -ne 0 ]; then
  echo "bench: the desktop configuration's cache is root's: run as root (skipped)" >&2
  exit 77
fi
work=$(mktemp -d /tmp/arx-desktop-bench.XXXXXX)
trap 'rm -rf "$work"' EXIT

# The programs, built against the installed libraries.
cmake --install "$build" --prefix "$work/prefix" --strip > /dev/null
libdir=$(dirname "$(find "$work/prefix" -name 'libarx.so.7' | head -n 1)")
export PKG_CONFIG_PATH="$libdir/pkgconfig"
run_path=(-Wl,--disable-new-dtags,-rpath,"$libdir")
cxx() { c++ -O2 -std=c++17 "$@" "${run_path[@]}"; }
cxx -o "$work/desktop_scan_bench" "$source_dir/bench/desktop_scan_bench.cc" $(pkg-config --cflags --libs arx) \
    -lbenchmark -lpthread
cxx -o "$work/desktop_scan_once" "$source_dir/bench/desktop_scan_once.cc" $(pkg-config --cflags --libs arx)
cxx -I "$source_dir" -o "$work/desktop.cgi" "$source_dir/cgi-bin/desktop.cc" "$source_dir/cgi-bin/compact_json.cc" \
    "$source_dir/cgi-bin/json_answer.cc" \
    $(pkg-config --cflags --libs arx)
cxx -I "$source_dir" -o "$work/login.cgi" "$source_dir/cgi-bin/login.cc" "$source_dir/cgi-bin/request_checks.cc" "$source_dir/cgi-bin/json_answer.cc" \
    $(pkg-config --cflags --libs arx)
cxx -o "$work/floor_cache_read" "$source_dir/bench/floor_cache_read.cc" $(pkg-config --cflags --libs jsoncpp)
cxx -o "$work/floor_cxx_jsoncpp" "$source_dir/bench/floor_cxx_jsoncpp.cc" $(pkg-config --cflags --libs jsoncpp)

# The demo's root (its users) with a generated desktop of $modules modules.
root="$work/root"
cp -a "$source_dir/demo/root" "$root"
chmod 0600 "$root/etc/shadow"
"$source_dir/bench/make_module_tree.sh" "$modules" "$root"
export VORN_ROOT="$root"

# (a) The scan, in one process.
scan=$("$work/desktop_scan_bench" --benchmark_repetitions=$((rounds >= 100 ? 20 : 3)) \
         --benchmark_enable_random_interleaving=true --benchmark_report_aggregates_only=true \
         --benchmark_format=csv 2> /dev/null)
floor_scan=$(awk -F, '$1 == "\"ReadAndParseConfigs_median\"" { print $4 }' <<< "$scan")
cold_scan=$(awk -F, '$1 == "\"ColdScan_median\"" { print $4 }' <<< "$scan")
checked_scan=$(awk -F, '$1 == "\"ReadParseAndCheckConfigs_median\"" { print $4 }' <<< "$scan")

# (a') The same as whole processes: one loop, one scan.
# At least one style sheet per generated module, or the scan found nothing.
[ "$("$work/desktop_scan_once" scan)" -ge "$modules" ] || { echo "bench: the scan missed modules" >&2; exit 1; }
times_once=$("$build/bench/exec_bench" "$rounds" /dev/null "$work/desktop_scan_once floor" "$work/desktop_scan_once scan")
floor_once=$(sed -n 1p <<< "$times_once" | awk '{ print $2 }')
scan_once=$(sed -n 2p <<< "$times_once" | awk '{ print $2 }')

# A session of admin, who sees every application (a login as a CGI process
# would run), and the cache built ahead of the first request, as a package
# install would.
login=$(printf 'user=admin&password=harbor-admin' |
        env REQUEST_METHOD=POST CONTENT_TYPE=application/x-www-form-urlencoded CONTENT_LENGTH=32 \
            REMOTE_ADDR=127.0.0.1 "$work/login.cgi")
id=$(sed -n 's/^Set-Cookie: id=\([^;]*\);.*/\1/p' <<< "$login" | tr -d '\r')
[ -n "$id" ] || { echo "bench: the login failed: $login" >&2; exit 1; }
# The installed tool carries no run path (a system's loader finds the
# library in its own directories).
standalone=VORN.PAD.Bench.Module0003
LD_LIBRARY_PATH="$libdir" "$work/prefix/sbin/js-config-cache" --warm enu > /dev/null
LD_LIBRARY_PATH="$libdir" "$work/prefix/sbin/js-config-cache" --warm enu --app "$standalone" > /dev/null
stamp=$(env REQUEST_METHOD=GET QUERY_STRING=part=version HTTP_COOKIE="id=$id" REMOTE_ADDR=127.0.0.1 \
          SCRIPT_NAME=/webapi/desktop.cgi "$work/desktop.cgi" | sed -n 's/.*"version":"\([^"]*\)".*/\1/p')
app_stamp=$(env REQUEST_METHOD=GET QUERY_STRING="part=version&app=$standalone" HTTP_COOKIE="id=$id" \
              REMOTE_ADDR=127.0.0.1 SCRIPT_NAME=/webapi/desktop.cgi "$work/desktop.cgi" |
            sed -n 's/.*"version":"\([^"]*\)".*/\1/p')
[ -n "$stamp" ] && [ -n "$app_stamp" ] || { echo "bench: desktop.cgi gave no version" >&2; exit 1; }
export REQUEST_METHOD=GET HTTP_COOKIE="id=$id" REMOTE_ADDR=127.0.0.1 SCRIPT_NAME=/webapi/desktop.cgi \
       DESKTOP_LANG=enu

# desktop.cgi must give what is measured, before and after: a refused or
# short answer would be cheaper and make the figure lie.
check() { # query, what the answer holds
  local answer
  answer=$(QUERY_STRING="$1" "$work/desktop.cgi")
  if ! grep -q "$2" <<< "$answer"; then
    echo "bench: desktop.cgi?$1 did not answer with $2: ${answer:0:300}" >&2
    exit 1
  fi
}
config_query="part=config&lang=enu&user=admin&v=$stamp"
texts_query="part=texts&lang=enu&user=admin&v=$stamp"
app_query="part=config&lang=enu&user=admin&v=$app_stamp&app=$standalone"
etag=$(QUERY_STRING="$config_query" "$work/desktop.cgi" | sed -n 's/^ETag: \(.*\)\r$/\1/p')
[ -n "$etag" ] || { echo "bench: desktop.cgi gave no ETag" >&2; exit 1; }
checks() {
  check "$config_query" "Module$(printf '%04d' $((modules - 1)))"
  check "$texts_query" "Application $((modules - 1))"
  HTTP_IF_NONE_MATCH="$etag" check "$config_query" "Status: 304 Not Modified"
  check "$app_query" "ETag"
}
checks

time_programs() { # query, programs...
  local query=$1
  shift
  QUERY_STRING="$query" "$build/bench/exec_bench" "$rounds" /dev/null "$@"
}
times_config=$(time_programs "$config_query" "$work/floor_cache_read" "$work/desktop.cgi")
times_texts=$(time_programs "$texts_query" "$work/floor_cache_read" "$work/desktop.cgi")
times_304=$(HTTP_IF_NONE_MATCH="$etag" time_programs "$config_query" "$work/floor_cxx_jsoncpp" "$work/desktop.cgi")
times_app=$(time_programs "$app_query" "$work/desktop.cgi")
checks

median_of() { sed -n "${2}p" <<< "$1" | awk '{ print $2 }'; }
config_floor=$(median_of "$times_config" 1) config_cgi=$(median_of "$times_config" 2)
texts_floor=$(median_of "$times_texts" 1) texts_cgi=$(median_of "$times_texts" 2)
cxx_floor=$(median_of "$times_304" 1) not_modified=$(median_of "$times_304" 2)
app_cgi=$(median_of "$times_app" 1)
config_size=$(stat -c %s "$root/var/cache/js_config_parser/config/ARX.json")
texts_size=$(stat -c %s "$root/var/cache/js_config_parser/texts/ARX_enu.json")

echo "desktop configuration, $modules modules (cache: configuration $config_size bytes, texts $texts_size bytes)"
echo "(a) the scan without the cache, median of the repetitions (ms, cpu time):"
printf '  %-52s %9.2f\n' "read and parse the $modules config files" "$floor_scan" \
  "the same and the readability checks of each module" "$checked_scan" \
  "JSConfigParser::ParsePathFromVornman, no cache" "$cold_scan"
awk -v s="$cold_scan" -v f="$floor_scan" -v c="$checked_scan" 'BEGIN {
  printf "  scan / floor: %.2fx (target: at most 1.50x)\n", s / f
  printf "  scan / floor with the checks: %.2fx (the checks alone: %.2fx of the floor)\n", s / c, c / f }'
echo "(a') the same as whole processes, $rounds rounds, medians (microseconds):"
printf '  %-52s %9.1f\n' "read and parse the $modules config files" "$floor_once" \
  "JSConfigParser::ParsePathFromVornman, no cache" "$scan_once"
awk -v s="$scan_once" -v f="$floor_once" 'BEGIN { printf "  scan / floor: %.2fx\n", s / f }'
echo "(b, c) whole processes, $rounds rounds, medians (microseconds):"
printf '  %-52s %9.1f\n' "read the two cache files into jsoncpp" "$config_floor" \
  "desktop.cgi?part=config from the cache (200, ETag)" "$config_cgi" \
  "read the two cache files into jsoncpp" "$texts_floor" \
  "desktop.cgi?part=texts from the cache (200, ETag)" "$texts_cgi" \
  "C++ program with jsoncpp" "$cxx_floor" \
  "desktop.cgi, If-None-Match (304)" "$not_modified" \
  "desktop.cgi?part=config&app=$standalone (200, ETag)" "$app_cgi"
awk -v c="$config_cgi" -v cf="$config_floor" -v t="$texts_cgi" -v tf="$texts_floor" -v n="$not_modified" \
    -v x="$cxx_floor" 'BEGIN {
  printf "  (b) configuration / floor: %.2fx, texts / floor: %.2fx (target: at most 1.30x)\n", c / cf, t / tf
  printf "  (c) 304 / C++ + jsoncpp floor: %.2fx\n", n / x
}'
awk -v a="$app_cgi" -v c="$config_cgi" 'BEGIN {
  printf "  (d) standalone application / full desktop, from the cache: %.2fx\n", a / c
}'
