#!/usr/bin/env bash
# Builds the libFuzzer targets with clang under ASan + UBSan and runs each one over a copy of
# its seed corpus; fails on any crash, leak, timeout or sanitizer report. Installs nothing
# (clang and libclang-rt-14-dev come from scripts/deps.sh).
# Usage: fuzz/run.sh [seconds per target]   (default 60, or $FUZZ_SECONDS)
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=${1:-${FUZZ_SECONDS:-60}}
build=${FUZZ_BUILD_DIR:-build-fuzz}

# One name per target: fuzz/<name>.cpp, seeds in fuzz/corpus/<name>/. Add new targets here
# and in fuzz/CMakeLists.txt.
targets=(
    mif_dictionary
    mif_object
    gda_ascii
    format
    strings
    fio_text
    prefs_definitions
    prefs_file
    hfa_open
    odll_list
    img_layer
    dsc_table
    pnm_image
)

CC=clang CXX=clang++ cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo \
    -DORVIK_FUZZ=ON -DORVIK_SANITIZE=ON -DORVIK_BUILD_TESTS=OFF -DORVIK_BUILD_BENCH=OFF
cmake --build "$build" -j"$(nproc)" --target "${targets[@]/#/fuzz_}"

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export ASAN_OPTIONS=${ASAN_OPTIONS:-detect_leaks=1:abort_on_error=1}
export UBSAN_OPTIONS=${UBSAN_OPTIONS:-print_stacktrace=1:halt_on_error=1}
# Targets run side by side, one per core, each for the full time; their logs are printed
# in order once all have finished.
run_one() {
    local t=$1
    mkdir -p "$work/$t"
    cp -r "fuzz/corpus/$t/." "$work/$t/"
    "$build/fuzz/fuzz_$t" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 \
        -print_final_stats=1 -artifact_prefix="$build/fuzz/artifacts/$t-" "$work/$t" \
        > "$work/$t.log" 2>&1
}
mkdir -p "$build/fuzz/artifacts"
jobs_max=$(nproc)
declare -A pid_of=()
for t in "${targets[@]}"; do
    while [ "$(jobs -rp | wc -l)" -ge "$jobs_max" ]; do wait -n || true; done
    echo "== fuzz_$t for ${seconds}s"
    run_one "$t" &
    pid_of[$t]=$!
done
status=0
for t in "${targets[@]}"; do
    if wait "${pid_of[$t]}"; then result=ok; else result=FAILED; status=1; fi
    echo "== fuzz_$t: $result"
    tail -n 25 "$work/$t.log"
done
exit $status
