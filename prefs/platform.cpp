// Platform of the preference defaults (see platform.hpp).
#include "prefs/platform.hpp"

#include <string>

#include "port/environment.hpp"
#include "strings/environment.hpp"

namespace orvik::prefs {

bool PcPlatform() {
    std::wstring arch;
    if (orvik::text::LookupEnvironment(L"GIO_ARCH", arch) != orvik::text::EnvLookup::Set) {
        arch = orvik::port::HostArchitecture();
    }
    return arch.rfind(L"Win", 0) == 0;
}

} // namespace orvik::prefs
