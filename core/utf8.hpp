// Internal UTF-8 <-> wide text codec. wchar_t is UTF-32 on Linux and UTF-16 on Windows; both
// are handled. Strict functions fail on unconvertible input; the lossy ones replace it with
// U+FFFD and never fail (used for printing, where losing a report is worse).
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace orvik::text {

// Position of the first offending unit on failure, or npos when the whole text converted.
struct ConvertResult {
    bool ok;
    std::size_t errorPosition;
};

ConvertResult Utf8ToWide(std::string_view in, std::wstring &out);
ConvertResult WideToUtf8(std::wstring_view in, std::string &out);

std::wstring Utf8ToWideLossy(std::string_view in);
std::string WideToUtf8Lossy(std::wstring_view in);

// The number of wchar_t units that hold the first `characters` characters of `text` (all of
// it when shorter). A surrogate pair counts as one character, so a cut there never splits a
// pair; with 32-bit wchar_t every unit is one character.
std::size_t UnitsOfCharacters(std::wstring_view text, std::size_t characters);

} // namespace orvik::text
