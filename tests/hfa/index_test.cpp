// The sibling name index: look-ups by name (methods 8, 10, 13) and of the last child (method 9,
// write position 3) agree with the links on disk after every kind of change - inserts at
// each position, duplicate names, deletes of first, middle and last children, renames, moves
// out of and into a parent - and after the file is reopened.
#include <map>

#include "hfa_test_util.hpp"

namespace {

using namespace hfa_test;

class HfaIndex : public HfaTest {
  protected:
    void SetUp() override {
        HfaTest::SetUp();
        m_file = ohfa_FileCreate(Name("index.hfa").c_str(), 0, nullptr);
        ASSERT_NE(m_file, nullptr);
        Write(L"/", 3, L"P");
        for (int i = 0; i < 10; ++i) Write(L"/P", 3, (L"x" + std::to_wstring(i)).c_str());
        Write(L"/", 3, L"Q");
        Write(L"/", 3, L"R");
        Write(L"/R", 3, L"r0");
    }
    void TearDown() override {
        if (m_file) {
            EXPECT_EQ(ohfa_FileClose(m_file, nullptr), 0);
        }
    }
    void Write(const wchar_t *at, long where, const wchar_t *name) {
        Report err;
        ASSERT_EQ(ohfa_EntrySeek(m_file, 8, at, &err), 1) << at << " " << err.Message();
        ASSERT_EQ(ohfa_EntryWrite(m_file, where, name, L"T", &err), 0) << err.Message();
    }
    uint32_t Position() { return ohfa_EntryGetCurrentPosition(m_file, nullptr); }

    // The truth, from single steps along the links: first position of every name, last child.
    void Linked(const wchar_t *parent, std::map<std::string, uint32_t> &first, uint32_t &last) {
        first.clear();
        last = 0;
        ASSERT_EQ(ohfa_EntrySeek(m_file, 8, parent, nullptr), 1);
        for (long r = ohfa_EntrySeek(m_file, 5, nullptr, nullptr); r == 1;
             r = ohfa_EntrySeek(m_file, 1, nullptr, nullptr)) {
            Ohfa_Entry e{};
            last = static_cast<uint32_t>(ohfa_EntryCurrentGet(m_file, &e, nullptr));
            first.emplace(e.name, last);
        }
    }

    // Every indexed look-up under `parent` against the links.
    void ExpectIndexAgrees(const wchar_t *parent) {
        SCOPED_TRACE(testing::Message() << "under " << parent);
        std::map<std::string, uint32_t> first;
        uint32_t last = 0;
        Linked(parent, first, last);
        const std::wstring base = std::wstring(parent) == L"/" ? L"" : parent;
        Report err;
        for (const auto &[name, at] : first) {
            const std::wstring wide(name.begin(), name.end());
            ASSERT_EQ(ohfa_EntrySeek(m_file, 8, (base + L"/" + wide).c_str(), &err), 1) << name;
            EXPECT_EQ(Position(), at) << name;
            ASSERT_EQ(ohfa_EntrySeek(m_file, 8, parent, &err), 1);
            ASSERT_EQ(ohfa_EntrySeek(m_file, 10, wide.c_str(), &err), 1) << name;
            EXPECT_EQ(Position(), at) << name;
            // Method 13 from the last child reaches the first of the name as well.
            ASSERT_EQ(ohfa_EntrySeek(m_file, 8, parent, &err), 1);
            ASSERT_EQ(ohfa_EntrySeek(m_file, 9, nullptr, &err), 1);
            ASSERT_EQ(ohfa_EntrySeek(m_file, 13, wide.c_str(), &err), 1) << name;
            EXPECT_EQ(Position(), at) << name;
        }
        ASSERT_EQ(ohfa_EntrySeek(m_file, 8, parent, &err), 1);
        EXPECT_EQ(ohfa_EntrySeek(m_file, 10, L"absent", &err), 0);
        EXPECT_EQ(ohfa_EntrySeek(m_file, 9, nullptr, &err), last ? 1 : 0);
        if (last) {
            EXPECT_EQ(Position(), last);
        }
        EXPECT_FALSE(err) << err.Message();
    }

    Ohfa_File *m_file = nullptr;
};

TEST_F(HfaIndex, LookupsFollowInsertsRenamesAndDuplicateNames) {
    ExpectIndexAgrees(L"/P");
    Write(L"/P/x3", 2, L"x3"); // a second x3 right after the first
    ExpectIndexAgrees(L"/P");
    Write(L"/P/x5", 1, L"x9"); // a second x9, now before the first one
    ExpectIndexAgrees(L"/P");
    Write(L"/P/x0", 1, L"first"); // a new first child
    ExpectIndexAgrees(L"/P");
    Write(L"/P/x9", 2, L"end"); // after the first x9: in the middle
    Write(L"/P", 3, L"tail");
    ExpectIndexAgrees(L"/P");
    Write(L"/P/x4", 0, L"renamed");
    Write(L"/P/x6", 0, L"x7"); // renamed onto an existing name
    Write(L"/P/x2", 0, L"x2"); // renamed to itself
    ExpectIndexAgrees(L"/P");
}

TEST_F(HfaIndex, LookupsFollowDeletesAndMovesAndSurviveAReopen) {
    ExpectIndexAgrees(L"/P");
    ExpectIndexAgrees(L"/R");
    Report err;
    auto remove = [&](const wchar_t *path) {
        ASSERT_EQ(ohfa_EntrySeek(m_file, 8, path, &err), 1) << path;
        ASSERT_EQ(ohfa_EntryDelete(m_file, &err), 0) << err.Message();
    };
    remove(L"/P/x0");
    remove(L"/P/x9");
    remove(L"/P/x5");
    ExpectIndexAgrees(L"/P");
    // The space of a deleted parent is reused: its old index must not answer for the new one.
    remove(L"/R");
    Write(L"/Q", 3, L"fresh");
    Write(L"/Q/fresh", 3, L"inner");
    ExpectIndexAgrees(L"/Q");
    ExpectIndexAgrees(L"/Q/fresh");
    ASSERT_EQ(ohfa_EntrySeek(m_file, 8, L"/P/x8", &err), 1);
    ASSERT_EQ(ohfa_EntryMove(m_file, L"/Q", &err), 0) << err.Message();
    ASSERT_EQ(ohfa_EntrySeek(m_file, 8, L"/P/x1", &err), 1);
    ASSERT_EQ(ohfa_EntryMove(m_file, L"/Q/fresh", &err), 0) << err.Message();
    ExpectIndexAgrees(L"/P");
    ExpectIndexAgrees(L"/Q");
    ExpectIndexAgrees(L"/Q/fresh");
    // A refused move (the name exists there) changes nothing.
    Write(L"/P", 3, L"x8");
    ASSERT_EQ(ohfa_EntrySeek(m_file, 8, L"/P/x8", &err), 1);
    EXPECT_NE(ohfa_EntryMove(m_file, L"/Q", &err), 0);
    ExpectIndexAgrees(L"/P");
    ExpectIndexAgrees(L"/Q");
    ASSERT_EQ(ohfa_FileClose(m_file, nullptr), 0);
    m_file = ohfa_FileOpen(Name("index.hfa").c_str(), L"r+b", 0, nullptr);
    ASSERT_NE(m_file, nullptr);
    ExpectIndexAgrees(L"/");
    ExpectIndexAgrees(L"/P");
    ExpectIndexAgrees(L"/Q");
    ExpectIndexAgrees(L"/Q/fresh");
}

} // namespace
