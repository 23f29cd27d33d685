// osta_LayerCovarianceCompute: the covariance of raster layers of a file, the same strip of
// every layer read in turn and its positions walked together.
#include <vector>

#include <orvik/oimg.h>
#include <orvik/osta.h>

#include "core/guard.hpp"
#include "stats/compute.hpp"
#include "stats/covariance.hpp"
#include "stats/layer_strips.hpp"
#include "stats/report.hpp"

using namespace orvik::stats;
using orvik::core::Guarded;
using orvik::core::SetError;

extern "C" ORVIK_API Osta_Covariance *
osta_LayerCovarianceCompute(Oimg_Layer *const *layers, int32_t count,
                            const Osta_ExcludedValues *excluded, const Osta_SkipFactors *skip,
                            Osta_Covariance *covariance, Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    static const wchar_t *const kFn = L"osta_LayerCovarianceCompute";
    if (err) *err = nullptr;
    return Guarded<Osta_Covariance *>(err, kFn, nullptr, [&]() -> Osta_Covariance * {
        if (!layers || count < 1 || count > OGDA_MATRIX_MAX_ORDER) {
            SetError(err, kFn, kComputeBadInput, nullptr, L"Bad layer stack");
            return nullptr;
        }
        std::vector<const Oimg_LayerInfo *> infos(count);
        for (int32_t l = 0; l < count; ++l) {
            infos[l] = layers[l] ? oimg_LayerInfoGet(layers[l]) : nullptr;
            if (!infos[l] || !IsComputable(static_cast<Ogda_PixelType>(infos[l]->pixelType)) ||
                infos[l]->width != infos[0]->width || infos[l]->height != infos[0]->height) {
                SetError(err, kFn, kCovarianceBadLayer, nullptr,
                         L"Layer %ld is not a numeric, non-complex layer of the first layer's "
                         L"size",
                         long{l});
                return nullptr;
            }
        }
        if (!CheckSkipFactors(skip, kCovarianceBadSkipFactors, err, kFn)) return nullptr;
        const LayerStrips strips(*infos[0], skip ? skip->skipFactorX : 1,
                                 skip ? skip->skipFactorY : 1);
        const ExcludedSet given(excluded);
        std::vector<ExcludedSet> own(count, given); // with each layer's no-data value
        std::vector<const ExcludedSet *> perLayer(count);
        std::vector<Ogda_PixelType> types(count);
        std::vector<OwnedBaseData> buffers(count);
        for (int32_t l = 0; l < count; ++l) {
            if (infos[l]->hasNoData) own[l].Add(infos[l]->noData);
            perLayer[l] = &own[l];
            types[l] = static_cast<Ogda_PixelType>(infos[l]->pixelType);
            buffers[l] = strips.NewBuffer(types[l], err, kFn);
            if (!buffers[l]) return nullptr;
        }
        std::vector<Ogda_BaseData> views(count);
        std::vector<Grid> grids(count);
        CoMoments cm(count);
        const bool read = strips.ForEach([&](const StripWindow &w) {
            for (int32_t l = 0; l < count; ++l) {
                if (!LayerStrips::Read(layers[l], w, *buffers[l], views[l], err, kFn)) return false;
                // Lines kept, so positions match across pixel types of different padding.
                grids[l] = strips.Sampled(views[l], false);
            }
            AccumulateCoMoments(types.data(), grids.data(), perLayer.data(), cm);
            return true;
        });
        if (!read) return nullptr;
        FinishCoMoments(cm);
        return CovarianceResult(cm, covariance, err, kFn);
    });
}
