// PGM and PPM images (binary "P5"/"P6", 8 or 16 bits per sample): parsing and writing.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace orvik_pnm {

struct Image {
    int32_t width = 0;
    int32_t height = 0;
    int32_t channels = 0; // 1 (PGM) or 3 (PPM)
    int32_t maxValue = 0; // 1 .. 65535; above 255 samples are 16-bit
    // Samples row by row, channels interleaved, in host order.
    std::vector<uint16_t> samples;
    bool Wide() const { return maxValue > 255; }
};

// Parses a whole file held in memory. On failure returns false with a one-line reason in
// *why. Sizes are checked against the bytes present before anything is allocated.
bool Parse(const uint8_t *data, std::size_t size, Image *image, std::string *why);

// The file form of `image` (P5 or P6).
std::vector<uint8_t> Write(const Image &image);

} // namespace orvik_pnm
