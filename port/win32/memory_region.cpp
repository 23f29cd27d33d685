// Win32 back end of the arena region: one reserved and committed VirtualAlloc region, which
// the system hands out zero-filled. Thread-safe.
#include "port/memory_region.hpp"

#include "port/win32/win32_text.hpp"

namespace orvik::port {

void *MapArenaRegion(std::size_t bytes) noexcept {
    if (bytes == 0) return nullptr;
    return VirtualAlloc(nullptr, bytes, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE);
}

void UnmapArenaRegion(void *base, std::size_t) noexcept {
    if (base) VirtualFree(base, 0, MEM_RELEASE);
}

} // namespace orvik::port
