#!/usr/bin/env bash
# The README's first command: installs the dependencies, builds the library and the orvik tool,
# installs them into _install/ and runs `orvik demo` (files in orvik-demo/). Then builds and runs
# the examples the way an outside client does (find_package(OrvikCore CONFIG)).
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/deps.sh
cmake -S . -B build-demo -DCMAKE_BUILD_TYPE=Release -DORVIK_BUILD_TESTS=OFF -DORVIK_BUILD_BENCH=OFF
cmake --build build-demo -j"$(nproc)"
cmake --install build-demo --prefix "$PWD/_install"
"$PWD/_install/bin/orvik" demo orvik-demo
cmake -S examples/stats -B build-demo/stats -DCMAKE_PREFIX_PATH="$PWD/_install"
cmake --build build-demo/stats
LD_LIBRARY_PATH="$PWD/_install/lib:${LD_LIBRARY_PATH:-}" build-demo/stats/orvik_layer_stats orvik-demo/scene.hfa /scene/Band_4
cmake -S examples/hello -B build-demo/hello -DCMAKE_PREFIX_PATH="$PWD/_install"
cmake --build build-demo/hello
LD_LIBRARY_PATH="$PWD/_install/lib:${LD_LIBRARY_PATH:-}" build-demo/hello/orvik_hello
cmake -S examples/plugin -B build-demo/plugin -DCMAKE_PREFIX_PATH="$PWD/_install"
cmake --build build-demo/plugin
LD_LIBRARY_PATH="$PWD/_install/lib:${LD_LIBRARY_PATH:-}" build-demo/plugin/orvik_plugin_host "$PWD/build-demo/plugin/ExampleFormats"
