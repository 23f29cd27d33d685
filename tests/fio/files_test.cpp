// Files and folders by name, and temporary names.
#include <gtest/gtest.h>

#include <set>
#include <string>

#ifndef _WIN32
#include <sys/stat.h>
#endif

#include <orvik/ofio.h>

#include "fio_test_util.hpp"

namespace {

std::string ToNarrow(const wchar_t *w) {
    std::string s;
    for (; w && *w; ++w) s.push_back(static_cast<char>(*w));
    return s;
}

TEST(FioFiles, ExistsRemoveMove) {
    TempDir dir;
    WriteRaw(dir.Narrow("a"), "payload");
    std::wstring a = dir.Wide("a"), b = dir.Wide("sub/b"), folder = dir.Wide("sub");
    Oerr_ErrorReport *err = nullptr;
    EXPECT_EQ(ofio_FileExists(a.c_str(), &err), OMSC_TRUE);
    EXPECT_EQ(ofio_IsDirectory(a.c_str(), &err), OMSC_FALSE);
    EXPECT_EQ(ofio_FileExists(b.c_str(), &err), OMSC_FALSE);
    EXPECT_EQ(ofio_FileExists((a + L"/below").c_str(), &err), OMSC_FALSE);
    EXPECT_EQ(err, nullptr);

    EXPECT_EQ(ofio_FileMove(a.c_str(), b.c_str(), &err), -1);
    ExpectReport(err, L"ofio_FileMove", 2,
                 L"Cannot move \"" + a + L"\" to \"" + b + L"\": " +
                     SystemReason(L"No such file or directory"));
    ASSERT_EQ(ofio_MaybeMakeDir(folder.c_str(), &err), 0);
    EXPECT_EQ(ofio_IsDirectory(folder.c_str(), &err), OMSC_TRUE);
    ASSERT_EQ(ofio_FileMove(a.c_str(), b.c_str(), &err), 0);
    EXPECT_EQ(ofio_FileExists(a.c_str(), &err), OMSC_FALSE);
    EXPECT_EQ(ReadRaw(dir.Narrow("sub/b")), "payload");

    EXPECT_EQ(ofio_FileRemove(b.c_str(), &err), 0);
    EXPECT_EQ(ofio_FileExists(b.c_str(), &err), OMSC_FALSE);
    EXPECT_EQ(ofio_FileRemove(b.c_str(), &err), -1);
    ExpectReport(err, L"ofio_FileRemove", 2,
                 L"Cannot remove file \"" + b + L"\": " +
                     SystemReason(L"No such file or directory"));
    EXPECT_EQ(ofio_FileExists(nullptr, &err), OMSC_FALSE);
    ExpectReport(err, L"ofio_FileExists", 1, L"Missing file name");
}

// POSIX only: needs /dev/shm on a second file system.
#ifndef _WIN32
TEST(FioFiles, MoveAcrossFileSystemsCopies) {
    TempDir dir;
    struct stat a, b;
    if (stat(dir.Path().c_str(), &a) != 0 || stat("/dev/shm", &b) != 0 || a.st_dev == b.st_dev) {
        GTEST_SKIP() << "needs /dev/shm on another file system";
    }
    std::string big(3 << 20, 'k');
    big[12345] = 'Q';
    WriteRaw(dir.Narrow("src"), big);
    std::string target = "/dev/shm/ofio-move-" + std::to_string(getpid());
    std::wstring src = dir.Wide("src"), dst(target.begin(), target.end());
    Oerr_ErrorReport *err = nullptr;
    ASSERT_EQ(ofio_FileMove(src.c_str(), dst.c_str(), &err), 0);
    EXPECT_EQ(ofio_FileExists(src.c_str(), &err), OMSC_FALSE);
    EXPECT_EQ(ReadRaw(target), big);
    EXPECT_EQ(ofio_FileRemove(dst.c_str(), &err), 0);
}
#endif

// POSIX only: a folder of mode 0 locks its owner out; Windows has no such mode.
#ifndef _WIN32
TEST(FioFiles, ExistenceQueryReportsPermissionProblems) {
    if (geteuid() == 0) GTEST_SKIP() << "permissions do not bind root";
    TempDir dir;
    std::wstring locked = dir.Wide("locked");
    Oerr_ErrorReport *err = nullptr;
    ASSERT_EQ(ofio_MaybeMakeDir(locked.c_str(), &err), 0);
    chmod(dir.Narrow("locked").c_str(), 0);
    std::wstring inside = locked + L"/x";
    EXPECT_EQ(ofio_FileExists(inside.c_str(), &err), OMSC_FALSE);
    ExpectReport(err, L"ofio_FileExists", 2,
                 L"Cannot examine \"" + inside + L"\": " + SystemReason(L"Permission denied"));
    chmod(dir.Narrow("locked").c_str(), 0700);
}
#endif

TEST(FioFiles, MaybeMakeDirCreatesParentsAndRefusesFiles) {
    TempDir dir;
    std::wstring deep = dir.Wide("x/y/z/");
    Oerr_ErrorReport *err = nullptr;
    ASSERT_EQ(ofio_MaybeMakeDir(deep.c_str(), &err), 0);
    EXPECT_EQ(ofio_IsDirectory(dir.Wide("x/y/z").c_str(), &err), OMSC_TRUE);
    EXPECT_EQ(ofio_MaybeMakeDir(deep.c_str(), &err), 0); // already there
    std::wstring backslashed = dir.Wide("x\\w");
    EXPECT_EQ(ofio_MaybeMakeDir(backslashed.c_str(), &err), 0);
    EXPECT_EQ(ofio_IsDirectory(dir.Wide("x/w").c_str(), &err), OMSC_TRUE);

    WriteRaw(dir.Narrow("file"), "");
    std::wstring file = dir.Wide("file");
    EXPECT_EQ(ofio_MaybeMakeDir(file.c_str(), &err), -1);
    ExpectReport(err, L"ofio_MaybeMakeDir", 2,
                 L"Cannot create folder \"" + file + L"\": " + SystemReason(L"File exists"));
    std::wstring under = dir.Wide("file/sub/more");
    EXPECT_EQ(ofio_MaybeMakeDir(under.c_str(), &err), -1);
    ExpectReport(err, L"ofio_MaybeMakeDir", 2,
                 L"Cannot create folder \"" + under + L"\": " + SystemReason(L"Not a directory"));
}

TEST(FioFiles, TemporaryFilesAreNewAndDistinct) {
    TempDir dir;
    std::wstring folder = dir.Wide("");
    folder.pop_back();
    Oerr_ErrorReport *err = nullptr;
    std::set<std::wstring> names;
    for (int i = 0; i < 50; ++i) {
        wchar_t *name = ofio_TempFileCreate(folder.c_str(), L"tmp", L".dat", &err);
        ASSERT_NE(name, nullptr);
        std::wstring n(name);
        omsc_HeapFree(name);
        EXPECT_EQ(n.rfind(folder + L"/tmp", 0), 0u) << ToNarrow(n.c_str());
        EXPECT_EQ(n.size(), folder.size() + 1 + 3 + 6 + 4);
        EXPECT_EQ(n.substr(n.size() - 4), L".dat");
        EXPECT_EQ(ofio_FileSizeGetByName(n.c_str(), &err), 0);
        names.insert(n);
    }
    EXPECT_EQ(names.size(), 50u);

    wchar_t *name = nullptr;
    Ofio_File *f = ofio_TempFileOpen(folder.c_str(), L"w", nullptr, &name, &err);
    ASSERT_NE(f, nullptr);
    ASSERT_NE(name, nullptr);
    EXPECT_STREQ(ofio_FileNameGet(f), name);
    EXPECT_EQ(ofio_WriteSeq(f, "temp", 4, &err), 4);
    EXPECT_EQ(ofio_FileClose(f, &err), 0);
    EXPECT_EQ(ReadRaw(ToNarrow(name)), "temp");
    EXPECT_EQ(ofio_FileRemove(name, &err), 0);
    omsc_HeapFree(name);

    std::wstring missing = folder + L"/none";
    EXPECT_EQ(ofio_TempFileCreate(missing.c_str(), nullptr, nullptr, &err), nullptr);
    ExpectReport(err, L"ofio_TempFileCreate", 2,
                 L"Cannot create a temporary file in \"" + missing + L"\": " +
                     SystemReason(L"No such file or directory"));
    EXPECT_EQ(ofio_TempFileCreate(folder.c_str(), L"a/b", nullptr, &err), nullptr);
    ExpectReport(err, L"ofio_TempFileCreate", 1, L"Invalid part \"a/b\" of a temporary name");

    wchar_t *tmp = ofio_TempDirGet(&err);
    ASSERT_NE(tmp, nullptr);
    EXPECT_EQ(ofio_IsDirectory(tmp, &err), OMSC_TRUE);
    omsc_HeapFree(tmp);
}

} // namespace
