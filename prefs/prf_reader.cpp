// Reading preference values: text into a category list (opmg_PrfParseText) and every
// preference file or registry key along GIO_PREFERENCES_PATH (opmg_PrfParse).
#include <cwchar>
#include <string>

#include <orvik/ofio.h>
#include <orvik/opmg.h>

#include "core/guard.hpp"
#include "prefs/file_text.hpp"
#include "prefs/model.hpp"
#include "prefs/module.hpp"
#include "prefs/prf_text.hpp"
#include "prefs/registry.hpp"
#include "prefs/report.hpp"
#include "prefs/store.hpp"
#include "core/utf8.hpp"

using orvik::core::Guarded;
using orvik::core::SetError;
using namespace orvik::prefs;

namespace {

const wchar_t *const kPrfParse = L"opmg_PrfParse";

// Converts an entry to the parameter's type. Text stands for a number or colour when it
// reads as one (registry keys keep those as text); false when it does not fit.
bool Convert(const PrfEntry &e, const Opmg_Parameter &p, Opmg_Preference &v, std::wstring &text) {
    v = Opmg_Preference{};
    v.type = p.type;
    switch (p.type) {
    case OPMG_NUMBER:
        if (e.kind == PrfEntry::Number) {
            v.number = e.number;
            return true;
        }
        break;
    case OPMG_COLOR:
        if (e.kind == PrfEntry::Color) {
            v.color = e.color;
            return true;
        }
        break;
    default:
        if (e.kind == PrfEntry::Text) {
            text = e.text;
            v.string = text.data();
            return true;
        }
        return false;
    }
    if (e.kind != PrfEntry::Text) return false;
    for (wchar_t ch : e.text) {
        if (ch <= 0 || ch > 127) return false; // numbers are ASCII
    }
    // A value kept as text: read it again as a bare value.
    const std::string bytes = "x.y:" + std::string(e.text.begin(), e.text.end()) + ";";
    bool ok = false;
    ScanPreferenceText(
        L"", bytes.data(), bytes.size(),
        [&](const PrfEntry &inner) {
            if (inner.kind == PrfEntry::Text) return true;
            PrfEntry copy = inner;
            ok = Convert(copy, p, v, text);
            return true;
        },
        nullptr);
    return ok;
}

long ApplyText(const wchar_t *fileName, const char *text, size_t length, Opmg_Category *list,
               Oerr_ErrorReport **err) {
    const wchar_t *file = fileName ? fileName : L"<text>";
    auto take = [&](const PrfEntry &e) {
        Opmg_Category *c = FindCategory(list, e.category.c_str());
        if (!c) {
            Warn(kPrfParse, kUnknownCategory, Position(file, e.line, e.column),
                 L"%s.%s: Preference category %s not found", e.category.c_str(), e.name.c_str(),
                 e.category.c_str());
            return true;
        }
        Opmg_Parameter *p = FindParameter(c, e.name.c_str());
        if (!p) {
            Warn(kPrfParse, kUndefinedEntry, Position(file, e.line, e.column),
                 L"Entry %s.%s is no longer valid!.", e.category.c_str(), e.name.c_str());
            return true;
        }
        Opmg_Preference v;
        std::wstring holder;
        if (!Convert(e, *p, v, holder)) {
            Warn(kPrfParse, kTypeMismatch, Position(file, e.line, e.column),
                 L"Entry %s.%s does not fit the preference's type; ignored", e.category.c_str(),
                 e.name.c_str());
            return true;
        }
        Oerr_ErrorReport *warning = nullptr;
        StoreValue(c->name, *p, v, &warning);
        PrintWarning(warning);
        return true;
    };
    Oerr_ErrorReport *inner = nullptr;
    if (!ScanPreferenceText(file, text, length, take, &inner)) {
        SetError(err, kPrfParse, kParseFailed, inner, L"Cannot read preferences from %s", file);
        return -1;
    }
    return 0;
}

long ApplyElement(const std::wstring &element, const std::wstring &fileName, Opmg_Category *list,
                  Oerr_ErrorReport **err) {
    Oerr_ErrorReport *inner = nullptr;
    std::string bytes;
    std::wstring source;
    if (element.rfind(L"HKEY_", 0) == 0) {
        RegistryKey key;
        if (!ParseRegistryKey(element, key, err)) return -1;
        std::wstring text;
        bool exists = false;
        if (!ReadKeyAsPreferenceText(key, text, exists, &inner)) {
            SetError(err, kPrfParse, kFileFailed, inner, L"Cannot read registry key %s",
                     element.c_str());
            return -1;
        }
        if (!exists) return 0;
        std::string narrow;
        if (!orvik::text::WideToUtf8(text, narrow).ok) return 0;
        return ApplyText(element.c_str(), narrow.data(), narrow.size(), list, err);
    }
    source = element == L"/" ? L"/" + fileName : element + L"/" + fileName;
    if (ofio_FileExists(source.c_str(), &inner) != OMSC_TRUE) {
        oerr_DeleteErrorReportEx(&inner);
        return 0;
    }
    if (!ReadWholeFile(source.c_str(), bytes, &inner)) {
        SetError(err, kPrfParse, kFileFailed, inner, L"Cannot read %s", source.c_str());
        return -1;
    }
    return ApplyText(source.c_str(), bytes.data(), bytes.size(), list, err);
}

} // namespace

extern "C" {

ORVIK_API long opmg_PrfParseText(const wchar_t *fileName, const char *text, size_t length,
                                 Opmg_Category *list, Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    if (err) *err = nullptr;
    return Guarded<long>(err, kPrfParse, -1,
                         [&] { return ApplyText(fileName, text, length, list, err); });
}

ORVIK_API long opmg_PrfParse(Opmg_Category *list, Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    if (err) *err = nullptr;
    return Guarded<long>(err, kPrfParse, -1, [&]() -> long {
        std::wstring fileName;
        {
            Module &m = TheModule();
            std::lock_guard<std::mutex> lock(m.mutex);
            fileName = m.fileName;
        }
        Oerr_ErrorReport *inner = nullptr;
        ostr_StringList *elements = ofio_SearchListCreateFromEnv(L"GIO_PREFERENCES_PATH", &inner);
        if (!elements) { // no preference path: the defaults stand
            oerr_DeleteErrorReportEx(&inner);
            return 0;
        }
        struct Guard {
            ostr_StringList *l;
            ~Guard() { ostr_StringListDelete(l, nullptr); }
        } guard{elements};
        for (int32_t i = elements->count - 1; i >= 0; --i) {
            if (!elements->strings[i]) continue;
            if (ApplyElement(elements->strings[i], fileName, list, err) != 0) return -1;
        }
        return 0;
    });
}

} // extern "C"
