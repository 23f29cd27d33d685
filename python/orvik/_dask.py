"""Layers as dask arrays, and dask arrays written into layers.

Each chunk task holds only the file's path, the layer's node path and the window, so a graph
pickles and runs in worker processes: a worker opens the file read-only once (kept per
process) and reads its windows. Chunks are whole blocks of the layer (or whole multiples).
"""

import os
import threading

import numpy as np

__all__ = ["to_dask", "store", "read_window", "close_cached"]

_open_files = {}
_open_lock = threading.Lock()


def _layer_in_process(path, layer_path):
    """The layer opened read-only in this process (files are kept open per process)."""
    from . import _file
    key = (os.getpid(), path)
    with _open_lock:
        f = _open_files.get(key)
        if f is None or f.closed:
            f = _file.open(path, "r")
            _open_files[key] = f
    return f[layer_path]


def close_cached():
    """Closes the files this process opened for chunk tasks. While one is open, the library
    hands its handle to later opens of the same name in this process."""
    with _open_lock:
        files = list(_open_files.values())
        _open_files.clear()
    for f in files:
        f.close()


def read_window(path, layer_path, level, row, column, rows, columns):
    """One chunk: the window of the layer at ``layer_path`` of the file at ``path``."""
    return _layer_in_process(path, layer_path).read((row, column, rows, columns), level)


def _splits(total, step):
    return tuple(min(step, total - start) for start in range(0, total, step))


def to_dask(layer, chunks=None, level=0):
    """A dask array over the layer (or overview ``level``) whose chunks are aligned to the
    layer's blocks: ``chunks`` = (rows, columns) must be whole multiples of the block shape
    (default: the blocks, grown to at least 1024 x 1024 pixels)."""
    import dask.array as da

    if layer.file.writable:
        # Readers in other processes see only what is on disk.
        layer.file.flush()
    rows, columns = layer.shape if level == 0 else layer.level_shape(level)
    brows, bcols = layer.block_shape
    if chunks is None:
        chunks = (brows * max(1, 1024 // brows), bcols * max(1, 1024 // bcols))
    crow, ccol = (int(v) for v in chunks)
    if crow < 1 or ccol < 1 or crow % brows or ccol % bcols:
        raise ValueError(f"chunks {tuple(chunks)} are not whole multiples of the block shape "
                         f"{(brows, bcols)}")
    path = os.path.abspath(layer.file.path)
    from dask.base import tokenize
    name = "orvik-" + tokenize(path, layer.path, level, crow, ccol, os.stat(path).st_mtime_ns)
    row_splits, col_splits = _splits(rows, crow), _splits(columns, ccol)
    graph = {}
    for i, nr in enumerate(row_splits):
        for j, nc in enumerate(col_splits):
            graph[(name, i, j)] = (read_window, path, layer.path, level, i * crow, j * ccol, nr,
                                   nc)
    return da.Array(graph, name, (row_splits, col_splits), dtype=layer.dtype)


def store(array, layer, row=0, col=0):
    """Computes ``array`` (a dask array, or anything 2-D) chunk row by chunk row, in
    parallel on the current scheduler, and writes each result into ``layer`` from this
    process: one writer, whatever the scheduler. Memory: one row of chunks."""
    import dask
    import dask.array as da

    array = da.asarray(array)
    if array.ndim != 2:
        raise ValueError(f"expected a 2-D array, got shape {array.shape}")
    rows, columns = layer.shape
    if row < 0 or col < 0 or row + array.shape[0] > rows or col + array.shape[1] > columns:
        raise ValueError(f"array of {array.shape[0]} x {array.shape[1]} at ({row}, {col}) does "
                         f"not fit the layer of {rows} x {columns}")
    blocks = array.to_delayed()
    top = row
    for i, line in enumerate(blocks):
        parts = dask.compute(*line)
        left = col
        for part in parts:
            part = np.asarray(part)
            layer.write(part, top, left)
            left += part.shape[1]
        top += array.chunks[0][i]
    layer.file.flush()
