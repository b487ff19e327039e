#!/usr/bin/env bash
# Installs what is missing, builds, and starts the demo appliance: lighttpd
# on 127.0.0.1 serving a scratch copy of the demo root (the repository is
# never written) with the sample CGI programs, until Ctrl-C.
#
#   scripts/demo.sh [PORT]      (default: the first free port from 8080)
set -euo pipefail
source_dir=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)

"$source_dir/scripts/setup.sh"
"$source_dir/scripts/build.sh" release

port_in_use() { (exec 3<>"/dev/tcp/127.0.0.1/$1") 2> /dev/null; }
port=${1:-8080}
if [ $# -eq 0 ]; then
  while port_in_use "$port"; do port=$((port + 1)); done
fi

scratch=$(mktemp -d /tmp/arx-demo.XXXXXX)
"$source_dir/scripts/stage-root.sh" "$scratch" "$source_dir/build/release" "$port"

lighttpd=$(command -v lighttpd || echo /usr/sbin/lighttpd)
"$lighttpd" -D -f "$scratch/lighttpd.conf" &
server=$!
cleanup() {
  kill "$server" 2> /dev/null || true
  wait "$server" 2> /dev/null || true
  rm -rf "$scratch"
}
trap cleanup EXIT
trap 'exit 0' INT TERM

for _ in $(seq 1 100); do
  port_in_use "$port" && break
  kill -0 "$server" 2> /dev/null || { echo "demo: lighttpd did not start:"; cat "$scratch/log/error.log"; exit 1; }
  sleep 0.05
done

secret=$(awk '$1 == "carol-otp-secret" { print $2 }' "$source_dir/demo/credentials.txt")
cat <<TEXT

  The demo appliance is running:   http://127.0.0.1:$port/
  Its programs:                    http://127.0.0.1:$port/webapi/echo.cgi?message=hello
                                   http://127.0.0.1:$port/webapi/note.cgi?name=welcome
                                   http://127.0.0.1:$port/webapi/player.cgi  (a page with its own policy)
                                   login.cgi, logout.cgi, whoami.cgi, sessions.cgi
                                   desktop.cgi (the desktop's applications in the language chosen at login)
                                   csp_rules.cgi (administrators: list, save, delete CSP rule configs)
                                   file_list.cgi, mkdir.cgi (shared folders, listed and made as the user)
  Its root (VORN_ROOT):            $scratch/root
  Server log:                      $scratch/log/error.log

  Accounts (user / password):
TEXT
awk '!/^#/ && NF >= 3 { printf "    %-8s %-16s %s", $1, $2, $3; for (i = 4; i <= NF; i++) printf " %s", $i; print "" }' \
  "$source_dir/demo/credentials.txt"
cat <<TEXT

  carol's one-time-code secret:    $secret
    add it to an authenticator app: otpauth://totp/Harbor:carol?secret=$secret&issuer=Harbor
    or print the current code with: $source_dir/build/release/demo/otp-code $secret

  Press Ctrl-C to stop.
TEXT
wait "$server"
