#!/usr/bin/env bash
# Installs what the Windows cross build and its Wine test run need on Debian 12 (root or sudo).
set -euo pipefail
pkgs=(cmake make flex bison libboost-dev g++-mingw-w64-x86-64-posix wine64 wine googletest)
missing=()
for p in "${pkgs[@]}"; do
    dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
    SUDO=""
    [ "$(id -u)" -eq 0 ] || SUDO="sudo"
    export DEBIAN_FRONTEND=noninteractive
    $SUDO apt-get update -qq
    $SUDO apt-get install -y -qq "${missing[@]}"
fi
