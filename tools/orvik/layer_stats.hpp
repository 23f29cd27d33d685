// Statistics, histogram and default colour table of a whole layer, stored with the layer.
#pragma once

#include <string>

#include <orvik/ogda.h>
#include <orvik/ohfa.h>
#include <orvik/osta.h>

namespace orvik_tool {

// Computes the statistics and histogram of the layer at `layerPath` (the library reads it
// strip by strip) and stores both. 8-bit unsigned layers get 256 direct bins (0..255) and,
// with `greyColourTable`, a grey ramp as their colour table.
Osta_Statistics StoreLayerStatistics(Ohfa_File *file, const std::string &layerPath,
                                     bool greyColourTable);

// The layer's whole raster (throws Failure).
Ogda_BaseData *ReadWholeLayer(Ohfa_File *file, const std::string &layerPath);

} // namespace orvik_tool
