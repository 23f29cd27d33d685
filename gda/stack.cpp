// Stacks of BaseData layers: creation, copy, views, deletion and whole-stack setting.
#include <cstring>

#include <orvik/ogda.h>

#include "core/guard.hpp"
#include "gda/layout.hpp"
#include "gda/stack_record.hpp"
#include "gda/report.hpp"

using orvik::core::Guarded;
using orvik::core::SetError;
using orvik::core::SetOutOfMemory;
using namespace orvik::gda;

namespace orvik::gda {

Ogda_BaseDataStack *NewStack(int32_t count, int32_t layersShared) {
    auto *s = static_cast<Ogda_BaseDataStack *>(omsc_HeapMalloc(sizeof(Ogda_BaseDataStack)));
    if (!s) return nullptr;
    if (count > 0) {
        s->layers = static_cast<Ogda_BaseData **>(
            omsc_HeapMalloc(static_cast<int32_t>(count * sizeof(Ogda_BaseData *))));
        if (!s->layers) {
            omsc_HeapFree(s);
            return nullptr;
        }
    }
    s->count = count;
    s->layersShared = layersShared;
    return s;
}

} // namespace orvik::gda

namespace {

// Counts whose pointer array cannot be allocated through the heap's 32-bit sizes.
bool CountFits(int32_t count) {
    return count >= 0 && int64_t{count} * int64_t{sizeof(Ogda_BaseData *)} <= INT32_MAX;
}

} // namespace

extern "C" {

ORVIK_API Ogda_BaseDataStack *ogda_BaseDataStackCreate(int32_t count, int32_t nrows,
                                                       int32_t ncolumns, Ogda_PixelType datatype,
                                                       Ogda_ObjectType objecttype,
                                                       Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    static const wchar_t *const fn = L"ogda_BaseDataStackCreate";
    if (err) *err = nullptr;
    return Guarded<Ogda_BaseDataStack *>(err, fn, nullptr, [&]() -> Ogda_BaseDataStack * {
        if (!CountFits(count)) {
            SetError(err, fn, kStackArgs, nullptr, L"Args");
            return nullptr;
        }
        Ogda_BaseDataStack *s = NewStack(count, 0);
        if (!s) {
            SetError(err, fn, kStackNoSpace, nullptr, L"can't allocate space");
            return nullptr;
        }
        for (int32_t i = 0; i < count; ++i) {
            Oerr_ErrorReport *inner = nullptr;
            s->layers[i] =
                ogda_BaseDataCreate(nrows, ncolumns, datatype, objecttype, nullptr, &inner);
            if (!s->layers[i]) {
                ogda_BaseDataStackDelete(s, nullptr);
                SetError(err, fn, kStackLayerFailed, inner, L"ogda_BaseDataCreate failed");
                return nullptr;
            }
        }
        return s;
    });
}

ORVIK_API Ogda_BaseDataStack *ogda_BaseDataStackPtrCreate(int32_t count,
                                                          Ogda_BaseData *const *layers,
                                                          Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    static const wchar_t *const fn = L"ogda_BaseDataStackPtrCreate";
    if (err) *err = nullptr;
    if (!CountFits(count)) {
        SetError(err, fn, kStackPtrArgs, nullptr, L"Args");
        return nullptr;
    }
    Ogda_BaseDataStack *s = NewStack(count, 1);
    if (!s) {
        SetError(err, fn, kStackPtrNoSpace, nullptr, L"can't allocate space");
        return nullptr;
    }
    if (layers && count > 0) std::memcpy(s->layers, layers, count * sizeof *layers);
    return s;
}

ORVIK_API Omsc_Boolean ogda_BaseDataStackIsContiguous(const Ogda_BaseDataStack *stack)
    ORVIK_NOEXCEPT {
    if (!stack || stack->count < 1 || !stack->layers || !stack->layers[0]) return OMSC_FALSE;
    if (stack->count == 1) return OMSC_TRUE;
    const Ogda_BaseData *first = stack->layers[0];
    if (!stack->layers[1]) return OMSC_FALSE;
    const auto base = reinterpret_cast<intptr_t>(first->dataStart);
    const intptr_t step = reinterpret_cast<intptr_t>(stack->layers[1]->dataStart) - base;
    for (int32_t i = 1; i < stack->count; ++i) {
        const Ogda_BaseData *l = stack->layers[i];
        if (!l || l->datatype != first->datatype || l->objecttype != first->objecttype ||
            l->lineBytes != first->lineBytes || l->numrows != first->numrows ||
            l->numcolumns != first->numcolumns ||
            reinterpret_cast<intptr_t>(l->dataStart) -
                    reinterpret_cast<intptr_t>(stack->layers[i - 1]->dataStart) !=
                step)
            return OMSC_FALSE;
    }
    return OMSC_TRUE;
}

ORVIK_API Ogda_BaseDataStack *ogda_BaseDataStackCopy(const Ogda_BaseDataStack *src,
                                                     Ogda_BaseDataStack *dst,
                                                     Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    static const wchar_t *const fn = L"ogda_BaseDataStackCopy";
    if (err) *err = nullptr;
    return Guarded<Ogda_BaseDataStack *>(err, fn, nullptr, [&]() -> Ogda_BaseDataStack * {
        if (!src || (src->count > 0 && !src->layers)) {
            SetError(err, fn, kStackNoStack, nullptr, L"Null source stack");
            return nullptr;
        }
        Ogda_BaseDataStack *out = dst;
        if (!out) {
            out = NewStack(src->count, 0);
            if (!out) {
                SetOutOfMemory(err, fn, nullptr);
                return nullptr;
            }
        } else if (out->count != src->count || (out->count > 0 && !out->layers)) {
            SetError(err, fn, kStackCountMismatch, nullptr, L"Layer count mismatch: %ld and %ld",
                     static_cast<long>(src->count), static_cast<long>(out->count));
            return nullptr;
        }
        for (int32_t i = 0; i < src->count; ++i) {
            Oerr_ErrorReport *inner = nullptr;
            Ogda_BaseData *layer = ogda_BaseDataCopy(src->layers[i], out->layers[i], &inner);
            if (!layer) {
                if (!dst) ogda_BaseDataStackDelete(out, nullptr);
                SetError(err, fn, kStackCopyLayerFailed, inner, L"ogda_BaseDataCopy failed");
                return nullptr;
            }
            out->layers[i] = layer;
        }
        return out;
    });
}

ORVIK_API void ogda_BaseDataStackDelete(Ogda_BaseDataStack *stack, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT {
    if (err) *err = nullptr;
    if (!stack) return;
    void *block = stack->ownsBlock && stack->count > 0 && stack->layers && stack->layers[0]
                      ? stack->layers[0]->dataStart
                      : nullptr;
    if (!stack->layersShared && stack->layers) {
        for (int32_t i = 0; i < stack->count; ++i) ogda_BaseDataDelete(stack->layers[i], nullptr);
    }
    omsc_HeapFree(block);
    omsc_HeapFree(stack->layers);
    omsc_HeapFree(stack);
}

ORVIK_API Ogda_BaseDataStack *ogda_BaseDataStackDerived(const Ogda_BaseDataStack *src,
                                                        int32_t rOffset, int32_t cOffset,
                                                        int32_t nRows, int32_t nColumns,
                                                        Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    static const wchar_t *const fn = L"ogda_BaseDataStackDerived";
    if (err) *err = nullptr;
    return Guarded<Ogda_BaseDataStack *>(err, fn, nullptr, [&]() -> Ogda_BaseDataStack * {
        if (!src || (src->count > 0 && !src->layers)) {
            SetError(err, fn, kStackNoStack, nullptr, L"Null source stack");
            return nullptr;
        }
        Ogda_BaseDataStack *out = NewStack(src->count, 0);
        if (!out) {
            SetOutOfMemory(err, fn, nullptr);
            return nullptr;
        }
        for (int32_t i = 0; i < src->count; ++i) {
            Oerr_ErrorReport *inner = nullptr;
            out->layers[i] =
                ogda_BaseDataDerived(src->layers[i], rOffset, cOffset, nRows, nColumns, &inner);
            if (!out->layers[i]) {
                ogda_BaseDataStackDelete(out, nullptr);
                SetError(err, fn, kStackLayerCallFailed, inner, L"ogda_BaseDataDerived failed");
                return nullptr;
            }
        }
        return out;
    });
}

ORVIK_API Ogda_BaseDataStack *ogda_BaseDataStackDerivedFromDataLayer(const Ogda_BaseData *layer,
                                                                     Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT {
    static const wchar_t *const fn = L"ogda_BaseDataStackDerivedFromDataLayer";
    if (err) *err = nullptr;
    if (!layer) {
        SetError(err, fn, kStackNoStack, nullptr, L"Null BaseData");
        return nullptr;
    }
    Ogda_BaseDataStack *out = NewStack(1, 0);
    if (!out) {
        SetOutOfMemory(err, fn, nullptr);
        return nullptr;
    }
    Oerr_ErrorReport *inner = nullptr;
    out->layers[0] = ogda_BaseDataDerived(layer, 0, 0, layer->numrows, layer->numcolumns, &inner);
    if (!out->layers[0]) {
        ogda_BaseDataStackDelete(out, nullptr);
        SetError(err, fn, kStackLayerCallFailed, inner, L"ogda_BaseDataDerived failed");
        return nullptr;
    }
    return out;
}

ORVIK_API void ogda_BaseDataStackPrint(const Ogda_BaseDataStack *stack, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT {
    static const wchar_t *const fn = L"ogda_BaseDataStackPrint";
    if (err) *err = nullptr;
    if (!stack || (stack->count > 0 && !stack->layers)) {
        SetError(err, fn, kStackNoStack, nullptr, L"Null stack");
        return;
    }
    std::printf(" ----------------- BaseDataStack ------------------- \n");
    for (int32_t i = 0; i < stack->count; ++i) {
        Oerr_ErrorReport *inner = nullptr;
        ogda_BaseDataPrint(stack->layers[i], &inner);
        if (inner) {
            SetError(err, fn, kStackLayerCallFailed, inner, L"ogda_BaseDataPrint failed");
            return;
        }
    }
}

ORVIK_API Ogda_BaseDataStack *ogda_BaseDataStackSetScalar(Ogda_BaseDataStack *stack,
                                                          const void *value, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT {
    static const wchar_t *const fn = L"ogda_BaseDataStackSetScalar";
    if (err) *err = nullptr;
    if (!stack || (stack->count > 0 && !stack->layers)) {
        SetError(err, fn, kStackNoStack, nullptr, L"Null stack");
        return nullptr;
    }
    for (int32_t i = 0; i < stack->count; ++i) {
        Oerr_ErrorReport *inner = nullptr;
        if (!ogda_BaseDataSetScalar(stack->layers[i], value, OGDA_REGION_ALL, 0, &inner)) {
            SetError(err, fn, kStackLayerCallFailed, inner, L"ogda_BaseDataSetScalar failed");
            return nullptr;
        }
    }
    return stack;
}

ORVIK_API Ogda_BaseDataStack *ogda_BaseDataStackSetZero(Ogda_BaseDataStack *stack,
                                                        Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    static const wchar_t *const fn = L"ogda_BaseDataStackSetZero";
    if (err) *err = nullptr;
    if (!stack || (stack->count > 0 && !stack->layers)) {
        SetError(err, fn, kStackNoStack, nullptr, L"Null stack");
        return nullptr;
    }
    for (int32_t i = 0; i < stack->count; ++i) {
        const Ogda_BaseData *l = stack->layers[i];
        if (!l || !l->dataStart || !IsPixelType(l->datatype)) continue;
        const int32_t lines = LineCount(l), length = LineLength(l);
        for (int32_t n = 0; n < lines; ++n) {
            if (l->datatype == OGDA_STRING) FreeStrings(LineAt(l, n), length);
            std::memset(LineAt(l, n), 0, static_cast<size_t>(length) * l->numbytes);
        }
    }
    return stack;
}

} // extern "C"
