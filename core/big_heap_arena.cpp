// The big heap over the library's own arena (see port/big_heap.hpp); the Windows build
// compiles port/win32/big_heap.cpp instead.
#include "core/big_arena.hpp"
#include "port/big_heap.hpp"

namespace orvik::port::big_heap {

namespace {
// A heap handle is the arena itself; Heap is never defined.
core::BigArena *ArenaOf(Heap *heap) { return reinterpret_cast<core::BigArena *>(heap); }
const core::BigArena *ArenaOf(const Heap *heap) {
    return reinterpret_cast<const core::BigArena *>(heap);
}
} // namespace

static_assert(kMaxBytes <= core::BigArena::kMaxRegionBytes);

Heap *Create(std::size_t bytes) noexcept {
    return reinterpret_cast<Heap *>(core::BigArena::Create(bytes));
}
void Destroy(Heap *heap) noexcept { delete ArenaOf(heap); }
void *Allocate(Heap *heap, std::size_t size) noexcept { return ArenaOf(heap)->Allocate(size); }
void Free(Heap *heap, void *block) noexcept { ArenaOf(heap)->Free(block); }
void *Reallocate(Heap *heap, void *block, std::size_t size) noexcept {
    return ArenaOf(heap)->Reallocate(block, size);
}
std::size_t UsableSize(Heap *heap, void *block) noexcept {
    return ArenaOf(heap)->UsableSize(block);
}

std::size_t Bytes(const Heap *heap) noexcept { return ArenaOf(heap)->RegionBytes(); }
bool Owns(Heap *heap, const void *block) noexcept { return ArenaOf(heap)->Contains(block); }
std::size_t LiveBlocks(Heap *heap) noexcept { return ArenaOf(heap)->TakeCensus().usedBlocks; }
bool Consistent(Heap *heap) noexcept { return ArenaOf(heap)->TakeCensus().consistent; }

} // namespace orvik::port::big_heap
