#!/usr/bin/env bash
# Installs what the peer benchmark script (shared/bench/raster_peers.py: zarr and HDF5 through
# h5py) needs besides scripts/deps.sh; the tests do not need these. Debian 12, root or sudo.
set -euo pipefail
exec "$(dirname "$0")/deps.sh" python3-numpy python3-zarr python3-numcodecs python3-h5py
