// The body of the PGM/PPM fuzz target, shared with the replay test: any bytes either parse
// into an image whose sample count matches its header, or fail with a reason; a parsed image
// written out again parses to the same samples.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "fuzz/check.hpp"
#include "pnm.hpp"

namespace pnm_image_fuzz {

inline int RunOne(const uint8_t *data, std::size_t size) {
    orvik_pnm::Image image;
    std::string why;
    if (!orvik_pnm::Parse(data, size, &image, &why)) {
        FUZZ_CHECK(!why.empty());
        return 0;
    }
    FUZZ_CHECK(image.width >= 1 && image.height >= 1);
    FUZZ_CHECK(image.channels == 1 || image.channels == 3);
    FUZZ_CHECK(image.maxValue >= 1 && image.maxValue <= 65535);
    const uint64_t samples = static_cast<uint64_t>(image.width) * image.height * image.channels;
    FUZZ_CHECK(image.samples.size() == samples);
    FUZZ_CHECK(samples * (image.Wide() ? 2 : 1) <= size);
    const std::vector<uint8_t> again = orvik_pnm::Write(image);
    orvik_pnm::Image back;
    FUZZ_CHECK(orvik_pnm::Parse(again.data(), again.size(), &back, &why));
    FUZZ_CHECK(back.samples == image.samples && back.width == image.width &&
               back.height == image.height && back.maxValue == image.maxValue);
    return 0;
}

} // namespace pnm_image_fuzz
