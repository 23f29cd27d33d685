// Creation, reshaping, derived views and deletion of BaseData objects.
#include <climits>

#include <orvik/ogda.h>

#include "core/guard.hpp"
#include "gda/layout.hpp"
#include "gda/report.hpp"

using orvik::core::Guarded;
using orvik::core::GuardedVoid;
using orvik::core::SetError;
using orvik::core::SetOutOfMemory;
using namespace orvik::gda;

namespace orvik::gda {

void FreeStrings(void *elements, int64_t count) {
    auto **strings = static_cast<wchar_t **>(elements);
    for (int64_t i = 0; i < count; ++i) {
        omsc_HeapFree(strings[i]);
        strings[i] = nullptr;
    }
}

} // namespace orvik::gda

namespace {

// Fills the shape fields; the data pointers and derivedFlag are the caller's business.
void SetShape(Ogda_BaseData *o, int32_t nrows, int32_t ncolumns, Ogda_PixelType datatype,
              Ogda_ObjectType objecttype) {
    o->numrows = nrows;
    o->numcolumns = ncolumns;
    o->datatype = datatype;
    o->objecttype = objecttype;
    o->numbytes = BytesPerPixel(datatype);
    o->numelements = nrows * ncolumns;
    o->lineBytes = static_cast<int32_t>(LineBytesOf(o->numbytes, objecttype, nrows, ncolumns));
}

// Shapes whose sizes cannot be held in the record's 32-bit fields are refused before any
// arithmetic on them.
bool ShapeFits(int32_t nrows, int32_t ncolumns, Ogda_PixelType datatype,
               Ogda_ObjectType objecttype) {
    if (nrows < 0 || ncolumns < 0) return false;
    // A scalar is one value; any other shape would be a table under the wrong name.
    if (objecttype == Ogda_Scalar && (nrows != 1 || ncolumns != 1)) return false;
    const int32_t nb = BytesPerPixel(datatype);
    return int64_t{nrows} * ncolumns <= INT32_MAX &&
           LineBytesOf(nb, objecttype, nrows, ncolumns) <= INT32_MAX &&
           AllocationBytes(nb, objecttype, nrows, ncolumns) <= INT32_MAX;
}

} // namespace

extern "C" {

ORVIK_API Ogda_BaseData *ogda_BaseDataCreate(int32_t nrows, int32_t ncolumns,
                                             Ogda_PixelType datatype, Ogda_ObjectType objecttype,
                                             void *data, Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    static const wchar_t *const fn = L"ogda_BaseDataCreate";
    if (err) *err = nullptr;
    return Guarded<Ogda_BaseData *>(err, fn, nullptr, [&]() -> Ogda_BaseData * {
        if (!IsPixelType(datatype)) {
            SetError(err, fn, kCreateBadType, nullptr,
                     L"incoming datatype is not a valid OGDA datatype");
            return nullptr;
        }
        if (!ShapeFits(nrows, ncolumns, datatype, objecttype)) {
            SetError(err, fn, kCreateBadShape, nullptr, L"Bad nRows or nColumns");
            return nullptr;
        }
        auto *o = static_cast<Ogda_BaseData *>(omsc_HeapMalloc(sizeof(Ogda_BaseData)));
        if (!o) {
            SetOutOfMemory(err, fn, nullptr,
                           L"calloc could not allocate space for Ogda_BaseData structure");
            return nullptr;
        }
        SetShape(o, nrows, ncolumns, datatype, objecttype);
        o->tag = 0;
        if (data) {
            o->derivedFlag = 1;
        } else {
            const int64_t bytes = AllocationBytes(o->numbytes, objecttype, nrows, ncolumns);
            // An empty shape owns no block.
            if (bytes > 0) {
                data = omsc_HeapMalloc(static_cast<int32_t>(bytes));
                if (!data) {
                    omsc_HeapFree(o);
                    SetOutOfMemory(err, fn, nullptr,
                                   L"calloc could not allocate space for Ogda_BaseData data");
                    return nullptr;
                }
            }
            o->derivedFlag = 0;
        }
        o->data = data;
        o->dataStart = data;
        return o;
    });
}

ORVIK_API Ogda_BaseData *ogda_BaseDataReCreate(Ogda_BaseData *object, int32_t nrows,
                                               int32_t ncolumns, Ogda_PixelType datatype,
                                               Ogda_ObjectType objecttype, void *data,
                                               Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    static const wchar_t *const fn = L"ogda_BaseDataReCreate";
    if (err) *err = nullptr;
    return Guarded<Ogda_BaseData *>(err, fn, nullptr, [&]() -> Ogda_BaseData * {
        if (nrows < 1 || ncolumns < 1) {
            SetError(err, fn, kReCreateBadShape, nullptr, L"Bad nRows or nColumns");
            return object;
        }
        if (!object) {
            Oerr_ErrorReport *inner = nullptr;
            Ogda_BaseData *created =
                ogda_BaseDataCreate(nrows, ncolumns, datatype, objecttype, data, &inner);
            if (!created)
                SetError(err, fn, kReCreateCreateFailed, inner, L"ogda_BaseDataCreate failed");
            return created;
        }
        if (!object->derivedFlag) {
            SetError(err, fn, kReCreateNotDerived, nullptr, L"srcBaseData must be derived");
            return nullptr;
        }
        if (!IsPixelType(datatype) || !ShapeFits(nrows, ncolumns, datatype, objecttype)) {
            SetError(err, fn, kReCreateMismatch, nullptr, L"Bad datatype or shape");
            return nullptr;
        }
        SetShape(object, nrows, ncolumns, datatype, objecttype);
        if (data) {
            object->data = data;
            object->dataStart = data;
        }
        object->derivedFlag = 1;
        return object;
    });
}

ORVIK_API Ogda_BaseData *ogda_BaseDataReDerive(const Ogda_BaseData *source, Ogda_BaseData *view,
                                               int32_t rOffset, int32_t cOffset, int32_t nRows,
                                               int32_t nColumns, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT {
    static const wchar_t *const fn = L"ogda_BaseDataReDerive";
    if (err) *err = nullptr;
    return Guarded<Ogda_BaseData *>(err, fn, view, [&]() -> Ogda_BaseData * {
        if (!source) {
            SetError(err, fn, kReDeriveNoSource, nullptr, L"Null srcBaseData");
            return view;
        }
        if (nRows < 1 || nColumns < 1) {
            SetError(err, fn, kReDeriveBadShape, nullptr, L"Bad nRows or nColumns");
            return view;
        }
        if (rOffset < 0 || cOffset < 0) {
            SetError(err, fn, kReDeriveBadOffset, nullptr, L"Bad rOffset or cOffset");
            return view;
        }
        if (int64_t{rOffset} + nRows > source->numrows ||
            int64_t{cOffset} + nColumns > source->numcolumns) {
            SetError(err, fn, kReDeriveTooSmall, nullptr, L"srcBaseData is too small");
            return view;
        }
        Ogda_BaseData *v = view;
        if (!v) {
            v = static_cast<Ogda_BaseData *>(omsc_HeapMalloc(sizeof(Ogda_BaseData)));
            if (!v) {
                SetOutOfMemory(err, fn, nullptr, L"No memory");
                return view;
            }
        }
        // Read everything from the source first: view and source may be the same record.
        const Ogda_BaseData src = *source;
        v->numrows = nRows;
        v->numcolumns = nColumns;
        v->numelements = nRows * nColumns;
        v->datatype = src.datatype;
        v->objecttype = src.objecttype;
        v->numbytes = src.numbytes;
        v->lineBytes = src.lineBytes;
        v->tag = src.tag;
        v->derivedFlag = 1;
        v->data = ElementAt(&src, rOffset, cOffset);
        v->dataStart = v->data;
        return v;
    });
}

ORVIK_API Ogda_BaseData *ogda_BaseDataDerived(const Ogda_BaseData *source, int32_t rOffset,
                                              int32_t cOffset, int32_t nRows, int32_t nColumns,
                                              Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    static const wchar_t *const fn = L"ogda_BaseDataDerived";
    if (err) *err = nullptr;
    Oerr_ErrorReport *inner = nullptr;
    Ogda_BaseData *v =
        ogda_BaseDataReDerive(source, nullptr, rOffset, cOffset, nRows, nColumns, &inner);
    if (inner) {
        SetError(err, fn, kDerivedFailed, inner, L"ogda_BaseDataReDerive failed");
        return nullptr;
    }
    return v;
}

ORVIK_API void ogda_BaseDataDeleteContents(Ogda_BaseData *object, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT {
    if (err) *err = nullptr;
    if (!object || object->derivedFlag) return;
    if (object->datatype == OGDA_STRING && object->data)
        FreeStrings(object->data, object->numelements);
    omsc_HeapFree(object->data);
    object->data = nullptr;
    object->dataStart = nullptr;
}

ORVIK_API void ogda_BaseDataDelete(Ogda_BaseData *object, Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    if (err) *err = nullptr;
    if (!object) return;
    ogda_BaseDataDeleteContents(object, nullptr);
    omsc_HeapFree(object);
}

} // extern "C"
