#!/usr/bin/env bash
# Installs what the Windows cross build and its Wine test run need on Debian 12 (root or sudo).
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/deps.sh cmake make flex bison libboost-dev g++-mingw-w64-x86-64-posix wine64 wine \
    googletest
