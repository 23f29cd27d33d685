// Rewrites every raster layer of a file with another block storage (repack --compress).
#pragma once

#include <string>

#include <orvik/ohfa.h>
#include <orvik/oimg.h>

namespace orvik_tool {

// Every layer of `target` (overviews included), a copy of `source`, is written anew from the
// same layer of `source` with `storage`; the layers keep their place, records and children.
// Returns the number of layers rewritten.
long RecodeLayers(Ohfa_File *source, Ohfa_File *target, const Oimg_LayerStorage &storage);

} // namespace orvik_tool
