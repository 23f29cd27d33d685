// Block stores damaged on purpose, as the file check and the copies see them: an index that
// names space outside the file or names one block twice is reported; a copy skips the store
// it cannot read and says so, and the copy itself checks sound.
#include <functional>

#include "hfa_test_util.hpp"

namespace {

using namespace hfa_test;

class CacheStoreCheck : public HfaTest {
  protected:
    // "/Blocks": 6 blocks of 1000 bytes, 0, 2 and 5 written; remembers where the index is.
    void SetUp() override {
        HfaTest::SetUp();
        Report err;
        Ohfa_File *f = ohfa_FileCreate(Name("s.hfa").c_str(), 0, &err);
        ASSERT_NE(f, nullptr) << err.Message();
        Ohfa_Cache *c = ohfa_CacheCreate(f, L"/", L"Blocks", 1000, 6, &err);
        ASSERT_NE(c, nullptr) << err.Message();
        std::vector<unsigned char> bytes(1000);
        for (int b : {0, 2, 5}) {
            for (std::size_t i = 0; i < bytes.size(); ++i)
                bytes[i] = static_cast<unsigned char>(i * 3 + b);
            ASSERT_EQ(ohfa_CachePutBlock(c, b, bytes.data(), &err), 0);
        }
        m_index = static_cast<uint32_t>(ohfa_CacheNodeGet(c)->rootptr);
        ASSERT_EQ(ohfa_CacheClose(c, &err), 0) << err.Message();
        ASSERT_EQ(ohfa_FileClose(f, &err), 0);
        m_sound = ReadRaw(Path("s.hfa"));
        ASSERT_EQ(Word(m_sound, m_index), 6u);
    }
    // Position slot `block` of the index names.
    std::size_t Slot(int block) const { return m_index + 8 + 4 * static_cast<std::size_t>(block); }

    long Check(const std::string &leaf) { return CheckLines(Name(leaf), m_lines); }
    long Damaged(const std::function<void(std::string &)> &damage) {
        std::string bytes = m_sound;
        damage(bytes);
        WriteRaw(Path("s.hfa"), bytes);
        return Check("s.hfa");
    }
    bool Said(std::initializer_list<std::wstring> fragments) const {
        return hfa_test::Said(m_lines, fragments);
    }
    std::string Lines() const { return Joined(m_lines); }

    uint32_t m_index = 0;
    std::string m_sound;
    std::vector<std::wstring> m_lines;
};

TEST_F(CacheStoreCheck, ASoundStoreIsClaimedWhole) {
    EXPECT_EQ(Check("s.hfa"), 0) << Lines();
    EXPECT_TRUE(m_lines.empty()) << Lines();
}

TEST_F(CacheStoreCheck, IndexDamageIsReportedOnTheEntry) {
    const uint32_t end = static_cast<uint32_t>(m_sound.size());
    // A block beyond the end of the file.
    EXPECT_EQ(Damaged([&](std::string &b) { PutWord(b, Slot(2), end + 100); }), 1) << Lines();
    EXPECT_TRUE(Said({L"Entry /Blocks (at ", L"block store cannot be read", L"Block 2 of /Blocks",
                      L"lies outside the file"}))
        << Lines();
    // A block reaching past the end.
    EXPECT_EQ(Damaged([&](std::string &b) { PutWord(b, Slot(0), end - 10); }), 1) << Lines();
    // An index that holds another number of positions than the node says.
    EXPECT_EQ(Damaged([&](std::string &b) { PutWord(b, m_index, 7); }), 1) << Lines();
    EXPECT_TRUE(Said({L"Entry /Blocks", L"holds 7 positions, the node says 6"})) << Lines();
    // Without its index nothing claims the blocks: they are leaked, not free.
    EXPECT_TRUE(!m_lines.empty() && m_lines.back().rfind(OHFA_CHECK_LEAK_PREFIX, 0) == 0);
}

TEST_F(CacheStoreCheck, BlocksSharingSpaceOverlap) {
    // Block 5 named at block 0's place; block 5's own space is left to nobody.
    EXPECT_EQ(Damaged([&](std::string &b) { PutWord(b, Slot(5), Word(b, Slot(0))); }), 1)
        << Lines();
    EXPECT_TRUE(Said({L"Overlap: block ", L"of Entry /Blocks", L"overlaps block "})) << Lines();
    EXPECT_TRUE(m_lines.back().rfind(OHFA_CHECK_LEAK_PREFIX, 0) == 0) << Lines();
    // Block 2 reaching into block 5 by a few bytes.
    EXPECT_EQ(Damaged([&](std::string &b) { PutWord(b, Slot(2), Word(b, Slot(5)) - 10); }), 1)
        << Lines();
    // A never written block named at the root entry's place (the header's third word).
    EXPECT_GE(Damaged([&](std::string &b) { PutWord(b, Slot(3), Word(b, 64 + 8)); }), 1) << Lines();
    EXPECT_TRUE(Said({L"Overlap: ", L"block 3 of Entry /Blocks", L"Entry / (at "})) << Lines();
}

TEST_F(CacheStoreCheck, ACopySkipsAnUnreadableStoreAndSaysSo) {
    std::string bytes = m_sound;
    PutWord(bytes, Slot(2), static_cast<uint32_t>(m_sound.size()) + 100);
    WriteRaw(Path("s.hfa"), bytes);
    Report err;
    EXPECT_EQ(ohfa_FileCopy(Name("s.hfa").c_str(), Name("c.hfa").c_str(), &err), -1);
    bool named = false;
    for (auto *r = err.get(); r; r = r->next)
        named = named ||
                (r->message &&
                 std::wstring(r->message).find(L"Cannot read the block store of entry Blocks") !=
                     std::wstring::npos);
    EXPECT_TRUE(named);
    EXPECT_EQ(Check("c.hfa"), 0) << Lines();
    EXPECT_TRUE(m_lines.empty()) << Lines();
}

// Deleting an entry whose subtree holds block stores returns their index and blocks along
// with the records: nothing leaks, and the space is handed out again.
TEST_F(CacheStoreCheck, DeletingAnEntryReturnsTheStoresBelowIt) {
    Report err;
    Ohfa_File *f = ohfa_FileOpen(Name("s.hfa").c_str(), L"r+b", 0, &err);
    ASSERT_NE(f, nullptr) << err.Message();
    // "/Group" holds a store and a child holding another (and one never written).
    ASSERT_EQ(ohfa_EntrySeek(f, OHFA_SEEK_ROOT, nullptr, &err), 1);
    ASSERT_EQ(ohfa_EntryWrite(f, OHFA_WRITE_LAST_CHILD, L"Group", L"Group", &err), 0);
    ASSERT_EQ(ohfa_EntryWrite(f, OHFA_WRITE_LAST_CHILD, L"Inner", L"Group", &err), 0);
    std::vector<unsigned char> bytes(700, 9);
    for (const wchar_t *at : {L"/Group", L"/Group/Inner"}) {
        Ohfa_Cache *c = ohfa_CacheCreate(f, at, L"Store", 700, 5, &err);
        ASSERT_NE(c, nullptr) << err.Message();
        for (int b : {1, 3, 4}) ASSERT_EQ(ohfa_CachePutBlock(c, b, bytes.data(), &err), 0);
        ASSERT_EQ(ohfa_CacheClose(c, &err), 0) << err.Message();
    }
    Ohfa_Cache *empty = ohfa_CacheCreate(f, L"/Group/Inner", L"Empty", 700, 0, &err);
    ASSERT_NE(empty, nullptr) << err.Message();
    ASSERT_EQ(ohfa_CacheClose(empty, &err), 0);
    const long before = ohfa_FileSize(f, &err);
    ASSERT_EQ(ohfa_EntrySeek(f, OHFA_SEEK_PATH, L"/Group", &err), 1);
    ASSERT_EQ(ohfa_EntryDelete(f, &err), 0) << err.Message();
    // And a store deleted on its own is not freed twice.
    ASSERT_EQ(ohfa_CacheDelete(f, L"/Blocks", &err), 0) << err.Message();
    ASSERT_EQ(ohfa_FileClose(f, &err), 0);
    EXPECT_EQ(Check("s.hfa"), 0) << Lines();
    EXPECT_TRUE(m_lines.empty()) << Lines();
    // The freed space serves the same stores again without the file growing.
    f = ohfa_FileOpen(Name("s.hfa").c_str(), L"r+b", 0, &err);
    ASSERT_NE(f, nullptr);
    Ohfa_Cache *c = ohfa_CacheCreate(f, L"/", L"Again", 700, 5, &err);
    ASSERT_NE(c, nullptr) << err.Message();
    for (int b : {1, 3, 4}) ASSERT_EQ(ohfa_CachePutBlock(c, b, bytes.data(), &err), 0);
    ASSERT_EQ(ohfa_CacheClose(c, &err), 0);
    EXPECT_LE(ohfa_FileSize(f, &err), before);
    ASSERT_EQ(ohfa_FileClose(f, &err), 0);
}

TEST_F(CacheStoreCheck, DeletingADamagedStoreLeaksItsSpaceOnly) {
    const uint32_t end = static_cast<uint32_t>(m_sound.size());
    std::string bytes = m_sound;
    PutWord(bytes, Slot(2), end + 100);
    WriteRaw(Path("s.hfa"), bytes);
    Report err;
    Ohfa_File *f = ohfa_FileOpen(Name("s.hfa").c_str(), L"r+b", 0, &err);
    ASSERT_NE(f, nullptr) << err.Message();
    ASSERT_EQ(ohfa_EntrySeek(f, OHFA_SEEK_PATH, L"/Blocks", &err), 1);
    testing::internal::CaptureStderr();
    testing::internal::CaptureStdout();
    EXPECT_EQ(ohfa_EntryDelete(f, &err), 0) << err.Message();
    testing::internal::GetCapturedStdout();
    testing::internal::GetCapturedStderr();
    ASSERT_EQ(ohfa_FileClose(f, &err), 0);
    EXPECT_EQ(Check("s.hfa"), 0) << Lines();
    ASSERT_EQ(m_lines.size(), 1u) << Lines();
    EXPECT_EQ(m_lines[0].rfind(OHFA_CHECK_LEAK_PREFIX, 0), 0u) << Lines();
}

} // namespace
