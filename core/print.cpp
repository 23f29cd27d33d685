// Printing of report chains, the message log, the alternative error function and the
// default listener that connects them to the dispatcher.
#include <cstdio>
#include <mutex>
#include <string>

#include <orvik/oerr.h>
#include <orvik/othr.h>

#include "core/format.hpp"
#include "core/utf8.hpp"

namespace {

struct AltFunction {
    Othr_Mutex mutex = OTHR_MUTEX_INITIALIZER;
    Oerr_AltErrorFunction function = nullptr;
    void *clientData = nullptr;
    bool threadSafe = false;
};

AltFunction &Alt() {
    static AltFunction *alt = new AltFunction; // lives for the whole process
    return *alt;
}

// The text that oerr_PrintErrorReportNoEML writes, as wide text.
std::wstring RenderChain(const Oerr_ErrorReport *report, Oerr_ErrorReportingMode mode) {
    using orvik::text::Format;
    std::wstring out;
    for (const Oerr_ErrorReport *r = report; r; r = r->next) {
        if (r->kind != 0 && r->kind != -1) {
            if (mode != OERR_REPORT_FULL && r->next) continue;
            out += Format(L" ***%s NUMBER %ld IN FUNCTION %s***\n",
                          r->kind == 1 ? L"WARNING" : L"ERROR", static_cast<long>(r->number),
                          r->function);
        }
        if (r->message) {
            out += Format(L" >>>%s<<<\n", r->message);
        } else if (r->next && r->next->function) {
            out += Format(L" >>>%s failed.<<<\n", r->next->function);
        }
    }
    out += L"\n";
    return out;
}

// The default listener: hands the report to the alternative function when one is set,
// otherwise prints it. The reported chain stays with its owner; an out-report made by the
// alternative function is printed and released here, so every chain is released once.
void DefaultListener(const OerrErrorReport &carrier, Oerr_ErrorReportingMode mode) {
    Oerr_ErrorReport *report = carrier.Get();
    AltFunction &alt = Alt();
    othr_MutexLock(&alt.mutex);
    Oerr_AltErrorFunction function = alt.function;
    void *clientData = alt.clientData;
    const bool threadSafe = alt.threadSafe;
    othr_MutexUnlock(&alt.mutex);

    if (!function) {
        oerr_PrintErrorReportNoEML(report, mode);
        return;
    }
    Oerr_ErrorReport *out = nullptr;
    if (!threadSafe) othr_ThreadUnsafeCodeEnter(0);
    try {
        function(clientData, report, mode, &out);
    } catch (...) {
        // A client's exception must not cross the library's C interface.
    }
    if (!threadSafe) othr_ThreadUnsafeCodeExit();
    if (out) {
        oerr_PrintErrorReportNoEML(out, mode);
        oerr_DeleteErrorReportEx(&out);
    }
}

} // namespace

extern "C" {

ORVIK_API void oerr_PrintErrorReportNoEML(Oerr_ErrorReport *report, Oerr_ErrorReportingMode mode)
    ORVIK_NOEXCEPT {
    try {
        const std::string bytes = orvik::text::WideToUtf8Lossy(RenderChain(report, mode));
        std::fwrite(bytes.data(), 1, bytes.size(), stderr);
        std::fflush(stderr);
    } catch (...) {
        // Printing must never fail its caller; under memory exhaustion the report is lost.
    }
}

ORVIK_API void oerr_PrintErrorReport(Oerr_ErrorReport *report, Oerr_ErrorReportingMode mode)
    ORVIK_NOEXCEPT {
    try {
        OerrDispatcher::Instance().Dispatch(OerrErrorReport(report), mode);
    } catch (...) {
    }
}

ORVIK_API long oerr_MessageLog(long kind, const wchar_t *format, ...) ORVIK_NOEXCEPT {
    va_list args;
    va_start(args, format);
    Oerr_ErrorReport *r = oerr_CreateErrorReportV(nullptr, 0, kind, nullptr, format, args);
    va_end(args);
    if (r) {
        oerr_PrintErrorReport(r, OERR_REPORT_BRIEF);
        oerr_DeleteErrorReportEx(&r);
    }
    return 0;
}

ORVIK_API void oerr_SetAltErrorFunction(Oerr_AltErrorFunction function, void *clientData)
    ORVIK_NOEXCEPT {
    AltFunction &alt = Alt();
    othr_MutexLock(&alt.mutex);
    alt.function = function;
    alt.clientData = clientData;
    alt.threadSafe = false;
    othr_MutexUnlock(&alt.mutex);
    try {
        // Each call connects the listener again; the handle is dropped at once.
        OerrDispatcher::Instance().Connect(
            OerrDispatcher::ReportSignal::slot_type(DefaultListener));
    } catch (...) {
    }
}

ORVIK_API void oerr_GetAltErrorFunction(Oerr_AltErrorFunction *function, void **clientData)
    ORVIK_NOEXCEPT {
    AltFunction &alt = Alt();
    othr_MutexLock(&alt.mutex);
    if (function) *function = alt.function;
    if (clientData) *clientData = alt.clientData;
    othr_MutexUnlock(&alt.mutex);
}

} // extern "C"
