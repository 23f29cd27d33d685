// Argument checks of the matrix routines.
#include "gda/matrix_checks.hpp"

#include "core/guard.hpp"
#include "gda/matrix_dense.hpp"
#include "gda/report.hpp"

using namespace orvik::gda;

namespace orvik::gda {

using orvik::core::SetError;

bool CheckSquareMatrix(const wchar_t *function, const Ogda_BaseData *o, Oerr_ErrorReport **err) {
    if (!o || !o->data) {
        SetError(err, function, kAlgebraNoData, nullptr,
                 o ? L"The matrix holds no data" : L"Null matrix");
        return false;
    }
    if (o->objecttype != Ogda_Matrix) {
        SetError(err, function, kAlgebraNotMatrix, nullptr, L"The object is not a matrix");
        return false;
    }
    if (!IsMatrixPixelType(o->datatype)) {
        SetError(err, function, kAlgebraBadType, nullptr,
                 L"Pixel type %ld is not supported (f32, f64, c64 and c128 only)",
                 long{o->datatype});
        return false;
    }
    if (o->numrows != o->numcolumns || o->numrows < 1) {
        SetError(err, function, kAlgebraBadOrder, nullptr, L"The matrix is not square (%ld x %ld)",
                 long{o->numrows}, long{o->numcolumns});
        return false;
    }
    if (o->numrows > OGDA_MATRIX_MAX_ORDER) {
        SetError(err, function, kAlgebraBadOrder, nullptr,
                 L"The matrix is too large (%ld x %ld, at most %ld)", long{o->numrows},
                 long{o->numcolumns}, long{OGDA_MATRIX_MAX_ORDER});
        return false;
    }
    return true;
}

bool CheckSameKind(const wchar_t *function, const Ogda_BaseData *o, const Ogda_BaseData *like,
                   Oerr_ErrorReport **err) {
    if (!o->data) {
        SetError(err, function, kAlgebraNoOutputData, nullptr, L"The output holds no data");
        return false;
    }
    if (o->objecttype != like->objecttype) {
        SetError(err, function, kAlgebraObjectTypeMismatch, nullptr,
                 L"The object type is not matched between the input and output data");
        return false;
    }
    if (o->datatype != like->datatype) {
        SetError(err, function, kAlgebraTypeMismatch, nullptr,
                 L"The data type is not matched between the input and output data");
        return false;
    }
    if (o->numrows != like->numrows || o->numcolumns != like->numcolumns) {
        SetError(err, function, kAlgebraSizeMismatch, nullptr,
                 L"The data size is not matched between the input and output data");
        return false;
    }
    return true;
}

} // namespace orvik::gda
