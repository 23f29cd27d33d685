// The library heap (provisional: standard heap only, with the failure seam).
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <malloc.h>

#include <orvik/omsc.h>

#include "core/heap_seam.hpp"

namespace {
std::atomic<long> gFailAt{0};
std::atomic<bool> gFailSticky{false};
std::atomic<long> gCounted{0};

bool SeamSaysFail() {
    const long at = gFailAt.load(std::memory_order_relaxed);
    if (at <= 0) return false;
    const long n = gCounted.fetch_add(1) + 1;
    return n == at || (n > at && gFailSticky.load());
}
} // namespace

namespace orvik::core::testing {
void FailNthAllocation(long n, bool sticky) {
    gCounted = 0;
    gFailSticky = sticky;
    gFailAt = n;
}
void ClearAllocationFailure() { FailNthAllocation(0, false); }
long AllocationsCounted() { return gCounted.load(); }
} // namespace orvik::core::testing

extern "C" {

ORVIK_API void *omsc_HeapMalloc(int32_t size) {
    if (size <= 0 || SeamSaysFail()) return nullptr;
    return std::calloc(1, static_cast<size_t>(size));
}

ORVIK_API void *omsc_HeapRealloc(void *block, int32_t newSize) {
    if (newSize <= 0) {
        std::free(block);
        return nullptr;
    }
    if (!block) return omsc_HeapMalloc(newSize);
    if (SeamSaysFail()) return nullptr;
    const size_t old = malloc_usable_size(block);
    void *p = std::realloc(block, static_cast<size_t>(newSize));
    if (p && static_cast<size_t>(newSize) > old)
        std::memset(static_cast<char *>(p) + old, 0, static_cast<size_t>(newSize) - old);
    return p;
}

ORVIK_API void omsc_HeapFree(void *block) { std::free(block); }

ORVIK_API void omsc_HeapFreeEx(void **block) {
    if (!block) return;
    omsc_HeapFree(*block);
    *block = nullptr;
}

ORVIK_API void omsc_FreeFunc(void *block) { omsc_HeapFree(block); }
ORVIK_API void omsc_FreePtrFunc(void **block) {
    if (block) omsc_HeapFree(*block);
}

} // extern "C"
