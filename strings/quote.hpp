// Internal: quoting of one text into a library-heap block.
#pragma once

#include <string_view>

namespace orvik::text {

// `quote` + text with a backslash before every inner `quote` + `quote`. Null when the block
// cannot be allocated (or the text is too long for one heap block).
wchar_t *HeapQuote(std::wstring_view text, wchar_t quote);

} // namespace orvik::text
