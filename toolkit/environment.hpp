// Internal: read and write process environment variables as wide text (through
// port/environment.hpp). Writers are not synchronised with readers on other threads:
// start-up runs before the application starts its threads.
#pragma once

#include <optional>
#include <string>

namespace orvik::toolkit {

// The value, or nothing when the variable is unset or not valid UTF-8.
std::optional<std::wstring> GetEnv(const std::wstring &name);
// Sets (replaces) a variable; false when the text cannot be converted or the system refuses.
bool PutEnv(const std::wstring &name, const std::wstring &value);
// Removes a variable (tests use it to restore the environment).
bool UnsetEnv(const std::wstring &name);
// The separator of the host's PATH variable.
wchar_t HostPathSeparator();

// Wide <-> UTF-8 for names handed to the system; false when not convertible.
bool ToUtf8(const std::wstring &in, std::string &out);
std::wstring FromUtf8Lossy(const std::string &in);

} // namespace orvik::toolkit
