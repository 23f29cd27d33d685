// Table to breakpoints: the inverse of the fill, a short point list that rebuilds a table.
//
// Greedy: from each kept point the next one is the farthest table entry such that the
// straight segment to it reproduces every entry in between. Each entry x between the start s
// and a candidate end restricts the segment's slope to an interval (the values that round to
// t(x), open-ended where the clamp at 0 or outMax absorbs any excess), so candidates are tested
// against the running intersection in constant time; the chosen segment is then checked with
// the exact arithmetic of the fill, which settles rounding at interval edges.
#include <algorithm>
#include <limits>
#include <vector>

#include "core/guard.hpp"
#include "stats/ohst_records.hpp"
#include "stats/report.hpp"

using namespace orvik::stats;

namespace {

class Simplifier {
  public:
    Simplifier(const int32_t *table, int32_t inMax, int32_t outMax)
        : table_(table), inMax_(inMax), outMax_(outMax) {}

    std::vector<Ohst_BreakPoint> Run() const {
        std::vector<Ohst_BreakPoint> points{{0, Value(0)}};
        for (int32_t s = 0; s < inMax_;) {
            s = NextEnd(s);
            points.push_back({s, Value(s)});
        }
        return points;
    }

  private:
    int32_t Value(int64_t x) const { return ClampOutput(int64_t{table_[x]}, outMax_); }

    int32_t FarthestCandidate(int32_t s) const {
        constexpr int32_t kFruitlessScan = 256;
        constexpr double kInf = std::numeric_limits<double>::infinity();
        const double ys = Value(s);
        double low = -kInf;
        double high = kInf;
        int32_t best = s + 1;
        for (int32_t e = s + 1; e <= inMax_; ++e) {
            const double d = e - s;
            const double t = Value(e);
            const double slope = (t - ys) / d;
            if (slope >= low && slope < high) {
                best = e;
            }
            low = std::max(low, t > 0 ? (t - ys - 0.5) / d : -kInf);
            high = std::min(high, t < outMax_ ? (t - ys + 0.5) / d : kInf);
            // Once no slope fits, no later end can; and a long stretch without a fitting end
            // (possible beside clamped runs, whose entries bound the slope on one side only)
            // is given up so that the walk stays linear in the table length.
            if (low >= high || e - best > (best - s) + kFruitlessScan) {
                break;
            }
        }
        return best;
    }

    bool Reproduces(int32_t s, int32_t e) const {
        const Ohst_BreakPoint a{s, Value(s)};
        const Ohst_BreakPoint b{e, Value(e)};
        for (int32_t x = s + 1; x < e; ++x) {
            if (ClampOutput(Interpolate(a, b, x), outMax_) != Value(x)) {
                return false;
            }
        }
        return true;
    }

    // A few shorter tries absorb a rounding disagreement at an interval edge; the neighbour
    // s + 1 always reproduces, so the walk ends.
    int32_t NextEnd(int32_t s) const {
        constexpr int kRetries = 4;
        int32_t e = FarthestCandidate(s);
        for (int i = 0; i < kRetries && e > s + 1; ++i, --e) {
            if (Reproduces(s, e)) {
                return e;
            }
        }
        return e > s + 1 && Reproduces(s, e) ? e : s + 1;
    }

    const int32_t *table_;
    int32_t inMax_;
    int32_t outMax_;
};

} // namespace

extern "C" ORVIK_API int32_t ohst_TableToBreakPoints(Ohst_LUT *lut, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT {
    constexpr const wchar_t *kFn = L"ohst_TableToBreakPoints";
    if (err) {
        *err = nullptr;
    }
    if (!IsValidLut(lut)) {
        orvik::core::SetError(err, kFn, kOhstBadArgument, nullptr, L"Bad LUT");
        return -1;
    }
    return orvik::core::Guarded<int32_t>(err, kFn, -1, [&]() -> int32_t {
        const std::vector<Ohst_BreakPoint> found =
            Simplifier(lut->table, lut->inMax, lut->outMax).Run();
        Ohst_BreakPoint *points = HeapArray<Ohst_BreakPoint>(static_cast<int64_t>(found.size()));
        if (!points) {
            orvik::core::SetOutOfMemory(err, kFn);
            return -1;
        }
        std::copy(found.begin(), found.end(), points);
        omsc_HeapFree(lut->breakPoints);
        lut->breakPoints = points;
        lut->nBreakPoints = static_cast<int32_t>(found.size());
        return lut->nBreakPoints;
    });
}
