// Block caches: blocks round-trip with caching on and off, unwritten blocks take no space,
// the memory bound holds, extension keeps blocks, the index is a MIF record a generic reader
// decodes, and damaged nodes or indexes are refused on open.
#include <cstring>
#include <fstream>

#include "hfa/cache.hpp"
#include "hfa_test_util.hpp"

namespace {

using namespace hfa_test;

std::vector<unsigned char> Pattern(long size, int seed) {
    std::vector<unsigned char> b(static_cast<std::size_t>(size));
    for (std::size_t i = 0; i < b.size(); ++i) b[i] = static_cast<unsigned char>(i * 7 + seed);
    return b;
}

class HfaCache : public HfaTest {
  protected:
    Ohfa_File *Create(const std::string &leaf) {
        Report err;
        Ohfa_File *f = ohfa_FileCreate(Name(leaf).c_str(), 0, &err);
        EXPECT_NE(f, nullptr) << err.Message();
        ohfa_EntrySeek(f, OHFA_SEEK_ROOT, nullptr, &err);
        return f;
    }
    // Writes blocks 0, 2, 5 of a 6-block cache and closes the file.
    void WriteSample(const std::string &leaf, bool caching) {
        Report err;
        Ohfa_File *f = Create(leaf);
        if (!caching) {
            ASSERT_EQ(ohfa_FileChange(f, &err, OHFA_OPTION_BLOCK_CACHE, 0, 0), 0);
        }
        Ohfa_Cache *c = ohfa_CacheCreate(f, L"/", L"Blocks", 1000, 6, &err);
        ASSERT_NE(c, nullptr) << err.Message();
        for (int b : {0, 2, 5})
            ASSERT_EQ(ohfa_CachePutBlock(c, b, Pattern(1000, b).data(), &err), 0);
        // A rewrite of a block already placed.
        ASSERT_EQ(ohfa_CachePutBlock(c, 2, Pattern(1000, 9).data(), &err), 0);
        ASSERT_EQ(ohfa_CacheClose(c, &err), 0) << err.Message();
        ASSERT_EQ(ohfa_FileClose(f, &err), 0);
    }
};

TEST_F(HfaCache, BlocksRoundTripAndCachingOnOrOffWritesTheSameBytes) {
    WriteSample("on.hfa", true);
    WriteSample("off.hfa", false);
    std::ifstream a(Path("on.hfa"), std::ios::binary), b(Path("off.hfa"), std::ios::binary);
    std::string on((std::istreambuf_iterator<char>(a)), {});
    std::string off((std::istreambuf_iterator<char>(b)), {});
    // The files differ only in entry times; each opens to the same blocks.
    EXPECT_EQ(on.size(), off.size());
    for (const char *leaf : {"on.hfa", "off.hfa"}) {
        for (int caching : {1, 0}) {
            Report err;
            Ohfa_File *f = ohfa_FileOpenWithOptions(Name(leaf).c_str(), L"r", 0, &err,
                                                    OHFA_OPTION_BLOCK_CACHE, caching, 0);
            ASSERT_NE(f, nullptr);
            Ohfa_Cache *c = ohfa_CacheOpen(f, L"/Blocks", &err);
            ASSERT_NE(c, nullptr) << err.Message();
            EXPECT_EQ(ohfa_CacheNodeGet(c)->bytecount, 6000);
            std::vector<unsigned char> got(1000, 0xEE);
            for (int blk = 0; blk < 6; ++blk) {
                const long r = ohfa_CacheGetBlock(c, blk, got.data(), &err);
                if (blk == 0 || blk == 5) {
                    EXPECT_EQ(r, 1);
                    EXPECT_EQ(got, Pattern(1000, blk));
                } else if (blk == 2) {
                    EXPECT_EQ(r, 1);
                    EXPECT_EQ(got, Pattern(1000, 9));
                } else {
                    EXPECT_EQ(r, 0) << blk;
                    EXPECT_FALSE(ohfa_CacheBlockIsStored(c, blk));
                }
            }
            EXPECT_EQ(ohfa_CacheGetBlock(c, 6, got.data(), &err), -1);
            EXPECT_NE(err.Message().find(L"Block 6 outside 0..5"), std::wstring::npos);
            ohfa_CacheClose(c, &err);
            ohfa_FileClose(f, &err);
        }
    }
}

TEST_F(HfaCache, NeverWrittenBlocksTakeNoSpace) {
    Report err;
    Ohfa_File *f = Create("sparse.hfa");
    Ohfa_Cache *c = ohfa_CacheCreate(f, nullptr, L"Blocks", 4096, 1000, &err);
    ASSERT_NE(c, nullptr);
    const long before = ohfa_FileSize(f, &err);
    ASSERT_EQ(ohfa_CachePutBlock(c, 999, Pattern(4096, 1).data(), &err), 0);
    ASSERT_EQ(ohfa_CacheFlush(c, &err), 0);
    // One block and one growth word; the index was already there.
    EXPECT_LE(ohfa_FileSize(f, &err) - before, 4096 + 4);
    EXPECT_LT(before, 4096 + 8 + 4 * 1000 + 1024);
    ohfa_CacheClose(c, &err);
    ohfa_FileClose(f, &err);
}

TEST_F(HfaCache, MemoryBoundHoldsAndEvictedBlocksComeBack) {
    Report err;
    Ohfa_File *f = Create("bound.hfa");
    Ohfa_Cache *c = ohfa_CacheCreate(f, nullptr, L"Blocks", 512, 64, &err);
    ASSERT_NE(c, nullptr);
    ASSERT_EQ(ohfa_CacheSetLimit(c, 512 * 5 + 100, &err), 0);
    Ohfa_CacheStats s{};
    for (int b = 0; b < 64; ++b) {
        ASSERT_EQ(ohfa_CachePutBlock(c, b, Pattern(512, b).data(), &err), 0);
        ohfa_CacheStatsGet(c, &s);
        ASSERT_LE(s.bytesHeld, 512 * 5);
    }
    EXPECT_EQ(s.bytesHeld, 512 * 5);
    std::vector<unsigned char> got(512);
    // The last five are held: hits. The first one was evicted (written): a miss.
    for (int b = 59; b < 64; ++b) ASSERT_EQ(ohfa_CacheGetBlock(c, b, got.data(), &err), 1);
    ohfa_CacheStatsGet(c, &s);
    EXPECT_EQ(s.hits, 5);
    EXPECT_EQ(s.misses, 0);
    ASSERT_EQ(ohfa_CacheGetBlock(c, 0, got.data(), &err), 1);
    EXPECT_EQ(got, Pattern(512, 0));
    ohfa_CacheStatsGet(c, &s);
    EXPECT_EQ(s.misses, 1);
    // Block 59 is now the least recently used one: reading 1 pushed it out, 63 stays.
    ASSERT_EQ(ohfa_CacheGetBlock(c, 1, got.data(), &err), 1);
    ASSERT_EQ(ohfa_CacheGetBlock(c, 63, got.data(), &err), 1);
    ohfa_CacheStatsGet(c, &s);
    EXPECT_EQ(s.hits, 6);
    ASSERT_EQ(ohfa_CacheGetBlock(c, 59, got.data(), &err), 1);
    ohfa_CacheStatsGet(c, &s);
    EXPECT_EQ(s.misses, 3);
    // A limit below one block holds nothing and goes straight to the file.
    ASSERT_EQ(ohfa_CacheSetLimit(c, 100, &err), 0);
    ohfa_CacheStatsGet(c, &s);
    EXPECT_EQ(s.bytesHeld, 0);
    ASSERT_EQ(ohfa_CacheGetBlock(c, 10, got.data(), &err), 1);
    EXPECT_EQ(got, Pattern(512, 10));
    ohfa_CacheClose(c, &err);
    ohfa_FileClose(f, &err);
}

TEST_F(HfaCache, WholeLargeBlocksGoStraightToTheFile) {
    Report err;
    Ohfa_File *f = Create("large.hfa");
    const long size = 128 << 10;
    Ohfa_Cache *c = ohfa_CacheCreate(f, nullptr, L"Blocks", size, 3, &err);
    ASSERT_EQ(ohfa_CachePutBlock(c, 1, Pattern(size, 4).data(), &err), 0);
    Ohfa_CacheStats s{};
    ohfa_CacheStatsGet(c, &s);
    EXPECT_EQ(s.bytesHeld, 0);
    // Written at once: another handle sees it before any flush.
    Ohfa_Cache *other = ohfa_CacheOpen(f, L"/Blocks", &err);
    ASSERT_NE(other, nullptr);
    std::vector<unsigned char> got(static_cast<std::size_t>(size));
    ASSERT_EQ(ohfa_CacheGetBlock(other, 1, got.data(), &err), 1);
    EXPECT_EQ(got, Pattern(size, 4));
    ohfa_CacheStatsGet(other, &s);
    EXPECT_EQ(s.bytesHeld, 0);
    EXPECT_EQ(s.misses, 1);
    ohfa_CacheClose(other, &err);
    ohfa_CacheClose(c, &err);
    ohfa_FileClose(f, &err);
}

TEST_F(HfaCache, SwitchingCachingOffWritesHeldBlocks) {
    Report err;
    Ohfa_File *f = Create("switch.hfa");
    Ohfa_Cache *c = ohfa_CacheCreate(f, nullptr, L"Blocks", 256, 4, &err);
    ASSERT_EQ(ohfa_CachePutBlock(c, 1, Pattern(256, 3).data(), &err), 0);
    ASSERT_EQ(ohfa_FileChange(f, &err, OHFA_OPTION_BLOCK_CACHE, 0, 0), 0);
    std::vector<unsigned char> got(256);
    ASSERT_EQ(ohfa_CacheGetBlock(c, 1, got.data(), &err), 1);
    Ohfa_CacheStats s{};
    ohfa_CacheStatsGet(c, &s);
    EXPECT_EQ(s.bytesHeld, 0);
    // The block is on disk: a second handle sees it.
    Ohfa_Cache *other = ohfa_CacheOpen(f, L"/Blocks", &err);
    ASSERT_NE(other, nullptr);
    ASSERT_EQ(ohfa_CacheGetBlock(other, 1, got.data(), &err), 1);
    EXPECT_EQ(got, Pattern(256, 3));
    ohfa_CacheClose(other, &err);
    ohfa_CacheClose(c, &err);
    ohfa_FileClose(f, &err);
}

TEST_F(HfaCache, ExtendKeepsBlocksAndFreesTheOldIndex) {
    Report err;
    Ohfa_File *f = Create("extend.hfa");
    Ohfa_Cache *c = ohfa_CacheCreate(f, nullptr, L"Blocks", 64, 3, &err);
    ASSERT_EQ(ohfa_CachePutBlock(c, 2, Pattern(64, 2).data(), &err), 0);
    ASSERT_EQ(ohfa_CacheFlush(c, &err), 0);
    const int32_t oldIndex = ohfa_CacheNodeGet(c)->rootptr;
    ASSERT_EQ(ohfa_CacheExtend(c, 10, &err), 0) << err.Message();
    EXPECT_NE(ohfa_CacheNodeGet(c)->rootptr, oldIndex);
    EXPECT_EQ(ohfa_CacheNodeGet(c)->bytecount, 640);
    ASSERT_EQ(ohfa_CachePutBlock(c, 9, Pattern(64, 9).data(), &err), 0);
    EXPECT_EQ(ohfa_CacheExtend(c, 5, &err), -1);
    EXPECT_EQ(ohfa_CacheExtend(c, 0x7FFFFFFF, &err), -1);
    ohfa_CacheClose(c, &err);
    bool oldFree = false;
    for (const auto &[p, s] : FreeBlocks(f))
        oldFree |= p <= uint32_t(oldIndex) && uint32_t(oldIndex) < p + s;
    EXPECT_TRUE(oldFree);
    ohfa_FileClose(f, &err);

    f = ohfa_FileOpen(Name("extend.hfa").c_str(), L"r", 0, &err);
    c = ohfa_CacheOpen(f, L"/Blocks", &err);
    ASSERT_NE(c, nullptr) << err.Message();
    std::vector<unsigned char> got(64);
    ASSERT_EQ(ohfa_CacheGetBlock(c, 2, got.data(), &err), 1);
    EXPECT_EQ(got, Pattern(64, 2));
    ASSERT_EQ(ohfa_CacheGetBlock(c, 9, got.data(), &err), 1);
    EXPECT_EQ(got, Pattern(64, 9));
    // The index is an Ohfa_CacheIndex record that the file's dictionary describes.
    const Omif_Design *d =
        omif_DictionarySearchByName(ohfa_FileDictionaryGet(f), L"Ohfa_CacheIndex", &err);
    ASSERT_NE(d, nullptr);
    struct {
        OMIF_COUNTED_POINTER_OF(uint32_t) blocks;
    } index{};
    const int32_t at = ohfa_CacheNodeGet(c)->rootptr;
    ASSERT_EQ(ohfa_FileHostDataRead(f, at, d, 8 + 4 * 10, &index, &err), 8 + 4 * 10)
        << err.Message();
    ASSERT_EQ(index.blocks.count, 10u);
    EXPECT_EQ(index.blocks.data[0], 0u);
    EXPECT_NE(index.blocks.data[2], 0u);
    EXPECT_NE(index.blocks.data[9], 0u);
    omif_ObjectItemsFree(&index, d, nullptr);
    ohfa_CacheClose(c, &err);
    ohfa_FileClose(f, &err);
}

TEST_F(HfaCache, DeleteReturnsIndexAndBlocks) {
    Report err;
    Ohfa_File *f = Create("delete.hfa");
    Ohfa_Cache *c = ohfa_CacheCreate(f, nullptr, L"Blocks", 1000, 4, &err);
    for (int b = 0; b < 4; ++b) ohfa_CachePutBlock(c, b, Pattern(1000, b).data(), &err);
    ASSERT_EQ(ohfa_CacheClose(c, &err), 0);
    const long freeBefore = ohfa_FileFreeSpaceSize(f, &err);
    ASSERT_EQ(ohfa_CacheDelete(f, L"/Blocks", &err), 0) << err.Message();
    EXPECT_GE(ohfa_FileFreeSpaceSize(f, &err) - freeBefore, 4000 + 8 + 16);
    EXPECT_EQ(ohfa_CacheOpen(f, L"/Blocks", &err), nullptr);
    EXPECT_EQ(orvik::hfa::CheckFreeList(f), 0);
    ohfa_FileClose(f, &err);
}

// Node at the entry's data, index at rootptr: each damage must be refused with a report.
TEST_F(HfaCache, DamagedNodesAndIndexesAreRefused) {
    WriteSample("good.hfa", true);
    Report err;
    Ohfa_File *f = ohfa_FileOpen(Name("good.hfa").c_str(), L"r", 0, &err);
    Ohfa_Entry e{};
    ASSERT_GT(ohfa_EntryPeek(f, OHFA_SEEK_PATH, L"/Blocks", &e, &err), 0);
    Ohfa_Cache *c = ohfa_CacheOpen(f, L"/Blocks", &err);
    const uint32_t root = static_cast<uint32_t>(ohfa_CacheNodeGet(c)->rootptr);
    ohfa_CacheClose(c, &err);
    ohfa_FileClose(f, &err);
    std::ifstream in(Path("good.hfa"), std::ios::binary);
    const std::string good((std::istreambuf_iterator<char>(in)), {});
    const uint32_t node = e.data;

    struct Damage {
        const char *what;
        uint32_t at;
        uint32_t value;
        const wchar_t *message;
    };
    const Damage damages[] = {
        {"bytecount", node + 8, 5999, L"disagrees with itself"},
        {"blocksize overflow", node, 0x40000000, L"disagrees with itself"},
        {"negative count", node + 4, 0xFFFFFFFF, L"disagrees with itself"},
        {"index outside", node + 12, 0x7FFFFF00, L"lies outside the file"},
        {"index count", root, 7, L"holds 7 positions"},
        {"block outside", root + 8 + 4 * 5, static_cast<uint32_t>(good.size()) - 999,
         L"lies outside the file"},
    };
    for (const Damage &d : damages) {
        SCOPED_TRACE(d.what);
        std::string bad = good;
        PutWord(bad, d.at, d.value);
        std::ofstream(Path("bad.hfa"), std::ios::binary | std::ios::trunc) << bad;
        f = ohfa_FileOpen(Name("bad.hfa").c_str(), L"r", 0, &err);
        ASSERT_NE(f, nullptr);
        EXPECT_EQ(ohfa_CacheOpen(f, L"/Blocks", &err), nullptr);
        bool found = false;
        for (auto *r = err.get(); r; r = r->next)
            found |= r->message && std::wcsstr(r->message, d.message) != nullptr;
        EXPECT_TRUE(found) << std::string(err.Message().begin(), err.Message().end());
        ohfa_FileClose(f, &err);
    }
    // Not a cache at all.
    f = ohfa_FileOpen(Name("good.hfa").c_str(), L"r", 0, &err);
    EXPECT_EQ(ohfa_CacheOpen(f, L"/", &err), nullptr);
    EXPECT_NE(err.Message().find(L"is not a block cache"), std::wstring::npos);
    ohfa_FileClose(f, &err);
}

} // namespace
