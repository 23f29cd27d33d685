/*
 * ogda.h - pixel types, BaseData arrays and stacks, their ASCII text form, and small matrix routines.
 */
#ifndef ORVIK_OGDA_H
#define ORVIK_OGDA_H

#include <stddef.h>
#include <stdint.h>

#include <orvik/oerr.h>
#include <orvik/omsc.h>

ORVIK_BEGIN_DECLS

/* ---- Pixel types and BaseData -------------------------------------------------------- */


/* ---- Small matrix routines (LU decomposition, division, inversion) ------------------- */


ORVIK_END_DECLS

#endif /* ORVIK_OGDA_H */
