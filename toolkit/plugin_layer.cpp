// The plug-in layer's start-up glue (oplg.h). The started flag is atomic; the rest goes
// through the plug-in module and the preference module, which have their own locks.
#include <orvik/odll.h>
#include <orvik/oplg.h>
#include <orvik/oprf.h>

#include <atomic>

#include "core/guard.hpp"
#include "toolkit/report.hpp"

using orvik::core::Guarded;
using orvik::core::SetError;

namespace {
std::atomic<bool> g_started{false};
} // namespace

extern "C" {

ORVIK_API long oplg_Init(Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    if (err) *err = nullptr;
    g_started.store(true);
    return 0;
}

ORVIK_API Omsc_Boolean oplg_IsStarted(void) ORVIK_NOEXCEPT {
    return g_started.load() ? OMSC_TRUE : OMSC_FALSE;
}

ORVIK_API long oplg_EnvironmentSet(Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    if (err) *err = nullptr;
    odll_ClassDllListsReset();
    return 0;
}

ORVIK_API long oplg_PreferenceImplementationSet(Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    if (err) *err = nullptr;
    return Guarded<long>(err, L"oplg_PreferenceImplementationSet", -1, [&]() -> long {
        Oerr_ErrorReport *inner = nullptr;
        long rc = opmg_PreferenceImplementationMethodsSet(
            OPMG_DATA, oprf_DefaultData(), OPMG_DATABASE_INITIALIZE,
            reinterpret_cast<void *>(oprf_DefaultDatabaseInitialize), OPMG_DATABASE_TERMINATE,
            reinterpret_cast<void *>(oprf_DefaultDatabaseTerminate), OPMG_DATABASE_FLUSH,
            reinterpret_cast<void *>(oprf_DefaultDatabaseFlush), OPMG_PREFERENCE_ADD_CB,
            reinterpret_cast<void *>(oprf_DefaultPreferenceAddCB), OPMG_PREFERENCE_REM_CB,
            reinterpret_cast<void *>(oprf_DefaultPreferenceRemCB), OPMG_PREFERENCE_GET,
            reinterpret_cast<void *>(oprf_DefaultPreferenceGet), OPMG_PREFERENCE_PUT,
            reinterpret_cast<void *>(oprf_DefaultPreferencePut), 0L, &inner);
        if (rc != 0 || inner) {
            SetError(err, L"oplg_PreferenceImplementationSet", orvik::toolkit::kEnvironment, inner,
                     L"opmg_PreferenceImplementationMethodsSet failed");
            return -1;
        }
        return 0;
    });
}

ORVIK_API long oplg_Close(Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    if (err) *err = nullptr;
    Oerr_ErrorReport *inner = nullptr;
    long rc = odll_InstanceCloseAll(&inner);
    odll_ClassDllListsReset();
    g_started.store(false);
    if (rc != 0) {
        SetError(err, L"oplg_Close", orvik::toolkit::kPluginFailed, inner,
                 L"odll_InstanceCloseAll failed");
        return -1;
    }
    return 0;
}

} // extern "C"
