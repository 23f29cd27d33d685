// Histogram equalization: a table that spreads a histogram's values evenly over output levels.
//
// Each input value v goes to level floor((C(v) + n(v) / 2) / target), at most nLevels - 1,
// where n(v) is v's count, C(v) the count of all values below v and target = total / nLevels.
// Using the middle of v's own share keeps the rule symmetric: a value holding a large share
// lands on the level its pixels mostly fall into, not on the first or last of them. Level k
// maps to round(k * outMax / (nLevels - 1)), so the levels span 0..outMax evenly.
#include <algorithm>
#include <cmath>

#include <orvik/ohst.h>

#include "stats/ohst_records.hpp"

using namespace orvik::stats;

extern "C" ORVIK_API int32_t ohst_HistogramEqualize(const Ohst_Histogram *histogram, Ohst_LUT *lut,
                                                    int32_t nLevels) ORVIK_NOEXCEPT {
    const int64_t bins = HistogramBins(histogram);
    if (bins == 0 || !IsValidLut(lut) || nLevels < 1) {
        return -1;
    }
    double total = 0;
    for (int64_t i = 0; i < bins; ++i) {
        total += histogram->counts[i];
    }
    if (total == 0) {
        return -1;
    }
    const double target = total / nLevels;
    const double levelStep = nLevels > 1 ? static_cast<double>(lut->outMax) / (nLevels - 1) : 0;

    const int64_t minValue = histogram->minValue;
    auto countOf = [&](int64_t v) -> double {
        return v >= minValue && v < minValue + bins ? histogram->counts[v - minValue] : 0;
    };
    double below = 0;
    for (int64_t v = minValue; v < 0 && v < minValue + bins; ++v) {
        below += countOf(v);
    }
    for (int64_t v = 0; v <= lut->inMax; ++v) {
        const double n = countOf(v);
        const double level = std::min(std::floor((below + n / 2) / target), double(nLevels - 1));
        lut->table[v] = ClampOutput(std::floor(level * levelStep + 0.5), lut->outMax);
        below += n;
    }
    return 0;
}
