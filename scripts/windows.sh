#!/usr/bin/env bash
# Cross-builds orvikcore.dll and the test programs for 64-bit Windows with MinGW-w64 and runs
# every test program under Wine. Usage: scripts/windows.sh [build-dir] [cmake args...]
# GoogleTest is cross-compiled once from Debian's source package into <build-dir>/googletest;
# Wine gets a private prefix under <build-dir>/wineprefix.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/deps-windows.sh
build=${1:-build-win}
shift || true
mkdir -p "$build"
build=$(cd "$build" && pwd)
toolchain=$PWD/cmake/mingw-w64.cmake
jobs=$(nproc)

gtest=$build/googletest
if [ ! -f "$gtest/install/lib/cmake/GTest/GTestConfig.cmake" ]; then
    echo "-- cross-compiling GoogleTest"
    cmake -S /usr/src/googletest -B "$gtest/build" -DCMAKE_TOOLCHAIN_FILE="$toolchain" \
        -DCMAKE_BUILD_TYPE=Release -DCMAKE_INSTALL_PREFIX="$gtest/install" >/dev/null
    cmake --build "$gtest/build" -j"$jobs" >/dev/null
    cmake --install "$gtest/build" >/dev/null
fi

# Boost is used for its headers only; they are shared with the host through one link so that
# no other host header reaches the cross compiler.
mkdir -p "$build/boost-include"
ln -sfn /usr/include/boost "$build/boost-include/boost"

cmake -S . -B "$build" -DCMAKE_TOOLCHAIN_FILE="$toolchain" -DCMAKE_BUILD_TYPE=Release \
    -DORVIK_BUILD_BENCH=OFF -DORVIK_WERROR=ON -DGTest_DIR="$gtest/install/lib/cmake/GTest" \
    -DBoost_NO_BOOST_CMAKE=ON -DBoost_INCLUDE_DIR="$build/boost-include" "$@"
cmake --build "$build" -j"$jobs"

export WINEPREFIX=$build/wineprefix WINEDEBUG=-all WINEARCH=win64
# No Mono or Gecko installer prompts in a fresh prefix.
export WINEDLLOVERRIDES="mscoree,mshtml="
# The test programs find orvikcore.dll in the build folder.
export WINEPATH="$(winepath -w "$build" 2>/dev/null || echo "Z:${build//\//\\}")"
if [ ! -f "$WINEPREFIX/system.reg" ]; then
    echo "-- creating the Wine prefix"
    wineboot --init >/dev/null 2>&1 || true
    wineserver --wait || true
fi
ctest --test-dir "$build" --output-on-failure -j"$jobs"
wineserver --kill || true
