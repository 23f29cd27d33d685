// POSIX standard heap: the C library's allocator (see port/system_heap.hpp).
#include "port/system_heap.hpp"

#include <cstdlib>

#include <malloc.h>

namespace orvik::port::system_heap {

void *AllocateZeroed(std::size_t size) noexcept { return std::calloc(1, size); }
void *Resize(void *block, std::size_t size) noexcept { return std::realloc(block, size); }
void Free(void *block) noexcept { std::free(block); }
std::size_t UsableSize(void *block) noexcept { return malloc_usable_size(block); }

} // namespace orvik::port::system_heap
