// The link journal: a recorded pair of link writes is completed by the next open for update,
// reported by the check until then, and cleared without writing when it names places
// outside the file. The writers record pairs only while they write them.
#include <array>

#include "hfa_test_util.hpp"

namespace {

using namespace hfa_test;

class HfaJournal : public HfaTest {
  protected:
    void SetUp() override {
        HfaTest::SetUp();
        Ohfa_File *f = ohfa_FileCreate(Name("j.hfa").c_str(), 0, nullptr);
        ASSERT_NE(f, nullptr);
        for (const wchar_t *n : {L"A", L"B", L"C"}) {
            ASSERT_EQ(ohfa_EntrySeek(f, OHFA_SEEK_ROOT, nullptr, nullptr), 1);
            ASSERT_EQ(ohfa_EntryWrite(f, OHFA_WRITE_LAST_CHILD, n, L"Layer", nullptr), 0);
            m_at.push_back(ohfa_EntryGetCurrentPosition(f, nullptr));
        }
        ASSERT_EQ(ohfa_FileClose(f, nullptr), 0);
    }
    // Writes a journal record of (position, field, value) triples into the reserved bytes.
    void Record(const std::vector<std::array<uint32_t, 3>> &writes) {
        std::string bytes = ReadRaw(Path("j.hfa"));
        bytes.replace(20, 4, "LNK1");
        PutWord(bytes, 24, static_cast<uint32_t>(writes.size()));
        for (std::size_t i = 0; i < writes.size(); ++i)
            for (std::size_t k = 0; k < 3; ++k) PutWord(bytes, 28 + 12 * i + 4 * k, writes[i][k]);
        WriteRaw(Path("j.hfa"), bytes);
    }
    long Check(const wchar_t *mode, std::vector<std::wstring> *lines = nullptr) {
        Report err;
        Ohfa_File *f = ohfa_FileOpen(Name("j.hfa").c_str(), mode, 0, &err);
        EXPECT_NE(f, nullptr) << err.Message();
        if (!f) return -1;
        ostr_StringList *list = nullptr;
        const long n = ohfa_FileCheck(f, &list, &err);
        for (int32_t i = 0; lines && list && i < list->count; ++i)
            lines->push_back(list->strings[i]);
        ostr_StringListDelete(list, nullptr);
        m_bIsThere = ohfa_EntrySeek(f, OHFA_SEEK_PATH, L"/B", nullptr) == 1;
        ohfa_FileClose(f, nullptr);
        return n;
    }

    std::vector<uint32_t> m_at; // A, B, C
    bool m_bIsThere = false;
};

TEST_F(HfaJournal, AnInterruptedUnlinkIsCompletedByTheNextOpenForUpdate) {
    // B taken out between A and C, and the crash came before either link was written.
    Record({{m_at[0], 0, m_at[2]}, {m_at[2], 4, m_at[0]}});
    std::vector<std::wstring> lines;
    EXPECT_EQ(Check(L"r", &lines), 1);
    ASSERT_FALSE(lines.empty());
    EXPECT_EQ(lines[0].rfind(L"Links: a pair of link writes was interrupted", 0), 0u);
    EXPECT_TRUE(m_bIsThere); // read-only: nothing changes
    EXPECT_EQ(Check(L"r+b"), 0);
    EXPECT_FALSE(m_bIsThere);
    const std::string bytes = ReadRaw(Path("j.hfa"));
    EXPECT_EQ(Word(bytes, 20), 0u);
    EXPECT_EQ(Word(bytes, m_at[0]), m_at[2]);     // A.next
    EXPECT_EQ(Word(bytes, m_at[2] + 4), m_at[0]); // C.prev
    EXPECT_EQ(Check(L"r"), 0);
}

TEST_F(HfaJournal, ARecordNamingPlacesOutsideTheFileIsOnlyCleared) {
    const std::string before = ReadRaw(Path("j.hfa"));
    Record({{m_at[0], 0, 0x7FFFFF00u}});
    {
        PrintedReports printed;
        EXPECT_EQ(Check(L"r+b"), 0);
        ASSERT_EQ(printed.Messages().size(), 1u);
        EXPECT_EQ(printed.Messages()[0].rfind(L"Link journal of file", 0), 0u);
    }
    Record({{m_at[0], 8, m_at[2]}}); // the parent link is never journalled
    {
        PrintedReports printed;
        EXPECT_EQ(Check(L"r+b"), 0);
    }
    std::string after = ReadRaw(Path("j.hfa"));
    // Only the mark was cleared; the rest of the reserved bytes fall as they were left.
    after.replace(24, 40, before.substr(24, 40));
    EXPECT_EQ(after, before);
}

TEST_F(HfaJournal, WritersLeaveNoRecordBehind) {
    Report err;
    Ohfa_File *f = ohfa_FileOpen(Name("j.hfa").c_str(), L"r+b", 0, &err);
    ASSERT_NE(f, nullptr);
    // An insert between A and B, before A, and deletes with a follower: each journals a pair.
    ASSERT_EQ(ohfa_EntrySeek(f, OHFA_SEEK_PATH, L"/A", &err), 1);
    ASSERT_EQ(ohfa_EntryWrite(f, OHFA_WRITE_AFTER, L"A2", L"Layer", &err), 0);
    ASSERT_EQ(ohfa_EntrySeek(f, OHFA_SEEK_PATH, L"/A", &err), 1);
    ASSERT_EQ(ohfa_EntryWrite(f, OHFA_WRITE_BEFORE, L"A0", L"Layer", &err), 0);
    ASSERT_EQ(ohfa_ObjectDelete(f, L"/A0", OHFA_SEEK_PATH, &err), 0);
    ASSERT_EQ(ohfa_ObjectDelete(f, L"/B", OHFA_SEEK_PATH, &err), 0);
    ASSERT_EQ(ohfa_FileClose(f, &err), 0);
    const std::string bytes = ReadRaw(Path("j.hfa"));
    EXPECT_EQ(bytes.substr(20, 4), std::string(4, '\0'));
    // The record of the last pair is still there behind the cleared mark.
    EXPECT_EQ(Word(bytes, 24), 2u);
    std::vector<std::wstring> lines;
    EXPECT_EQ(Check(L"r", &lines), 0);
}

} // namespace
