// Internal: the covariance of several layers from blocks of element positions. Each block's
// means and co-moments are computed exactly over the block, and blocks are merged pairwise
// (the multivariate form of the update used for the moments), so no raw cross products are
// summed. Shared by the covariance of objects in memory and of raster layers in files.
#pragma once

#include <cstdint>
#include <vector>

#include <orvik/osta.h>

#include "stats/compute_scan.hpp"

namespace orvik::stats {

constexpr int32_t kCoBlock = 256;

struct CoMoments {
    int32_t layers;
    double n = 0;
    std::vector<double> mean, c; // c: layers x layers, row-major (upper triangle)
    std::vector<double> pending; // values of the block being filled: layer l at l * kCoBlock
    int32_t filled = 0;

    explicit CoMoments(int32_t k)
        : layers(k), mean(k, 0), c(size_t(k) * k, 0), pending(size_t(k) * kCoBlock) {}

    // Merges the m positions of `v` (v[l * kCoBlock + i]).
    void AddBlock(const double *v, int32_t m);
};

// Walks the positions of `grids` (one per layer, all of the same lines and elements per line)
// together and adds those where no layer holds NaN, an infinity or one of its own excluded
// values (`excluded[l]`). Positions carry over between calls; Finish merges the last block.
void AccumulateCoMoments(const Ogda_PixelType *types, const Grid *grids,
                         const ExcludedSet *const *excluded, CoMoments &cm);
void FinishCoMoments(CoMoments &cm);

// The n x n f64 matrix divided by n - 1 (0 for a single position) into `covariance` (created
// when null; a given one is replaced); reports under `fn` ("No values left to compute
// statistics from", "osta_CovarianceCreate failed").
Osta_Covariance *CovarianceResult(const CoMoments &cm, Osta_Covariance *covariance,
                                  Oerr_ErrorReport **err, const wchar_t *fn);

} // namespace orvik::stats
