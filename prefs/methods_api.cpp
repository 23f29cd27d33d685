// The implementation-method table (install, lock), start-up and shut-down of the installed
// implementation, and the module settings: preference file name, change logging, database
// type.
#include <cstdarg>
#include <cwchar>
#include <string>

#include <orvik/oprf.h>

#include "core/guard.hpp"
#include "prefs/module.hpp"
#include "prefs/report.hpp"
#include "strings/environment.hpp"

using orvik::core::Guarded;
using orvik::core::SetError;
using namespace orvik::prefs;

namespace {

Methods DefaultMethods() {
    Methods d;
    d.data = oprf_DefaultData();
    d.initialize = oprf_DefaultDatabaseInitialize;
    d.terminate = oprf_DefaultDatabaseTerminate;
    d.flush = oprf_DefaultDatabaseFlush;
    d.addCallback = oprf_DefaultPreferenceAddCB;
    d.removeCallback = oprf_DefaultPreferenceRemCB;
    d.get = oprf_DefaultPreferenceGet;
    d.put = oprf_DefaultPreferencePut;
    return d;
}

// Reads the pairs and installs them; `err` is taken from the list after the 0.
long SetMethods(long firstKey, va_list &args) {
    const wchar_t *fn = L"opmg_PreferenceImplementationMethodsSet";
    Methods fresh;
    unsigned given = 0;
    long unknown = 0;
    // Keys after the first are read as int: callers pass the enumeration constants and 0.
    for (long key = firstKey; key != 0; key = va_arg(args, int)) {
        void *value = va_arg(args, void *); // every key, known or not, has one value
        if (key < OPMG_DATA || key > OPMG_PREFERENCE_PUT) {
            if (!unknown) unknown = key;
            continue;
        }
        given |= 1u << key;
        switch (key) {
        case OPMG_DATA:
            fresh.data = value;
            break;
        case OPMG_DATABASE_INITIALIZE:
            fresh.initialize = reinterpret_cast<Opmg_DatabaseFunc>(value);
            break;
        case OPMG_DATABASE_TERMINATE:
            fresh.terminate = reinterpret_cast<Opmg_DatabaseFunc>(value);
            break;
        case OPMG_DATABASE_FLUSH:
            fresh.flush = reinterpret_cast<Opmg_DatabaseFunc>(value);
            break;
        case OPMG_PREFERENCE_ADD_CB:
            fresh.addCallback = reinterpret_cast<Opmg_CallbackMethod>(value);
            break;
        case OPMG_PREFERENCE_REM_CB:
            fresh.removeCallback = reinterpret_cast<Opmg_CallbackMethod>(value);
            break;
        case OPMG_PREFERENCE_GET:
            fresh.get = reinterpret_cast<Opmg_GetMethod>(value);
            break;
        case OPMG_PREFERENCE_PUT:
            fresh.put = reinterpret_cast<Opmg_PutMethod>(value);
            break;
        }
    }
    Oerr_ErrorReport **err = va_arg(args, Oerr_ErrorReport **);
    if (err) *err = nullptr;
    return Guarded<long>(err, fn, -1, [&]() -> long {
        if (unknown) {
            SetError(err, fn, kUnknownMethod, nullptr, L"Unknown method: %ld", unknown);
            return -1;
        }
        const struct {
            unsigned bit;
            bool present;
            const wchar_t *message;
        } slots[] = {
            {OPMG_DATA, true, L"Missing DATA"},
            {OPMG_DATABASE_INITIALIZE, fresh.initialize != nullptr, L"Missing DATABASE_INITIALIZE"},
            {OPMG_DATABASE_TERMINATE, fresh.terminate != nullptr, L"Missing DATABASE_TERMINATE"},
            {OPMG_DATABASE_FLUSH, fresh.flush != nullptr, L"Missing DATABASE_FLUSH"},
            {OPMG_PREFERENCE_ADD_CB, fresh.addCallback != nullptr, L"Missing PREFERENCE_ADD_CB"},
            {OPMG_PREFERENCE_REM_CB, fresh.removeCallback != nullptr, L"Missing PREFERENCE_REM_CB"},
            {OPMG_PREFERENCE_GET, fresh.get != nullptr, L"Missing PREFERENCE_GET"},
            {OPMG_PREFERENCE_PUT, fresh.put != nullptr, L"Missing PREFERENCE_PUT"},
        };
        for (const auto &s : slots) {
            if (!(given & (1u << s.bit)) || !s.present) {
                SetError(err, fn, kMissingMethod, nullptr, L"%s", s.message);
                return -1;
            }
        }
        Module &m = TheModule();
        std::lock_guard<std::mutex> lock(m.mutex);
        if (!m.disabledBy.empty()) {
            SetError(err, fn, kDisabled, nullptr,
                     L"Changing the preference implementation has been disabled by %s",
                     m.disabledBy.c_str());
            return -1;
        }
        m.methods = fresh;
        m.installed = true;
        return 0;
    });
}

} // namespace

extern "C" {

ORVIK_API long opmg_PreferenceImplementationMethodsSetVaPtr(long key, va_list *args)
    ORVIK_NOEXCEPT {
    return SetMethods(key, *args);
}

ORVIK_API long opmg_PreferenceImplementationMethodsSet(long key, ...) ORVIK_NOEXCEPT {
    va_list args;
    va_start(args, key);
    const long rc = SetMethods(key, args);
    va_end(args);
    return rc;
}

ORVIK_API void opmg_PreferenceImplementationChangeDisable(const wchar_t *by) ORVIK_NOEXCEPT {
    try {
        Module &m = TheModule();
        std::lock_guard<std::mutex> lock(m.mutex);
        m.disabledBy = by && *by ? by : L"<Null>";
    } catch (...) {
    }
}

ORVIK_API long opmg_Init(Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    const wchar_t *fn = L"opmg_Init";
    if (err) *err = nullptr;
    return Guarded<long>(err, fn, -1, [&]() -> long {
        Methods methods;
        {
            Module &m = TheModule();
            std::lock_guard<std::mutex> lock(m.mutex);
            if (!m.installed) {
                m.methods = DefaultMethods();
                m.installed = true;
            }
            methods = m.methods;
        }
        Oerr_ErrorReport *inner = nullptr;
        if (methods.initialize(methods.data, &inner) != 0) {
            SetError(err, fn, kMethodFailed, inner, L"ImplementationMethods.dbInitialize failed");
            return -1;
        }
        return 0;
    });
}

ORVIK_API long opmg_Close(Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    const wchar_t *fn = L"opmg_Close";
    if (err) *err = nullptr;
    return Guarded<long>(err, fn, -1, [&]() -> long {
        Methods methods;
        if (!CurrentMethods(methods)) return 0;
        Oerr_ErrorReport *inner = nullptr;
        if (methods.flush(methods.data, &inner) != 0) {
            SetError(err, fn, kMethodFailed, inner, L"ImplementationMethods.dbFlush failed");
            methods.terminate(methods.data, nullptr);
            return -1;
        }
        if (methods.terminate(methods.data, &inner) != 0) {
            SetError(err, fn, kMethodFailed, inner, L"ImplementationMethods.dbTerminate failed");
            return -1;
        }
        return 0;
    });
}

ORVIK_API long opmg_InitPreferenceFileName(const wchar_t *name, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT {
    const wchar_t *fn = L"opmg_InitPreferenceFileName";
    if (err) *err = nullptr;
    return Guarded<long>(err, fn, -1, [&]() -> long {
        if (!name || !*name || std::wcschr(name, L'/') || std::wcschr(name, L'\\')) {
            SetError(err, fn, kBadArgument, nullptr, L"Invalid preference file name");
            return -1;
        }
        Module &m = TheModule();
        std::lock_guard<std::mutex> lock(m.mutex);
        m.fileName = name;
        return 0;
    });
}

ORVIK_API wchar_t *opmg_GetPreferenceFileName(Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    const wchar_t *fn = L"opmg_GetPreferenceFileName";
    if (err) *err = nullptr;
    return Guarded<wchar_t *>(err, fn, nullptr, [&]() -> wchar_t * {
        std::wstring name;
        {
            Module &m = TheModule();
            std::lock_guard<std::mutex> lock(m.mutex);
            name = m.fileName;
        }
        wchar_t *copy = ostr_StringCopy(name.c_str(), nullptr);
        if (!copy) throw std::bad_alloc();
        return copy;
    });
}

ORVIK_API void opmg_InitPreferenceChangeLogging(Omsc_Boolean on) ORVIK_NOEXCEPT {
    Module &m = TheModule();
    std::lock_guard<std::mutex> lock(m.mutex);
    m.logging = on != OMSC_FALSE;
}

ORVIK_API Omsc_Boolean opmg_PreferenceChangesUnsaved(void) ORVIK_NOEXCEPT {
    Module &m = TheModule();
    std::lock_guard<std::mutex> lock(m.mutex);
    return m.database.unsaved ? OMSC_TRUE : OMSC_FALSE;
}

ORVIK_API void *opmg_GetGlobalPreferenceHandle(void) ORVIK_NOEXCEPT {
    Module &m = TheModule();
    std::lock_guard<std::mutex> lock(m.mutex);
    return m.installed ? m.methods.data : nullptr;
}

ORVIK_API wchar_t *opmg_GetDataBaseType(Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    const wchar_t *fn = L"opmg_GetDataBaseType";
    if (err) *err = nullptr;
    return Guarded<wchar_t *>(err, fn, nullptr, [&]() -> wchar_t * {
        std::wstring type;
        if (orvik::text::LookupEnvironment(L"GIO_PREFERENCE_DATABASE_TYPE", type) !=
                orvik::text::EnvLookup::Set ||
            !ostr_Eqic(type.c_str(), L"global")) {
            type = L"local";
        } else {
            type = L"global";
        }
        wchar_t *copy = ostr_StringCopy(type.c_str(), nullptr);
        if (!copy) throw std::bad_alloc();
        return copy;
    });
}

} // extern "C"
