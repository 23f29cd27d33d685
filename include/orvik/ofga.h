/*
 * ofga.h - geometry helpers: the small matrix record used by covariance records.
 */
#ifndef ORVIK_OFGA_H
#define ORVIK_OFGA_H

#include <stddef.h>
#include <stdint.h>

#include <orvik/oerr.h>
#include <orvik/omsc.h>

ORVIK_BEGIN_DECLS

ORVIK_END_DECLS

#endif /* ORVIK_OFGA_H */
