// Internal: the text form of one pixel value, shared by the conversion to and from "string"
// and by the ASCII form of a stack. Integers are written in decimal, reals as "%.16g" and
// complex values as "(%.16g, %.16g)" (real, imaginary).
#pragma once

#include <cstddef>

#include <orvik/ogda.h>

namespace orvik::gda {

// Enough for the longest complex value: "(" + 2 x 24 + ", " + ")".
constexpr size_t kPixelTextMax = 64;

// Writes the text of one numeric element (type 0..12) to out (kPixelTextMax bytes); returns
// the end of the text (not terminated).
char *FormatNumericPixel(Ogda_PixelType type, const void *element, char *out);

// Reads [first, last) as one value of numeric type 0..12 into element; the whole range must be
// consumed. Reals go through the value rules of conversion (truncating or rounding) when the
// type is an integer. A complex type accepts "(re, im)" or a plain real.
bool ParseNumericPixel(Ogda_PixelType type, const char *first, const char *last, void *element,
                       bool round);

} // namespace orvik::gda
