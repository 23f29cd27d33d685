// POSIX environment access: names and values are UTF-8 in the process environment.
#ifndef _WIN32
#include <cstdlib>

#include "strings/environment.hpp"
#include "core/utf8.hpp"

namespace orvik::text {

EnvLookup LookupEnvironment(const std::wstring &name, std::wstring &value) {
    std::string narrowName;
    if (!WideToUtf8(name, narrowName).ok) return EnvLookup::Unset;
    const char *raw = std::getenv(narrowName.c_str());
    if (!raw) return EnvLookup::Unset;
    value.clear();
    return Utf8ToWide(raw, value).ok ? EnvLookup::Set : EnvLookup::Unconvertible;
}

} // namespace orvik::text
#endif
