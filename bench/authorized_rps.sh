#!/usr/bin/env bash
# Requests per second through lighttpd of an authorized request: whoami.cgi
# (session cookie, IsAuthorized, setEUGID, a small JSON reply) against two
# floors behind the same server with the same request: an empty C++ CGI
# program linked against libstdc++ and jsoncpp, and a trivial C program.
#
# The libraries are installed stripped into a scratch prefix and the
# programs built against it with pkg-config, as an outside program would
# be.  All programs get the same run path to the prefix, so that the
# loader's search of that directory (an appliance finds its libraries
# through ld.so.cache instead) costs each of them alike.  wrk drives each target on loopback for SECONDS against a freshly
# started server; ROUNDS rounds run the targets in turn.  The ratios are
# the medians of the rounds' own ratios: neighbouring runs see the same
# machine, so a busy moment does not count for one target only.
#
#   bench/authorized_rps.sh [BUILD_DIR] [SECONDS] [ROUNDS] [CONNECTIONS]
set -euo pipefail
source_dir=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
build=$(cd "${1:-$source_dir/build/release}" && pwd)
seconds=${2:-5}
rounds=${3:-8}
connections=${4:-4}
lighttpd=$(command -v lighttpd || echo /usr/sbin/lighttpd)
command -v wrk > /dev/null || { echo "bench: wrk is missing (scripts/setup.sh installs it)" >&2; exit 1; }

work=$(mktemp -d /tmp/arx-rps.XXXXXX)
server=""
stop_server() {
  if [ -n "$server" ]; then
    kill "$server" 2> /dev/null || true
    wait "$server" 2> /dev/null || true
    server=""
  fi
}
trap 'stop_server; rm -rf "$work"' EXIT

port_in_use() { (exec 3<>"/dev/tcp/127.0.0.1/$1") 2> /dev/null; }
port=8180
while port_in_use "$port"; do port=$((port + 1)); done

start_server() {
  "$lighttpd" -D -f "$work/appliance/lighttpd.conf" &
  server=$!
  for _ in $(seq 1 200); do
    port_in_use "$port" && return 0
    sleep 0.02
  done
  echo "bench: lighttpd did not start" >&2
  exit 1
}

# The programs, built against the installed libraries.
cmake --install "$build" --prefix "$work/prefix" --strip > /dev/null
libdir=$(dirname "$(find "$work/prefix" -name 'libarx.so.7' | head -n 1)")
export PKG_CONFIG_PATH="$libdir/pkgconfig"
run_path=(-Wl,--disable-new-dtags,-rpath,"$libdir")
mkdir -p "$work/programs"
cc -O2 -o "$work/programs/floor_c.cgi" "$source_dir/bench/floor_c.c" "${run_path[@]}"
c++ -O2 -std=c++17 -o "$work/programs/floor_cxx_jsoncpp.cgi" "$source_dir/bench/floor_cxx_jsoncpp.cc" \
    $(pkg-config --cflags --libs jsoncpp) "${run_path[@]}"
c++ -O2 -std=c++17 -o "$work/programs/whoami.cgi" "$source_dir/cgi-bin/whoami.cc" \
    $(pkg-config --cflags --libs arx) "${run_path[@]}"
# login.cgi shares the request checks and the JSON answer of the programs.
c++ -O2 -std=c++17 -I "$source_dir" -o "$work/programs/login.cgi" "$source_dir/cgi-bin/login.cc" \
    "$source_dir/cgi-bin/request_checks.cc" "$source_dir/cgi-bin/json_answer.cc" $(pkg-config --cflags --libs arx) "${run_path[@]}"

# The demo appliance, serving these programs only.
"$source_dir/scripts/stage-root.sh" "$work/appliance" "$build" "$port"
rm -f "$work/appliance/www/webapi/"*.cgi
cp "$work/programs/"*.cgi "$work/appliance/www/webapi/"

base="http://127.0.0.1:$port/webapi"
# whoami.cgi must answer as the session's user, before and after the runs:
# a refused request would be cheaper and make the figure lie.
check_whoami() {
  start_server
  reply=$(curl -s -H "Cookie: id=$id" "$base/whoami.cgi")
  stop_server
  case "$reply" in
    *'"euid" :'*'"user" : "alice"'*) ;;
    *) echo "bench: whoami.cgi did not answer for the session: $reply" >&2; exit 1 ;;
  esac
}
start_server
id=$(curl -s -c - -d 'user=alice&password=harbor-alice' "$base/login.cgi" | awk '$6 == "id" { print $7 }')
stop_server
check_whoami
[ "$(id -u)" -eq 0 ] || echo "note: not root: whoami.cgi cannot switch identities, its setEUGID fails"

targets=(floor_c floor_cxx_jsoncpp whoami)
declare -A results
ratios_cxx="" ratios_c=""
for round in $(seq 1 "$rounds"); do
  declare -A rate
  for target in "${targets[@]}"; do
    start_server
    rate[$target]=$(wrk -t2 -c"$connections" -d"${seconds}s" -H "Cookie: id=$id" "$base/$target.cgi" |
                    awk '/^Requests\/sec:/ { print $2 }')
    stop_server
    results[$target]="${results[$target]:-} ${rate[$target]}"
  done
  ratio_cxx=$(awk -v w="${rate[whoami]}" -v x="${rate[floor_cxx_jsoncpp]}" 'BEGIN { printf "%.3f", w / x }')
  ratio_c=$(awk -v w="${rate[whoami]}" -v c="${rate[floor_c]}" 'BEGIN { printf "%.3f", w / c }')
  ratios_cxx="$ratios_cxx $ratio_cxx" ratios_c="$ratios_c $ratio_c"
  printf 'round %2d  C %8.1f  C++ %8.1f  whoami %8.1f requests/s  ratio %s\n' "$round" \
    "${rate[floor_c]}" "${rate[floor_cxx_jsoncpp]}" "${rate[whoami]}" "$ratio_cxx"
done

check_whoami

median() { tr ' ' '\n' | grep -v '^$' | sort -g | awk '{ v[NR] = $1 } END { print (NR % 2) ? v[(NR + 1) / 2] : (v[NR / 2] + v[NR / 2 + 1]) / 2 }'; }
echo
echo "requests per second through lighttpd, wrk -t2 -c$connections, ${seconds}s x $rounds rounds (medians):"
printf '  %-40s %10.1f\n' "trivial C program" "$(echo "${results[floor_c]}" | median)" \
  "C++ program with jsoncpp" "$(echo "${results[floor_cxx_jsoncpp]}" | median)" \
  "whoami.cgi (session, setEUGID, JSON)" "$(echo "${results[whoami]}" | median)"
printf '  whoami.cgi / C++ + jsoncpp floor: %.2f (target: at least 0.85)\n' "$(echo "$ratios_cxx" | median)"
printf '  whoami.cgi / trivial C floor:     %.2f\n' "$(echo "$ratios_c" | median)"
