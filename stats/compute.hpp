// Internal: the two methods behind osta_StatisticsCompute and the statistics of raster layers.
// Integer types up to 16 bits are counted exactly per value in one pass; every other numeric
// type takes a moments pass and a fine-histogram pass. The values come as a sequence of grids
// (one for an object in memory, one per piece of a layer), so a pass never needs all values
// in memory at once. Thread-safe over caller records.
#pragma once

#include <cstdint>
#include <functional>
#include <vector>

#include <orvik/osta.h>

#include "stats/compute_scan.hpp"

namespace orvik::stats {

// A numeric, non-complex object whose fields agree with each other.
bool IsSampleable(const Ogda_BaseData *d);
// Null, or both factors at least 1; otherwise reported under `fn` as `number` ("Bad skip
// factors X, Y (1 or more allowed)").
bool CheckSkipFactors(const Osta_SkipFactors *skip, long number, Oerr_ErrorReport **err,
                      const wchar_t *fn);

inline bool IsSmallInteger(Ogda_PixelType t) { return t >= OGDA_U1 && t <= OGDA_S16; }

// One pass over the values: calls `visit` for each grid of values in turn. False when a piece
// could not be read (the source has reported why); a pass then stops.
using GridVisit = std::function<void(const Grid &)>;
using GridSource = std::function<bool(const GridVisit &)>;

// Counts per value lo .. lo + counts.size() - 1.
struct ValueCounts {
    int64_t lo = 0;
    std::vector<uint64_t> counts;
};

// One pass over the grids of a small-integer type; excluded values get count 0. False when the
// source failed.
bool CountValues(Ogda_PixelType type, const GridSource &source, const ExcludedSet &x,
                 ValueCounts &v);

// Sets the counts of the excluded values to 0.
void ExcludeCounts(const ExcludedSet &x, ValueCounts &v);

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
    std::vector<uint64_t> fine; // kFineBins counts between the minimum and maximum
    bool exactMedian = false;
    double median = 0; // when exactMedian: the lower middle value
};

// The passes for any numeric, non-complex type. `h` (may be null) receives counts by its own
// bin function in the second pass. False when the source failed.
bool SummariseReals(Ogda_PixelType type, const GridSource &source, const ExcludedSet &x,
                    Osta_Histogram *h, RealSummary &r);

// Median (exact, or interpolated in its fine bin) and mode from the fine counts; minimum,
// maximum, mean and deviation from the moments.
void StatisticsFromSummary(const RealSummary &r, Osta_Statistics *s);

// Counts of `kModeBins` linear bins from minimum to maximum, summed from the fine counts (the
// bins nest exactly: each is 256 fine bins).
void CoarseCounts(const RealSummary &r, double *out);

// Statistics of the values of `source` and, with `histogram`, their counts (see
// osta_StatisticsCompute): the checks on the histogram, the choice of method and the records
// handed back, reported under `fn`. `statistics` null gets a new record.
Osta_Statistics *ComputeStatistics(Ogda_PixelType type, const GridSource &source,
                                   const ExcludedSet &x, Osta_Statistics *statistics,
                                   Osta_Histogram **histogram, Oerr_ErrorReport **err,
                                   const wchar_t *fn);

// As ComputeStatistics for values already counted (`v` after ExcludeCounts).
Osta_Statistics *StatisticsOfCounts(const ValueCounts &v, Osta_Statistics *statistics,
                                    Osta_Histogram **histogram, Oerr_ErrorReport **err,
                                    const wchar_t *fn);

} // namespace orvik::stats
