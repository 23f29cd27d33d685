/*
 * opxm.h - pixel conversion tables.
 */
#ifndef ORVIK_OPXM_H
#define ORVIK_OPXM_H

#include <stddef.h>
#include <stdint.h>

#include <orvik/oerr.h>
#include <orvik/omsc.h>

ORVIK_BEGIN_DECLS

ORVIK_END_DECLS

#endif /* ORVIK_OPXM_H */
