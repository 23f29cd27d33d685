// Exported object functions: conversion over streams and buffers, allocation, size, free,
// deep copy and item access.
#include <atomic>
#include <cstring>

#include "core/guard.hpp"
#include "mif/object_internal.hpp"
#include "mif/report.hpp"

using orvik::core::Guarded;
using orvik::core::SetError;
using orvik::core::SetOutOfMemory;
using namespace orvik::mif;

namespace {

std::atomic<bool> g_immediateFlush{false};

long ToHost(const wchar_t *fn, Ofio_File *stream, Omif_Buffer *buffer, const Omif_Design *design,
            void *object, bool rewind, Oerr_ErrorReport **err) {
    if (err) *err = nullptr;
    return Guarded<long>(err, fn, 0, [&]() -> long {
        if (!object || !design || !design->items) {
            SetError(err, fn, kConvertBadArgument, nullptr, L"Invalid object or design!");
            return 0;
        }
        if (!stream && !buffer) {
            SetError(err, fn, kConvertNoStream, nullptr, L"No stream or buffer");
            return 0;
        }
        if (buffer && rewind) buffer->cursor = 0;
        ByteSource source(buffer ? nullptr : stream, buffer);
        int64_t bytes = 0;
        if (!RecordToHost(source, design, static_cast<unsigned char *>(object), bytes, 0, err))
            SetError(err, fn, kConvertFailed, err ? *err : nullptr, L"omif_MIFtoObject failed");
        return static_cast<long>(bytes);
    });
}

} // namespace

extern "C" {

ORVIK_API long omif_ConvertToMIF(Ofio_File *stream, const void *object, const Omif_Design *design,
                                 Omif_Buffer *buffer, long baseOffset, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT {
    static const wchar_t *const kFn = L"omif_ConvertToMIF";
    if (err) *err = nullptr;
    return Guarded<long>(err, kFn, 0, [&]() -> long {
        if (!object || !design) {
            SetError(err, kFn, kConvertBadArgument, nullptr, L"Invalid object");
            return 0;
        }
        if (!stream && !buffer) {
            SetError(err, kFn, kConvertNoStream, nullptr, L"No stream or buffer");
            return 0;
        }
        ByteSink sink(buffer ? nullptr : stream, buffer, baseOffset);
        int64_t bytes = 0;
        if (!RecordToFile(sink, design, static_cast<const unsigned char *>(object), bytes, 0,
                          err)) {
            SetError(err, kFn, kConvertFailed, err ? *err : nullptr, L"omif_ObjectToMIF failed");
        } else if (!buffer && g_immediateFlush.load(std::memory_order_relaxed) &&
                   ofio_Flush(stream, err) != 0) {
            SetError(err, kFn, kConvertFlushFailed, err ? *err : nullptr, L"ofio_Flush failed");
        }
        return static_cast<long>(bytes);
    });
}

ORVIK_API long omif_ConvertToHost(Ofio_File *stream, Omif_Buffer *buffer, const Omif_Design *design,
                                  void *object, Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    return ToHost(L"omif_ConvertToHost", stream, buffer, design, object, true, err);
}

ORVIK_API long omif_ConvertToHostX(Ofio_File *stream, Omif_Buffer *buffer,
                                   const Omif_Design *design, void *object, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT {
    return ToHost(L"omif_ConvertToHostX", stream, buffer, design, object, false, err);
}

ORVIK_API void omif_StreamImmediateFlushEnable(void) ORVIK_NOEXCEPT {
    g_immediateFlush.store(true);
}
ORVIK_API void omif_StreamImmediateFlushDisable(void) ORVIK_NOEXCEPT {
    g_immediateFlush.store(false);
}

ORVIK_API void *omif_ObjectAllocate(const Omif_Design *design, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT {
    if (err) *err = nullptr;
    if (!design || design->hostSize <= 0) return nullptr;
    void *object = omsc_HeapMalloc(design->hostSize);
    if (!object) SetError(err, L"omif_ObjectAllocate", kAllocateNoMemory, nullptr, L"No memory");
    return object;
}

ORVIK_API void *omif_NewObject(const Omif_Design *design, Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    Oerr_ErrorReport *inner = nullptr;
    void *object = omif_ObjectAllocate(design, &inner);
    if (err) *err = nullptr;
    if (inner)
        SetError(err, L"omif_NewObject", kNewObjectFailed, inner, L"omif_NewObject failure!");
    return object;
}

ORVIK_API long omif_ObjectSize(const void *object, const Omif_Design *design,
                               Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    static const wchar_t *const kFn = L"omif_ObjectSize";
    if (err) *err = nullptr;
    if (!design) {
        SetError(err, kFn, kObjectNoDesign, nullptr, L"Missing design");
        return -1;
    }
    int64_t size = 0;
    if (!RecordFileSize(design, static_cast<const unsigned char *>(object), size, 0, err))
        return -1;
    return static_cast<long>(size);
}

ORVIK_API long omif_ObjectItemsFree(void *object, const Omif_Design *design, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT {
    if (err) *err = nullptr;
    if (!object) return 0;
    if (!design) {
        SetError(err, L"omif_ObjectItemsFree", kObjectNoDesign, nullptr, L"Missing design");
        return -1;
    }
    FreeRecordItems(design, static_cast<unsigned char *>(object), 0);
    return 0;
}

ORVIK_API long omif_ObjectFree(void *object, const Omif_Design *design, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT {
    if (omif_ObjectItemsFree(object, design, err) != 0) {
        SetError(err, L"omif_ObjectFree", kFreeFailed, err ? *err : nullptr,
                 L"omif_ObjectItemsFree failed");
        return -1;
    }
    omsc_HeapFree(object);
    return 0;
}

ORVIK_API long omif_FreeObject(void *object, const Omif_Design *design, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT {
    if (omif_ObjectFree(object, design, err) == 0) return 0;
    SetError(err, L"omif_FreeObject", kFreeFailed, err ? *err : nullptr, L"omif_FreeObject failed");
    return -1;
}

ORVIK_API void *omif_ObjectCopy(const Omif_Design *design, void **dstObjectPP,
                                void *const *srcObjectPP, Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    static const wchar_t *const kFn = L"omif_ObjectCopy";
    if (err) *err = nullptr;
    return Guarded<void *>(err, kFn, nullptr, [&]() -> void * {
        if (!design) {
            SetError(err, kFn, kObjectNoDesign, nullptr, L"Missing design.");
            return nullptr;
        }
        if (!dstObjectPP) {
            SetError(err, kFn, kCopyBadDestination, nullptr, L"Bad dstObjectPP.");
            return nullptr;
        }
        if (!srcObjectPP || !*srcObjectPP) {
            SetError(err, kFn, kCopyBadSource, nullptr, L"Bad srcObjectPP.");
            return nullptr;
        }
        if (*dstObjectPP == *srcObjectPP) return *dstObjectPP;
        const bool fresh = *dstObjectPP == nullptr;
        if (fresh) {
            Oerr_ErrorReport *inner = nullptr;
            *dstObjectPP = omif_ObjectAllocate(design, &inner);
            if (!*dstObjectPP) {
                if (!inner) return nullptr; // a design of no size: nothing to copy
                SetOutOfMemory(err, kFn, inner);
                return nullptr;
            }
        } else {
            FreeRecordItems(design, static_cast<unsigned char *>(*dstObjectPP), 0);
        }
        auto *dst = static_cast<unsigned char *>(*dstObjectPP);
        const auto *src = static_cast<const unsigned char *>(*srcObjectPP);
        if (!CopyRecordItems(design, dst, src, 0, err)) {
            SetError(err, kFn, kCopyItemsFailed, err ? *err : nullptr,
                     L"omif_ObjectItemsCopy failed");
            if (fresh) {
                FreeRecordItems(design, dst, 0);
                omsc_HeapFree(dst);
                *dstObjectPP = nullptr;
            }
            return nullptr;
        }
        return dst;
    });
}

ORVIK_API void *omif_ObjectItemValueGet(const void *object, const Omif_Design *design,
                                        const wchar_t *itemName, void *destination,
                                        Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    static const wchar_t *const kFn = L"omif_ObjectItemValueGet";
    if (err) *err = nullptr;
    return Guarded<void *>(err, kFn, nullptr, [&]() -> void * {
        if (!object || !design || !itemName || !destination) {
            SetError(err, kFn, kItemValueArgs, nullptr, L"Args!");
            return nullptr;
        }
        const Omif_Item *item = FindItem(design, itemName);
        if (!item) return nullptr;
        auto *dst = static_cast<unsigned char *>(destination);
        std::memset(dst, 0, static_cast<std::size_t>(item->hostSize));
        if (!CopyItemValue(item, dst, static_cast<const unsigned char *>(object) + item->offset, 0,
                           err)) {
            SetError(err, kFn, kItemValueCopyFailed, err ? *err : nullptr, L"ObjectItemCopy fail");
            return nullptr;
        }
        return destination;
    });
}

ORVIK_API void *omif_ObjectItemValueSet(void *object, const Omif_Design *design,
                                        const wchar_t *itemName, const void *source,
                                        Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    static const wchar_t *const kFn = L"omif_ObjectItemValueSet";
    if (err) *err = nullptr;
    return Guarded<void *>(err, kFn, nullptr, [&]() -> void * {
        if (!object || !design || !itemName || !source) {
            SetError(err, kFn, kItemValueArgs, nullptr, L"Args!");
            return nullptr;
        }
        const Omif_Item *item = FindItem(design, itemName);
        if (!item) return nullptr;
        unsigned char *at = static_cast<unsigned char *>(object) + item->offset;
        FreeItemValue(item, at, 0);
        if (!CopyItemValue(item, at, static_cast<const unsigned char *>(source), 0, err)) {
            SetError(err, kFn, kItemValueCopyFailed, err ? *err : nullptr, L"ObjectItemCopy fail");
            return nullptr;
        }
        return object;
    });
}

} // extern "C"
