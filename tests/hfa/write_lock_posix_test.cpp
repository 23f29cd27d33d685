// The writer's lock between processes: a second process may read a file that one process
// writes, but opening or creating it for writing is refused with a report, and the lock
// goes with the writer's close.
#include <sys/wait.h>
#include <unistd.h>

#include <functional>
#include <string>

#include "hfa_test_util.hpp"

namespace {

using hfa_test::Report;

class WriteLock : public hfa_test::HfaTest {
  protected:
    // Runs `body` in a child process; its result is the child's exit status (0: passed).
    static int InChild(const std::function<int()> &body) {
        const pid_t pid = fork();
        if (pid == 0) _exit(body());
        int status = 0;
        waitpid(pid, &status, 0);
        return WIFEXITED(status) ? WEXITSTATUS(status) : 100;
    }
    // A second name of the file: a forked child inherits the parent's list of open files, in
    // which the first name would find the parent's handle.
    std::wstring Alias(const std::string &leaf, const std::string &alias) {
        EXPECT_EQ(link(Path(leaf).c_str(), Path(alias).c_str()), 0);
        return Name(alias);
    }
    // 0 when the chain of a refused open names the held lock.
    static int RefusedForLock(Ohfa_File *f, const Report &err) {
        if (f) return 1;
        for (auto *r = err.get(); r; r = r->next) {
            if (r->message &&
                std::wstring(r->message).find(L"already open for writing") != std::wstring::npos)
                return 0;
        }
        return 2;
    }
};

TEST_F(WriteLock, SecondWriterIsRefusedReadersAreNot) {
    const std::wstring name = Name("locked.hfa");
    Report err;
    Ohfa_File *writer = ohfa_FileCreate(name.c_str(), 0, &err);
    ASSERT_NE(writer, nullptr);
    ASSERT_EQ(ohfa_FileFlush(writer, &err), 0);
    const std::wstring other = Alias("locked.hfa", "alias.hfa");
    const long sizeBefore = ohfa_FileSize(writer, &err);

    // Open for update, and create (which would truncate), are both refused.
    EXPECT_EQ(InChild([&] {
                  Report e;
                  return RefusedForLock(ohfa_FileOpen(other.c_str(), L"r+", 0, &e), e);
              }),
              0);
    EXPECT_EQ(InChild([&] {
                  Report e;
                  return RefusedForLock(ohfa_FileCreate(other.c_str(), 0, &e), e);
              }),
              0);
    EXPECT_EQ(ohfa_FileSize(writer, &err), sizeBefore);
    // A reader opens the file and walks its tree while the writer holds it.
    EXPECT_EQ(InChild([&] {
                  Report e;
                  Ohfa_File *f = ohfa_FileOpen(other.c_str(), L"r", 0, &e);
                  if (!f) return 1;
                  ostr_StringList *problems = nullptr;
                  const long n = ohfa_FileCheck(f, &problems, &e);
                  ostr_StringListDelete(problems, nullptr);
                  return ohfa_FileClose(f, &e) == 0 && n == 0 ? 0 : 2;
              }),
              0);

    ASSERT_EQ(ohfa_FileClose(writer, &err), 0);
    EXPECT_EQ(InChild([&] {
                  Report e;
                  Ohfa_File *f = ohfa_FileOpen(other.c_str(), L"r+", 0, &e);
                  return f && ohfa_FileClose(f, &e) == 0 ? 0 : 1;
              }),
              0);
}

TEST_F(WriteLock, TheLockBelongsToTheOpenAndARefusedCreateKeepsTheFile) {
    const std::wstring name = Name("kept.hfa");
    Report err;
    Ohfa_File *writer = ohfa_FileCreate(name.c_str(), 0, &err);
    ASSERT_NE(writer, nullptr);
    ASSERT_EQ(ohfa_FileClose(writer, &err), 0);
    const std::wstring other = Alias("kept.hfa", "alias.hfa");
    writer = ohfa_FileOpen(name.c_str(), L"r+", 0, &err);
    ASSERT_NE(writer, nullptr);
    // The same name shares the open handle; another name is a second open, refused even in
    // this process.
    Ohfa_File *again = ohfa_FileOpen(name.c_str(), L"r+", 0, &err);
    EXPECT_EQ(again, writer);
    ASSERT_EQ(ohfa_FileClose(again, &err), 0);
    Report e;
    EXPECT_EQ(RefusedForLock(ohfa_FileOpen(other.c_str(), L"r+", 0, &e), e), 0);
    EXPECT_EQ(InChild([&] {
                  Report ce;
                  return RefusedForLock(ohfa_FileCreate(other.c_str(), 0, &ce), ce);
              }),
              0);
    ASSERT_EQ(ohfa_FileClose(writer, &err), 0);
    EXPECT_GT(ohfa_IsHFAFile(name.c_str(), &err), 0); // not truncated by the refused create
}

} // namespace
