// POSIX environment access: names and values are UTF-8 in the process environment.
#include "port/environment.hpp"

#include <cstdlib>

#include "core/utf8.hpp"

namespace orvik::port {

namespace {
bool Narrow(const std::wstring &in, std::string &out) {
    return orvik::text::WideToUtf8(in, out).ok;
}
} // namespace

EnvLookup LookupEnvironment(const std::wstring &name, std::wstring &value) {
    std::string narrowName;
    if (!Narrow(name, narrowName)) return EnvLookup::Unset;
    const char *raw = std::getenv(narrowName.c_str());
    if (!raw) return EnvLookup::Unset;
    value.clear();
    return orvik::text::Utf8ToWide(raw, value).ok ? EnvLookup::Set : EnvLookup::Unconvertible;
}

bool SetEnvironment(const std::wstring &name, const std::wstring &value) {
    std::string n, v;
    if (name.empty() || !Narrow(name, n) || !Narrow(value, v)) return false;
    if (n.find('=') != std::string::npos) return false;
    return setenv(n.c_str(), v.c_str(), 1) == 0;
}

bool UnsetEnvironment(const std::wstring &name) {
    std::string n;
    if (!Narrow(name, n)) return false;
    return unsetenv(n.c_str()) == 0;
}

wchar_t PathListSeparator() { return L':'; }

const wchar_t *HostArchitecture() { return L"Linux"; }

std::wstring SharedDataFolder() {
    std::wstring base = L"/usr/local/share";
    std::wstring dirs;
    if (LookupEnvironment(L"XDG_DATA_DIRS", dirs) == EnvLookup::Set) {
        std::wstring first = dirs.substr(0, dirs.find(L':'));
        // Relative entries are invalid by the convention and ignored.
        if (!first.empty() && first[0] == L'/') base = first;
    }
    while (base.size() > 1 && base.back() == L'/') base.pop_back();
    return base;
}

} // namespace orvik::port
