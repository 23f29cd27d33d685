#!/usr/bin/env bash
# Builds the library in Release and runs every test. Usage: scripts/test.sh [build-dir] [cmake args...]
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/deps.sh
build=${1:-build}
shift || true
cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=Release "$@"
cmake --build "$build" -j"$(nproc)"
ctest --test-dir "$build" --output-on-failure -j"$(nproc)"
