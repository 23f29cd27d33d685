// Windows environment access: the wide environment block is read directly.
#ifdef _WIN32
#include <cstdlib>

#include "strings/environment.hpp"

namespace orvik::text {

EnvLookup LookupEnvironment(const std::wstring &name, std::wstring &value) {
    const wchar_t *raw = _wgetenv(name.c_str());
    if (!raw) return EnvLookup::Unset;
    value = raw;
    return EnvLookup::Set;
}

} // namespace orvik::text
#endif
