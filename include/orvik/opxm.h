/*
 * opxm.h - pixel conversion tables.
 */
#ifndef ORVIK_OPXM_H
#define ORVIK_OPXM_H

#include <stddef.h>
#include <stdint.h>

#include <orvik/oerr.h>
#include <orvik/ogda.h>
#include <orvik/omsc.h>

ORVIK_BEGIN_DECLS

/*
 * One conversion converts `count` pixels from `source` (pixels of the row's type) to
 * `destination` (pixels of the column's type). The buffers must not overlap unless both types
 * are the same. Value rules (docs/basedata.md):
 * - integers saturate at the destination's integer minimum and maximum (u1: 0..1, u2: 0..3,
 *   u4: 0..15); floating values are truncated toward zero by the truncating table and rounded
 *   half away from zero by the rounding table before saturating; NaN becomes 0;
 * - f64 to f32 saturates finite values at the largest float; infinities and NaN carry over;
 * - complex to real takes the real part, real to complex sets the imaginary part to 0;
 * - to "string": the destination element's previous string is freed and replaced by a new
 *   heap string ("%d" for integers, "%.16g" for reals, "(%.16g, %.16g)" for complex values;
 *   a string is duplicated); from "string": the text is read as a number (a complex value
 *   also as "(re, im)"), a null or unreadable text gives 0.
 */
typedef void (*Opxm_ConvertFunction)(const void *source, void *destination, int32_t count);
typedef Opxm_ConvertFunction Opxm_ConvertRow[OGDA_PIXEL_TYPE_COUNT];

/* Tables indexed [source type][destination type]. */
ORVIK_API const Opxm_ConvertRow *omsc_AddressOf_opxm_Convert(void) ORVIK_NOEXCEPT;
ORVIK_API const Opxm_ConvertRow *omsc_AddressOf_opxm_ConvertRound(void) ORVIK_NOEXCEPT;

ORVIK_END_DECLS

#endif /* ORVIK_OPXM_H */
