// Internal: converting a rectangle of lines between two arrays through one conversion entry.
#pragma once

#include <cstdint>

#include <orvik/opxm.h>

namespace orvik::gda {

// Converts `lines` lines of `length` elements. When both sides' lines follow each other without
// gaps, the whole rectangle is one call (the fast path of a full copy).
inline void ConvertLines(Opxm_ConvertFunction convert, const unsigned char *src, int64_t srcStep,
                         int32_t srcBytes, unsigned char *dst, int64_t dstStep, int32_t dstBytes,
                         int32_t lines, int32_t length) {
    if (lines <= 0 || length <= 0) return;
    if (lines == 1 ||
        (srcStep == int64_t{length} * srcBytes && dstStep == int64_t{length} * dstBytes)) {
        convert(src, dst, lines * length);
        return;
    }
    for (int32_t l = 0; l < lines; ++l) convert(src + l * srcStep, dst + l * dstStep, length);
}

} // namespace orvik::gda
