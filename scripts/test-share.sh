#!/usr/bin/env bash
# The share of test code in the tree, and per top-level folder.
#
# Counted: the non-blank lines of tracked C and C++ files (*.c, *.cc,
# *.cpp, *.h, *.hpp) that are not "//" comment lines.  Test code: files
# named *_test.*, and everything under testing/, tests/ and fuzz/ (as the
# before-stop checklist counts).  The project keeps the share between a quarter and a
# third (at most 35%), new subsystems at about 30%.
#
#   scripts/test-share.sh
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

git ls-files -- '*.c' '*.cc' '*.cpp' '*.h' '*.hpp' | while read -r file; do
  lines=$(grep -c -v -E '^\s*($|//)' "$file" || true)
  if [[ "$file" =~ (_test\.|^testing/|/testing/|^tests?/|/tests?/|^fuzz/) ]]; then
    kind=test
  else
    kind=code
  fi
  printf '%s %s %s\n' "${file%%/*}" "$kind" "$lines"
done | sort -k1,1 | awk '
  !($1 in seen) { seen[$1] = 1; names[++n] = $1 }
  { lines[$1, $2] += $3; total[$2] += $3 }
  END {
    printf "%-12s %7s %7s %6s\n", "folder", "code", "test", "share"
    for (i = 1; i <= n; i++) {
      f = names[i]; c = lines[f, "code"] + 0; t = lines[f, "test"] + 0
      printf "%-12s %7d %7d %5.0f%%\n", f, c, t, 100 * t / (c + t)
    }
    all = total["code"] + total["test"]
    printf "%-12s %7d %7d %5.1f%%\n", "all", total["code"], total["test"], 100 * total["test"] / all
  }'
