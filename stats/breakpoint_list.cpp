// Breakpoint lists: insertion, deletion, sorting, redundant points and nearest-point search.
// Operates on caller records only; thread-safe for distinct lists.
#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>

#include <orvik/ohst.h>

#include "stats/ohst_records.hpp"

using namespace orvik::stats;

extern "C" ORVIK_API int32_t ohst_BreakPointInsert(Ohst_BreakPointList *list, int32_t x, int32_t y)
    ORVIK_NOEXCEPT {
    if (!list || !IsValidList(*list)) {
        return -1;
    }
    const int32_t count = list->count;
    Ohst_BreakPoint *old = list->points;
    if (count > 0 && old[0].x == x) {
        old[0].y = y;
        return 0;
    }
    const int32_t pos = static_cast<int32_t>(
        std::find_if(old, old + count, [x](const Ohst_BreakPoint &p) { return p.x >= x; }) - old);
    if (pos < count && old[pos].x == x) {
        old[pos].y = y;
        return pos;
    }
    if (count >= OHST_MAX_ENTRIES) {
        return -1;
    }
    Ohst_BreakPoint *grown = HeapArray<Ohst_BreakPoint>(int64_t{count} + 1);
    if (!grown) {
        return -1;
    }
    if (count > 0) {
        std::memcpy(grown, old, sizeof(Ohst_BreakPoint) * pos);
        std::memcpy(grown + pos + 1, old + pos, sizeof(Ohst_BreakPoint) * (count - pos));
    }
    grown[pos] = Ohst_BreakPoint{x, y};
    omsc_HeapFree(old);
    list->points = grown;
    list->count = count + 1;
    return pos;
}

extern "C" ORVIK_API int32_t ohst_BreakPointDelete(Ohst_BreakPointList *list, int32_t index)
    ORVIK_NOEXCEPT {
    if (!list || !IsValidList(*list) || index < 0 || index >= list->count) {
        return -1;
    }
    Ohst_BreakPoint *p = list->points;
    std::memmove(p + index, p + index + 1, sizeof(Ohst_BreakPoint) * (list->count - index - 1));
    if (--list->count == 0) {
        // An empty list holds no array, as a freshly created one.
        omsc_HeapFree(p);
        list->points = nullptr;
    }
    return list->count;
}

extern "C" ORVIK_API int ohst_BreakPointCompare(const void *a, const void *b) ORVIK_NOEXCEPT {
    const auto *pa = static_cast<const Ohst_BreakPoint *>(a);
    const auto *pb = static_cast<const Ohst_BreakPoint *>(b);
    // The plain difference, wrapping like 32-bit arithmetic instead of overflowing.
    return static_cast<int32_t>(static_cast<uint32_t>(pa->x) - static_cast<uint32_t>(pb->x));
}

namespace {

// The sort orders by x without the difference's wrap-around: a comparator that is not a
// consistent order is unsafe to hand to qsort.
int CompareByX(const void *a, const void *b) {
    const int32_t xa = static_cast<const Ohst_BreakPoint *>(a)->x;
    const int32_t xb = static_cast<const Ohst_BreakPoint *>(b)->x;
    return (xa > xb) - (xa < xb);
}

} // namespace

extern "C" ORVIK_API void ohst_BreakPointSort(Ohst_BreakPointList *list) ORVIK_NOEXCEPT {
    if (list && IsValidList(*list) && list->count > 1) {
        std::qsort(list->points, static_cast<size_t>(list->count), sizeof(Ohst_BreakPoint),
                   CompareByX);
    }
}

extern "C" ORVIK_API Ohst_BreakPoint *
ohst_BreakPointDeleteRedundants(const Ohst_BreakPointList *list, int32_t *countOut) ORVIK_NOEXCEPT {
    if (countOut) {
        *countOut = 0;
    }
    if (!countOut || !list || !IsValidList(*list) || list->count == 0) {
        return nullptr;
    }
    const Ohst_BreakPoint *p = list->points;
    const int32_t count = list->count;
    auto kept = [p](int32_t i) { return i == 0 || p[i].x != p[i - 1].x; };
    int32_t keep = 0;
    for (int32_t i = 0; i < count; ++i) {
        keep += kept(i);
    }
    Ohst_BreakPoint *out = HeapArray<Ohst_BreakPoint>(keep);
    if (!out) {
        return nullptr;
    }
    for (int32_t i = 0, o = 0; i < count; ++i) {
        if (kept(i)) {
            out[o++] = p[i];
        }
    }
    *countOut = keep;
    return out;
}

extern "C" ORVIK_API int32_t ohst_FindNearestPoint(const Ohst_BreakPointList *list, int32_t x,
                                                   int32_t y, double *distance) ORVIK_NOEXCEPT {
    if (!list || !IsValidList(*list) || list->count == 0) {
        return -1;
    }
    int32_t best = -1;
    double bestDistance = 0;
    for (int32_t i = 0; i < list->count; ++i) {
        const double d = std::hypot(static_cast<double>(list->points[i].x) - x,
                                    static_cast<double>(list->points[i].y) - y);
        if (best < 0 || d < bestDistance) {
            best = i;
            bestDistance = d;
        }
    }
    if (distance) {
        *distance = bestDistance;
    }
    return best;
}
