// Copying one BaseData into another of the same object type, converting pixel types.
#include <algorithm>

#include <orvik/ogda.h>
#include <orvik/opxm.h>

#include "core/guard.hpp"
#include "gda/copy_lines.hpp"
#include "gda/layout.hpp"
#include "gda/report.hpp"

using orvik::core::Guarded;
using orvik::core::SetError;
using namespace orvik::gda;

extern "C" {

ORVIK_API Ogda_BaseData *ogda_BaseDataCopy(const Ogda_BaseData *source, Ogda_BaseData *destination,
                                           Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    static const wchar_t *const fn = L"ogda_BaseDataCopy";
    if (err) *err = nullptr;
    return Guarded<Ogda_BaseData *>(err, fn, nullptr, [&]() -> Ogda_BaseData * {
        if (!source) {
            SetError(err, fn, kCopyNoSource, nullptr, L"source BaseData is NULL !");
            return nullptr;
        }
        if (!IsPixelType(source->datatype) ||
            (destination && !IsPixelType(destination->datatype))) {
            SetError(err, fn, kCopyBadType, nullptr, L"Bad datatype");
            return nullptr;
        }
        Ogda_BaseData *dst = destination;
        if (!dst) {
            Oerr_ErrorReport *inner = nullptr;
            dst = ogda_BaseDataCreate(source->numrows, source->numcolumns, source->datatype,
                                      source->objecttype, nullptr, &inner);
            if (!dst) {
                SetError(err, fn, kCopyCreateFailed, inner, L"ogda_BaseDataCreate failed");
                return nullptr;
            }
        } else if (dst->objecttype != source->objecttype) {
            SetError(err, fn, kCopyObjectTypeMismatch, nullptr,
                     L"the object type is not the same for input and output");
            return nullptr;
        }

        int32_t lines, length;
        if (source->objecttype == Ogda_Matrix) {
            lines = std::min(source->numcolumns, dst->numcolumns);
            length = std::min(source->numrows, dst->numrows);
        } else if (source->objecttype == Ogda_Table) {
            lines = 1;
            length = std::min(source->numelements, dst->numelements);
        } else {
            lines = std::min(source->numrows, dst->numrows);
            length = std::min(source->numcolumns, dst->numcolumns);
        }
        if (lines > 0 && length > 0 && source->dataStart && dst->dataStart) {
            ConvertLines(omsc_AddressOf_opxm_Convert()[source->datatype][dst->datatype],
                         static_cast<const unsigned char *>(source->dataStart), source->lineBytes,
                         source->numbytes, static_cast<unsigned char *>(dst->dataStart),
                         dst->lineBytes, dst->numbytes, lines, length);
        }
        dst->tag = source->tag;
        return dst;
    });
}

} // extern "C"
