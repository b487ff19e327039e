#!/usr/bin/env bash
# Configures (once) and builds one of the project's build trees:
#   release  build/release  optimised, with debug info: the demo, tests, benchmarks
#   asan     build/asan     AddressSanitizer + UndefinedBehaviorSanitizer, tests
#   fuzz     build/fuzz     clang with libFuzzer: the fuzz targets
#
#   scripts/build.sh [release|asan|fuzz]
set -euo pipefail
source_dir=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
kind=${1:-release}
build="$source_dir/build/$kind"

case "$kind" in
  release) options=(-DCMAKE_BUILD_TYPE=RelWithDebInfo) ;;
  asan)    options=(-DCMAKE_BUILD_TYPE=Debug -DARX_SANITIZE=ON -DARX_BUILD_BENCH=OFF) ;;
  fuzz)    options=(-DCMAKE_BUILD_TYPE=RelWithDebInfo -DARX_FUZZ=ON -DARX_BUILD_TESTS=OFF
                    -DARX_BUILD_CGI=OFF -DARX_BUILD_BENCH=OFF
                    -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++) ;;
  *) echo "build: unknown build kind '$kind' (release, asan or fuzz)" >&2; exit 2 ;;
esac

if [ ! -f "$build/build.ninja" ]; then
  cmake -S "$source_dir" -B "$build" -G Ninja "${options[@]}" > /dev/null
fi
# Two cores: one build at a time, using both.
cmake --build "$build" -- -j2
