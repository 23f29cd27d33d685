// Internal: allocation of stack records.
#pragma once

#include <orvik/ogda.h>

namespace orvik::gda {

// A zeroed stack record with a zeroed array of count layer pointers (none for count 0); null
// when the heap is exhausted.
Ogda_BaseDataStack *NewStack(int32_t count, int32_t layersShared);

} // namespace orvik::gda
