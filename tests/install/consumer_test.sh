#!/usr/bin/env bash
# Installs the build into a scratch prefix, then builds and runs a program
# outside the tree against it: once with pkg-config, once with the CMake
# package.
set -euo pipefail
build=$1
here=$2
work=$(mktemp -d /tmp/arx-install.XXXXXX)
trap 'rm -rf "$work"' EXIT

prefix="$work/prefix"
cmake --install "$build" --prefix "$prefix" > "$work/install.log"
libdir=$(dirname "$(find "$prefix" -name 'libarx.so.7' | head -n 1)")
expected=$'Content-type: application/json\r\n\r\n{\n   "installed" : true\n}'

# Installed libraries carry no run path: the loader finds them as it would
# in a system directory.
export LD_LIBRARY_PATH="$libdir"

# pkg-config
export PKG_CONFIG_PATH="$libdir/pkgconfig"
c++ -std=c++17 -Wall -Wextra -Werror "$here/consumer.cc" -o "$work/with-pkg-config" \
    $(pkg-config --cflags --libs arx)
[ "$("$work/with-pkg-config")" = "$expected" ] || { echo "pkg-config consumer printed something else"; exit 1; }

# CMake package
cmake -S "$here/cmake_consumer" -B "$work/cmake" -G Ninja -DCMAKE_PREFIX_PATH="$prefix" > "$work/cmake.log"
cmake --build "$work/cmake" > "$work/build.log"
[ "$("$work/cmake/consumer")" = "$expected" ] || { echo "CMake consumer printed something else"; exit 1; }
echo "installed library works with pkg-config and the CMake package"
