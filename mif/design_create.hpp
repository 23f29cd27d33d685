// Internal: building designs from item descriptions (shared by every creating function
// and by the built-in design sets).
#pragma once

#include <orvik/omif.h>

namespace orvik::mif {

// Builds and lays out a design. `itemCount` < 0 means "up to OMIF_ITEM_END". Reports under
// `function`; null on failure.
Omif_Design *BuildDesign(const wchar_t *name, const Omif_ItemDescription *items, int32_t itemCount,
                         const Omif_Dictionary *dictionary, const wchar_t *function,
                         Oerr_ErrorReport **err);

} // namespace orvik::mif
