// The library heap: zero-filled blocks, resize rules, routing to and from the big heap, the
// retry in the standard heap, the failing-allocation seam and thread-safe mode.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <random>
#include <thread>
#include <vector>

#include <orvik/omsc.h>

#include "core/heap_config.hpp"
#include "core/heap_internal.hpp"
#include "core/heap_seam.hpp"
#include "port/big_heap.hpp"

namespace {

using orvik::core::CurrentBigHeap;
namespace big_heap = orvik::port::big_heap;
namespace seam = orvik::core::testing;

constexpr std::size_t kMiB = std::size_t{1} << 20;
#ifdef _WIN32
constexpr bool kFixedHeapLimit = true;
#else
constexpr bool kFixedHeapLimit = false;
#endif

bool AllBytes(const void *p, std::size_t n, unsigned char value) {
    const auto *b = static_cast<const unsigned char *>(p);
    return std::all_of(b, b + n, [value](unsigned char c) { return c == value; });
}

bool InBigHeap(const void *p) { return CurrentBigHeap() && big_heap::Owns(CurrentBigHeap(), p); }

double gMegabytes = 0;
double LookupMegabytes() { return gMegabytes; }

// Creates a big heap of the given size (through the preference lookup) for one test, and
// forgets it afterwards so that the next test starts from the initial state.
class BigHeap : public ::testing::Test {
  protected:
    void Create(double megabytes) {
        gMegabytes = megabytes;
        orvik::core::SetHeapSizePreferenceLookup(&LookupMegabytes);
        omsc_HeapBigInit();
    }
    void TearDown() override {
        orvik::core::SetHeapSizePreferenceLookup(nullptr);
        seam::DiscardBigHeap();
    }
    // Blocks of the big heap in use besides the one-byte block that marks its bounds.
    static std::size_t UsedBeyondMarker() { return big_heap::LiveBlocks(CurrentBigHeap()) - 1; }
};

TEST(Heap, MallocGivesZeroFilledBlocksAndNullForNoSize) {
    EXPECT_EQ(omsc_HeapMalloc(0), nullptr);
    EXPECT_EQ(omsc_HeapMalloc(-5), nullptr);
    for (int32_t size : {1, 7, 64, 1000, 65536, 300000}) {
        auto *p = static_cast<unsigned char *>(omsc_HeapMalloc(size));
        ASSERT_NE(p, nullptr);
        EXPECT_TRUE(AllBytes(p, static_cast<std::size_t>(size), 0)) << size;
        std::memset(p, 0xEE, static_cast<std::size_t>(size));
        omsc_HeapFree(p);
        // The block just released is typically handed out again: it must be cleared.
        p = static_cast<unsigned char *>(omsc_HeapMalloc(size));
        EXPECT_TRUE(AllBytes(p, static_cast<std::size_t>(size), 0)) << size;
        omsc_HeapFree(p);
    }
    omsc_HeapFree(nullptr);
}

TEST(Heap, ReallocKeepsContentsAndClearsWhatIsGained) {
    auto *p = static_cast<unsigned char *>(omsc_HeapRealloc(nullptr, 100));
    ASSERT_NE(p, nullptr);
    EXPECT_TRUE(AllBytes(p, 100, 0));
    std::memset(p, 0x11, 100);
    p = static_cast<unsigned char *>(omsc_HeapRealloc(p, 5000));
    ASSERT_NE(p, nullptr);
    EXPECT_TRUE(AllBytes(p, 100, 0x11));
    EXPECT_TRUE(AllBytes(p + 100, 4900, 0));
    // Shrinking and growing again must not bring back the bytes that were cut off.
    std::memset(p, 0x22, 5000);
    p = static_cast<unsigned char *>(omsc_HeapRealloc(p, 10));
    ASSERT_NE(p, nullptr);
    p = static_cast<unsigned char *>(omsc_HeapRealloc(p, 4000));
    ASSERT_NE(p, nullptr);
    EXPECT_TRUE(AllBytes(p, 10, 0x22));
    EXPECT_TRUE(AllBytes(p + 10, 3990, 0));
    // A negative size cannot be met: the block stays as it was.
    EXPECT_EQ(omsc_HeapRealloc(p, -1), nullptr);
    EXPECT_TRUE(AllBytes(p, 10, 0x22));
    EXPECT_EQ(omsc_HeapRealloc(p, 0), nullptr); // frees (LeakSanitizer would object otherwise)
    EXPECT_EQ(omsc_HeapRealloc(nullptr, 0), nullptr);
}

TEST(Heap, SeamCountsAllocationsAndFailsTheChosenOne) {
    void *keep = omsc_HeapMalloc(64);
    {
        seam::ScopedAllocationFailure fail(2);
        void *a = omsc_HeapMalloc(10);           // 1
        EXPECT_EQ(omsc_HeapMalloc(10), nullptr); // 2: fails
        void *b = omsc_HeapMalloc(10);           // 3
        EXPECT_NE(a, nullptr);
        EXPECT_NE(b, nullptr);
        EXPECT_EQ(omsc_HeapMalloc(0), nullptr); // not an allocation
        void *c = omsc_HeapRealloc(nullptr, 8); // 4
        c = omsc_HeapRealloc(c, 4);             // shrinking: not counted
        omsc_HeapFree(a);
        omsc_HeapFree(b);
        omsc_HeapFree(c);
        EXPECT_EQ(seam::AllocationsCounted(), 4);
    }
    EXPECT_EQ(seam::AllocationsCounted(), 0);
    {
        // A failed growth leaves the block and its contents alone.
        std::memset(keep, 0x3C, 64);
        seam::ScopedAllocationFailure fail(1, true);
        EXPECT_EQ(omsc_HeapRealloc(keep, 100000), nullptr);
        EXPECT_EQ(omsc_HeapMalloc(1), nullptr); // sticky
        EXPECT_EQ(omsc_HeapRealloc(nullptr, 1), nullptr);
        EXPECT_EQ(seam::AllocationsCounted(), 3);
    }
    EXPECT_TRUE(AllBytes(keep, 64, 0x3C));
    void *after = omsc_HeapMalloc(1);
    EXPECT_NE(after, nullptr); // the seam is off again
    omsc_HeapFree(after);
    omsc_HeapFree(keep);
}

TEST_F(BigHeap, NoBigHeapBelowOneMegabyte) {
    for (double mb : {0.0, 0.99, -3.0, std::nan("")}) {
        Create(mb);
        EXPECT_EQ(CurrentBigHeap(), nullptr) << mb;
    }
    // Without a big heap the initial threshold stays and nothing is routed anywhere else.
    void *p = omsc_HeapMalloc(100000);
    EXPECT_NE(p, nullptr);
    omsc_HeapFree(p);
}

TEST_F(BigHeap, SizeIsTruncatedToWholeMegabytesAndSecondInitChangesNothing) {
    Create(1.9);
    big_heap::Heap *big = CurrentBigHeap();
    ASSERT_NE(big, nullptr);
    EXPECT_EQ(big_heap::Bytes(big), kMiB);
    // The marker block: one byte allocated at creation.
    EXPECT_EQ(big_heap::LiveBlocks(big), 1u);
    Create(4);
    EXPECT_EQ(CurrentBigHeap(), big);
    EXPECT_EQ(big_heap::Bytes(CurrentBigHeap()), kMiB);
}

// The preference lookup allocates from the heap itself; in thread-safe mode that must not
// meet a heap mutex already held by omsc_HeapBigInit.
double AllocatingLookup() {
    void *p = omsc_HeapMalloc(100);
    omsc_HeapFree(p);
    return 2;
}

TEST_F(BigHeap, InitInThreadSafeModeWithALookupThatAllocates) {
    omsc_HeapInitThreadSafeMode();
    orvik::core::SetHeapSizePreferenceLookup(&AllocatingLookup);
    omsc_HeapBigInit();
    omsc_HeapEndThreadSafeMode();
    ASSERT_NE(CurrentBigHeap(), nullptr);
    EXPECT_EQ(big_heap::Bytes(CurrentBigHeap()), 2 * kMiB);
}

TEST_F(BigHeap, RequestsOfAPageOrMoreGoToTheBigHeap) {
    Create(1);
    void *small = omsc_HeapMalloc(4095);
    void *page = omsc_HeapMalloc(4096);
    void *large = omsc_HeapMalloc(200000);
    EXPECT_FALSE(InBigHeap(small));
    EXPECT_TRUE(InBigHeap(page));
    EXPECT_TRUE(InBigHeap(large));
    EXPECT_TRUE(AllBytes(page, 4096, 0));
    EXPECT_TRUE(AllBytes(large, 200000, 0));
    EXPECT_EQ(UsedBeyondMarker(), 2u);
    // Releases find their heap by address.
    omsc_HeapFree(page);
    omsc_HeapFree(small);
    EXPECT_EQ(UsedBeyondMarker(), 1u);
    omsc_HeapFreeEx(&large);
    EXPECT_EQ(large, nullptr);
    EXPECT_EQ(UsedBeyondMarker(), 0u);
    EXPECT_TRUE(big_heap::Consistent(CurrentBigHeap()));
}

TEST_F(BigHeap, FullBigHeapRetriesInTheStandardHeap) {
    Create(1);
    std::vector<unsigned char *> inBig;
    unsigned char *overflow = nullptr;
    for (int i = 0; i < 100 && !overflow; ++i) {
        auto *p = static_cast<unsigned char *>(omsc_HeapMalloc(65536));
        ASSERT_NE(p, nullptr);
        if (InBigHeap(p)) {
            std::memset(p, 0x44, 65536);
            inBig.push_back(p);
        } else {
            overflow = p;
        }
    }
    ASSERT_NE(overflow, nullptr);
    // 16 blocks of 64 KiB and their headers exceed 1 MiB; the heap's own overhead is far below
    // one block.
    EXPECT_GE(inBig.size(), 14u);
    EXPECT_LE(inBig.size(), 15u);
    EXPECT_TRUE(AllBytes(overflow, 65536, 0));
    omsc_HeapFree(overflow);
    // Released in scattered order, the freed space serves as many blocks again, zero-filled.
    std::shuffle(inBig.begin(), inBig.end(), std::mt19937(3));
    for (unsigned char *p : inBig) omsc_HeapFree(p);
    EXPECT_TRUE(big_heap::Consistent(CurrentBigHeap()));
    EXPECT_EQ(UsedBeyondMarker(), 0u);
    for (unsigned char *&p : inBig) {
        p = static_cast<unsigned char *>(omsc_HeapMalloc(65536));
        EXPECT_TRUE(InBigHeap(p));
        EXPECT_TRUE(AllBytes(p, 65536, 0));
    }
    for (unsigned char *p : inBig) omsc_HeapFree(p);
}

TEST_F(BigHeap, ReallocMovesBetweenHeaps) {
    Create(1);
    // Grown past what the big heap holds: copied to the standard heap, big-heap block released.
    auto *p = static_cast<unsigned char *>(omsc_HeapMalloc(8000));
    ASSERT_TRUE(InBigHeap(p));
    std::memset(p, 0x61, 8000);
    auto *q = static_cast<unsigned char *>(omsc_HeapRealloc(p, 2 * kMiB));
    ASSERT_NE(q, nullptr);
    EXPECT_FALSE(InBigHeap(q));
    EXPECT_TRUE(AllBytes(q, 8000, 0x61));
    EXPECT_TRUE(AllBytes(q + 8000, 2 * kMiB - 8000, 0));
    EXPECT_EQ(UsedBeyondMarker(), 0u);

    // A standard-heap block resized in its own heap stays there.
    q = static_cast<unsigned char *>(omsc_HeapRealloc(q, 100));
    EXPECT_FALSE(InBigHeap(q));
    EXPECT_TRUE(AllBytes(q, 100, 0x61));

    // Big-heap blocks resize in the big heap.
    auto *r = static_cast<unsigned char *>(omsc_HeapMalloc(5000));
    std::memset(r, 0x62, 5000);
    auto *r2 = static_cast<unsigned char *>(omsc_HeapRealloc(r, 50000));
    EXPECT_TRUE(InBigHeap(r2));
    EXPECT_TRUE(AllBytes(r2, 5000, 0x62));
    EXPECT_TRUE(AllBytes(r2 + 5000, 45000, 0));
    // Shrunk below the threshold it still belongs to the big heap.
    r2 = static_cast<unsigned char *>(omsc_HeapRealloc(r2, 10));
    EXPECT_TRUE(InBigHeap(r2));
    EXPECT_EQ(omsc_HeapRealloc(r2, 0), nullptr);
    EXPECT_EQ(UsedBeyondMarker(), 0u);
    omsc_HeapFree(q);
}

TEST_F(BigHeap, ReallocOfNullUsesTheBigHeapAndItsRetry) {
    Create(1);
    std::vector<void *> fit;
    for (int i = 0; i < 3; ++i) {
        fit.push_back(omsc_HeapRealloc(nullptr, 300000));
        EXPECT_TRUE(InBigHeap(fit.back()));
    }
    void *b = omsc_HeapRealloc(nullptr, 300000); // no room left: standard heap
    ASSERT_NE(b, nullptr);
    EXPECT_FALSE(InBigHeap(b));
    EXPECT_TRUE(AllBytes(b, 300000, 0));
    for (void *a : fit) omsc_HeapFree(a);
    omsc_HeapFree(b);
    EXPECT_EQ(UsedBeyondMarker(), 0u);
}

// Two threads allocate, resize and release blocks of mixed sizes (some in the big heap, some
// overflowing into the standard heap), each tagging its blocks; no block may see another's
// bytes.
TEST_F(BigHeap, ThreadSafeModeKeepsBlocksApart) {
    Create(1);
    omsc_HeapInitThreadSafeMode();
    auto work = [](unsigned char tag, unsigned seed, bool *ok) {
        std::mt19937 rng(seed);
        struct Live {
            unsigned char *p;
            std::size_t n;
        };
        std::vector<Live> live;
        for (int i = 0; i < 20000 && *ok; ++i) {
            const auto n = static_cast<std::size_t>(1 + rng() % (rng() % 4 ? 3000 : 70000));
            const unsigned op = rng() % 3;
            if (op == 0 || live.size() < 4) {
                auto *p = static_cast<unsigned char *>(omsc_HeapMalloc(static_cast<int32_t>(n)));
                if (!p || !AllBytes(p, n, 0)) *ok = false;
                if (p) std::memset(p, tag, n);
                live.push_back({p, n});
                continue;
            }
            const std::size_t k = rng() % live.size();
            if (!AllBytes(live[k].p, live[k].n, tag)) *ok = false;
            if (op == 1) {
                auto *q = static_cast<unsigned char *>(
                    omsc_HeapRealloc(live[k].p, static_cast<int32_t>(n)));
                if (!q) {
                    *ok = false;
                    break;
                }
                const std::size_t kept = std::min(n, live[k].n);
                if (!AllBytes(q + kept, n - kept, 0)) *ok = false;
                std::memset(q, tag, n);
                live[k] = {q, n};
            } else {
                omsc_HeapFree(live[k].p);
                live[k] = live.back();
                live.pop_back();
            }
        }
        for (const Live &l : live) {
            if (l.p && !AllBytes(l.p, l.n, tag)) *ok = false;
            omsc_HeapFree(l.p);
        }
    };
    bool ok1 = true, ok2 = true;
    std::thread t1(work, 0xA1, 1u, &ok1);
    std::thread t2(work, 0xB2, 2u, &ok2);
    t1.join();
    t2.join();
    omsc_HeapEndThreadSafeMode();
    omsc_HeapEndThreadSafeMode(); // already off: nothing happens
    EXPECT_TRUE(ok1);
    EXPECT_TRUE(ok2);
    EXPECT_TRUE(big_heap::Consistent(CurrentBigHeap()));
    EXPECT_EQ(UsedBeyondMarker(), 0u);
}

// A Windows big heap refuses single blocks above the fixed-heap limit (about 1 MB) however
// large it is; such requests are served by the standard heap, smaller ones by the big heap.
TEST_F(BigHeap, BlocksAboveTheFixedHeapLimitGoToTheStandardHeap) {
    if (!kFixedHeapLimit) GTEST_SKIP() << "only Windows big heaps have a block-size limit";
    Create(16);
    auto *small = static_cast<unsigned char *>(omsc_HeapMalloc(8192));
    EXPECT_TRUE(InBigHeap(small));
    std::memset(small, 0x5A, 8192);
    const std::size_t large = 4 * kMiB;
    auto *big = static_cast<unsigned char *>(omsc_HeapMalloc(static_cast<int32_t>(large)));
    ASSERT_NE(big, nullptr);
    EXPECT_FALSE(InBigHeap(big));
    EXPECT_TRUE(AllBytes(big, large, 0));
    omsc_HeapFree(big);
    // Grown past the limit, a big-heap block moves to the standard heap with its contents.
    auto *grown =
        static_cast<unsigned char *>(omsc_HeapRealloc(small, static_cast<int32_t>(large)));
    ASSERT_NE(grown, nullptr);
    EXPECT_FALSE(InBigHeap(grown));
    EXPECT_TRUE(AllBytes(grown, 8192, 0x5A));
    EXPECT_TRUE(AllBytes(grown + 8192, large - 8192, 0));
    EXPECT_EQ(UsedBeyondMarker(), 0u);
    omsc_HeapFree(grown);
}

} // namespace
