// Internal: freeing and copying whole design trees (a design with its items, names,
// enumeration names and the designs its items own), for the wide and the narrow form.
// Works on caller-owned trees; no shared state.
#pragma once

#include <orvik/omif.h>

namespace orvik::mif {

enum class CopyStatus { kOk, kNoMemory, kBadText };

// Frees a design and everything it owns. Never follows `next`; null is harmless.
void DestroyDesign(Omif_Design *design);
void DestroyDesign(Omif_DesignA *design);

// Deep copy with the same sizes and offsets. `o` items that do not own their design keep
// referring to the source's design (or to its copy when that design is copied too).
Omif_Design *CopyDesign(const Omif_Design *design, CopyStatus &status);
// Copies into the other text form; every design reached through object items is
// converted once and owned by the result.
Omif_Design *WidenDesign(const Omif_DesignA *design, CopyStatus &status);
Omif_DesignA *NarrowDesign(const Omif_Design *design, CopyStatus &status);

} // namespace orvik::mif
