// Internal: environment expansion of "$NAME" and "${NAME}" references (see ostr.h).
#pragma once

#include <string>
#include <string_view>

namespace orvik::text {

// Appends the expansion of `text` to `out`. Returns false when a variable's value cannot be
// converted; its name is then stored in `badName` and `out` is incomplete.
bool ExpandEnvironment(std::wstring_view text, std::wstring &out, std::wstring &badName);

} // namespace orvik::text
