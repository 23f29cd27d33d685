// The body of the definition-text fuzz target, shared with the replay test. Accepted text
// must give well-formed parameters (known types, text values for text types, colours of 3 or
// 4 components) and parse the same way twice; refused text must come with the parser's
// report. Leaks are caught by ASan.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cwchar>

#include <orvik/oerr.h>
#include <orvik/opmg.h>

#include "fuzz/check.hpp"

namespace prefs_definitions_fuzz {

inline long Count(const Opmg_Category *list) {
    long n = 0;
    for (const Opmg_Category *c = list; c; c = c->next) {
        FUZZ_CHECK(c->name != nullptr);
        for (const Opmg_Parameter *p = c->parameters; p; p = p->next) {
            ++n;
            FUZZ_CHECK(p->name != nullptr);
            FUZZ_CHECK(p->value.type == p->type);
            switch (p->type) {
            case OPMG_STRING:
            case OPMG_BOOLEAN:
            case OPMG_ENUM:
                FUZZ_CHECK(p->value.string != nullptr);
                FUZZ_CHECK(!(p->attributes & OPMG_ATTR_MAXLENGTH) || p->maxLength >= 0);
                break;
            case OPMG_NUMBER:
                break;
            case OPMG_COLOR:
                FUZZ_CHECK(p->value.color.count == 3 || p->value.color.count == 4);
                break;
            default:
                FUZZ_CHECK(false);
            }
        }
    }
    return n;
}

inline int RunOne(const uint8_t *data, std::size_t size) {
    const char *text = reinterpret_cast<const char *>(data);
    Opmg_Category *list = nullptr;
    Oerr_ErrorReport *err = nullptr;
    if (opmg_ParseText(L"fuzz.pdf", text, size, &list, &err) != 0) {
        FUZZ_CHECK(err != nullptr && list == nullptr);
        FUZZ_CHECK(err->message &&
                   std::wcscmp(err->message, L"OPMG: Error return from olex_Parse!") == 0);
        FUZZ_CHECK(err->next != nullptr); // the position report
        oerr_DeleteErrorReportEx(&err);
        return 0;
    }
    FUZZ_CHECK(err == nullptr);
    const long n = Count(list);
    // Parsing the same text again into the same list replaces every parameter in place.
    FUZZ_CHECK(opmg_ParseText(L"fuzz.pdf", text, size, &list, &err) == 0);
    FUZZ_CHECK(Count(list) == n);
    opmg_FreeCategoryList(list);
    return 0;
}

} // namespace prefs_definitions_fuzz
