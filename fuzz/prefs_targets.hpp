// The checks of the two preference fuzz targets, shared by the libFuzzer entry points
// (fuzz/prefs_definitions.cpp, fuzz/prefs_file.cpp) and the seed replay tests.
//
// Definition text: accepted text must give well-formed parameters (known types, text values
// for text types, colours of 3 or 4 components) and parse the same way twice; refused text
// must come with the parser's report.
// Preference text, read into a fixed set of definitions: whatever is accepted must be written
// out and read back to the same text; whatever is refused must come with a report.
// Leaks are caught by ASan.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cwchar>
#include <string>

#include <orvik/oerr.h>
#include <orvik/opmg.h>

#include "prefs/prf_writer.hpp"
#include "core/utf8.hpp"

namespace prefs_fuzz {

inline void Check(bool condition) {
    if (!condition) std::abort();
}

inline long Count(const Opmg_Category *list) {
    long n = 0;
    for (const Opmg_Category *c = list; c; c = c->next) {
        Check(c->name != nullptr);
        for (const Opmg_Parameter *p = c->parameters; p; p = p->next) {
            ++n;
            Check(p->name != nullptr);
            Check(p->value.type == p->type);
            switch (p->type) {
            case OPMG_STRING:
            case OPMG_BOOLEAN:
            case OPMG_ENUM:
                Check(p->value.string != nullptr);
                Check(!(p->attributes & OPMG_ATTR_MAXLENGTH) || p->maxLength >= 0);
                break;
            case OPMG_NUMBER:
                break;
            case OPMG_COLOR:
                Check(p->value.color.count == 3 || p->value.color.count == 4);
                break;
            default:
                Check(false);
            }
        }
    }
    return n;
}

} // namespace prefs_fuzz

namespace prefs_fuzz {
inline int PrefsDefinitionsTarget(const uint8_t *data, size_t size) {
    const char *text = reinterpret_cast<const char *>(data);
    Opmg_Category *list = nullptr;
    Oerr_ErrorReport *err = nullptr;
    if (opmg_ParseText(L"fuzz.pdf", text, size, &list, &err) != 0) {
        Check(err != nullptr && list == nullptr);
        Check(err->message && std::wcscmp(err->message, L"OPMG: Error return from olex_Parse!") == 0);
        Check(err->next != nullptr); // the position report
        oerr_DeleteErrorReportEx(&err);
        return 0;
    }
    Check(err == nullptr);
    const long n = Count(list);
    // Parsing the same text again into the same list replaces every parameter in place.
    Check(opmg_ParseText(L"fuzz.pdf", text, size, &list, &err) == 0);
    Check(Count(list) == n);
    opmg_FreeCategoryList(list);
    return 0;
}
} // namespace prefs_fuzz

namespace prefs_fuzz {

inline const char kDefinitions[] = R"(a {
  s : OPMG_STRING;
  n : OPMG_NUMBER;
  c : OPMG_COLOR;
  b : OPMG_STRING boolean;
  e : OPMG_STRING enums {x, y};
  m : OPMG_STRING maxlength 3;
}
b { s : OPMG_STRING; n : OPMG_NUMBER; }
)";

inline Opmg_Category *Definitions() {
    Opmg_Category *list = nullptr;
    Check(opmg_ParseText(L"d", kDefinitions, sizeof kDefinitions - 1, &list, nullptr) == 0);
    return list;
}

} // namespace prefs_fuzz

namespace prefs_fuzz {
inline int PrefsFileTarget(const uint8_t *data, size_t size) {
    Opmg_Category *list = Definitions();
    Oerr_ErrorReport *err = nullptr;
    if (opmg_PrfParseText(L"fuzz", reinterpret_cast<const char *>(data), size, list, &err) != 0) {
        Check(err != nullptr);
        oerr_DeleteErrorReportEx(&err);
        opmg_FreeCategoryList(list);
        return 0;
    }
    Check(err == nullptr);
    const std::string once =
        orvik::text::WideToUtf8Lossy(orvik::prefs::PreferenceText(list, L"v8preference"));
    Opmg_Category *again = Definitions();
    Check(opmg_PrfParseText(L"again", once.data(), once.size(), again, &err) == 0);
    const std::string twice =
        orvik::text::WideToUtf8Lossy(orvik::prefs::PreferenceText(again, L"v8preference"));
    Check(once == twice);
    opmg_FreeCategoryList(again);
    opmg_FreeCategoryList(list);
    return 0;
}
} // namespace prefs_fuzz
