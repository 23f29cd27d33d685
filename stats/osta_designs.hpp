// Internal: the module's shared designs, for the readers and writers of this module, which
// need no copy of their own. Thread-safe (built once, never changed).
#pragma once

#include <orvik/omif.h>

namespace orvik::stats {

// The shared design of that name ("Osta_Statistics", ...), built at the first request; null
// with a report of `function` on failure.
const Omif_Design *SharedDesign(const wchar_t *name, const wchar_t *function,
                                Oerr_ErrorReport **err);

} // namespace orvik::stats
