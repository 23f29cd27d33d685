// osta_LayerStatisticsCompute: the statistics of a raster layer, its pixels read through the
// layer's window reads one strip of blocks at a time and handed to the passes of the
// in-memory computation as one grid per strip.
#include <orvik/oimg.h>
#include <orvik/osta.h>

#include "core/guard.hpp"
#include "stats/compute.hpp"
#include "stats/layer_strips.hpp"
#include "stats/report.hpp"

using namespace orvik::stats;
using orvik::core::Guarded;
using orvik::core::SetError;

namespace {

constexpr const wchar_t *kFn = L"osta_LayerStatisticsCompute";

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
        const LayerStrips strips(*info, skip ? skip->skipFactorX : 1, skip ? skip->skipFactorY : 1);
        const OwnedBaseData buffer = strips.NewBuffer(info->pixelType, err, kFn);
        if (!buffer) return nullptr;
        ExcludedSet x(excluded);
        if (info->hasNoData) x.Add(info->noData);
        const GridSource source = [&](const GridVisit &visit) {
            return strips.ForEach([&](const StripWindow &w) {
                Ogda_BaseData view;
                if (!LayerStrips::Read(layer, w, *buffer, view, err, kFn)) return false;
                visit(strips.Sampled(view, true));
                return true;
            });
        };
        return ComputeStatistics(static_cast<Ogda_PixelType>(info->pixelType), source, x,
                                 statistics, histogram, err, kFn);
    });
}
