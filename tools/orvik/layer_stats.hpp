// Statistics, histogram and default colour table of a whole layer, stored with the layer.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include <orvik/ogda.h>
#include <orvik/ohfa.h>
#include <orvik/osta.h>

namespace orvik_tool {

// Computes the statistics and histogram of the layer at `layerPath` (the library reads it
// strip by strip) and stores both. 8-bit unsigned layers get 256 direct bins (0..255) and,
// with `greyColourTable`, a grey ramp as their colour table.
// With `counts` (of every value of an integer layer up to 16 bits, as ValueCounts makes
// them), the layer is not read again.
Osta_Statistics StoreLayerStatistics(Ohfa_File *file, const std::string &layerPath,
                                     bool greyColourTable,
                                     const std::vector<uint64_t> *counts = nullptr);

// The layer's whole raster (throws Failure).
Ogda_BaseData *ReadWholeLayer(Ohfa_File *file, const std::string &layerPath);

} // namespace orvik_tool
