// Internal: "*" / "?" wildcard matching of whole texts.
#pragma once

#include <string_view>

namespace orvik::text {

// True when `pattern` matches all of `text`. `loose` compares letters case-insensitively.
// Time is at most proportional to pattern length times text length (no recursion).
bool WildcardMatch(std::wstring_view pattern, std::wstring_view text, bool loose);

} // namespace orvik::text
