// Images and layers by node path.
#pragma once

#include <string>
#include <vector>

#include <orvik/ohfa.h>

namespace orvik_tool {

inline constexpr const char *kImageType = "Oimg_Image";
inline constexpr const char *kLayerType = "Oimg_Layer";

struct ImageNode {
    std::string image;               // the image entry's path ("" when the node is a lone layer)
    std::vector<std::string> layers; // layer paths, in entry order
};

// `node` as an image (its layers) or as one layer (with its image, when its parent is one).
// Fails for anything else.
ImageNode LayersOf(Ohfa_File *file, const std::string &node);

// A name for a new entry made of `text`: at most 63 characters, "/" and ":" replaced.
std::string EntryName(const std::string &text);

} // namespace orvik_tool
