// Giving an owning BaseData a new shape while keeping the overlapping elements.
#include <cstring>
#include <vector>

#include <orvik/ogda.h>

#include "core/guard.hpp"
#include "gda/layout.hpp"
#include "gda/report.hpp"

using orvik::core::Guarded;
using orvik::core::SetError;
using orvik::core::SetOutOfMemory;
using namespace orvik::gda;

namespace {

// The new shape keeps every old element at its byte position when the line length in memory
// order does not change (a table is one run of elements).
bool KeepsMemoryOrder(const Ogda_BaseData *o, int32_t nRows, int32_t nColumns) {
    switch (o->objecttype) {
    case Ogda_Table:
        return true;
    case Ogda_Raster:
        return nColumns == o->numcolumns;
    case Ogda_Matrix:
        return nRows == o->numrows;
    default:
        return false;
    }
}

} // namespace

extern "C" {

ORVIK_API Ogda_BaseData *ogda_BaseDataReallocate(Ogda_BaseData *object, int32_t nRows,
                                                 int32_t nColumns, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT {
    static const wchar_t *const fn = L"ogda_BaseDataReallocate";
    if (err) *err = nullptr;
    return Guarded<Ogda_BaseData *>(err, fn, nullptr, [&]() -> Ogda_BaseData * {
        if (!object) return nullptr;
        if (nRows < 1 || nColumns < 1 || !IsPixelType(object->datatype) ||
            (object->objecttype == Ogda_Scalar && (nRows != 1 || nColumns != 1)) ||
            AllocationBytes(object->numbytes, object->objecttype, nRows, nColumns) > INT32_MAX ||
            int64_t{nRows} * nColumns > INT32_MAX) {
            SetError(err, fn, kReallocateBadShape, nullptr, L"Bad nRows or nColumns");
            return nullptr;
        }
        // A derived object's block belongs to someone else and cannot be resized.
        if (object->derivedFlag) {
            SetError(err, fn, kReallocateNotOwner, nullptr, L"BaseData must own its data");
            return nullptr;
        }
        if (KeepsMemoryOrder(object, nRows, nColumns)) {
            const int32_t newCount = nRows * nColumns;
            const auto bytes = static_cast<int32_t>(
                AllocationBytes(object->numbytes, object->objecttype, nRows, nColumns));
            // Strings cut off by a shrink are released only once the block was resized, so a
            // failure leaves the object whole.
            std::vector<wchar_t *> dropped;
            if (object->datatype == OGDA_STRING && newCount < object->numelements) {
                auto **strings = static_cast<wchar_t **>(object->data);
                dropped.assign(strings + newCount, strings + object->numelements);
            }
            void *block = omsc_HeapRealloc(object->data, bytes);
            if (!block) {
                SetOutOfMemory(err, fn);
                return nullptr;
            }
            for (wchar_t *s : dropped) omsc_HeapFree(s);
            // New elements start at zero (null strings), whatever the allocator left there.
            const int64_t oldBytes = int64_t{object->numelements} * object->numbytes;
            const int64_t newBytes = int64_t{newCount} * object->numbytes;
            if (newBytes > oldBytes)
                std::memset(static_cast<unsigned char *>(block) + oldBytes, 0,
                            static_cast<size_t>(newBytes - oldBytes));
            object->data = block;
            object->dataStart = block;
        } else {
            Oerr_ErrorReport *inner = nullptr;
            Ogda_BaseData *fresh = ogda_BaseDataCreate(nRows, nColumns, object->datatype,
                                                       object->objecttype, nullptr, &inner);
            if (!fresh) {
                SetError(err, fn, kReallocateCreateFailed, inner, L"ogda_BaseDataCreate failed");
                return nullptr;
            }
            if (!ogda_BaseDataCopy(object, fresh, &inner)) {
                ogda_BaseDataDelete(fresh, nullptr);
                SetError(err, fn, kReallocateCopyFailed, inner, L"ogda_BaseDataCopy failed");
                return nullptr;
            }
            const uint32_t tag = object->tag;
            ogda_BaseDataDeleteContents(object, nullptr);
            object->data = fresh->data;
            object->dataStart = fresh->dataStart;
            object->tag = tag;
            fresh->derivedFlag = 1;
            ogda_BaseDataDelete(fresh, nullptr);
        }
        object->numrows = nRows;
        object->numcolumns = nColumns;
        object->numelements = nRows * nColumns;
        object->lineBytes = static_cast<int32_t>(
            LineBytesOf(object->numbytes, object->objecttype, nRows, nColumns));
        return object;
    });
}

} // extern "C"
