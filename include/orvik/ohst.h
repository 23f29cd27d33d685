/*
 * ohst.h - breakpoint lookup tables.
 */
#ifndef ORVIK_OHST_H
#define ORVIK_OHST_H

#include <stddef.h>
#include <stdint.h>

#include <orvik/oerr.h>
#include <orvik/omsc.h>

ORVIK_BEGIN_DECLS

ORVIK_END_DECLS

#endif /* ORVIK_OHST_H */
