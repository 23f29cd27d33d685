// String lists: joining the entries into one string.
#include <climits>
#include <cstdint>
#include <cwchar>

#include "core/guard.hpp"
#include "strings/string_list.hpp"
#include "strings/report.hpp"

using orvik::text::UsedCount;
using namespace orvik::strings;

extern "C" {

ORVIK_API wchar_t *ostr_StringListToDelimString(const ostr_StringList *list,
                                                const wchar_t *delimiter, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT {
    if (err) *err = nullptr;
    if (!list) return nullptr;
    const int32_t n = UsedCount(list);
    const std::size_t delimLength = delimiter ? std::wcslen(delimiter) : 0;
    constexpr std::size_t kMaxUnits = static_cast<std::size_t>(INT32_MAX) / sizeof(wchar_t);
    // Sum with a ceiling so that an absurd total is refused instead of wrapping around.
    const std::size_t gaps = n > 1 ? static_cast<std::size_t>(n - 1) : 0;
    std::size_t total =
        delimLength && gaps > kMaxUnits / delimLength ? kMaxUnits : delimLength * gaps;
    for (int32_t i = 0; i < n && total < kMaxUnits; ++i)
        if (list->strings[i]) total += std::wcslen(list->strings[i]);
    auto *out = total < kMaxUnits ? static_cast<wchar_t *>(omsc_HeapMalloc(
                                        static_cast<int32_t>((total + 1) * sizeof(wchar_t))))
                                  : nullptr;
    if (!out) {
        orvik::core::SetError(err, L"ostr_StringListToDelimString", kJoinAllocation, nullptr,
                              L"Could not allocate space for string");
        return nullptr;
    }
    wchar_t *w = out;
    for (int32_t i = 0; i < n; ++i) {
        if (const wchar_t *s = list->strings[i]) {
            const std::size_t len = std::wcslen(s);
            std::wmemcpy(w, s, len);
            w += len;
        }
        if (i + 1 < n && delimLength) {
            std::wmemcpy(w, delimiter, delimLength);
            w += delimLength;
        }
    }
    out[total] = L'\0';
    return out;
}

ORVIK_API wchar_t *ostr_StringListToString(const ostr_StringList *list, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT {
    return ostr_StringListToDelimString(list, nullptr, err);
}

} // extern "C"
