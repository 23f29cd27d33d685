// Stacks whose layers lie in one block, and the size arithmetic of such a block: each layer
// takes its allocation size rounded up to 8 bytes, so every layer starts 8-byte aligned.
#include <climits>

#include <orvik/ogda.h>

#include "core/guard.hpp"
#include "gda/layout.hpp"
#include "gda/stack_record.hpp"
#include "gda/report.hpp"

using orvik::core::Guarded;
using orvik::core::SetError;
using namespace orvik::gda;

namespace {

// The stride of one layer, or -1 for arguments that describe no valid contiguous stack.
int64_t StrideOf(int32_t count, int32_t nrows, int32_t ncolumns, Ogda_PixelType datatype,
                 Ogda_ObjectType objecttype) {
    if (count < 1 || nrows < 1 || ncolumns < 1 || !IsPixelType(datatype) ||
        !IsObjectType(objecttype))
        return -1;
    const int64_t stride = LayerStride(BytesPerPixel(datatype), objecttype, nrows, ncolumns);
    if (stride * count > INT32_MAX || int64_t{nrows} * ncolumns > INT32_MAX) return -1;
    return stride;
}

} // namespace

extern "C" {

ORVIK_API int32_t ogda_BaseDataStackDataSize(int32_t count, int32_t nrows, int32_t ncolumns,
                                             Ogda_PixelType datatype, Ogda_ObjectType objecttype,
                                             Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    if (err) *err = nullptr;
    const int64_t stride = StrideOf(count, nrows, ncolumns, datatype, objecttype);
    if (stride < 0) {
        SetError(err, L"ogda_BaseDataStackDataSize", kContiguousArgs, nullptr, L"Args");
        return 0;
    }
    return static_cast<int32_t>(stride * count);
}

ORVIK_API int32_t ogda_BaseDataStackMaxElements(int32_t bytes, int32_t count,
                                                Ogda_PixelType datatype, Ogda_ObjectType objecttype,
                                                Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    if (err) *err = nullptr;
    if (bytes < 0 || count < 1 || !IsPixelType(datatype) || !IsObjectType(objecttype)) {
        SetError(err, L"ogda_BaseDataStackMaxElements", kContiguousArgs, nullptr, L"Args");
        return 0;
    }
    return (bytes / count / 8 * 8) / BytesPerPixel(datatype);
}

ORVIK_API Ogda_BaseDataStack *
ogda_BaseDataStackCreateContiguous(int32_t count, int32_t nrows, int32_t ncolumns,
                                   Ogda_PixelType datatype, Ogda_ObjectType objecttype, void *block,
                                   Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    static const wchar_t *const fn = L"ogda_BaseDataStackCreateContiguous";
    if (err) *err = nullptr;
    return Guarded<Ogda_BaseDataStack *>(err, fn, nullptr, [&]() -> Ogda_BaseDataStack * {
        const int64_t stride = StrideOf(count, nrows, ncolumns, datatype, objecttype);
        if (stride < 0) {
            SetError(err, fn, kContiguousArgs, nullptr, L"Args");
            return nullptr;
        }
        const bool ownBlock = block == nullptr;
        if (ownBlock) {
            block = omsc_HeapMalloc(static_cast<int32_t>(stride * count));
            if (!block) {
                SetError(err, fn, kContiguousNoMemory, nullptr, L"No memory");
                return nullptr;
            }
        }
        Ogda_BaseDataStack *s = NewStack(count, 0);
        if (!s) {
            if (ownBlock) omsc_HeapFree(block);
            SetError(err, fn, kContiguousNoMemory, nullptr, L"No memory");
            return nullptr;
        }
        s->ownsBlock = ownBlock ? 1 : 0;
        for (int32_t i = 0; i < count; ++i) {
            Oerr_ErrorReport *inner = nullptr;
            s->layers[i] =
                ogda_BaseDataCreate(nrows, ncolumns, datatype, objecttype,
                                    static_cast<unsigned char *>(block) + i * stride, &inner);
            if (!s->layers[i]) {
                // Layer 0 carries the block address that the delete frees.
                if (i == 0 && ownBlock) omsc_HeapFree(block);
                ogda_BaseDataStackDelete(s, nullptr);
                SetError(err, fn, kContiguousLayerFailed, inner, L"ogda_BaseDataCreate failed");
                return nullptr;
            }
        }
        return s;
    });
}

} // extern "C"
