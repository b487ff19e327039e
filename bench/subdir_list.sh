#!/usr/bin/env bash
# Listing a directory of COUNT sub-directories (default 10,000) through the
# library as a process (bench/subdir_list_bench.cc: WfmLibEnumSubDir, the
# paths printed one a line) against
#
#   find DIR -mindepth 1 -maxdepth 1 -type d
#
# on the same tree, as a ratio of the medians (target: at most 1.5x).
# Three trees: names of ASCII letters in both cases, the same with one
# name in ten not ASCII (the case-insensitive order then asks libutf8proc),
# and the first listed with a user's identity: find run by a user, and the
# library's process started as root switching to that user first, as a
# file program does.  The user is nobody (its ids from the system), known
# to the library through a scratch root's user database.
#
#   bench/subdir_list.sh [BUILD_DIR] [ROUNDS] [COUNT]
set -euo pipefail
source_dir=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
build=${1:-$source_dir/build/release}
rounds=${2:-200}
count=${3:-10000}
work=$(mktemp -d /tmp/arx-bench.XXXXXX)
trap 'rm -rf "$work"' EXIT
chmod 0755 "$work"

bench="$build/bench/subdir_list_bench"
exec_bench="$build/bench/exec_bench"
find=$(command -v find)
: > "$work/input"

# The trees: "Folder 00001", "folder 00002", ... and the same with every
# tenth name beginning with "Été".
make_tree() {  # DIR ASCII_ONLY
  mkdir -p "$1"
  (cd "$1" && seq 1 "$count" | awk -v ascii="$2" '{
      name = ($1 % 2 ? "Folder " : "folder ") sprintf("%05d", $1)
      if (!ascii && $1 % 10 == 0) name = "\303\211t\303\251 " sprintf("%05d", $1)
      print name }' | tr '\n' '\0' | xargs -0 mkdir)
  chmod -R a+rX "$1"
}
make_tree "$work/ascii" 1
make_tree "$work/mixed" 0
listed=$("$bench" "$work/ascii" | wc -l)
found=$("$find" "$work/ascii" -mindepth 1 -maxdepth 1 -type d | wc -l)
if [ "$listed" -ne "$count" ] || [ "$found" -ne "$count" ]; then
  echo "subdir_list: listed $listed and found $found of $count"; exit 1
fi

ratio() {  # LABEL TIMES_FILE (line 1: find, line 2: the library)
  read -r _ find_median find_mean < <(sed -n 1p "$2")
  read -r _ list_median list_mean < <(sed -n 2p "$2")
  printf '  %-44s find %8.1f %8.1f   library %8.1f %8.1f   ratio %.2fx\n' "$1" \
    "$find_median" "$find_mean" "$list_median" "$list_mean" \
    "$(awk -v l="$list_median" -v f="$find_median" 'BEGIN { print l / f }')"
}

echo "listing $count sub-directories, $rounds rounds (median / mean, microseconds; target: at most 1.50x):"
"$exec_bench" "$rounds" "$work/input" "$find $work/ascii -mindepth 1 -maxdepth 1 -type d" \
  "$bench $work/ascii" > "$work/ascii.times"
ratio "as the caller, ASCII names" "$work/ascii.times"
"$exec_bench" "$rounds" "$work/input" "$find $work/mixed -mindepth 1 -maxdepth 1 -type d" \
  "$bench $work/mixed" > "$work/mixed.times"
ratio "as the caller, one name in ten not ASCII" "$work/mixed.times"

if [ "$(id -u)" -ne 0 ]; then
  echo "  (not root: the run with a user's identity is left out)"
  exit 0
fi
uid=$(id -u nobody)
gid=$(id -g nobody)
mkdir -p "$work/root/etc"
printf 'root:x:0:0:root:/root:/bin/sh\nnobody:x:%s:%s:nobody:/nonexistent:/usr/sbin/nologin\n' "$uid" "$gid" \
  > "$work/root/etc/passwd"
printf 'root:x:0:\nnogroup:x:%s:\n' "$gid" > "$work/root/etc/group"
# find as the user, run by a benchmark that is the user itself; the
# library's process as root, becoming the user on its own.
setpriv --reuid="$uid" --regid="$gid" --clear-groups \
  "$exec_bench" "$rounds" "$work/input" "$find $work/ascii -mindepth 1 -maxdepth 1 -type d" \
  > "$work/user-find.times"
VORN_ROOT="$work/root" "$exec_bench" "$rounds" "$work/input" "$bench $work/ascii nobody" > "$work/user-list.times"
cat "$work/user-find.times" "$work/user-list.times" > "$work/user.times"
ratio "as nobody, ASCII names" "$work/user.times"
