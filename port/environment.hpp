// Internal: the process environment as wide text, and the host's few fixed names. POSIX keeps
// names and values as UTF-8 bytes; Windows keeps them wide (_wgetenv/_wputenv).
// Not synchronised with writers of the environment: callers that change variables while
// other threads read them must serialise that themselves.
#pragma once

#include <string>

namespace orvik::port {

enum class EnvLookup { Unset, Set, Unconvertible };

// Looks up `name`; on Set, `value` receives the variable's value. Unconvertible means the
// variable is set but its value is not valid text (or the name cannot be converted).
EnvLookup LookupEnvironment(const std::wstring &name, std::wstring &value);
// Sets (replaces) a variable; false when the text cannot be converted, the name is empty or
// holds "=", or the system refuses.
bool SetEnvironment(const std::wstring &name, const std::wstring &value);
// Removes a variable; removing an unset one succeeds.
bool UnsetEnvironment(const std::wstring &name);

// The separator of the host's PATH variable (":" on POSIX, ";" on Windows).
wchar_t PathListSeparator();
// The host's name for GIO_ARCH: "Linux" or "Win32".
const wchar_t *HostArchitecture();
// The machine-wide folder for application data, with "/" separators and no trailing one:
// the first absolute folder of $XDG_DATA_DIRS (else "/usr/local/share") on POSIX, the
// common application-data folder on Windows. Empty when the system cannot say.
std::wstring SharedDataFolder();

} // namespace orvik::port
