// Preference callbacks: the interface through the implementation's methods, and the older
// one that acts on the default implementation's list directly.
#include <orvik/oprf.h>

#include "core/guard.hpp"
#include "prefs/module.hpp"
#include "prefs/report.hpp"

using orvik::core::Guarded;
using orvik::core::SetError;
using namespace orvik::prefs;

namespace {

long ThroughMethods(const wchar_t *fn, bool add, const wchar_t *category, const wchar_t *name,
                    Opmg_CallbackFunc function, void *clientData, Oerr_ErrorReport **err) {
    Methods methods;
    const Opmg_CallbackMethod method =
        CurrentMethods(methods) ? (add ? methods.addCallback : methods.removeCallback) : nullptr;
    if (!method) {
        SetError(err, fn, kMissingMethod, nullptr,
                 add ? L"Missing prefAddCB" : L"Missing prefRemCB");
        return -1;
    }
    Oerr_ErrorReport *inner = nullptr;
    if (method(methods.data, category, name, function, clientData, &inner) != 0) {
        SetError(err, fn, kMethodFailed, inner,
                 add ? L"ImplementationMethods.prefAddCB failed"
                     : L"ImplementationMethods.prefRemCB failed");
        return -1;
    }
    return 0;
}

// The older interface keeps working on the default list, but says so when another
// implementation (whose callbacks live elsewhere) is installed.
void WarnIfReplaced(const wchar_t *fn) {
    Methods methods;
    if (CurrentMethods(methods) && methods.addCallback != oprf_DefaultPreferenceAddCB) {
        Warn(fn, kDeprecated, nullptr,
             L"Default preference implementation has changed; preference callbacks should no "
             L"longer be added directly via opmg_AddCallback");
    }
}

} // namespace

extern "C" {

ORVIK_API long opmg_AddPreferenceCallback(const wchar_t *category, const wchar_t *name,
                                          Opmg_CallbackFunc function, void *clientData,
                                          Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    const wchar_t *fn = L"opmg_AddPreferenceCallback";
    if (err) *err = nullptr;
    return Guarded<long>(err, fn, -1, [&] {
        return ThroughMethods(fn, true, category, name, function, clientData, err);
    });
}

ORVIK_API long opmg_RemovePreferenceCallback(const wchar_t *category, const wchar_t *name,
                                             Opmg_CallbackFunc function, void *clientData,
                                             Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    const wchar_t *fn = L"opmg_RemovePreferenceCallback";
    if (err) *err = nullptr;
    return Guarded<long>(err, fn, -1, [&] {
        return ThroughMethods(fn, false, category, name, function, clientData, err);
    });
}

ORVIK_API long opmg_AddCallback(const wchar_t *category, const wchar_t *name,
                                Opmg_CallbackFunc function, void *clientData,
                                Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    const wchar_t *fn = L"opmg_AddCallback";
    if (err) *err = nullptr;
    return Guarded<long>(err, fn, -1, [&]() -> long {
        WarnIfReplaced(fn);
        Oerr_ErrorReport *inner = nullptr;
        if (oprf_DefaultPreferenceAddCB(oprf_DefaultData(), category, name, function, clientData,
                                        &inner) != 0) {
            SetError(err, fn, kMethodFailed, inner, L"oprf_DefaultPreferenceAddCB failed");
            return -1;
        }
        return 0;
    });
}

ORVIK_API long opmg_RemoveCallback(const wchar_t *category, const wchar_t *name,
                                   Opmg_CallbackFunc function, void *clientData,
                                   Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    const wchar_t *fn = L"opmg_RemoveCallback";
    if (err) *err = nullptr;
    return Guarded<long>(err, fn, -1, [&]() -> long {
        Oerr_ErrorReport *inner = nullptr;
        if (oprf_DefaultPreferenceRemCB(oprf_DefaultData(), category, name, function, clientData,
                                        &inner) != 0) {
            SetError(err, fn, kMethodFailed, inner, L"oprf_DefaultPreferenceRemCB failed");
            return -1;
        }
        return 0;
    });
}

ORVIK_API long opmg_GetCallbackList(const wchar_t *category, const wchar_t *name,
                                    Opmg_CallbackEntry *entries, long capacity,
                                    Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    const wchar_t *fn = L"opmg_GetCallbackList";
    if (err) *err = nullptr;
    return Guarded<long>(err, fn, -1, [&]() -> long {
        if (capacity < 0 || (capacity > 0 && !entries)) {
            SetError(err, fn, kBadArgument, nullptr, L"Invalid callback buffer");
            return -1;
        }
        Module &m = TheModule();
        std::lock_guard<std::mutex> lock(m.mutex);
        auto it = m.database.callbacks.find(Key(category, name));
        if (it == m.database.callbacks.end()) return 0;
        const long n = static_cast<long>(it->second.size());
        for (long i = 0; i < n && i < capacity; ++i)
            entries[i] = it->second[static_cast<std::size_t>(i)];
        return n;
    });
}

} // extern "C"
