#!/usr/bin/env bash
# Installs the build and test dependencies on Debian 12 (needs root or sudo); with arguments,
# installs the packages named instead.
set -euo pipefail
pkgs=(g++ cmake make libgtest-dev libgmock-dev libbenchmark-dev libboost-dev clang libclang-rt-14-dev flex bison clang-tidy clang-format python3 libhdf5-dev libdeflate-dev libzstd-dev liblz4-dev libxxhash-dev)
# The Python package and its tests.
pkgs+=(pybind11-dev python3-dev python3-numpy python3-pytest python3-dask python3-distributed python3-xarray)
# The orvik tool.
pkgs+=(libcli11-dev nlohmann-json3-dev libtiff-dev libgeotiff-dev libpng-dev help2man)
[ $# -eq 0 ] || pkgs=("$@")
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
