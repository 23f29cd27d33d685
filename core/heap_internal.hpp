// Internal: a view of the library heap's big heap for tests and benchmarks.
#pragma once

#include "port/big_heap.hpp"

namespace orvik::core {

// The big heap, or null while there is none.
port::big_heap::Heap *CurrentBigHeap();

namespace testing {
// Forgets the big heap (destroying it) and restores the initial threshold, so that one
// process can run cases with and without a big heap. REQUIRES: no block of the big heap is
// still live and no other thread uses the heap.
void DiscardBigHeap();
} // namespace testing

} // namespace orvik::core
