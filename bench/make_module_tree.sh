#!/usr/bin/env bash
# Generates a desktop of N modules under a root, for the benchmarks: each
# module a config of about 1 KiB (an application of one of the entry types
# and a second script entry), a style sheet, and strings in English and
# German (every third module in French too), as the demo's modules look.
#
#   bench/make_module_tree.sh N ROOT
#
# Writes ROOT/usr/vorn/vornman/webman/modules/ModuleNNNN/... and the
# feasibility-check texts; an existing modules directory is replaced.
set -euo pipefail
count=$1
root=$2
modules="$root/usr/vorn/vornman/webman/modules"
rm -rf "$modules"
mkdir -p "$modules" "$root/usr/local/share/feasibilitycheck"

types=(app app app standalone url common_lib legacy widget)
grants=(all local domain none)
checks=()
for ((i = 0; i < count; i++)); do
  name=$(printf 'Module%04d' "$i")
  id="VORN.PAD.Bench.$name"
  type=${types[i % ${#types[@]}]}
  grant=${grants[i % ${#grants[@]}]}
  dir="$modules/$name"
  mkdir -p "$dir/texts/enu" "$dir/texts/ger"
  cat > "$dir/config" <<CONFIG
{
    "main.js": {
        "$id": {
            "type": "$type",
            "texts": "texts",
            "title": "app:title",
            "desc": "app:description",
            "icon": "images/${name,,}_{0}.png",
            "appWindow": "$id.Window",
            "allUsers": true,
            "grantPrivilege": "$grant",
            "preloadTexts": ["common:open", "common:close", "common:settings"],
            "formatedTitle": "app:title",
            "fb_extern": [{"text": "menu:open", "items": [{"text": "menu:share"}]}, {"text": "menu:rename"}],
            "minWidth": 640,
            "minHeight": 480,
            "defaultWidth": 960,
            "defaultHeight": 640,
            "depend": ["VORN.PAD.Bench.Module0000.Helpers"]
        }
    },
    "helpers.js": {
        "$id.Helpers": {"depend": ["$id"], "hotkeys": {"open": "Ctrl+O", "close": "Ctrl+W"}}
    }
}
CONFIG
  printf '// %s\n' "$name" > "$dir/main.js"
  printf '// %s helpers\n' "$name" > "$dir/helpers.js"
  printf '.%s-window { min-width: 640px; }\n' "${name,,}" > "$dir/style.css"
  strings() { # language title open close settings
    cat <<STRINGS
# $name ($1)
[app]
title = "$2 $i"
description = $2 $i: a module of the benchmark desktop, with a description long enough to look real
[common]
open = $3
close = $4
settings = $5
loading = $3…
[menu]
open = $3
share = $5 / $3
rename = $4 $2
STRINGS
  }
  strings enu "Application" "Open" "Close" "Settings" > "$dir/texts/enu/strings"
  strings ger "Anwendung" "Öffnen" "Schließen" "Einstellungen" > "$dir/texts/ger/strings"
  if ((i % 3 == 0)); then
    mkdir -p "$dir/texts/fre"
    strings fre "Application" "Ouvrir" "Fermer" "Réglages" > "$dir/texts/fre/strings"
  fi
  if ((i % 50 == 0)); then checks+=("\"$id:common:settings\""); fi
done
(IFS=,; printf '[%s]\n' "${checks[*]}") > "$root/usr/local/share/feasibilitycheck/fshktext"
