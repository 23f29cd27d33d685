// Histogram, colour, contrast and class-name records in a layer's descriptor table, and the
// histogram's time stamp.
#include <orvik/osta.h>

#include "core/guard.hpp"
#include "stats/report_slot.hpp"
#include "stats/bin_column_io.hpp"
#include "stats/layer_objects.hpp"
#include "stats/osta_tables.hpp"

using namespace orvik::stats;
using orvik::core::SetError;

namespace {

bool CheckWriteTable(const Odsc_Table *table, const wchar_t *fn, Oerr_ErrorReport **err) {
    if (odsc_TableGetNumRows(table) >= 1) return true;
    SetError(err, fn, kBinsBadTable, nullptr, L"Invalid descriptor table");
    return false;
}

long WriteColor(Odsc_Table *table, const Osta_ColorTable *values, int32_t component,
                int32_t startBin, int32_t nBins, const wchar_t *fn, Oerr_ErrorReport **e) {
    if (!CheckWriteTable(table, fn, e)) return -1;
    // The range is checked before the component's column is looked for.
    if (ResolveBinRows(kColorColumn, fn, startBin, nBins, odsc_TableGetNumRows(table), e) < 0)
        return -1;
    const wchar_t *name = ColorColumnOf(table, component, fn, e);
    if (!name) return -1;
    return WriteBins(kColorColumn, name, table, values, startBin, nBins, fn, e);
}

// Reads one per-bin record: `values` given, or a new table of one element per row (freed
// again when nothing is read).
Ogda_BaseData *ReadRecord(const BinColumn &kind, const BinColumnReading &reading,
                          const wchar_t *name, Odsc_Table *table, Ogda_BaseData *values,
                          int32_t startBin, int32_t nBins, bool ifPresent, const wchar_t *fn,
                          Oerr_ErrorReport **e) {
    Ogda_BaseData *out = values;
    if (!out) {
        const Ogda_PixelType type = kind.type == ODSC_COLUMN_STRING ? OGDA_STRING : OGDA_F64;
        out = NewBinTable(odsc_TableGetNumRows(table), type, fn, e);
        if (!out) return nullptr;
    }
    const int r = ReadBins(kind, reading, name, table, out, startBin, nBins, ifPresent, fn, e);
    if (r > 0) return out;
    if (out != values) ogda_BaseDataDelete(out, nullptr);
    return nullptr;
}

Osta_ColorTable *ReadColor(Odsc_Table *table, Osta_ColorTable *values, int32_t component,
                           int32_t startBin, int32_t nBins, bool ifPresent, const wchar_t *fn,
                           Oerr_ErrorReport **e) {
    if (!CheckRead(kColorReading, table, startBin, nBins, fn, e)) return nullptr;
    const wchar_t *name = ColorColumnOf(table, component, fn, e);
    if (!name) return nullptr;
    return ReadRecord(kColorColumn, kColorReading, name, table, values, startBin, nBins, ifPresent,
                      fn, e);
}

Osta_Histogram *ReadHistogram(Odsc_Table *table, Osta_Histogram *histogram, int32_t startBin,
                              int32_t nBins, bool ifPresent, const wchar_t *fn,
                              Oerr_ErrorReport **e) {
    if (!CheckRead(kHistogramReading, table, startBin, nBins, fn, e)) return nullptr;
    if (histogram && !IsValidHistogram(histogram)) {
        SetError(e, fn, kBinsBadHistogram, nullptr,
                 L"Input histogram not an Osta_Histogram (wrong data type)");
        return nullptr;
    }
    Osta_Histogram *out = histogram;
    if (!out) {
        // The table's bin function when it keeps one; else row r stands for the value r.
        Odsc_BinFunction *kept = odsc_TableGetBinFunction(table, e);
        if (*e) return nullptr;
        out = osta_HistogramCreate(kept, odsc_TableGetNumRows(table), e);
        odsc_BinFunctionDelete(kept);
        if (!out) return nullptr;
    }
    const int r = ReadBins(kHistogramColumn, kHistogramReading, kHistogramColumn.name, table,
                           out->table, startBin, nBins, ifPresent, fn, e);
    if (r > 0) return out;
    if (out != histogram) osta_HistogramDelete(out);
    return nullptr;
}

} // namespace

extern "C" {

// ---- Histogram ------------------------------------------------------------------------

ORVIK_API long osta_HistogramWrite(Odsc_Table *table, const Osta_Histogram *histogram,
                                   int32_t startBin, int32_t nBins, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT {
    constexpr const wchar_t *kFn = L"osta_HistogramWrite";
    return WithReport<long>(err, kFn, -1, [&](Oerr_ErrorReport **e) -> long {
        if (!CheckWriteTable(table, kFn, e)) return -1;
        if (ResolveBinRows(kHistogramColumn, kFn, startBin, nBins, odsc_TableGetNumRows(table), e) <
            0)
            return -1;
        if (!IsValidHistogram(histogram)) {
            SetError(e, kFn, kBinsBadHistogram, nullptr,
                     L"Input histogram not an Osta_Histogram (wrong data type)");
            return -1;
        }
        const long written = WriteBins(kHistogramColumn, kHistogramColumn.name, table,
                                       histogram->table, startBin, nBins, kFn, e);
        // The bins go with the counts when they cover the table, so a reader recovers them.
        if (written < 0 || histogram->binFunction->numBins != odsc_TableGetNumRows(table))
            return written;
        if (odsc_TableSetBinFunction(table, histogram->binFunction, e) == 0) return written;
        SetError(e, kFn, kBinsCannotWrite, *e, kHistogramColumn.cannotWrite);
        return -1;
    });
}

ORVIK_API Osta_Histogram *osta_HistogramRead(Odsc_Table *table, Osta_Histogram *histogram,
                                             int32_t startBin, int32_t nBins,
                                             Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    constexpr const wchar_t *kFn = L"osta_HistogramRead";
    return WithReport<Osta_Histogram *>(err, kFn, nullptr, [&](Oerr_ErrorReport **e) {
        return ReadHistogram(table, histogram, startBin, nBins, false, kFn, e);
    });
}

ORVIK_API Osta_Histogram *osta_HistogramReadIfPresent(Odsc_Table *table, Osta_Histogram *histogram,
                                                      int32_t startBin, int32_t nBins,
                                                      Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    constexpr const wchar_t *kFn = L"osta_HistogramReadIfPresent";
    return WithReport<Osta_Histogram *>(err, kFn, nullptr, [&](Oerr_ErrorReport **e) {
        return ReadHistogram(table, histogram, startBin, nBins, true, kFn, e);
    });
}

ORVIK_API double osta_HistogramGetTimeStamp(Ohfa_File *file, const wchar_t *node,
                                            Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    constexpr const wchar_t *kFn = L"osta_HistogramGetTimeStamp";
    return WithReport<double>(err, kFn, -1, [&](Oerr_ErrorReport **e) {
        return EntryTime(file, node, ODSC_TABLE_ENTRY_NAME L"/Histogram", kFn, e);
    });
}

// ---- Colour tables ----------------------------------------------------------------------

ORVIK_API long osta_ColorTableWrite(Odsc_Table *table, const Osta_ColorTable *values,
                                    int32_t component, int32_t startBin, int32_t nBins,
                                    Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    constexpr const wchar_t *kFn = L"osta_ColorTableWrite";
    return WithReport<long>(err, kFn, -1, [&](Oerr_ErrorReport **e) {
        return WriteColor(table, values, component, startBin, nBins, kFn, e);
    });
}

ORVIK_API Osta_ColorTable *osta_ColorTableRead(Odsc_Table *table, Osta_ColorTable *values,
                                               int32_t component, int32_t startBin, int32_t nBins,
                                               Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    constexpr const wchar_t *kFn = L"osta_ColorTableRead";
    return WithReport<Osta_ColorTable *>(err, kFn, nullptr, [&](Oerr_ErrorReport **e) {
        return ReadColor(table, values, component, startBin, nBins, false, kFn, e);
    });
}

ORVIK_API Osta_ColorTable *osta_ColorTableReadIfPresent(Odsc_Table *table, Osta_ColorTable *values,
                                                        int32_t component, int32_t startBin,
                                                        int32_t nBins, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT {
    constexpr const wchar_t *kFn = L"osta_ColorTableReadIfPresent";
    return WithReport<Osta_ColorTable *>(err, kFn, nullptr, [&](Oerr_ErrorReport **e) {
        return ReadColor(table, values, component, startBin, nBins, true, kFn, e);
    });
}

ORVIK_API long osta_ColorTableStackWrite(Odsc_Table *table, const Osta_ColorTableStack *stack,
                                         int32_t startBin, int32_t nBins, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT {
    constexpr const wchar_t *kFn = L"osta_ColorTableStackWrite";
    return WithReport<long>(err, kFn, -1, [&](Oerr_ErrorReport **e) -> long {
        if (!stack || !stack->layers || stack->count < 1 ||
            stack->count > OSTA_MAX_COLOR_COMPONENTS) {
            SetError(e, kFn, kBinsBadStack, nullptr,
                     L"A color table stack holds 1 to 4 components, not %ld",
                     stack ? long{stack->count} : 0L);
            return -1;
        }
        long written = 0;
        for (int32_t i = 0; i < stack->count; ++i) {
            written = WriteColor(table, stack->layers[i], i, startBin, nBins, kFn, e);
            if (written < 0) {
                SetError(e, kFn, kBinsComponentFailed, *e,
                         L"Could not write color table component %ld", long{i});
                return -1;
            }
        }
        return written;
    });
}

ORVIK_API Osta_ColorTableStack *osta_ColorTableStackRead(Odsc_Table *table,
                                                         Osta_ColorTableStack *stack,
                                                         int32_t startBin, int32_t nBins,
                                                         Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    constexpr const wchar_t *kFn = L"osta_ColorTableStackRead";
    return WithReport<Osta_ColorTableStack *>(
        err, kFn, nullptr, [&](Oerr_ErrorReport **e) -> Osta_ColorTableStack * {
            if (!CheckRead(kColorReading, table, startBin, nBins, kFn, e)) return nullptr;
            if (stack &&
                (!stack->layers || stack->count < 1 || stack->count > OSTA_MAX_COLOR_COMPONENTS)) {
                SetError(e, kFn, kBinsBadStack, nullptr,
                         L"A color table stack holds 1 to 4 components, not %ld",
                         long{stack->count});
                return nullptr;
            }
            Osta_ColorTableStack *out = stack;
            if (!out) {
                const bool opacity = odsc_ColumnExist(table, L"Opacity", nullptr) ||
                                     odsc_ColumnExist(table, L"Overlay", nullptr);
                out = osta_ColorTableStackCreate(opacity ? 4 : 3, odsc_TableGetNumRows(table), e);
                if (!out) return nullptr;
            }
            for (int32_t i = 0; i < out->count; ++i) {
                if (!ReadColor(table, out->layers[i], i, startBin, nBins, false, kFn, e)) {
                    if (out != stack) osta_ColorTableStackDelete(out);
                    return nullptr;
                }
            }
            return out;
        });
}

// ---- Contrast and class names -------------------------------------------------------------

ORVIK_API long osta_ContrastTableWrite(Odsc_Table *table, const Osta_ContrastTable *values,
                                       int32_t startBin, int32_t nBins, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT {
    constexpr const wchar_t *kFn = L"osta_ContrastTableWrite";
    return WithReport<long>(err, kFn, -1, [&](Oerr_ErrorReport **e) -> long {
        if (!CheckWriteTable(table, kFn, e)) return -1;
        return WriteBins(kContrastColumn, kContrastColumn.name, table, values, startBin, nBins, kFn,
                         e);
    });
}

ORVIK_API Osta_ContrastTable *osta_ContrastTableRead(Odsc_Table *table, Osta_ContrastTable *values,
                                                     int32_t startBin, int32_t nBins,
                                                     Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    constexpr const wchar_t *kFn = L"osta_ContrastTableRead";
    return WithReport<Osta_ContrastTable *>(
        err, kFn, nullptr, [&](Oerr_ErrorReport **e) -> Osta_ContrastTable * {
            if (!CheckRead(kContrastReading, table, startBin, nBins, kFn, e)) return nullptr;
            return ReadRecord(kContrastColumn, kContrastReading, kContrastColumn.name, table,
                              values, startBin, nBins, false, kFn, e);
        });
}

ORVIK_API long osta_ClassNamesWrite(Odsc_Table *table, const Osta_ClassNames *names,
                                    int32_t startBin, int32_t nBins, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT {
    constexpr const wchar_t *kFn = L"osta_ClassNamesWrite";
    return WithReport<long>(err, kFn, -1, [&](Oerr_ErrorReport **e) -> long {
        if (!CheckWriteTable(table, kFn, e)) return -1;
        return WriteBins(kClassNamesColumn, kClassNamesColumn.name, table, names, startBin, nBins,
                         kFn, e);
    });
}

ORVIK_API Osta_ClassNames *osta_ClassNamesRead(Odsc_Table *table, Osta_ClassNames *names,
                                               int32_t startBin, int32_t nBins,
                                               Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    constexpr const wchar_t *kFn = L"osta_ClassNamesRead";
    return WithReport<Osta_ClassNames *>(
        err, kFn, nullptr, [&](Oerr_ErrorReport **e) -> Osta_ClassNames * {
            if (!CheckRead(kClassNamesReading, table, startBin, nBins, kFn, e)) return nullptr;
            return ReadRecord(kClassNamesColumn, kClassNamesReading, kClassNamesColumn.name, table,
                              names, startBin, nBins, false, kFn, e);
        });
}

} // extern "C"
