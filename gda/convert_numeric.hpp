// Internal: the numeric part of the pixel conversion tables (types u1 .. c128).
#pragma once

#include <orvik/opxm.h>

namespace orvik::gda {

constexpr int kNumericTypeCount = OGDA_STRING; // u1 .. c128

Opxm_ConvertFunction NumericConversion(int source, int destination, bool round);

} // namespace orvik::gda
