// Platform of the preference defaults (see platform.hpp).
#include "prefs/platform.hpp"

#include <string>

#include "strings/environment.hpp"

namespace orvik::prefs {

namespace {
#ifdef _WIN32
constexpr const wchar_t *kHostArch = L"Win32";
#else
constexpr const wchar_t *kHostArch = L"Linux";
#endif
} // namespace

bool PcPlatform() {
    std::wstring arch;
    if (orvik::text::LookupEnvironment(L"GIO_ARCH", arch) != orvik::text::EnvLookup::Set) {
        arch = kHostArch;
    }
    return arch.rfind(L"Win", 0) == 0;
}

} // namespace orvik::prefs
