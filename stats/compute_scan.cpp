// The sampling grid, the excluded-value set and the blockwise moment accumulator of the
// statistics computations.
#include "stats/compute_scan.hpp"

namespace orvik::stats {

Grid MakeGrid(const Ogda_BaseData *d, int32_t skipX, int32_t skipY) {
    const bool matrix = d->objecttype == Ogda_Matrix;
    const int64_t lineCount = matrix ? d->numcolumns : d->numrows;
    const int64_t lineLength = matrix ? d->numrows : d->numcolumns;
    const int64_t lineStep = matrix ? skipX : skipY;
    const int64_t elemStep = matrix ? skipY : skipX;
    Grid g;
    g.base = static_cast<const unsigned char *>(d->dataStart);
    if (lineStep == 1 && elemStep == 1 && d->lineBytes == int64_t{d->numbytes} * lineLength) {
        g.lineBytes = 0;
        g.lines = 1;
        g.perLine = lineCount * lineLength;
        return g;
    }
    g.lineBytes = d->lineBytes * lineStep;
    g.lines = (lineCount + lineStep - 1) / lineStep;
    g.perLine = (lineLength + elemStep - 1) / elemStep;
    g.elemStride = elemStep;
    return g;
}

ExcludedSet::ExcludedSet(const Osta_ExcludedValues *excluded) {
    const Ogda_BaseData *t = excluded ? excluded->valueBD : nullptr;
    if (!t || !t->data || t->numelements < 1 || !IsComputable(t->datatype)) return;
    // Excluded values are a short list; read element by element whatever the layout.
    const bool matrix = t->objecttype == Ogda_Matrix;
    for (int32_t r = 0; r < t->numrows; ++r)
        for (int32_t c = 0; c < t->numcolumns; ++c) {
            const unsigned char *p =
                static_cast<const unsigned char *>(t->data) +
                (matrix ? int64_t{c} * t->lineBytes + int64_t{r} * t->numbytes
                        : int64_t{r} * t->lineBytes + int64_t{c} * t->numbytes);
            DispatchReal(t->datatype, [&](auto tag) {
                const double v = static_cast<double>(Load<decltype(tag)>(p));
                if (v == v) values_.push_back(v);
            });
        }
    std::sort(values_.begin(), values_.end());
    values_.erase(std::unique(values_.begin(), values_.end()), values_.end());
}

void ExcludedSet::Add(double v) {
    if (v != v) return;
    const auto at = std::lower_bound(values_.begin(), values_.end(), v);
    if (at == values_.end() || *at != v) values_.insert(at, v);
}

template <class T> void Moments::AddBlock(const T *v, int32_t m) {
    if (m <= 0) return;
    // Independent lanes let the compiler keep several sums in flight (and vectorise).
    constexpr int L = 4;
    double s[L] = {}, lo[L], hi[L];
    for (int j = 0; j < L; ++j) lo[j] = hi[j] = double(v[0]);
    int32_t i = 0;
    for (; i + L <= m; i += L)
        for (int j = 0; j < L; ++j) {
            const double x = double(v[i + j]);
            s[j] += x;
            lo[j] = x < lo[j] ? x : lo[j];
            hi[j] = x > hi[j] ? x : hi[j];
        }
    for (; i < m; ++i) {
        const double x = double(v[i]);
        s[0] += x;
        lo[0] = x < lo[0] ? x : lo[0];
        hi[0] = x > hi[0] ? x : hi[0];
    }
    double sum = 0;
    for (int j = 0; j < L; ++j) {
        sum += s[j];
        minimum = lo[j] < minimum ? lo[j] : minimum;
        maximum = hi[j] > maximum ? hi[j] : maximum;
    }
    const double mb = sum / m;
    double q[L] = {}, e[L] = {};
    for (i = 0; i + L <= m; i += L)
        for (int j = 0; j < L; ++j) {
            const double d = double(v[i + j]) - mb;
            e[j] += d;
            q[j] += d * d;
        }
    for (; i < m; ++i) {
        const double d = double(v[i]) - mb;
        e[0] += d;
        q[0] += d * d;
    }
    double dev = 0, m2b = 0;
    for (int j = 0; j < L; ++j) {
        dev += e[j];
        m2b += q[j];
    }
    // The deviations' own sum corrects the rounding of the block mean.
    m2b -= dev * dev / m;
    if (n == 0) {
        n = m;
        mean = mb;
        m2 = m2b;
        return;
    }
    const double total = n + m;
    const double delta = mb - mean;
    mean += delta * (m / total);
    m2 += m2b + delta * delta * (n * m / total);
    n = total;
}

template void Moments::AddBlock<double>(const double *, int32_t);
template void Moments::AddBlock<float>(const float *, int32_t);
template void Moments::AddBlock<int32_t>(const int32_t *, int32_t);
template void Moments::AddBlock<uint32_t>(const uint32_t *, int32_t);

} // namespace orvik::stats
