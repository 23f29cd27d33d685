#!/usr/bin/env bash
# clang-format over every C and C++ source of the repository.
# Usage: scripts/format.sh          reformat in place
#        scripts/format.sh --check  fail when any file differs from its formatted form
set -euo pipefail
cd "$(dirname "$0")/.."
mapfile -t files < <(git ls-files '*.c' '*.h' '*.cpp' '*.hpp')
if [ "${1:-}" = "--check" ]; then
    clang-format --dry-run --Werror "${files[@]}"
else
    clang-format -i "${files[@]}"
fi
