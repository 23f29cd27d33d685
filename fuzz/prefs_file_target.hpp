// The body of the preference-text fuzz target, shared with the replay test: the bytes are
// read into a fixed set of definitions. Whatever is accepted must be written out and read
// back to the same text; whatever is refused must come with a report. Leaks are caught by
// ASan.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include <orvik/oerr.h>
#include <orvik/opmg.h>

#include "core/utf8.hpp"
#include "fuzz/check.hpp"
#include "prefs/prf_writer.hpp"

namespace prefs_file_fuzz {

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
    FUZZ_CHECK(opmg_ParseText(L"d", kDefinitions, sizeof kDefinitions - 1, &list, nullptr) == 0);
    return list;
}

inline int RunOne(const uint8_t *data, std::size_t size) {
    Opmg_Category *list = Definitions();
    Oerr_ErrorReport *err = nullptr;
    if (opmg_PrfParseText(L"fuzz", reinterpret_cast<const char *>(data), size, list, &err) != 0) {
        FUZZ_CHECK(err != nullptr);
        oerr_DeleteErrorReportEx(&err);
        opmg_FreeCategoryList(list);
        return 0;
    }
    FUZZ_CHECK(err == nullptr);
    const std::string once =
        orvik::text::WideToUtf8Lossy(orvik::prefs::PreferenceText(list, L"v8preference"));
    Opmg_Category *again = Definitions();
    FUZZ_CHECK(opmg_PrfParseText(L"again", once.data(), once.size(), again, &err) == 0);
    const std::string twice =
        orvik::text::WideToUtf8Lossy(orvik::prefs::PreferenceText(again, L"v8preference"));
    FUZZ_CHECK(once == twice);
    opmg_FreeCategoryList(again);
    opmg_FreeCategoryList(list);
    return 0;
}

} // namespace prefs_file_fuzz
