// Minimum and maximum over lines of a BaseData.
#include <algorithm>
#include <cstring>

#include <orvik/ogda.h>

#include "gda/layout.hpp"
#include "gda/pixel_values.hpp"

using namespace orvik::gda;

namespace {

template <class T>
void ScanLines(const Ogda_BaseData *o, int32_t count, int32_t lines, double *mn, double *mx) {
    T lo, hi;
    std::memcpy(&lo, o->dataStart, sizeof lo);
    hi = lo;
    for (int32_t l = 0; l < lines; ++l) {
        const unsigned char *line = LineAt(o, l);
        for (int32_t e = 0; e < count; ++e) {
            T v;
            std::memcpy(&v, line + int64_t{e} * sizeof(T), sizeof v);
            lo = v < lo ? v : lo;
            hi = v > hi ? v : hi;
        }
    }
    *mn = static_cast<double>(lo);
    *mx = static_cast<double>(hi);
}

} // namespace

extern "C" {

// Counts beyond the object's shape are cut to it, so a bad count never reads past the block.
ORVIK_API void ogda_BaseDataStats(const Ogda_BaseData *object, int32_t countPerLine,
                                  int32_t lineCount, double *minimum, double *maximum)
    ORVIK_NOEXCEPT {
    if (!object || !object->dataStart || !minimum || !maximum || object->numelements < 1 ||
        !IsPixelType(object->datatype))
        return;
    const int32_t lines = std::min(lineCount, LineCount(object));
    if (object->datatype > OGDA_F64) {
        // Complex and string data are compared as unsigned bytes of each line (intended).
        const int32_t count =
            std::min<int64_t>(countPerLine, int64_t{LineLength(object)} * object->numbytes);
        ScanLines<uint8_t>(object, count, lines, minimum, maximum);
        return;
    }
    const int32_t count = std::min(countPerLine, LineLength(object));
    switch (object->datatype) {
    case OGDA_U1:
    case OGDA_U2:
    case OGDA_U4:
    case OGDA_U8:
        ScanLines<uint8_t>(object, count, lines, minimum, maximum);
        break;
    case OGDA_S8:
        ScanLines<int8_t>(object, count, lines, minimum, maximum);
        break;
    case OGDA_U16:
        ScanLines<uint16_t>(object, count, lines, minimum, maximum);
        break;
    case OGDA_S16:
        ScanLines<int16_t>(object, count, lines, minimum, maximum);
        break;
    case OGDA_U32:
        ScanLines<uint32_t>(object, count, lines, minimum, maximum);
        break;
    case OGDA_S32:
        ScanLines<int32_t>(object, count, lines, minimum, maximum);
        break;
    case OGDA_F32:
        ScanLines<float>(object, count, lines, minimum, maximum);
        break;
    default:
        ScanLines<double>(object, count, lines, minimum, maximum);
        break;
    }
}

} // extern "C"
