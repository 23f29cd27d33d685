// The big heap's arena allocator on its own: sizes, alignment, zero-filled reuse, merging of
// freed neighbours, in-place and moving resizes, and failure when full.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>
#include <random>
#include <vector>

#include "core/big_arena.hpp"

namespace {

using orvik::core::BigArena;
constexpr std::size_t kMiB = std::size_t{1} << 20;
constexpr std::size_t kHeader = BigArena::kHeaderSize;

std::unique_ptr<BigArena> MakeArena(std::size_t bytes = kMiB) {
    std::unique_ptr<BigArena> a(BigArena::Create(bytes));
    EXPECT_NE(a, nullptr);
    return a;
}

bool AllBytes(const void *p, std::size_t n, unsigned char value) {
    const auto *b = static_cast<const unsigned char *>(p);
    return std::all_of(b, b + n, [value](unsigned char c) { return c == value; });
}

std::uintptr_t Addr(const void *p) { return reinterpret_cast<std::uintptr_t>(p); }

TEST(BigArena, CreateChecksTheRegionSize) {
    EXPECT_EQ(BigArena::Create(0), nullptr);
    EXPECT_EQ(BigArena::Create(BigArena::kMinRegionBytes - 16), nullptr);
    EXPECT_EQ(BigArena::Create(BigArena::kMaxRegionBytes + 16), nullptr);

    auto a = MakeArena(kMiB + 7); // rounded down to the alignment
    EXPECT_EQ(a->RegionBytes(), kMiB);
    EXPECT_EQ(a->LargestPossibleBlock(), kMiB - 2 * kHeader);
    const BigArena::Census c = a->TakeCensus();
    EXPECT_TRUE(c.consistent);
    EXPECT_EQ(c.usedBlocks, 0u);
    EXPECT_EQ(c.freeBlocks, 1u);
    EXPECT_EQ(c.freeBytes, kMiB - 2 * kHeader);
}

TEST(BigArena, SizesAreRoundedAndBlocksAligned) {
    auto a = MakeArena();
    const std::size_t requests[] = {1, 15, 16, 17, 100, 511, 512, 513, 4096, 70000};
    const std::size_t usable[] = {16, 16, 16, 32, 112, 512, 512, 528, 4096, 70000};
    std::vector<void *> blocks;
    for (std::size_t i = 0; i < std::size(requests); ++i) {
        void *p = a->Allocate(requests[i]);
        ASSERT_NE(p, nullptr);
        EXPECT_EQ(Addr(p) % BigArena::kAlignment, 0u);
        EXPECT_TRUE(a->Contains(p));
        EXPECT_EQ(a->UsableSize(p), usable[i]) << "request " << requests[i];
        EXPECT_TRUE(AllBytes(p, usable[i], 0));
        blocks.push_back(p);
    }
    // Consecutive allocations from a fresh arena are laid out back to back.
    for (std::size_t i = 1; i < blocks.size(); ++i)
        EXPECT_EQ(Addr(blocks[i]), Addr(blocks[i - 1]) + usable[i - 1] + kHeader);
    EXPECT_FALSE(a->Contains(reinterpret_cast<char *>(blocks[0]) + kMiB));
    for (void *p : blocks) a->Free(p);
    EXPECT_EQ(a->TakeCensus().freeBlocks, 1u);
}

TEST(BigArena, ReusedMemoryIsZeroFilled) {
    auto a = MakeArena();
    void *p = a->Allocate(3000);
    std::memset(p, 0xAB, a->UsableSize(p));
    a->Free(p);
    void *q = a->Allocate(3000);
    EXPECT_EQ(q, p);
    EXPECT_TRUE(AllBytes(q, a->UsableSize(q), 0));
    // A small block carved from the freed area must not show the old links or data either.
    std::memset(q, 0xCD, 3000);
    a->Free(q);
    void *r = a->Allocate(16);
    void *s = a->Allocate(16);
    EXPECT_TRUE(AllBytes(r, 16, 0));
    EXPECT_TRUE(AllBytes(s, 16, 0));
    EXPECT_TRUE(a->TakeCensus().consistent);
    a->Free(r);
    a->Free(s);
}

TEST(BigArena, TheWholeArenaFitsOneBlockAndThenNothingElse) {
    auto a = MakeArena();
    EXPECT_EQ(a->Allocate(a->LargestPossibleBlock() + 1), nullptr);
    void *all = a->Allocate(a->LargestPossibleBlock());
    ASSERT_NE(all, nullptr);
    EXPECT_EQ(a->Allocate(1), nullptr);
    EXPECT_EQ(a->TakeCensus().freeBlocks, 0u);
    a->Free(all);
    EXPECT_NE(a->Allocate(1), nullptr);
}

TEST(BigArena, FreedNeighboursMergeOnBothSides) {
    auto a = MakeArena();
    void *A = a->Allocate(1000);
    void *B = a->Allocate(2000);
    void *C = a->Allocate(3000);
    void *D = a->Allocate(100); // keeps C away from the free tail
    a->Free(A);
    a->Free(C);
    BigArena::Census c = a->TakeCensus();
    EXPECT_EQ(c.freeBlocks, 3u); // A, C, tail
    EXPECT_EQ(c.usedBlocks, 2u);
    a->Free(B); // joins A on its left and C on its right
    c = a->TakeCensus();
    EXPECT_TRUE(c.consistent);
    EXPECT_EQ(c.freeBlocks, 2u);
    const std::size_t merged = 1008 + 2000 + 3008 + 2 * kHeader;
    EXPECT_EQ(c.freeBytes, kMiB - 4 * kHeader - 112); // headers: hole, D, tail, end marker
    // The merged hole serves a request of its own size class at A's address.
    EXPECT_EQ(merged, 6048u);
    void *E = a->Allocate(6016);
    EXPECT_EQ(E, A);
    EXPECT_TRUE(AllBytes(E, 6016, 0));
    a->Free(E);
    a->Free(D);
    c = a->TakeCensus();
    EXPECT_EQ(c.freeBlocks, 1u);
    EXPECT_EQ(c.freeBytes, kMiB - 2 * kHeader);
}

TEST(BigArena, HolesServeRequestsThatFitAndOnlyThose) {
    auto a = MakeArena();
    std::vector<void *> blocks;
    for (int i = 0; i < 1000; ++i) blocks.push_back(a->Allocate(256));
    for (std::size_t i = 0; i < blocks.size(); i += 2) a->Free(blocks[i]);
    BigArena::Census c = a->TakeCensus();
    EXPECT_EQ(c.freeBlocks, 501u);
    EXPECT_EQ(c.usedBlocks, 500u);
    // 512 bytes fit in no hole, so they come from behind the last block.
    void *big = a->Allocate(512);
    EXPECT_GT(Addr(big), Addr(blocks.back()));
    // 256 bytes reuse a hole.
    void *small = a->Allocate(256);
    EXPECT_GE(Addr(small), Addr(blocks.front()));
    EXPECT_LT(Addr(small), Addr(blocks.back()));
    EXPECT_EQ((Addr(small) - Addr(blocks.front())) % (256 + kHeader), 0u);
    a->Free(small);
    a->Free(big);
    for (std::size_t i = 1; i < blocks.size(); i += 2) a->Free(blocks[i]);
    c = a->TakeCensus();
    EXPECT_TRUE(c.consistent);
    EXPECT_EQ(c.freeBlocks, 1u);
}

TEST(BigArena, FillingFailsWithoutGrowingAndEmptyingRestoresOneBlock) {
    auto a = MakeArena();
    std::vector<void *> blocks;
    while (void *p = a->Allocate(4096)) blocks.push_back(p);
    // Each block costs its size plus one header; the last remainder is too small for 4096.
    EXPECT_EQ(blocks.size(), (kMiB - 2 * kHeader - 4096) / (4096 + kHeader) + 1);
    EXPECT_EQ(a->Allocate(4096), nullptr);
    for (void *p : blocks) EXPECT_TRUE(a->Contains(p));
    std::shuffle(blocks.begin(), blocks.end(), std::mt19937(7));
    for (void *p : blocks) a->Free(p);
    const BigArena::Census c = a->TakeCensus();
    EXPECT_TRUE(c.consistent);
    EXPECT_EQ(c.freeBlocks, 1u);
    EXPECT_NE(a->Allocate(a->LargestPossibleBlock()), nullptr);
}

TEST(BigArena, ReallocateGrowsIntoAFreeNeighbourInPlace) {
    auto a = MakeArena();
    auto *p = static_cast<unsigned char *>(a->Allocate(100));
    std::memset(p, 0x5A, 100);
    auto *q = static_cast<unsigned char *>(a->Reallocate(p, 5000));
    EXPECT_EQ(q, p);
    EXPECT_EQ(a->UsableSize(q), 5008u);
    EXPECT_TRUE(AllBytes(q, 100, 0x5A));
    EXPECT_TRUE(AllBytes(q + 100, 5008 - 100, 0));
    // Shrinking keeps the address, clears what was cut off and returns the rest.
    std::memset(q, 0x77, 5000);
    EXPECT_EQ(a->Reallocate(q, 40), q);
    EXPECT_EQ(a->UsableSize(q), 48u);
    EXPECT_TRUE(AllBytes(q, 40, 0x77));
    EXPECT_TRUE(AllBytes(q + 40, 8, 0));
    EXPECT_EQ(a->Reallocate(q, 200), q);
    EXPECT_TRUE(AllBytes(q + 40, 160, 0));
    BigArena::Census c = a->TakeCensus();
    EXPECT_TRUE(c.consistent);
    EXPECT_EQ(c.usedBlocks, 1u);
    EXPECT_EQ(c.freeBlocks, 1u);
    a->Free(q);
}

TEST(BigArena, ReallocateMovesWhenBlockedAndFailsCleanlyWhenFull) {
    auto a = MakeArena();
    auto *p = static_cast<unsigned char *>(a->Allocate(1000));
    void *wall = a->Allocate(16);
    for (int i = 0; i < 1000; ++i) p[i] = static_cast<unsigned char>(i * 7);
    auto *q = static_cast<unsigned char *>(a->Reallocate(p, 3000));
    ASSERT_NE(q, nullptr);
    EXPECT_NE(q, p);
    for (int i = 0; i < 1000; ++i) ASSERT_EQ(q[i], static_cast<unsigned char>(i * 7));
    EXPECT_TRUE(AllBytes(q + 1008, 3008 - 1008, 0));
    EXPECT_EQ(a->TakeCensus().usedBlocks, 2u); // the old block went back

    EXPECT_EQ(a->Reallocate(q, kMiB), nullptr);
    EXPECT_EQ(a->UsableSize(q), 3008u);
    for (int i = 0; i < 1000; ++i) ASSERT_EQ(q[i], static_cast<unsigned char>(i * 7));
    a->Free(q);
    a->Free(wall);
    EXPECT_EQ(a->TakeCensus().freeBlocks, 1u);
}

// Random allocations, resizes and releases, each block tagged with its own byte; after
// every step the contents must be intact and the layout consistent.
TEST(BigArena, RandomWorkloadKeepsContentsAndLayout) {
    auto a = MakeArena(256 * 1024);
    struct Live {
        unsigned char *p;
        std::size_t n;
        unsigned char tag;
    };
    std::vector<Live> live;
    std::mt19937 rng(12345);
    unsigned counter = 0;
    for (int step = 0; step < 4000; ++step) {
        const unsigned op = rng() % 3;
        const std::size_t n = 1 + rng() % (rng() % 8 == 0 ? 20000 : 600);
        if (op == 0 || live.empty()) {
            auto *p = static_cast<unsigned char *>(a->Allocate(n));
            if (!p) continue;
            ASSERT_TRUE(AllBytes(p, n, 0));
            const auto tag = static_cast<unsigned char>(1 + counter++ % 255);
            std::memset(p, tag, n);
            live.push_back({p, n, tag});
        } else {
            const std::size_t i = rng() % live.size();
            ASSERT_TRUE(AllBytes(live[i].p, live[i].n, live[i].tag)) << "step " << step;
            if (op == 1) {
                auto *q = static_cast<unsigned char *>(a->Reallocate(live[i].p, n));
                if (!q) continue;
                const std::size_t kept = std::min(n, live[i].n);
                ASSERT_TRUE(AllBytes(q, kept, live[i].tag));
                ASSERT_TRUE(AllBytes(q + kept, n - kept, 0));
                std::memset(q, live[i].tag, n);
                live[i].p = q;
                live[i].n = n;
            } else {
                a->Free(live[i].p);
                live[i] = live.back();
                live.pop_back();
            }
        }
        if (step % 500 == 0) {
            ASSERT_TRUE(a->TakeCensus().consistent) << "step " << step;
        }
    }
    for (const Live &l : live) {
        ASSERT_TRUE(AllBytes(l.p, l.n, l.tag));
        a->Free(l.p);
    }
    const BigArena::Census c = a->TakeCensus();
    EXPECT_TRUE(c.consistent);
    EXPECT_EQ(c.freeBlocks, 1u);
    EXPECT_EQ(c.usedBlocks, 0u);
}

#if defined(__SANITIZE_ADDRESS__)
// Freed arena memory is poisoned in sanitizer builds, so stray writes are caught there.
TEST(BigArenaDeathTest, WriteAfterFreeIsCaughtUnderAddressSanitizer) {
    auto a = MakeArena();
    auto *p = static_cast<volatile char *>(a->Allocate(4096));
    p[100] = 1; // fine while live
    a->Free(const_cast<char *>(p));
    EXPECT_DEATH(p[100] = 1, "use-after-poison");
    EXPECT_TRUE(a->TakeCensus().consistent);
}
#endif

} // namespace
