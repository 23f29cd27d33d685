// External layers: the threshold and explicit placement, windows written and read back
// through a companion file (also at offsets past 4 GiB of a sparse file), refused companion
// files (missing, cut, foreign) with the rest of the file still readable, damage found by the
// layer check, delete, and a crash-point sweep over writes that span both files.
#include <filesystem>
#include <fstream>
#include <vector>

#include "fio/write_seam.hpp"
#include "img_test_util.hpp"

namespace {

using namespace img_test;
namespace fs = std::filesystem;
using orvik::fio::testing::ClearWriteStop;
using orvik::fio::testing::StopWritesAfter;
using orvik::fio::testing::WritesCounted;

class Companion : public ImgTest {
  protected:
    Oimg_Layer *Create(Ohfa_File *f, const wchar_t *name, const Oimg_LayerInfo &info,
                       long placement = OIMG_PLACE_AUTO) {
        Report err;
        Oimg_Layer *l = oimg_LayerCreatePlaced(f, L"/Image", name, &info, nullptr, placement, &err);
        EXPECT_NE(l, nullptr) << Text(err);
        return l;
    }
    // Writes a window of test values at (r0, c0).
    void Put(Oimg_Layer *l, int r0, int c0, int rows, int cols) {
        Report err;
        Data d = Raster(rows, cols, oimg_LayerInfoGet(l)->pixelType);
        Fill(d.get(), r0, c0);
        EXPECT_EQ(oimg_LayerWriteWindow(l, r0, c0, rows, cols, d.get(), &err), 0) << Text(err);
    }
    ::testing::AssertionResult Got(Oimg_Layer *l, int r0, int c0, int rows, int cols) {
        Report err;
        Data d = Raster(rows, cols, oimg_LayerInfoGet(l)->pixelType);
        if (oimg_LayerReadWindow(l, r0, c0, rows, cols, d.get(), &err) != 0)
            return ::testing::AssertionFailure() << Text(err);
        return Holds(d.get(), r0, c0);
    }
    // Opens `path` of `f` expecting a refusal whose text holds `words`.
    void Refused(Ohfa_File *f, const wchar_t *path, const std::string &words) {
        Report err;
        EXPECT_EQ(oimg_LayerOpen(f, path, &err), nullptr);
        EXPECT_NE(Text(err).find(words), std::string::npos) << words << ": " << Text(err);
    }
    std::string CompanionOf(Ohfa_File *f, const wchar_t *path) {
        Report err;
        Oimg_Layer *l = oimg_LayerOpen(f, path, &err);
        EXPECT_NE(l, nullptr) << Text(err);
        if (!l) return {};
        const wchar_t *p = oimg_LayerCompanionPathGet(l);
        const std::wstring w = p ? p : L"";
        oimg_LayerClose(l, nullptr);
        return std::string(w.begin(), w.end());
    }
    long Check(Ohfa_File *f) {
        Report err;
        ostr_StringList *problems = nullptr;
        const long n = ohfa_FileCheck(f, &problems, &err);
        ostr_StringListDelete(problems, nullptr);
        return n;
    }
};

TEST_F(Companion, ThresholdAndExplicitPlacementDecideWhereBlocksGo) {
    Ohfa_File *f = NewFile("t.hfa");
    EXPECT_EQ(oimg_CompanionThresholdGet(f), int64_t{1} << 30);
    Report err;
    EXPECT_EQ(oimg_CompanionThresholdSet(f, -1, &err), -1);
    ASSERT_EQ(oimg_CompanionThresholdSet(f, 1 << 20, &err), 0);
    // 512 KiB of pixels fit under 1 MiB with the file; 2 MiB do not.
    Oimg_Layer *small = Create(f, L"Small", Info(512, 1024, OGDA_U8));
    Oimg_Layer *big = Create(f, L"Big", Info(1024, 2048, OGDA_U8));
    Oimg_Layer *asked = Create(f, L"Asked", Info(64, 64, OGDA_U8), OIMG_PLACE_COMPANION);
    Oimg_Layer *kept = Create(f, L"Kept", Info(1024, 2048, OGDA_U8), OIMG_PLACE_INSIDE);
    EXPECT_EQ(
        oimg_LayerCreatePlaced(f, L"/Image", L"X", oimg_LayerInfoGet(small), nullptr, 3, &err),
        nullptr);
    EXPECT_EQ(oimg_LayerCompanionPathGet(small), nullptr);
    EXPECT_EQ(oimg_LayerCompanionPathGet(kept), nullptr);
    ASSERT_NE(oimg_LayerCompanionPathGet(big), nullptr);
    ASSERT_NE(oimg_LayerCompanionPathGet(asked), nullptr);
    const fs::path bigPath(oimg_LayerCompanionPathGet(big));
    EXPECT_EQ(bigPath.parent_path(), fs::path(Name("t.hfa")).parent_path());
    EXPECT_NE(bigPath, fs::path(oimg_LayerCompanionPathGet(asked)));
    EXPECT_EQ(fs::file_size(bigPath), 64u); // the header only: nothing written yet
    // An external layer is coded, by default without codec and with checksums.
    Oimg_LayerStorage s{};
    EXPECT_EQ(oimg_LayerStorageGet(big, &s, &err), 1);
    EXPECT_EQ(s.codec, OIMG_CODEC_NONE);
    EXPECT_EQ(s.checksum, OIMG_CHECKSUM_XXH3);
    for (Oimg_Layer *l : {small, big, asked, kept}) EXPECT_EQ(oimg_LayerClose(l, &err), 0);
    EXPECT_EQ(Check(f), 0);
    ohfa_FileClose(f, nullptr);
}

// The list names the companions in tree order, a missing one too (a caller that moves or
// measures the file needs every name).
TEST_F(Companion, TheFileListsItsCompanionFiles) {
    Ohfa_File *f = NewFile("l.hfa");
    Report err;
    ostr_StringList *list = oimg_CompanionFileList(f, &err);
    ASSERT_NE(list, nullptr) << Text(err);
    EXPECT_EQ(list->count, 0);
    ostr_StringListDelete(list, nullptr);
    std::vector<std::wstring> want;
    for (const wchar_t *name : {L"A", L"In", L"B"}) {
        Oimg_Layer *l = Create(f, name, Info(100, 100, OGDA_U8, 32, 32),
                               name[0] == L'I' ? OIMG_PLACE_INSIDE : OIMG_PLACE_COMPANION);
        ASSERT_NE(l, nullptr);
        if (oimg_LayerCompanionPathGet(l)) want.push_back(oimg_LayerCompanionPathGet(l));
        if (name[0] == L'A') {
            Put(l, 0, 0, 100, 100);
            ASSERT_GT(oimg_LayerBuildOverviews(l, &err), 0) << Text(err);
        }
        oimg_LayerClose(l, nullptr);
    }
    fs::remove(want.back());
    list = oimg_CompanionFileList(f, &err);
    ASSERT_NE(list, nullptr) << Text(err);
    std::vector<std::wstring> got(list->strings, list->strings + list->count);
    ostr_StringListDelete(list, nullptr);
    EXPECT_EQ(got, want); // A's overviews are small: they stay inside
    EXPECT_EQ(oimg_CompanionFileList(nullptr, &err), nullptr);
    EXPECT_NE(err.get(), nullptr);
    ohfa_FileClose(f, nullptr);
}

TEST_F(Companion, WindowsRoundTripAndRewritesAppend) {
    Ohfa_File *f = NewFile("w.hfa");
    for (int type : {OGDA_U8, OGDA_U4, OGDA_F32, OGDA_C128, OGDA_STRING}) {
        const std::wstring name = L"L" + std::to_wstring(type);
        Oimg_Layer *l = Create(f, name.c_str(), Info(70, 50, type, 16, 12), OIMG_PLACE_COMPANION);
        ASSERT_NE(l, nullptr);
        Put(l, 0, 0, 30, 70);
        Put(l, 30, 5, 20, 65);
        ASSERT_EQ(oimg_LayerClose(l, nullptr), 0);
    }
    ASSERT_EQ(ohfa_FileClose(f, nullptr), 0);
    Report err;
    f = ohfa_FileOpen(Name("w.hfa").c_str(), L"r+", 0, &err);
    ASSERT_NE(f, nullptr) << Text(err);
    for (int type : {OGDA_U8, OGDA_U4, OGDA_F32, OGDA_C128, OGDA_STRING}) {
        const std::wstring path = L"/Image/L" + std::to_wstring(type);
        Oimg_Layer *l = oimg_LayerOpen(f, path.c_str(), &err);
        ASSERT_NE(l, nullptr) << Text(err);
        EXPECT_TRUE(Got(l, 0, 0, 30, 70));
        EXPECT_TRUE(Got(l, 31, 7, 19, 60));
        const auto before = fs::file_size(oimg_LayerCompanionPathGet(l));
        // A rewrite appends; the old bytes stay as leaked space.
        Put(l, 13, 17, 20, 20);
        EXPECT_EQ(oimg_LayerFlush(l, &err), 0) << Text(err);
        EXPECT_GT(fs::file_size(oimg_LayerCompanionPathGet(l)), before);
        EXPECT_TRUE(Got(l, 13, 17, 20, 20));
        EXPECT_EQ(oimg_LayerCheck(l, &err), 0) << Text(err);
        oimg_LayerClose(l, nullptr);
    }
    EXPECT_EQ(Check(f), 0);
    ohfa_FileClose(f, nullptr);
}

// A 5 GiB layer whose blocks are written past 4 GiB of its companion file: the file is
// extended sparsely first, so the test needs a few MiB of disk.
TEST_F(Companion, SparseFiveGibLayerWithBlocksPastFourGib) {
    Ohfa_File *f = NewFile("big.hfa");
    const int32_t width = 65536, height = 40960; // u16: 5 GiB
    Oimg_Layer *l = Create(f, L"Big", Info(width, height, OGDA_U16, 512, 512));
    ASSERT_NE(l, nullptr);
    const std::string companion = CompanionOf(f, L"/Image/Big");
    ASSERT_NE(oimg_LayerCompanionPathGet(l), nullptr); // 5 GiB is above the threshold
    oimg_LayerClose(l, nullptr);
    const uint64_t start = (uint64_t{9} << 29) + 7; // 4.5 GiB and an odd few bytes
    fs::resize_file(companion, start);
    Report err;
    l = oimg_LayerOpen(f, L"/Image/Big", &err);
    ASSERT_NE(l, nullptr) << Text(err);
    Put(l, height - 700, width - 900, 700, 900); // across block edges, last row and column
    Put(l, 0, 0, 10, 10);
    ASSERT_EQ(oimg_LayerClose(l, &err), 0) << Text(err);
    EXPECT_GT(fs::file_size(companion), start);
    ASSERT_EQ(ohfa_FileClose(f, nullptr), 0);
    EXPECT_LT(fs::file_size(Name("big.hfa")), 2u << 20); // the index alone

    f = ohfa_FileOpen(Name("big.hfa").c_str(), L"r", 0, &err);
    ASSERT_NE(f, nullptr) << Text(err);
    l = oimg_LayerOpen(f, L"/Image/Big", &err);
    ASSERT_NE(l, nullptr) << Text(err);
    EXPECT_TRUE(Got(l, height - 700, width - 900, 700, 900));
    EXPECT_TRUE(Got(l, 0, 0, 10, 10));
    int64_t stored = 0;
    EXPECT_EQ(oimg_LayerStoredBytes(l, &stored, nullptr, &err), 0);
    EXPECT_EQ(stored, 5 * 512 * 512 * 2); // four blocks and the corner one
    EXPECT_EQ(oimg_LayerCheck(l, &err), 0) << Text(err);
    oimg_LayerClose(l, nullptr);
    EXPECT_EQ(Check(f), 0);
    ohfa_FileClose(f, nullptr);
}

TEST_F(Companion, MissingCutAndForeignCompanionsAreRefusedTheRestReads) {
    Ohfa_File *f = NewFile("b.hfa");
    for (const wchar_t *name : {L"A", L"B"}) {
        Oimg_Layer *l = Create(f, name, Info(64, 64, OGDA_U8, 32, 32), OIMG_PLACE_COMPANION);
        Put(l, 0, 0, 64, 64);
        oimg_LayerClose(l, nullptr);
    }
    Oimg_Layer *inside = Create(f, L"In", Info(64, 64, OGDA_U8, 32, 32));
    Put(inside, 0, 0, 64, 64);
    oimg_LayerClose(inside, nullptr);
    const std::string a = CompanionOf(f, L"/Image/A"), b = CompanionOf(f, L"/Image/B");
    ASSERT_EQ(ohfa_FileClose(f, nullptr), 0);
    const std::string saved = a + ".saved";
    fs::copy_file(a, saved);
    auto reopen = [&] {
        Report err;
        Ohfa_File *g = ohfa_FileOpen(Name("b.hfa").c_str(), L"r", 0, &err);
        EXPECT_NE(g, nullptr) << Text(err);
        return g;
    };
    auto restInTact = [&](Ohfa_File *g) {
        Report err;
        Oimg_Layer *l = oimg_LayerOpen(g, L"/Image/In", &err);
        ASSERT_NE(l, nullptr) << Text(err);
        EXPECT_TRUE(Got(l, 0, 0, 64, 64));
        oimg_LayerClose(l, nullptr);
        l = oimg_LayerOpen(g, L"/Image/B", &err);
        ASSERT_NE(l, nullptr) << Text(err);
        EXPECT_TRUE(Got(l, 0, 0, 64, 64));
        oimg_LayerClose(l, nullptr);
    };

    fs::remove(a);
    f = reopen();
    Refused(f, L"/Image/A", "cannot be opened");
    restInTact(f);
    ohfa_FileClose(f, nullptr);

    fs::copy_file(saved, a);
    fs::resize_file(a, 40);
    f = reopen();
    Refused(f, L"/Image/A", "is truncated (40 bytes");
    ohfa_FileClose(f, nullptr);

    fs::copy_file(saved, a, fs::copy_options::overwrite_existing);
    fs::resize_file(a, 64 + 1024 * 3); // the header and some of the blocks
    f = reopen();
    Refused(f, L"/Image/A", "lies outside the companion file");
    restInTact(f);
    ohfa_FileClose(f, nullptr);

    fs::copy_file(b, a, fs::copy_options::overwrite_existing);
    f = reopen();
    Refused(f, L"/Image/A", "belongs to another file");
    ohfa_FileClose(f, nullptr);

    { // not a companion file at all
        std::ofstream(a, std::ios::binary | std::ios::trunc) << std::string(4096, 'x');
    }
    f = reopen();
    Refused(f, L"/Image/A", "is not a companion data file");
    restInTact(f);
    ohfa_FileClose(f, nullptr);

    fs::copy_file(saved, a, fs::copy_options::overwrite_existing);
    f = reopen();
    Report err;
    Oimg_Layer *l = oimg_LayerOpen(f, L"/Image/A", &err);
    ASSERT_NE(l, nullptr) << Text(err);
    EXPECT_TRUE(Got(l, 0, 0, 64, 64));
    oimg_LayerClose(l, nullptr);
    ohfa_FileClose(f, nullptr);
}

TEST_F(Companion, ADamagedBlockIsFoundAndDeleteRemovesTheFile) {
    Ohfa_File *f = NewFile("d.hfa");
    Oimg_Layer *l = Create(f, L"A", Info(64, 64, OGDA_U8, 32, 32), OIMG_PLACE_COMPANION);
    Put(l, 0, 0, 64, 64);
    ASSERT_EQ(oimg_LayerClose(l, nullptr), 0);
    const std::string a = CompanionOf(f, L"/Image/A");
    {
        std::fstream s(a, std::ios::binary | std::ios::in | std::ios::out);
        s.seekp(64 + 1024 * 2 + 5);
        s.put('\x5a');
    }
    Report err;
    l = oimg_LayerOpen(f, L"/Image/A", &err);
    ASSERT_NE(l, nullptr) << Text(err);
    EXPECT_EQ(oimg_LayerCheck(l, &err), 1);
    EXPECT_NE(Text(err).find("checksum"), std::string::npos) << Text(err);
    Data d = Raster(64, 64, OGDA_U8);
    EXPECT_EQ(oimg_LayerReadWindow(l, 0, 0, 64, 64, d.get(), &err), -1);
    oimg_LayerClose(l, nullptr);

    EXPECT_EQ(oimg_LayerDelete(f, L"/Image/A", &err), 0) << Text(err);
    EXPECT_FALSE(fs::exists(a));
    EXPECT_EQ(Check(f), 0);
    ohfa_FileClose(f, nullptr);
}

// Deleting reads nothing of the companion: a layer whose file is missing, cut or foreign goes
// (so does an image holding one), and a file another HFA file's layer names is left alone.
TEST_F(Companion, DeleteNeedsNoCompanionAndSparesAForeignOne) {
    Ohfa_File *f = NewFile("x.hfa");
    for (const wchar_t *name : {L"Gone", L"Cut", L"Foreign", L"Kept"}) {
        Oimg_Layer *l = Create(f, name, Info(64, 64, OGDA_U8, 32, 32), OIMG_PLACE_COMPANION);
        ASSERT_NE(l, nullptr);
        Put(l, 0, 0, 64, 64);
        ASSERT_EQ(oimg_LayerClose(l, nullptr), 0);
    }
    ASSERT_EQ(oimg_ImageCreate(f, nullptr, L"Other", nullptr), 0);
    Report err;
    Oimg_LayerInfo info = Info(64, 64, OGDA_U8, 32, 32);
    Oimg_Layer *l =
        oimg_LayerCreatePlaced(f, L"/Other", L"O", &info, nullptr, OIMG_PLACE_COMPANION, &err);
    ASSERT_NE(l, nullptr) << Text(err);
    ASSERT_EQ(oimg_LayerClose(l, nullptr), 0);
    const std::string gone = CompanionOf(f, L"/Image/Gone"), cut = CompanionOf(f, L"/Image/Cut"),
                      foreign = CompanionOf(f, L"/Image/Foreign"),
                      kept = CompanionOf(f, L"/Image/Kept"), other = CompanionOf(f, L"/Other/O");
    fs::remove(gone);
    fs::resize_file(cut, 40);
    fs::copy_file(kept, foreign, fs::copy_options::overwrite_existing);
    fs::remove(other);

    for (const wchar_t *path : {L"/Image/Gone", L"/Image/Cut", L"/Image/Foreign"}) {
        ASSERT_EQ(oimg_LayerOpen(f, path, &err), nullptr);
        EXPECT_EQ(oimg_LayerDelete(f, path, &err), 0) << Text(err);
        EXPECT_EQ(oimg_LayerOpen(f, path, &err), nullptr);
    }
    EXPECT_FALSE(fs::exists(cut));
    EXPECT_TRUE(fs::exists(foreign)); // a copy of Kept's header: not this layer's to remove
    EXPECT_TRUE(fs::exists(kept));
    l = oimg_LayerOpen(f, L"/Image/Kept", &err);
    ASSERT_NE(l, nullptr) << Text(err);
    EXPECT_TRUE(Got(l, 0, 0, 64, 64));
    oimg_LayerClose(l, nullptr);
    // Not a layer: refused, nothing deleted.
    EXPECT_EQ(oimg_LayerDelete(f, L"/Other", &err), -1);
    EXPECT_EQ(oimg_LayerDelete(f, L"/Image/Nothing", &err), -1);
    ASSERT_EQ(ohfa_ObjectDelete(f, L"/Other", OHFA_SEEK_PATH, &err), 0) << Text(err);
    EXPECT_EQ(Check(f), 0);
    ohfa_FileClose(f, nullptr);
}

// Copies get companions of their own; the file check verifies the pairing and every block;
// a rename into another folder takes the companions along; deleting the image removes them.
TEST_F(Companion, CopyCheckRenameAndImageDeleteCoverTheCompanion) {
    Ohfa_File *f = NewFile("c.hfa");
    Oimg_Layer *l = Create(f, L"A", Info(100, 90, OGDA_S16, 32, 32), OIMG_PLACE_COMPANION);
    Put(l, 0, 0, 90, 100);
    ASSERT_EQ(oimg_LayerFlush(l, nullptr), 0);
    Put(l, 10, 10, 20, 20); // a rewrite: the copy leaves the old bytes behind
    ASSERT_EQ(oimg_LayerClose(l, nullptr), 0);
    const std::string a = CompanionOf(f, L"/Image/A");
    ASSERT_EQ(ohfa_FileClose(f, nullptr), 0);

    fs::create_directory(Path("sub"));
    Report err;
    for (const std::string copy : {"copy.hfa", "sub/copy.hfa"}) {
        ASSERT_GT(ohfa_FileCopy(Name("c.hfa").c_str(), Name(copy).c_str(), &err), 0) << Text(err);
        Ohfa_File *g = ohfa_FileOpen(Name(copy).c_str(), L"r+", 0, &err);
        ASSERT_NE(g, nullptr) << Text(err);
        const std::string b = CompanionOf(g, L"/Image/A");
        EXPECT_NE(b, a);
        EXPECT_EQ(fs::path(b).parent_path(), fs::path(Name(copy)).parent_path());
        EXPECT_LT(fs::file_size(b), fs::file_size(a)); // written afresh: no leaked bytes
        l = oimg_LayerOpen(g, L"/Image/A", &err);
        ASSERT_NE(l, nullptr) << Text(err);
        EXPECT_TRUE(Got(l, 0, 0, 90, 100));
        oimg_LayerClose(l, nullptr);
        EXPECT_EQ(Check(g), 0);
        ohfa_FileClose(g, nullptr);
    }

    // The check reports a damaged block and a missing companion as problems.
    const std::string saved = a + ".saved";
    fs::copy_file(a, saved);
    {
        std::fstream s(a, std::ios::binary | std::ios::in | std::ios::out);
        s.seekp(static_cast<std::streamoff>(fs::file_size(a)) - 100); // the rewritten block
        s.put('\x11');
    }
    f = ohfa_FileOpen(Name("c.hfa").c_str(), L"r+", 0, &err);
    ASSERT_NE(f, nullptr) << Text(err);
    EXPECT_EQ(Check(f), 1);
    fs::remove(a);
    EXPECT_EQ(Check(f), 1);
    fs::rename(saved, a);
    EXPECT_EQ(Check(f), 0);

    // Into another folder, the companion follows under its own name.
    const std::wstring moved = Name("sub/moved.hfa");
    ASSERT_EQ(ohfa_FileChange(f, &err, OHFA_OPTION_RENAME, moved.c_str(), 0), 0) << Text(err);
    const fs::path there = fs::path(Path("sub")) / fs::path(a).filename();
    EXPECT_FALSE(fs::exists(a));
    EXPECT_TRUE(fs::exists(there));
    l = oimg_LayerOpen(f, L"/Image/A", &err);
    ASSERT_NE(l, nullptr) << Text(err);
    EXPECT_TRUE(Got(l, 0, 0, 90, 100));
    oimg_LayerClose(l, nullptr);

    // Deleting the image (a plain entry delete) removes its layers' companions.
    ASSERT_EQ(ohfa_ObjectDelete(f, L"/Image", OHFA_SEEK_PATH, &err), 0) << Text(err);
    EXPECT_FALSE(fs::exists(there));
    EXPECT_EQ(Check(f), 0);
    ohfa_FileClose(f, nullptr);
}

// The session writes blocks to the companion file and slots to the HFA file, rewrites them
// (appended again), and closes; it is stopped after every write in turn.
class CompanionCrashSweep : public Companion {
  protected:
    static constexpr int kSide = 96, kBlock = 32;
    void Session(const std::string &leaf) {
        Report r;
        Ohfa_File *f = ohfa_FileCreate(Name(leaf).c_str(), 0, &r);
        if (!f) return;
        oimg_ImageCreate(f, nullptr, L"Image", &r);
        Oimg_LayerInfo info = Info(kSide, kSide, OGDA_U16, kBlock, kBlock);
        Oimg_Layer *layer =
            oimg_LayerCreatePlaced(f, L"/Image", L"L", &info, nullptr, OIMG_PLACE_COMPANION, &r);
        m_created = WritesCounted();
        if (layer) {
            Data d = Raster(kSide, kSide, OGDA_U16);
            for (uint16_t version : {1, 2}) {
                for (int i = 0; i < kSide * kSide; ++i)
                    static_cast<uint16_t *>(d->data)[i] = version;
                oimg_LayerWrite(layer, d.get(), &r);
                oimg_LayerFlush(layer, &r);
                ohfa_FileFlush(f, &r);
            }
            oimg_LayerClose(layer, &r);
        }
        ohfa_FileClose(f, &r);
    }
    long m_created = 0;
};

TEST_F(CompanionCrashSweep, EveryCrashPointLeavesBothFilesSound) {
    StopWritesAfter(1 << 30);
    Session("full.hfa");
    const long total = WritesCounted(), created = m_created;
    ClearWriteStop();
    ASSERT_GT(total, 10);
    long opened = 0;
    for (long n = 1; n <= total; ++n) {
        const std::string leaf = "crash" + std::to_string(n) + ".hfa";
        StopWritesAfter(n);
        Session(leaf);
        ClearWriteStop();
        Report err;
        Ohfa_File *f = ohfa_FileOpen(Name(leaf).c_str(), L"r", 0, &err);
        if (!f) continue; // the create had not finished
        EXPECT_EQ(Check(f), 0) << "crash after write " << n;
        if (n >= created) {
            Oimg_Layer *layer = oimg_LayerOpen(f, L"/Image/L", &err);
            ASSERT_NE(layer, nullptr) << "crash after write " << n << ": " << Text(err);
            Data d(oimg_LayerRead(layer, nullptr, &err));
            ASSERT_NE(d, nullptr) << "crash after write " << n << ": " << Text(err);
            const auto *p = static_cast<const uint16_t *>(d->data);
            for (int br = 0; br < kSide / kBlock; ++br)
                for (int bc = 0; bc < kSide / kBlock; ++bc) {
                    const uint16_t v = p[br * kBlock * kSide + bc * kBlock];
                    bool whole = v <= 2;
                    for (int r = br * kBlock; whole && r < br * kBlock + kBlock; ++r)
                        for (int c = bc * kBlock; whole && c < bc * kBlock + kBlock; ++c)
                            whole = p[r * kSide + c] == v;
                    EXPECT_TRUE(whole) << "crash after write " << n << ", block " << br << bc;
                }
            EXPECT_EQ(oimg_LayerCheck(layer, &err), 0) << Text(err);
            oimg_LayerClose(layer, nullptr);
            ++opened;
        }
        ohfa_FileClose(f, nullptr);
    }
    EXPECT_EQ(opened, total - created + 1);
}

} // namespace
