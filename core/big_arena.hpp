// Internal: the big heap's allocator, a fixed-size private arena with two-level segregated
// free lists (constant-time allocation and release) and boundary tags that merge freed
// neighbours. All public member functions are thread-safe (one lock per arena).
#pragma once

#include <cstddef>
#include <cstdint>
#include <mutex>

namespace orvik::core {

class BigArena {
  public:
    // Every block starts on this boundary and has a usable size that is a multiple of it.
    static constexpr std::size_t kAlignment = 16;
    // Boundary tag in front of every block: the previous block's size and this block's.
    static constexpr std::size_t kHeaderSize = 16;
    // The smallest and largest region an arena accepts.
    static constexpr std::size_t kMinRegionBytes = 4096;
    static constexpr std::size_t kMaxRegionBytes = std::size_t{1} << 46;

    // Maps a region of exactly `regionBytes` (rounded down to kAlignment) and lays out one
    // free block over it. Null when the size is out of range or the mapping fails.
    static BigArena *Create(std::size_t regionBytes) noexcept;
    ~BigArena();
    BigArena(const BigArena &) = delete;
    BigArena &operator=(const BigArena &) = delete;

    // A zero-filled block of at least `size` bytes, or null when no free block is large
    // enough (the arena never grows).
    void *Allocate(std::size_t size) noexcept;
    // REQUIRES: `block` is null or a live block of this arena.
    void Free(void *block) noexcept;
    // Resizes in place when the block or its free right-hand neighbour allows, otherwise
    // moves the contents to a new block of this arena. Bytes past the old usable size (when
    // growing) or past `size` (when shrinking) read as zeros. Null when the arena has no
    // room; the block is then untouched. REQUIRES: `block` is a live block, `size` > 0.
    void *Reallocate(void *block, std::size_t size) noexcept;
    // Usable size of a live block (the requested size rounded up to kAlignment, or more).
    std::size_t UsableSize(const void *block) const noexcept;

    bool Contains(const void *p) const noexcept {
        auto a = reinterpret_cast<std::uintptr_t>(p);
        auto b = reinterpret_cast<std::uintptr_t>(m_base);
        return a >= b && a < b + m_regionBytes;
    }
    std::size_t RegionBytes() const noexcept { return m_regionBytes; }
    // The largest block an empty arena can hand out.
    std::size_t LargestPossibleBlock() const noexcept { return m_regionBytes - 2 * kHeaderSize; }

    // A walk over every block, for tests and diagnostics (linear in the number of blocks).
    struct Census {
        std::size_t usedBlocks = 0;
        std::size_t freeBlocks = 0;
        std::size_t freeBytes = 0;
        std::size_t largestFree = 0;
        // False when a boundary tag, a free list, the bitmaps or the zero contents of a free
        // block disagree with the layout.
        bool consistent = true;
    };
    Census TakeCensus() const;

  private:
    struct Block;
    // Second level: 32 lists per power of two. Sizes below 512 bytes fall into exact
    // 16-byte classes of the first row.
    static constexpr unsigned kSlLog2 = 5;
    static constexpr unsigned kSlCount = 1u << kSlLog2;
    static constexpr unsigned kFlShift = kSlLog2 + 4; // 4 = log2(kAlignment)
    static constexpr unsigned kFlCount = 46 - kFlShift + 1;
    // How many blocks of a request's own class are examined when no larger class has one.
    static constexpr unsigned kExactClassProbe = 8;

    BigArena(unsigned char *base, std::size_t regionBytes) noexcept;
    static void Mapping(std::size_t size, unsigned &fl, unsigned &sl) noexcept;
    void InsertFree(Block *b) noexcept;
    void RemoveFree(Block *b) noexcept;
    Block *TakeFit(std::size_t size) noexcept;
    void SplitTail(Block *b, std::size_t keep) noexcept;
    void ReleaseLocked(Block *b) noexcept;
    void *AllocateLocked(std::size_t size) noexcept;

    unsigned char *m_base;
    std::size_t m_regionBytes;
    Block *m_first;
    mutable std::mutex m_lock;
    std::uint64_t m_flBitmap = 0;
    std::uint32_t m_slBitmap[kFlCount] = {};
    Block *m_heads[kFlCount][kSlCount] = {};
};

} // namespace orvik::core
