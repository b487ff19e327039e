#!/usr/bin/env bash
# Lays out a scratch appliance: a copy of the demo root, the web page, the
# sample CGI programs and a lighttpd configuration that serves them on
# 127.0.0.1:PORT.  The demo and the end-to-end tests both use it, so they
# run the very same layout.
#
#   scripts/stage-root.sh SCRATCH_DIR BUILD_DIR PORT [ROOT_OVERLAY]
#
# ROOT_OVERLAY: a directory whose files are copied over the demo root (a
# test's own configuration).  Afterwards: lighttpd -D -f SCRATCH_DIR/lighttpd.conf
set -euo pipefail

scratch=$1
build=$(cd "$2" && pwd)
port=$3
overlay=${4:-}
source_dir=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)

mkdir -p "$scratch"
scratch=$(cd "$scratch" && pwd)
rm -rf "$scratch/root" "$scratch/www" "$scratch/log"
mkdir -p "$scratch/root" "$scratch/www/webapi" "$scratch/log"
cp -a "$source_dir/demo/root/." "$scratch/root/"
if [ -n "$overlay" ]; then cp -a "$overlay/." "$scratch/root/"; fi
cp -a "$source_dir/demo/www/." "$scratch/www/"
chmod 0755 "$scratch" "$scratch/root"

# What a checkout does not keep: the modes and owners of private files.
shopt -s nullglob
chmod 0600 "$scratch/root/etc/shadow"
# The two-step secrets and used codes are root's alone.
otp="$scratch/root/usr/vorn/etc/otp"
chmod 0700 "$otp"
find "$otp" -type f -exec chmod 0600 {} +
if [ "$(id -u)" -eq 0 ]; then chown -R 0:0 "$otp"; fi
for dir in "$scratch/root/usr/vorn/etc/preference"/*/; do
  user=$(basename "$dir")
  chmod 0700 "$dir"
  find "$dir" -type f -exec chmod 0600 {} +
  if [ "$(id -u)" -eq 0 ]; then
    ids=$(awk -F: -v u="$user" '$1 == u { print $3 ":" $4 }' "$scratch/root/etc/passwd")
    if [ -n "$ids" ]; then chown -R "$ids" "$dir"; fi
  fi
done

# The demo's volume, its shared folders and the users' homes
# (demo/folders.txt: path, mode, owner and group by the demo root's names).
# The volume's upload folder (@sharebin/@tmp) is made by the first upload.
id_of() {  # NAME FILE: the numeric id of a user or group of the demo root
  awk -F: -v n="$1" '$1 == n { print $3 }' "$2"
}
while IFS= read -r line; do
  [[ -z "$line" || "$line" == \#* ]] && continue
  # The path may hold blanks: the mode and owner are the last two fields.
  owner=${line##* }
  rest=${line% *}
  rest=${rest%"${rest##*[! ]}"}
  mode=${rest##* }
  path=${rest% *}
  path=${path%"${path##*[! ]}"}
  mkdir -p "$scratch/root$path"
  chmod "$mode" "$scratch/root$path"
  if [ "$(id -u)" -eq 0 ]; then
    chown "$(id_of "${owner%%:*}" "$scratch/root/etc/passwd"):$(id_of "${owner##*:}" "$scratch/root/etc/group")" \
      "$scratch/root$path"
  fi
done < "$source_dir/demo/folders.txt"
# The homes as the appliance keeps them: the users' entries name
# /var/services/homes, a link to the volume's homes.
mkdir -p "$scratch/root/var/services"
ln -sfn ../../volume1/homes "$scratch/root/var/services/homes"

# The image tool and the copy program, looked up under the root like every
# system path, and the appliance's image policy.
mkdir -p "$scratch/root/usr/bin" "$scratch/root/bin" "$scratch/root/etc/ImageMagick-6"
ln -sfn /usr/bin/convert "$scratch/root/usr/bin/convert"
ln -sfn /bin/cp "$scratch/root/bin/cp"
cp "$source_dir/etc/ImageMagick-6/policy.xml" "$scratch/root/etc/ImageMagick-6/policy.xml"

# The theme file is carried out as root: root's own, written by no one
# else.  The page loads the theme's files from /theme/, where theme.cgi's
# links point them at the chosen theme.
chmod 0644 "$scratch/root/usr/vorn/theme/theme.json"
if [ "$(id -u)" -eq 0 ]; then chown -R 0:0 "$scratch/root/usr/vorn/theme"; fi
ln -s "$scratch/root/usr/vorn/vornman/theme" "$scratch/www/theme"

for program in "$build"/cgi-bin/*.cgi; do
  ln -s "$program" "$scratch/www/webapi/$(basename "$program")"
done

# The static page carries the security headers that the programs send: the
# policy of the rule files (generated here, as a program's first request
# would) for the address the appliance serves, and X-Frame-Options.  The
# programs send their own, so the page's apply outside /webapi/ only.
headers_tool="$build/demo/security-headers"
if [ ! -x "$headers_tool" ]; then
  echo "stage-root: $headers_tool is missing: build the tree first" >&2
  exit 1
fi
headers=$(env -i PATH="$PATH" VORN_ROOT="$scratch/root" HTTP_HOST="127.0.0.1:$port" "$headers_tool")
# In a string of lighttpd's configuration \" is a quote and every other
# backslash stands for itself, so quotes are escaped and nothing else; a
# value ending in a backslash would escape the closing quote.
response_headers=""
while IFS= read -r line; do
  [ -n "$line" ] || continue
  value=${line#*: }
  if [[ $value == *\\ ]]; then
    echo "stage-root: the header ${line%%: *} ends in a backslash: $value" >&2
    exit 1
  fi
  response_headers+="    \"${line%%: *}\" => \"${value//\"/\\\"}\",
"
done <<< "$headers"

cat > "$scratch/lighttpd.conf" <<CONF
server.document-root = "$scratch/www"
server.bind = "127.0.0.1"
server.port = $port
server.errorlog = "$scratch/log/error.log"
server.modules = ("mod_cgi", "mod_setenv")
# Request bodies go to the programs as they arrive, never whole into the
# server's memory or temporary files: uploads of any size stream through.
server.stream-request-body = 2
server.max-request-size = 0
index-file.names = ("index.html")
mimetype.assign = (
  ".html" => "text/html; charset=utf-8",
  ".js" => "text/javascript; charset=utf-8",
  ".css" => "text/css; charset=utf-8",
  ".json" => "application/json",
  ".png" => "image/png",
  ".jpg" => "image/jpeg",
  ".svg" => "image/svg+xml",
)
\$HTTP["url"] =^ "/webapi/" {
  cgi.assign = (".cgi" => "")
}
\$HTTP["url"] !~ "^/webapi/" {
  setenv.set-response-header = (
$response_headers  )
}
setenv.add-environment = ("VORN_ROOT" => "$scratch/root")
CONF
