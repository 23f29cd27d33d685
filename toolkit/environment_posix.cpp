// POSIX environment access (see environment.hpp).
#include "toolkit/environment.hpp"

#include <cstdlib>

#include "strings/environment.hpp"
#include "core/utf8.hpp"

namespace orvik::toolkit {

bool ToUtf8(const std::wstring &in, std::string &out) {
    return orvik::text::WideToUtf8(in, out).ok;
}

std::wstring FromUtf8Lossy(const std::string &in) { return orvik::text::Utf8ToWideLossy(in); }

std::optional<std::wstring> GetEnv(const std::wstring &name) {
    std::wstring value;
    if (orvik::text::LookupEnvironment(name, value) != orvik::text::EnvLookup::Set)
        return std::nullopt;
    return value;
}

bool PutEnv(const std::wstring &name, const std::wstring &value) {
    std::string n, v;
    if (name.empty() || !ToUtf8(name, n) || !ToUtf8(value, v)) return false;
    if (n.find('=') != std::string::npos) return false;
    return setenv(n.c_str(), v.c_str(), 1) == 0;
}

bool UnsetEnv(const std::wstring &name) {
    std::string n;
    if (!ToUtf8(name, n)) return false;
    return unsetenv(n.c_str()) == 0;
}

wchar_t HostPathSeparator() { return L':'; }

} // namespace orvik::toolkit
