// Internal: the library's wide formatter (see ostr.h for the conversion convention).
#pragma once

#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <string>

namespace orvik::text {

// Appends the formatted text to `out`. Consumes `args` (pass a va_copy to reuse it).
// Formatting stops after the conversion that makes the appended text reach `limit`.
void AppendFormatV(std::wstring &out, const wchar_t *format, va_list args,
                   std::size_t limit = SIZE_MAX);

inline std::wstring FormatV(const wchar_t *format, va_list args) {
    std::wstring out;
    AppendFormatV(out, format, args);
    return out;
}

std::wstring Format(const wchar_t *format, ...);

} // namespace orvik::text
