// Internal: moves of MIF elements between host arrays and the little-endian, unpadded file
// form. The file form is read and written byte by byte (memcpy), so neither side needs any
// alignment. On a little-endian host the numeric moves are plain copies; the byte-reversing
// path serves big-endian hosts and is instantiated explicitly by the tests (kSwap = true).
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace orvik::mif {

inline constexpr bool kHostIsLittleEndian = std::endian::native == std::endian::little;

// Number of file bytes of a packed array of `count` elements, `perByte` elements a byte.
// (count - 1) / k + 1 with truncating division: an empty packed array takes one byte.
constexpr std::int64_t PackedBytes(std::int64_t count, int perByte) {
    return (count - 1) / perByte + 1;
}

namespace detail {

template <std::size_t N> inline void ReverseCopy(unsigned char *dst, const unsigned char *src) {
    for (std::size_t i = 0; i < N; ++i) dst[i] = src[N - 1 - i];
}

} // namespace detail

// Host -> file for `count` elements whose scalar parts are `Width` bytes wide (2, 4 or 8);
// `parts` scalars per element (2 for the complex types). kSwap reverses each scalar.
template <std::size_t Width, bool kSwap = !kHostIsLittleEndian>
inline void ScalarsToFile(const void *host, std::size_t scalars, void *file) {
    if constexpr (!kSwap) {
        std::memcpy(file, host, scalars * Width);
    } else {
        auto *d = static_cast<unsigned char *>(file);
        const auto *s = static_cast<const unsigned char *>(host);
        for (std::size_t i = 0; i < scalars; ++i)
            detail::ReverseCopy<Width>(d + i * Width, s + i * Width);
    }
}

// File -> host, the mirror of ScalarsToFile (the same byte reversal).
template <std::size_t Width, bool kSwap = !kHostIsLittleEndian>
inline void ScalarsToHost(const void *file, std::size_t scalars, void *host) {
    ScalarsToFile<Width, kSwap>(file, scalars, host);
}

// Enumerations: 32-bit on the host, 16-bit in the file (the upper half is dropped on write and
// cleared on read). Done arithmetically, so the same code serves either host byte order.
void EnumsToFile(const std::uint32_t *host, std::size_t count, unsigned char *file);
void EnumsToHost(const unsigned char *file, std::size_t count, std::uint32_t *host);

// Packed sub-byte arrays: one host byte per element (only the low `bits` bits are used);
// element i sits at bit bits*(i mod k) of file byte i/k, least significant first. The file
// side receives PackedBytes(count, 8/bits) bytes; unused high bits of the last byte are 0.
void PackUnits(const unsigned char *host, std::size_t count, int bits, unsigned char *file);
void UnpackUnits(const unsigned char *file, std::size_t count, int bits, unsigned char *host);

} // namespace orvik::mif
