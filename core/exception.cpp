// OerrException, the owner of one report chain for C++ callers, and its narrow adapter.
// Objects are not shared between threads; every member tolerates an empty object.
#include <new>
#include <string>
#include <system_error>
#include <utility>

#include <orvik/oerr.h>

#include "core/heap_text.hpp"
#include "core/report_chain.hpp"
#include "core/utf8.hpp"

namespace {

using orvik::text::Utf8ToWideLossy;
using orvik::text::WideToUtf8Lossy;

const wchar_t *HeadFunction(const Oerr_ErrorReport *chain) {
    return chain && chain->function ? chain->function : L"Unknown function";
}

// Replaces `chain` by a new kind-2 record named after `function` (widened) that takes the
// chain over. When the record cannot be made the chain is lost and `chain` left null: a
// failed report is silent, as everywhere in the library.
template <class MakeMessage>
void WrapChain(Oerr_ErrorReport *&chain, const char *function, long code,
               MakeMessage &&makeMessage) {
    Oerr_ErrorReport *previous = std::exchange(chain, nullptr);
    try {
        const std::wstring message = makeMessage(previous);
        const std::wstring name = function ? Utf8ToWideLossy(function) : std::wstring();
        chain = oerr_CreateErrorReport(function ? name.c_str() : nullptr, code, OERR_KIND_ERROR,
                                       previous, L"%s", message.c_str());
    } catch (const std::bad_alloc &) {
        oerr_DeleteErrorReportEx(&previous);
    }
}

bool ConvertText(const char *in, wchar_t *&out) {
    out = in ? orvik::core::HeapDup(std::wstring_view(Utf8ToWideLossy(in))) : nullptr;
    return !in || out;
}

bool ConvertText(const wchar_t *in, char *&out) {
    out = in ? orvik::core::HeapDup(std::string_view(WideToUtf8Lossy(in))) : nullptr;
    return !in || out;
}

// Chains are converted between their wide and narrow forms with text that has no image on
// the other side replaced (U+FFFD / its UTF-8 form) rather than failing, so a report is never
// lost because of its text. Heap exhaustion aborts the copy: null, nothing leaked.
template <class To, class From> To *ConvertChain(const From *src) {
    return orvik::core::CopyChain<To>(src, [](auto in, auto &out) { return ConvertText(in, out); });
}

} // namespace

OerrException::OerrException() : m_reportA(nullptr), m_report(nullptr) {}

// The most derived class initialises the virtual base, so each constructor names it.
OerrException::OerrException(const char *function)
    : OrvikLog::Exception(function), OrvikLog::UnthrownException(function), m_reportA(nullptr),
      m_report(nullptr) {}

OerrException::OerrException(const char *function, const char *file)
    : OrvikLog::Exception(function, file), OrvikLog::UnthrownException(function, file),
      m_reportA(nullptr), m_report(nullptr) {}

OerrException::OerrException(const char *function, const char *file, Oerr_ErrorReport *report)
    : OrvikLog::Exception(function, file), OrvikLog::UnthrownException(function, file),
      m_reportA(nullptr), m_report(report) {}

OerrException::OerrException(const OerrException &other)
    : OrvikLog::Exception(other), OrvikLog::UnthrownException(other), m_reportA(nullptr),
      m_report(oerr_ErrorReportDuplicate(other.m_report)) {}

OerrException::~OerrException() {
    if (m_report) {
        Log();
        oerr_DeleteErrorReportEx(&m_report);
    }
    // The slot is only set here when a narrow chain was lent out and never absorbed. Its
    // value is taken as the address of a chain pointer, as it always has been: the records
    // behind the narrow head are freed and the head's link cleared, while the head itself is
    // left to whoever still refers to it. Both record forms share one layout.
    if (m_reportA) oerr_DeleteErrorReportEx(reinterpret_cast<Oerr_ErrorReport **>(m_reportA));
}

OerrException &OerrException::operator=(const OerrException &other) {
    if (this == &other) return *this;
    Clear();
    OrvikLog::UnthrownException::operator=(other);
    m_report = oerr_ErrorReportDuplicate(other.m_report);
    return *this;
}

OerrException::operator Oerr_ErrorReport **() { return &m_report; }
OerrException::operator Oerr_ErrorReport *() { return m_report; }
OerrException::operator bool() { return m_report != nullptr; }
bool OerrException::operator!() { return m_report == nullptr; }

Oerr_ErrorReport *OerrException::Release() { return std::exchange(m_report, nullptr); }

void OerrException::Clear() { oerr_DeleteErrorReportEx(&m_report); }

void OerrException::Absorb(Oerr_ErrorReport **report) {
    if (!report || report == &m_report) return;
    Clear();
    m_report = std::exchange(*report, nullptr);
}

void OerrException::Absorb(Oerr_ErrorReportA **report) {
    if (!report) return;
    Clear();
    m_report = ConvertChain<Oerr_ErrorReport>(*report);
    oerr_DeleteErrorReportExA(report);
}

void OerrException::Assign(Oerr_ErrorReport **report) {
    if (!report) return;
    *report = Release();
}

void OerrException::Assign(Oerr_ErrorReportA **report) {
    if (!report) return;
    *report = nullptr;
    if (!m_report) return;
    // Under heap exhaustion the wide chain stays held, so it is still printed when this
    // object dies instead of being lost.
    *report = ConvertChain<Oerr_ErrorReportA>(m_report);
    if (*report) Clear();
}

void OerrException::Check(long code) { Check(code, true); }

void OerrException::Check(long code, bool throwIt) {
    if (!m_report) return;
    WrapChain(m_report, GetFunctionName(), code, [](const Oerr_ErrorReport *inner) {
        return std::wstring(HeadFunction(inner)) + L" failed";
    });
    // Decided before wrapping: a wrap lost to heap exhaustion still throws (without a chain)
    // rather than letting the failure pass unnoticed.
    if (throwIt) {
        Throw();
    } else {
        Log();
        Clear();
    }
}

void OerrException::Throw() {
    Oerr_ErrorReport *report = Release();
    try {
        throw OerrException(GetFunctionName(), GetFileName(), report);
    } catch (const std::bad_alloc &) {
        // Copying the names failed before the new object took the chain over.
        oerr_DeleteErrorReportEx(&report);
        throw;
    }
}

void OerrException::Throw(long code, const char *message) {
    WrapChain(m_report, GetFunctionName(), code, [message](const Oerr_ErrorReport *) {
        return message ? Utf8ToWideLossy(message) : std::wstring();
    });
    Throw();
}

void OerrException::Throw(long code, unsigned int systemError) {
    WrapChain(m_report, GetFunctionName(), code, [systemError](const Oerr_ErrorReport *) {
        return Utf8ToWideLossy(std::system_category().message(static_cast<int>(systemError)));
    });
    Throw();
}

void OerrException::Log() {
    if (m_report) oerr_PrintErrorReport(m_report, OERR_REPORT_FULL);
}

void OerrException::Log(long code) {
    WrapChain(m_report, GetFunctionName(), code, [](const Oerr_ErrorReport *inner) {
        return std::wstring(HeadFunction(inner)) + L":  unknown exception thrown";
    });
    SetCode(code);
}

void OerrException::Log(long code, const char *message) {
    WrapChain(m_report, GetFunctionName(), code, [message](const Oerr_ErrorReport *) {
        return message ? Utf8ToWideLossy(message) : std::wstring();
    });
    SetCode(code);
}

void OerrException::Log(long code, OrvikLog::Exception &cause) {
    auto *oerrCause = dynamic_cast<OerrException *>(&cause);
    if (oerrCause && oerrCause->m_report) {
        // The cause's chain goes on top of the held one (a duplicate: the cause keeps its own).
        Oerr_ErrorReport *copy = oerr_ErrorReportDuplicate(oerrCause->m_report);
        if (copy) {
            Oerr_ErrorReport *tail = copy;
            while (tail->next) tail = tail->next;
            tail->next = m_report;
            m_report = copy;
        }
    } else {
        // One record that describes the cause: its function, code and message.
        Oerr_ErrorReport *previous = std::exchange(m_report, nullptr);
        try {
            const char *function = cause.GetFunctionName();
            const char *what = cause.get_What();
            const std::wstring name = function ? Utf8ToWideLossy(function) : std::wstring();
            const std::wstring text = what ? Utf8ToWideLossy(what) : std::wstring();
            m_report = oerr_CreateErrorReport(function ? name.c_str() : nullptr, cause.GetCode(),
                                              OERR_KIND_ERROR, previous, what ? L"%s" : nullptr,
                                              text.c_str());
        } catch (const std::bad_alloc &) {
            oerr_DeleteErrorReportEx(&previous);
        }
    }
    WrapChain(m_report, GetFunctionName(), code, [](const Oerr_ErrorReport *inner) {
        return std::wstring(HeadFunction(inner)) + L" failed";
    });
    SetCode(code);
}

const char *OerrException::get_What() {
    if (!m_report) return nullptr;
    std::wstring all;
    for (const Oerr_ErrorReport *r = m_report; r; r = r->next) {
        if (r->message) all += r->message;
        all += L'\n';
    }
    m_what = WideToUtf8Lossy(all);
    return m_what.c_str();
}

OerrExceptionASCII::~OerrExceptionASCII() {
    if (m_exception.m_reportA) m_exception.Absorb(&m_exception.m_reportA);
}
