// osta_CovarianceCompute: the covariance matrix of a stack of layers, from blocks of element
// positions. Each block's means and co-moments are computed exactly over the block, and blocks
// are merged pairwise (the multivariate form of the update used for the moments), so no raw
// cross products are summed.
#include <cstring>
#include <vector>

#include <orvik/osta.h>

#include "core/guard.hpp"
#include "stats/compute.hpp"
#include "stats/report.hpp"

using namespace orvik::stats;
using orvik::core::Guarded;
using orvik::core::SetError;

namespace {

constexpr const wchar_t *kFn = L"osta_CovarianceCompute";
constexpr int32_t kBlock = 256;

struct CoMoments {
    int32_t layers;
    double n = 0;
    std::vector<double> mean, c; // c: layers x layers, row-major

    explicit CoMoments(int32_t k) : layers(k), mean(k, 0), c(size_t(k) * k, 0) {}

    // v[l * kBlock + i]: value of layer l at the block's position i; m positions.
    void AddBlock(const double *v, int32_t m) {
        if (m <= 0) return;
        std::vector<double> mb(layers), cb(size_t(layers) * layers, 0);
        for (int32_t l = 0; l < layers; ++l) {
            double s = 0;
            for (int32_t i = 0; i < m; ++i) s += v[size_t(l) * kBlock + i];
            mb[l] = s / m;
        }
        for (int32_t a = 0; a < layers; ++a)
            for (int32_t b = a; b < layers; ++b) {
                double s = 0;
                const double *va = v + size_t(a) * kBlock, *vb = v + size_t(b) * kBlock;
                for (int32_t i = 0; i < m; ++i) s += (va[i] - mb[a]) * (vb[i] - mb[b]);
                cb[size_t(a) * layers + b] = s;
            }
        const double total = n + m, w = n * m / total;
        for (int32_t a = 0; a < layers; ++a)
            for (int32_t b = a; b < layers; ++b)
                c[size_t(a) * layers + b] +=
                    cb[size_t(a) * layers + b] + (mb[a] - mean[a]) * (mb[b] - mean[b]) * w;
        for (int32_t l = 0; l < layers; ++l) mean[l] += (mb[l] - mean[l]) * (m / total);
        n = total;
    }
};

bool SameShape(const Ogda_BaseData *a, const Ogda_BaseData *b) {
    return a->numrows == b->numrows && a->numcolumns == b->numcolumns &&
           (a->objecttype == Ogda_Matrix) == (b->objecttype == Ogda_Matrix);
}

// Walks the positions of all layers together, block by block, keeping the positions where no
// layer holds NaN, an infinity or an excluded value.
void Accumulate(const Ogda_BaseDataStack *s, const Grid *grids, const ExcludedSet &x,
                CoMoments &cm) {
    const int32_t k = s->count;
    std::vector<double> v(size_t(k) * kBlock);
    const Grid &g0 = grids[0];
    const int64_t total = g0.Count();
    int32_t m = 0;
    for (int64_t p = 0; p < total; ++p) {
        const int64_t line = p / g0.perLine, e = p % g0.perLine;
        bool keep = true;
        for (int32_t l = 0; l < k && keep; ++l) {
            const Grid &g = grids[l];
            const unsigned char *at =
                g.base + line * g.lineBytes + e * g.elemStride * s->layers[l]->numbytes;
            double d = 0;
            DispatchReal(s->layers[l]->datatype,
                         [&](auto tag) { d = static_cast<double>(Load<decltype(tag)>(at)); });
            keep = d - d == 0 && (x.Empty() || !x.Has(d));
            v[size_t(l) * kBlock + m] = d;
        }
        if (keep && ++m == kBlock) {
            cm.AddBlock(v.data(), m);
            m = 0;
        }
    }
    cm.AddBlock(v.data(), m);
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
        CoMoments cm(k);
        Accumulate(layers, grids.data(), ExcludedSet(excluded), cm);
        if (cm.n < 1) {
            SetError(err, kFn, kComputeNoValues, nullptr,
                     L"No values left to compute statistics from");
            return nullptr;
        }
        Oerr_ErrorReport *inner = nullptr;
        Osta_Covariance *fresh = osta_CovarianceCreate(k, &inner);
        if (!fresh) {
            SetError(err, kFn, kComputeCreateFailed, inner, L"osta_CovarianceCreate failed");
            return nullptr;
        }
        auto *out = static_cast<double *>(fresh->covariance.data);
        const double divisor = cm.n > 1 ? cm.n - 1 : 1;
        // Column-major n x n; symmetric, so either order fills it.
        for (int32_t a = 0; a < k; ++a)
            for (int32_t b = a; b < k; ++b)
                out[size_t(a) * k + b] = out[size_t(b) * k + a] =
                    cm.n > 1 ? cm.c[size_t(a) * k + b] / divisor : 0;
        if (!covariance) return fresh;
        osta_CovarianceDestroy(covariance, nullptr);
        covariance->covariance = fresh->covariance;
        omsc_HeapFree(fresh);
        return covariance;
    });
}
