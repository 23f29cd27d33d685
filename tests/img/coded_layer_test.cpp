// Coded layers: every codec and predictor over every pixel type through windows across block
// edges, rewrites that grow and shrink blocks, damage found on read and by both checks, the
// storage record, and worker threads giving the same file as none.
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

#include "img_test_util.hpp"

namespace {

using namespace img_test;

Oimg_LayerStorage Storage(int32_t codec, int32_t predictor = OIMG_PREDICTOR_NONE,
                          int32_t level = 0) {
    Oimg_LayerStorage s;
    oimg_LayerStorageInit(&s);
    s.codec = codec;
    s.predictor = predictor;
    s.level = level;
    return s;
}

bool Allowed(int type, int32_t predictor) {
    if (predictor == OIMG_PREDICTOR_DIFFERENCE) return type >= OGDA_U8 && type <= OGDA_S32;
    if (predictor == OIMG_PREDICTOR_SHUFFLE) return type >= OGDA_U16 && type <= OGDA_C128;
    return true;
}

class CodedLayer : public ImgTest {
  protected:
    // Writes a 70 x 50 layer of 16 x 12 blocks in two windows that cross block edges, closes
    // the file, and reads it back whole and in a window across edges.
    void RoundTrip(int type, const Oimg_LayerStorage &storage) {
        char name[64];
        std::snprintf(name, sizeof name, "t%dc%dp%d.hfa", type, static_cast<int>(storage.codec),
                      static_cast<int>(storage.predictor));
        const std::string leaf = name;
        Report err;
        Ohfa_File *f = NewFile(leaf);
        Oimg_LayerInfo info = Info(70, 50, type, 16, 12);
        if (type == OGDA_STRING) info.cellBytes = 12;
        Oimg_Layer *layer = oimg_LayerCreateWithStorage(f, L"/Image", L"L", &info, &storage, &err);
        ASSERT_NE(layer, nullptr) << Text(err);
        Data top = Raster(30, 70, type), rest = Raster(20, 45, type);
        Fill(top.get(), 0, 0);
        Fill(rest.get(), 30, 25);
        ASSERT_EQ(oimg_LayerWriteWindow(layer, 0, 0, 30, 70, top.get(), &err), 0) << Text(err);
        ASSERT_EQ(oimg_LayerWriteWindow(layer, 30, 25, 20, 45, rest.get(), &err), 0) << Text(err);
        ASSERT_EQ(oimg_LayerClose(layer, &err), 0) << Text(err);
        ASSERT_EQ(ohfa_FileClose(f, &err), 0);
        std::vector<std::wstring> lines;
        EXPECT_EQ(hfa_test::CheckLines(Name(leaf), lines), 0)
            << (lines.empty() ? "" : std::string(lines[0].begin(), lines[0].end()));
        f = ohfa_FileOpen(Name(leaf).c_str(), L"r", 0, &err);
        layer = oimg_LayerOpen(f, L"/Image/L", &err);
        ASSERT_NE(layer, nullptr) << Text(err);
        Oimg_LayerStorage got{};
        EXPECT_EQ(oimg_LayerStorageGet(layer, &got, &err), 1);
        EXPECT_EQ(got.codec, storage.codec);
        EXPECT_EQ(got.predictor, storage.predictor);
        Data window = Raster(25, 40, type);
        ASSERT_EQ(oimg_LayerReadWindow(layer, 5, 10, 25, 40, window.get(), &err), 0) << Text(err);
        EXPECT_TRUE(Holds(window.get(), 5, 10)) << leaf;
        ASSERT_EQ(oimg_LayerReadWindow(layer, 30, 25, 20, 45, rest.get(), &err), 0) << Text(err);
        EXPECT_TRUE(Holds(rest.get(), 30, 25)) << leaf;
        EXPECT_EQ(oimg_LayerCheck(layer, &err), 0) << Text(err);
        oimg_LayerClose(layer, nullptr);
        ohfa_FileClose(f, nullptr);
    }

    // Opens `leaf` for update and the layer L.
    Oimg_Layer *Open(const std::string &leaf, Ohfa_File *&f, const wchar_t *mode = L"r+") {
        Report err;
        f = ohfa_FileOpen(Name(leaf).c_str(), mode, 0, &err);
        EXPECT_NE(f, nullptr) << Text(err);
        Oimg_Layer *layer = f ? oimg_LayerOpen(f, L"/Image/L", &err) : nullptr;
        EXPECT_NE(layer, nullptr) << Text(err);
        return layer;
    }
};

TEST_F(CodedLayer, EveryCodecAndPredictorOverEveryPixelType) {
    for (int type = 0; type < OGDA_PIXEL_TYPE_COUNT; ++type)
        for (int32_t codec = OIMG_CODEC_NONE; codec <= OIMG_CODEC_LZ4; ++codec)
            for (int32_t p = OIMG_PREDICTOR_NONE; p <= OIMG_PREDICTOR_SHUFFLE; ++p)
                if (Allowed(type, p)) RoundTrip(type, Storage(codec, p));
}

TEST_F(CodedLayer, StorageThatCannotServeIsRefusedAtCreation) {
    Report err;
    Ohfa_File *f = NewFile("refused.hfa");
    Oimg_LayerInfo info = Info(10, 10, OGDA_F32);
    const Oimg_LayerStorage s = Storage(OIMG_CODEC_ZSTD, OIMG_PREDICTOR_DIFFERENCE);
    EXPECT_EQ(oimg_LayerCreateWithStorage(f, L"/Image", L"L", &info, &s, &err), nullptr);
    EXPECT_EQ(err.get()->number, 1);
    EXPECT_NE(Text(err).find("differencing needs an integer type"), std::string::npos);
    EXPECT_EQ(ohfa_EntryPeek(f, OHFA_SEEK_PATH, L"/Image/L", nullptr, &err), 0);
    // Today's call keeps today's layout.
    Oimg_Layer *plain = oimg_LayerCreate(f, L"/Image", L"P", &info, &err);
    Oimg_LayerStorage got;
    EXPECT_EQ(oimg_LayerStorageGet(plain, &got, &err), 0);
    EXPECT_NE(oimg_LayerCacheGet(plain), nullptr);
    oimg_LayerClose(plain, nullptr);
    ohfa_FileClose(f, nullptr);
}

// A 256 x 256 u16 layer of 64 x 64 blocks rewritten between constant (tiny blocks) and noisy
// (large) pixels: every rewrite moves the blocks and frees the old space, so the file stays
// within a bound and checks sound with nothing lost but what the free list holds.
TEST_F(CodedLayer, RewritesThatGrowAndShrinkMoveBlocksAndFreeTheirSpace) {
    Report err;
    Ohfa_File *f = NewFile("grow.hfa");
    Oimg_LayerInfo info = Info(256, 256, OGDA_U16, 64, 64);
    const Oimg_LayerStorage s = Storage(OIMG_CODEC_ZSTD, OIMG_PREDICTOR_SHUFFLE, 3);
    Oimg_Layer *layer = oimg_LayerCreateWithStorage(f, L"/Image", L"L", &info, &s, &err);
    ASSERT_NE(layer, nullptr) << Text(err);
    Data flat = Raster(256, 256, OGDA_U16), noisy = Raster(256, 256, OGDA_U16);
    auto *n = static_cast<uint16_t *>(noisy->data);
    uint32_t x = 12345;
    for (int i = 0; i < 256 * 256; ++i)
        n[i] = static_cast<uint16_t>((x = x * 1103515245 + 12345) >> 16);
    int64_t stored = 0, decoded = 0, largest = 0;
    for (int round = 0; round < 6; ++round) {
        const Data &d = round % 2 ? noisy : flat;
        ASSERT_EQ(oimg_LayerWrite(layer, d.get(), &err), 0) << Text(err);
        ASSERT_EQ(oimg_LayerStoredBytes(layer, &stored, &decoded, &err), 0) << Text(err);
        EXPECT_EQ(decoded, 256 * 256 * 2);
        if (round % 2) {
            EXPECT_EQ(stored, decoded); // noise is stored as it is, never larger
        } else {
            EXPECT_LT(stored, decoded / 50);
        }
        Data back(oimg_LayerRead(layer, nullptr, &err));
        ASSERT_NE(back, nullptr);
        EXPECT_EQ(std::memcmp(back->data, d->data, 256 * 256 * 2), 0) << round;
        ASSERT_EQ(ohfa_FileFlush(f, &err), 0);
        const int64_t size = std::filesystem::file_size(Name("grow.hfa"));
        if (round == 1) largest = size;
        // Old space is reused: later rounds need no more than the first noisy one and its
        // predecessor's blocks.
        if (round > 1) {
            EXPECT_LE(size, largest + 256 * 256 * 2) << round;
        }
    }
    oimg_LayerClose(layer, nullptr);
    ohfa_FileClose(f, nullptr);
    std::vector<std::wstring> lines;
    EXPECT_EQ(hfa_test::CheckLines(Name("grow.hfa"), lines), 0);
}

// One flipped bit in a stored block: the read reports the layer and the block and gives no
// pixels; the layer check and the file check both find it; other blocks still read.
TEST_F(CodedLayer, AFlippedBitIsFoundOnReadAndByBothChecks) {
    Report err;
    Ohfa_File *f = NewFile("flip.hfa");
    Oimg_LayerInfo info = Info(64, 64, OGDA_U8, 32, 32);
    const Oimg_LayerStorage s = Storage(OIMG_CODEC_DEFLATE);
    Oimg_Layer *layer = oimg_LayerCreateWithStorage(f, L"/Image", L"L", &info, &s, &err);
    Data d = Raster(64, 64, OGDA_U8);
    Fill(d.get(), 0, 0);
    ASSERT_EQ(oimg_LayerWrite(layer, d.get(), &err), 0);
    oimg_LayerClose(layer, nullptr);
    // The position of block 3 from its slot in the index.
    Ohfa_Entry e{};
    ASSERT_EQ(ohfa_EntryPeek(f, OHFA_SEEK_PATH, L"/Image/L/BlockIndex", &e, &err), 1);
    ohfa_FileClose(f, nullptr);
    std::fstream io(std::filesystem::path(Name("flip.hfa")),
                    std::ios::in | std::ios::out | std::ios::binary);
    uint32_t at = 0;
    io.seekg(e.data + 16 + 3 * 16);
    io.read(reinterpret_cast<char *>(&at), 4);
    io.seekg(at + 5);
    char byte = 0;
    io.read(&byte, 1);
    byte = static_cast<char>(byte ^ 0x10);
    io.seekp(at + 5);
    io.write(&byte, 1);
    io.close();

    std::vector<std::wstring> lines;
    EXPECT_EQ(hfa_test::CheckLines(Name("flip.hfa"), lines), 1);
    ASSERT_FALSE(lines.empty());
    EXPECT_NE(lines[0].find(L"block 3 does not match its checksum"), std::wstring::npos);

    layer = Open("flip.hfa", f, L"r");
    Data window = Raster(64, 64, OGDA_U8);
    EXPECT_EQ(oimg_LayerRead(layer, window.get(), &err), nullptr);
    EXPECT_TRUE(err.Has(L"Block 3 of layer /Image/L is damaged: its checksum does not match"))
        << Text(err);
    Data corner = Raster(32, 32, OGDA_U8);
    EXPECT_EQ(oimg_LayerReadWindow(layer, 0, 0, 32, 32, corner.get(), &err), 0);
    EXPECT_TRUE(Holds(corner.get(), 0, 0));
    EXPECT_EQ(oimg_LayerCheck(layer, &err), 1);
    EXPECT_EQ(err.Message(), L"Layer /Image/L: 1 of 4 written blocks are damaged");
    oimg_LayerClose(layer, nullptr);
    ohfa_FileClose(f, nullptr);
}

// Deleting a coded layer frees its blocks and index: the file checks sound. So does a plain
// entry delete of the image above it.
TEST_F(CodedLayer, DeleteFreesBlocksAndIndex) {
    for (const bool byEntry : {false, true}) {
        SCOPED_TRACE(byEntry ? "entry delete of the image" : "layer delete");
        const std::string leaf = byEntry ? "delete-entry.hfa" : "delete.hfa";
        Report err;
        Ohfa_File *f = NewFile(leaf);
        Oimg_LayerInfo info = Info(100, 100, OGDA_S16, 32, 32);
        const Oimg_LayerStorage s = Storage(OIMG_CODEC_LZ4, OIMG_PREDICTOR_DIFFERENCE);
        Oimg_Layer *layer = oimg_LayerCreateWithStorage(f, L"/Image", L"L", &info, &s, &err);
        Data d = Raster(100, 100, OGDA_S16);
        Fill(d.get(), 0, 0);
        ASSERT_EQ(oimg_LayerWrite(layer, d.get(), &err), 0);
        ASSERT_EQ(oimg_LayerClose(layer, &err), 0);
        if (byEntry)
            ASSERT_EQ(ohfa_ObjectDelete(f, L"/Image", OHFA_SEEK_PATH, &err), 0) << Text(err);
        else
            ASSERT_EQ(oimg_LayerDelete(f, L"/Image/L", &err), 0) << Text(err);
        EXPECT_EQ(ohfa_EntryPeek(f, OHFA_SEEK_PATH, L"/Image/L", nullptr, &err), 0);
        ASSERT_EQ(ohfa_FileClose(f, &err), 0);
        std::vector<std::wstring> lines;
        EXPECT_EQ(hfa_test::CheckLines(Name(leaf), lines), 0);
        for (const auto &l : lines) EXPECT_EQ(l.find(L"Leaked"), std::wstring::npos);
    }
}

// Threads 1 and 2 write the same file: the same index (positions, sizes, checksums of the
// stored bytes) and the same length; reads with two threads give the same pixels.
TEST_F(CodedLayer, TwoWorkerThreadsWriteTheFileOneWrites) {
    std::vector<unsigned char> index[2];
    int64_t size[2] = {0, 0};
    Data d = Raster(512, 512, OGDA_U16);
    Fill(d.get(), 0, 0);
    for (int threads = 1; threads <= 2; ++threads) {
        const std::string leaf = threads == 1 ? "one.hfa" : "two.hfa";
        Report err;
        Ohfa_File *f = NewFile(leaf);
        ASSERT_EQ(ohfa_FileChange(f, &err, OHFA_OPTION_WORKER_THREADS, threads, 0), 0);
        Oimg_LayerInfo info = Info(512, 512, OGDA_U16, 64, 64);
        const Oimg_LayerStorage s = Storage(OIMG_CODEC_ZSTD, OIMG_PREDICTOR_SHUFFLE, 3);
        Oimg_Layer *layer = oimg_LayerCreateWithStorage(f, L"/Image", L"L", &info, &s, &err);
        ASSERT_NE(layer, nullptr) << Text(err);
        ASSERT_EQ(oimg_LayerWrite(layer, d.get(), &err), 0) << Text(err);
        ASSERT_EQ(oimg_LayerClose(layer, &err), 0) << Text(err);
        layer = oimg_LayerOpen(f, L"/Image/L", &err);
        Data back(oimg_LayerRead(layer, nullptr, &err));
        ASSERT_NE(back, nullptr) << Text(err);
        EXPECT_EQ(std::memcmp(back->data, d->data, 512 * 512 * 2), 0);
        oimg_LayerClose(layer, nullptr);
        long count = 0;
        void *raw =
            ohfa_ObjectDataReadIfPresent(f, L"/Image/L/BlockIndex", OHFA_SEEK_PATH, &count, &err);
        ASSERT_NE(raw, nullptr);
        index[threads - 1].assign(static_cast<unsigned char *>(raw),
                                  static_cast<unsigned char *>(raw) + count);
        omsc_HeapFree(raw);
        ASSERT_EQ(ohfa_FileClose(f, &err), 0);
        size[threads - 1] = static_cast<int64_t>(std::filesystem::file_size(Name(leaf)));
    }
    EXPECT_EQ(index[0].size(), 16u + 64 * 16);
    EXPECT_EQ(index[0], index[1]);
    EXPECT_EQ(size[0], size[1]);
}

} // namespace

namespace {

// The overviews of a coded layer carry its storage and hold the same pixels as those of a
// plain layer with the same data.
TEST_F(CodedLayer, OverviewsKeepTheLayersStorage) {
    Report err;
    Ohfa_File *f = NewFile("overviews.hfa");
    Oimg_LayerInfo info = Info(100, 70, OGDA_U16, 16, 16);
    const Oimg_LayerStorage s = Storage(OIMG_CODEC_ZSTD, OIMG_PREDICTOR_SHUFFLE, 7);
    Oimg_Layer *coded = oimg_LayerCreateWithStorage(f, L"/Image", L"L", &info, &s, &err);
    Oimg_Layer *plain = oimg_LayerCreate(f, L"/Image", L"P", &info, &err);
    ASSERT_NE(coded, nullptr) << Text(err);
    ASSERT_NE(plain, nullptr) << Text(err);
    Data d = Raster(70, 100, OGDA_U16);
    Fill(d.get(), 0, 0);
    ASSERT_EQ(oimg_LayerWrite(coded, d.get(), &err), 0) << Text(err);
    ASSERT_EQ(oimg_LayerWrite(plain, d.get(), &err), 0) << Text(err);
    ASSERT_EQ(oimg_LayerBuildOverviews(coded, &err), 3) << Text(err);
    ASSERT_EQ(oimg_LayerBuildOverviews(plain, &err), 3) << Text(err);
    for (long factor : {2L, 4L, 8L}) {
        Oimg_Layer *a = oimg_LayerOverviewOpen(coded, factor, &err);
        Oimg_Layer *b = oimg_LayerOverviewOpen(plain, factor, &err);
        ASSERT_NE(a, nullptr) << Text(err);
        ASSERT_NE(b, nullptr) << Text(err);
        Oimg_LayerStorage got{};
        EXPECT_EQ(oimg_LayerStorageGet(a, &got, &err), 1) << factor;
        EXPECT_EQ(got.codec, s.codec);
        EXPECT_EQ(got.level, 7);
        EXPECT_EQ(got.predictor, s.predictor);
        EXPECT_EQ(got.checksum, OIMG_CHECKSUM_XXH3);
        EXPECT_EQ(oimg_LayerStorageGet(b, &got, &err), 0) << factor;
        Ogda_BaseData *x = oimg_LayerRead(a, nullptr, &err);
        Ogda_BaseData *y = oimg_LayerRead(b, nullptr, &err);
        ASSERT_NE(x, nullptr);
        ASSERT_NE(y, nullptr);
        EXPECT_EQ(
            std::memcmp(x->data, y->data, static_cast<std::size_t>(y->numrows) * y->lineBytes), 0)
            << factor;
        ogda_BaseDataDelete(x, nullptr);
        ogda_BaseDataDelete(y, nullptr);
        oimg_LayerClose(a, nullptr);
        oimg_LayerClose(b, nullptr);
    }
    ASSERT_EQ(oimg_LayerClose(coded, &err), 0);
    ASSERT_EQ(oimg_LayerClose(plain, &err), 0);
    ASSERT_EQ(ohfa_FileClose(f, &err), 0);
    std::vector<std::wstring> lines;
    EXPECT_EQ(hfa_test::CheckLines(Name("overviews.hfa"), lines), 0);
    EXPECT_TRUE(lines.empty());
}

} // namespace

namespace {

// Whole-file and subtree copies carry the blocks a block index names: the copy reads back
// the same pixels, every checksum holds, and the copy checks sound with nothing leaked.
TEST_F(CodedLayer, CopiesCarryTheCodedBlocks) {
    Report err;
    Ohfa_File *f = NewFile("source.hfa");
    Oimg_LayerInfo info = Info(90, 60, OGDA_S32, 16, 16);
    const Oimg_LayerStorage s = Storage(OIMG_CODEC_DEFLATE, OIMG_PREDICTOR_DIFFERENCE);
    Oimg_Layer *layer = oimg_LayerCreateWithStorage(f, L"/Image", L"L", &info, &s, &err);
    ASSERT_NE(layer, nullptr) << Text(err);
    Data d = Raster(40, 90, OGDA_S32);
    Fill(d.get(), 0, 0);
    // Part of the layer only: blocks never written stay unwritten in the copies.
    ASSERT_EQ(oimg_LayerWriteWindow(layer, 0, 0, 40, 90, d.get(), &err), 0) << Text(err);
    ASSERT_EQ(oimg_LayerBuildOverviews(layer, &err), 3) << Text(err);
    ASSERT_EQ(oimg_LayerClose(layer, &err), 0);
    ASSERT_EQ(ohfa_FileClose(f, &err), 0);

    ASSERT_GT(ohfa_FileCopy(Name("source.hfa").c_str(), Name("whole.hfa").c_str(), &err), 0)
        << Text(err);
    Ohfa_File *src = ohfa_FileOpen(Name("source.hfa").c_str(), L"r", 0, &err);
    Ohfa_File *dst = ohfa_FileCreate(Name("subtree.hfa").c_str(), 0, &err);
    ASSERT_GT(ohfa_ObjectCopy(src, L"/Image", dst, L"/", &err), 0) << Text(err);
    ASSERT_EQ(ohfa_FileClose(dst, &err), 0);
    Oimg_Layer *original = oimg_LayerOpen(src, L"/Image/L", &err);
    ASSERT_NE(original, nullptr);
    int64_t sourceStored = 0;
    ASSERT_EQ(oimg_LayerStoredBytes(original, &sourceStored, nullptr, &err), 0);
    for (const char *leaf : {"whole.hfa", "subtree.hfa"}) {
        SCOPED_TRACE(leaf);
        std::vector<std::wstring> lines;
        EXPECT_EQ(hfa_test::CheckLines(Name(leaf), lines), 0);
        EXPECT_TRUE(lines.empty()) << std::string(lines[0].begin(), lines[0].end());
        Ohfa_File *c = ohfa_FileOpen(Name(leaf).c_str(), L"r", 0, &err);
        for (long factor : {1L, 2L, 8L}) {
            Oimg_Layer *a = oimg_LayerOverviewOpen(original, factor, &err);
            Oimg_Layer *copy = oimg_LayerOpen(c, L"/Image/L", &err);
            ASSERT_NE(copy, nullptr) << Text(err);
            Oimg_Layer *b = oimg_LayerOverviewOpen(copy, factor, &err);
            ASSERT_NE(b, nullptr) << Text(err);
            EXPECT_EQ(oimg_LayerCheck(b, &err), 0) << Text(err);
            Ogda_BaseData *x = oimg_LayerRead(a, nullptr, &err);
            Ogda_BaseData *y = oimg_LayerRead(b, nullptr, &err);
            ASSERT_NE(y, nullptr) << Text(err);
            EXPECT_EQ(
                std::memcmp(x->data, y->data, static_cast<std::size_t>(x->numrows) * x->lineBytes),
                0)
                << factor;
            if (factor == 1) {
                int64_t stored = 0;
                EXPECT_EQ(oimg_LayerStoredBytes(b, &stored, nullptr, &err), 0);
                EXPECT_EQ(stored, sourceStored);
            }
            ogda_BaseDataDelete(x, nullptr);
            ogda_BaseDataDelete(y, nullptr);
            oimg_LayerClose(a, nullptr);
            oimg_LayerClose(b, nullptr);
            oimg_LayerClose(copy, nullptr);
        }
        ohfa_FileClose(c, nullptr);
    }
    oimg_LayerClose(original, nullptr);
    ohfa_FileClose(src, nullptr);
}

} // namespace

namespace {

// A block index naming space outside the file refuses the layer, also for callers that pass
// no report pointer (every exported layer function takes a null one).
TEST_F(CodedLayer, DamagedIndexIsRefusedWithoutAReportPointer) {
    Report err;
    Ohfa_File *f = NewFile("index.hfa");
    Oimg_LayerInfo info = Info(40, 40, OGDA_U8, 16, 16);
    const Oimg_LayerStorage s = Storage(OIMG_CODEC_LZ4);
    Oimg_Layer *layer = oimg_LayerCreateWithStorage(f, L"/Image", L"L", &info, &s, &err);
    Data d = Raster(40, 40, OGDA_U8);
    Fill(d.get(), 0, 0);
    ASSERT_EQ(oimg_LayerWrite(layer, d.get(), &err), 0) << Text(err);
    ASSERT_EQ(oimg_LayerClose(layer, &err), 0);
    Ohfa_Entry e{};
    ASSERT_EQ(ohfa_EntryPeek(f, OHFA_SEEK_PATH, L"/Image/L/BlockIndex", &e, &err), 1);
    ASSERT_EQ(ohfa_FileClose(f, &err), 0);
    {
        std::fstream io(Path("index.hfa"), std::ios::in | std::ios::out | std::ios::binary);
        io.seekp(e.data + 16); // slot 0: its position word
        const char far[4] = {0, 0, 0, 0x40};
        io.write(far, 4);
    }
    f = ohfa_FileOpen(Name("index.hfa").c_str(), L"r", 0, &err);
    ASSERT_NE(f, nullptr);
    EXPECT_EQ(oimg_LayerOpen(f, L"/Image/L", nullptr), nullptr);
    EXPECT_EQ(oimg_LayerOpen(f, L"/Image/L", &err), nullptr);
    EXPECT_NE(Text(err).find("Layer /Image/L refused"), std::string::npos) << Text(err);
    ohfa_FileClose(f, nullptr);
}

} // namespace
