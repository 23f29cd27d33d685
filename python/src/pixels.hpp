// Pixel types as numpy dtypes, and numpy arrays seen by the library as BaseData views.
#pragma once

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>

#include <string>

#include <orvik/ogda.h>

namespace orvik_py {

namespace py = pybind11;

// The dtype a layer of `type` reads into: u1, u2 and u4 unpacked to uint8, "string" as object.
py::dtype DtypeOf(int32_t type);

// The pixel type whose memory layout `dtype` has (uint8 -> u8, complex64 -> c64, ...), or
// OGDA_PIXEL_INVALID.
Ogda_PixelType PixelTypeOf(const py::dtype &dtype);

// The pixel type named by a layer's dtype argument: a dtype, or "u1", "u2", "u4", "string".
Ogda_PixelType PixelTypeFromArgument(const py::object &dtype);

// The text of a Python object, for messages.
inline std::string Text(py::handle h) { return py::str(h).cast<std::string>(); }

// A raster view over `array` (2-D, rows contiguous) of pixel type `type`; the library reads
// and writes the array's memory directly. Raises ValueError when the rows are not contiguous.
Ogda_BaseData ViewOf(py::array &array, Ogda_PixelType type);

} // namespace orvik_py
