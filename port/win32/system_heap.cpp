// Win32 standard heap: the process heap, switched to the low-fragmentation mode once when the
// library is loaded, with HeapSize as the size query (see port/system_heap.hpp).
#include "port/system_heap.hpp"

#include "port/win32/win32_text.hpp"

namespace orvik::port::system_heap {

namespace {

HANDLE ProcessHeap() noexcept {
    static const HANDLE heap = [] {
        HANDLE h = GetProcessHeap();
        // 2 selects the low-fragmentation heap. Refused when a debugger runs the process
        // with its own heap checks; the heap then works as before, so the result is ignored.
        ULONG mode = 2;
        HeapSetInformation(h, HeapCompatibilityInformation, &mode, sizeof mode);
        return h;
    }();
    return heap;
}

// Switches the mode at load time rather than in the middle of the first allocation.
const HANDLE gLoaded = ProcessHeap();

} // namespace

void *AllocateZeroed(std::size_t size) noexcept {
    return HeapAlloc(ProcessHeap(), HEAP_ZERO_MEMORY, size);
}

// HeapReAlloc leaves the block as it was when it fails, as realloc does.
void *Resize(void *block, std::size_t size) noexcept {
    return HeapReAlloc(ProcessHeap(), HEAP_ZERO_MEMORY, block, size);
}

void Free(void *block) noexcept {
    if (block) HeapFree(ProcessHeap(), 0, block);
}

std::size_t UsableSize(void *block) noexcept {
    const SIZE_T n = HeapSize(ProcessHeap(), 0, block);
    return n == static_cast<SIZE_T>(-1) ? 0 : n;
}

} // namespace orvik::port::system_heap
