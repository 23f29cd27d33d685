// The geometry module's matrix record calls: thin checks over BaseData creation, copy and
// deletion, so that records holding a matrix (covariance) get matrix-specific reports.
#include <orvik/ofga.h>

#include "core/guard.hpp"
#include "gda/layout.hpp"
#include "gda/report.hpp"

using orvik::core::SetError;
using namespace orvik::gda;

extern "C" ORVIK_API Ogda_BaseData *ofga_MatrixCreate(int32_t nrows, int32_t ncolumns,
                                                      Ogda_PixelType datatype,
                                                      Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    constexpr const wchar_t *kFn = L"ofga_MatrixCreate";
    if (err) {
        *err = nullptr;
    }
    if (nrows < 1 || ncolumns < 1) {
        SetError(err, kFn, kMatrixBadShape, nullptr, L"Bad nRows or nColumns (%ld x %ld)",
                 long{nrows}, long{ncolumns});
        return nullptr;
    }
    if (!orvik::gda::IsPixelType(datatype) || datatype == OGDA_STRING) {
        SetError(err, kFn, kMatrixBadType, nullptr, L"Pixel type %ld is not a numeric pixel type",
                 long{datatype});
        return nullptr;
    }
    Oerr_ErrorReport *inner = nullptr;
    // The heap zero-fills every block, so the new matrix holds zeros.
    Ogda_BaseData *m = ogda_BaseDataCreate(nrows, ncolumns, datatype, Ogda_Matrix, nullptr, &inner);
    if (!m) {
        SetError(err, kFn, kMatrixCreateFailed, inner, L"ogda_BaseDataCreate failed");
    }
    return m;
}

extern "C" ORVIK_API Ogda_BaseData *ofga_MatrixCopy(const Ogda_BaseData *source,
                                                    Ogda_BaseData *destination,
                                                    Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    constexpr const wchar_t *kFn = L"ofga_MatrixCopy";
    if (err) {
        *err = nullptr;
    }
    if (!source) {
        SetError(err, kFn, kMatrixNoSource, nullptr, L"Null source matrix");
        return nullptr;
    }
    if (source->objecttype != Ogda_Matrix ||
        (destination && destination->objecttype != Ogda_Matrix)) {
        SetError(err, kFn, kMatrixObjectTypeMismatch, nullptr,
                 L"The object type is not matched between the input and output data");
        return nullptr;
    }
    // A copy into a smaller or larger matrix would silently keep only the overlap.
    if (destination && (destination->numrows != source->numrows ||
                        destination->numcolumns != source->numcolumns)) {
        SetError(err, kFn, kMatrixSizeMismatch, nullptr,
                 L"The data size is not matched between the input and output data");
        return nullptr;
    }
    Oerr_ErrorReport *inner = nullptr;
    Ogda_BaseData *out = ogda_BaseDataCopy(source, destination, &inner);
    if (!out) {
        SetError(err, kFn, kMatrixCopyFailed, inner, L"ogda_BaseDataCopy failed");
    }
    return out;
}

extern "C" ORVIK_API void ofga_MatrixDelete(Ogda_BaseData *matrix, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT {
    if (err) {
        *err = nullptr;
    }
    Oerr_ErrorReport *inner = nullptr;
    ogda_BaseDataDelete(matrix, &inner);
    if (inner) {
        SetError(err, L"ofga_MatrixDelete", kMatrixDeleteFailed, inner,
                 L"ogda_BaseDataDelete failed");
    }
}
