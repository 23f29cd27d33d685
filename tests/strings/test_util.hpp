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
