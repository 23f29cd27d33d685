// Per-bin records to and from the columns of a layer's descriptor table.
#include "stats/bin_column_io.hpp"

#include "core/guard.hpp"

using orvik::core::SetError;

namespace orvik::stats {

const BinColumnReading kHistogramReading = {
    L"Invalid input table to read histogram from", L"Cannot find histogram column",
    L"Histogram ColumnOpen fail", L"Could not read histogram data from table"};
const BinColumnReading kColorReading = {
    L"Invalid input table to read color table from", L"Cannot find color table column \"%s\"",
    L"Color table ColumnOpen fail", L"Could not read color table data from table"};
const BinColumnReading kContrastReading = {
    L"Invalid input table to read contrast table from", L"Cannot find contrast table column",
    L"Contrast table ColumnOpen fail", L"Could not read contrast table data from table"};
const BinColumnReading kClassNamesReading = {
    L"Invalid input table to read class names from", L"Cannot find class names column",
    L"Class names ColumnOpen fail", L"Could not read class names data from table"};

namespace {

// Whether the column's value type suits the record kind; a writer warns about an integer
// histogram column (reals written into it lose their fractions).
bool CheckColumnType(const BinColumn &kind, Odsc_Column *column, const wchar_t *name, bool writing,
                     const wchar_t *fn, Oerr_ErrorReport **err) {
    if (!kind.wrongType) return true;
    const Odsc_ColumnType type = odsc_ColumnGetType(column);
    if (kind.type == ODSC_COLUMN_STRING ? type == ODSC_COLUMN_STRING : type == ODSC_COLUMN_REAL)
        return true;
    if (kind.type == ODSC_COLUMN_REAL && type == ODSC_COLUMN_INTEGER) {
        if (!writing) return true;
        Oerr_ErrorReport *w = oerr_CreateErrorReport(fn, kBinsWrongType, OERR_KIND_WARNING, nullptr,
                                                     L"%s", kIntegerHistogramWarning);
        oerr_PrintErrorReport(w, OERR_REPORT_FULL);
        oerr_DeleteErrorReportEx(&w);
        return true;
    }
    SetError(err, fn, kBinsWrongType, nullptr, kind.wrongType, name);
    return false;
}

bool HasRoom(const Ogda_BaseData *values, int32_t startBin, int32_t n, const wchar_t *fn,
             Oerr_ErrorReport **err) {
    if (values && values->objecttype == Ogda_Table && values->numcolumns == 1 &&
        int64_t{startBin} + n <= values->numrows)
        return true;
    SetError(err, fn, kBinsTooFewValues, nullptr,
             L"Bins %ld to %ld requested of a table of %ld bins", long{startBin},
             long{startBin} + n - 1, values ? long{values->numrows} : 0L);
    return false;
}

// Closes a column; a failure is reported under `message` unless a report is already there.
bool Close(Odsc_Column *column, const wchar_t *message, const wchar_t *fn, Oerr_ErrorReport **err) {
    Oerr_ErrorReport *inner = nullptr;
    if (odsc_ColumnClose(column, &inner) == 0) return true;
    if (*err) {
        oerr_DeleteErrorReportEx(&inner);
    } else {
        SetError(err, fn, kBinsCannotClose, inner, message);
    }
    return false;
}

} // namespace

const wchar_t *ColorColumnOf(Odsc_Table *table, int32_t component, const wchar_t *fn,
                             Oerr_ErrorReport **err) {
    if (component < OSTA_RED || component > OSTA_OPACITY) {
        SetError(err, fn, kBinsBadComponent, nullptr, L"Invalid color component %ld",
                 long{component});
        return nullptr;
    }
    const bool opacity =
        component == OSTA_OPACITY && odsc_ColumnExist(table, L"Opacity", nullptr) == OMSC_TRUE;
    const bool overlay = component == OSTA_OPACITY && !opacity &&
                         odsc_ColumnExist(table, L"Overlay", nullptr) == OMSC_TRUE;
    return ColorColumnName(component, opacity, overlay);
}

long WriteBins(const BinColumn &kind, const wchar_t *name, Odsc_Table *table,
               const Ogda_BaseData *values, int32_t startBin, int32_t nBins, const wchar_t *fn,
               Oerr_ErrorReport **err) {
    const int32_t n = ResolveBinRows(kind, fn, startBin, nBins, odsc_TableGetNumRows(table), err);
    if (n < 0 || !HasRoom(values, startBin, n, fn, err)) return -1;
    Odsc_Column *column = nullptr;
    if (odsc_ColumnExist(table, name, nullptr)) {
        column = odsc_ColumnOpen(table, name, err);
        if (!column) {
            SetError(err, fn, kBinsCannotOpen, *err, kind.cannotOpen, name);
            return -1;
        }
        if (!CheckColumnType(kind, column, name, true, fn, err)) {
            odsc_ColumnClose(column, nullptr);
            return -1;
        }
    } else {
        column = odsc_ColumnCreate(table, name, kind.type, err);
        if (!column) {
            SetError(err, fn, kBinsCannotCreate, *err, kind.cannotCreate, name);
            return -1;
        }
    }
    Ogda_BaseData *view = ogda_BaseDataDerived(values, startBin, 0, n, 1, err);
    const bool written = view && odsc_ColumnWrite(column, startBin, n, view, err) == n;
    ogda_BaseDataDelete(view, nullptr);
    if (!written) SetError(err, fn, kBinsCannotWrite, *err, kind.cannotWrite);
    const bool closed = Close(column, kind.cannotClose, fn, err);
    return written && closed ? n : -1;
}

bool CheckRead(const BinColumnReading &reading, const Odsc_Table *table, int32_t startBin,
               int32_t nBins, const wchar_t *fn, Oerr_ErrorReport **err) {
    if (odsc_TableGetNumRows(table) < 1) {
        SetError(err, fn, kBinsBadTable, nullptr, reading.badTable);
        return false;
    }
    if (nBins <= 0) {
        SetError(err, fn, kColumnBadCount, nullptr,
                 L"Number of bins to read should be greater than 0");
        return false;
    }
    if (startBin < 0) {
        SetError(err, fn, kColumnBadStart, nullptr,
                 L"Invalid start bin - start bin must be greater than or equal to 0");
        return false;
    }
    return true;
}

int ReadBins(const BinColumn &kind, const BinColumnReading &reading, const wchar_t *name,
             Odsc_Table *table, Ogda_BaseData *values, int32_t startBin, int32_t nBins,
             bool ifPresent, const wchar_t *fn, Oerr_ErrorReport **err) {
    if (!HasRoom(values, startBin, nBins, fn, err)) return -1;
    if (!odsc_ColumnExist(table, name, nullptr)) {
        if (ifPresent) return 0;
        SetError(err, fn, kBinsNoColumn, nullptr, reading.noColumn, name);
        return -1;
    }
    Odsc_Column *column = odsc_ColumnOpen(table, name, err);
    if (!column) {
        SetError(err, fn, kBinsCannotOpen, *err, reading.cannotOpen);
        return -1;
    }
    if (!CheckColumnType(kind, column, name, false, fn, err)) {
        odsc_ColumnClose(column, nullptr);
        return -1;
    }
    Ogda_BaseData *view = ogda_BaseDataDerived(values, startBin, 0, nBins, 1, err);
    const bool read = view && odsc_ColumnRead(column, startBin, nBins, view, err) != nullptr;
    ogda_BaseDataDelete(view, nullptr);
    if (!read) SetError(err, fn, kBinsCannotRead, *err, reading.cannotRead);
    odsc_ColumnClose(column, nullptr);
    return read ? 1 : -1;
}

} // namespace orvik::stats
