// The standard small records: MIF strings, counted byte blocks and wrapped MIF objects, with
// their built-in designs and the conversion of any record to and from them.
#include <cstring>
#include <string>

#include "core/guard.hpp"
#include "core/heap_text.hpp"
#include "core/utf8.hpp"
#include "mif/report.hpp"
#include <orvik/omif.h>

using orvik::core::Guarded;
using orvik::core::SetError;
using orvik::core::SetOutOfMemory;
using namespace orvik::mif;

namespace {

const Omif_ItemDescription kStringItems[] = {
    OMIF_FIELD_COUNTED(OMIF_ITEM_CHAR, L"string"),
    OMIF_TABLE_END,
};
const Omif_ItemDescription kPtrItems[] = {
    OMIF_FIELD_COUNTED(OMIF_ITEM_UCHAR, L"data"),
    OMIF_TABLE_END,
};
const Omif_ItemDescription kMIFObjectItems[] = {
    OMIF_FIELD_OBJECT(L"typeName", 1, L"PTR"),
    OMIF_FIELD_OBJECT(L"dictionary", 1, L"PTR"),
    OMIF_FIELD_OBJECT(L"data", 1, L"PTR"),
    OMIF_TABLE_END,
};
const Omif_DesignTable kStandardDesigns[] = {
    {L"Omif_String_Design", kStringItems},
    {L"PTR", kPtrItems},
    {L"Omif_MIFObject_Design", kMIFObjectItems},
    {nullptr, nullptr},
};
Omif_BuiltinDesigns g_standard = OMIF_BUILTIN_DESIGNS(kStandardDesigns, nullptr);

// A counted block of `text` and its terminator; false when memory is exhausted.
bool TerminatedBlock(const std::string &text, int32_t &count, void *&data) {
    data = omsc_HeapMalloc(static_cast<int32_t>(text.size() + 1));
    if (!data) return false;
    std::memcpy(data, text.data(), text.size());
    count = static_cast<int32_t>(text.size() + 1);
    return true;
}

// The text of a terminated counted block (up to the first zero byte within the count).
std::string BlockText(const Omif_PTR &block) {
    if (block.count <= 0 || !block.data) return {};
    const auto *data = reinterpret_cast<const char *>(block.data);
    return std::string(data, strnlen(data, static_cast<std::size_t>(block.count)));
}

} // namespace

extern "C" {

ORVIK_API const Omif_Design *omif_StandardDesignFetch(const wchar_t *name, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT {
    const Omif_Design *design = omif_BuiltinDesignFetch(&g_standard, name, err);
    if (!design)
        SetError(err, L"omif_StandardDesignFetch", kStandardFetchFailed, err ? *err : nullptr,
                 L"omif_BuiltinDesignFetch failed");
    return design;
}

ORVIK_API long omif_OmifStringFromString(Omif_String *dst, const wchar_t *text,
                                         Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    static const wchar_t *const kFn = L"omif_OmifStringFromString";
    if (err) *err = nullptr;
    return Guarded<long>(err, kFn, -1, [&]() -> long {
        if (!dst) {
            SetError(err, kFn, kStandardArgs, nullptr, L"Args");
            return -1;
        }
        dst->count = 0;
        dst->string = nullptr;
        if (!text || !*text) return 0;
        std::string narrow;
        if (!orvik::text::WideToUtf8(text, narrow).ok) {
            SetError(err, kFn, kStringUnconvertible, nullptr, L"Text cannot be converted to UTF-8");
            return -1;
        }
        void *data = nullptr;
        if (!TerminatedBlock(narrow, dst->count, data)) {
            SetOutOfMemory(err, kFn);
            return -1;
        }
        dst->string = static_cast<char *>(data);
        return 0;
    });
}

ORVIK_API wchar_t *omif_OmifStringToString(const Omif_String *src, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT {
    static const wchar_t *const kFn = L"omif_OmifStringToString";
    if (err) *err = nullptr;
    return Guarded<wchar_t *>(err, kFn, nullptr, [&]() -> wchar_t * {
        if (!src) {
            SetError(err, kFn, kStandardArgs, nullptr, L"Args");
            return nullptr;
        }
        if (src->count <= 0 || !src->string) return nullptr;
        const Omif_PTR view{src->count, reinterpret_cast<unsigned char *>(src->string)};
        std::wstring wide;
        if (!orvik::text::Utf8ToWide(BlockText(view), wide).ok) {
            SetError(err, kFn, kStringUnconvertible, nullptr, L"Text is not valid UTF-8");
            return nullptr;
        }
        wchar_t *result = orvik::core::HeapDup(std::wstring_view(wide));
        if (!result) SetOutOfMemory(err, kFn);
        return result;
    });
}

ORVIK_API long omif_OmifStringFromOmifString(Omif_String *dst, const Omif_String *src,
                                             Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    static const wchar_t *const kFn = L"omif_OmifStringFromOmifString";
    if (err) *err = nullptr;
    if (!dst) {
        SetError(err, kFn, kStandardArgs, nullptr, L"Args");
        return -1;
    }
    dst->count = 0;
    dst->string = nullptr;
    if (!src || src->count <= 0 || !src->string) return 0;
    dst->string = static_cast<char *>(omsc_HeapMalloc(src->count));
    if (!dst->string) {
        SetOutOfMemory(err, kFn);
        return -1;
    }
    std::memcpy(dst->string, src->string, static_cast<std::size_t>(src->count));
    dst->count = src->count;
    return 0;
}

ORVIK_API long omif_PTRCopyContents(Omif_PTR *dst, const Omif_PTR *src, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT {
    static const wchar_t *const kFn = L"omif_PTRCopyContents";
    if (err) *err = nullptr;
    if (!dst || !src) {
        SetError(err, kFn, kStandardArgs, nullptr, L"Args");
        return -1;
    }
    if (src->count == 0 && !src->data) {
        dst->count = 0;
        dst->data = nullptr;
        return 0;
    }
    if (src->count <= 0 || !src->data) {
        SetError(err, kFn, kPtrTrouble, nullptr, L"Trouble");
        return -1;
    }
    auto *data = static_cast<unsigned char *>(omsc_HeapMalloc(src->count));
    if (!data) {
        SetError(err, kFn, kPtrNoMemory, nullptr, L"omsc_New failed");
        return -1;
    }
    std::memcpy(data, src->data, static_cast<std::size_t>(src->count));
    dst->count = src->count;
    dst->data = data;
    return 0;
}

ORVIK_API void omif_PTRFreeContents(Omif_PTR *block) ORVIK_NOEXCEPT {
    if (!block) return;
    omsc_HeapFree(block->data);
    block->data = nullptr;
    block->count = 0;
}

ORVIK_API void omif_PTRTransferContents(Omif_PTR *dst, Omif_PTR *src) ORVIK_NOEXCEPT {
    if (!dst || !src || dst == src) return;
    omif_PTRFreeContents(dst);
    *dst = *src;
    src->count = 0;
    src->data = nullptr;
}

ORVIK_API Omsc_Boolean omif_PTRIsSame(const Omif_PTR *a, const Omif_PTR *b) ORVIK_NOEXCEPT {
    if (!a || !b) return a == b ? OMSC_TRUE : OMSC_FALSE;
    if (a->count != b->count || !a->data != !b->data) return OMSC_FALSE;
    if (a->count > 0 && a->data &&
        std::memcmp(a->data, b->data, static_cast<std::size_t>(a->count)) != 0)
        return OMSC_FALSE;
    return OMSC_TRUE;
}

ORVIK_API long omif_MIFObjectCopyContents(Omif_MIFObject *dst, const Omif_MIFObject *src,
                                          Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    static const wchar_t *const kFn = L"omif_MIFObjectCopyContents";
    if (err) *err = nullptr;
    if (!dst || !src) {
        SetError(err, kFn, kStandardArgs, nullptr, L"Args");
        return -1;
    }
    Omif_MIFObject copy{};
    const Omif_PTR *from[] = {&src->typeName, &src->dictionary, &src->data};
    Omif_PTR *to[] = {&copy.typeName, &copy.dictionary, &copy.data};
    for (int i = 0; i < 3; ++i) {
        if (omif_PTRCopyContents(to[i], from[i], err) != 0) {
            omif_MIFObjectFreeContents(&copy);
            SetError(err, kFn, kMIFObjectCopyFailed, err ? *err : nullptr,
                     L"omif_PTRCopyContents failed");
            return -1;
        }
    }
    *dst = copy;
    return 0;
}

ORVIK_API void omif_MIFObjectFreeContents(Omif_MIFObject *object) ORVIK_NOEXCEPT {
    if (!object) return;
    omif_PTRFreeContents(&object->typeName);
    omif_PTRFreeContents(&object->dictionary);
    omif_PTRFreeContents(&object->data);
}

ORVIK_API void omif_MIFObjectTransferContents(Omif_MIFObject *dst, Omif_MIFObject *src)
    ORVIK_NOEXCEPT {
    if (!dst || !src) return;
    omif_PTRTransferContents(&dst->typeName, &src->typeName);
    omif_PTRTransferContents(&dst->dictionary, &src->dictionary);
    omif_PTRTransferContents(&dst->data, &src->data);
}

ORVIK_API Omsc_Boolean omif_MIFObjectIsSame(const Omif_MIFObject *a, const Omif_MIFObject *b)
    ORVIK_NOEXCEPT {
    if (!a || !b) return a == b ? OMSC_TRUE : OMSC_FALSE;
    return omif_PTRIsSame(&a->typeName, &b->typeName) &&
                   omif_PTRIsSame(&a->dictionary, &b->dictionary) &&
                   omif_PTRIsSame(&a->data, &b->data)
               ? OMSC_TRUE
               : OMSC_FALSE;
}

ORVIK_API void omif_MIFObjectFree(Omif_MIFObject *object) ORVIK_NOEXCEPT {
    omif_MIFObjectFreeContents(object);
    omsc_HeapFree(object);
}

ORVIK_API long omif_MIFableObjectConvertToMIF(const void *object, const Omif_Design *design,
                                              Omif_PTR *block, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT {
    static const wchar_t *const kFn = L"omif_MIFableObjectConvertToMIF";
    if (err) *err = nullptr;
    if (!object || !design || !block) {
        SetError(err, kFn, kStandardArgs, nullptr, L"Args");
        return -1;
    }
    Oerr_ErrorReport *inner = nullptr;
    const long size = omif_ObjectSize(object, design, &inner);
    if (size < 0 || size > INT32_MAX) {
        SetError(err, kFn, kToMIFSizeFailed, inner, L"omif_ObjectSize failed");
        return -1;
    }
    auto *data = static_cast<unsigned char *>(omsc_HeapMalloc(static_cast<int32_t>(size)));
    if (size > 0 && !data) {
        SetOutOfMemory(err, kFn);
        return -1;
    }
    Omif_Buffer buffer{data, size, 0, 0};
    omif_ConvertToMIF(nullptr, object, design, &buffer, 0, &inner);
    if (inner) {
        omsc_HeapFree(data);
        SetError(err, kFn, kToMIFConvertFailed, inner, L"omif_ConvertToMIF failed");
        return -1;
    }
    block->count = static_cast<int32_t>(size);
    block->data = data;
    return size;
}

ORVIK_API long omif_MIFableObjectConvertFromMIF(const Omif_PTR *block, const Omif_Design *design,
                                                void *object, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT {
    static const wchar_t *const kFn = L"omif_MIFableObjectConvertFromMIF";
    if (err) *err = nullptr;
    if (!block || !design || !object || block->count < 0 || (block->count > 0 && !block->data)) {
        SetError(err, kFn, kStandardArgs, nullptr, L"Args");
        return -1;
    }
    Omif_Buffer buffer{block->data, block->count, 0, 0};
    Oerr_ErrorReport *inner = nullptr;
    const long read = omif_ConvertToHost(nullptr, &buffer, design, object, &inner);
    if (inner) {
        SetError(err, kFn, kFromMIFConvertFailed, inner, L"omif_ConvertToHost failed");
        return -1;
    }
    if (read != block->count) {
        SetError(err, kFn, kFromMIFTrailingBytes, nullptr,
                 L"The block holds %ld bytes after the record",
                 static_cast<long>(block->count - read));
        return -1;
    }
    return read;
}

ORVIK_API long omif_MIFableObjectConvertToMIFObject(const void *object, const Omif_Design *design,
                                                    Omif_MIFObject *dst, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT {
    static const wchar_t *const kFn = L"omif_MIFableObjectConvertToMIFObject";
    if (err) *err = nullptr;
    return Guarded<long>(err, kFn, -1, [&]() -> long {
        if (!object || !design || !dst || !design->name) {
            SetError(err, kFn, kStandardArgs, nullptr, L"Args");
            return -1;
        }
        Omif_MIFObject result{};
        auto fail = [&](long number, const wchar_t *message) {
            omif_MIFObjectFreeContents(&result);
            SetError(err, kFn, number, err ? *err : nullptr, L"%s", message);
            return -1L;
        };
        auto outOfMemory = [&] {
            omif_MIFObjectFreeContents(&result);
            SetOutOfMemory(err, kFn);
            return -1L;
        };
        std::string name;
        if (!orvik::text::WideToUtf8(design->name, name).ok)
            return fail(kToMIFObjectUnconvertibleName, L"Design name cannot be converted");
        void *block = nullptr;
        if (!TerminatedBlock(name, result.typeName.count, block)) return outOfMemory();
        result.typeName.data = static_cast<unsigned char *>(block);

        Omif_Dictionary *dictionary = omif_DictionaryCreate(err);
        if (!dictionary) return fail(kToMIFObjectDictionaryFailed, L"omif_DictionaryCreate failed");
        wchar_t *text = nullptr;
        if (omif_DictionaryAddDesign(dictionary, design, err))
            text = omif_DictionaryEncodeToString(dictionary, err);
        omif_DictionaryDestroy(dictionary, nullptr);
        if (!text) return fail(kToMIFObjectEncodingFailed, L"Dictionary encoding failed");
        std::string narrow;
        const bool converted = orvik::text::WideToUtf8(text, narrow).ok;
        omsc_HeapFree(text);
        if (!converted) return fail(kToMIFObjectEncodingFailed, L"Dictionary encoding failed");
        if (!TerminatedBlock(narrow, result.dictionary.count, block)) return outOfMemory();
        result.dictionary.data = static_cast<unsigned char *>(block);

        if (omif_MIFableObjectConvertToMIF(object, design, &result.data, err) < 0)
            return fail(kToMIFObjectConvertFailed, L"omif_MIFableObjectConvertToMIF failed");
        *dst = result;
        return static_cast<long>(result.data.count);
    });
}

ORVIK_API long omif_MIFableObjectConvertFromMIFObject(const Omif_MIFObject *src,
                                                      const Omif_Design *design, void *object,
                                                      Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    static const wchar_t *const kFn = L"omif_MIFableObjectConvertFromMIFObject";
    if (err) *err = nullptr;
    return Guarded<long>(err, kFn, -1, [&]() -> long {
        if (!src || !design || !object || !design->name) {
            SetError(err, kFn, kStandardArgs, nullptr, L"Args");
            return -1;
        }
        std::string name;
        if (!orvik::text::WideToUtf8(design->name, name).ok || name != BlockText(src->typeName)) {
            SetError(err, kFn, kFromMIFObjectDesignMismatch, nullptr, L"Design mismatch");
            return -1;
        }
        const long read = omif_MIFableObjectConvertFromMIF(&src->data, design, object, err);
        if (read < 0)
            SetError(err, kFn, kFromMIFObjectConvertFailed, err ? *err : nullptr,
                     L"omif_MIFableObjectConvertFromMIF failed");
        return read;
    });
}

} // extern "C"
