// Shape checks and heap helpers for breakpoint lists, LUTs and histograms.
#include "stats/ohst_records.hpp"

#include <orvik/omsc.h>

namespace orvik::stats {

bool IsValidList(const Ohst_BreakPointList &list) {
    return list.count >= 0 && list.count <= OHST_MAX_ENTRIES &&
           (list.count == 0 || list.points != nullptr);
}

bool IsValidLut(const Ohst_LUT *lut) {
    return lut && lut->table && lut->inMax >= 0 && lut->inMax < OHST_MAX_ENTRIES &&
           lut->outMax >= 0 &&
           IsValidList(Ohst_BreakPointList{lut->nBreakPoints, lut->breakPoints});
}

int64_t HistogramBins(const Ohst_Histogram *histogram) {
    if (!histogram || !histogram->counts) {
        return 0;
    }
    const int64_t bins = int64_t{histogram->maxValue} - histogram->minValue + 1;
    return bins >= 1 && bins <= OHST_MAX_ENTRIES ? bins : 0;
}

template <class T> T *HeapArray(int64_t n) {
    if (n <= 0 || n > OHST_MAX_ENTRIES) {
        return nullptr;
    }
    return static_cast<T *>(omsc_HeapMalloc(static_cast<int32_t>(n * int64_t{sizeof(T)})));
}

template Ohst_BreakPoint *HeapArray<Ohst_BreakPoint>(int64_t);
template int32_t *HeapArray<int32_t>(int64_t);
template uint32_t *HeapArray<uint32_t>(int64_t);

} // namespace orvik::stats
