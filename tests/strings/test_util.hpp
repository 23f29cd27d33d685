// Test helpers: owners for library-heap blocks and report chains.
#pragma once

#include <memory>
#include <string>

#include <orvik/oerr.h>
#include <orvik/omsc.h>

struct HeapDeleter {
    void operator()(void *p) const { omsc_HeapFree(p); }
};
template <class T> using HeapPtr = std::unique_ptr<T, HeapDeleter>;
using WStr = HeapPtr<wchar_t>;

// Owns a chain; `Out()` hands the slot to a function under test after seeding it with a
// dangling-looking sentinel so that "cleared on entry" is checked as well.
class Report {
  public:
    ~Report() { Release(); }
    Oerr_ErrorReport **Out() {
        Release();
        m_report = Sentinel();
        return &m_report;
    }
    Oerr_ErrorReport *Get() const { return m_report == Sentinel() ? nullptr : m_report; }
    bool Cleared() const { return m_report == nullptr; }
    // "function/number/message" of the head record, "" when there is none.
    std::wstring Head() const {
        if (!m_report || m_report == Sentinel()) return L"";
        return std::wstring(m_report->function ? m_report->function : L"(null)") + L"/" +
               std::to_wstring(m_report->number) + L"/" +
               (m_report->message ? m_report->message : L"(null)");
    }
    Oerr_ErrorReport *Next() const { return Get() ? Get()->next : nullptr; }

  private:
    void Release() {
        if (m_report != Sentinel()) oerr_DeleteErrorReportEx(&m_report);
        m_report = nullptr;
    }
    static Oerr_ErrorReport *Sentinel() {
        static Oerr_ErrorReport s{};
        return &s;
    }
    Oerr_ErrorReport *m_report = nullptr;
};

#include <vector>

#include <orvik/ostr.h>

// Records "function/number/message" of every report printed through the dispatcher while
// it is alive.
class PrintedReports {
  public:
    PrintedReports() {
        m_connection = OerrDispatcher::Instance().Connect(OerrDispatcher::ReportSignal::slot_type(
            [this](const OerrErrorReport &r, Oerr_ErrorReportingMode mode) {
                const Oerr_ErrorReport *e = r.Get();
                if (!e) return;
                texts.push_back(std::wstring(e->function ? e->function : L"") + L"/" +
                                std::to_wstring(e->number) + L"/" +
                                (e->message ? e->message : L"") +
                                (mode == OERR_REPORT_FULL ? L"" : L" (brief)"));
            }));
    }
    ~PrintedReports() { m_connection->connection.disconnect(); }
    std::vector<std::wstring> texts;

  private:
    OerrDispatcher::Connection m_connection;
};

// Owner of a string list, and a builder from texts (nullptr entries allowed).
struct ListDeleter {
    void operator()(ostr_StringList *l) const { ostr_StringListDelete(l, nullptr); }
};
using ListPtr = std::unique_ptr<ostr_StringList, ListDeleter>;

inline ListPtr MakeList(std::initializer_list<const wchar_t *> texts) {
    ostr_StringList *l = ostr_StringListCreate(0, nullptr);
    for (const wchar_t *t : texts) l = ostr_StringListAppend(l, t, nullptr);
    return ListPtr(l);
}

// The entries as texts, "<null>" for a null entry.
inline std::vector<std::wstring> Entries(const ostr_StringList *l) {
    std::vector<std::wstring> out;
    for (int32_t i = 0; l && i < l->count; ++i)
        out.push_back(l->strings[i] ? l->strings[i] : L"<null>");
    return out;
}
using Texts = std::vector<std::wstring>;
