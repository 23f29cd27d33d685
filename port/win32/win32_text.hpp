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

// WidePath into a buffer of its own, without the heap for paths of ordinary length, so that
// renaming or removing a temporary file still works when memory has run out. get() is null
// when the text is not valid UTF-8.
class StackWidePath {
  public:
    explicit StackWidePath(const std::string &path) {
        int n = 0;
        if (!path.empty() && path.size() < kFixed) {
            n = MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, path.data(),
                                    static_cast<int>(path.size()), m_fixed, kFixed - 1);
            if (n <= 0) return; // not UTF-8 (the buffer holds every UTF-16 form that fits)
        } else if (!path.empty()) {
            if (WidePath(path, m_long)) m_text = m_long.c_str();
            return;
        }
        m_fixed[n] = L'\0';
        for (int i = 0; i < n; ++i) {
            if (m_fixed[i] == L'/') m_fixed[i] = L'\\';
        }
        m_text = m_fixed;
    }
    StackWidePath(const StackWidePath &) = delete;
    StackWidePath &operator=(const StackWidePath &) = delete;
    const wchar_t *get() const { return m_text; }

  private:
    // UTF-8 never takes fewer code units than UTF-16, so a path shorter than this fits.
    static constexpr std::size_t kFixed = 1024;
    wchar_t m_fixed[kFixed];
    std::wstring m_long;
    const wchar_t *m_text = nullptr;
};

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
