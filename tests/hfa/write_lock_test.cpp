// The writer's lock within one process, on every host: the lock belongs to the open (a second
// open of the same file under another name is a second writer), so a second writer is refused
// with a report while readers go on, a refused create leaves the file whole, and the lock goes
// with the writer's close.
#include <filesystem>
#include <string>
#include <vector>

#include "hfa_test_util.hpp"

namespace {

using hfa_test::Report;

class WriteLockInProcess : public hfa_test::HfaTest {
  protected:
    // A second name of the file: the same name would find the writer's open handle.
    std::wstring Alias(const std::string &leaf, const std::string &alias) {
        std::filesystem::create_hard_link(Path(leaf), Path(alias));
        return Name(alias);
    }
    static bool RefusedForLock(Ohfa_File *f, const Report &err) {
        if (f) {
            Report e;
            ohfa_FileClose(f, &e);
            return false;
        }
        for (auto *r = err.get(); r; r = r->next) {
            if (r->message &&
                std::wstring(r->message).find(L"already open for writing") != std::wstring::npos)
                return true;
        }
        return false;
    }
};

TEST_F(WriteLockInProcess, SecondWriterIsRefusedReadersAreNot) {
    const std::wstring name = Name("locked.hfa");
    Report err;
    Ohfa_File *writer = ohfa_FileCreate(name.c_str(), 0, &err);
    ASSERT_NE(writer, nullptr);
    ASSERT_EQ(ohfa_FileFlush(writer, &err), 0);
    const std::wstring other = Alias("locked.hfa", "alias.hfa");
    const long sizeBefore = ohfa_FileSize(writer, &err);

    Report e;
    EXPECT_TRUE(RefusedForLock(ohfa_FileOpen(other.c_str(), L"r+", 0, &e), e));
    EXPECT_TRUE(RefusedForLock(ohfa_FileCreate(other.c_str(), 0, &e), e));
    EXPECT_EQ(ohfa_FileSize(writer, &err), sizeBefore); // the refused create truncated nothing

    // A reader opens the file, reads every byte the lock might cover, and walks the tree.
    Ohfa_File *reader = ohfa_FileOpen(other.c_str(), L"r", 0, &e);
    ASSERT_NE(reader, nullptr) << (e ? e.Message() : L"");
    ostr_StringList *problems = nullptr;
    EXPECT_EQ(ohfa_FileCheck(reader, &problems, &e), 0);
    ostr_StringListDelete(problems, nullptr);
    EXPECT_EQ(ohfa_FileClose(reader, &e), 0);

    // The writer still writes: its own lock does not stand in its way.
    const char bytes[5] = "data";
    ASSERT_EQ(ohfa_ObjectDataWrite(writer, L"/", L"Child", L"Raw", 3, 5, bytes, &err), 0)
        << err.Message();
    ASSERT_EQ(ohfa_FileClose(writer, &err), 0);

    // Closed: the other name may now write, and sees what the first writer wrote.
    Ohfa_File *second = ohfa_FileOpen(other.c_str(), L"r+", 0, &e);
    ASSERT_NE(second, nullptr) << (e ? e.Message() : L"");
    ostr_StringList *all = ohfa_ObjectList(second, nullptr, &e);
    ASSERT_NE(all, nullptr) << e.Message();
    std::vector<std::wstring> names(all->strings, all->strings + all->count);
    ostr_StringListDelete(all, nullptr);
    EXPECT_EQ(names, std::vector<std::wstring>{L"/Child"});
    // ...and now holds the lock in turn.
    EXPECT_TRUE(RefusedForLock(ohfa_FileOpen(name.c_str(), L"r+", 0, &err), err));
    ASSERT_EQ(ohfa_FileClose(second, &e), 0);
    EXPECT_GT(ohfa_IsHFAFile(name.c_str(), &err), 0);
}

} // namespace
