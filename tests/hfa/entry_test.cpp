// Entry tree: writing at the four positions, every seek method over a built tree, the name
// rules, the 63-character limit, corruption found on linked steps (a cycle included).
#include "hfa_test_util.hpp"

namespace {

using namespace hfa_test;

class HfaEntry : public HfaTest {
  protected:
    void SetUp() override {
        HfaTest::SetUp();
        Report err;
        m_file = ohfa_FileCreate(Name("tree.hfa").c_str(), 0, &err);
        ASSERT_NE(m_file, nullptr);
        // root -> A (A1, A2), B, C; written as last children and after the current entry.
        Write(3, L"A", L"TypeA");
        Write(3, L"A1", L"Leaf");
        Write(2, L"A2", L"Stats");
        Seek(0);
        Seek(5);
        Write(2, L"C", L"TypeC");
        Write(1, L"B", L"Stats");
    }
    void TearDown() override {
        if (m_file) {
            EXPECT_EQ(ohfa_FileClose(m_file, nullptr), 0);
        }
    }
    void Write(long where, const wchar_t *name, const wchar_t *type) {
        Report err;
        ASSERT_EQ(ohfa_EntryWrite(m_file, where, name, type, &err), 0) << err.Message();
    }
    long Seek(long method, const wchar_t *name = nullptr) {
        Report err;
        const long r = ohfa_EntrySeek(m_file, method, name, &err);
        EXPECT_FALSE(err) << err.Message();
        return r;
    }
    std::wstring Path() {
        wchar_t *p = ohfa_CurrentEntryPath(m_file, nullptr);
        std::wstring out = p ? p : L"";
        omsc_HeapFree(p);
        return out;
    }
    std::string Current() {
        Ohfa_Entry e{};
        ohfa_EntryCurrentGet(m_file, &e, nullptr);
        return e.name;
    }

    Ohfa_File *m_file = nullptr;
};

TEST_F(HfaEntry, StepMethodsWalkTheTreeAndStopWithoutErrors) {
    EXPECT_EQ(Seek(0), 1);
    EXPECT_EQ(Path(), L"/");
    EXPECT_EQ(Seek(5), 1);
    EXPECT_EQ(Current(), "A");
    EXPECT_EQ(Seek(1), 1);
    EXPECT_EQ(Current(), "B");
    EXPECT_EQ(Seek(1), 1);
    EXPECT_EQ(Current(), "C");
    EXPECT_EQ(Seek(1), 0); // last sibling: no error
    EXPECT_EQ(Current(), "C");
    EXPECT_EQ(Seek(5), 0); // leaf
    EXPECT_EQ(Seek(2), 1);
    EXPECT_EQ(Current(), "B");
    EXPECT_EQ(Seek(4), 1);
    EXPECT_EQ(Current(), "A");
    EXPECT_EQ(Seek(3), 1);
    EXPECT_EQ(Current(), "C");
    EXPECT_EQ(Seek(6), 1);
    EXPECT_EQ(Path(), L"/");
    EXPECT_EQ(Seek(9), 1);
    EXPECT_EQ(Current(), "C");
    EXPECT_EQ(ohfa_EntryCurrentHasNext(m_file, nullptr), OMSC_FALSE);
    EXPECT_EQ(ohfa_EntryCurrentHasPrev(m_file, nullptr), OMSC_TRUE);
    EXPECT_EQ(ohfa_EntryCurrentHasChild(m_file, nullptr), OMSC_FALSE);
}

TEST_F(HfaEntry, NamedMethodsFindByPathNameAndType) {
    EXPECT_EQ(Seek(8, L"/A/A2"), 1);
    EXPECT_EQ(Path(), L"/A/A2");
    EXPECT_EQ(Seek(7, L"A1"), 1);
    EXPECT_EQ(Current(), "A1");
    EXPECT_EQ(Seek(12, L"A2"), 1);
    EXPECT_EQ(Seek(0), 1);
    EXPECT_EQ(Seek(10, L"B"), 1);
    EXPECT_EQ(Path(), L"/B");
    EXPECT_EQ(Seek(13, L"C"), 1);
    EXPECT_EQ(Current(), "C");
    EXPECT_EQ(Seek(13, L"Z"), 0);
    EXPECT_EQ(Seek(16, L"TypeA"), 1);
    EXPECT_EQ(Current(), "A");
    EXPECT_EQ(Seek(15, L"Stats"), 1);
    EXPECT_EQ(Current(), "B");
    EXPECT_EQ(Seek(0), 1);
    EXPECT_EQ(Seek(11, L"A2"), 1);
    EXPECT_EQ(Path(), L"/A/A2");
    EXPECT_EQ(Seek(0), 1);
    EXPECT_EQ(Seek(14, L"Stats"), 1);
    EXPECT_EQ(Current(), "B");
    EXPECT_EQ(Seek(8, L"/A/none"), 0);
    EXPECT_EQ(Path(), L"/B"); // a fruitless seek leaves the current entry
    // By file position, and back to a saved one.
    const long at = ohfa_EntryCurrentGet(m_file, nullptr, nullptr);
    EXPECT_EQ(Seek(0), 1);
    EXPECT_EQ(Seek(18, std::to_wstring(at).c_str()), 1);
    EXPECT_EQ(Path(), L"/B");
    EXPECT_EQ(Seek(0), 1);
    EXPECT_EQ(Seek(17, std::to_wstring(at).c_str()), 1);
    EXPECT_EQ(Current(), "B");
}

TEST_F(HfaEntry, NameRulesAndMethodRange) {
    Report err;
    {
        PrintedReports printed;
        EXPECT_EQ(ohfa_EntrySeek(m_file, 0, L"x", &err), 1);
        EXPECT_FALSE(err);
        EXPECT_EQ(printed.Messages(),
                  std::vector<std::wstring>{L"Name parameter 'x' will be ignored"});
    }
    EXPECT_EQ(ohfa_EntrySeek(m_file, 10, nullptr, &err), 0);
    EXPECT_EQ(err.Message(), L"Name parameter must not be null for requested seek type");
    EXPECT_EQ(ohfa_EntrySeek(m_file, 10, L"", &err), 0);
    EXPECT_EQ(err.Message(), L"Name parameter must not be null string");
    EXPECT_EQ(ohfa_EntrySeek(m_file, 17, L"", &err), 0);
    EXPECT_EQ(err.Message(), L"Name parameter must not be null string");
    EXPECT_EQ(ohfa_EntrySeek(m_file, 17, nullptr, &err), 0); // no batch start node yet
    EXPECT_EQ(err.Message(), L"Couldn't set current entry");
    EXPECT_EQ(ohfa_EntrySeek(m_file, 19, nullptr, &err), 0);
    EXPECT_EQ(err.Message(), L"Invalid seek method");
    EXPECT_EQ(ohfa_EntrySeek(nullptr, 0, nullptr, &err), 0);
    EXPECT_EQ(err.Message(), L"Invalid OHFA file handle");
}

TEST_F(HfaEntry, NamesOfSixtyThreeCharactersFitAndLongerAreRefused) {
    Report err;
    const std::wstring ok(63, L'n'), tooLong(64, L'n');
    EXPECT_EQ(ohfa_EntryWrite(m_file, 3, ok.c_str(), L"T", &err), 0);
    EXPECT_EQ(Current(), std::string(63, 'n'));
    EXPECT_EQ(ohfa_EntryWrite(m_file, 2, tooLong.c_str(), L"T", &err), -1);
    EXPECT_EQ(err.Message(),
              L"The length of OHFA entry name '" + tooLong + L"' exceeds the 63 character maximum");
}

// The limit counts the UTF-8 bytes stored: a character outside the BMP takes four of them
// (and two wchar_t units on Windows), and the name reads back as the same characters.
TEST_F(HfaEntry, NamesOutsideTheBmpAreStoredAsUtf8) {
    Report err;
    std::wstring fits, tooLong;
    std::string stored;
    for (int i = 0; i < 15; ++i) {
        fits += L"\U0001F600";
        stored += "\xF0\x9F\x98\x80";
    }
    tooLong = fits + L"\U00010348";
    fits += L"abc";
    stored += "abc";
    ASSERT_EQ(ohfa_EntryWrite(m_file, 3, fits.c_str(), L"T", &err), 0) << err.Message();
    EXPECT_EQ(Current(), stored);
    const std::wstring path = Path();
    ASSERT_GE(path.size(), fits.size());
    EXPECT_EQ(path.substr(path.size() - fits.size()), fits);
    EXPECT_EQ(Seek(0), 1);
    EXPECT_EQ(Seek(8, path.c_str()), 1);
    EXPECT_EQ(Current(), stored);
    EXPECT_EQ(ohfa_EntryWrite(m_file, 2, tooLong.c_str(), L"T", &err), -1);
}

TEST_F(HfaEntry, PositionsPeekAndListing) {
    Report err;
    ASSERT_EQ(Seek(8, L"/A/A2"), 1);
    Ohfa_EntryPosition *saved = ohfa_EntryPositionGet(m_file, &err);
    ASSERT_NE(saved, nullptr);
    const uint32_t raw = ohfa_EntryGetCurrentPosition(m_file, &err);
    Ohfa_Entry peeked{};
    EXPECT_EQ(ohfa_EntryPeek(m_file, 8, L"/C", &peeked, &err), 1);
    EXPECT_STREQ(peeked.name, "C");
    EXPECT_EQ(Path(), L"/A/A2");
    EXPECT_EQ(ohfa_EntryPeek(m_file, 8, L"/Q", &peeked, &err), 0);
    EXPECT_EQ(Seek(0), 1);
    EXPECT_EQ(ohfa_EntryPositionSet(m_file, saved, &err), 0);
    EXPECT_EQ(Path(), L"/A/A2");
    EXPECT_EQ(Seek(0), 1);
    EXPECT_EQ(ohfa_EntrySetCurrentPosition(m_file, raw, &err), 0);
    EXPECT_EQ(Path(), L"/A/A2");
    EXPECT_EQ(ohfa_EntryPositionSet(m_file, nullptr, &err), -1);
    EXPECT_EQ(err.Message(), L"Null position parameter");
    ohfa_EntryPositionFree(saved);

    ostr_StringList *all = ohfa_ObjectList(m_file, nullptr, &err);
    ASSERT_NE(all, nullptr) << err.Message();
    std::vector<std::wstring> names(all->strings, all->strings + all->count);
    EXPECT_EQ(names, (std::vector<std::wstring>{L"/A", L"/A/A1", L"/A/A2", L"/B", L"/C"}));
    ostr_StringListDelete(all, nullptr);
    ostr_StringList *below = ohfa_ObjectList(m_file, L"/A", &err);
    ASSERT_NE(below, nullptr);
    EXPECT_EQ(below->count, 2);
    ostr_StringListDelete(below, nullptr);
    EXPECT_EQ(ohfa_ObjectList(m_file, L"/Nope", &err), nullptr);
    EXPECT_EQ(err.Message(), L"Could not find starting node \"/Nope\"");
}

TEST_F(HfaEntry, MoveRelinksTheSubtreeAndRefusesCollisionsAndCycles) {
    Report err;
    ASSERT_EQ(Seek(8, L"/A"), 1);
    EXPECT_EQ(ohfa_EntryMove(m_file, L"/Nope", &err), -1);
    EXPECT_EQ(err.Message(), L"/Nope|Node not found");
    EXPECT_EQ(ohfa_EntryMove(m_file, L"/A/A1", &err), -1); // into its own subtree
    EXPECT_EQ(err.Message(), L"Invalid 'move to' path");
    EXPECT_EQ(Path(), L"/A");
    ASSERT_EQ(ohfa_EntryMove(m_file, L"/C", &err), 0) << err.Message();
    EXPECT_EQ(Path(), L"/C/A");
    EXPECT_EQ(Seek(8, L"/C/A/A2"), 1);
    EXPECT_EQ(Seek(8, L"/A"), 0);
    ASSERT_EQ(Seek(8, L"/B"), 1);
    EXPECT_EQ(Seek(13, L"C"), 1); // the entry table was refilled after the move
    ASSERT_EQ(Seek(8, L"/C/A"), 1);
    ASSERT_EQ(ohfa_EntryWrite(m_file, 2, L"B", L"T", &err), 0); // a "B" beside the moved A
    EXPECT_EQ(ohfa_EntryMove(m_file, L"/", &err), -1);
    EXPECT_EQ(err.Message(), L"/B|Node already exists for file " + Name("tree.hfa"));
    ASSERT_EQ(ohfa_FileClose(m_file, nullptr), 0);
    m_file = ohfa_FileOpen(Name("tree.hfa").c_str(), L"r", 0, nullptr);
    ostr_StringList *all = ohfa_ObjectList(m_file, nullptr, &err);
    ASSERT_NE(all, nullptr);
    std::vector<std::wstring> names(all->strings, all->strings + all->count);
    EXPECT_EQ(names,
              (std::vector<std::wstring>{L"/B", L"/C", L"/C/A", L"/C/A/A1", L"/C/A/A2", L"/C/B"}));
    ostr_StringListDelete(all, nullptr);
}

TEST_F(HfaEntry, TreeSurvivesReopen) {
    ASSERT_EQ(ohfa_FileClose(m_file, nullptr), 0);
    m_file = ohfa_FileOpen(Name("tree.hfa").c_str(), L"r", 0, nullptr);
    ASSERT_NE(m_file, nullptr);
    std::vector<std::string> order;
    ASSERT_EQ(Seek(8, L"/A"), 1);
    do order.push_back(Current());
    while (Seek(1) == 1);
    EXPECT_EQ(order, (std::vector<std::string>{"A", "B", "C"}));
    EXPECT_EQ(orvik::hfa::CheckFreeList(m_file), 0);
}

TEST_F(HfaEntry, DamagedLinksAreReportedAndCyclesEnd) {
    ASSERT_EQ(Seek(8, L"/C"), 1);
    const uint32_t c = static_cast<uint32_t>(ohfa_EntryCurrentGet(m_file, nullptr, nullptr));
    ASSERT_EQ(Seek(8, L"/A"), 1);
    const uint32_t a = static_cast<uint32_t>(ohfa_EntryCurrentGet(m_file, nullptr, nullptr));
    ASSERT_EQ(Seek(5), 1);
    const uint32_t a1 = static_cast<uint32_t>(ohfa_EntryCurrentGet(m_file, nullptr, nullptr));
    ASSERT_EQ(ohfa_FileClose(m_file, nullptr), 0);
    std::string b = ReadRaw(m_dir.Narrow("tree.hfa"));
    PutWord(b, c, a);      // C.next -> A: a cycle of siblings
    PutWord(b, a1 + 8, c); // A1.parent -> C: a child that names another parent
    WriteRaw(m_dir.Narrow("tree.hfa"), b);
    m_file = ohfa_FileOpen(Name("tree.hfa").c_str(), L"r", 0, nullptr);
    ASSERT_NE(m_file, nullptr);
    Report err;
    ASSERT_EQ(ohfa_EntrySeek(m_file, 8, L"/A", &err), 1);
    EXPECT_EQ(ohfa_EntrySeek(m_file, 3, nullptr, &err), 0);
    EXPECT_EQ(err.Message().rfind(L"Corrupt sibling entry (", 0), 0u) << err.Message();
    EXPECT_NE(err.Message().find(L") of root detected"), std::wstring::npos);
    EXPECT_EQ(Path(), L"/A");
    EXPECT_EQ(ohfa_EntrySeek(m_file, 5, nullptr, &err), 0);
    EXPECT_EQ(err.Message(), L"Corrupt child entry (A1) of A detected");
}

} // namespace
