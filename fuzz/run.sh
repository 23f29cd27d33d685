#!/usr/bin/env bash
# Builds the libFuzzer targets with clang under ASan + UBSan and runs each one over a copy of
# its seed corpus; fails on any crash, leak, timeout or sanitizer report. Installs nothing
# (clang and libclang-rt-14-dev come from scripts/deps.sh).
# Usage: fuzz/run.sh [seconds per target]   (default: the budget below, or $FUZZ_SECONDS)
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=${1:-${FUZZ_SECONDS:-}}
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
    img_codec
    pnm_image
    img_companion
)

# The CI budget: about 520 target-seconds (4 1/2 minutes on two cores), most of it for the parsers
# of files from outside (HFA files and their layers, dictionaries, preferences, ASCII stacks);
# a target not named here gets 30 s. A number on the command line or in FUZZ_SECONDS gives
# every target that time instead.
declare -A budget=(
    [hfa_open]=90 [img_layer]=75 [mif_dictionary]=45 [prefs_definitions]=30
    [prefs_file]=30 [gda_ascii]=30 [mif_object]=30 [dsc_table]=30
    [format]=15 [strings]=15 [fio_text]=15 [odll_list]=10
    [img_companion]=45
)
seconds_of() { echo "${seconds:-${budget[$1]:-30}}"; }

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
    "$build/fuzz/fuzz_$t" -max_total_time="$(seconds_of "$t")" -timeout=10 -rss_limit_mb=2048 \
        -print_final_stats=1 -artifact_prefix="$build/fuzz/artifacts/$t-" "$work/$t" \
        > "$work/$t.log" 2>&1
}
mkdir -p "$build/fuzz/artifacts"
jobs_max=$(nproc)
declare -A pid_of=()
# Longest first, so that the two cores finish together.
mapfile -t order < <(for t in "${targets[@]}"; do echo "$(seconds_of "$t") $t"; done |
    sort -rn | cut -d' ' -f2)
for t in "${order[@]}"; do
    while [ "$(jobs -rp | wc -l)" -ge "$jobs_max" ]; do wait -n || true; done
    echo "== fuzz_$t for $(seconds_of "$t")s"
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
