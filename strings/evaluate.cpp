// Environment expansion and its exported wrapper. The text is scanned once, left to right;
// substituted values are not scanned again, so self-referring variables cannot loop.
#include "strings/evaluate.hpp"

#include <orvik/ostr.h>

#include "core/guard.hpp"
#include "core/heap_text.hpp"
#include "strings/environment.hpp"
#include "strings/report.hpp"

namespace orvik::text {
namespace {

bool IsNameStart(wchar_t c) {
    return (c >= L'A' && c <= L'Z') || (c >= L'a' && c <= L'z') || c == L'_';
}
bool IsNameChar(wchar_t c) { return IsNameStart(c) || (c >= L'0' && c <= L'9'); }

} // namespace

bool ExpandEnvironment(std::wstring_view text, std::wstring &out, std::wstring &badName) {
    std::size_t i = 0;
    std::wstring value;
    while (i < text.size()) {
        const std::size_t dollar = text.find(L'$', i);
        if (dollar == std::wstring_view::npos) break;
        out.append(text.substr(i, dollar - i));
        std::size_t nameStart = dollar + 1, nameEnd = nameStart, refEnd;
        if (nameStart < text.size() && text[nameStart] == L'{') {
            ++nameStart;
            nameEnd = text.find(L'}', nameStart);
            if (nameEnd == std::wstring_view::npos || nameEnd == nameStart) {
                out.push_back(L'$');
                i = dollar + 1;
                continue;
            }
            refEnd = nameEnd + 1;
        } else {
            if (nameStart >= text.size() || !IsNameStart(text[nameStart])) {
                out.push_back(L'$');
                i = dollar + 1;
                continue;
            }
            while (nameEnd < text.size() && IsNameChar(text[nameEnd])) ++nameEnd;
            refEnd = nameEnd;
        }
        const std::wstring name(text.substr(nameStart, nameEnd - nameStart));
        switch (LookupEnvironment(name, value)) {
        case EnvLookup::Set:
            out.append(value);
            break;
        case EnvLookup::Unset:
            out.append(text.substr(dollar, refEnd - dollar));
            break;
        case EnvLookup::Unconvertible:
            badName = name;
            return false;
        }
        i = refEnd;
    }
    if (i < text.size()) out.append(text.substr(i));
    return true;
}

} // namespace orvik::text

using orvik::core::Guarded;
using orvik::core::SetError;
using orvik::core::SetOutOfMemory;
using namespace orvik::strings;

extern "C" {

ORVIK_API wchar_t *ostr_StringEvaluate(const wchar_t *text, Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    if (err) *err = nullptr;
    static const wchar_t *const kName = L"ostr_StringEvaluate";
    return Guarded<wchar_t *>(err, kName, nullptr, [&]() -> wchar_t * {
        if (!text) return nullptr;
        std::wstring out, badName;
        if (!orvik::text::ExpandEnvironment(text, out, badName)) {
            SetError(err, kName, kEvaluateBadEnvironment, nullptr,
                     L"Environment variable %s holds text that cannot be converted",
                     badName.c_str());
            return nullptr;
        }
        wchar_t *result = orvik::core::HeapDup(std::wstring_view(out));
        if (!result) SetOutOfMemory(err, kName);
        return result;
    });
}

} // extern "C"
