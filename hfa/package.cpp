// Package state and the checks every HFA entry point shares: initialisation, the disabled
// switch, the file-changed callback, and printing warnings on the spot.
#include <atomic>
#include <cstdarg>

#include <orvik/ohfa.h>
#include <orvik/oint.h>
#include <orvik/othr.h>

#include "core/guard.hpp"
#include "hfa/designs.hpp"
#include "hfa/file.hpp"
#include "hfa/open_list.hpp"
#include "hfa/report.hpp"

using orvik::core::Guarded;
using orvik::core::SetError;
using namespace orvik::hfa;

namespace orvik::hfa {

namespace {
std::atomic<bool> g_disabled{false};
std::atomic<Ohfa_FileChangedCallback> g_changed{nullptr};
} // namespace

bool CheckReady(const wchar_t *fn, bool forOpen, Oerr_ErrorReport **err) {
    if (!oint_GetInit()) {
        // The package's name is misspelt in this message on purpose: callers match it.
        SetError(err, fn, kNotReady, nullptr, L"Ofha package has not been initialized");
        return false;
    }
    if (forOpen && g_disabled.load(std::memory_order_relaxed)) {
        SetError(err, fn, kNotReady, nullptr, L"Ohfa package is disabled");
        return false;
    }
    if (!OpenListExists()) {
        SetError(err, fn, kNotReady, nullptr, L"Open file list is missing");
        return false;
    }
    return true;
}

bool CheckFile(const Ohfa_File *file, const wchar_t *fn, Oerr_ErrorReport **err) {
    if (!file) {
        SetError(err, fn, kNotReady, nullptr, L"Invalid OHFA file handle");
        return false;
    }
    if (!file->stream) { // a rename that could not reopen the file
        SetError(err, fn, kNotReady, nullptr, L"File %s has no open stream", file->name.c_str());
        return false;
    }
    return true;
}

bool CheckWritable(const Ohfa_File *file, const wchar_t *fn, Oerr_ErrorReport **err) {
    if (!file->readOnly) return true;
    SetError(err, fn, kReadOnly, nullptr, L"File %s is open read-only", file->name.c_str());
    return false;
}

void PrintAndDelete(Oerr_ErrorReport *&report) {
    if (!report) return;
    oerr_PrintErrorReport(report, OERR_REPORT_FULL);
    oerr_DeleteErrorReportEx(&report);
}

void Warn(const wchar_t *fn, long number, const wchar_t *format, ...) {
    va_list args;
    va_start(args, format);
    Oerr_ErrorReport *r =
        oerr_CreateErrorReportV(fn, number, OERR_KIND_WARNING, nullptr, format, args);
    va_end(args);
    PrintAndDelete(r);
}

void NotifyChanged(const Ohfa_File *file) {
    Ohfa_FileChangedCallback callback = g_changed.load(std::memory_order_acquire);
    if (!callback) return;
    othr_ThreadUnsafeCodeEnter(0);
    callback(file->name.c_str());
    othr_ThreadUnsafeCodeExit();
}

} // namespace orvik::hfa

extern "C" {

ORVIK_API long ohfa_Init(Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    if (err) *err = nullptr;
    static const wchar_t *const kFn = L"ohfa_Init";
    return Guarded<long>(err, kFn, -1, [&]() -> long {
        if (!oint_GetInit()) {
            SetError(err, kFn, kNotReady, nullptr, L"Ofha package has not been initialized");
            return -1;
        }
        // Creating the designs now keeps the first open from paying for it.
        if (!orvik::hfa::FixedDesign(orvik::hfa::kHeaderDesign, err)) {
            SetError(err, kFn, kInitDesignsFailed, err ? *err : nullptr,
                     L"OMIF_DESIGN_FETCH failed");
            return -1;
        }
        orvik::hfa::OpenListCreate();
        return 0;
    });
}

ORVIK_API void ohfa_PackageDisable(Omsc_Boolean disabled) ORVIK_NOEXCEPT {
    orvik::hfa::g_disabled.store(disabled != OMSC_FALSE, std::memory_order_relaxed);
}

ORVIK_API Ohfa_FileChangedCallback ohfa_SetFileChangedCallback(Ohfa_FileChangedCallback callback)
    ORVIK_NOEXCEPT {
    return orvik::hfa::g_changed.exchange(callback, std::memory_order_acq_rel);
}

} // extern "C"
