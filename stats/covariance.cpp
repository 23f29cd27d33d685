// Block co-moments of several layers and the covariance matrix made from them.
#include "stats/covariance.hpp"

#include "core/guard.hpp"
#include "stats/report.hpp"

namespace orvik::stats {

void CoMoments::AddBlock(const double *v, int32_t m) {
    if (m <= 0) return;
    std::vector<double> mb(layers), cb(size_t(layers) * layers, 0);
    for (int32_t l = 0; l < layers; ++l) {
        double s = 0;
        for (int32_t i = 0; i < m; ++i) s += v[size_t(l) * kCoBlock + i];
        mb[l] = s / m;
    }
    for (int32_t a = 0; a < layers; ++a)
        for (int32_t b = a; b < layers; ++b) {
            double s = 0;
            const double *va = v + size_t(a) * kCoBlock, *vb = v + size_t(b) * kCoBlock;
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

void AccumulateCoMoments(const Ogda_PixelType *types, const Grid *grids,
                         const ExcludedSet *const *excluded, CoMoments &cm) {
    const int32_t k = cm.layers;
    double *v = cm.pending.data();
    const Grid &g0 = grids[0];
    const int64_t total = g0.Count();
    for (int64_t p = 0; p < total; ++p) {
        const int64_t line = p / g0.perLine, e = p % g0.perLine;
        bool keep = true;
        for (int32_t l = 0; l < k && keep; ++l) {
            const Grid &g = grids[l];
            double d = 0;
            DispatchReal(types[l], [&](auto tag) {
                using T = decltype(tag);
                d = static_cast<double>(
                    Load<T>(g.base + line * g.lineBytes + e * g.elemStride * int64_t(sizeof(T))));
            });
            keep = d - d == 0 && (excluded[l]->Empty() || !excluded[l]->Has(d));
            v[size_t(l) * kCoBlock + cm.filled] = d;
        }
        if (keep && ++cm.filled == kCoBlock) {
            cm.AddBlock(v, cm.filled);
            cm.filled = 0;
        }
    }
}

void FinishCoMoments(CoMoments &cm) {
    cm.AddBlock(cm.pending.data(), cm.filled);
    cm.filled = 0;
}

Osta_Covariance *CovarianceResult(const CoMoments &cm, Osta_Covariance *covariance,
                                  Oerr_ErrorReport **err, const wchar_t *fn) {
    if (cm.n < 1) {
        core::SetError(err, fn, kComputeNoValues, nullptr,
                       L"No values left to compute statistics from");
        return nullptr;
    }
    const int32_t k = cm.layers;
    Oerr_ErrorReport *inner = nullptr;
    Osta_Covariance *fresh = osta_CovarianceCreate(k, &inner);
    if (!fresh) {
        core::SetError(err, fn, kComputeCreateFailed, inner, L"osta_CovarianceCreate failed");
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
}

} // namespace orvik::stats
