// Arrays of stacks: each operation applies the stack operation to every member.
#include <orvik/ogda.h>

#include "core/guard.hpp"
#include "gda/report.hpp"

using orvik::core::Guarded;
using orvik::core::SetError;
using orvik::core::SetOutOfMemory;
using namespace orvik::gda;

namespace {

Ogda_BaseDataStackArray *NewArray(int32_t count) {
    if (count < 0 || int64_t{count} * int64_t{sizeof(void *)} > INT32_MAX) return nullptr;
    auto *a =
        static_cast<Ogda_BaseDataStackArray *>(omsc_HeapMalloc(sizeof(Ogda_BaseDataStackArray)));
    if (!a) return nullptr;
    if (count > 0) {
        a->stacks = static_cast<Ogda_BaseDataStack **>(
            omsc_HeapMalloc(static_cast<int32_t>(count * sizeof(Ogda_BaseDataStack *))));
        if (!a->stacks) {
            omsc_HeapFree(a);
            return nullptr;
        }
    }
    a->count = count;
    return a;
}

bool Usable(const Ogda_BaseDataStackArray *a) { return a && (a->count == 0 || a->stacks); }

} // namespace

extern "C" {

ORVIK_API Ogda_BaseDataStackArray *
ogda_BaseDataStackArrayCreate(int32_t count, int32_t nlayers, int32_t nrows, int32_t ncolumns,
                              Ogda_PixelType datatype, Ogda_ObjectType objecttype,
                              Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    static const wchar_t *const fn = L"ogda_BaseDataStackArrayCreate";
    if (err) *err = nullptr;
    return Guarded<Ogda_BaseDataStackArray *>(err, fn, nullptr, [&]() -> Ogda_BaseDataStackArray * {
        if (count < 0) {
            SetError(err, fn, kStackArrayArgs, nullptr, L"Args");
            return nullptr;
        }
        Ogda_BaseDataStackArray *a = NewArray(count);
        if (!a) {
            SetOutOfMemory(err, fn, nullptr);
            return nullptr;
        }
        for (int32_t i = 0; i < count; ++i) {
            Oerr_ErrorReport *inner = nullptr;
            a->stacks[i] =
                ogda_BaseDataStackCreate(nlayers, nrows, ncolumns, datatype, objecttype, &inner);
            if (!a->stacks[i]) {
                ogda_BaseDataStackArrayDelete(a, nullptr);
                SetError(err, fn, kStackArrayCallFailed, inner, L"ogda_BaseDataStackCreate failed");
                return nullptr;
            }
        }
        return a;
    });
}

ORVIK_API Ogda_BaseDataStackArray *ogda_BaseDataStackArrayCopy(const Ogda_BaseDataStackArray *src,
                                                               Ogda_BaseDataStackArray *dst,
                                                               Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT {
    static const wchar_t *const fn = L"ogda_BaseDataStackArrayCopy";
    if (err) *err = nullptr;
    return Guarded<Ogda_BaseDataStackArray *>(err, fn, nullptr, [&]() -> Ogda_BaseDataStackArray * {
        if (!Usable(src)) {
            SetError(err, fn, kStackArrayArgs, nullptr, L"Null source stack array");
            return nullptr;
        }
        Ogda_BaseDataStackArray *out = dst;
        if (!out) {
            out = NewArray(src->count);
            if (!out) {
                SetOutOfMemory(err, fn, nullptr);
                return nullptr;
            }
        } else if (!Usable(out) || out->count != src->count) {
            SetError(err, fn, kStackArrayCountMismatch, nullptr,
                     L"Stack count mismatch: %ld and %ld", static_cast<long>(src->count),
                     static_cast<long>(out->count));
            return nullptr;
        }
        for (int32_t i = 0; i < src->count; ++i) {
            Oerr_ErrorReport *inner = nullptr;
            Ogda_BaseDataStack *s = ogda_BaseDataStackCopy(src->stacks[i], out->stacks[i], &inner);
            if (!s) {
                if (!dst) ogda_BaseDataStackArrayDelete(out, nullptr);
                SetError(err, fn, kStackArrayCopyFailed, inner, L"ogda_BaseDataStackCopy failed");
                return nullptr;
            }
            out->stacks[i] = s;
        }
        return out;
    });
}

ORVIK_API void ogda_BaseDataStackArrayDelete(Ogda_BaseDataStackArray *array, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT {
    if (err) *err = nullptr;
    if (!array) return;
    if (!array->stacksShared && array->stacks) {
        for (int32_t i = 0; i < array->count; ++i)
            ogda_BaseDataStackDelete(array->stacks[i], nullptr);
    }
    omsc_HeapFree(array->stacks);
    omsc_HeapFree(array);
}

ORVIK_API Ogda_BaseDataStackArray *
ogda_BaseDataStackArrayDerived(const Ogda_BaseDataStackArray *src, int32_t rOffset, int32_t cOffset,
                               int32_t nRows, int32_t nColumns, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT {
    static const wchar_t *const fn = L"ogda_BaseDataStackArrayDerived";
    if (err) *err = nullptr;
    return Guarded<Ogda_BaseDataStackArray *>(err, fn, nullptr, [&]() -> Ogda_BaseDataStackArray * {
        if (!Usable(src)) {
            SetError(err, fn, kStackArrayArgs, nullptr, L"Null source stack array");
            return nullptr;
        }
        Ogda_BaseDataStackArray *out = NewArray(src->count);
        if (!out) {
            SetOutOfMemory(err, fn, nullptr);
            return nullptr;
        }
        for (int32_t i = 0; i < src->count; ++i) {
            Oerr_ErrorReport *inner = nullptr;
            out->stacks[i] = ogda_BaseDataStackDerived(src->stacks[i], rOffset, cOffset, nRows,
                                                       nColumns, &inner);
            if (!out->stacks[i]) {
                ogda_BaseDataStackArrayDelete(out, nullptr);
                SetError(err, fn, kStackArrayCallFailed, inner,
                         L"ogda_BaseDataStackDerived failed");
                return nullptr;
            }
        }
        return out;
    });
}

ORVIK_API Ogda_BaseDataStackArray *ogda_BaseDataStackArraySetScalar(Ogda_BaseDataStackArray *array,
                                                                    const void *value,
                                                                    Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT {
    static const wchar_t *const fn = L"ogda_BaseDataStackArraySetScalar";
    if (err) *err = nullptr;
    if (!Usable(array)) {
        SetError(err, fn, kStackArrayArgs, nullptr, L"Null stack array");
        return nullptr;
    }
    for (int32_t i = 0; i < array->count; ++i) {
        Oerr_ErrorReport *inner = nullptr;
        if (!ogda_BaseDataStackSetScalar(array->stacks[i], value, &inner)) {
            SetError(err, fn, kStackArrayCallFailed, inner, L"ogda_BaseDataStackSetScalar failed");
            return nullptr;
        }
    }
    return array;
}

} // extern "C"
