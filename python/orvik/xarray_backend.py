"""The xarray backend: ``xarray.open_dataset(path, engine="orvik")``.

One variable per image with dimensions (band, y, x): its layers are the bands, in file order
(the layers of an image must agree in shape and dtype). Pixels load lazily, window by window;
with ``chunks=`` the variables are dask arrays whose preferred chunks are the layers' blocks.
Attributes: ``bands`` (layer names), ``nodata`` when the first band has one, and the stored
statistics per band as ``statistics_<name>`` lists (NaN where a band has none).
"""

import os
import threading

import numpy as np
import xarray as xr
from xarray.backends import BackendArray, BackendEntrypoint
from xarray.core import indexing

from . import _file

_STATISTICS = ("min", "max", "mean", "median", "mode", "stddev")


class _ImageArray(BackendArray):
    """The bands of one image, read on demand. Holds only paths, so it pickles."""

    def __init__(self, path, layer_paths, shape, dtype):
        self.path = path
        self.layer_paths = list(layer_paths)
        self.shape = shape
        self.dtype = np.dtype(dtype)
        self._lock = threading.Lock()

    def __getstate__(self):
        state = dict(self.__dict__)
        del state["_lock"]
        return state

    def __setstate__(self, state):
        self.__dict__.update(state)
        self._lock = threading.Lock()

    def __getitem__(self, key):
        return indexing.explicit_indexing_adapter(key, self.shape,
                                                  indexing.IndexingSupport.BASIC, self._raw)

    def _raw(self, key):
        from ._dask import _layer_in_process
        # Each index as a range; integer indices drop their axis at the end.
        ranges = [range(n)[k] if isinstance(k, slice) else range(n)[k:k + 1 or None]
                  for k, n in zip(key, self.shape)]
        bands, rows, cols = ranges
        out = np.empty((len(bands), len(rows), len(cols)), dtype=self.dtype)
        if out.size:
            r0, r1 = min(rows[0], rows[-1]), max(rows[0], rows[-1]) + 1
            c0, c1 = min(cols[0], cols[-1]), max(cols[0], cols[-1]) + 1
            for k, b in enumerate(bands):
                window = _layer_in_process(self.path, self.layer_paths[b]).read(
                    (r0, c0, r1 - r0, c1 - c0))
                out[k] = window[rows[0] - r0::rows.step, cols[0] - c0::cols.step][
                    :len(rows), :len(cols)]
        squeeze = tuple(i for i, k in enumerate(key) if not isinstance(k, slice))
        return out.squeeze(axis=squeeze) if squeeze else out


def _image_variable(path, image):
    layers = image.layers
    if not layers:
        return None
    first = layers[0]
    for layer in layers[1:]:
        if layer.shape != first.shape or layer.dtype != first.dtype:
            raise ValueError(f"image {image.path}: band {layer.name} is {layer.shape} "
                             f"{layer.dtype}, band {first.name} {first.shape} {first.dtype}")
    shape = (len(layers),) + first.shape
    array = _ImageArray(path, [l.path for l in layers], shape, first.dtype)
    attrs = {"bands": [l.name for l in layers]}
    if first.nodata is not None:
        attrs["nodata"] = first.nodata
    stats = [l.statistics for l in layers]
    if any(s is not None for s in stats):
        for key in _STATISTICS:
            attrs[f"statistics_{key}"] = [s[key] if s else float("nan") for s in stats]
    encoding = {"preferred_chunks": {"band": 1, "y": first.block_shape[0],
                                     "x": first.block_shape[1]}}
    data = indexing.LazilyIndexedArray(array)
    return xr.Variable(("band", "y", "x"), data, attrs, encoding)


def open_dataset(path, drop_variables=None):
    path = os.path.abspath(os.fspath(path))
    variables = {}
    with _file.open(path) as f:
        for image in f.images:
            name = image.path.lstrip("/").replace("/", "_")
            if drop_variables and name in drop_variables:
                continue
            var = _image_variable(path, image)
            if var is not None:
                variables[name] = var
    return xr.Dataset(variables, attrs={"source": path})


class OrvikBackendEntrypoint(BackendEntrypoint):
    description = "Raster images in HFA files, read with the orvik library"
    open_dataset_parameters = ("filename_or_obj", "drop_variables")

    def open_dataset(self, filename_or_obj, *, drop_variables=None):
        return open_dataset(filename_or_obj, drop_variables)

    def guess_can_open(self, filename_or_obj):
        try:
            return os.fspath(filename_or_obj).lower().endswith(".hfa")
        except TypeError:
            return False
