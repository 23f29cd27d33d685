// Internal: node-path syntax (see ofnp.h). The views point into the parsed text.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace orvik::fnp {

enum class Syntax { Ok, Empty, EmptyName, NameTooLong, Separator };

// Appends the names of `text` to `names` (nothing for the root).
Syntax ParseNodePath(std::wstring_view text, std::vector<std::wstring_view> &names);
// A single name (no "/", 1 to the maximum length).
Syntax CheckName(std::wstring_view name);
// "/" for no names, "/a/b" otherwise.
std::wstring JoinNames(const std::vector<std::wstring_view> &names);

} // namespace orvik::fnp
