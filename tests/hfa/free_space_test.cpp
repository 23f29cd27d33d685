// Free space: first fit with exact and split fits, the 8-byte skip, merging, refused overlap,
// the tail rule and the size limit, page rounding when mapped, corrupt lists on disk, and
// the write-back of the cache.

#include "fio/write_seam.hpp"
#include "hfa_test_util.hpp"

namespace {

using namespace hfa_test;
using Blocks = std::vector<std::pair<uint32_t, uint32_t>>;

class HfaFreeSpace : public HfaTest {
  protected:
    void SetUp() override {
        HfaTest::SetUp();
        Report err;
        m_file = ohfa_FileCreate(Name("fs.hfa").c_str(), 0, &err);
        ASSERT_NE(m_file, nullptr) << err.Message();
    }
    void TearDown() override {
        if (m_file) {
            EXPECT_EQ(ohfa_FileClose(m_file, nullptr), 0);
        }
    }
    uint32_t Take(long size) {
        Report err;
        const uint32_t at = ohfa_NextFreePos(m_file, size, &err);
        EXPECT_FALSE(err) << err.Message();
        return at;
    }
    void Give(uint32_t at, long size) {
        Report err;
        EXPECT_EQ(ohfa_FreeSpace(m_file, at, size, &err), 0) << err.Message();
    }
    // Five 100-byte blocks a..e in a row, then a used block so that none reaches the end.
    std::vector<uint32_t> Row() {
        std::vector<uint32_t> at;
        for (int i = 0; i < 5; ++i) at.push_back(Take(100));
        Take(100);
        return at;
    }

    Ohfa_File *m_file = nullptr;
};

TEST_F(HfaFreeSpace, FirstFitTakesExactBlocksAndSplitsOnlyWhenANodeFits) {
    const auto r = Row();
    Give(r[1], 100);
    Give(r[3], 100);
    EXPECT_EQ(FreeBlocks(m_file), (Blocks{{r[1], 100}, {r[3], 100}}));
    EXPECT_EQ(Take(100), r[1]); // exact fit, first in file order
    EXPECT_EQ(FreeBlocks(m_file), (Blocks{{r[3], 100}}));

    // A block 1 to 7 bytes larger than the request is skipped: the rest could hold no node.
    const long end = ohfa_FileSize(m_file, nullptr);
    for (long request : {99L, 93L}) EXPECT_GE(Take(request), static_cast<uint32_t>(end));
    EXPECT_EQ(FreeBlocks(m_file), (Blocks{{r[3], 100}}));
    // 8 bytes larger: split, the front is handed out.
    EXPECT_EQ(Take(92), r[3]);
    EXPECT_EQ(FreeBlocks(m_file), (Blocks{{r[3] + 92, 8}}));
    EXPECT_EQ(Take(8), r[3] + 92);
    EXPECT_TRUE(FreeBlocks(m_file).empty());
    EXPECT_EQ(m_file->header.freeList, 0u);
}

TEST_F(HfaFreeSpace, ReturnedBlocksMergeOnBothSides) {
    const auto r = Row();
    Give(r[0], 100);
    Give(r[2], 100);
    Give(r[4], 100);
    Give(r[1], 100); // touches r[0] and r[2]
    EXPECT_EQ(FreeBlocks(m_file), (Blocks{{r[0], 300}, {r[4], 100}}));
    Give(r[3], 100);
    EXPECT_EQ(FreeBlocks(m_file), (Blocks{{r[0], 500}}));
    EXPECT_EQ(ohfa_FileFreeSpaceSize(m_file, nullptr), 500);
    EXPECT_EQ(orvik::hfa::CheckFreeList(m_file), 0);
}

TEST_F(HfaFreeSpace, OverlapIsRefusedAndChangesNothing) {
    const auto r = Row();
    Give(r[1], 100);
    Give(r[3], 100);
    const Blocks before = FreeBlocks(m_file);
    Report err;
    for (auto [at, size] :
         {std::pair<uint32_t, long>{r[1] + 50, 100}, {r[0] + 50, 60}, {r[1], 100}, {r[2], 101}}) {
        EXPECT_EQ(ohfa_FreeSpace(m_file, at, size, &err), -1) << at;
        EXPECT_EQ(err.Message(), L"Free list corruption detected");
    }
    EXPECT_EQ(FreeBlocks(m_file), before);
    // Sizes and ranges that are no file space at all.
    EXPECT_EQ(ohfa_FreeSpace(m_file, r[0], 0, &err), -1);
    EXPECT_EQ(err.Message(), L"Zero or negative size; long integer overflow?");
    EXPECT_EQ(ohfa_FreeSpace(m_file, 64, 18, &err), -1);
    EXPECT_EQ(ohfa_NextFreePos(m_file, -3, &err), 0u);
    EXPECT_EQ(err.Message(), L"Zero or negative size; long integer overflow?");
    EXPECT_EQ(FreeBlocks(m_file), before);
}

TEST_F(HfaFreeSpace, TailBlockIsGrownWithTheFormatsOwnFormula) {
    Take(100);
    const uint32_t tail = Take(103);
    Give(tail, 103); // a free block that reaches the end of the file
    const long end = ohfa_FileSize(m_file, nullptr);
    const std::string before = ReadRaw(Path("fs.hfa"));
    ASSERT_EQ(ohfa_FileFlush(m_file, nullptr), 0);
    const std::string flushed = ReadRaw(Path("fs.hfa"));

    // 100 bytes fit neither exactly nor with a remainder: reserve 2 * 100 - 103 + 8 = 105
    // bytes from the tail block, so the file grows by 2 bytes and nothing goes back.
    EXPECT_EQ(Take(100), tail);
    EXPECT_EQ(ohfa_FileSize(m_file, nullptr), end + 2);
    EXPECT_TRUE(FreeBlocks(m_file).empty());
    ASSERT_EQ(ohfa_FileFlush(m_file, nullptr), 0);
    const std::string after = ReadRaw(Path("fs.hfa"));
    ASSERT_EQ(after.size(), static_cast<std::size_t>(end + 2));
    // Growth by 2 bytes wrote only the 2 new bytes (the header changed for the free list).
    EXPECT_EQ(after.substr(100, static_cast<std::size_t>(end) - 100),
              flushed.substr(100, static_cast<std::size_t>(end) - 100));
    EXPECT_EQ(after.substr(static_cast<std::size_t>(end)), std::string(2, '\0'));
    (void)before;

    // A request larger than the tail block starts at it and grows the file by the difference.
    Give(tail, 105);
    EXPECT_EQ(Take(200), tail);
    EXPECT_EQ(ohfa_FileSize(m_file, nullptr), static_cast<long>(tail) + 200);
}

TEST_F(HfaFreeSpace, LimitIsRefusedAndTheFileKeepsItsLength) {
    const long end = ohfa_FileSize(m_file, nullptr);
    Report err;
    EXPECT_EQ(ohfa_NextFreePos(m_file, 0x7FFFFFFFL - end + 1, &err), 0u);
    EXPECT_EQ(err.Message(),
              L"Cannot allocate free block; resulting file would exceed the OS or OHFA limit");
    EXPECT_EQ(ohfa_FileSize(m_file, &err), end);
    ASSERT_EQ(ohfa_FileFlush(m_file, &err), 0);
    EXPECT_EQ(ReadRaw(Path("fs.hfa")).size(), static_cast<std::size_t>(end));
}

TEST_F(HfaFreeSpace, MappedGrowthReservesAWholePageAndFreesTheRest) {
    Report err;
    ASSERT_EQ(ohfa_FileChange(m_file, &err, OHFA_OPTION_MAP, 1, 0, 0), 0) << err.Message();
    if (!m_file->mapped) GTEST_SKIP() << "temporary folder is not on a local file system";
    const long page = omsc_MemPageSizeGet();
    const long end = ohfa_FileSize(m_file, &err);
    EXPECT_EQ(Take(1), static_cast<uint32_t>(end));
    EXPECT_EQ(ohfa_FileSize(m_file, &err), end + page);
    EXPECT_EQ(m_file->mapSize, end + page);
    EXPECT_EQ(FreeBlocks(m_file),
              (Blocks{{static_cast<uint32_t>(end) + 1, static_cast<uint32_t>(page) - 1}}));
    EXPECT_EQ(ohfa_FileChange(m_file, &err, OHFA_OPTION_MAP, 0, 0, 0), 0);
    EXPECT_FALSE(m_file->mapped);
}

TEST_F(HfaFreeSpace, CacheIsWrittenBackAtFlushAndReadAgainAtOpen) {
    const auto r = Row();
    Give(r[1], 100);
    Give(r[3], 100);
    // Until the flush the disk names no free block.
    EXPECT_EQ(Word(ReadRaw(Path("fs.hfa")), 68), 0u);
    ASSERT_EQ(ohfa_FileClose(m_file, nullptr), 0);
    const std::string b = ReadRaw(Path("fs.hfa"));
    EXPECT_EQ(Word(b, 68), r[1]);
    EXPECT_EQ(Word(b, r[1]), r[3]);
    EXPECT_EQ(Word(b, r[1] + 4), 100u);
    EXPECT_EQ(Word(b, r[3]), 0u);
    m_file = ohfa_FileOpen(Name("fs.hfa").c_str(), L"r+b", 0, nullptr);
    ASSERT_NE(m_file, nullptr);
    EXPECT_FALSE(m_file->freeList.Loaded()); // loaded when first needed
    EXPECT_EQ(ohfa_FileFreeSpaceSize(m_file, nullptr), 200);
    EXPECT_EQ(Take(100), r[1]);
    EXPECT_TRUE(m_file->freeList.Loaded());
    // Handing out a block the disk names first empties the list on disk (the stream keeps
    // the order of its writes; its buffer is pushed out to look at the disk).
    ASSERT_EQ(ofio_Flush(m_file->stream, nullptr), 0);
    EXPECT_EQ(Word(ReadRaw(Path("fs.hfa")), 68), 0u);
}

// Rewrites the 8-byte node at `at` of the closed file "fs.hfa".
void PatchNode(const std::string &path, uint32_t at, uint32_t next, uint32_t size) {
    std::string b = ReadRaw(path);
    PutWord(b, at, next);
    PutWord(b, at + 4, size);
    WriteRaw(path, b);
}

TEST_F(HfaFreeSpace, CorruptLinksWarnWhenTakingAndFailWhenReturning) {
    const auto r = Row();
    Give(r[1], 100);
    Give(r[3], 100);
    ASSERT_EQ(ohfa_FileClose(m_file, nullptr), 0);
    m_file = nullptr;
    // The second node links back to the first: a cycle.
    PatchNode(Path("fs.hfa"), r[3], r[1], 100);

    Report err;
    Ohfa_File *f = ohfa_FileOpen(Name("fs.hfa").c_str(), L"r+b", 0, &err);
    ASSERT_NE(f, nullptr);
    EXPECT_EQ(ohfa_FileFreeSpaceSize(f, &err), -1);
    EXPECT_EQ(err.Message(), L"Corrupt free list");
    testing::internal::CaptureStdout();
    EXPECT_EQ(ohfa_ShowFreeSpace(f, &err), 0);
    const std::string shown = testing::internal::GetCapturedStdout();
    EXPECT_EQ(shown, "Pointer " + std::to_string(r[1]) + " is 100 bytes...next @" +
                         std::to_string(r[3]) + "\nPointer " + std::to_string(r[3]) +
                         " is 100 bytes...next @" + std::to_string(r[1]) + "\nCorrupt file!\n");
    // Returning space over a corrupt list is an error and loads nothing.
    EXPECT_EQ(ohfa_FreeSpace(f, r[0], 100, &err), -1);
    EXPECT_EQ(err.Message(), L"Free list corruption detected");
    EXPECT_FALSE(f->freeList.Loaded());
    {
        // Taking space warns once, uses the sound part and ends the walk at the bad link.
        PrintedReports printed;
        EXPECT_EQ(ohfa_NextFreePos(f, 100, &err), r[1]);
        EXPECT_FALSE(err);
        EXPECT_EQ(printed.Messages(),
                  std::vector<std::wstring>{L"Free list corruption detected while reading " +
                                            Name("fs.hfa")});
        EXPECT_EQ(printed.Kinds(), std::vector<long>{1});
    }
    EXPECT_EQ(FreeBlocks(f), (Blocks{{r[3], 100}}));
    ASSERT_EQ(ohfa_FileClose(f, &err), 0);
    // The write-back repaired the list.
    f = ohfa_FileOpen(Name("fs.hfa").c_str(), L"r", 0, &err);
    EXPECT_EQ(ohfa_FileFreeSpaceSize(f, &err), 100);
    EXPECT_EQ(orvik::hfa::CheckFreeList(f), 0);
    ohfa_FileClose(f, &err);
}

TEST_F(HfaFreeSpace, NodesNamingFixedRecordsOrOutsideTheFileAreCorrupt) {
    const auto r = Row();
    Give(r[1], 100);
    ASSERT_EQ(ohfa_FileClose(m_file, nullptr), 0);
    m_file = nullptr;
    const std::string path = Path("fs.hfa");
    const std::string good = ReadRaw(path);
    Report err;
    for (auto [head, size] : std::vector<std::pair<uint32_t, uint32_t>>{
             {60, 30},                                       // covers the header
             {82, 16},                                       // the root entry
             {r[1], 4},                                      // smaller than a node
             {r[1], static_cast<uint32_t>(good.size())},     // beyond the end
             {static_cast<uint32_t>(good.size()) - 4, 8}}) { // node beyond the end
        std::string b = good;
        PutWord(b, 68, head);
        if (head + 8 <= b.size()) {
            PutWord(b, head, 0);
            PutWord(b, head + 4, size);
        }
        WriteRaw(path, b);
        Ohfa_File *f = ohfa_FileOpen(Name("fs.hfa").c_str(), L"r", 0, &err);
        ASSERT_NE(f, nullptr) << err.Message();
        EXPECT_EQ(ohfa_FileFreeSpaceSize(f, &err), -1) << head;
        EXPECT_GT(orvik::hfa::CheckFreeList(f), 0);
        ohfa_FileClose(f, &err);
    }
}

} // namespace
