// Pushing a histogram through a LUT: the histogram of the table's output.
#include <algorithm>
#include <limits>

#include "core/guard.hpp"
#include "stats/ohst_records.hpp"
#include "stats/report.hpp"

using namespace orvik::stats;
using orvik::core::SetError;

extern "C" ORVIK_API Ohst_Histogram *
ohst_MapHistogramThruLUT(const Ohst_Histogram *histogram, const Ohst_LUT *lut,
                         Ohst_Histogram *destination, Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    constexpr const wchar_t *kFn = L"ohst_MapHistogramThruLUT";
    if (err) {
        *err = nullptr;
    }
    const int64_t bins = HistogramBins(histogram);
    if (bins == 0) {
        SetError(err, kFn, kOhstBadArgument, nullptr, L"Bad histogram");
        return nullptr;
    }
    if (!IsValidLut(lut)) {
        SetError(err, kFn, kMapBadLut, nullptr, L"Bad LUT");
        return nullptr;
    }
    if (destination && (destination == histogram || HistogramBins(destination) == 0)) {
        SetError(err, kFn, kMapBadDestination, nullptr, L"Bad destination histogram");
        return nullptr;
    }
    Ohst_Histogram *out = destination;
    if (!out) {
        Oerr_ErrorReport *inner = nullptr;
        const int32_t nBins =
            lut->outMax < std::numeric_limits<int32_t>::max() ? lut->outMax + 1 : lut->outMax;
        out = ohst_HistogramCreate(nBins, &inner);
        if (!out) {
            SetError(err, kFn, kMapCreateFailed, inner, L"ohst_HistogramCreate failed");
            return nullptr;
        }
    }
    const int64_t outBins = HistogramBins(out);
    std::fill(out->counts, out->counts + outBins, 0u);
    for (int64_t i = 0; i < bins; ++i) {
        const int64_t input = std::clamp<int64_t>(histogram->minValue + i, 0, lut->inMax);
        const int64_t bin = int64_t{lut->table[input]} - out->minValue;
        if (bin < 0 || bin >= outBins) {
            continue;
        }
        uint32_t &slot = out->counts[bin];
        const uint32_t add = histogram->counts[i];
        slot = add > std::numeric_limits<uint32_t>::max() - slot
                   ? std::numeric_limits<uint32_t>::max()
                   : slot + add;
    }
    return out;
}
