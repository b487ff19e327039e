#!/usr/bin/env bash
# Thumbnail and compression of a 24-megapixel JPEG (6000 x 4000) through
# the library against the same command lines of the image tool run
# directly, rounds interleaved; prints the medians, their ratio (the
# library's own overhead), and the peak resident memory of the largest run
# of the tool against the policy's memory limit.
#
#   bench/image_cost.sh [BUILD_DIR] [ROUNDS]
set -euo pipefail
source_dir=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
build=${1:-$source_dir/build/release}
rounds=${2:-5}
work=$(mktemp -d /tmp/arx-image-bench.XXXXXX)
trap 'rm -rf "$work"' EXIT

root="$work/root"
mkdir -p "$root/usr/bin" "$root/bin" "$root/etc/ImageMagick-6" "$root/usr/vorn/etc/login_image"
ln -s /usr/bin/convert "$root/usr/bin/convert"
ln -s /bin/cp "$root/bin/cp"
cp "$source_dir/etc/ImageMagick-6/policy.xml" "$root/etc/ImageMagick-6/"
: > "$root/etc/vorninfo.conf"
/usr/bin/convert -size 6000x4000 gradient:navy-orange -attenuate 0.3 +noise Gaussian -quality 85 "$work/big.jpg"
echo "picture: 6000x4000 JPEG, $(stat -c %s "$work/big.jpg") bytes"

export VORN_ROOT="$root"
for ((i = 0; i < rounds; i++)); do
  "$build/bench/image_bench" lib "$work/big.jpg" 1 >> "$work/lib.txt" 2>> "$work/lib.mem"
  "$build/bench/image_bench" direct "$work/big.jpg" 1 >> "$work/direct.txt" 2>> "$work/direct.mem"
done
median() { sort -n "$1" | awk '{ v[NR] = $1 } END { print (NR % 2) ? v[(NR + 1) / 2] : (v[NR / 2] + v[NR / 2 + 1]) / 2 }'; }
lib=$(median "$work/lib.txt")
direct=$(median "$work/direct.txt")
peak=$(awk '/peak_kib/ { if ($2 > m) m = $2 } END { print m }' "$work/lib.mem")
limit=$(sed -n 's/.*name="memory" value="\([0-9]*\)MiB".*/\1/p' "$source_dir/etc/ImageMagick-6/policy.xml")
awk -v l="$lib" -v d="$direct" -v p="$peak" -v m="$limit" 'BEGIN {
  printf "library  %8.1f ms (median of rounds)\n", l / 1000
  printf "direct   %8.1f ms\n", d / 1000
  printf "ratio    %8.3f (target < 1.05)\n", l / d
  printf "peak     %8.1f MiB of the largest tool run (policy memory limit %d MiB)\n", p / 1024, m
}'
