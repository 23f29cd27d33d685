#!/usr/bin/env bash
# Builds the test programs with ThreadSanitizer and runs the tests that use several threads.
# Usage: scripts/tsan.sh [build-dir]
set -euo pipefail
cd "$(dirname "$0")/.."
build=${1:-build-tsan}
cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DORVIK_SANITIZE_THREAD=ON \
    -DORVIK_BUILD_BENCH=OFF -DORVIK_WERROR=ON
cmake --build "$build" -j"$(nproc)" --target test_core test_mif test_prefs test_toolkit test_stats \
    test_reliability test_img
export TSAN_OPTIONS=${TSAN_OPTIONS:-halt_on_error=1:second_deadlock_stack=1}
# Recent kernels randomise mmap more than older sanitizer runtimes accept; run without ASLR.
run=()
if command -v setarch >/dev/null && setarch "$(uname -m)" -R true 2>/dev/null; then
    run=(setarch "$(uname -m)" -R)
fi
"${run[@]}" "$build/tests/test_core" \
    --gtest_filter='Thread*:ErrorHandlers*:BigHeap.ThreadSafeMode*'
"${run[@]}" "$build/tests/test_mif" \
    --gtest_filter='DesignCreate.BuiltinSetCreatedOnceUnderConcurrentFirstUse'
"${run[@]}" "$build/tests/test_prefs" --gtest_filter='Database.ThreadsMayGetAndPutAtTheSameTime'
"${run[@]}" "$build/tests/test_toolkit" --gtest_filter='PluginFixture.ConcurrentOpensShareOneInstance'
"${run[@]}" "$build/tests/test_stats" --gtest_filter='OstaDesigns.FetchesFromManyThreadsAgree'
"${run[@]}" "$build/tests/test_reliability" --gtest_filter='ReliabilityThreads.*'
"${run[@]}" "$build/tests/test_img" --gtest_filter='CodedLayer.TwoWorkerThreads*'
"${run[@]}" "$build/tests/test_img" --gtest_filter='*SharedRead.*'
