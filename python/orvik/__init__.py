"""Raster images in HFA files as numpy arrays, xarray datasets and dask arrays.

    import orvik
    with orvik.open("scene.hfa") as f:
        band = f["/Image/Band_1"]
        pixels = band[0:512, 0:512]
"""

from ._errors import Error, FileError, OrvikWarning
from ._file import Entry, File, Image, create, is_hfa_file, open
from ._layer import Layer

__all__ = ["Error", "FileError", "OrvikWarning", "Entry", "File", "Image", "Layer", "create",
           "is_hfa_file", "open", "store", "to_dask"]
__version__ = "0.1.0"


def to_dask(layer, chunks=None, level=0):
    """A dask array over ``layer`` (see orvik._dask.to_dask)."""
    from ._dask import to_dask as _to_dask
    return _to_dask(layer, chunks, level)


def store(array, layer, row=0, col=0):
    """Writes a dask array into ``layer`` (see orvik._dask.store)."""
    from ._dask import store as _store
    return _store(array, layer, row, col)
