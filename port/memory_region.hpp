// Internal: the platform call behind the big heap's arena (one anonymous mapping; the Windows
// build has no arena, see port/big_heap.hpp); nothing else in the library maps memory for it.
#pragma once

#include <cstddef>

namespace orvik::port {

// Reserves `bytes` of private, read-write memory that reads as zeros. Null on failure.
// The region is never grown; it lives until UnmapArenaRegion.
void *MapArenaRegion(std::size_t bytes) noexcept;
void UnmapArenaRegion(void *base, std::size_t bytes) noexcept;

} // namespace orvik::port
