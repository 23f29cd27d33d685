// Histogram records: create (with the bin-count adjustment), copy, delete, bin-function
// replacement and re-binning into another histogram.
#include <orvik/osta.h>

#include "core/guard.hpp"
#include "dsc/bin_function.hpp"
#include "stats/osta_tables.hpp"
#include "stats/report.hpp"

using namespace orvik::stats;
using orvik::core::Guarded;
using orvik::core::SetError;
using orvik::core::SetOutOfMemory;
using orvik::dsc::IsValidBinFunction;

namespace orvik::stats {

bool IsValidHistogram(const Osta_Histogram *h) {
    return h && IsValidBinFunction(h->binFunction) && IsBinTable(h->table, OGDA_F64) &&
           h->table->numrows == h->binFunction->numBins;
}

} // namespace orvik::stats

namespace {

// Raised inside a successful operation: printed and deleted on the spot.
void Warn(const wchar_t *function, long number, const wchar_t *message) {
    Oerr_ErrorReport *r =
        oerr_CreateErrorReport(function, number, OERR_KIND_WARNING, nullptr, L"%s", message);
    oerr_PrintErrorReport(r, OERR_REPORT_FULL);
    oerr_DeleteErrorReportEx(&r);
}

} // namespace

extern "C" {

ORVIK_API Osta_Histogram *osta_HistogramCreate(const Odsc_BinFunction *binFunction, int32_t nBins,
                                               Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    constexpr const wchar_t *kFn = L"osta_HistogramCreate";
    if (err) *err = nullptr;
    return Guarded<Osta_Histogram *>(err, kFn, nullptr, [&]() -> Osta_Histogram * {
        Oerr_ErrorReport *inner = nullptr;
        Odsc_BinFunction *f = nullptr;
        if (binFunction) {
            f = odsc_BinFunctionCopy(binFunction, &inner);
            if (!f) {
                SetError(err, kFn, kHistogramBinFunctionCopyFailed, inner,
                         L"odsc_BinFunctionCopy fail");
                return nullptr;
            }
            if (nBins != f->numBins)
                Warn(kFn, kHistogramBinsAdjusted,
                     L"Number of bins adjusted to match passed in bin function");
        } else {
            f = odsc_BinFunctionCreate(nBins, ODSC_BIN_DIRECT, 0, 0, nullptr, &inner);
            if (!f) {
                SetError(err, kFn, kHistogramBinFunctionCreateFailed, inner,
                         L"odsc_BinFunctionCreate fail");
                return nullptr;
            }
        }
        Ogda_BaseData *table = NewBinTable(f->numBins, OGDA_F64, kFn, err);
        auto *h = table ? static_cast<Osta_Histogram *>(omsc_HeapMalloc(sizeof(Osta_Histogram)))
                        : nullptr;
        if (!h) {
            if (table) SetOutOfMemory(err, kFn);
            ogda_BaseDataDelete(table, nullptr);
            odsc_BinFunctionDelete(f);
            return nullptr;
        }
        h->binFunction = f;
        h->table = table;
        return h;
    });
}

ORVIK_API Osta_Histogram *osta_HistogramCopy(const Osta_Histogram *source,
                                             Osta_Histogram *destination, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT {
    constexpr const wchar_t *kFn = L"osta_HistogramCopy";
    if (err) *err = nullptr;
    return Guarded<Osta_Histogram *>(err, kFn, nullptr, [&]() -> Osta_Histogram * {
        if (!IsValidHistogram(source)) {
            SetError(err, kFn, kHistogramNotHistogram, nullptr,
                     L"Input histogram not an Osta_Histogram (wrong data type)");
            return nullptr;
        }
        if (source == destination) return destination;
        Oerr_ErrorReport *inner = nullptr;
        Odsc_BinFunction *f = odsc_BinFunctionCopy(source->binFunction, &inner);
        if (!f) {
            SetError(err, kFn, kHistogramCopyBinFunctionFailed, inner,
                     L"odsc_BinFunctionCopy fail");
            return nullptr;
        }
        Ogda_BaseData *table = CopyBinTable(source->table, nullptr, OGDA_F64, kFn, err);
        Osta_Histogram *out =
            destination ? destination
                        : static_cast<Osta_Histogram *>(omsc_HeapMalloc(sizeof(Osta_Histogram)));
        if (!table || !out) {
            if (table) SetOutOfMemory(err, kFn);
            if (out != destination) omsc_HeapFree(out);
            ogda_BaseDataDelete(table, nullptr);
            odsc_BinFunctionDelete(f);
            return nullptr;
        }
        if (destination) {
            odsc_BinFunctionDelete(destination->binFunction);
            ogda_BaseDataDelete(destination->table, nullptr);
        }
        out->binFunction = f;
        out->table = table;
        return out;
    });
}

ORVIK_API void osta_HistogramDelete(Osta_Histogram *histogram) ORVIK_NOEXCEPT {
    if (!histogram) return;
    odsc_BinFunctionDelete(histogram->binFunction);
    ogda_BaseDataDelete(histogram->table, nullptr);
    omsc_HeapFree(histogram);
}

ORVIK_API Osta_Histogram *osta_HistogramBinFunctionReplace(Osta_Histogram *histogram,
                                                           const Odsc_BinFunction *binFunction,
                                                           Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    constexpr const wchar_t *kFn = L"osta_HistogramBinFunctionReplace";
    if (err) *err = nullptr;
    return Guarded<Osta_Histogram *>(err, kFn, nullptr, [&]() -> Osta_Histogram * {
        if (!IsValidHistogram(histogram)) {
            SetError(err, kFn, kHistogramNotHistogram, nullptr,
                     L"Input histogram not an Osta_Histogram (wrong data type)");
            return nullptr;
        }
        Oerr_ErrorReport *inner = nullptr;
        Odsc_BinFunction *f = odsc_BinFunctionCopy(binFunction, &inner);
        if (!f) {
            SetError(err, kFn, kHistogramCopyBinFunctionFailed, inner,
                     L"odsc_BinFunctionCopy fail");
            return nullptr;
        }
        if (f->numBins != histogram->table->numrows &&
            !ogda_BaseDataReallocate(histogram->table, f->numBins, 1, &inner)) {
            odsc_BinFunctionDelete(f);
            SetError(err, kFn, kHistogramReallocateFailed, inner, L"ogda_TableReallocate fail");
            return nullptr;
        }
        ClearBinTable(histogram->table);
        odsc_BinFunctionDelete(histogram->binFunction);
        histogram->binFunction = f;
        return histogram;
    });
}

ORVIK_API Osta_Histogram *osta_HistogramTranslate(const Osta_Histogram *source,
                                                  Osta_Histogram *destination,
                                                  Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    constexpr const wchar_t *kFn = L"osta_HistogramTranslate";
    if (err) *err = nullptr;
    if (!IsValidHistogram(source) || !IsValidHistogram(destination) || source == destination) {
        SetError(err, kFn, kHistogramNotHistogram, nullptr,
                 L"Input histogram not an Osta_Histogram (wrong data type)");
        return nullptr;
    }
    const auto *in = static_cast<const double *>(source->table->data);
    auto *out = static_cast<double *>(destination->table->data);
    ClearBinTable(destination->table);
    for (int32_t b = 0; b < source->binFunction->numBins; ++b) {
        if (in[b] == 0) continue;
        const int32_t to = orvik::dsc::ValueToBin(
            destination->binFunction, odsc_BinFunctionBinToValue(source->binFunction, b));
        if (to >= 0) out[to] += in[b];
    }
    return destination;
}

} // extern "C"
