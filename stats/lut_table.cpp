// Breakpoints to table: the piecewise-linear fill every table of a LUT is made by.
#include <algorithm>
#include <cmath>

#include "core/guard.hpp"
#include "stats/ohst_records.hpp"
#include "stats/report.hpp"

namespace orvik::stats {

double Interpolate(const Ohst_BreakPoint &a, const Ohst_BreakPoint &b, int64_t x) {
    const double slope = (static_cast<double>(a.y) - b.y) / (static_cast<double>(a.x) - b.x);
    const double intercept = a.y - a.x * slope;
    return std::floor(slope * static_cast<double>(x) + intercept + 0.5);
}

void FillTable(const Ohst_BreakPoint *points, int32_t count, int32_t *table, int32_t inMax,
               int32_t outMax) {
    auto put = [&](int64_t x, int32_t value) {
        if (x >= 0 && x <= inMax) {
            table[x] = value;
        }
    };

    const Ohst_BreakPoint &first = points[0];
    const int32_t firstValue = ClampOutput(int64_t{first.y}, outMax);
    for (int64_t x = 0, end = std::min<int64_t>(first.x, int64_t{inMax} + 1); x < end; ++x) {
        table[x] = firstValue;
    }

    for (int32_t i = 0; i + 1 < count; ++i) {
        const Ohst_BreakPoint &a = points[i];
        const Ohst_BreakPoint &b = points[i + 1];
        if (a.x == b.x) {
            continue;
        }
        put(a.x, ClampOutput(int64_t{a.y}, outMax));
        // Only the part of the span that lies inside the table is walked, so far-away points
        // cost nothing.
        const int64_t from = std::max<int64_t>(int64_t{std::min(a.x, b.x)} + 1, 0);
        const int64_t to = std::min<int64_t>(int64_t{std::max(a.x, b.x)} - 1, inMax);
        for (int64_t x = from; x <= to; ++x) {
            table[x] = ClampOutput(Interpolate(a, b, x), outMax);
        }
        put(b.x, ClampOutput(int64_t{b.y}, outMax));
    }

    const Ohst_BreakPoint &last = points[count - 1];
    const int32_t lastValue = ClampOutput(int64_t{last.y}, outMax);
    for (int64_t x = inMax, end = std::max<int64_t>(last.x, 0); x >= end; --x) {
        table[x] = lastValue;
    }
}

} // namespace orvik::stats

using namespace orvik::stats;

extern "C" ORVIK_API int32_t ohst_BreakPointsToTable(Ohst_LUT *lut, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT {
    constexpr const wchar_t *kFn = L"ohst_BreakPointsToTable";
    if (err) {
        *err = nullptr;
    }
    if (!IsValidLut(lut)) {
        orvik::core::SetError(err, kFn, kOhstBadArgument, nullptr, L"Bad LUT");
        return -1;
    }
    if (lut->nBreakPoints == 0) {
        orvik::core::SetError(err, kFn, kLutNoBreakPoints, nullptr, L"The LUT has no breakpoints");
        return -1;
    }
    FillTable(lut->breakPoints, lut->nBreakPoints, lut->table, lut->inMax, lut->outMax);
    return 0;
}
