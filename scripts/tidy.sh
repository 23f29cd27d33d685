#!/usr/bin/env bash
# Static check that no C++ exception can leave a noexcept function (every exported function
# is one). Usage: scripts/tidy.sh [build-dir] (a configured build with compile_commands.json).
set -euo pipefail
cd "$(dirname "$0")/.."
build=${1:-build}
[ -f "$build/compile_commands.json" ] || cmake -S . -B "$build" -DORVIK_BUILD_BENCH=OFF >/dev/null
dirs=$(sed -n 's/^set(ORVIK_SUBSYSTEMS \(.*\))$/\1/p' CMakeLists.txt)
files=()
for d in $dirs; do
    [ -d "$d" ] && files+=("$d"/*.cpp)
done
printf '%s\n' "${files[@]}" |
    xargs -P"$(nproc)" -n8 clang-tidy -p "$build" --quiet \
        --checks='-*,bugprone-exception-escape' --warnings-as-errors='*'
