// Option lists: unknown codes warned about and skipped, the known codes' effects, rename, the
// exclusive pre-scan flag, and the file-changed callback.
#include "hfa_test_util.hpp"

namespace {

using namespace hfa_test;

class HfaOptions : public HfaTest {};

TEST_F(HfaOptions, UnknownCodeWarnsAndTheKnownCodesAfterItApply) {
    Report err;
    PrintedReports printed;
    Ohfa_File *f = ohfa_FileCreateWithOptions(
        Name("o.hfa").c_str(), 0, &err, 99, OHFA_OPTION_BATCH, 1, OHFA_OPTION_BLOCK_CACHE, 0,
        OHFA_OPTION_RESERVED_6, 1, 2, 3, 4, 5, OHFA_OPTION_NOT_FLUSHED_ON_WRITE, 1, 0);
    ASSERT_NE(f, nullptr) << err.Message();
    EXPECT_FALSE(err);
    EXPECT_EQ(printed.Messages(), std::vector<std::wstring>{L"Illegal option 99"});
    EXPECT_EQ(printed.Kinds(), std::vector<long>{1});
    EXPECT_EQ(f->optionFlags, orvik::hfa::kFlagBatch | orvik::hfa::kFlagNotFlushedOnWrite);
    EXPECT_EQ(f->caching, 0);

    EXPECT_EQ(ohfa_FileChange(f, &err, OHFA_OPTION_BATCH, 0, OHFA_OPTION_BLOCK_CACHE, 1, 0), 0);
    EXPECT_EQ(f->optionFlags, orvik::hfa::kFlagNotFlushedOnWrite);
    EXPECT_EQ(f->caching, 1);
    EXPECT_EQ(ohfa_FileChange(nullptr, &err, 0), -1);
    EXPECT_EQ(err.Message(), L"Invalid OHFA file handle");
    ohfa_FileClose(f, &err);
}

TEST_F(HfaOptions, RenameMovesTheOpenFileAndKeepsItUsable) {
    Report err;
    Ohfa_File *f = ohfa_FileCreate(Name("before.hfa").c_str(), 0, &err);
    ASSERT_NE(f, nullptr);
    Omif_Design *d = SmallDesign(L"Carried", 2);
    ohfa_FileDictionaryAddDesign(f, d, &err);
    omif_DesignDestroy(d, nullptr);

    EXPECT_EQ(ohfa_FileChange(f, &err, OHFA_OPTION_RENAME, nullptr, 0), -1);
    EXPECT_EQ(err.Message(), L"Destination file name not specified for file rename");
    const std::wstring after = Name("after.hfa");
    ASSERT_EQ(ohfa_FileChange(f, &err, OHFA_OPTION_RENAME, after.c_str(), 0), 0) << err.Message();
    EXPECT_FALSE(std::filesystem::exists(Path("before.hfa")));
    EXPECT_EQ(ohfa_FileIsOpen(after.c_str(), &err), OMSC_TRUE);
    EXPECT_EQ(ohfa_FileIsOpen(Name("before.hfa").c_str(), &err), OMSC_FALSE);
    EXPECT_EQ(std::wstring(ohfa_FileNameGet(f)), after);
    // Still writable under the new name.
    EXPECT_NE(ohfa_NextFreePos(f, 32, &err), 0u);
    EXPECT_EQ(ohfa_FileClose(f, &err), 0);
    f = ohfa_FileOpen(after.c_str(), L"r", 0, &err);
    ASSERT_NE(f, nullptr);
    EXPECT_NE(omif_DictionarySearchByName(ohfa_FileDictionaryGet(f), L"Carried", &err), nullptr);
    ohfa_FileClose(f, &err);

    // A rename whose move fails leaves the file open under its old name.
    f = ohfa_FileOpen(after.c_str(), L"r+b", 0, &err);
    EXPECT_EQ(ohfa_FileChange(f, &err, OHFA_OPTION_RENAME, Name("no/such/dir.hfa").c_str(), 0), -1);
    EXPECT_EQ(err.Message(), L"ofio_FileMove failed");
    EXPECT_EQ(ohfa_FileFlush(f, &err), 0);
    EXPECT_EQ(ohfa_FileClose(f, &err), 0);
}

TEST_F(HfaOptions, ExclusiveFlagRefusesAnOpenFileAndFailedOptionsOnlyWarn) {
    Report err;
    const std::wstring name = Name("x.hfa");
    Ohfa_File *f = ohfa_FileCreateWithOptions(name.c_str(), 0, &err, OHFA_OPTION_EXCLUSIVE, 1, 0);
    ASSERT_NE(f, nullptr);
    EXPECT_EQ(ohfa_FileOpenWithOptions(name.c_str(), L"r", 0, &err, OHFA_OPTION_EXCLUSIVE, 1, 0),
              nullptr);
    EXPECT_EQ(err.Message(), L"File " + name + L" is already open");
    EXPECT_EQ(ohfa_FileOpenWithOptions(name.c_str(), L"r", 0, &err, OHFA_OPTION_EXCLUSIVE, 0, 0),
              f);
    ohfa_FileClose(f, &err);
    ohfa_FileClose(f, &err);

    PrintedReports printed;
    f = ohfa_FileOpenWithOptions(name.c_str(), L"r+b", 0, &err, OHFA_OPTION_RENAME,
                                 static_cast<const wchar_t *>(nullptr), 0);
    ASSERT_NE(f, nullptr);
    EXPECT_FALSE(err);
    ASSERT_EQ(printed.Messages().size(), 2u);
    EXPECT_EQ(printed.Messages()[0], L"Could not set options on file");
    EXPECT_EQ(printed.Messages()[1], L"Destination file name not specified for file rename");
    ohfa_FileClose(f, &err);
}

std::vector<std::wstring> g_changed;
void OnChanged(const wchar_t *name) { g_changed.push_back(name); }

TEST_F(HfaOptions, ChangedCallbackHearsOfWritesOnly) {
    Report err;
    g_changed.clear();
    EXPECT_EQ(ohfa_SetFileChangedCallback(OnChanged), nullptr);
    Ohfa_File *f = ohfa_FileCreate(Name("c.hfa").c_str(), 0, &err);
    ASSERT_NE(f, nullptr);
    EXPECT_EQ(g_changed, std::vector<std::wstring>{Name("c.hfa")});
    EXPECT_EQ(ohfa_FileFlush(f, &err), 0); // nothing written
    EXPECT_EQ(g_changed.size(), 1u);
    ohfa_NextFreePos(f, 40, &err);
    ohfa_FreeSpace(f, 82 + 128 + static_cast<uint32_t>(kNewDictionary.size()), 40, &err);
    EXPECT_EQ(ohfa_FileClose(f, &err), 0);
    EXPECT_EQ(g_changed.size(), 2u);
    EXPECT_EQ(ohfa_SetFileChangedCallback(nullptr), OnChanged);
}

} // namespace
