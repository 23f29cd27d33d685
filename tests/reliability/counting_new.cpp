// The test program's operator new and delete: plain malloc and free, except that every
// allocation is counted by the heap's failing-allocation seam, so that a sweep fails the
// allocations of standard containers and strings inside the library as well as those of the
// library heap. The number of live blocks lets a sweep see a leak without a sanitizer.
#include <atomic>
#include <cstdlib>
#include <new>

#ifdef _WIN32
#include <malloc.h>
#endif

#include "core/heap_seam.hpp"
#include "sweep.hpp"

namespace {
std::atomic<long> g_live{0};

void *Allocate(std::size_t size, std::size_t alignment) {
    if (orvik::core::testing::AllocationFailsNow()) return nullptr;
    if (size == 0) size = 1;
    void *p = nullptr;
    if (alignment <= alignof(std::max_align_t)) {
        p = std::malloc(size);
    } else {
        size = (size + alignment - 1) / alignment * alignment;
#ifdef _WIN32
        // No aligned_alloc there; such blocks need _aligned_free, which the aligned deletes
        // (the only ones that meet over-aligned blocks) call.
        p = _aligned_malloc(size, alignment);
#else
        p = std::aligned_alloc(alignment, size);
#endif
    }
    if (p) g_live.fetch_add(1, std::memory_order_relaxed);
    return p;
}

void *AllocateOrThrow(std::size_t size, std::size_t alignment) {
    void *p = Allocate(size, alignment);
    if (!p) throw std::bad_alloc();
    return p;
}

constexpr std::size_t kPlain = alignof(std::max_align_t);

void Release(void *p, std::size_t alignment = kPlain) noexcept {
    if (!p) return;
    g_live.fetch_sub(1, std::memory_order_relaxed);
#ifdef _WIN32
    if (alignment > kPlain) {
        _aligned_free(p);
        return;
    }
#else
    (void)alignment;
#endif
    std::free(p);
}

std::size_t Of(std::align_val_t a) { return static_cast<std::size_t>(a); }
} // namespace

namespace sweep {
long LiveNewBlocks() { return g_live.load(std::memory_order_relaxed); }
} // namespace sweep

void *operator new(std::size_t size) { return AllocateOrThrow(size, kPlain); }
void *operator new[](std::size_t size) { return AllocateOrThrow(size, kPlain); }
void *operator new(std::size_t size, std::align_val_t a) {
    return AllocateOrThrow(size, static_cast<std::size_t>(a));
}
void *operator new[](std::size_t size, std::align_val_t a) {
    return AllocateOrThrow(size, static_cast<std::size_t>(a));
}
void *operator new(std::size_t size, const std::nothrow_t &) noexcept {
    return Allocate(size, kPlain);
}
void *operator new[](std::size_t size, const std::nothrow_t &) noexcept {
    return Allocate(size, kPlain);
}
void *operator new(std::size_t size, std::align_val_t a, const std::nothrow_t &) noexcept {
    return Allocate(size, static_cast<std::size_t>(a));
}
void *operator new[](std::size_t size, std::align_val_t a, const std::nothrow_t &) noexcept {
    return Allocate(size, static_cast<std::size_t>(a));
}
void operator delete(void *p) noexcept { Release(p); }
void operator delete[](void *p) noexcept { Release(p); }
void operator delete(void *p, std::size_t) noexcept { Release(p); }
void operator delete[](void *p, std::size_t) noexcept { Release(p); }
void operator delete(void *p, std::align_val_t a) noexcept { Release(p, Of(a)); }
void operator delete[](void *p, std::align_val_t a) noexcept { Release(p, Of(a)); }
void operator delete(void *p, std::size_t, std::align_val_t a) noexcept { Release(p, Of(a)); }
void operator delete[](void *p, std::size_t, std::align_val_t a) noexcept { Release(p, Of(a)); }
void operator delete(void *p, const std::nothrow_t &) noexcept { Release(p); }
void operator delete[](void *p, const std::nothrow_t &) noexcept { Release(p); }
void operator delete(void *p, std::align_val_t a, const std::nothrow_t &) noexcept {
    Release(p, Of(a));
}
void operator delete[](void *p, std::align_val_t a, const std::nothrow_t &) noexcept {
    Release(p, Of(a));
}
