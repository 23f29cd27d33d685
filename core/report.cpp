// Error-report records: creation, deletion, duplication and narrow/wide conversion.
// Records are not shared, so none of these functions takes a lock.
#include <cstring>
#include <string>

#include <orvik/oerr.h>
#include <orvik/ostr.h>

#include "core/heap_text.hpp"
#include "core/report_chain.hpp"
#include "core/utf8.hpp"

namespace {

using orvik::core::CopyChain;
using orvik::core::DeleteChain;

bool DupWide(const wchar_t *in, wchar_t *&out) {
    out = orvik::core::HeapDup(in);
    return !in || out;
}

bool NarrowToWide(const char *in, wchar_t *&out) {
    out = nullptr;
    if (!in) return true;
    std::wstring w;
    if (!orvik::text::Utf8ToWide(in, w).ok) return false;
    out = orvik::core::HeapDup(std::wstring_view(w));
    return out != nullptr;
}

bool WideToNarrow(const wchar_t *in, char *&out) {
    out = nullptr;
    if (!in) return true;
    std::string s;
    if (!orvik::text::WideToUtf8(in, s).ok) return false;
    out = orvik::core::HeapDup(std::string_view(s));
    return out != nullptr;
}

} // namespace

extern "C" {

ORVIK_API Oerr_ErrorReport **oerr_Init(Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    if (err) *err = nullptr;
    return err;
}

ORVIK_API Oerr_ErrorReport *oerr_CreateErrorReportV(const wchar_t *function, long number, long kind,
                                                    Oerr_ErrorReport *previous,
                                                    const wchar_t *format, va_list args)
    ORVIK_NOEXCEPT {
    auto *r = static_cast<Oerr_ErrorReport *>(omsc_HeapMalloc(sizeof(Oerr_ErrorReport)));
    if (!r) {
        // Silent by design; the chain that would have been taken over is released here so
        // that nothing leaks on the exhaustion path.
        DeleteChain(previous);
        return nullptr;
    }
    r->next = previous;
    r->function = orvik::core::HeapDup(function);
    r->number = static_cast<int32_t>(number);
    r->kind = static_cast<int32_t>(kind);
    if (format) {
        va_list copy;
        va_copy(copy, args);
        r->message = ostr_Vsprintf(nullptr, 0, format, copy);
        va_end(copy);
    }
    return r;
}

ORVIK_API Oerr_ErrorReport *oerr_CreateErrorReport(const wchar_t *function, long number, long kind,
                                                   Oerr_ErrorReport *previous,
                                                   const wchar_t *format, ...) ORVIK_NOEXCEPT {
    va_list args;
    va_start(args, format);
    Oerr_ErrorReport *r = oerr_CreateErrorReportV(function, number, kind, previous, format, args);
    va_end(args);
    return r;
}

ORVIK_API void oerr_DeleteErrorReportEx(Oerr_ErrorReport **report) ORVIK_NOEXCEPT {
    if (!report || !*report) return;
    DeleteChain(*report);
    *report = nullptr;
}

ORVIK_API void oerr_DeleteErrorReportExA(Oerr_ErrorReportA **report) ORVIK_NOEXCEPT {
    if (!report || !*report) return;
    DeleteChain(*report);
    *report = nullptr;
}

ORVIK_API Oerr_ErrorReport *oerr_ErrorReportDuplicate(const Oerr_ErrorReport *report)
    ORVIK_NOEXCEPT {
    return CopyChain<Oerr_ErrorReport>(report, DupWide);
}

ORVIK_API Oerr_ErrorReport *oerr_ErrorReportA2U(const Oerr_ErrorReportA *report) ORVIK_NOEXCEPT {
    return CopyChain<Oerr_ErrorReport>(report, NarrowToWide);
}

ORVIK_API Oerr_ErrorReportA *oerr_ErrorReportU2A(const Oerr_ErrorReport *report) ORVIK_NOEXCEPT {
    return CopyChain<Oerr_ErrorReportA>(report, WideToNarrow);
}

} // extern "C"
