// Linear ramps: written straight into a table, or as the two breakpoints that produce it.
#include "core/guard.hpp"
#include "stats/ohst_records.hpp"
#include "stats/report.hpp"

using namespace orvik::stats;
using orvik::core::SetError;

namespace {

bool CheckRamp(const wchar_t *fn, const Ohst_LUT *lut, int32_t inLow, int32_t inHigh,
               Oerr_ErrorReport **err) {
    if (err) {
        *err = nullptr;
    }
    if (!IsValidLut(lut)) {
        SetError(err, fn, kOhstBadArgument, nullptr, L"Bad LUT");
        return false;
    }
    if (inLow > inHigh) {
        SetError(err, fn, kRampReversed, nullptr, L"Bad ramp: inLow %ld is above inHigh %ld",
                 long{inLow}, long{inHigh});
        return false;
    }
    return true;
}

} // namespace

extern "C" ORVIK_API int32_t ohst_SetRamp(Ohst_LUT *lut, int32_t inLow, int32_t outLow,
                                          int32_t inHigh, int32_t outHigh, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT {
    if (!CheckRamp(L"ohst_SetRamp", lut, inLow, inHigh, err)) {
        return -1;
    }
    const Ohst_BreakPoint ramp[2] = {{inLow, outLow}, {inHigh, outHigh}};
    FillTable(ramp, 2, lut->table, lut->inMax, lut->outMax);
    return 0;
}

extern "C" ORVIK_API int32_t ohst_RampToBreakPoints(Ohst_LUT *lut, int32_t inLow, int32_t outLow,
                                                    int32_t inHigh, int32_t outHigh,
                                                    Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    constexpr const wchar_t *kFn = L"ohst_RampToBreakPoints";
    if (!CheckRamp(kFn, lut, inLow, inHigh, err)) {
        return -1;
    }
    Ohst_BreakPoint *points = HeapArray<Ohst_BreakPoint>(2);
    if (!points) {
        orvik::core::SetOutOfMemory(err, kFn);
        return -1;
    }
    points[0] = {inLow, outLow};
    points[1] = {inHigh, outHigh};
    omsc_HeapFree(lut->breakPoints);
    lut->breakPoints = points;
    lut->nBreakPoints = 2;
    return 2;
}
