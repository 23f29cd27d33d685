// Clipping a LUT's breakpoints into the box its table can express.
#include <algorithm>

#include "core/guard.hpp"
#include "stats/ohst_records.hpp"
#include "stats/report.hpp"

using namespace orvik::stats;

extern "C" ORVIK_API int32_t ohst_LUTClip(Ohst_LUT *lut, Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    constexpr const wchar_t *kFn = L"ohst_LUTClip";
    if (err) {
        *err = nullptr;
    }
    if (!IsValidLut(lut)) {
        orvik::core::SetError(err, kFn, kOhstBadArgument, nullptr, L"Bad LUT");
        return -1;
    }
    return orvik::core::Guarded<int32_t>(err, kFn, -1, [&] {
        Ohst_BreakPoint *p = lut->breakPoints;
        const int32_t count = lut->nBreakPoints;
        std::stable_sort(p, p + count, [](const Ohst_BreakPoint &a, const Ohst_BreakPoint &b) {
            return a.x < b.x;
        });
        // Points pushed onto one x by the clamp form a run; the one that moved least (the
        // first on a tie) stands for the run, as it lies nearest to the curve inside the box.
        int32_t kept = 0;
        int64_t keptShift = 0;
        for (int32_t i = 0; i < count; ++i) {
            const int32_t x = std::clamp(p[i].x, 0, lut->inMax);
            const int64_t shift = int64_t{p[i].x} - x;
            const Ohst_BreakPoint q{x, ClampOutput(int64_t{p[i].y}, lut->outMax)};
            const int64_t magnitude = shift < 0 ? -shift : shift;
            if (kept > 0 && p[kept - 1].x == x) {
                if (magnitude < keptShift) {
                    p[kept - 1] = q;
                    keptShift = magnitude;
                }
                continue;
            }
            p[kept++] = q;
            keptShift = magnitude;
        }
        lut->nBreakPoints = kept;
        return kept;
    });
}
