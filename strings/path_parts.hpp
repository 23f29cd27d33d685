// Internal: the parts of a file name (see ostr.h for the rules). Views point into `name`.
#pragma once

#include <string>
#include <string_view>

namespace orvik::text {

// Position of the layer suffix "(:" or name.size() when there is none.
std::size_t LayerSuffixStart(std::wstring_view name);
std::wstring_view FileNameLocalPart(std::wstring_view name);
std::wstring_view FileNameDirPart(std::wstring_view name);
std::wstring_view FileNameExtension(std::wstring_view name);
std::wstring FileNameLayerPart(std::wstring_view name);

} // namespace orvik::text
