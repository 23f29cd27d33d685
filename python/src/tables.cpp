// Histogram and colour table of a layer's descriptor table. Everything the library hands back
// is copied into plain vectors while the GIL is released; the numpy arrays are built after.
#include "tables.hpp"

#include <algorithm>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include <orvik/odsc.h>
#include <orvik/ogda.h>
#include <orvik/osta.h>

namespace orvik_py {

namespace {

constexpr int kComponents = OSTA_MAX_COLOR_COMPONENTS;

double &At(const Ogda_BaseData *column, int32_t row) {
    return *reinterpret_cast<double *>(static_cast<char *>(column->data) +
                                       static_cast<size_t>(row) * column->lineBytes);
}

std::vector<double> Copy(const Ogda_BaseData *column) {
    std::vector<double> values;
    if (!column) return values;
    values.reserve(static_cast<size_t>(column->numrows));
    for (int32_t r = 0; r < column->numrows; ++r) values.push_back(At(column, r));
    return values;
}

// Closes `table`; a failure to close counts only when the call had not failed before.
long CloseTable(Odsc_Table *table, long rc, Oerr_ErrorReport **err) {
    Oerr_ErrorReport *closeErr = nullptr;
    if (odsc_TableClose(table, &closeErr) < 0 && rc == 0) {
        *err = closeErr;
        return -1;
    }
    oerr_DeleteErrorReportEx(&closeErr);
    return rc;
}

// Opens the layer's table: 1 with `*table` set, 0 when the layer has none, -1 on failure.
long OpenTable(Ohfa_File *file, const wchar_t *layer, Odsc_Table **table, Oerr_ErrorReport **err) {
    *table = nullptr;
    const Omsc_Boolean exists = odsc_TableExist(file, layer, err);
    if (*err) return -1;
    if (!exists) return 0;
    *table = odsc_TableOpen(file, layer, err);
    return *table ? 1 : -1;
}

struct BinsCopy {
    int type = 0;
    int32_t bins = 0;
    double minimum = 0, maximum = 0;
    std::vector<double> limits;
};

struct HistogramCopy {
    bool found = false;
    std::vector<double> counts;
    std::optional<BinsCopy> bins;
};

long ReadHistogram(Ohfa_File *file, const wchar_t *layer, HistogramCopy &out,
                   Oerr_ErrorReport **err) {
    Odsc_Table *table = nullptr;
    const long opened = OpenTable(file, layer, &table, err);
    if (opened <= 0) return opened;
    long rc = 0;
    Osta_Histogram *histogram =
        osta_HistogramReadIfPresent(table, nullptr, 0, odsc_TableGetNumRows(table), err);
    if (histogram) {
        out.found = true;
        out.counts = Copy(histogram->table);
        osta_HistogramDelete(histogram);
        Odsc_BinFunction *f = odsc_TableGetBinFunction(table, err);
        if (f) {
            out.bins = BinsCopy{static_cast<int>(f->type), f->numBins, f->minLimit, f->maxLimit,
                                Copy(f->binLimits)};
            odsc_BinFunctionDelete(f);
        } else if (*err) {
            rc = -1;
        }
    } else if (*err) {
        rc = -1;
    }
    return CloseTable(table, rc, err);
}

long ReadColours(Ohfa_File *file, const wchar_t *layer, std::vector<double> &rgba,
                 Oerr_ErrorReport **err) {
    Odsc_Table *table = nullptr;
    const long opened = OpenTable(file, layer, &table, err);
    if (opened <= 0) return opened;
    long rc = 0;
    const Omsc_Boolean has = odsc_ColumnExist(table, L"Red", err);
    if (*err) {
        rc = -1;
    } else if (has) {
        const int32_t rows = odsc_TableGetNumRows(table);
        Osta_ColorTableStack *stack = osta_ColorTableStackRead(table, nullptr, 0, rows, err);
        if (!stack) {
            rc = -1;
        } else {
            rgba.assign(static_cast<size_t>(rows) * kComponents, 1.0);
            for (int32_t c = 0; c < stack->count && c < kComponents; ++c) {
                const Ogda_BaseData *column = stack->layers[c];
                for (int32_t r = 0; r < rows && r < column->numrows; ++r)
                    rgba[static_cast<size_t>(r) * kComponents + c] = At(column, r);
            }
            osta_ColorTableStackDelete(stack);
        }
    }
    return CloseTable(table, rc, err);
}

long WriteColours(Ohfa_File *file, const wchar_t *layer, const double *rgba, int32_t rows,
                  int32_t components, Oerr_ErrorReport **err) {
    Odsc_Table *table = nullptr;
    const long opened = OpenTable(file, layer, &table, err);
    if (opened < 0) return -1;
    if (opened == 0) {
        table = odsc_TableCreate(file, layer, rows, err);
        if (!table) return -1;
    }
    long rc = 0;
    if (odsc_TableGetNumRows(table) != rows && !odsc_TableResize(table, rows, err)) rc = -1;
    Ogda_BaseDataStack *stack = nullptr;
    if (rc == 0) {
        stack = ogda_BaseDataStackCreate(components, rows, 1, OGDA_F64, Ogda_Table, err);
        if (!stack) rc = -1;
    }
    if (rc == 0) {
        for (int32_t c = 0; c < components; ++c) {
            for (int32_t r = 0; r < rows; ++r)
                At(stack->layers[c], r) = rgba[static_cast<size_t>(r) * components + c];
        }
        if (osta_ColorTableStackWrite(table, stack, 0, rows, err) < 0) rc = -1;
    }
    ogda_BaseDataStackDelete(stack, nullptr);
    return CloseTable(table, rc, err);
}

const char *BinTypeName(int type) {
    switch (type) {
    case ODSC_BIN_DIRECT:
        return "direct";
    case ODSC_BIN_LINEAR:
        return "linear";
    case ODSC_BIN_LOGARITHMIC:
        return "logarithmic";
    case ODSC_BIN_EXPLICIT:
        return "explicit";
    case ODSC_BIN_UNIQUE:
        return "unique";
    default:
        return "unknown";
    }
}

py::array Array(const std::vector<double> &values) {
    return py::array_t<double>(static_cast<py::ssize_t>(values.size()), values.data());
}

} // namespace

py::object StoredHistogram(const LayerFile &layer) {
    HistogramCopy copy;
    Call(
        layer.lock,
        [&](Oerr_ErrorReport **err) {
            if (!layer.stillOpen(err)) return -1L;
            return ReadHistogram(layer.file, layer.layerPath.c_str(), copy, err);
        },
        IsNegative);
    if (!copy.found) return py::none();
    py::object bins = py::none();
    if (copy.bins) {
        py::dict d;
        d["type"] = BinTypeName(copy.bins->type);
        d["bins"] = copy.bins->bins;
        d["min"] = copy.bins->minimum;
        d["max"] = copy.bins->maximum;
        d["limits"] = copy.bins->limits.empty() ? py::object(py::none())
                                                : py::object(Array(copy.bins->limits));
        bins = d;
    }
    return py::make_tuple(Array(copy.counts), bins);
}

py::object StoredColourTable(const LayerFile &layer) {
    std::vector<double> rgba;
    Call(
        layer.lock,
        [&](Oerr_ErrorReport **err) {
            if (!layer.stillOpen(err)) return -1L;
            return ReadColours(layer.file, layer.layerPath.c_str(), rgba, err);
        },
        IsNegative);
    if (rgba.empty()) return py::none();
    const auto rows = static_cast<py::ssize_t>(rgba.size() / kComponents);
    py::array_t<double> out({rows, static_cast<py::ssize_t>(kComponents)});
    std::copy(rgba.begin(), rgba.end(), out.mutable_data());
    return out;
}

void WriteColourTable(const LayerFile &layer,
                      const py::array_t<double, py::array::c_style | py::array::forcecast> &rgba) {
    if (rgba.ndim() != 2 || (rgba.shape(1) != 3 && rgba.shape(1) != 4) || rgba.shape(0) < 1 ||
        rgba.shape(0) > INT32_MAX) {
        std::string shape;
        for (py::ssize_t i = 0; i < rgba.ndim(); ++i)
            shape += (i ? ", " : "") + std::to_string(rgba.shape(i));
        throw py::value_error("a colour table is an (n, 3) or (n, 4) array with n >= 1, got "
                              "shape (" +
                              shape + ")");
    }
    const auto rows = static_cast<int32_t>(rgba.shape(0));
    const auto components = static_cast<int32_t>(rgba.shape(1));
    const double *values = rgba.data();
    for (py::ssize_t i = 0; i < rgba.size(); ++i) {
        if (!(values[i] >= 0.0 && values[i] <= 1.0)) {
            throw py::value_error(
                "colour table values lie in 0..1, got " + std::to_string(values[i]) + " at row " +
                std::to_string(i / components) + ", component " + std::to_string(i % components));
        }
    }
    Call(
        layer.lock,
        [&](Oerr_ErrorReport **err) {
            if (!layer.stillOpen(err)) return -1L;
            return WriteColours(layer.file, layer.layerPath.c_str(), values, rows, components, err);
        },
        IsNegative);
}

} // namespace orvik_py
