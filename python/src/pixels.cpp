// Pixel types as numpy dtypes and numpy arrays as BaseData views.
#include "pixels.hpp"

#include <complex>
#include <cstdint>
#include <limits>

namespace orvik_py {

py::dtype DtypeOf(int32_t type) {
    switch (type) {
    case OGDA_U1:
    case OGDA_U2:
    case OGDA_U4:
    case OGDA_U8:
        return py::dtype::of<uint8_t>();
    case OGDA_S8:
        return py::dtype::of<int8_t>();
    case OGDA_U16:
        return py::dtype::of<uint16_t>();
    case OGDA_S16:
        return py::dtype::of<int16_t>();
    case OGDA_U32:
        return py::dtype::of<uint32_t>();
    case OGDA_S32:
        return py::dtype::of<int32_t>();
    case OGDA_F32:
        return py::dtype::of<float>();
    case OGDA_F64:
        return py::dtype::of<double>();
    case OGDA_C64:
        return py::dtype::of<std::complex<float>>();
    case OGDA_C128:
        return py::dtype::of<std::complex<double>>();
    default:
        return py::dtype("O");
    }
}

Ogda_PixelType PixelTypeOf(const py::dtype &dtype) {
    static const Ogda_PixelType candidates[] = {OGDA_U8,  OGDA_S8,  OGDA_U16, OGDA_S16, OGDA_U32,
                                                OGDA_S32, OGDA_F32, OGDA_F64, OGDA_C64, OGDA_C128};
    for (Ogda_PixelType t : candidates) {
        if (DtypeOf(t).equal(dtype)) return t;
    }
    return OGDA_PIXEL_INVALID;
}

Ogda_PixelType PixelTypeFromArgument(const py::object &dtype) {
    if (py::isinstance<py::str>(dtype)) {
        const std::string name = dtype.cast<std::string>();
        if (name == "u1") return OGDA_U1;
        if (name == "u2") return OGDA_U2;
        if (name == "u4") return OGDA_U4;
        if (name == "string" || name == "str") return OGDA_STRING;
    }
    py::dtype d = py::dtype::from_args(dtype);
    const Ogda_PixelType t = PixelTypeOf(d);
    if (t == OGDA_PIXEL_INVALID) {
        throw py::type_error("pixel type " + Text(d) +
                             " has no layer type (use uint8/16/32, int8/16/32, float32/64, "
                             "complex64/128, \"u1\", \"u2\", \"u4\" or \"string\")");
    }
    return t;
}

Ogda_BaseData ViewOf(py::array &array, Ogda_PixelType type) {
    const py::ssize_t item = array.itemsize();
    if (array.ndim() != 2) {
        throw py::value_error("expected a 2-D array, got " + std::to_string(array.ndim()) +
                              " dimensions");
    }
    const py::ssize_t rows = array.shape(0), columns = array.shape(1);
    const py::ssize_t rowStride = array.strides(0);
    if ((columns > 1 && array.strides(1) != item) || (rows > 1 && rowStride < columns * item) ||
        rowStride > std::numeric_limits<int32_t>::max() ||
        rows * columns > std::numeric_limits<int32_t>::max()) {
        throw py::value_error("array of " + std::to_string(rows) + " x " + std::to_string(columns) +
                              " with strides (" + std::to_string(rowStride) + ", " +
                              std::to_string(array.strides(1)) +
                              ") is not row-contiguous (each row must be " +
                              std::to_string(columns * item) + " contiguous bytes)");
    }
    Ogda_BaseData view{};
    view.numrows = static_cast<int32_t>(rows);
    view.numcolumns = static_cast<int32_t>(columns);
    view.datatype = type;
    view.objecttype = Ogda_Raster;
    view.data = const_cast<void *>(array.data());
    view.dataStart = view.data;
    view.lineBytes = static_cast<int32_t>(rows > 1 ? rowStride : columns * item);
    view.derivedFlag = 1;
    view.numelements = view.numrows * view.numcolumns;
    view.numbytes = static_cast<int32_t>(item);
    return view;
}

} // namespace orvik_py
