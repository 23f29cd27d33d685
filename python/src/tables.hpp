// The per-bin columns of a layer's descriptor table as numpy arrays: the stored histogram with
// its bin function, and the colour table.
#pragma once

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>

#include <functional>
#include <string>

#include <orvik/ohfa.h>

#include "calls.hpp"

namespace orvik_py {

namespace py = pybind11;

// A layer's file for the calls below: `stillOpen` runs under the file's lock before the file
// is touched and reports when another thread closed the layer meanwhile.
struct LayerFile {
    FileMutex *lock;
    Ohfa_File *file;
    std::wstring layerPath;
    std::function<bool(Oerr_ErrorReport **)> stillOpen;
};

// (counts as float64, bin function as a dict) of the layer at `layerPath`, or None when it
// has no stored histogram. The bin function is None when the table holds none (or one that
// no longer fits its rows).
py::object StoredHistogram(const LayerFile &layer);

// The colour table as an (n, 4) float64 array of red, green, blue and opacity in 0..1, or
// None when the layer has none. A table without an opacity column reads as opaque (1.0).
py::object StoredColourTable(const LayerFile &layer);

// Stores an (n, 3) or (n, 4) float64 array as the layer's colour table; the descriptor table
// is created with n rows, or resized to n rows when it has another count.
void WriteColourTable(const LayerFile &layer,
                      const py::array_t<double, py::array::c_style | py::array::forcecast> &rgba);

} // namespace orvik_py
