// Internal: shape checks and small helpers shared by the breakpoint-table sources. Pure
// functions over caller records; thread-safe.
#pragma once

#include <cstdint>

#include <orvik/ohst.h>

namespace orvik::stats {

// A list whose count lies in 0..OHST_MAX_ENTRIES and whose array exists when it is not empty.
bool IsValidList(const Ohst_BreakPointList &list);

// A LUT with a table, 0 <= inMax < OHST_MAX_ENTRIES, outMax >= 0 and a valid list.
bool IsValidLut(const Ohst_LUT *lut);

// Number of bins (maxValue - minValue + 1), or 0 when the histogram is null, has no counts or
// an empty or oversized range.
int64_t HistogramBins(const Ohst_Histogram *histogram);

// Heap array of n zeroed elements; null when n is 0 or the heap is exhausted. n must not
// exceed OHST_MAX_ENTRIES, which keeps every byte size within the heap's 32-bit sizes.
template <class T> T *HeapArray(int64_t n);

extern template Ohst_BreakPoint *HeapArray<Ohst_BreakPoint>(int64_t);
extern template int32_t *HeapArray<int32_t>(int64_t);
extern template uint32_t *HeapArray<uint32_t>(int64_t);

inline int32_t ClampOutput(int64_t v, int32_t outMax) {
    return v < 0 ? 0 : v > outMax ? outMax : static_cast<int32_t>(v);
}

// For whole numbers held in a double, which may lie far outside any integer type.
inline int32_t ClampOutput(double v, int32_t outMax) {
    return v < 0 ? 0 : v > outMax ? outMax : static_cast<int32_t>(v);
}

// Fills `table` (inMax + 1 entries) from `count` >= 1 points: constant before the first and
// after the last point, linear between neighbours (rounded half up), every value clamped to
// 0..outMax, every index outside the table skipped.
void FillTable(const Ohst_BreakPoint *points, int32_t count, int32_t *table, int32_t inMax,
               int32_t outMax);

// The value FillTable writes at x between two points with distinct x, before clamping.
double Interpolate(const Ohst_BreakPoint &a, const Ohst_BreakPoint &b, int64_t x);

} // namespace orvik::stats
