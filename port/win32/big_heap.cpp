// Win32 big heap: a private HeapCreate heap whose initial and maximum sizes are equal, so the
// system never grows it. Such a heap refuses any single block above its fixed-heap limit (about
// 512 KB in 32-bit processes, 1 MB in 64-bit ones) whatever its size; the library heap then
// serves the request from the standard heap, as for any request the big heap has no room for.
#include "port/big_heap.hpp"

#include <new>

#include "port/win32/win32_text.hpp"

namespace orvik::port::big_heap {

struct Heap {
    HANDLE handle;
    std::size_t bytes;
};

Heap *Create(std::size_t bytes) noexcept {
    if (bytes == 0 || bytes > kMaxBytes) return nullptr;
    auto *heap = new (std::nothrow) Heap{nullptr, bytes};
    if (!heap) return nullptr;
    // No flags: the heap serialises its callers itself.
    heap->handle = HeapCreate(0, bytes, bytes);
    if (!heap->handle) {
        delete heap;
        return nullptr;
    }
    return heap;
}

void Destroy(Heap *heap) noexcept {
    if (!heap) return;
    HeapDestroy(heap->handle);
    delete heap;
}

void *Allocate(Heap *heap, std::size_t size) noexcept {
    return HeapAlloc(heap->handle, HEAP_ZERO_MEMORY, size);
}

void Free(Heap *heap, void *block) noexcept { HeapFree(heap->handle, 0, block); }

// Without HEAP_REALLOC_IN_PLACE_ONLY the block may move within the heap; on failure it stays.
void *Reallocate(Heap *heap, void *block, std::size_t size) noexcept {
    return HeapReAlloc(heap->handle, HEAP_ZERO_MEMORY, block, size);
}

std::size_t UsableSize(Heap *heap, void *block) noexcept {
    const SIZE_T n = HeapSize(heap->handle, 0, block);
    return n == static_cast<SIZE_T>(-1) ? 0 : n;
}

std::size_t Bytes(const Heap *heap) noexcept { return heap->bytes; }

namespace {

// Calls `visit` with the data address of every allocated block, the heap locked meanwhile.
template <class Visit> void WalkBusyBlocks(Heap *heap, Visit visit) {
    HeapLock(heap->handle);
    PROCESS_HEAP_ENTRY entry{};
    entry.lpData = nullptr;
    while (HeapWalk(heap->handle, &entry))
        if (entry.wFlags & PROCESS_HEAP_ENTRY_BUSY) visit(entry.lpData);
    HeapUnlock(heap->handle);
}

} // namespace

bool Owns(Heap *heap, const void *block) noexcept {
    bool found = false;
    WalkBusyBlocks(heap, [&](const void *p) { found = found || p == block; });
    return found;
}

std::size_t LiveBlocks(Heap *heap) noexcept {
    std::size_t n = 0;
    WalkBusyBlocks(heap, [&](const void *) { ++n; });
    return n;
}

bool Consistent(Heap *heap) noexcept { return HeapValidate(heap->handle, 0, nullptr) != 0; }

} // namespace orvik::port::big_heap
