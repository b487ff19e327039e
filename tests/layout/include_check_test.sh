#!/usr/bin/env bash
# The include check against a small tree of known wrong and right includes:
# each wrong one must be reported, no right one.
set -euo pipefail
check=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)/scripts/check-includes.sh
tree=$(mktemp -d)
trap 'rm -rf "$tree"' EXIT

# file | include line | wrong?
rows='webutils/a.cc|#include "webman/log_source.h"|wrong: upward
security/b.cc|#include "webutils/json_text.h"|right: a door of a lower folder
security/c.cc|#include "webutils/other.h"|wrong: not a door
webman/d.cc|#include "cgi/session/session_store.h"|wrong: a platform internal header
webman/e.cc|#include "base/file_read.h"|right: base
webman/f_test.cc|#include "testing/temp_root.h"|right: test support in a test
webman/g.cc|#include "testing/temp_root.h"|wrong: test support in the library
strings/h.cc|#include "privilege/identity.h"|wrong: sideways in one layer
base/i.cc|#include <arx/webman.h>|wrong: base sees no exported header
base/j.cc|#include "platform/x.h"|wrong: base includes only base
platform/lib/k.cc|#include "cgi/request/x.h"|wrong: libvorn includes libvorncgi
platform/cgi/l.cc|#include "lib/core/no_throw.h"|right: libvorncgi includes libvorn
platform/lib/m.cc|#include <arx/webman.h>|wrong: the platform sees libarx
cgi-bin/n.cc|#include "base/file_read.h"|wrong: a program includes internals
include/arx/o.h|#include "webman/log_source.h"|wrong: an exported header includes internals
jsconfig/p.cc|#include "webman/log_source.h"|wrong: not a door, though below'

cd "$tree"
git init -q .
while IFS='|' read -r file line _; do
  mkdir -p "$(dirname "$file")"
  printf '%s\n' "$line" >> "$file"
done <<< "$rows"
git add -A

set +e
report=$("$check" "$tree")
status=$?
set -e
failed=0
while IFS='|' read -r file line verdict; do
  if [[ "$verdict" == wrong* ]] && ! grep -q "^$file:" <<< "$report"; then
    echo "not reported: $file $line ($verdict)"; failed=1
  fi
  if [[ "$verdict" == right* ]] && grep -q "^$file:" <<< "$report"; then
    echo "reported wrongly: $file $line ($verdict)"; failed=1
  fi
done <<< "$rows"
[ "$status" -eq 1 ] || { echo "the check exited $status"; failed=1; }
exit "$failed"
