// Internal: the one place where the heap learns the size of its big arena. The preference
// database connects its lookup here; until then (and after a null lookup) the size is 0,
// which means no big heap. Thread-safe.
#pragma once

namespace orvik::core {

// The number preference "heap_size" of category "memory", in megabytes. Any report of the
// lookup is the lookup's own business: this returns a number and nothing else.
using HeapSizeLookup = double (*)();

double HeapSizePreference();
// Replaces the lookup; null restores the default (0).
void SetHeapSizePreferenceLookup(HeapSizeLookup lookup);

} // namespace orvik::core
