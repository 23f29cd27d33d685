// The library heap: the standard heap (port/system_heap.hpp) for ordinary requests and, once
// omsc_HeapBigInit has created it, a fixed-size big heap (port/big_heap.hpp) for requests of at
// least the threshold.
//
// Thread-safety: without thread-safe mode no heap lock is taken; the standard heap and the
// big heap serialise themselves and the shared state (big heap, threshold, bounds) is
// atomic, the bounds being widened with compare-and-swap so that none is lost. In thread-safe
// mode every allocation, release and resize also holds the heap mutex; the mode flag is only
// written under that mutex.
#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstring>
#include <mutex>

#include <orvik/omsc.h>

#include "core/heap_config.hpp"
#include "core/heap_internal.hpp"
#include "core/heap_seam.hpp"
#include "port/big_heap.hpp"
#include "port/system_heap.hpp"

namespace big_heap = orvik::port::big_heap;
using BigHeap = orvik::port::big_heap::Heap;
namespace system_heap = orvik::port::system_heap;

namespace {

// Requests of at least this size go to the big heap; omsc_HeapBigInit lowers it to the page
// size.
constexpr std::size_t kInitialThreshold = 65536;
// The largest "heap_size" (megabytes) a big heap can be created with.
constexpr double kMaxBigMegabytes = static_cast<double>(big_heap::kMaxBytes >> 20);

std::mutex gHeapMutex;
std::atomic<int> gThreadSafe{0};
std::atomic<BigHeap *> gBig{nullptr};
std::atomic<std::size_t> gThreshold{kInitialThreshold};
// Lowest and highest addresses the big heap has handed out; a block inside the range (both
// ends included) belongs to the big heap.
std::atomic<std::uintptr_t> gBigLow{UINTPTR_MAX};
std::atomic<std::uintptr_t> gBigHigh{0};

bool ThreadSafeMode() { return gThreadSafe.load(std::memory_order_relaxed) == 1; }

class HeapLock {
  public:
    HeapLock() : m_locked(ThreadSafeMode()) {
        if (m_locked) gHeapMutex.lock();
    }
    ~HeapLock() {
        if (m_locked) gHeapMutex.unlock();
    }
    HeapLock(const HeapLock &) = delete;
    HeapLock &operator=(const HeapLock &) = delete;

  private:
    bool m_locked;
};

// Failing-allocation seam: gFailAt 0 means off, and then the only cost is one relaxed load.
std::atomic<long> gFailAt{0};
std::atomic<bool> gFailSticky{false};
std::atomic<long> gCounted{0};

bool SeamSaysFail() {
    const long at = gFailAt.load(std::memory_order_relaxed);
    if (at <= 0) return false;
    const long n = gCounted.fetch_add(1) + 1;
    return n == at || (n > at && gFailSticky.load());
}

void WidenBigBounds(const void *block) {
    const auto a = reinterpret_cast<std::uintptr_t>(block);
    std::uintptr_t low = gBigLow.load(std::memory_order_relaxed);
    while (a < low && !gBigLow.compare_exchange_weak(low, a, std::memory_order_relaxed)) {
    }
    std::uintptr_t high = gBigHigh.load(std::memory_order_relaxed);
    while (a > high && !gBigHigh.compare_exchange_weak(high, a, std::memory_order_relaxed)) {
    }
}

// The big heap when it owns `block`, null for the standard heap.
BigHeap *OwningBig(const void *block) {
    BigHeap *big = gBig.load(std::memory_order_acquire);
    if (!big) return nullptr;
    const auto a = reinterpret_cast<std::uintptr_t>(block);
    if (a < gBigLow.load(std::memory_order_relaxed) || a > gBigHigh.load(std::memory_order_relaxed))
        return nullptr;
    return big;
}

[[gnu::noinline]] void *AllocateBig(BigHeap *big, std::size_t size) {
    if (void *p = big_heap::Allocate(big, size)) {
        WidenBigBounds(p);
        return p;
    }
    return system_heap::AllocateZeroed(size);
}

// A zero-filled block from the heap the size selects, retried once in the standard heap
// when the big heap has no room.
inline void *AllocateRouted(std::size_t size) {
    BigHeap *big = gBig.load(std::memory_order_acquire);
    if (big && size >= gThreshold.load(std::memory_order_relaxed)) return AllocateBig(big, size);
    return system_heap::AllocateZeroed(size);
}

inline void *Allocate(int32_t size) {
    if (size <= 0 || SeamSaysFail()) return nullptr;
    return AllocateRouted(static_cast<std::size_t>(size));
}

std::size_t UsableSizeIn(BigHeap *owner, void *block) {
    return owner ? big_heap::UsableSize(owner, block) : system_heap::UsableSize(block);
}

// Resizes within the C library heap. Every byte past the requested size up to the usable
// size is kept zero (calloc starts it so, shrinking clears it), so clearing from the old
// usable size is enough for a grown block to read as zeros past its old contents.
void *ResizeStandard(void *block, std::size_t oldUsable, std::size_t size) {
    void *p = system_heap::Resize(block, size);
    if (!p) return nullptr;
    const std::size_t usable = system_heap::UsableSize(p);
    const std::size_t from = std::min(oldUsable, size);
    if (usable > from) std::memset(static_cast<char *>(p) + from, 0, usable - from);
    return p;
}

void FreeIn(BigHeap *owner, void *block) {
    if (owner) {
        big_heap::Free(owner, block);
    } else {
        system_heap::Free(block);
    }
}

inline void Release(void *block) { FreeIn(OwningBig(block), block); }

// Kept out of line so that the unlocked paths of omsc_HeapMalloc and omsc_HeapFree stay a
// few instructions ending in a tail call of the C library.
[[gnu::noinline]] void *AllocateLocked(int32_t size) {
    std::lock_guard<std::mutex> guard(gHeapMutex);
    return Allocate(size);
}

[[gnu::noinline]] void ReleaseLocked(void *block) {
    std::lock_guard<std::mutex> guard(gHeapMutex);
    Release(block);
}

} // namespace

namespace orvik::core {

BigHeap *CurrentBigHeap() { return gBig.load(std::memory_order_acquire); }

namespace testing {

void FailNthAllocation(long n, bool sticky) {
    gCounted = 0;
    gFailSticky = sticky;
    gFailAt = n;
}
void ClearAllocationFailure() { FailNthAllocation(0, false); }
long AllocationsCounted() { return gCounted.load(); }

void DiscardBigHeap() {
    std::lock_guard<std::mutex> guard(gHeapMutex);
    big_heap::Destroy(gBig.exchange(nullptr));
    gThreshold = kInitialThreshold;
    gBigLow = UINTPTR_MAX;
    gBigHigh = 0;
}

} // namespace testing
} // namespace orvik::core

extern "C" {

ORVIK_API void *omsc_HeapMalloc(int32_t size) ORVIK_NOEXCEPT {
    return ThreadSafeMode() ? AllocateLocked(size) : Allocate(size);
}

ORVIK_API void *omsc_HeapRealloc(void *block, int32_t newSize) ORVIK_NOEXCEPT {
    HeapLock lock;
    if (newSize == 0) {
        if (block) Release(block);
        return nullptr;
    }
    // A negative size is a request no heap can meet: fail and keep the block.
    if (newSize < 0) return nullptr;
    const auto size = static_cast<std::size_t>(newSize);
    if (!block) return SeamSaysFail() ? nullptr : AllocateRouted(size);

    BigHeap *owner = OwningBig(block);
    const std::size_t oldUsable = UsableSizeIn(owner, block);
    if (size > oldUsable && SeamSaysFail()) return nullptr;

    void *p =
        owner ? big_heap::Reallocate(owner, block, size) : ResizeStandard(block, oldUsable, size);
    if (p) {
        if (owner) WidenBigBounds(p);
        return p;
    }
    void *moved = AllocateRouted(size);
    if (!moved) return nullptr;
    std::memcpy(moved, block, std::min(oldUsable, size));
    FreeIn(owner, block);
    return moved;
}

ORVIK_API void omsc_HeapFree(void *block) ORVIK_NOEXCEPT {
    if (!block) return;
    if (ThreadSafeMode()) {
        ReleaseLocked(block);
    } else {
        Release(block);
    }
}

ORVIK_API void omsc_HeapInitThreadSafeMode(void) ORVIK_NOEXCEPT {
    std::lock_guard<std::mutex> guard(gHeapMutex);
    gThreadSafe.store(1, std::memory_order_relaxed);
}

ORVIK_API void omsc_HeapEndThreadSafeMode(void) ORVIK_NOEXCEPT {
    if (gThreadSafe.load(std::memory_order_relaxed) != 1) return;
    std::lock_guard<std::mutex> guard(gHeapMutex);
    gThreadSafe.store(0, std::memory_order_relaxed);
}

// Creates the big heap once. A later call while it exists changes nothing: the heap cannot
// be replaced while blocks of it may be live. The preference is read before the heap mutex
// is taken, since looking it up allocates from this heap.
ORVIK_API void omsc_HeapBigInit(void) ORVIK_NOEXCEPT {
    const double megabytes = orvik::core::HeapSizePreference();
    HeapLock lock;
    if (gBig.load(std::memory_order_acquire)) return;
    if (!(megabytes >= 1.0)) return; // also rejects NaN
    gThreshold.store(static_cast<std::size_t>(omsc_MemPageSizeGet()), std::memory_order_relaxed);
    if (megabytes >= kMaxBigMegabytes + 1.0) return; // no big heap of that size
    const auto n = static_cast<std::size_t>(megabytes);
    BigHeap *big = big_heap::Create(n << 20);
    if (!big) return;
    void *first = big_heap::Allocate(big, 1);
    gBigLow.store(reinterpret_cast<std::uintptr_t>(first), std::memory_order_relaxed);
    gBigHigh.store(reinterpret_cast<std::uintptr_t>(first), std::memory_order_relaxed);
    gBig.store(big, std::memory_order_release);
}

} // extern "C"
