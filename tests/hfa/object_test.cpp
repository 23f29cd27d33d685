// Objects: round trips, the size rules of rewrites (objects keep a large enough block, raw
// data only an equal one), reads of missing and empty entries, method 18, modTime, delete.
#include <thread>

#include "hfa_test_util.hpp"

namespace {

using namespace hfa_test;

struct Series {
    OMIF_COUNTED_POINTER_OF(double) values;
};

class HfaObject : public HfaTest {
  protected:
    void SetUp() override {
        HfaTest::SetUp();
        m_file = ohfa_FileCreate(Name("obj.hfa").c_str(), 0, nullptr);
        ASSERT_NE(m_file, nullptr);
        m_design = omif_DesignCreateX(L"Series", nullptr, OMIF_ITEM_DOUBLE, L"values", 0,
                                      OMIF_COUNTED_POINTER, OMIF_ITEM_END);
        ASSERT_NE(m_design, nullptr);
    }
    void TearDown() override {
        omif_DesignDestroy(m_design, nullptr);
        if (m_file) {
            EXPECT_EQ(ohfa_FileClose(m_file, nullptr), 0);
        }
    }
    // Writes n values 0, 1, ... as the object "/S" (created, or rewritten in place).
    void WriteSeries(int n, long where) {
        std::vector<double> v(static_cast<std::size_t>(n));
        for (int i = 0; i < n; ++i) v[static_cast<std::size_t>(i)] = i;
        Series s{};
        s.values.count = n;
        s.values.data = v.data();
        Report err;
        const wchar_t *path = where == 0 ? L"/S" : L"/";
        ASSERT_EQ(ohfa_ObjectWrite(m_file, path, L"S", nullptr, where, &s, m_design, &err), 0)
            << err.Message();
    }
    Ohfa_Entry Entry(const wchar_t *path) {
        Ohfa_Entry e{};
        EXPECT_EQ(ohfa_EntrySeek(m_file, 8, path, nullptr), 1);
        ohfa_EntryCurrentGet(m_file, &e, nullptr);
        return e;
    }

    Ohfa_File *m_file = nullptr;
    Omif_Design *m_design = nullptr;
};

TEST_F(HfaObject, WrittenObjectsReadBackAndTheirDesignJoinsTheDictionary) {
    WriteSeries(10, 3);
    const Ohfa_Entry e = Entry(L"/S");
    EXPECT_EQ(e.dataSize, 8 + 10 * 8);
    EXPECT_STREQ(e.type, "Series");
    ASSERT_EQ(ohfa_FileClose(m_file, nullptr), 0);
    m_file = ohfa_FileOpen(Name("obj.hfa").c_str(), L"r", 0, nullptr);
    ASSERT_NE(m_file, nullptr);
    EXPECT_NE(omif_DictionarySearchByName(ohfa_FileDictionaryGet(m_file), L"Series", nullptr),
              nullptr);
    Series back{};
    Report err;
    EXPECT_EQ(ohfa_ObjectRead(m_file, L"/S", 8, &back, m_design, &err), &back);
    EXPECT_FALSE(err) << err.Message();
    ASSERT_EQ(back.values.count, 10);
    EXPECT_EQ(back.values.data[9], 9.0);
    omif_ObjectItemsFree(&back, m_design, nullptr);
    // Method 18: the entry at a position, its data read where the stream then stands.
    long count = 0;
    void *raw = ohfa_ObjectDataReadIfPresent(m_file, L"/S", 8, &count, &err);
    ASSERT_NE(raw, nullptr);
    EXPECT_EQ(count, 88);
    omsc_HeapFree(raw);
}

TEST_F(HfaObject, SmallerRewriteKeepsItsBlockLargerMovesAndFrees) {
    WriteSeries(10, 3);
    const Ohfa_Entry first = Entry(L"/S");
    const long freeBefore = ohfa_FileFreeSpaceSize(m_file, nullptr);
    WriteSeries(5, 0);
    const Ohfa_Entry smaller = Entry(L"/S");
    EXPECT_EQ(smaller.data, first.data);
    EXPECT_EQ(smaller.dataSize, 48);
    EXPECT_EQ(ohfa_FileFreeSpaceSize(m_file, nullptr), freeBefore); // the slack stays with it
    WriteSeries(20, 0);
    const Ohfa_Entry larger = Entry(L"/S");
    EXPECT_NE(larger.data, first.data);
    const auto blocks = FreeBlocks(m_file);
    EXPECT_NE(std::find(blocks.begin(), blocks.end(), std::make_pair(first.data, 48u)),
              blocks.end());
    Series back{};
    EXPECT_EQ(ohfa_ObjectRead(m_file, L"/S", 8, &back, m_design, nullptr), &back);
    EXPECT_EQ(back.values.count, 20);
    omif_ObjectItemsFree(&back, m_design, nullptr);
}

TEST_F(HfaObject, RawDataKeepsItsBlockOnlyForAnEqualCount) {
    const char bytes[16] = "0123456789abcde";
    Report err;
    ASSERT_EQ(ohfa_ObjectDataWrite(m_file, L"/", L"R", L"Bytes", 3, 16, bytes, &err), 0);
    const Ohfa_Entry first = Entry(L"/R");
    ASSERT_EQ(ohfa_ObjectDataWrite(m_file, L"/R", nullptr, nullptr, 0, 16, bytes, &err), 0);
    EXPECT_EQ(Entry(L"/R").data, first.data);
    EXPECT_TRUE(FreeBlocks(m_file).empty());
    // Smaller: a new block is taken and filled first, the old one freed after the entry
    // names the new one, so the new bytes never land on the old ones.
    ASSERT_EQ(ohfa_ObjectDataWrite(m_file, L"/R", nullptr, nullptr, 0, 8, bytes, &err), 0);
    EXPECT_EQ(FreeBlocks(m_file), (std::vector<std::pair<uint32_t, uint32_t>>{{first.data, 16}}));
    EXPECT_NE(Entry(L"/R").data, first.data);
    EXPECT_EQ(Entry(L"/R").dataSize, 8);
    EXPECT_EQ(ohfa_ObjectDataWrite(m_file, L"/none", nullptr, nullptr, 0, 8, bytes, &err), -1);
    EXPECT_EQ(err.Message(), L"nodePath /none not found");
}

TEST_F(HfaObject, MissingAndEmptyEntriesAndModTime) {
    Report err;
    Series s{};
    EXPECT_EQ(ohfa_ObjectReadIfPresent(m_file, L"/nothing", 8, &s, m_design, &err), nullptr);
    EXPECT_FALSE(err);
    EXPECT_EQ(ohfa_ObjectRead(m_file, L"/nothing", 8, &s, m_design, &err), nullptr);
    EXPECT_EQ(err.Message(), L"Object read failure!");
    EXPECT_EQ(ohfa_ObjectReadIfPresent(m_file, L"/nothing", 8, nullptr, m_design, &err), nullptr);
    EXPECT_EQ(err.Message(), L"NULL omifobjectin parameter");
    // An entry without data: the caller's record comes back untouched.
    ASSERT_EQ(ohfa_EntrySeek(m_file, 0, nullptr, &err), 1);
    ASSERT_EQ(ohfa_EntryWrite(m_file, 3, L"Empty", L"Series", &err), 0);
    s.values.count = 77;
    EXPECT_EQ(ohfa_ObjectReadIfPresent(m_file, L"/Empty", 8, &s, m_design, &err), &s);
    EXPECT_EQ(s.values.count, 77);
    // Identical data written twice still changes modTime.
    WriteSeries(3, 3);
    const double t1 = Entry(L"/S").modTime;
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
    WriteSeries(3, 0);
    EXPECT_GT(Entry(L"/S").modTime, t1);
}

TEST_F(HfaObject, DeleteReturnsTheRecordAndItsDataAndIgnoresMissingEntries) {
    WriteSeries(10, 3);
    const Ohfa_Entry e = Entry(L"/S");
    const uint32_t at = static_cast<uint32_t>(ohfa_EntryCurrentGet(m_file, nullptr, nullptr));
    const long before = ohfa_FileFreeSpaceSize(m_file, nullptr);
    Report err;
    EXPECT_EQ(ohfa_ObjectDelete(m_file, L"/missing", 8, &err), 0);
    EXPECT_FALSE(err);
    m_file->caching = 0;
    EXPECT_EQ(ohfa_ObjectDelete(m_file, L"/S", 8, &err), -1);
    EXPECT_TRUE(err.Has(L"Deletion not allowed while cache is not in use"));
    m_file->caching = 1;
    EXPECT_EQ(ohfa_ObjectDelete(m_file, L"/S", 8, &err), 0) << err.Message();
    EXPECT_EQ(ohfa_FileFreeSpaceSize(m_file, nullptr), before + 128 + e.dataSize);
    EXPECT_EQ(ohfa_EntrySeek(m_file, 8, L"/S", &err), 0);
    const auto blocks = FreeBlocks(m_file);
    bool recordFree = false;
    for (const auto &[p, s] : blocks) recordFree |= p <= at && at + 128 <= p + s;
    EXPECT_TRUE(recordFree);
    ASSERT_EQ(ohfa_FileClose(m_file, nullptr), 0);
    m_file = ohfa_FileOpen(Name("obj.hfa").c_str(), L"r", 0, nullptr);
    ASSERT_NE(m_file, nullptr);
    EXPECT_EQ(orvik::hfa::CheckFreeList(m_file), 0);
    EXPECT_EQ(ohfa_EntrySeek(m_file, 0, nullptr, nullptr), 1);
    EXPECT_EQ(ohfa_EntryCurrentHasChild(m_file, nullptr), OMSC_FALSE);
}

} // namespace

namespace {

// A record larger than a megabyte is converted straight into the stream: it reads back
// whole, after a reopen too, and the entries around it are untouched.
TEST_F(HfaObject, LargeRecordsReadBackAndLeaveTheirNeighboursAlone) {
    WriteSeries(5, 3);
    WriteSeries(200000, 0); // grows: the data moves to a new block at the end
    Report err;
    ASSERT_EQ(ohfa_EntrySeek(m_file, 0, nullptr, &err), 1);
    ASSERT_EQ(ohfa_EntryWrite(m_file, 3, L"After", L"Mark", &err), 0);
    for (int round = 0; round < 2; ++round) {
        Series s{};
        ASSERT_EQ(ohfa_ObjectRead(m_file, L"/S", 8, &s, m_design, &err), &s) << err.Message();
        ASSERT_EQ(s.values.count, 200000);
        bool same = true;
        for (int i = 0; i < 200000; ++i) same = same && s.values.data[i] == i;
        EXPECT_TRUE(same);
        omsc_HeapFree(s.values.data);
        EXPECT_STREQ(Entry(L"/After").type, "Mark");
        EXPECT_EQ(Entry(L"/S").dataSize, 8 + 200000 * 8);
        ASSERT_EQ(ohfa_FileClose(m_file, nullptr), 0);
        m_file = ohfa_FileOpen(Name("obj.hfa").c_str(), L"r+b", 0, nullptr);
        ASSERT_NE(m_file, nullptr);
    }
}

} // namespace
