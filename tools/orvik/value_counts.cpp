#include "value_counts.hpp"

#include <cstring>
#include <limits>

namespace orvik_tool {
namespace {

constexpr std::size_t kByteTables = 4, kWordTables = 2;

} // namespace

bool ValueCounts::Countable(Ogda_PixelType type) {
    return type == OGDA_U8 || type == OGDA_S8 || type == OGDA_U16 || type == OGDA_S16;
}

ValueCounts::ValueCounts(Ogda_PixelType type)
    : m_words(type == OGDA_U16 || type == OGDA_S16), m_flip(type == OGDA_S8    ? 0x80
                                                            : type == OGDA_S16 ? 0x8000
                                                                               : 0) {
    const std::size_t values = m_words ? 65536 : 256;
    m_parts.assign(values * (m_words ? kWordTables : kByteTables), 0);
    m_total.assign(values, 0);
}

void ValueCounts::Add(const unsigned char *pixels, std::size_t count) {
    // Each table receives at most `count` of the pending values: fold first when that could
    // carry a table past 32 bits.
    constexpr std::size_t kLimit = std::numeric_limits<uint32_t>::max();
    while (count > 0) {
        if (m_pending >= kLimit / 2) Fold();
        const std::size_t n = std::min(count, kLimit / 2 - m_pending);
        if (m_words)
            CountWords(pixels, n);
        else
            CountBytes(pixels, n);
        m_pending += n;
        pixels += n * (m_words ? 2 : 1);
        count -= n;
    }
}

void ValueCounts::CountBytes(const unsigned char *p, std::size_t n) {
    uint32_t *t0 = m_parts.data(), *t1 = t0 + 256, *t2 = t1 + 256, *t3 = t2 + 256;
    std::size_t i = 0;
    for (; i + 8 <= n; i += 8) {
        uint64_t w;
        std::memcpy(&w, p + i, 8);
        ++t0[w & 0xFF];
        ++t1[(w >> 8) & 0xFF];
        ++t2[(w >> 16) & 0xFF];
        ++t3[(w >> 24) & 0xFF];
        ++t0[(w >> 32) & 0xFF];
        ++t1[(w >> 40) & 0xFF];
        ++t2[(w >> 48) & 0xFF];
        ++t3[w >> 56];
    }
    for (; i < n; ++i) ++t0[p[i]];
}

void ValueCounts::CountWords(const unsigned char *p, std::size_t n) {
    uint32_t *a = m_parts.data(), *b = a + 65536;
    std::size_t i = 0;
    for (; i + 2 <= n; i += 2) {
        uint16_t v[2];
        std::memcpy(v, p + 2 * i, 4);
        ++a[v[0]];
        ++b[v[1]];
    }
    if (i < n) {
        uint16_t v;
        std::memcpy(&v, p + 2 * i, 2);
        ++a[v];
    }
}

void ValueCounts::Fold() {
    const std::size_t values = m_total.size();
    for (std::size_t t = 0; t < m_parts.size() / values; ++t)
        for (std::size_t u = 0; u < values; ++u) m_total[u ^ m_flip] += m_parts[t * values + u];
    std::fill(m_parts.begin(), m_parts.end(), 0);
    m_pending = 0;
}

std::vector<uint64_t> ValueCounts::Counts() {
    Fold();
    return m_total;
}

} // namespace orvik_tool
