// Exported wide <-> narrow (UTF-8) conversions.
#include <climits>
#include <cstring>
#include <cwchar>

#include <orvik/otxt.h>

#include "core/guard.hpp"
#include "core/heap_text.hpp"
#include "core/utf8.hpp"
#include "strings/report.hpp"

using orvik::core::Guarded;
using orvik::core::SetError;
using orvik::core::SetOutOfMemory;
using namespace orvik::strings;

extern "C" {

ORVIK_API char *otxt_Text_Unicode2Ascii(const wchar_t *text, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT {
    if (err) *err = nullptr;
    static const wchar_t *const kName = L"otxt_Text_Unicode2Ascii";
    return Guarded<char *>(err, kName, nullptr, [&]() -> char * {
        if (!text) return nullptr;
        std::string out;
        const auto r = orvik::text::WideToUtf8(text, out);
        if (!r.ok) {
            SetError(err, kName, kTextUnconvertible, nullptr,
                     L"Text cannot be converted: invalid character 0x%lx at position %ld",
                     static_cast<unsigned long>(text[r.errorPosition]),
                     static_cast<long>(r.errorPosition));
            return nullptr;
        }
        char *block = orvik::core::HeapDup(std::string_view(out));
        if (!block) SetOutOfMemory(err, kName);
        return block;
    });
}

ORVIK_API wchar_t *otxt_Text_Ascii2Unicode(const char *text, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT {
    if (err) *err = nullptr;
    static const wchar_t *const kName = L"otxt_Text_Ascii2Unicode";
    return Guarded<wchar_t *>(err, kName, nullptr, [&]() -> wchar_t * {
        if (!text) return nullptr;
        std::wstring out;
        const auto r = orvik::text::Utf8ToWide(text, out);
        if (!r.ok) {
            SetError(err, kName, kTextUnconvertible, nullptr,
                     L"Text cannot be converted: invalid UTF-8 byte 0x%02x at position %ld",
                     static_cast<unsigned>(static_cast<unsigned char>(text[r.errorPosition])),
                     static_cast<long>(r.errorPosition));
            return nullptr;
        }
        wchar_t *block = orvik::core::HeapDup(std::wstring_view(out));
        if (!block) SetOutOfMemory(err, kName);
        return block;
    });
}

} // extern "C"
