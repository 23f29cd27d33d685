// Storing values and running change callbacks (see store.hpp).
#include "prefs/store.hpp"

#include <cwchar>
#include <string>
#include <vector>

#include <orvik/othr.h>

#include "core/utf8.hpp"
#include "prefs/model.hpp"
#include "prefs/module.hpp"
#include "prefs/report.hpp"

namespace orvik::prefs {

void StoreValue(const wchar_t *category, Opmg_Parameter &p, const Opmg_Preference &value,
                Oerr_ErrorReport **warning) {
    Opmg_Preference v = value;
    v.type = p.type;
    std::wstring cut;
    const wchar_t *original = v.string;
    const bool text = p.type != OPMG_NUMBER && p.type != OPMG_COLOR;
    // The maximum counts characters, so that a text outside the BMP is cut at the same place
    // (and never inside a surrogate pair) where wchar_t is 16 bits.
    const std::size_t keep =
        text && (p.attributes & OPMG_ATTR_MAXLENGTH) && v.string
            ? orvik::text::UnitsOfCharacters(v.string, static_cast<std::size_t>(p.maxLength))
            : 0;
    const bool tooLong =
        text && (p.attributes & OPMG_ATTR_MAXLENGTH) && v.string && v.string[keep] != L'\0';
    if (tooLong) {
        cut.assign(v.string, keep);
        v.string = cut.data();
    }
    if (text && !v.string) v.string = const_cast<wchar_t *>(L"");
    CopyValue(p.value, v);
    if (tooLong) { // made after the copy, so that an exhausted heap cannot leak it
        const std::wstring qualified = QualifiedName(category, p.name);
        *warning = oerr_CreateErrorReport(
            L"opmg_PutPreference", kLengthCut, OERR_KIND_WARNING, nullptr,
            L"String '%s' exceeds maximum length of %d for preference %s; using '%s'", original,
            static_cast<int>(p.maxLength), qualified.c_str(), cut.c_str());
    }
    p.stored = OMSC_TRUE;
}

void PrintWarning(Oerr_ErrorReport *&warning) {
    if (!warning) return;
    oerr_PrintErrorReport(warning, OERR_REPORT_FULL);
    oerr_DeleteErrorReportEx(&warning);
}

void RunCallbacks(const wchar_t *category, const wchar_t *name, const Opmg_Preference &value) {
    std::vector<Opmg_CallbackEntry> entries;
    {
        Module &m = TheModule();
        std::lock_guard<std::mutex> lock(m.mutex);
        auto it = m.database.callbacks.find(Key(category, name));
        if (it == m.database.callbacks.end()) return;
        entries = it->second;
    }
    othr_ThreadUnsafeCodeEnter(0);
    for (const Opmg_CallbackEntry &e : entries) {
        try {
            e.function(category, name, &value, e.clientData);
        } catch (...) {
            // A client's exception must not cross the library's C interface.
        }
    }
    othr_ThreadUnsafeCodeExit();
}

} // namespace orvik::prefs
