// POSIX back end of the arena region: one anonymous private mapping. Thread-safe.
#include "port/memory_region.hpp"

#include <sys/mman.h>

namespace orvik::port {

void *MapArenaRegion(std::size_t bytes) noexcept {
    if (bytes == 0) return nullptr;
    // MAP_NORESERVE: pages are committed on first touch, so an arena that is mostly idle
    // costs address space, not memory.
    void *p = mmap(nullptr, bytes, PROT_READ | PROT_WRITE,
                   MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    return p == MAP_FAILED ? nullptr : p;
}

void UnmapArenaRegion(void *base, std::size_t bytes) noexcept {
    if (base) munmap(base, bytes);
}

} // namespace orvik::port
