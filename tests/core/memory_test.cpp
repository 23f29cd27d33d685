// Memory utilities (copies, duplicates, byte swapping, bit repacking, page size), the free
// helpers and the owning holder LegacyHelperTemplate.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include <orvik/oerr.h>
#include <orvik/omsc.h>

#include "port/big_heap.hpp"
#include "core/heap_config.hpp"
#include "core/heap_internal.hpp"

namespace {

using Bytes = std::vector<std::uint8_t>;

TEST(MemCopy, CopiesOnlyWithBothPointers) {
    char dst[8] = "abcdefg";
    const char src[8] = "1234567";
    EXPECT_EQ(omsc_MemCpy(dst, nullptr, 4), dst);
    EXPECT_STREQ(dst, "abcdefg");
    EXPECT_EQ(omsc_MemCpy(nullptr, src, 4), nullptr);
    EXPECT_EQ(omsc_MemCpy(dst, src, 3), dst);
    EXPECT_STREQ(dst, "123defg");
    EXPECT_EQ(omsc_MemMove(dst, nullptr, 4), dst);
    EXPECT_EQ(omsc_MemMove(nullptr, src, 4), nullptr);
    EXPECT_EQ(omsc_MemMove(dst + 2, dst, 5), dst + 2); // overlapping, forwards
    EXPECT_STREQ(dst, "12123de");
    EXPECT_EQ(omsc_MemMove(dst, dst + 3, 4), dst); // overlapping, backwards
    EXPECT_STREQ(dst, "23de3de");
}

TEST(MemCopy, DupMakesAHeapCopy) {
    EXPECT_EQ(omsc_MemDup("abc", 0), nullptr);
    EXPECT_EQ(omsc_MemDup(nullptr, 4), nullptr);
    const std::uint8_t src[5] = {1, 0, 255, 7, 9};
    auto *copy = static_cast<std::uint8_t *>(omsc_MemDup(src, sizeof src));
    ASSERT_NE(copy, nullptr);
    EXPECT_NE(copy, src);
    EXPECT_EQ(Bytes(copy, copy + 5), Bytes(src, src + 5));
    omsc_HeapFree(copy);
}

Bytes Swab(Bytes b, long count, long size) {
    omsc_MemSwab(b.data(), count, size);
    return b;
}

TEST(MemSwab, ReversesElementsOfTwoFourAndEightBytes) {
    EXPECT_EQ(Swab({1, 2, 3, 4, 5, 6}, 3, 2), (Bytes{2, 1, 4, 3, 6, 5}));
    EXPECT_EQ(Swab({1, 2, 3, 4, 5, 6, 7, 8}, 2, 4), (Bytes{4, 3, 2, 1, 8, 7, 6, 5}));
    EXPECT_EQ(Swab({1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16}, 2, 8),
              (Bytes{8, 7, 6, 5, 4, 3, 2, 1, 16, 15, 14, 13, 12, 11, 10, 9}));
    // Only `count` elements are touched.
    EXPECT_EQ(Swab({1, 2, 3, 4, 5, 6}, 1, 4), (Bytes{4, 3, 2, 1, 5, 6}));
    EXPECT_EQ(Swab({1, 2, 3, 4}, 0, 2), (Bytes{1, 2, 3, 4}));
    EXPECT_EQ(Swab({1, 2, 3, 4}, 4, 1), (Bytes{1, 2, 3, 4}));
}

TEST(MemSwab, OtherSizesMirrorAroundTheElementCount) {
    // Three 3-byte elements: count equals size, so each element is reversed.
    EXPECT_EQ(Swab({1, 2, 3, 4, 5, 6, 7, 8, 9}, 3, 3), (Bytes{3, 2, 1, 6, 5, 4, 9, 8, 7}));
    // Four 3-byte elements: each first byte is exchanged with the byte three places on,
    // i.e. the next element's first byte; the last one has no partner inside the buffer.
    EXPECT_EQ(Swab({1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 99}, 4, 3),
              (Bytes{4, 2, 3, 7, 5, 6, 10, 8, 9, 1, 11, 12, 99}));
    // Two 5-byte elements: the exchanges (0,1) and (1,0) undo each other.
    EXPECT_EQ(Swab({1, 2, 3, 4, 5, 6, 7, 8, 9, 10}, 2, 5), (Bytes{1, 2, 3, 4, 5, 6, 7, 8, 9, 10}));
    // Two 6-byte elements: exchanges (s, s+1), (s+1, s), (s+2, s-1); the first element's
    // third exchange would fall before the buffer and is skipped.
    EXPECT_EQ(Swab({1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 99}, 2, 6),
              (Bytes{1, 2, 3, 4, 5, 9, 7, 8, 6, 10, 11, 12, 99}));
    // Six 6-byte elements reverse each element.
    Bytes six(36);
    for (int i = 0; i < 36; ++i) six[i] = static_cast<std::uint8_t>(i);
    Bytes expect(36);
    for (int i = 0; i < 36; ++i) expect[i] = static_cast<std::uint8_t>(i / 6 * 6 + 5 - i % 6);
    EXPECT_EQ(Swab(six, 6, 6), expect);
}

struct RepackResult {
    long status;
    Bytes dest;
};

// No report listener is connected here, so a failing call prints nothing in this process;
// what it prints is checked in child processes below.
RepackResult Repack(long destUnit, long destPackage, const Bytes &src, long srcUnit,
                    long srcPackage, long count, std::size_t destSize) {
    RepackResult r;
    r.dest.assign(destSize, 0x55);
    r.status = omsc_MemRepack(r.dest.data(), destUnit, destPackage, src.data(), srcUnit, srcPackage,
                              count);
    return r;
}

TEST(MemRepack, UnpacksMostSignificantUnitFirst) {
    RepackResult r = Repack(8, 8, {0xAB, 0xC7}, 4, 8, 3, 4);
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.dest, (Bytes{0xA, 0xB, 0xC, 0x55}));

    r = Repack(8, 8, {0xE4, 0x9F}, 2, 8, 6, 7);
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.dest, (Bytes{3, 2, 1, 0, 2, 1, 0x55}));

    r = Repack(8, 8, {0xA5, 0xC0}, 1, 8, 10, 11);
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.dest, (Bytes{1, 0, 1, 0, 0, 1, 0, 1, 1, 1, 0x55}));
}

TEST(MemRepack, PacksAndMasksUnits) {
    RepackResult r = Repack(4, 8, {0x1, 0x2, 0x3, 0xFF, 0x1E}, 8, 8, 5, 4);
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.dest, (Bytes{0x12, 0x3F, 0xE0, 0x55})); // trailing byte: low nibble zero

    r = Repack(2, 8, {1, 2, 3, 0, 7, 2}, 8, 8, 6, 3);
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.dest, (Bytes{0x6C, 0xE0, 0x55}));

    r = Repack(1, 8, {1, 0, 1, 1, 0, 0, 1, 0, 3, 2}, 8, 8, 10, 3);
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.dest, (Bytes{0xB2, 0x80, 0x55}));
}

struct RepackCase {
    long du, dp, su, sp, count;
};

TEST(MemRepack, RejectedCallsFailAndLeaveTheDestination) {
    std::uint8_t byte = 0xF0;
    EXPECT_EQ(omsc_MemRepack(nullptr, 8, 8, &byte, 4, 8, 2), 1);
    EXPECT_EQ(omsc_MemRepack(&byte, 8, 8, nullptr, 4, 8, 2), 1);
    EXPECT_EQ(byte, 0xF0);
    EXPECT_EQ(omsc_MemRepack(nullptr, 3, 1, nullptr, 9, 2, 0), 0); // count 0: nothing checked
    const RepackCase cases[] = {
        {8, 8, 9, 8, 2},  {16, 8, 4, 8, 2}, {8, 8, 4, 8, -1}, // bad arguments
        {3, 8, 8, 8, 2},  {8, 8, 8, 8, 2},  {8, 8, 3, 8, 2},  // unsupported units
        {8, 16, 4, 8, 2}, {8, 8, 4, 16, 2}, {4, 16, 8, 8, 2}, // unsupported packages
        {4, 8, 8, 16, 2}, {4, 8, 2, 8, 2},
    };
    for (const RepackCase &c : cases) {
        RepackResult r = Repack(c.du, c.dp, {0x12, 0x34}, c.su, c.sp, c.count, 2);
        EXPECT_EQ(r.status, 1) << c.du << "/" << c.dp << " " << c.su << "/" << c.sp;
        EXPECT_EQ(r.dest, (Bytes{0x55, 0x55}));
    }
}

// Printing needs the default listener, and connecting it lasts for the rest of the process
// (it would add to what later tests print), so each printing case runs in a child process
// whose exit code is the function's result and whose standard error is compared whole.
[[noreturn]] void RepackInChild(const RepackCase &c, bool nullSource) {
    oerr_SetAltErrorFunction(nullptr, nullptr);
    std::uint8_t src[2] = {0x12, 0x34};
    std::uint8_t dest[16] = {};
    const long result =
        omsc_MemRepack(dest, c.du, c.dp, nullSource ? nullptr : src, c.su, c.sp, c.count);
    std::fflush(stderr);
    std::_Exit(static_cast<int>(result));
}

void ExpectPrinted(const RepackCase &c, bool nullSource, long status, const std::string &text) {
    EXPECT_EXIT(RepackInChild(c, nullSource), ::testing::ExitedWithCode(static_cast<int>(status)),
                ::testing::Eq(text))
        << c.du << "/" << c.dp << " " << c.su << "/" << c.sp << " count " << c.count;
}

TEST(MemRepackDeathTest, PrintsItsOwnReport) {
    const std::string args = " ***ERROR NUMBER 629 IN FUNCTION omsc_MemRepack***\n >>>Args<<<\n\n";
    const std::string unsupported = " ***ERROR NUMBER 657 IN FUNCTION omsc_MemRepack***\n"
                                    " >>>Unit or package size params not yet supported<<<\n\n";
    ExpectPrinted({8, 8, 4, 8, 2}, true, 1, args);
    ExpectPrinted({8, 8, 9, 8, 2}, false, 1, args);
    ExpectPrinted({16, 8, 4, 8, 2}, false, 1, args);
    ExpectPrinted({3, 8, 8, 8, 2}, false, 1, unsupported);
    ExpectPrinted({8, 8, 8, 8, 2}, false, 1, unsupported);
    ExpectPrinted({8, 8, 4, 8, 3}, false, 0, ""); // success prints nothing
    ExpectPrinted({3, 1, 9, 2, 0}, true, 0, "");  // nor does a count of 0
}

TEST(MemMisc, PageSizeAndReportingStubsOfTheInterface) {
    EXPECT_EQ(omsc_MemPageSizeGet(), 4096);
    EXPECT_EQ(omsc_MemPageSizeGet(), 4096);
    EXPECT_EQ(omsc_HeapInfo(), 0);
}

TEST(MemMisc, FreeHelpers) {
    void *p = omsc_HeapMalloc(8);
    omsc_HeapFreeEx(&p);
    EXPECT_EQ(p, nullptr);
    omsc_HeapFreeEx(&p); // null block
    omsc_HeapFreeEx(nullptr);
    omsc_FreeFunc(nullptr);
    omsc_FreeFunc(omsc_HeapMalloc(8));
    void *q = omsc_HeapMalloc(8);
    void *const before = q;
    omsc_FreePtrFunc(&q);
    EXPECT_EQ(q, before); // not cleared
    omsc_FreePtrFunc(nullptr);
}

// The holder's releases are observed through a big heap: its blocks are counted by the
// big heap, so a missing or extra release shows up in its count of live blocks.
class Holder : public ::testing::Test {
  protected:
    static double OneMegabyte() { return 1; }
    void SetUp() override {
        orvik::core::SetHeapSizePreferenceLookup(&OneMegabyte);
        omsc_HeapBigInit();
        ASSERT_NE(orvik::core::CurrentBigHeap(), nullptr);
    }
    void TearDown() override {
        orvik::core::SetHeapSizePreferenceLookup(nullptr);
        orvik::core::testing::DiscardBigHeap();
    }
    static std::size_t Live() {
        return orvik::port::big_heap::LiveBlocks(orvik::core::CurrentBigHeap()) -
               1; // minus the marker
    }
    static char *Block() { return static_cast<char *>(omsc_HeapMalloc(8192)); }
};

TEST_F(Holder, DestructionFreesAndReleaseHandsOver) {
    {
        LegacyHelperTemplate<char> h(Block());
        EXPECT_EQ(Live(), 1u);
    }
    EXPECT_EQ(Live(), 0u);
    char *kept;
    {
        LegacyHelperTemplate<char> h(Block());
        char *inside = h;
        kept = h.Release();
        EXPECT_EQ(kept, inside);
        EXPECT_EQ(static_cast<char *>(h), nullptr);
    }
    EXPECT_EQ(Live(), 1u); // released, so not freed
    omsc_HeapFree(kept);
    EXPECT_EQ(Live(), 0u);
}

TEST_F(Holder, FreeLeavesThePointerAndAssignmentFreesFirst) {
    LegacyHelperTemplate<char> h(Block());
    char *first = h;
    h.Free();
    EXPECT_EQ(Live(), 0u);
    EXPECT_EQ(static_cast<char *>(h), first); // deliberately not reset
    h.Release();                              // so the destructor does not free it again

    h = Block();
    char *second = h;
    EXPECT_EQ(Live(), 1u);
    h = Block(); // frees `second` first
    EXPECT_EQ(Live(), 1u);
    EXPECT_NE(static_cast<char *>(h), nullptr);
    (void)second;
    h = static_cast<char *>(nullptr);
    EXPECT_EQ(Live(), 0u);
    EXPECT_FALSE(h);
    EXPECT_TRUE(!h);
}

TEST_F(Holder, HolderAssignmentSharesAndOutArgumentFills) {
    LegacyHelperTemplate<char> a(Block());
    LegacyHelperTemplate<char> b;
    EXPECT_TRUE(!b);
    b = a;
    EXPECT_EQ(static_cast<char *>(b), static_cast<char *>(a));
    EXPECT_TRUE(static_cast<bool>(b));
    bool taken = false;
    if (b) taken = true;
    EXPECT_TRUE(taken);
    const LegacyHelperTemplate<char> &constB = b;
    EXPECT_TRUE(static_cast<bool>(constB));
    EXPECT_FALSE(!constB);
    EXPECT_EQ(Live(), 1u);
    b.Release(); // both own it; only one may free it

    LegacyHelperTemplate<wchar_t> text;
    wchar_t **out = text;
    *out = static_cast<wchar_t *>(omsc_HeapMalloc(8192));
    (*out)[0] = L'x';
    const LegacyHelperTemplate<wchar_t> &view = text;
    const wchar_t *read = view;
    EXPECT_EQ(read[0], L'x');
    EXPECT_EQ(Live(), 2u);
}

} // namespace
