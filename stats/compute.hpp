// Internal: the two methods behind osta_StatisticsCompute. Integer types up to 16 bits are
// counted exactly per value in one pass; every other numeric type takes a moments pass and a
// fine-histogram pass. Thread-safe over caller records.
#pragma once

#include <cstdint>
#include <vector>

#include <orvik/osta.h>

#include "stats/compute_scan.hpp"

namespace orvik::stats {

// A numeric, non-complex object whose fields agree with each other.
bool IsSampleable(const Ogda_BaseData *d);
// Null, or both factors at least 1.
bool AreSkipFactors(const Osta_SkipFactors *skip);

inline bool IsSmallInteger(Ogda_PixelType t) { return t >= OGDA_U1 && t <= OGDA_S16; }

// Counts per value lo .. lo + counts.size() - 1.
struct ValueCounts {
    int64_t lo = 0;
    std::vector<uint64_t> counts;
};

// One pass over the grid of a small-integer object; excluded values get count 0.
ValueCounts CountValues(const Ogda_BaseData *d, const Grid &g, const ExcludedSet &x);

// Statistics from counts; returns the number of values counted (0: nothing to report).
uint64_t StatisticsFromCounts(const ValueCounts &v, Osta_Statistics *s);

// Adds each value's count to the bin of `h` that holds it.
void BinCounts(const ValueCounts &v, Osta_Histogram *h);

// Number of fine bins of the real method and of the coarse bins the mode is taken from.
constexpr int32_t kFineBins = 65536;
constexpr int32_t kModeBins = 256;

// Largest number of values of the median's fine bin that a third pass collects to find the
// exact median (8 MB of doubles); a fuller bin gives the interpolated median.
constexpr uint32_t kExactMedianLimit = 1u << 20;

struct RealSummary {
    Moments moments;
    std::vector<uint32_t> fine; // kFineBins counts between the minimum and maximum
    bool exactMedian = false;
    double median = 0; // when exactMedian: the lower middle value
};

// The two passes for any numeric, non-complex type. `h` (may be null) receives counts by its
// own bin function in the second pass.
RealSummary SummariseReals(const Ogda_BaseData *d, const Grid &g, const ExcludedSet &x,
                           Osta_Histogram *h);

// Median (exact, or interpolated in its fine bin) and mode from the fine counts; minimum,
// maximum, mean and deviation from the moments.
void StatisticsFromSummary(const RealSummary &r, Osta_Statistics *s);

// Counts of `kModeBins` linear bins from minimum to maximum, summed from the fine counts (the
// bins nest exactly: each is 256 fine bins).
void CoarseCounts(const RealSummary &r, double *out);

} // namespace orvik::stats
