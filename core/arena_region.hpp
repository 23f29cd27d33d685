// Internal: the platform call behind the big heap's arena. One file per platform implements
// it (arena_posix.cpp here); nothing else in the library maps memory for the heap.
#pragma once

#include <cstddef>

namespace orvik::core {

// Reserves `bytes` of private, read-write memory that reads as zeros. Null on failure.
// The region is never grown; it lives until UnmapArenaRegion.
void *MapArenaRegion(std::size_t bytes) noexcept;
void UnmapArenaRegion(void *base, std::size_t bytes) noexcept;

} // namespace orvik::core
