// osta_CovarianceCompute: the covariance matrix of a stack of objects in memory (the block
// co-moments are in stats/covariance.*).
#include <cstring>
#include <vector>

#include <orvik/osta.h>

#include "core/guard.hpp"
#include "stats/compute.hpp"
#include "stats/covariance.hpp"
#include "stats/report.hpp"

using namespace orvik::stats;
using orvik::core::Guarded;
using orvik::core::SetError;

namespace {

constexpr const wchar_t *kFn = L"osta_CovarianceCompute";

bool SameShape(const Ogda_BaseData *a, const Ogda_BaseData *b) {
    return a->numrows == b->numrows && a->numcolumns == b->numcolumns &&
           (a->objecttype == Ogda_Matrix) == (b->objecttype == Ogda_Matrix);
}

} // namespace

extern "C" ORVIK_API Osta_Covariance *
osta_CovarianceCompute(const Ogda_BaseDataStack *layers, const Osta_ExcludedValues *excluded,
                       const Osta_SkipFactors *skip, Osta_Covariance *covariance,
                       Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    if (err) *err = nullptr;
    return Guarded<Osta_Covariance *>(err, kFn, nullptr, [&]() -> Osta_Covariance * {
        if (!layers || layers->count < 1 || layers->count > OGDA_MATRIX_MAX_ORDER ||
            !layers->layers) {
            SetError(err, kFn, kComputeBadInput, nullptr, L"Bad layer stack");
            return nullptr;
        }
        for (int32_t l = 0; l < layers->count; ++l)
            if (!IsSampleable(layers->layers[l]) ||
                !SameShape(layers->layers[0], layers->layers[l])) {
                SetError(
                    err, kFn, kCovarianceBadLayer, nullptr,
                    L"Layer %ld is not a numeric, non-complex array of the first layer's shape",
                    long{l});
                return nullptr;
            }
        if (!CheckSkipFactors(skip, kCovarianceBadSkipFactors, err, kFn)) return nullptr;
        const int32_t k = layers->count;
        // Per-layer grids without the single-line shortcut, so positions match across layers
        // whose line padding differs.
        std::vector<Grid> grids(k);
        for (int32_t l = 0; l < k; ++l) {
            const Ogda_BaseData *d = layers->layers[l];
            const bool matrix = d->objecttype == Ogda_Matrix;
            const int64_t lineStep =
                matrix ? (skip ? skip->skipFactorX : 1) : (skip ? skip->skipFactorY : 1);
            const int64_t elemStep =
                matrix ? (skip ? skip->skipFactorY : 1) : (skip ? skip->skipFactorX : 1);
            const int64_t lineCount = matrix ? d->numcolumns : d->numrows;
            const int64_t lineLength = matrix ? d->numrows : d->numcolumns;
            grids[l].base = static_cast<const unsigned char *>(d->dataStart);
            grids[l].lineBytes = d->lineBytes * lineStep;
            grids[l].lines = (lineCount + lineStep - 1) / lineStep;
            grids[l].perLine = (lineLength + elemStep - 1) / elemStep;
            grids[l].elemStride = elemStep;
        }
        std::vector<Ogda_PixelType> types(k);
        for (int32_t l = 0; l < k; ++l) types[l] = layers->layers[l]->datatype;
        const ExcludedSet x(excluded);
        const std::vector<const ExcludedSet *> perLayer(k, &x);
        CoMoments cm(k);
        AccumulateCoMoments(types.data(), grids.data(), perLayer.data(), cm);
        FinishCoMoments(cm);
        return CovarianceResult(cm, covariance, err, kFn);
    });
}
