// Counts of every value of a band of an integer type up to 16 bits, made as its rows pass on
// their way into the file, so that statistics and histogram need no second read of the layer.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include <orvik/ogda.h>

namespace orvik_tool {

class ValueCounts {
  public:
    // Whether pixels of `type` can be counted (s8, u8, s16, u16).
    static bool Countable(Ogda_PixelType type);
    explicit ValueCounts(Ogda_PixelType type);

    // Counts `count` pixels lying back to back.
    void Add(const unsigned char *pixels, std::size_t count);
    // The counts in value order from the type's least value: 256 for 8-bit types, 65536 for
    // 16-bit ones.
    std::vector<uint64_t> Counts();

  private:
    void CountBytes(const unsigned char *p, std::size_t n);
    void CountWords(const unsigned char *p, std::size_t n);
    void Fold();

    bool m_words;
    uint16_t m_flip; // turns the bit pattern of a signed value into its index in value order
    // Partial counts, several tables so that runs of equal values do not wait on each other;
    // folded into m_total before they could wrap.
    std::vector<uint32_t> m_parts;
    std::size_t m_pending = 0;
    std::vector<uint64_t> m_total;
};

} // namespace orvik_tool
