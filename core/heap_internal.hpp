// Internal: a view of the library heap's big arena for tests and benchmarks.
#pragma once

namespace orvik::core {

class BigArena;

// The big heap's arena, or null while there is none.
BigArena *CurrentBigArena();

namespace testing {
// Forgets the big heap (unmapping its arena) and restores the initial threshold, so that one
// process can run cases with and without a big heap. REQUIRES: no block of the big heap is
// still live and no other thread uses the heap.
void DiscardBigHeap();
} // namespace testing

} // namespace orvik::core
