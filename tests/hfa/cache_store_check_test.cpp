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

} // namespace
