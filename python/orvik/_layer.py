"""Raster layers as numpy arrays."""

import operator

import numpy as np

__all__ = ["Layer"]

_TYPE_NAMES = ["u1", "u2", "u4", "u8", "s8", "u16", "s16", "u32", "s32", "f32", "f64", "c64",
               "c128", "string"]
_DTYPES = [np.uint8] * 4 + [np.int8, np.uint16, np.int16, np.uint32, np.int32, np.float32,
                            np.float64, np.complex64, np.complex128, object]


def _axis(index, size, name):
    """(start, stop, step, keeps_axis) of one index into an axis of ``size``."""
    if isinstance(index, slice):
        start, stop, step = index.indices(size)
        return start, stop, step, True
    try:
        i = operator.index(index)
    except TypeError:
        raise TypeError(f"{name} index must be an int or a slice, got "
                        f"{type(index).__name__}") from None
    if not -size <= i < size:
        raise IndexError(f"{name} index {i} outside 0..{size - 1}")
    i %= size
    return i, i + 1, 1, False


class Layer:
    """One raster layer of an image. ``layer[r0:r1, c0:c1]`` reads, assignment writes."""

    def __init__(self, file, handle):
        self.file = file
        self._h = handle
        self._info = handle.info()

    def __repr__(self):
        return (f"<orvik.Layer {self.path} {self.shape[0]}x{self.shape[1]} "
                f"{self.pixel_type}>")

    # ---- description -----------------------------------------------------------------
    @property
    def path(self):
        return self._info["path"]

    @property
    def name(self):
        return self.path.rsplit("/", 1)[-1]

    @property
    def closed(self):
        return self._h.closed

    @property
    def shape(self):
        return (self._info["rows"], self._info["columns"])

    @property
    def pixel_type(self):
        """The stored pixel type: "u1" ... "c128", "string"."""
        return _TYPE_NAMES[self._info["pixel_type"]]

    @property
    def dtype(self):
        """The numpy dtype reads give (u1, u2, u4 unpacked to uint8; "string" as object)."""
        return np.dtype(_DTYPES[self._info["pixel_type"]])

    @property
    def block_shape(self):
        return (self._info["block_rows"], self._info["block_columns"])

    @property
    def nodata(self):
        return self._info["nodata"]

    @property
    def thematic(self):
        return self._info["thematic"]

    @property
    def overviews(self):
        """The factors of the stored overview levels: [2, 4, ...]; level k has 2**k."""
        return [2 ** k for k in range(1, self._h.overview_count() + 1)]

    def level_shape(self, level):
        info = self._h.info(level)
        return (info["rows"], info["columns"])

    # ---- pixels ----------------------------------------------------------------------
    def read(self, window=None, level=0, out=None):
        """Reads ``window`` = (row, column, rows, columns) of overview ``level`` (0: the
        layer; None: all of it) into ``out`` or a new array. The library writes the array's
        memory directly; ``out`` must have the layer's dtype, the window's shape and
        contiguous rows."""
        if window is None:
            rows, columns = self.shape if level == 0 else self.level_shape(level)
            window = (0, 0, rows, columns)
        if len(window) != 4:
            raise ValueError(f"window has {len(window)} numbers, expected 4 "
                             "(row, column, rows, columns)")
        row, column, rows, columns = (operator.index(v) for v in window)
        return self._h.read(row, column, rows, columns, level, out)

    def write(self, array, row=0, col=0):
        """Writes a 2-D array with its top-left pixel at (row, col); values are converted to
        the layer's type (truncating, saturating)."""
        array = np.asarray(array)
        if array.dtype == np.bool_:
            array = array.astype(np.uint8)
        if array.dtype.kind in "US":
            array = array.astype(object)
        elif array.dtype.kind in "iu" and array.itemsize == 8 or array.dtype == np.float16:
            # No layer type holds these; the library converts from f64 (saturating).
            array = array.astype(np.float64)
        if array.ndim != 2:
            raise ValueError(f"expected a 2-D array, got shape {array.shape}")
        if array.dtype != object and (array.strides[1] != array.itemsize or array.strides[0] < 0):
            array = np.ascontiguousarray(array)
        self._h.write(array, operator.index(row), operator.index(col))

    def _window(self, key):
        if not isinstance(key, tuple):
            key = (key, slice(None))
        if len(key) != 2:
            raise IndexError(f"layers have 2 dimensions, got {len(key)} indices")
        rows, columns = self.shape
        return (_axis(key[0], rows, "row"), _axis(key[1], columns, "column"))

    def __getitem__(self, key):
        (r0, r1, rs, rkeep), (c0, c1, cs, ckeep) = self._window(key)
        # Steps other than 1 read the covering window and take every step-th pixel.
        lo_r, hi_r = (r0, r1) if rs > 0 else (r1 + 1, r0 + 1)
        lo_c, hi_c = (c0, c1) if cs > 0 else (c1 + 1, c0 + 1)
        if hi_r <= lo_r or hi_c <= lo_c:
            data = np.empty((0 if hi_r <= lo_r else hi_r - lo_r,
                             0 if hi_c <= lo_c else hi_c - lo_c), dtype=self.dtype)
        else:
            data = self.read((lo_r, lo_c, hi_r - lo_r, hi_c - lo_c))
        if rs != 1 or cs != 1:
            data = data[r0 - lo_r::rs, c0 - lo_c::cs] if data.size else data
            data = np.ascontiguousarray(data)
        if not rkeep and not ckeep:
            return data[0, 0]
        if not rkeep:
            return data[0]
        if not ckeep:
            return data[:, 0]
        return data

    def __setitem__(self, key, value):
        (r0, r1, rs, _), (c0, c1, cs, _) = self._window(key)
        if rs != 1 or cs != 1:
            raise ValueError(f"assignment takes steps of 1 only, got steps ({rs}, {cs})")
        if r1 <= r0 or c1 <= c0:
            return
        value = np.asarray(value)
        if value.dtype.kind in "US":
            value = value.astype(object)
        target = (r1 - r0, c1 - c0)
        try:
            value = np.broadcast_to(value, target)
        except ValueError:
            raise ValueError(f"cannot assign an array of shape {value.shape} to a window of "
                             f"shape {target}") from None
        self.write(value, r0, c0)

    def __array__(self, dtype=None):
        data = self.read()
        return data if dtype is None else data.astype(dtype)

    # ---- derived data ----------------------------------------------------------------
    def build_overviews(self):
        """Builds (or rebuilds) every overview level; returns their number."""
        return self._h.build_overviews()

    @property
    def statistics(self):
        """The stored statistics (min, max, mean, median, mode, stddev), or None."""
        return self._h.statistics()

    @property
    def histogram(self):
        """The bin counts (float64) stored in the layer's descriptor table, or None. The bins
        follow ``bin_function``."""
        stored = self._h.histogram()
        return None if stored is None else stored[0]

    @property
    def bin_function(self):
        """How pixel values map to the rows of the descriptor table: a dict with "type"
        ("direct", "linear", "logarithmic", "explicit", "unique"), "bins", "min", "max" and
        "limits" (the explicit limits or None); None when no histogram or bin function is
        stored."""
        stored = self._h.histogram()
        return None if stored is None else stored[1]

    @property
    def colour_table(self):
        """The colour table as an (n, 4) float64 array of red, green, blue and opacity in
        0..1 (opaque when the file stores no opacity), or None."""
        return self._h.colour_table()

    @colour_table.setter
    def colour_table(self, rgba):
        """Stores an (n, 3) or (n, 4) array of values in 0..1; the descriptor table gets n
        rows (other columns keep their first rows, new rows hold 0)."""
        self._h.set_colour_table(np.asarray(rgba, dtype=np.float64))

    def compute_statistics(self, histogram=False):
        """Computes min, max, mean, median, mode and stddev over the whole layer (no-data
        left out), strip by strip; on a file open for update they are stored with the layer
        (statistics and histogram). With ``histogram``, returns (statistics, bin counts)."""
        stats, counts = self._h.compute_statistics()
        return (stats, counts) if histogram else stats

    def to_dask(self, chunks=None):
        """A dask array over the layer (see orvik.to_dask)."""
        from ._dask import to_dask
        return to_dask(self, chunks)

    def close(self):
        self._h.close()
