// The big heap's arena allocator: two-level segregated fit over one fixed region.
//
// Region layout (every offset a multiple of 16):
//   [header|usable area][header|usable area] ... [end marker header]
// Header (16 bytes):  0  size_t  usable size of the physically previous block (0 for the first)
//                     8  size_t  usable size of this block | 1 when the block is free
// A free block keeps its free-list links in the first 16 bytes of its usable area; every
// other byte of a free block is zero. Blocks are therefore zero-filled by keeping freed
// memory zero: release clears the usable area, allocation only clears the 16 link bytes.
// Two free blocks are never neighbours: release merges them at once.
#include "core/big_arena.hpp"

#include <bit>
#include <cstring>
#include <new>
#include <type_traits>

#include "port/memory_region.hpp"

// Under AddressSanitizer the usable area of a free block (past its links) is poisoned, so a
// use after omsc_HeapFree of a big-heap block is caught like one of the C library heap.
#if defined(__SANITIZE_ADDRESS__)
#define ORVIK_ARENA_ASAN 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define ORVIK_ARENA_ASAN 1
#endif
#endif
#ifdef ORVIK_ARENA_ASAN
#include <sanitizer/asan_interface.h>
#define ARENA_POISON(p, n) ASAN_POISON_MEMORY_REGION((p), (n))
#define ARENA_UNPOISON(p, n) ASAN_UNPOISON_MEMORY_REGION((p), (n))
#else
#define ARENA_POISON(p, n) ((void)(p), (void)(n))
#define ARENA_UNPOISON(p, n) ((void)(p), (void)(n))
#endif

namespace orvik::core {

struct BigArena::Block {
    std::size_t prevSize;
    std::size_t sizeBits;
    // Valid only while the block is free; they overlay the first 16 usable bytes.
    Block *nextFree;
    Block *prevFree;
};

namespace {

constexpr std::size_t kFreeBit = 1;
constexpr std::size_t kMinBlock = 16; // room for the two free-list links
static_assert(BigArena::kHeaderSize == 2 * sizeof(std::size_t));

// Usable size for a request: at least kMinBlock, rounded up to the alignment; 0 when the
// request cannot fit in any arena.
std::size_t Adjust(std::size_t size) noexcept {
    if (size > BigArena::kMaxRegionBytes) return 0;
    if (size < kMinBlock) return kMinBlock;
    return (size + BigArena::kAlignment - 1) & ~(BigArena::kAlignment - 1);
}

unsigned Log2(std::size_t v) noexcept { return static_cast<unsigned>(std::bit_width(v)) - 1; }

} // namespace

// Small helpers on raw blocks; kept out of the class declaration.
namespace {
using Byte = unsigned char;
template <class B> std::size_t SizeOf(const B *b) { return b->sizeBits & ~kFreeBit; }
template <class B> bool IsFree(const B *b) { return (b->sizeBits & kFreeBit) != 0; }
template <class B> auto *Usable(B *b) {
    using U = std::conditional_t<std::is_const_v<B>, const Byte, Byte>;
    return reinterpret_cast<U *>(b) + BigArena::kHeaderSize;
}
template <class B> B *Next(B *b) { return reinterpret_cast<B *>(Usable(b) + SizeOf(b)); }
// Free blocks keep their header and links addressable; the rest is poisoned.
template <class B> void PoisonFree(B *b) {
    ARENA_POISON(Usable(b) + kMinBlock, SizeOf(b) - kMinBlock);
}
template <class B> B *Prev(B *b) {
    return reinterpret_cast<B *>(Usable(b) - 2 * BigArena::kHeaderSize - b->prevSize);
}
} // namespace

BigArena *BigArena::Create(std::size_t regionBytes) noexcept {
    regionBytes &= ~(kAlignment - 1);
    if (regionBytes < kMinRegionBytes || regionBytes > kMaxRegionBytes) return nullptr;
    void *base = port::MapArenaRegion(regionBytes);
    if (!base) return nullptr;
    auto *arena = new (std::nothrow) BigArena(static_cast<Byte *>(base), regionBytes);
    if (!arena) port::UnmapArenaRegion(base, regionBytes);
    return arena;
}

BigArena::BigArena(unsigned char *base, std::size_t regionBytes) noexcept
    : m_base(base), m_regionBytes(regionBytes), m_first(reinterpret_cast<Block *>(base)) {
    // The mapping reads as zeros, so only the two headers need writing.
    const std::size_t size = regionBytes - 2 * kHeaderSize;
    m_first->prevSize = 0;
    m_first->sizeBits = size | kFreeBit;
    Block *end = Next(m_first);
    end->prevSize = size;
    end->sizeBits = 0; // a used block of size 0: never merged, never walked past
    InsertFree(m_first);
    PoisonFree(m_first);
}

BigArena::~BigArena() {
    ARENA_UNPOISON(m_base, m_regionBytes); // the address range may be mapped again later
    port::UnmapArenaRegion(m_base, m_regionBytes);
}

void BigArena::Mapping(std::size_t size, unsigned &fl, unsigned &sl) noexcept {
    if (size < (std::size_t{1} << kFlShift)) {
        fl = 0;
        sl = static_cast<unsigned>(size / kAlignment);
    } else {
        const unsigned lg = Log2(size);
        sl = static_cast<unsigned>(size >> (lg - kSlLog2)) ^ kSlCount;
        fl = lg - kFlShift + 1;
    }
}

void BigArena::InsertFree(Block *b) noexcept {
    unsigned fl, sl;
    Mapping(SizeOf(b), fl, sl);
    Block *head = m_heads[fl][sl];
    b->nextFree = head;
    b->prevFree = nullptr;
    if (head) head->prevFree = b;
    m_heads[fl][sl] = b;
    m_flBitmap |= std::uint64_t{1} << fl;
    m_slBitmap[fl] |= 1u << sl;
}

void BigArena::RemoveFree(Block *b) noexcept {
    unsigned fl, sl;
    Mapping(SizeOf(b), fl, sl);
    if (b->nextFree) b->nextFree->prevFree = b->prevFree;
    if (b->prevFree) {
        b->prevFree->nextFree = b->nextFree;
    } else {
        m_heads[fl][sl] = b->nextFree;
        if (!b->nextFree) {
            m_slBitmap[fl] &= ~(1u << sl);
            if (!m_slBitmap[fl]) m_flBitmap &= ~(std::uint64_t{1} << fl);
        }
    }
}

// Finds and unlinks a free block of at least `size` bytes. The request is first rounded up
// to the next class boundary so that any block of the class found fits without a list walk;
// only when that fails are the first few blocks of the request's own class examined (this
// is what lets a request for the whole of an empty arena succeed).
BigArena::Block *BigArena::TakeFit(std::size_t size) noexcept {
    std::size_t target = size;
    if (size >= (std::size_t{1} << kFlShift))
        target += (std::size_t{1} << (Log2(size) - kSlLog2)) - 1;
    unsigned fl, sl;
    Mapping(target, fl, sl);
    if (fl < kFlCount) {
        std::uint32_t slMap = m_slBitmap[fl] & (~0u << sl);
        if (!slMap) {
            const std::uint64_t flMap =
                fl + 1 < 64 ? m_flBitmap & (~std::uint64_t{0} << (fl + 1)) : 0;
            if (flMap) {
                fl = static_cast<unsigned>(std::countr_zero(flMap));
                slMap = m_slBitmap[fl];
            }
        }
        if (slMap) {
            Block *b = m_heads[fl][std::countr_zero(slMap)];
            RemoveFree(b);
            return b;
        }
    }
    Mapping(size, fl, sl);
    if (fl >= kFlCount) return nullptr;
    Block *b = m_heads[fl][sl];
    for (unsigned probe = 0; b && probe < kExactClassProbe; ++probe, b = b->nextFree) {
        if (SizeOf(b) >= size) {
            RemoveFree(b);
            return b;
        }
    }
    return nullptr;
}

// Cuts the used block `b` down to `keep` usable bytes when the rest can hold a block of its
// own, and frees the rest (merging it with a free right neighbour).
// REQUIRES: the usable bytes of `b` from `keep` on are zero.
void BigArena::SplitTail(Block *b, std::size_t keep) noexcept {
    const std::size_t size = SizeOf(b);
    if (size < keep + kHeaderSize + kMinBlock) return;
    b->sizeBits = keep;
    auto *rest = reinterpret_cast<Block *>(Usable(b) + keep);
    rest->prevSize = keep;
    std::size_t restSize = size - keep - kHeaderSize;
    Block *next = reinterpret_cast<Block *>(Usable(rest) + restSize);
    if (IsFree(next)) {
        RemoveFree(next);
        restSize += kHeaderSize + SizeOf(next);
        std::memset(next, 0, kHeaderSize + kMinBlock);
    }
    rest->sizeBits = restSize | kFreeBit;
    Next(rest)->prevSize = restSize;
    InsertFree(rest);
    PoisonFree(rest);
}

void *BigArena::AllocateLocked(std::size_t size) noexcept {
    const std::size_t want = Adjust(size);
    if (!want) return nullptr;
    Block *b = TakeFit(want);
    if (!b) return nullptr;
    b->sizeBits = SizeOf(b);
    ARENA_UNPOISON(Usable(b), SizeOf(b));
    std::memset(Usable(b), 0, kMinBlock); // the links; the rest is already zero
    SplitTail(b, want);
    return Usable(b);
}

void *BigArena::Allocate(std::size_t size) noexcept {
    std::lock_guard<std::mutex> guard(m_lock);
    return AllocateLocked(size);
}

void BigArena::ReleaseLocked(Block *b) noexcept {
    std::size_t size = SizeOf(b);
    std::memset(Usable(b), 0, size);
    Block *next = Next(b);
    if (IsFree(next)) {
        RemoveFree(next);
        size += kHeaderSize + SizeOf(next);
        std::memset(next, 0, kHeaderSize + kMinBlock);
    }
    if (b != m_first) {
        Block *prev = Prev(b);
        if (IsFree(prev)) {
            RemoveFree(prev);
            size += kHeaderSize + SizeOf(prev);
            std::memset(b, 0, kHeaderSize);
            b = prev;
        }
    }
    b->sizeBits = size | kFreeBit;
    Next(b)->prevSize = size;
    InsertFree(b);
    PoisonFree(b);
}

void BigArena::Free(void *block) noexcept {
    if (!block) return;
    auto *b = reinterpret_cast<Block *>(static_cast<Byte *>(block) - kHeaderSize);
    std::lock_guard<std::mutex> guard(m_lock);
    ReleaseLocked(b);
}

void *BigArena::Reallocate(void *block, std::size_t size) noexcept {
    auto *b = reinterpret_cast<Block *>(static_cast<Byte *>(block) - kHeaderSize);
    const std::size_t want = Adjust(size);
    if (!want) return nullptr;
    std::lock_guard<std::mutex> guard(m_lock);
    const std::size_t current = SizeOf(b);
    if (want <= current) {
        if (size < current) std::memset(Usable(b) + size, 0, current - size);
        SplitTail(b, want);
        return block;
    }
    Block *next = Next(b);
    if (IsFree(next) && current + kHeaderSize + SizeOf(next) >= want) {
        RemoveFree(next);
        const std::size_t merged = current + kHeaderSize + SizeOf(next);
        std::memset(next, 0, kHeaderSize + kMinBlock);
        ARENA_UNPOISON(Usable(b) + current, merged - current);
        b->sizeBits = merged;
        Next(b)->prevSize = merged;
        SplitTail(b, want);
        return block;
    }
    void *moved = AllocateLocked(size);
    if (!moved) return nullptr;
    std::memcpy(moved, block, current);
    ReleaseLocked(b);
    return moved;
}

std::size_t BigArena::UsableSize(const void *block) const noexcept {
    auto *b = reinterpret_cast<const Block *>(static_cast<const Byte *>(block) - kHeaderSize);
    std::lock_guard<std::mutex> guard(m_lock);
    return SizeOf(b);
}

BigArena::Census BigArena::TakeCensus() const {
    std::lock_guard<std::mutex> guard(m_lock);
    Census c;
    const auto *end = reinterpret_cast<const Block *>(m_base + m_regionBytes - kHeaderSize);
    const Block *b = m_first;
    std::size_t prevSize = 0;
    bool prevFree = false;
    while (b < end) {
        const std::size_t size = SizeOf(b);
        if (b->prevSize != prevSize || size < kMinBlock || size % kAlignment) c.consistent = false;
        if (IsFree(b)) {
            ++c.freeBlocks;
            c.freeBytes += size;
            if (size > c.largestFree) c.largestFree = size;
            if (prevFree) c.consistent = false;
            const Byte *u = Usable(b);
            ARENA_UNPOISON(u, size);
            for (std::size_t i = kMinBlock; i < size; ++i)
                if (u[i]) {
                    c.consistent = false;
                    break;
                }
            PoisonFree(b);
        } else {
            ++c.usedBlocks;
        }
        prevFree = IsFree(b);
        prevSize = size;
        b = Next(b);
    }
    if (b != end || end->prevSize != prevSize || end->sizeBits != 0) c.consistent = false;

    std::size_t listed = 0;
    for (unsigned fl = 0; fl < kFlCount; ++fl) {
        if (((m_flBitmap >> fl) & 1) != (m_slBitmap[fl] != 0)) c.consistent = false;
        for (unsigned sl = 0; sl < kSlCount; ++sl) {
            const Block *h = m_heads[fl][sl];
            if (((m_slBitmap[fl] >> sl) & 1) != (h != nullptr)) c.consistent = false;
            const Block *back = nullptr;
            for (; h && listed <= c.freeBlocks; h = h->nextFree, ++listed) {
                unsigned f, s;
                Mapping(SizeOf(h), f, s);
                if (!IsFree(h) || f != fl || s != sl || h->prevFree != back) c.consistent = false;
                back = h;
            }
        }
    }
    if (listed != c.freeBlocks) c.consistent = false;
    return c;
}

} // namespace orvik::core
