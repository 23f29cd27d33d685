// Environment access for start-up (see environment.hpp).
#include "toolkit/environment.hpp"

#include "core/utf8.hpp"
#include "port/environment.hpp"

namespace orvik::toolkit {

bool ToUtf8(const std::wstring &in, std::string &out) {
    return orvik::text::WideToUtf8(in, out).ok;
}

std::wstring FromUtf8Lossy(const std::string &in) { return orvik::text::Utf8ToWideLossy(in); }

std::optional<std::wstring> GetEnv(const std::wstring &name) {
    std::wstring value;
    if (port::LookupEnvironment(name, value) != port::EnvLookup::Set) return std::nullopt;
    return value;
}

bool PutEnv(const std::wstring &name, const std::wstring &value) {
    return port::SetEnvironment(name, value);
}

bool UnsetEnv(const std::wstring &name) { return port::UnsetEnvironment(name); }

wchar_t HostPathSeparator() { return port::PathListSeparator(); }

} // namespace orvik::toolkit
