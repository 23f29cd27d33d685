#!/usr/bin/env bash
# Installs what the Windows cross build and its Wine test run need on Debian 12 (root or sudo),
# and makes Debian's source packages reachable: the block codecs are cross-compiled from them.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/deps.sh cmake make flex bison libboost-dev g++-mingw-w64-x86-64-posix wine64 wine \
    googletest libxxhash-dev dpkg-dev

SUDO=""
[ "$(id -u)" -eq 0 ] || SUDO="sudo"
src_list=/etc/apt/sources.list.d/orvik-deb-src.sources
# `apt-get source` needs deb-src entries; add them once, for the suites the binaries come from.
if ! grep -rqs '^Types:.*deb-src\|^deb-src ' /etc/apt/sources.list /etc/apt/sources.list.d/; then
    $SUDO tee "$src_list" >/dev/null <<'SOURCES'
Types: deb-src
URIs: http://deb.debian.org/debian
Suites: bookworm bookworm-updates
Components: main
Signed-By: /usr/share/keyrings/debian-archive-keyring.gpg
SOURCES
    $SUDO apt-get update -qq
fi
