// Internal: the four calls of the standard heap. POSIX: the C library, with
// malloc_usable_size as the size query. Windows: the process heap (low-fragmentation mode)
// with HeapSize. Out of line so that no system header reaches the heap's own code; the fast
// paths still end in a tail call.
#pragma once

#include <cstddef>

namespace orvik::port::system_heap {

// A zero-filled block, null on failure.
void *AllocateZeroed(std::size_t size) noexcept;
// Null on failure, the block then untouched.
void *Resize(void *block, std::size_t size) noexcept;
void Free(void *block) noexcept;
// The bytes the block can hold (at least the size asked for).
std::size_t UsableSize(void *block) noexcept;

} // namespace orvik::port::system_heap
