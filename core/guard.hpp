// Internal: the barrier that keeps C++ exceptions inside exported functions, and small
// helpers for writing reports. Header-only; used by every subsystem.
#pragma once

#include <exception>
#include <new>
#include <string>
#include <utility>

#include <orvik/oerr.h>

namespace orvik::core {

// Report numbers of the core module.
enum ReportNumber : long {
    // Thread keys: othr_KeyCreate, othr_KeyCreateWithCallback, othr_KeySetValue
    kKeyBadArgument = 1,
    kKeyUnknown = 1,
    kKeysExhausted = 2,
    // Any exported function an unexpected C++ exception reaches.
    kUnexpectedException = 9999,
};

// Stores a new error record (kind 2) in *err, taking over `previous`. `err` may be null, in
// which case the chain is dropped. Format arguments follow the library's wide convention.
template <class... Args>
inline void SetError(Oerr_ErrorReport **err, const wchar_t *function, long number,
                     Oerr_ErrorReport *previous, const wchar_t *format, Args... args) {
    Oerr_ErrorReport *r =
        oerr_CreateErrorReport(function, number, OERR_KIND_ERROR, previous, format, args...);
    if (err) {
        *err = r;
    } else {
        oerr_DeleteErrorReportEx(&r);
    }
}

inline void SetOutOfMemory(Oerr_ErrorReport **err, const wchar_t *function,
                           Oerr_ErrorReport *previous = nullptr) {
    SetError(err, function, OERR_NUMBER_OUT_OF_MEMORY, previous, L"Out of memory");
}

// As above, for a function whose documented interface names its own out-of-memory text.
inline void SetOutOfMemory(Oerr_ErrorReport **err, const wchar_t *function,
                           Oerr_ErrorReport *previous, const wchar_t *message) {
    SetError(err, function, OERR_NUMBER_OUT_OF_MEMORY, previous, L"%s", message);
}

// Runs `body` and converts any escaping exception into a report on `err` (taking over
// whatever *err already held) and the failure value. std::bad_alloc becomes number 5.
//
// A caller may pass a null `err` to say it does not want reports. Bodies write through
// `*err` freely (taking over a callee's chain), so while the body runs a null `err` is
// pointed at a local slot whose chain is dropped afterwards; `err` is taken by reference so
// that a body capturing it by reference sees the slot too.
template <class R, class F>
R Guarded(Oerr_ErrorReport **&err, const wchar_t *function, R failure, F &&body) noexcept {
    Oerr_ErrorReport *dropped = nullptr;
    const bool unwanted = err == nullptr;
    if (unwanted) err = &dropped;
    R result = failure;
    try {
        result = body();
    } catch (const std::bad_alloc &) {
        SetOutOfMemory(err, function, *err);
        result = failure;
    } catch (const std::exception &e) {
        SetError(err, function, kUnexpectedException, *err, L"Unexpected exception: %S", e.what());
        result = failure;
    } catch (...) {
        SetError(err, function, kUnexpectedException, *err, L"Unexpected exception");
        result = failure;
    }
    if (unwanted) {
        err = nullptr;
        if (dropped) oerr_DeleteErrorReportEx(&dropped);
    }
    return result;
}

// For callers that pass the address of a local report pointer.
template <class R, class F>
R Guarded(Oerr_ErrorReport **&&err, const wchar_t *function, R failure, F &&body) noexcept {
    Oerr_ErrorReport **slot = err;
    return Guarded<R>(slot, function, failure, std::forward<F>(body));
}

// As Guarded, for functions without a result.
template <class F>
void GuardedVoid(Oerr_ErrorReport **&err, const wchar_t *function, F &&body) noexcept {
    Guarded<int>(err, function, 0, [&] {
        body();
        return 0;
    });
}

template <class F>
void GuardedVoid(Oerr_ErrorReport **&&err, const wchar_t *function, F &&body) noexcept {
    Oerr_ErrorReport **slot = err;
    GuardedVoid(slot, function, std::forward<F>(body));
}

} // namespace orvik::core
