// Internal: the argument checks shared by the matrix routines, each failure reported in the
// caller's name (numbers: 1 missing, 2 object type, 3 pixel type, 4 size).
#pragma once

#include <orvik/ogda.h>

namespace orvik::gda {

// True when `o` is a usable n x n matrix (Ogda_Matrix with data, f32/f64/c64/c128, square,
// at most OGDA_MATRIX_MAX_ORDER rows); otherwise reports why under `function`.
bool CheckSquareMatrix(const wchar_t *function, const Ogda_BaseData *o, Oerr_ErrorReport **err);

// True when `o` can take the place of `like` as an output: same object type, pixel type and
// shape, with data; otherwise reports the first difference.
bool CheckSameKind(const wchar_t *function, const Ogda_BaseData *o, const Ogda_BaseData *like,
                   Oerr_ErrorReport **err);

} // namespace orvik::gda
