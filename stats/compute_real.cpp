// Statistics of 32-bit integer and real data. First pass: exact minimum, maximum, mean and
// deviation (blockwise moments). Second pass: 65536 equal bins between the minimum and maximum;
// the mode is taken from them at 256-bin resolution. Third pass: the values of the median's bin,
// from which the exact median is selected.
#include <algorithm>
#include <cmath>

#include "dsc/bin_function.hpp"
#include "stats/compute.hpp"

namespace orvik::stats {

namespace {

// Values are gathered in blocks small enough to stay in the first-level cache between the
// two passes over each block.
constexpr int32_t kBlock = 1024;

// Bin arithmetic of the fine histogram. When maximum - minimum overflows (finite values near
// the ends of the double range) everything is halved first, which is exact.
struct FineScale {
    double h = 1, lo = 0, scale = 0;
    FineScale(double minimum, double maximum) {
        if (!std::isfinite(maximum - minimum)) h = 0.5;
        lo = minimum * h;
        const double range = maximum * h - lo;
        scale = range > 0 ? kFineBins / range : 0;
    }
    int32_t Bin(double v) const {
        const int32_t b = static_cast<int32_t>((v * h - lo) * scale);
        return b < kFineBins ? b : kFineBins - 1;
    }
};

// Lines of aligned, contiguous elements with nothing to exclude are read in place; anything
// else is gathered (and filtered) through a Sampler, which reads bytes.
template <class T> bool InPlace(const Grid &g, const ExcludedSet &x) {
    return g.elemStride == 1 && x.Empty() &&
           reinterpret_cast<uintptr_t>(g.base) % alignof(T) == 0 &&
           g.lineBytes % int64_t(alignof(T)) == 0;
}

template <class T> void FirstPass(const Grid &g, const ExcludedSet &x, Moments &m) {
    double buf[kBlock];
    if constexpr (sizeof(T) >= 4) {
        if (InPlace<T>(g, x)) {
            const ExcludedSet none(nullptr);
            for (int64_t l = 0; l < g.lines; ++l) {
                const T *p = reinterpret_cast<const T *>(g.base + l * g.lineBytes);
                for (int64_t i = 0; i < g.perLine; i += kBlock) {
                    const int32_t n = int32_t(std::min<int64_t>(kBlock, g.perLine - i));
                    if (AllFinite(p + i, n)) {
                        m.AddBlock(p + i, n);
                        continue;
                    }
                    Grid one{reinterpret_cast<const unsigned char *>(p + i), 0, 1, n, 1};
                    Sampler<T> s(one, none);
                    m.AddBlock(buf, s.Next(buf, kBlock));
                }
            }
            return;
        }
    }
    Sampler<T> s(g, x);
    for (int32_t n; (n = s.Next(buf, kBlock)) > 0;) m.AddBlock(buf, n);
}

// Counts one value into the fine bins and, when given, the caller's bins.
struct Counter {
    const FineScale &f;
    uint32_t *fine;
    const Odsc_BinFunction *bf;
    double *counts;
    bool linear;
    double scale;

    void Add(double v) const {
        ++fine[f.Bin(v)];
        if (linear) {
            ++counts[dsc::LinearBin(v, bf->minLimit, bf->numBins, scale)];
        } else if (bf) {
            const int32_t b = dsc::ValueToBin(bf, v);
            if (b >= 0) ++counts[b];
        }
    }
};

template <class T>
void SecondPass(const Grid &g, const ExcludedSet &x, const FineScale &f, uint32_t *fine,
                Osta_Histogram *h) {
    const Odsc_BinFunction *bf = h ? h->binFunction : nullptr;
    const bool linear = bf && bf->type == ODSC_BIN_LINEAR;
    const Counter c{f,      fine,
                    bf,     h ? static_cast<double *>(h->table->data) : nullptr,
                    linear, linear ? dsc::LinearScale(bf) : 0};
    if (InPlace<T>(g, x)) {
        for (int64_t l = 0; l < g.lines; ++l) {
            const T *p = reinterpret_cast<const T *>(g.base + l * g.lineBytes);
            if (!bf) {
                for (int64_t i = 0; i < g.perLine; ++i) {
                    const double v = double(p[i]);
                    if (v - v == 0) ++fine[f.Bin(v)];
                }
            } else {
                for (int64_t i = 0; i < g.perLine; ++i) {
                    const double v = double(p[i]);
                    if (v - v == 0) c.Add(v);
                }
            }
        }
        return;
    }
    Sampler<T> s(g, x);
    double buf[kBlock];
    for (int32_t n; (n = s.Next(buf, kBlock)) > 0;)
        for (int32_t i = 0; i < n; ++i) c.Add(buf[i]);
}

// Values of fine bin `bin`, for the exact median. A value range one bin wider on each side
// screens the values cheaply; only those inside are binned exactly.
template <class T>
void CollectBin(const Grid &g, const ExcludedSet &x, const FineScale &f, int32_t bin,
                std::vector<double> &out) {
    const double low = (f.lo + (bin - 1) / f.scale) / f.h,
                 high = (f.lo + (bin + 2) / f.scale) / f.h;
    // One comparison, so the branch is taken only near the bin (two would mispredict on every
    // value below the median).
    const double centre = low / 2 + high / 2, reach = high / 2 - low / 2;
    auto take = [&](double v) {
        if (std::fabs(v - centre) <= reach && f.Bin(v) == bin) out.push_back(v);
    };
    if (InPlace<T>(g, x)) {
        for (int64_t l = 0; l < g.lines; ++l) {
            const T *p = reinterpret_cast<const T *>(g.base + l * g.lineBytes);
            for (int64_t i = 0; i < g.perLine; ++i) take(double(p[i])); // NaN fails the screen
        }
        return;
    }
    Sampler<T> s(g, x);
    double buf[kBlock];
    for (int32_t n; (n = s.Next(buf, kBlock)) > 0;)
        for (int32_t i = 0; i < n; ++i) take(buf[i]);
}

} // namespace

bool SummariseReals(Ogda_PixelType type, const GridSource &source, const ExcludedSet &x,
                    Osta_Histogram *h, RealSummary &r) {
    bool ok = true;
    DispatchReal(type, [&](auto tag) {
        ok = source([&](const Grid &g) { FirstPass<decltype(tag)>(g, x, r.moments); });
    });
    if (!ok || r.moments.n == 0) return ok;
    r.fine.assign(kFineBins, 0);
    const FineScale f(r.moments.minimum, r.moments.maximum);
    // Counted in 32 bits (half the cache footprint), folded into the totals before they could
    // wrap.
    std::vector<uint32_t> part(kFineBins, 0);
    int64_t pending = 0;
    auto fold = [&] {
        for (int32_t i = 0; i < kFineBins; ++i) r.fine[i] += part[i];
        std::fill(part.begin(), part.end(), 0);
        pending = 0;
    };
    DispatchReal(type, [&](auto tag) {
        ok = source([&](const Grid &g) {
            if (pending + g.Count() > int64_t{UINT32_MAX}) fold();
            pending += g.Count();
            SecondPass<decltype(tag)>(g, x, f, part.data(), h);
        });
    });
    if (!ok) return false;
    fold();
    // The lower middle value (rank (n - 1) / 2) lies in the first bin whose running count
    // passes that rank; a third pass collects that bin's values and selects it.
    const uint64_t rank = (uint64_t(r.moments.n) - 1) / 2;
    uint64_t below = 0;
    int32_t b = 0;
    while (b < kFineBins - 1 && below + r.fine[b] <= rank) below += r.fine[b++];
    if (r.fine[b] > kExactMedianLimit) return true;
    std::vector<double> values;
    values.reserve(r.fine[b]);
    DispatchReal(type, [&](auto tag) {
        ok = source([&](const Grid &g) { CollectBin<decltype(tag)>(g, x, f, b, values); });
    });
    if (!ok) return false;
    if (values.size() != r.fine[b] || rank - below >= values.size()) return true; // cannot happen
    std::nth_element(values.begin(), values.begin() + ptrdiff_t(rank - below), values.end());
    r.median = values[rank - below];
    r.exactMedian = true;
    return true;
}

void CoarseCounts(const RealSummary &r, double *out) {
    constexpr int32_t per = kFineBins / kModeBins;
    for (int32_t b = 0; b < kModeBins; ++b) {
        uint64_t c = 0;
        for (int32_t i = 0; i < per; ++i) c += r.fine[size_t(b) * per + i];
        out[b] = double(c);
    }
}

void StatisticsFromSummary(const RealSummary &r, Osta_Statistics *s) {
    const Moments &m = r.moments;
    s->minimum = m.minimum;
    s->maximum = m.maximum;
    s->mean = m.mean;
    s->stddev = std::sqrt(m.Variance());
    if (!(m.maximum > m.minimum)) {
        s->median = s->mode = m.minimum;
        return;
    }
    const FineScale f(m.minimum, m.maximum);
    const double width = 1 / f.scale / f.h; // value span of one fine bin
    if (r.exactMedian) {
        s->median = r.median;
    } else {
        // The point below which half of the values lie, linear within its bin.
        const double half = m.n / 2;
        double below = 0;
        int32_t b = 0;
        while (b < kFineBins - 1 && below + r.fine[b] < half) below += r.fine[b++];
        const double within = r.fine[b] ? (half - below) / r.fine[b] : 0;
        s->median = std::min(m.maximum, std::max(m.minimum, m.minimum + (b + within) * width));
    }
    double coarse[kModeBins];
    CoarseCounts(r, coarse);
    int32_t best = 0;
    for (int32_t i = 1; i < kModeBins; ++i)
        if (coarse[i] > coarse[best]) best = i;
    const double coarseWidth = width * (kFineBins / kModeBins);
    s->mode = std::min(m.maximum, m.minimum + (best + 0.5) * coarseWidth);
}

} // namespace orvik::stats
