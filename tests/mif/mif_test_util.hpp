// Test helpers for designs and dictionaries: owning holders and report inspection.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include <orvik/oerr.h>
#include <orvik/omif.h>

namespace mif_test {

struct DesignFree {
    void operator()(Omif_Design *d) const { omif_DesignDestroy(d, nullptr); }
};
struct DesignAFree {
    void operator()(Omif_DesignA *d) const { omif_DesignDestroyA(d, nullptr); }
};
struct DictionaryFree {
    void operator()(Omif_Dictionary *d) const { omif_DictionaryDestroy(d, nullptr); }
};
using DesignPtr = std::unique_ptr<Omif_Design, DesignFree>;
using DesignAPtr = std::unique_ptr<Omif_DesignA, DesignAFree>;
using DictionaryPtr = std::unique_ptr<Omif_Dictionary, DictionaryFree>;

// Owns a report chain for one call.
class Report {
  public:
    Report() = default;
    ~Report() { oerr_DeleteErrorReportEx(&m_report); }
    Report(const Report &) = delete;
    Report &operator=(const Report &) = delete;
    Oerr_ErrorReport **operator&() {
        oerr_DeleteErrorReportEx(&m_report);
        return &m_report;
    }
    Oerr_ErrorReport *get() const { return m_report; }
    explicit operator bool() const { return m_report != nullptr; }
    // "function: message" of every record, outermost first.
    std::vector<std::wstring> Chain() const {
        std::vector<std::wstring> out;
        for (auto *r = m_report; r; r = r->next)
            out.push_back(std::wstring(r->function ? r->function : L"") + L": " +
                          (r->message ? r->message : L""));
        return out;
    }
    std::wstring Innermost() const {
        auto c = Chain();
        return c.empty() ? L"" : c.back();
    }

  private:
    Oerr_ErrorReport *m_report = nullptr;
};

// Encodes a dictionary to a std::wstring (empty on failure).
inline std::wstring Encode(const Omif_Dictionary *d) {
    Report err;
    wchar_t *text = omif_DictionaryEncodeToString(d, &err);
    std::wstring out = text ? text : L"";
    omsc_HeapFree(text);
    return out;
}

inline std::vector<std::wstring> DesignNames(const Omif_Dictionary *d) {
    std::vector<std::wstring> out;
    for (auto *x = d->designs; x; x = x->next) out.push_back(x->name);
    return out;
}

inline const Omif_Item *ItemNamed(const Omif_Design *d, const wchar_t *name) {
    for (auto *i = d->items; i; i = i->next)
        if (std::wstring(i->name) == name) return i;
    return nullptr;
}

} // namespace mif_test
