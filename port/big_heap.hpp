// Internal: the big heap, a heap of exactly the size it is created with that fails rather than
// grows when it is full. Windows: a HeapCreate heap whose initial and maximum sizes are equal
// (port/win32/big_heap.cpp). Elsewhere: the library's own arena (core/big_arena.hpp, adapted
// by core/big_heap_arena.cpp). CMake compiles exactly one of the two. Thread-safe.
#pragma once

#include <cstddef>

namespace orvik::port::big_heap {

struct Heap;

// The largest size Create accepts.
constexpr std::size_t kMaxBytes = std::size_t{1} << (sizeof(void *) >= 8 ? 46 : 30);

// A heap of exactly `bytes`, or null when the size is out of range or the system refuses.
Heap *Create(std::size_t bytes) noexcept;
// REQUIRES: no block of the heap is still in use.
void Destroy(Heap *heap) noexcept;
// A zero-filled block of at least `size` bytes, or null when the heap cannot hold it.
void *Allocate(Heap *heap, std::size_t size) noexcept;
// REQUIRES: `block` is a live block of `heap`.
void Free(Heap *heap, void *block) noexcept;
// Resizes within the heap (in place or by moving); bytes gained read as zeros. Null when the
// heap cannot hold the new size, the block then untouched. REQUIRES: `size` > 0.
void *Reallocate(Heap *heap, void *block, std::size_t size) noexcept;
// The bytes the block can hold (at least the size asked for).
std::size_t UsableSize(Heap *heap, void *block) noexcept;

// For tests and diagnostics (may be linear in the number of blocks).
std::size_t Bytes(const Heap *heap) noexcept;      // the size it was created with
bool Owns(Heap *heap, const void *block) noexcept; // `block` is a live block of the heap
std::size_t LiveBlocks(Heap *heap) noexcept;       // blocks allocated and not yet freed
bool Consistent(Heap *heap) noexcept;              // the heap's own structures check out

} // namespace orvik::port::big_heap
