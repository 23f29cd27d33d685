// Windows environment access: the C runtime's wide environment (_wgetenv/_wputenv), which
// also keeps the process environment block and the narrow copy up to date.
#include "port/environment.hpp"

#include <cstdlib>

#include "port/win32/win32_text.hpp"

// After <windows.h>, which it needs.
#include <shlobj.h>

namespace orvik::port {

namespace {
bool Convertible(const std::wstring &text) {
    std::string unused;
    return orvik::text::WideToUtf8(text, unused).ok;
}
} // namespace

EnvLookup LookupEnvironment(const std::wstring &name, std::wstring &value) {
    if (name.empty() || name.find(L'=') != std::wstring::npos) return EnvLookup::Unset;
    const wchar_t *raw = _wgetenv(name.c_str());
    if (!raw) return EnvLookup::Unset;
    value = raw;
    // Wide values can hold unpaired surrogates, which no narrow form carries.
    return Convertible(value) && Convertible(name) ? EnvLookup::Set : EnvLookup::Unconvertible;
}

// "NAME=" removes a variable in the C runtime, so an empty value cannot be kept: setting one
// removes the variable (as the system itself does).
bool SetEnvironment(const std::wstring &name, const std::wstring &value) {
    if (name.empty() || name.find(L'=') != std::wstring::npos) return false;
    if (!Convertible(name) || !Convertible(value)) return false;
    const std::wstring assignment = name + L"=" + value;
    return _wputenv(assignment.c_str()) == 0;
}

bool UnsetEnvironment(const std::wstring &name) {
    if (name.empty() || name.find(L'=') != std::wstring::npos) return false;
    const std::wstring assignment = name + L"=";
    return _wputenv(assignment.c_str()) == 0;
}

wchar_t PathListSeparator() { return L';'; }

const wchar_t *HostArchitecture() { return L"Win32"; }

std::wstring SharedDataFolder() {
    std::wstring folder;
    wchar_t *known = nullptr;
    if (SUCCEEDED(SHGetKnownFolderPath(FOLDERID_ProgramData, 0, nullptr, &known)) && known) {
        folder = known;
    }
    CoTaskMemFree(known);
    if (folder.empty()) {
        // Older systems (and some Wine prefixes) only answer the CSIDL query.
        wchar_t buffer[MAX_PATH];
        if (SUCCEEDED(SHGetFolderPathW(nullptr, CSIDL_COMMON_APPDATA, nullptr, SHGFP_TYPE_CURRENT,
                                       buffer))) {
            folder = buffer;
        }
    }
    for (wchar_t &c : folder) {
        if (c == L'\\') c = L'/';
    }
    while (folder.size() > 3 && folder.back() == L'/') folder.pop_back();
    return folder;
}

} // namespace orvik::port
