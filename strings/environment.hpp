// Internal: read access to the process environment as wide text (one implementation per
// platform). Not synchronised with writers of the environment: callers that change variables
// while other threads read them must serialise that themselves.
#pragma once

#include <string>

namespace orvik::text {

enum class EnvLookup { Unset, Set, Unconvertible };

// Looks up `name`; on Set, `value` receives the variable's value. Unconvertible means the
// variable is set but its value is not valid narrow text (or the name cannot be converted).
EnvLookup LookupEnvironment(const std::wstring &name, std::wstring &value);

} // namespace orvik::text
