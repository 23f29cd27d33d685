// The georeferencing of an image in its HFA file.
#pragma once

#include <string>

#include <orvik/ohfa.h>

#include "raster.hpp"

namespace orvik_tool {

inline constexpr const wchar_t *kMapInfoEntry = L"Map_Info";
inline constexpr const wchar_t *kMapInfoDesign = L"Orvik_MapInfo";

// Stores `map` (when present) as the last child of the image entry.
void WriteMapInfo(Ohfa_File *file, const std::string &imagePath, const MapInfo &map);
// The image's georeferencing; not present when the image has none.
MapInfo ReadMapInfo(Ohfa_File *file, const std::string &imagePath);

} // namespace orvik_tool
