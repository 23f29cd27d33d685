// ohfa_FileFreeListRebuild: leaked space reclaimed, a damaged free list replaced, damage
// elsewhere refused, and every crash point leaving a sound file with its data.
#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>

#include "fio/write_seam.hpp"
#include "hfa/hfa_test_util.hpp"

namespace {

using hfa_test::CheckLines;
using hfa_test::Joined;
using hfa_test::Report;
using orvik::fio::testing::ClearWriteStop;
using orvik::fio::testing::StopWritesAfter;
using orvik::fio::testing::WritesCounted;

class FreeListRebuild : public hfa_test::HfaTest {
  protected:
    // Objects "/A", "/B", "/C" of four words each; "/B" deleted (a free block), and 300
    // bytes taken and never used (leaked).
    void MakeLeakyFile(const std::string &leaf) {
        Report err;
        Ohfa_File *f = ohfa_FileCreate(Name(leaf).c_str(), 0, &err);
        ASSERT_NE(f, nullptr);
        Omif_Design *design = hfa_test::SmallDesign(L"Sample", 4);
        for (int i = 0; i < 3; ++i) {
            const int32_t words[4] = {i, i + 10, i + 20, i + 30};
            const std::wstring name(1, static_cast<wchar_t>(L'A' + i));
            ASSERT_EQ(ohfa_ObjectWrite(f, L"/", name.c_str(), L"Sample", OHFA_WRITE_LAST_CHILD,
                                       words, design, &err),
                      0);
        }
        omif_DesignDestroy(design, nullptr);
        ASSERT_NE(ohfa_NextFreePos(f, 300, &err), 0u);
        ASSERT_EQ(ohfa_ObjectDelete(f, L"/B", OHFA_SEEK_PATH, &err), 0);
        ASSERT_NE(ohfa_NextFreePos(f, 40, &err), 0u);
        ASSERT_EQ(ohfa_FileClose(f, &err), 0);
    }
    // The data of "/A" and "/C" in file form, as one string.
    std::string Data(const std::string &leaf) {
        Ohfa_File *f = ohfa_FileOpen(Name(leaf).c_str(), L"r", 0, nullptr);
        if (!f) return "no file";
        std::string out;
        for (const wchar_t *path : {L"/A", L"/C"}) {
            long count = 0;
            void *bytes = ohfa_ObjectDataReadIfPresent(f, path, OHFA_SEEK_PATH, &count, nullptr);
            out += bytes ? std::string(static_cast<char *>(bytes), static_cast<std::size_t>(count))
                         : std::string("missing");
            omsc_HeapFree(bytes);
        }
        ohfa_FileClose(f, nullptr);
        return out;
    }
    long Rebuild(const std::string &leaf, Report &err) {
        Ohfa_File *f = ohfa_FileOpen(Name(leaf).c_str(), L"r+", 0, nullptr);
        if (!f) return -2;
        const long n = ohfa_FileFreeListRebuild(f, &err);
        ohfa_FileClose(f, nullptr);
        return n;
    }
    static bool Leaks(const std::vector<std::wstring> &lines) {
        return hfa_test::Said(lines, {OHFA_CHECK_LEAK_PREFIX});
    }
};

TEST_F(FreeListRebuild, ReclaimsLeakedSpaceAndKeepsTheData) {
    MakeLeakyFile("leaky.hfa");
    const std::string before = Data("leaky.hfa");
    std::vector<std::wstring> lines;
    ASSERT_EQ(CheckLines(Name("leaky.hfa"), lines), 0) << Joined(lines);
    ASSERT_TRUE(Leaks(lines)) << Joined(lines);
    Report err;
    const long total = Rebuild("leaky.hfa", err);
    ASSERT_GT(total, 300) << hfa_test::Joined({err.Message()});
    EXPECT_EQ(CheckLines(Name("leaky.hfa"), lines), 0) << Joined(lines);
    EXPECT_FALSE(Leaks(lines)) << Joined(lines);
    EXPECT_EQ(Data("leaky.hfa"), before);
    Ohfa_File *f = ohfa_FileOpen(Name("leaky.hfa").c_str(), L"r", 0, nullptr);
    EXPECT_EQ(ohfa_FileFreeSpaceSize(f, nullptr), total);
    ohfa_FileClose(f, nullptr);
    // A second rebuild finds the same list.
    EXPECT_EQ(Rebuild("leaky.hfa", err), total);
}

TEST_F(FreeListRebuild, ReplacesADamagedFreeList) {
    MakeLeakyFile("damaged.hfa");
    const std::string before = Data("damaged.hfa");
    // The header's free-list head now names the middle of the tag's reserved bytes.
    std::string bytes = ReadRaw(Path("damaged.hfa"));
    hfa_test::PutWord(bytes, 64 + 4, 30);
    WriteRaw(Path("damaged.hfa"), bytes);
    std::vector<std::wstring> lines;
    ASSERT_GT(CheckLines(Name("damaged.hfa"), lines), 0);
    Report err;
    EXPECT_GT(Rebuild("damaged.hfa", err), 0) << hfa_test::Joined({err.Message()});
    EXPECT_EQ(CheckLines(Name("damaged.hfa"), lines), 0) << Joined(lines);
    EXPECT_EQ(Data("damaged.hfa"), before);
}

TEST_F(FreeListRebuild, RefusesOtherDamageAndReadOnlyFiles) {
    MakeLeakyFile("broken.hfa");
    std::string bytes = ReadRaw(Path("broken.hfa"));
    const uint32_t root = hfa_test::Word(bytes, 64 + 8);
    hfa_test::PutWord(bytes, root + 12, 0x7FFFFFF0); // the root's child link leads outside
    WriteRaw(Path("broken.hfa"), bytes);
    Report err;
    EXPECT_EQ(Rebuild("broken.hfa", err), -1);
    EXPECT_EQ(err.Function(), L"ohfa_FileFreeListRebuild");
    EXPECT_EQ(err.get()->number, 4);
    EXPECT_NE(err.Message().find(L"damaged beyond its free list"), std::wstring::npos);
    EXPECT_EQ(ReadRaw(Path("broken.hfa")), bytes);

    MakeLeakyFile("readonly.hfa");
    Ohfa_File *f = ohfa_FileOpen(Name("readonly.hfa").c_str(), L"r", 0, nullptr);
    EXPECT_EQ(ohfa_FileFreeListRebuild(f, &err), -1);
    EXPECT_EQ(err.get()->number, 2);
    ohfa_FileClose(f, nullptr);
    EXPECT_EQ(ohfa_FileFreeListRebuild(nullptr, &err), -1);
}

TEST_F(FreeListRebuild, EveryCrashPointLeavesASoundFile) {
    MakeLeakyFile("model.hfa");
    const std::string model = ReadRaw(Path("model.hfa"));
    const std::string data = Data("model.hfa");
    ClearWriteStop();
    Report err;
    ASSERT_GT(Rebuild("model.hfa", err), 0);
    const long writes = WritesCounted();
    ASSERT_GT(writes, 2);
    for (long n = 0; n <= writes; ++n) {
        WriteRaw(Path("crash.hfa"), model);
        Ohfa_File *f = ohfa_FileOpen(Name("crash.hfa").c_str(), L"r+", 0, nullptr);
        ASSERT_NE(f, nullptr);
        StopWritesAfter(n);
        ohfa_FileFreeListRebuild(f, nullptr);
        ohfa_FileClose(f, nullptr);
        ClearWriteStop();
        std::vector<std::wstring> lines;
        EXPECT_EQ(CheckLines(Name("crash.hfa"), lines), 0) << "stop after " << n << "\n"
                                                           << Joined(lines);
        EXPECT_EQ(Data("crash.hfa"), data) << "stop after " << n;
    }
}

} // namespace
