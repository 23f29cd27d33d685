// Enumeration and packed-array moves between host and file form (see element_codec.hpp).
#include "mif/element_codec.hpp"

#include <array>

namespace orvik::mif {
namespace {

// For each file byte value, the eight host bytes of its 1-bit elements, in element order.
constexpr std::array<std::uint64_t, 256> MakeUnpack1Table() {
    std::array<std::uint64_t, 256> t{};
    for (unsigned v = 0; v < 256; ++v) {
        std::uint64_t word = 0;
        for (unsigned i = 0; i < 8; ++i)
            word |= static_cast<std::uint64_t>((v >> i) & 1u) << (8 * i);
        t[v] = word;
    }
    return t;
}
constexpr auto kUnpack1 = MakeUnpack1Table();

// Stores the eight bytes of `word` (byte 0 = least significant) at `out`.
inline void StoreBytes(unsigned char *out, std::uint64_t word, std::size_t n) {
    for (std::size_t i = 0; i < n; ++i) out[i] = static_cast<unsigned char>(word >> (8 * i));
}

inline std::uint64_t LoadBytes8(const unsigned char *in) {
    std::uint64_t w = 0;
    for (std::size_t i = 0; i < 8; ++i) w |= static_cast<std::uint64_t>(in[i]) << (8 * i);
    return w;
}

} // namespace

void EnumsToFile(const std::uint32_t *host, std::size_t count, unsigned char *file) {
    for (std::size_t i = 0; i < count; ++i) {
        file[2 * i] = static_cast<unsigned char>(host[i]);
        file[2 * i + 1] = static_cast<unsigned char>(host[i] >> 8);
    }
}

void EnumsToHost(const unsigned char *file, std::size_t count, std::uint32_t *host) {
    for (std::size_t i = 0; i < count; ++i)
        host[i] = static_cast<std::uint32_t>(file[2 * i]) |
                  (static_cast<std::uint32_t>(file[2 * i + 1]) << 8);
}

void PackUnits(const unsigned char *host, std::size_t count, int bits, unsigned char *file) {
    const std::size_t perByte = static_cast<std::size_t>(8 / bits);
    const unsigned mask = (1u << bits) - 1u;
    const std::size_t full = count / perByte;
    std::size_t i = 0;
    if (bits == 1) {
        // Eight 0/1 bytes gathered into one byte by a multiply: byte j of the word lands on
        // bit 56 + j, and no two partial products overlap.
        for (std::size_t b = 0; b < full; ++b, i += 8) {
            const std::uint64_t w = LoadBytes8(host + i) & 0x0101010101010101ULL;
            file[b] = static_cast<unsigned char>((w * 0x0102040810204080ULL) >> 56);
        }
    } else {
        for (std::size_t b = 0; b < full; ++b) {
            unsigned v = 0;
            for (std::size_t k = 0; k < perByte; ++k, ++i) v |= (host[i] & mask) << (k * bits);
            file[b] = static_cast<unsigned char>(v);
        }
    }
    const std::size_t rest = count - i;
    if (rest > 0 || count == 0) {
        unsigned v = 0;
        for (std::size_t k = 0; k < rest; ++k, ++i) v |= (host[i] & mask) << (k * bits);
        file[full] = static_cast<unsigned char>(v);
    }
}

void UnpackUnits(const unsigned char *file, std::size_t count, int bits, unsigned char *host) {
    const std::size_t perByte = static_cast<std::size_t>(8 / bits);
    const unsigned mask = (1u << bits) - 1u;
    const std::size_t full = count / perByte;
    std::size_t i = 0;
    if (bits == 1) {
        for (std::size_t b = 0; b < full; ++b, i += 8) StoreBytes(host + i, kUnpack1[file[b]], 8);
    } else {
        for (std::size_t b = 0; b < full; ++b) {
            const unsigned v = file[b];
            for (std::size_t k = 0; k < perByte; ++k, ++i)
                host[i] = static_cast<unsigned char>((v >> (k * bits)) & mask);
        }
    }
    for (std::size_t k = 0; i < count; ++k, ++i)
        host[i] = static_cast<unsigned char>((file[full] >> (k * bits)) & mask);
}

} // namespace orvik::mif
