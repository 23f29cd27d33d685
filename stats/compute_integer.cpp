// Exact statistics of integer data up to 16 bits: one pass counts every value, and the
// statistics follow from the counts.
#include <algorithm>
#include <cmath>

#include "dsc/bin_function.hpp"
#include "stats/compute.hpp"

namespace orvik::stats {

namespace {

// Four partial histograms break the dependency between neighbouring equal bytes.
void CountBytes(const unsigned char *p, int64_t n, int64_t stride, uint64_t *out) {
    std::vector<uint32_t> part(4 * 256, 0);
    uint32_t *c0 = part.data(), *c1 = c0 + 256, *c2 = c1 + 256, *c3 = c2 + 256;
    int64_t i = 0;
    if (stride == 1) {
        for (; i + 4 <= n; i += 4) {
            ++c0[p[i]];
            ++c1[p[i + 1]];
            ++c2[p[i + 2]];
            ++c3[p[i + 3]];
        }
    }
    for (; i < n; ++i) ++c0[p[i * stride]];
    for (int v = 0; v < 256; ++v) out[v] += uint64_t{c0[v]} + c1[v] + c2[v] + c3[v];
}

template <class T>
void CountWords(const unsigned char *p, int64_t n, int64_t stride, int64_t lo,
                std::vector<uint32_t> &a, std::vector<uint32_t> &b) {
    int64_t i = 0;
    const int64_t s = stride * int64_t(sizeof(T));
    for (; i + 2 <= n; i += 2) {
        ++a[Load<T>(p + i * s) - lo];
        ++b[Load<T>(p + (i + 1) * s) - lo];
    }
    for (; i < n; ++i) ++a[Load<T>(p + i * s) - lo];
}

} // namespace

bool CountValues(Ogda_PixelType type, const GridSource &source, const ExcludedSet &x,
                 ValueCounts &v) {
    const bool bytes = type <= OGDA_S8;
    v.lo = type == OGDA_S8 ? -128 : type == OGDA_S16 ? -32768 : 0;
    v.counts.assign(bytes ? 256 : 65536, 0);
    // 16-bit values are counted into two 32-bit tables, folded into the 64-bit counts before
    // they could wrap (a layer may hold more than 2^32 values).
    std::vector<uint32_t> a, b;
    int64_t pending = 0;
    auto fold = [&] {
        for (size_t i = 0; i < a.size(); ++i) v.counts[i] += uint64_t{a[i]} + b[i];
        std::fill(a.begin(), a.end(), 0);
        std::fill(b.begin(), b.end(), 0);
        pending = 0;
    };
    if (!bytes) {
        a.assign(65536, 0);
        b.assign(65536, 0);
    }
    const bool ok = source([&](const Grid &g) {
        if (!bytes && pending + g.Count() > int64_t{UINT32_MAX}) fold();
        pending += g.Count();
        for (int64_t l = 0; l < g.lines; ++l) {
            const unsigned char *p = g.base + l * g.lineBytes;
            switch (type) {
            case OGDA_U16:
                CountWords<uint16_t>(p, g.perLine, g.elemStride, 0, a, b);
                break;
            case OGDA_S16:
                CountWords<int16_t>(p, g.perLine, g.elemStride, -32768, a, b);
                break;
            default:
                CountBytes(p, g.perLine, g.elemStride, v.counts.data());
                break;
            }
        }
    });
    if (!ok) return false;
    if (type == OGDA_S8) {
        // Signed bytes were counted by their unsigned pattern: rotate into value order.
        std::vector<uint64_t> byValue(256);
        for (int u = 0; u < 256; ++u) byValue[static_cast<int8_t>(u) + 128] = v.counts[u];
        v.counts.swap(byValue);
    }
    if (!bytes) fold();
    ExcludeCounts(x, v);
    return true;
}

void ExcludeCounts(const ExcludedSet &x, ValueCounts &v) {
    for (double e : x.Values()) {
        const double i = e - double(v.lo);
        if (i >= 0 && i < double(v.counts.size()) && i == std::floor(i)) v.counts[size_t(i)] = 0;
    }
}

uint64_t StatisticsFromCounts(const ValueCounts &v, Osta_Statistics *s) {
    uint64_t n = 0;
    int64_t sum = 0;
    size_t first = v.counts.size(), last = 0, mode = 0;
    for (size_t i = 0; i < v.counts.size(); ++i) {
        const uint64_t c = v.counts[i];
        if (!c) continue;
        first = std::min(first, i);
        last = i;
        n += c;
        sum += static_cast<int64_t>(c) * (int64_t(i) + v.lo);
        if (c > v.counts[mode]) mode = i;
    }
    if (n == 0) return 0;
    if (v.counts[mode] == 0) mode = first;
    const double mean = double(sum) / double(n);
    double m2 = 0;
    uint64_t below = 0, rank = (n - 1) / 2;
    size_t median = first;
    bool found = false;
    for (size_t i = first; i <= last; ++i) {
        const uint64_t c = v.counts[i];
        if (!c) continue;
        const double d = double(int64_t(i) + v.lo) - mean;
        m2 += double(c) * d * d;
        if (!found && below + c > rank) {
            median = i;
            found = true;
        }
        below += c;
    }
    s->minimum = double(int64_t(first) + v.lo);
    s->maximum = double(int64_t(last) + v.lo);
    s->mean = mean;
    s->median = double(int64_t(median) + v.lo);
    s->mode = double(int64_t(mode) + v.lo);
    s->stddev = n > 1 ? std::sqrt(m2 / double(n - 1)) : 0;
    return n;
}

void BinCounts(const ValueCounts &v, Osta_Histogram *h) {
    auto *out = static_cast<double *>(h->table->data);
    for (size_t i = 0; i < v.counts.size(); ++i) {
        if (!v.counts[i]) continue;
        const int32_t b = dsc::ValueToBin(h->binFunction, double(int64_t(i) + v.lo));
        if (b >= 0) out[b] += double(v.counts[i]);
    }
}

} // namespace orvik::stats
