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
           "is_hfa_file", "open", "store"]
__version__ = "0.1.0"


def store(array, layer, row=0, col=0):
    """Writes a dask array into ``layer`` (see orvik.dask.store)."""
    from .dask import store as _store
    return _store(array, layer, row, col)
