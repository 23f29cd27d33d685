// Quoting of single texts: ostr_QuoteString and the quoted duplicate used by list copies.
#include "strings/quote.hpp"

#include <climits>
#include <cstdint>
#include <cwchar>

#include <orvik/ostr.h>

#include "core/guard.hpp"
#include "strings/report.hpp"

namespace orvik::text {

wchar_t *HeapQuote(std::wstring_view text, wchar_t quote) {
    // Worst case every character is a quote and gains a backslash: 2n + 2 quotes + terminator.
    constexpr std::size_t kMaxUnits = static_cast<std::size_t>(INT32_MAX) / sizeof(wchar_t);
    if (text.size() > (kMaxUnits - 3) / 2) return nullptr;
    const std::size_t units = text.size() * 2 + 3;
    auto *out =
        static_cast<wchar_t *>(omsc_HeapMalloc(static_cast<int32_t>(units * sizeof(wchar_t))));
    if (!out) return nullptr;
    wchar_t *w = out;
    *w++ = quote;
    for (wchar_t c : text) {
        if (c == quote) *w++ = L'\\';
        *w++ = c;
    }
    *w++ = quote;
    *w = L'\0';
    return out;
}

} // namespace orvik::text

using orvik::core::Guarded;
using orvik::core::SetError;
using orvik::core::SetOutOfMemory;
using namespace orvik::strings;

extern "C" {

ORVIK_API wchar_t *ostr_QuoteString(const wchar_t *text, Omsc_Boolean doubleQuote,
                                    Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    if (err) *err = nullptr;
    static const wchar_t *const kName = L"ostr_QuoteString";
    return Guarded<wchar_t *>(err, kName, nullptr, [&]() -> wchar_t * {
        if (!text || !*text) {
            SetError(err, kName, kQuoteBadArgument, nullptr, L"Invalid argument!");
            return nullptr;
        }
        wchar_t *out = orvik::text::HeapQuote(text, doubleQuote ? L'"' : L'\'');
        if (!out) SetError(err, kName, kQuoteAllocation, nullptr, L"Not enough memory!");
        return out;
    });
}

ORVIK_API wchar_t *ostr_StringQuotedCopy(const wchar_t *text, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT {
    if (err) *err = nullptr;
    static const wchar_t *const kName = L"ostr_StringQuotedCopy";
    return Guarded<wchar_t *>(err, kName, nullptr, [&]() -> wchar_t * {
        if (!text) return nullptr;
        wchar_t *out = orvik::text::HeapQuote(text, L'"');
        if (!out) SetOutOfMemory(err, kName);
        return out;
    });
}

} // extern "C"
