// Internal: the four calls of the standard heap, inline so that the heap's fast paths stay a
// tail call. POSIX: the C library, with malloc_usable_size as the size query.
#pragma once

#include <cstddef>
#include <cstdlib>

#if !defined(_WIN32)
#include <malloc.h>

namespace orvik::core::system_heap {

inline void *AllocateZeroed(std::size_t size) noexcept { return std::calloc(1, size); }
// Null on failure, the block then untouched.
inline void *Resize(void *block, std::size_t size) noexcept { return std::realloc(block, size); }
inline void Free(void *block) noexcept { std::free(block); }
inline std::size_t UsableSize(void *block) noexcept { return malloc_usable_size(block); }

} // namespace orvik::core::system_heap

#else
#error "The standard heap calls for Windows (process heap) are not written yet."
#endif
