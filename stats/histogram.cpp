// Integer histograms of the breakpoint-table module: create, copy, delete, largest count.
#include <algorithm>
#include <cstring>

#include "core/guard.hpp"
#include "stats/ohst_records.hpp"
#include "stats/report.hpp"

using namespace orvik::stats;
using orvik::core::SetError;
using orvik::core::SetOutOfMemory;

extern "C" ORVIK_API Ohst_Histogram *ohst_HistogramCreate(int32_t nBins, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT {
    constexpr const wchar_t *kFn = L"ohst_HistogramCreate";
    if (err) {
        *err = nullptr;
    }
    if (nBins < 1 || nBins > OHST_MAX_ENTRIES) {
        SetError(err, kFn, kOhstBadArgument, nullptr, L"Bad number of bins %ld (1 to %ld allowed)",
                 long{nBins}, long{OHST_MAX_ENTRIES});
        return nullptr;
    }
    uint32_t *counts = HeapArray<uint32_t>(nBins);
    auto *h = static_cast<Ohst_Histogram *>(omsc_HeapMalloc(sizeof(Ohst_Histogram)));
    if (!counts || !h) {
        omsc_HeapFree(counts);
        omsc_HeapFree(h);
        SetOutOfMemory(err, kFn);
        return nullptr;
    }
    h->minValue = 0;
    h->maxValue = nBins - 1;
    h->counts = counts;
    return h;
}

extern "C" ORVIK_API Ohst_Histogram *ohst_HistogramCopy(const Ohst_Histogram *source,
                                                        Ohst_Histogram *destination,
                                                        Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    constexpr const wchar_t *kFn = L"ohst_HistogramCopy";
    if (err) {
        *err = nullptr;
    }
    const int64_t bins = HistogramBins(source);
    if (bins == 0) {
        SetError(err, kFn, kOhstBadArgument, nullptr, L"Bad source histogram");
        return nullptr;
    }
    if (source == destination) {
        return destination;
    }
    uint32_t *counts = nullptr;
    Ohst_Histogram *out = destination;
    const bool reuse = destination && HistogramBins(destination) == bins;
    if (!reuse) {
        counts = HeapArray<uint32_t>(bins);
        if (!out) {
            out = static_cast<Ohst_Histogram *>(omsc_HeapMalloc(sizeof(Ohst_Histogram)));
        }
        if (!counts || !out) {
            omsc_HeapFree(counts);
            if (out != destination) {
                omsc_HeapFree(out);
            }
            SetOutOfMemory(err, kFn);
            return nullptr;
        }
        omsc_HeapFree(out->counts);
        out->counts = counts;
    }
    std::memcpy(out->counts, source->counts, sizeof(uint32_t) * bins);
    out->minValue = source->minValue;
    out->maxValue = source->maxValue;
    return out;
}

extern "C" ORVIK_API void ohst_HistogramDelete(Ohst_Histogram *histogram) ORVIK_NOEXCEPT {
    if (histogram) {
        omsc_HeapFree(histogram->counts);
        omsc_HeapFree(histogram);
    }
}

extern "C" ORVIK_API uint32_t ohst_GetHistogramMaxCount(const Ohst_Histogram *histogram)
    ORVIK_NOEXCEPT {
    const int64_t bins = HistogramBins(histogram);
    return bins == 0 ? 0 : *std::max_element(histogram->counts, histogram->counts + bins);
}
