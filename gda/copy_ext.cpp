// Copying a window of one BaseData to a place in another, truncating or rounding.
#include <orvik/ogda.h>
#include <orvik/opxm.h>

#include "core/guard.hpp"
#include "gda/copy_lines.hpp"
#include "gda/layout.hpp"
#include "gda/report.hpp"

using orvik::core::Guarded;
using orvik::core::SetError;
using namespace orvik::gda;

namespace {

bool WindowInside(const Ogda_BaseData *o, int32_t row, int32_t column, int32_t nRows,
                  int32_t nColumns) {
    return int64_t{row} + nRows <= o->numrows && int64_t{column} + nColumns <= o->numcolumns;
}

} // namespace

extern "C" {

ORVIK_API Ogda_BaseData *ogda_BaseDataCopyExt(const Ogda_BaseData *source, int32_t srcRow,
                                              int32_t srcColumn, Ogda_BaseData *destination,
                                              int32_t dstRow, int32_t dstColumn, int32_t nRows,
                                              int32_t nColumns, Omsc_Boolean round,
                                              Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    static const wchar_t *const fn = L"ogda_BaseDataCopyExt";
    if (err) *err = nullptr;
    return Guarded<Ogda_BaseData *>(err, fn, nullptr, [&]() -> Ogda_BaseData * {
        if (!source) {
            SetError(err, fn, kCopyExtNoSource, nullptr, L"source BaseData is NULL !");
            return nullptr;
        }
        if (nRows < 1 || nColumns < 1) {
            SetError(err, fn, kCopyExtBadShape, nullptr, L"Bad nRows or nColumns");
            return nullptr;
        }
        if (srcRow < 0 || srcColumn < 0 || dstRow < 0 || dstColumn < 0 ||
            (!destination && (dstRow != 0 || dstColumn != 0))) {
            SetError(err, fn, kCopyExtBadOffset, nullptr, L"Bad row or column offset");
            return nullptr;
        }
        if (!IsPixelType(source->datatype) || !source->data ||
            !WindowInside(source, srcRow, srcColumn, nRows, nColumns)) {
            SetError(err, fn, kCopyExtSourceWindow, nullptr,
                     L"source window exceeds source BaseData");
            return nullptr;
        }
        Ogda_BaseData *dst = destination;
        if (!dst) {
            Oerr_ErrorReport *inner = nullptr;
            dst = ogda_BaseDataCreate(nRows, nColumns, source->datatype, source->objecttype,
                                      nullptr, &inner);
            if (!dst) {
                SetError(err, fn, kCopyExtCreateFailed, inner, L"ogda_BaseDataCreate failed");
                return nullptr;
            }
        } else if (dst->objecttype != source->objecttype) {
            SetError(err, fn, kCopyExtObjectTypeMismatch, nullptr,
                     L"the object type is not the same for input and output");
            return nullptr;
        } else if (!IsPixelType(dst->datatype) || !dst->data ||
                   !WindowInside(dst, dstRow, dstColumn, nRows, nColumns)) {
            SetError(err, fn, kCopyExtDestinationWindow, nullptr,
                     L"destination window exceeds destination BaseData");
            return nullptr;
        }
        const Opxm_ConvertRow *table =
            round ? omsc_AddressOf_opxm_ConvertRound() : omsc_AddressOf_opxm_Convert();
        const bool matrix = source->objecttype == Ogda_Matrix;
        ConvertLines(table[source->datatype][dst->datatype], ElementAt(source, srcRow, srcColumn),
                     source->lineBytes, source->numbytes, ElementAt(dst, dstRow, dstColumn),
                     dst->lineBytes, dst->numbytes, matrix ? nColumns : nRows,
                     matrix ? nRows : nColumns);
        dst->tag = source->tag;
        return dst;
    });
}

} // extern "C"
