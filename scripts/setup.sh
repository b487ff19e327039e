#!/usr/bin/env bash
# Installs every package the build, the tests and the demo need, from
# Debian's archive, and the browser tests' driver from npm at the versions
# tests/browser/package-lock.json pins.  Quick when everything is already
# there.
set -euo pipefail
source_dir=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)

packages=(
  build-essential cmake ninja-build pkg-config git
  clang libclang-rt-14-dev               # fuzzing (libFuzzer) and sanitizers
  libjsoncpp-dev libssl-dev libpcre3-dev libboost-dev libcrypt-dev
  libutf8proc-dev libjson-c-dev
  googletest libgtest-dev libgmock-dev libbenchmark-dev
  libcurl4-openssl-dev curl              # end-to-end tests
  lighttpd imagemagick                   # the demo and end-to-end web server, image tool
  wrk time libcgicc-dev                  # benchmarks: load generator, peak memory, the upload's peer
  chromium fonts-dejavu-core             # browser tests: the browser, and text in its screenshots
)

missing=()
for package in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q 'ok installed'; then
    missing+=("$package")
  fi
done
# Node and npm run the browser tests; a machine that has its own node
# (with npm) keeps it, others get Debian's.
if ! command -v node > /dev/null || ! command -v npm > /dev/null; then
  missing+=(nodejs npm)
fi

if [ ${#missing[@]} -gt 0 ]; then
  if [ "$(id -u)" -ne 0 ]; then
    echo "setup: these packages are missing and installing them needs root: ${missing[*]}" >&2
    exit 1
  fi
  echo "setup: installing ${missing[*]}"
  export DEBIAN_FRONTEND=noninteractive
  apt-get update -qq
  apt-get install -y -qq --no-install-recommends "${missing[@]}" > /dev/null
fi

# The demo and the tests start lighttpd themselves; Debian's package starts
# a system instance on port 80 that nothing here needs.
if command -v systemctl > /dev/null && systemctl is-enabled lighttpd > /dev/null 2>&1; then
  systemctl disable --now lighttpd > /dev/null 2>&1 || true
fi

# puppeteer-core drives the browser Debian installed above (it never
# downloads one).  npm ci only when node_modules is missing or was installed
# from another lock file.
browser_tests="$source_dir/tests/browser"
installed_lock="$browser_tests/node_modules/.installed-lock.sha256"
lock=$(sha256sum < "$browser_tests/package-lock.json")
if [ ! -f "$installed_lock" ] || [ "$(cat "$installed_lock")" != "$lock" ]; then
  echo "setup: installing the browser tests' packages (npm ci in tests/browser)"
  (cd "$browser_tests" && npm ci --no-audit --no-fund --loglevel=error)
  echo "$lock" > "$installed_lock"
fi
