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

# The block codecs: Debian packages no MinGW build of libdeflate, zstd or lz4, so they are
# compiled once from Debian's source packages into static archives under <build-dir>/codecs
# (rebuilt when cmake/codecs/CMakeLists.txt changes). XXH3 is header-only: the host's
# xxhash.h is linked in beside their headers.
codecs=$build/codecs
codec_stamp=$(sha256sum cmake/codecs/CMakeLists.txt | cut -d' ' -f1)
if [ "$(cat "$codecs/install/stamp" 2>/dev/null)" != "$codec_stamp" ]; then
    echo "-- cross-compiling libdeflate, zstd and lz4 from Debian's sources"
    rm -rf "$codecs"
    mkdir -p "$codecs/src"
    fetch() { (cd "$codecs/src" && apt-get source -qq libdeflate libzstd lz4 >/dev/null 2>&1); }
    if ! fetch; then
        # Source lists not fetched yet (or stale): fetch them and try again.
        SUDO=""
        [ "$(id -u)" -eq 0 ] || SUDO="sudo"
        $SUDO apt-get update -qq
        fetch
    fi
    src_dir() { find "$codecs/src" -mindepth 1 -maxdepth 1 -type d -name "$1-*" | head -n1; }
    cmake -S cmake/codecs -B "$codecs/build" -DCMAKE_TOOLCHAIN_FILE="$toolchain" \
        -DCMAKE_BUILD_TYPE=Release -DCMAKE_INSTALL_PREFIX="$codecs/install" \
        -DDEFLATE_SRC="$(src_dir libdeflate)" -DZSTD_SRC="$(src_dir libzstd)" \
        -DLZ4_SRC="$(src_dir lz4)" >/dev/null
    cmake --build "$codecs/build" -j"$jobs" >/dev/null
    cmake --install "$codecs/build" >/dev/null
    ln -sfn /usr/include/xxhash.h "$codecs/install/include/xxhash.h"
    echo "$codec_stamp" >"$codecs/install/stamp"
fi

# Boost is used for its headers only; they are shared with the host through one link so that
# no other host header reaches the cross compiler.
mkdir -p "$build/boost-include"
ln -sfn /usr/include/boost "$build/boost-include/boost"

cmake -S . -B "$build" -DCMAKE_TOOLCHAIN_FILE="$toolchain" -DCMAKE_BUILD_TYPE=Release \
    -DORVIK_BUILD_BENCH=OFF -DORVIK_WERROR=ON -DGTest_DIR="$gtest/install/lib/cmake/GTest" \
    -DBoost_NO_BOOST_CMAKE=ON -DBoost_INCLUDE_DIR="$build/boost-include" \
    -DORVIK_XXHASH_INCLUDE="$codecs/install/include" -DORVIK_CODEC_INCLUDE="$codecs/install/include" \
    -DORVIK_DEFLATE_LIB="$codecs/install/lib/libdeflate.a" \
    -DORVIK_ZSTD_LIB="$codecs/install/lib/libzstd.a" -DORVIK_LZ4_LIB="$codecs/install/lib/liblz4.a" "$@"
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
