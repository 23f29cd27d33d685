/*
 * ofga.h - geometry helpers: the small matrix record used by covariance records.
 *
 * A matrix is an Ogda_BaseData of object type Ogda_Matrix (stored column by column); see
 * <orvik/ogda.h> for the record and for LU decomposition, division and inversion.
 */
#ifndef ORVIK_OFGA_H
#define ORVIK_OFGA_H

#include <stddef.h>
#include <stdint.h>

#include <orvik/oerr.h>
#include <orvik/ogda.h>
#include <orvik/omsc.h>

ORVIK_BEGIN_DECLS

/* New owning nrows x ncolumns matrix of a numeric pixel type (u1 .. c128), zero-filled. */
ORVIK_API Ogda_BaseData *ofga_MatrixCreate(int32_t nrows, int32_t ncolumns, Ogda_PixelType datatype,
                                           Oerr_ErrorReport **err) ORVIK_NOEXCEPT;
/* Copies source into destination (a new matrix of the source's shape and type when null). A
 * given destination must be a matrix of the same shape; its pixel type may differ (values are
 * converted as ogda_BaseDataCopy does). Returns destination, null on failure. */
ORVIK_API Ogda_BaseData *ofga_MatrixCopy(const Ogda_BaseData *source, Ogda_BaseData *destination,
                                         Oerr_ErrorReport **err) ORVIK_NOEXCEPT;
/* Releases a matrix (its block when it owns one, then the record); null does nothing. */
ORVIK_API void ofga_MatrixDelete(Ogda_BaseData *matrix, Oerr_ErrorReport **err) ORVIK_NOEXCEPT;

ORVIK_END_DECLS

#endif /* ORVIK_OFGA_H */
