// osta_LayerStatisticsCompute: the statistics of a raster layer, its pixels read through the
// layer's window reads one strip of blocks at a time and handed to the passes of the
// in-memory computation as one grid per strip.
#include <algorithm>
#include <memory>

#include <orvik/oimg.h>
#include <orvik/osta.h>

#include "core/guard.hpp"
#include "stats/compute.hpp"
#include "stats/report.hpp"

using namespace orvik::stats;
using orvik::core::Guarded;
using orvik::core::SetError;

namespace {

constexpr const wchar_t *kFn = L"osta_LayerStatisticsCompute";

// Pixels of one strip: wide enough that the per-strip cost vanishes, small enough to stay in
// the second-level cache between reading a strip and counting it.
constexpr int64_t kStripPixels = 1 << 18;

struct BaseDataDeleter {
    void operator()(Ogda_BaseData *d) const { ogda_BaseDataDelete(d, nullptr); }
};

// First multiple of `step` at or after `at`.
int64_t NextSample(int64_t at, int64_t step) { return (at + step - 1) / step * step; }

// Strips of one block row and as many whole blocks across as fit kStripPixels. Only the rows
// and columns the skip factors sample are read, from the first sampled to the last.
class LayerStrips {
  public:
    LayerStrips(Oimg_Layer *layer, int32_t skipX, int32_t skipY)
        : layer_(layer), info_(*oimg_LayerInfoGet(layer)), sx_(skipX), sy_(skipY) {
        rows_ = info_.blockHeight;
        const int64_t blocksAcross =
            std::max<int64_t>(1, kStripPixels / (int64_t{info_.blockWidth} * rows_));
        columns_ = int32_t(std::min<int64_t>(info_.width, blocksAcross * info_.blockWidth));
        rows_ = std::min(rows_, info_.height);
    }

    // The strip buffer; null with a report when it cannot be had.
    bool Allocate(Oerr_ErrorReport **err) {
        Oerr_ErrorReport *inner = nullptr;
        strip_.reset(ogda_BaseDataCreate(rows_, columns_,
                                         static_cast<Ogda_PixelType>(info_.pixelType), Ogda_Raster,
                                         nullptr, &inner));
        if (strip_) return true;
        orvik::core::SetOutOfMemory(err, kFn, inner);
        return false;
    }

    bool operator()(const GridVisit &visit, Oerr_ErrorReport **err) const {
        for (int64_t r0 = 0; r0 < info_.height; r0 += rows_) {
            const int64_t r1 = std::min<int64_t>(r0 + rows_, info_.height); // past the strip
            const int64_t first = NextSample(r0, sy_);
            if (first >= r1) continue;
            const int64_t last = first + (r1 - 1 - first) / sy_ * sy_;
            for (int64_t c0 = 0; c0 < info_.width; c0 += columns_) {
                const int64_t c1 = std::min<int64_t>(c0 + columns_, info_.width);
                const int64_t left = NextSample(c0, sx_);
                if (left >= c1) continue;
                const int64_t right = left + (c1 - 1 - left) / sx_ * sx_;
                Ogda_BaseData view = *strip_;
                view.numrows = int32_t(last - first + 1);
                view.numcolumns = int32_t(right - left + 1);
                view.numelements = view.numrows * view.numcolumns;
                Oerr_ErrorReport *inner = nullptr;
                if (oimg_LayerReadWindow(layer_, int32_t(first), int32_t(left), view.numrows,
                                         view.numcolumns, &view, &inner) != 0) {
                    SetError(err, kFn, kComputeReadFailed, inner,
                             L"Cannot read rows %ld to %ld of layer %s", long(first), long(last),
                             oimg_LayerPathGet(layer_));
                    return false;
                }
                visit(SampledGrid(view));
            }
        }
        return true;
    }

  private:
    Grid SampledGrid(const Ogda_BaseData &v) const {
        Grid g;
        g.base = static_cast<const unsigned char *>(v.data);
        if (sx_ == 1 && sy_ == 1 && v.lineBytes == int64_t{v.numbytes} * v.numcolumns) {
            g.lines = 1;
            g.perLine = int64_t{v.numrows} * v.numcolumns;
            return g;
        }
        g.lineBytes = int64_t{v.lineBytes} * sy_;
        g.lines = (v.numrows - 1) / sy_ + 1;
        g.perLine = (v.numcolumns - 1) / sx_ + 1;
        g.elemStride = sx_;
        return g;
    }

    Oimg_Layer *layer_;
    const Oimg_LayerInfo &info_;
    int32_t sx_, sy_;
    int32_t rows_ = 0, columns_ = 0;
    std::unique_ptr<Ogda_BaseData, BaseDataDeleter> strip_;
};

} // namespace

extern "C" ORVIK_API Osta_Statistics *
osta_LayerStatisticsCompute(Oimg_Layer *layer, const Osta_ExcludedValues *excluded,
                            const Osta_SkipFactors *skip, Osta_Statistics *statistics,
                            Osta_Histogram **histogram, Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    if (err) *err = nullptr;
    return Guarded<Osta_Statistics *>(err, kFn, nullptr, [&]() -> Osta_Statistics * {
        const Oimg_LayerInfo *info = layer ? oimg_LayerInfoGet(layer) : nullptr;
        if (!info || !IsComputable(static_cast<Ogda_PixelType>(info->pixelType))) {
            SetError(err, kFn, kComputeBadInput, nullptr,
                     L"Input data must be a non-empty array of a numeric, non-complex type");
            return nullptr;
        }
        if (!CheckSkipFactors(skip, kComputeBadSkipFactors, err, kFn)) return nullptr;
        LayerStrips strips(layer, skip ? skip->skipFactorX : 1, skip ? skip->skipFactorY : 1);
        if (!strips.Allocate(err)) return nullptr;
        ExcludedSet x(excluded);
        if (info->hasNoData) x.Add(info->noData);
        const GridSource source = [&](const GridVisit &visit) { return strips(visit, err); };
        return ComputeStatistics(static_cast<Ogda_PixelType>(info->pixelType), source, x,
                                 statistics, histogram, err, kFn);
    });
}
