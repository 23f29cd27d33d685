// Internal: the reader of preference text, entry by entry.
//
//   text    := { blank | "/*" ... "*/" | "//" ... end of line | entry }
//   entry   := category "." name ":" value ";"       (blanks allowed between the parts)
//   names   := letters, digits, "_" and "-"
//   value   := '"' any text '"'     the string ends at the first '"' that is followed by
//                                   blanks, ";" and the end of the line (or of the text)
//            | number               as written by "%f" (any decimal or exponent form)
//            | int "," int "," int [ "," int ]       a colour
//
// Line and column (in bytes, from 1) of every fault are reported.
#pragma once

#include <cstddef>
#include <functional>
#include <string>

#include <orvik/opmg.h>

namespace orvik::prefs {

struct PrfEntry {
    std::wstring category;
    std::wstring name;
    enum Kind { Text, Number, Color } kind = Text;
    std::wstring text;
    double number = 0;
    Opmg_Color color{};
    long line = 0;
    long column = 0;
};

// Calls `take` for every entry in order; false (with a report naming `fileName`, the line and
// the column) at the first malformed entry. A false from `take` stops the scan; its report is
// then in *err.
bool ScanPreferenceText(const wchar_t *fileName, const char *text, std::size_t length,
                        const std::function<bool(const PrfEntry &)> &take, Oerr_ErrorReport **err);

} // namespace orvik::prefs
