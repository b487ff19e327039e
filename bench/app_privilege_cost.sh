#!/usr/bin/env bash
# AppPrivilege answering QUESTIONS questions of USERS users about the
# applications of a generated desktop of MODULES modules: the time of its
# construction (one scan) and per answer, and the platform calls (none may
# follow the first question of a user: the program fails otherwise).
# Every tenth user is an administrator; the privilege table allows each
# grantable application to one user in three and a group, and denies one.
#
#   bench/app_privilege_cost.sh [BUILD_DIR] [QUESTIONS] [USERS] [MODULES]
set -euo pipefail
source_dir=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
build=$(cd "${1:-$source_dir/build/release}" && pwd)
questions=${2:-10000}
users=${3:-50}
modules=${4:-500}
work=$(mktemp -d /tmp/arx-privilege-bench.XXXXXX)
trap 'rm -rf "$work"' EXIT

root="$work/root"
mkdir -p "$root/etc" "$root/usr/vorn/etc"
"$source_dir/bench/make_module_tree.sh" "$modules" "$root"
{
  echo "root:x:0:0:root:/root:/bin/sh"
  for ((u = 0; u < users; u++)); do printf 'bench%02d:x:%d:100::/home/bench%02d:/sbin/nologin\n' $u $((3000 + u)) $u; done
} > "$root/etc/passwd"
admins=$(for ((u = 0; u < users; u += 10)); do printf 'bench%02d\n' $u; done | paste -sd,)
staff=$(for ((u = 1; u < users; u += 2)); do printf 'bench%02d\n' $u; done | paste -sd,)
printf 'root:x:0:\nusers:x:100:\nadministrators:x:101:%s\nstaff:x:102:%s\n' "$admins" "$staff" > "$root/etc/group"
{
  echo "{"
  grants=(all local domain none)
  first=1
  for ((i = 0; i < modules; i++)); do
    [ "${grants[i % 4]}" = none ] && continue
    [ $first -eq 1 ] || echo ","
    first=0
    printf '"VORN.PAD.Bench.Module%04d": {"allow": ["bench%02d", "bench%02d", "@staff"], "deny": ["bench%02d"]}' \
      $i $((i % users)) $(((i + 17) % users)) $(((i + 3) % users))
  done
  echo "}"
} > "$root/usr/vorn/etc/app_privilege.json"

VORN_ROOT="$root" "$build/bench/app_privilege_bench" "$questions" "$users" "$modules"
