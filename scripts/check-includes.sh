#!/usr/bin/env bash
# The direction of includes, as docs/architecture.md draws it:
#
#   programs (cgi-bin/, demo/, tools/)
#     -> feature subsystems (form/, file_share/, jsconfig/, theme/, image/)
#     -> webman/ -> security/ -> webutils/, strings/, privilege/
#     -> base/ and <vorn/...>
#
# never upward, never sideways within a layer, and never into another
# folder's internal header unless that header is a door listed below.  The
# platform (platform/) sees only base/ and itself (libvorn's lib/ never
# libvorncgi's cgi/); base/ sees nothing of <arx/...> or <vorn/...>; the
# exported headers and the programs see only exported headers.  Tests,
# fuzz targets and benchmarks may also include testing/ and the internal
# headers of what they test.
#
#   scripts/check-includes.sh [SOURCE_DIR]     prints each wrong include, exits 1 if any
set -uo pipefail
cd "${1:-$(dirname "${BASH_SOURCE[0]}")/..}" || exit 2

# The layer of each libarx folder: a folder may include its own headers and
# the doors of folders of lower layers.
declare -A layer=(
  [privilege]=1 [strings]=1 [webutils]=1
  [security]=2
  [webman]=3
  [form]=4 [file_share]=4 [jsconfig]=4 [theme]=4 [image]=4
)
# Internal headers that folders above may include.
doors=" privilege/identity.h strings/strings_read.h webutils/json_text.h "

failures=0
wrong() {
  echo "$1: $2 ($3)"
  failures=$((failures + 1))
}

is_test() {
  case "$1" in
    *_test.cc | *_test_support.h | testing/* | tests/* | fuzz/* | bench/*) return 0 ;;
  esac
  return 1
}

# Every #include of the tracked C and C++ files: "file<TAB>quoted?<TAB>name".
includes() {
  git ls-files -- '*.cc' '*.h' '*.c' | while read -r file; do
    sed -n -E 's/^[[:space:]]*#[[:space:]]*include[[:space:]]*([<"])([^>"]+)[>"].*/\1\t\2/p' "$file" |
      while IFS=$'\t' read -r kind name; do printf '%s\t%s\t%s\n' "$file" "$kind" "$name"; done
  done
}

while IFS=$'\t' read -r file kind name; do
  folder=${file%%/*}
  target=${name%%/*}
  if [ "$kind" = "<" ]; then
    case "$folder:$target" in
      base:arx | base:vorn) wrong "$file" "<$name>" "base/ sees no exported header" ;;
      platform:arx) wrong "$file" "<$name>" "the platform sees nothing of libarx" ;;
    esac
    continue
  fi
  if is_test "$file"; then
    [ "$target" = testing ] && continue
    case "$folder" in tests | fuzz | bench) continue ;; esac
  elif [ "$target" = testing ]; then
    wrong "$file" "\"$name\"" "test support belongs to tests"
    continue
  fi
  case "$folder" in
    include)
      wrong "$file" "\"$name\"" "exported headers include exported headers only" ;;
    cgi-bin | demo | tools)
      [ "$target" = "$folder" ] || wrong "$file" "\"$name\"" "programs see exported headers only" ;;
    base)
      [ "$target" = base ] || wrong "$file" "\"$name\"" "base/ includes only base/" ;;
    platform)
      case "$target" in
        base) ;;
        lib) ;;
        cgi) [[ "$file" == platform/cgi/* ]] || wrong "$file" "\"$name\"" "libvorn never includes libvorncgi" ;;
        *) wrong "$file" "\"$name\"" "the platform includes base/ and itself only" ;;
      esac ;;
    *)
      [ -n "${layer[$folder]:-}" ] || continue
      [ "$target" = "$folder" ] && continue
      [ "$target" = base ] && continue
      if [ -z "${layer[$target]:-}" ]; then
        wrong "$file" "\"$name\"" "libarx reaches the platform through <vorn/...> only"
      elif [ "${layer[$target]}" -ge "${layer[$folder]}" ]; then
        wrong "$file" "\"$name\"" "$target/ is not below $folder/"
      elif [[ "$doors" != *" $name "* ]]; then
        wrong "$file" "\"$name\"" "an internal header of $target/, not one of its doors"
      fi ;;
  esac
done < <(includes)

if [ "$failures" -gt 0 ]; then
  echo "$failures include(s) against the direction of docs/architecture.md"
  exit 1
fi
