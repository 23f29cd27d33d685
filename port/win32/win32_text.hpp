// Internal to port/win32/: UTF-8 <-> UTF-16 for the wide Win32 calls, and <windows.h> with
// its macro names kept out of our own identifiers.
#pragma once

#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>

#include <string>

#include "core/utf8.hpp"

namespace orvik::port::win32 {

// A UTF-8 path as the wide text Win32 takes, "/" turned into "\". False when the text is
// not valid UTF-8.
inline bool WidePath(const std::string &path, std::wstring &out) {
    out.clear();
    if (!orvik::text::Utf8ToWide(path, out).ok) return false;
    for (wchar_t &c : out) {
        if (c == L'/') c = L'\\';
    }
    return true;
}

// Wide text from the system as UTF-8 with "/" separators (unpaired surrogates, which NTFS
// names may hold, become U+FFFD).
inline std::string NarrowPath(const std::wstring &path) {
    std::string out = orvik::text::WideToUtf8Lossy(path);
    for (char &c : out) {
        if (c == '\\') c = '/';
    }
    return out;
}

// The system's text for a Win32 error code, as UTF-8 without the trailing line break.
inline std::string ErrorText(DWORD code) {
    wchar_t *buffer = nullptr;
    const DWORD n = FormatMessageW(
        FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS,
        nullptr, code, 0, reinterpret_cast<wchar_t *>(&buffer), 0, nullptr);
    std::wstring text = n && buffer ? std::wstring(buffer, n) : std::wstring();
    if (buffer) LocalFree(buffer);
    while (!text.empty() && (text.back() == L'\n' || text.back() == L'\r' || text.back() == L' '))
        text.pop_back();
    if (text.empty()) return "Windows error " + std::to_string(code);
    return orvik::text::WideToUtf8Lossy(text);
}

} // namespace orvik::port::win32
