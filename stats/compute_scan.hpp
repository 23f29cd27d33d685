// Internal: walking the sampled elements of a BaseData for the statistics computations: the
// sampling grid (skip factors), the excluded-value set, per-type dispatch, and the blockwise
// moment accumulator. Thread-safe over caller records.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <type_traits>
#include <vector>

#include <orvik/osta.h>

namespace orvik::stats {

// Sampled elements of one object: `lines` lines starting at `base`, `lineBytes` apart, each
// with `perLine` elements `elemStride` elements apart. An unpadded object sampled without
// skipping is one long line, so that narrow tables need no per-line work.
struct Grid {
    const unsigned char *base = nullptr;
    int64_t lineBytes = 0;
    int64_t lines = 0;
    int64_t perLine = 0;
    int64_t elemStride = 1;
    int64_t Count() const { return lines * perLine; }
};

// Skip factors must be >= 1 (checked by the caller). Rows are sampled every skipY, columns
// every skipX, whichever way the object's lines run.
Grid MakeGrid(const Ogda_BaseData *d, int32_t skipX, int32_t skipY);

// The values to leave out, as doubles, sorted. Integer data only ever equals whole values.
class ExcludedSet {
  public:
    explicit ExcludedSet(const Osta_ExcludedValues *excluded);
    // Adds one value (a layer's no-data value); NaN is never a value and is ignored.
    void Add(double v);
    bool Empty() const { return values_.empty(); }
    bool Has(double v) const {
        if (values_.size() <= 4) {
            for (double e : values_)
                if (e == v) return true;
            return false;
        }
        return std::binary_search(values_.begin(), values_.end(), v);
    }
    const std::vector<double> &Values() const { return values_; }

  private:
    std::vector<double> values_;
};

// Calls f(T{}) with T the storage type of a numeric, non-complex pixel type.
template <class F> void DispatchReal(Ogda_PixelType type, F &&f) {
    switch (type) {
    case OGDA_U1:
    case OGDA_U2:
    case OGDA_U4:
    case OGDA_U8:
        f(uint8_t{});
        break;
    case OGDA_S8:
        f(int8_t{});
        break;
    case OGDA_U16:
        f(uint16_t{});
        break;
    case OGDA_S16:
        f(int16_t{});
        break;
    case OGDA_U32:
        f(uint32_t{});
        break;
    case OGDA_S32:
        f(int32_t{});
        break;
    case OGDA_F32:
        f(float{});
        break;
    default:
        f(double{});
        break;
    }
}

inline bool IsComputable(Ogda_PixelType t) { return t >= OGDA_U1 && t <= OGDA_F64; }

template <class T> inline T Load(const unsigned char *p) {
    T v;
    std::memcpy(&v, p, sizeof v);
    return v;
}

// Fills up to `capacity` doubles from the grid, resuming where the last call stopped, and
// leaving out NaN, infinities and excluded values. Returns the number filled; 0 only at the end.
template <class T> class Sampler {
  public:
    Sampler(const Grid &g, const ExcludedSet &x) : g_(g), x_(x) {}
    int32_t Next(double *out, int32_t capacity) {
        int32_t n = 0;
        while (n < capacity && line_ < g_.lines) {
            const unsigned char *p = g_.base + line_ * g_.lineBytes;
            const int64_t take = std::min<int64_t>(g_.perLine - elem_, capacity - n);
            n += x_.Empty() ? Copy<false>(p, take, out + n) : Copy<true>(p, take, out + n);
            elem_ += take;
            if (elem_ == g_.perLine) {
                elem_ = 0;
                ++line_;
            }
        }
        return n;
    }

  private:
    template <bool Filter> int32_t Copy(const unsigned char *line, int64_t take, double *out) {
        int32_t n = 0;
        const int64_t s = g_.elemStride * int64_t(sizeof(T));
        const unsigned char *p = line + elem_ * s;
        for (int64_t i = 0; i < take; ++i, p += s) {
            const double v = static_cast<double>(Load<T>(p));
            out[n] = v;
            if constexpr (Filter) {
                n += (v - v == 0 && !x_.Has(v)) ? 1 : 0;
            } else if constexpr (std::is_floating_point_v<T>) {
                n += v - v == 0 ? 1 : 0;
            } else {
                ++n;
            }
        }
        return n;
    }

    const Grid &g_;
    const ExcludedSet &x_;
    int64_t line_ = 0;
    int64_t elem_ = 0;
};

// Count, mean and sum of squared deviations, built from blocks: each block's own mean and
// deviations are computed exactly over the block (two passes in cache), and blocks are merged
// with the pairwise update of Chan, Golub and LeVeque, so no sum of squares of raw values is
// ever formed.
struct Moments {
    double n = 0, mean = 0, m2 = 0;
    double minimum = HUGE_VAL, maximum = -HUGE_VAL;

    // REQUIRES: the m values are finite.
    template <class T> void AddBlock(const T *v, int32_t m);
    double Variance() const { return n > 1 ? m2 / (n - 1) : 0; }
};

extern template void Moments::AddBlock<double>(const double *, int32_t);
extern template void Moments::AddBlock<float>(const float *, int32_t);
extern template void Moments::AddBlock<int32_t>(const int32_t *, int32_t);
extern template void Moments::AddBlock<uint32_t>(const uint32_t *, int32_t);

// True when none of the m values is NaN or infinite (always for integers). Tests the exponent
// bits as integers, so the test is an OR over the block that vectorises.
template <class T> inline bool AllFinite(const T *v, int64_t m) {
    if constexpr (std::is_floating_point_v<T>) {
        using Bits = std::conditional_t<sizeof(T) == 4, uint32_t, uint64_t>;
        constexpr Bits exponent = sizeof(T) == 4 ? Bits(0x7f800000u) : Bits(0x7ff0000000000000u);
        Bits bad = 0;
        for (int64_t i = 0; i < m; ++i) {
            Bits u;
            std::memcpy(&u, v + i, sizeof u);
            bad |= (u & exponent) == exponent;
        }
        return !bad;
    } else {
        return true;
    }
}

} // namespace orvik::stats
