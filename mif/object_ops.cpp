// Freeing and deep copying of host records, item by item.
#include <cstring>
#include <cwchar>
#include <limits>

#include "core/guard.hpp"
#include "core/heap_text.hpp"
#include "mif/object_internal.hpp"
#include "mif/report.hpp"

using orvik::core::SetError;
using namespace orvik::mif;

namespace orvik::mif {
namespace {

constexpr const wchar_t *kItemCopy = L"ObjectItemCopy";

void FreeElements(const Omif_Item *item, unsigned char *elements, int64_t count, int depth) {
    if (!elements || depth > kMaxRecordDepth) return;
    if (IsObjectType(item->type)) {
        for (int64_t i = 0; i < count; ++i)
            FreeRecordItems(item->design, elements + i * item->elementSize, depth + 1);
    } else if (item->type == OMIF_ITEM_BASEDATA) {
        for (int64_t i = 0; i < count; ++i)
            FreeBaseDataBlock(reinterpret_cast<Ogda_BaseData *>(elements + i * item->elementSize));
    }
}

bool NoMemory(Oerr_ErrorReport **err) {
    orvik::core::SetOutOfMemory(err, kItemCopy);
    return false;
}

// A new owning, unpadded copy of src's block (the record fields are copied by the caller).
bool CopyBaseData(Ogda_BaseData *dst, const Ogda_BaseData *src, Oerr_ErrorReport **err) {
    *dst = *src;
    dst->data = dst->dataStart = nullptr;
    dst->derivedFlag = 0;
    if (!src->dataStart || src->numrows <= 0 || src->numcolumns <= 0) return true;
    const bool matrix = src->objecttype == Ogda_Matrix;
    const int64_t lines = matrix ? src->numcolumns : src->numrows;
    const int64_t length = matrix ? src->numrows : src->numcolumns;
    const int64_t lineBytes = length * src->numbytes;
    if (src->numbytes <= 0 || lines * lineBytes > std::numeric_limits<int32_t>::max()) {
        SetError(err, kItemCopy, kItemCopyTooLarge, nullptr,
                 L"BaseData of %ld x %ld pixels cannot be copied", static_cast<long>(src->numrows),
                 static_cast<long>(src->numcolumns));
        return false;
    }
    auto *block =
        static_cast<unsigned char *>(omsc_HeapMalloc(static_cast<int32_t>(lines * lineBytes)));
    if (!block) return NoMemory(err);
    dst->data = dst->dataStart = block;
    dst->lineBytes = static_cast<int32_t>(lineBytes);
    dst->numelements = static_cast<int32_t>(lines * length);
    const auto *from = static_cast<const unsigned char *>(src->dataStart);
    for (int64_t i = 0; i < lines; ++i) {
        unsigned char *to = block + i * lineBytes;
        const unsigned char *line = from + i * src->lineBytes;
        if (src->datatype != OGDA_STRING) {
            std::memcpy(to, line, static_cast<std::size_t>(lineBytes));
            continue;
        }
        for (int64_t k = 0; k < length; ++k) {
            const wchar_t *text;
            std::memcpy(&text, line + k * src->numbytes, sizeof text);
            if (!text) continue;
            wchar_t *copy = core::HeapDup(text);
            if (!copy) return NoMemory(err);
            std::memcpy(to + k * src->numbytes, &copy, sizeof copy);
        }
    }
    return true;
}

bool CopyElements(const Omif_Item *item, unsigned char *dst, const unsigned char *src,
                  int64_t count, int depth, Oerr_ErrorReport **err) {
    if (IsObjectType(item->type)) {
        for (int64_t i = 0; i < count; ++i)
            if (!CopyRecordItems(item->design, dst + i * item->elementSize,
                                 src + i * item->elementSize, depth + 1, err))
                return false;
    } else if (item->type == OMIF_ITEM_BASEDATA) {
        for (int64_t i = 0; i < count; ++i)
            if (!CopyBaseData(reinterpret_cast<Ogda_BaseData *>(dst + i * item->elementSize),
                              reinterpret_cast<const Ogda_BaseData *>(src + i * item->elementSize),
                              err))
                return false;
    } else if (count > 0) {
        std::memcpy(dst, src, static_cast<std::size_t>(count * item->elementSize));
    }
    return true;
}

} // namespace

void FreeBaseDataBlock(Ogda_BaseData *data) {
    if (data->dataStart && !data->derivedFlag) {
        Oerr_ErrorReport *ignored = nullptr;
        data->data = data->dataStart; // delete frees the block through `data`
        ogda_BaseDataDeleteContents(data, &ignored);
        oerr_DeleteErrorReportEx(&ignored);
    }
    data->data = data->dataStart = nullptr;
}

void FreeItemValue(const Omif_Item *item, unsigned char *at, int depth) {
    if (!item->indirect) {
        FreeElements(item, at, item->count, depth);
    } else if (item->pointerKind == OMIF_POINTER_COUNTED) {
        const CountedPointerHost h = LoadCounted(at);
        FreeElements(item, static_cast<unsigned char *>(h.data), h.count, depth);
        omsc_HeapFree(h.data);
        StoreCounted(at, {0, nullptr});
    } else {
        auto *p = static_cast<unsigned char *>(LoadPointer(at));
        FreeElements(item, p, item->count, depth);
        omsc_HeapFree(p);
        StorePointer(at, nullptr);
    }
}

void FreeRecordItems(const Omif_Design *design, unsigned char *record, int depth) {
    for (const Omif_Item *item = design->items; item; item = item->next)
        FreeItemValue(item, record + item->offset, depth);
}

bool CopyItemValue(const Omif_Item *item, unsigned char *dst, const unsigned char *src, int depth,
                   Oerr_ErrorReport **err) {
    if (depth > kMaxRecordDepth) {
        SetError(err, kItemCopy, kItemCopyTooDeep, nullptr,
                 L"Records nested deeper than %ld levels", static_cast<long>(kMaxRecordDepth));
        return false;
    }
    if (!item->indirect) return CopyElements(item, dst, src, item->count, depth, err);
    int64_t count;
    const unsigned char *from;
    if (item->pointerKind == OMIF_POINTER_COUNTED) {
        const CountedPointerHost h = LoadCounted(src);
        from = static_cast<const unsigned char *>(h.data);
        count = from && h.count > 0 ? h.count : 0;
    } else {
        from = static_cast<const unsigned char *>(LoadPointer(src));
        count = from ? item->count : 0;
    }
    if (count == 0 || item->elementSize <= 0) {
        if (item->pointerKind == OMIF_POINTER_COUNTED)
            StoreCounted(dst, {0, nullptr});
        else
            StorePointer(dst, nullptr);
        return true;
    }
    if (count * item->elementSize > std::numeric_limits<int32_t>::max()) return NoMemory(err);
    void *block = omsc_HeapMalloc(static_cast<int32_t>(count * item->elementSize));
    if (!block) return NoMemory(err);
    if (item->pointerKind == OMIF_POINTER_COUNTED)
        StoreCounted(dst, {static_cast<int32_t>(count), block});
    else
        StorePointer(dst, block);
    return CopyElements(item, static_cast<unsigned char *>(block), from, count, depth, err);
}

bool CopyRecordItems(const Omif_Design *design, unsigned char *dst, const unsigned char *src,
                     int depth, Oerr_ErrorReport **err) {
    for (const Omif_Item *item = design->items; item; item = item->next) {
        if (!CopyItemValue(item, dst + item->offset, src + item->offset, depth, err)) {
            SetError(err, L"omif_ObjectItemsCopy", kItemsCopyFailed, err ? *err : nullptr,
                     L"ObjectItemCopy failure");
            return false;
        }
    }
    return true;
}

const Omif_Item *FindItem(const Omif_Design *design, const wchar_t *name) {
    for (const Omif_Item *item = design->items; item; item = item->next)
        if (item->name == name || (item->name && std::wcscmp(item->name, name) == 0)) return item;
    return nullptr;
}

} // namespace orvik::mif
