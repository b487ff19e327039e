#!/usr/bin/env bash
# The cost of the settings forms and files against their floors:
#
# 1. personal_settings.cgi "apply" (the session check, five fields
#    validated, the user's settings read and saved under the file's lock)
#    as a whole process, against the C++ program that links only libstdc++
#    and jsoncpp (bench/floor_cxx_jsoncpp.cc), given the same request.
# 2. WebUtils::SaveJsonFile of a 64 KiB document against writing the same
#    bytes to a temporary file, fsync and rename (target: at most 1.3x).
#
# As bench/request_cost.sh does, the libraries are installed stripped into
# a scratch prefix and the programs built against it with pkg-config.  The
# demo's root serves as the appliance's; the program switches to the
# session's user, so this runs as root only (77 otherwise).
#
#   bench/settings_cost.sh [BUILD_DIR] [ROUNDS]
set -euo pipefail
source_dir=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
build=${1:-$source_dir/build/release}
rounds=${2:-1000}
if [ "$(id -u)" -ne 0 ]; then
  echo "settings_cost: needs root (the program switches to the session's user)"
  exit 77
fi
work=$(mktemp -d /tmp/arx-bench.XXXXXX)
trap 'rm -rf "$work"' EXIT

cmake --install "$build" --prefix "$work/prefix" --strip > /dev/null
libdir=$(dirname "$(find "$work/prefix" -name 'libarx.so.7' | head -n 1)")
export PKG_CONFIG_PATH="$libdir/pkgconfig"
arx() { c++ -O2 -std=c++17 -I"$source_dir" "$@" $(pkg-config --cflags --libs arx) -Wl,--disable-new-dtags,-rpath,"$libdir"; }
c++ -O2 -std=c++17 -o "$work/floor_cxx_jsoncpp" "$source_dir/bench/floor_cxx_jsoncpp.cc" \
    $(pkg-config --cflags --libs jsoncpp)
arx -o "$work/personal_settings" "$source_dir/cgi-bin/personal_settings.cc" "$source_dir/cgi-bin/request_checks.cc"
arx -o "$work/settings_session" "$source_dir/bench/settings_session.cc"
arx -o "$work/settings_save_bench" "$source_dir/bench/settings_save_bench.cc"

cp -a "$source_dir/demo/root" "$work/root"
chmod 0755 "$work" "$work/root"   # the program acts as the session's user in there
chmod 0600 "$work/root/etc/shadow"
export VORN_ROOT="$work/root" REMOTE_ADDR=127.0.0.1
read -r id token < <("$work/settings_session" alice)
printf 'action=apply&display_name=Bench&email=bench%%40example.com&page_size=25&timezone=UTC&refresh=60' \
  > "$work/body"
export REQUEST_METHOD=POST CONTENT_TYPE=application/x-www-form-urlencoded
export CONTENT_LENGTH=$(stat -c %s "$work/body") HTTP_COOKIE="id=$id" HTTP_X_VORNTOKEN="$token"
# The measured request must be the real thing: authorized, valid, saved.
"$work/personal_settings" < "$work/body" > "$work/first" || true
if ! grep -q '"success" : true' "$work/first"; then
  echo "settings_cost: personal_settings.cgi did not apply:"; cat "$work/first"; exit 1
fi

"$build/bench/exec_bench" "$rounds" "$work/body" "$work/floor_cxx_jsoncpp" "$work/personal_settings" > "$work/times"
read -r _ cxx_median cxx_mean < <(sed -n 1p "$work/times")
read -r _ form_median form_mean < <(sed -n 2p "$work/times")
echo "per request, $rounds rounds (median / mean, microseconds):"
printf '  %-40s %8.1f %8.1f\n' "C++ program with jsoncpp" "$cxx_median" "$cxx_mean" \
  "personal_settings.cgi apply" "$form_median" "$form_mean"
awk -v f="$form_median" -v x="$cxx_median" 'BEGIN { printf "  apply / C++ + jsoncpp floor: %.2fx\n", f / x }'

mkdir "$work/save"
"$work/settings_save_bench" "$rounds" "$work/save" > "$work/saves"
read -r _ bytes < <(grep '^bytes' "$work/saves")
read -r _ save_median save_mean < <(grep '^save' "$work/saves")
read -r _ floor_median floor_mean < <(grep '^floor' "$work/saves")
echo "one save of a $bytes-byte document, $rounds rounds (median / mean, microseconds):"
printf '  %-40s %8.1f %8.1f\n' "write, fsync, rename" "$floor_median" "$floor_mean" \
  "WebUtils::SaveJsonFile" "$save_median" "$save_mean"
awk -v s="$save_median" -v f="$floor_median" \
  'BEGIN { printf "  SaveJsonFile / write+fsync+rename: %.2fx (target: at most 1.30x)\n", s / f }'
