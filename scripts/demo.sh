#!/usr/bin/env bash
# The README's first command: installs the dependencies, builds the library and the orvik tool,
# installs them into _install/ and runs `orvik demo` (files in orvik-demo/). Then builds and runs
# the examples the way an outside client does (find_package(OrvikCore CONFIG)).
# Usage: scripts/demo.sh [build-dir]   (an existing Release build dir is reused as it is; CI
# passes the one its tests ran in, so the library is not compiled twice)
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/deps.sh
build=${1:-build-demo}
if [ ! -f "$build/CMakeCache.txt" ]; then
    cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=Release -DORVIK_BUILD_TESTS=OFF -DORVIK_BUILD_BENCH=OFF
fi
cmake --build "$build" -j"$(nproc)"
cmake --install "$build" --prefix "$PWD/_install"
"$PWD/_install/bin/orvik" demo orvik-demo
cmake -S examples/stats -B "$build"/stats -DCMAKE_PREFIX_PATH="$PWD/_install"
cmake --build "$build"/stats
LD_LIBRARY_PATH="$PWD/_install/lib:${LD_LIBRARY_PATH:-}" "$build"/stats/orvik_layer_stats orvik-demo/scene.hfa /scene/Band_4
cmake -S examples/hello -B "$build"/hello -DCMAKE_PREFIX_PATH="$PWD/_install"
cmake --build "$build"/hello
LD_LIBRARY_PATH="$PWD/_install/lib:${LD_LIBRARY_PATH:-}" "$build"/hello/orvik_hello
cmake -S examples/plugin -B "$build"/plugin -DCMAKE_PREFIX_PATH="$PWD/_install"
cmake --build "$build"/plugin
LD_LIBRARY_PATH="$PWD/_install/lib:${LD_LIBRARY_PATH:-}" "$build"/plugin/orvik_plugin_host "$PWD/$build/plugin/ExampleFormats"
