// Raster layers: every pixel type through windows that straddle block and image edges,
// partial last blocks, blocks never written, sub-byte packing in the file, caching on and
// off, the cache bound, and refused windows and records.
#include <fstream>

#include <orvik/opxm.h>

#include "img_test_util.hpp"

namespace {

using namespace img_test;

constexpr int32_t kW = 150, kH = 130; // 5 x 6 blocks of 32 x 24, the last ones partial

// Writes the layer in windows of wr x wc (clipped at the edges).
void WriteTiled(Oimg_Layer *layer, int type, int wr, int wc) {
    for (int r = 0; r < kH; r += wr)
        for (int c = 0; c < kW; c += wc) {
            const int nr = std::min(wr, kH - r), nc = std::min(wc, kW - c);
            Data d = Raster(nr, nc, type);
            Fill(d.get(), r, c);
            Report err;
            ASSERT_EQ(oimg_LayerWriteWindow(layer, r, c, nr, nc, d.get(), &err), 0) << Text(err);
        }
}

void ExpectTiled(Oimg_Layer *layer, int type, int wr, int wc) {
    for (int r = 0; r < kH; r += wr)
        for (int c = 0; c < kW; c += wc) {
            const int nr = std::min(wr, kH - r), nc = std::min(wc, kW - c);
            Data d = Raster(nr, nc, type);
            Report err;
            ASSERT_EQ(oimg_LayerReadWindow(layer, r, c, nr, nc, d.get(), &err), 0) << Text(err);
            ASSERT_TRUE(Holds(d.get(), r, c)) << "window " << r << ", " << c;
        }
}

class ImgLayer : public ImgTest, public ::testing::WithParamInterface<int> {};

TEST_P(ImgLayer, EveryPixelTypeRoundTripsThroughStraddlingWindows) {
    const int type = GetParam();
    Ohfa_File *f = NewFile("types.hfa");
    Report err;
    Oimg_LayerInfo info = Info(kW, kH, type, 32, 24);
    Oimg_Layer *layer = oimg_LayerCreate(f, L"/Image", L"Layer", &info, &err);
    ASSERT_NE(layer, nullptr) << Text(err);
    ohfa_CacheSetLimit(oimg_LayerCacheGet(layer),
                       4 * ohfa_CacheNodeGet(oimg_LayerCacheGet(layer))->blocksize, &err);
    WriteTiled(layer, type, 37, 41);
    ExpectTiled(layer, type, 29, 53); // through the cache
    ASSERT_EQ(oimg_LayerClose(layer, &err), 0) << Text(err);
    ASSERT_EQ(ohfa_FileClose(f, &err), 0);

    f = ohfa_FileOpen(Name("types.hfa").c_str(), L"r", 0, &err);
    layer = oimg_LayerOpen(f, L"/Image/Layer", &err);
    ASSERT_NE(layer, nullptr) << Text(err);
    EXPECT_EQ(oimg_LayerInfoGet(layer)->pixelType, type);
    ExpectTiled(layer, type, 24, 32); // block-aligned
    ExpectTiled(layer, type, kH, kW); // whole layer
    ExpectTiled(layer, type, 1, 7);   // thin windows
    Data whole(oimg_LayerRead(layer, nullptr, &err));
    ASSERT_NE(whole, nullptr) << Text(err);
    EXPECT_TRUE(Holds(whole.get(), 0, 0));
    // Converted on reading: every numeric type into f64 gives the test's values.
    if (type != OGDA_STRING) {
        Data d = Raster(31, 45, OGDA_F64);
        ASSERT_EQ(oimg_LayerReadWindow(layer, 99, 105, 31, 45, d.get(), &err), 0);
        const auto *v = static_cast<const double *>(d->data);
        for (int r = 0; r < 31; ++r)
            for (int c = 0; c < 45; ++c)
                ASSERT_EQ(v[r * (d->lineBytes / 8) + c],
                          type == OGDA_C64 ? static_cast<float>(Value(type, 99 + r, 105 + c))
                                           : Value(type, 99 + r, 105 + c));
    }
    oimg_LayerClose(layer, &err);
    ohfa_FileClose(f, &err);
}

INSTANTIATE_TEST_SUITE_P(AllTypes, ImgLayer, ::testing::Range(0, OGDA_PIXEL_TYPE_COUNT),
                         [](const auto &p) {
                             const std::wstring n =
                                 ogda_PixelNameFromType(static_cast<Ogda_PixelType>(p.param));
                             return std::string(n.begin(), n.end());
                         });

TEST_F(ImgTest, WritingConvertsThroughTheTable) {
    Ohfa_File *f = NewFile("convert.hfa");
    Report err;
    Oimg_LayerInfo info = Info(10, 3, OGDA_U4);
    Oimg_Layer *layer = oimg_LayerCreate(f, L"/Image", L"Nibbles", &info, &err);
    ASSERT_NE(layer, nullptr);
    Data in = Raster(1, 10, OGDA_F64);
    auto *v = static_cast<double *>(in->data);
    const double given[] = {-3, 0.9, 1.5, 7, 15, 16, 300, 2.999, 8, 9};
    for (int c = 0; c < 10; ++c) v[c] = given[c];
    ASSERT_EQ(oimg_LayerWriteWindow(layer, 0, 0, 1, 10, in.get(), &err), 0);
    Data out = Raster(1, 10, OGDA_S16);
    ASSERT_EQ(oimg_LayerReadWindow(layer, 0, 0, 1, 10, out.get(), &err), 0);
    const int16_t expect[] = {0, 0, 1, 7, 15, 15, 15, 2, 8, 9};
    for (int c = 0; c < 10; ++c) EXPECT_EQ(static_cast<int16_t *>(out->data)[c], expect[c]) << c;
    oimg_LayerClose(layer, &err);
    ohfa_FileClose(f, &err);
}

TEST_F(ImgTest, SubBytePixelsArePackedLikeMif) {
    Ohfa_File *f = NewFile("packed.hfa");
    Report err;
    for (int type : {OGDA_U1, OGDA_U2, OGDA_U4}) {
        Oimg_LayerInfo info = Info(11, 2, type, 11, 2);
        const std::wstring name = L"L" + std::to_wstring(type);
        Oimg_Layer *layer = oimg_LayerCreate(f, L"/Image", name.c_str(), &info, &err);
        ASSERT_NE(layer, nullptr);
        Data d = Raster(2, 11, type);
        Fill(d.get(), 0, 0);
        ASSERT_EQ(oimg_LayerWrite(layer, d.get(), &err), 0);
        ASSERT_EQ(oimg_LayerFlush(layer, &err), 0);
        Ohfa_Cache *cache = oimg_LayerCacheGet(layer);
        const int k = type == OGDA_U1 ? 8 : type == OGDA_U2 ? 4 : 2, bits = 8 / k;
        const int rowBytes = (11 - 1) / k + 1;
        ASSERT_EQ(ohfa_CacheNodeGet(cache)->blocksize, 2 * rowBytes);
        std::vector<unsigned char> raw(static_cast<std::size_t>(2 * rowBytes));
        ASSERT_EQ(ohfa_CacheGetBlock(cache, 0, raw.data(), &err), 1);
        for (int r = 0; r < 2; ++r)
            for (int c = 0; c < 11; ++c) {
                const int got = raw[r * rowBytes + c / k] >> (c % k * bits) & ((1 << bits) - 1);
                EXPECT_EQ(got, Value(type, r, c)) << type << ": " << r << ", " << c;
            }
        // Unused high bits of each row's last byte stay 0.
        for (int r = 0; r < 2; ++r)
            EXPECT_EQ(raw[r * rowBytes + rowBytes - 1] >> ((11 - 1) % k + 1) * bits, 0) << type;
        oimg_LayerClose(layer, &err);
    }
    ohfa_FileClose(f, &err);
}

TEST_F(ImgTest, NeverWrittenBlocksReadAsNoDataAndTakeNoSpace) {
    Ohfa_File *f = NewFile("sparse.hfa");
    Report err;
    Oimg_LayerInfo info = Info(1000, 1000, OGDA_S16);
    info.hasNoData = 1;
    info.noData = -999;
    Oimg_Layer *layer = oimg_LayerCreate(f, L"/Image", L"Sparse", &info, &err);
    Oimg_LayerInfo plain = Info(100, 100, OGDA_F32);
    Oimg_Layer *zero = oimg_LayerCreate(f, L"/Image", L"Zero", &plain, &err);
    ASSERT_NE(layer, nullptr);
    ASSERT_NE(zero, nullptr);
    ASSERT_EQ(oimg_LayerFlush(layer, &err), 0);
    ASSERT_EQ(ohfa_FileFlush(f, &err), 0);
    const long empty = ohfa_FileSize(f, &err);
    EXPECT_LT(empty, 64 * 64 * 2); // 256 blocks declared, none stored
    // A window across four blocks stores exactly those four.
    Data d = Raster(10, 10, OGDA_S16);
    Fill(d.get(), 60, 60);
    ASSERT_EQ(oimg_LayerWriteWindow(layer, 60, 60, 10, 10, d.get(), &err), 0);
    ASSERT_EQ(oimg_LayerFlush(layer, &err), 0);
    EXPECT_LE(ohfa_FileSize(f, &err) - empty, 4 * (64 * 64 * 2 + 4));
    Data back = Raster(70, 70, OGDA_S16);
    ASSERT_EQ(oimg_LayerReadWindow(layer, 0, 0, 70, 70, back.get(), &err), 0);
    const auto *v = static_cast<const int16_t *>(back->data);
    const int stride = back->lineBytes / 2;
    for (int r = 0; r < 70; ++r)
        for (int c = 0; c < 70; ++c) {
            const bool written = r >= 60 && c >= 60;
            ASSERT_EQ(v[r * stride + c], written ? Value(OGDA_S16, r, c) : -999) << r << "," << c;
        }
    // The rest of a block that the window touched is no-data too.
    Data cell = Raster(1, 1, OGDA_S16);
    ASSERT_EQ(oimg_LayerReadWindow(layer, 100, 100, 1, 1, cell.get(), &err), 0);
    EXPECT_EQ(*static_cast<int16_t *>(cell->data), -999);
    Data one = Raster(1, 1, OGDA_F32);
    ASSERT_EQ(oimg_LayerReadWindow(zero, 99, 99, 1, 1, one.get(), &err), 0);
    EXPECT_EQ(*static_cast<float *>(one->data), 0.0f);
    oimg_LayerClose(zero, &err);
    oimg_LayerClose(layer, &err);
    ohfa_FileClose(f, &err);
}

TEST_F(ImgTest, CachingOnAndOffStoreTheSameBlocks) {
    std::vector<std::vector<unsigned char>> blocks[2];
    long sizes[2];
    for (int caching : {0, 1}) {
        const std::string leaf = std::to_string(caching) + ".hfa";
        Ohfa_File *f = NewFile(leaf, caching);
        Report err;
        Oimg_LayerInfo info = Info(kW, kH, OGDA_U16, 32, 24);
        info.hasNoData = 1;
        info.noData = 17;
        Oimg_Layer *layer = oimg_LayerCreate(f, L"/Image", L"Layer", &info, &err);
        ASSERT_NE(layer, nullptr);
        WriteTiled(layer, OGDA_U16, 37, 41);
        // Some windows twice, some blocks partly.
        Data d = Raster(20, 20, OGDA_U16);
        Fill(d.get(), 5, 5);
        ASSERT_EQ(oimg_LayerWriteWindow(layer, 5, 5, 20, 20, d.get(), &err), 0);
        ASSERT_EQ(oimg_LayerClose(layer, &err), 0);
        sizes[caching] = ohfa_FileSize(f, &err);
        Ohfa_Cache *c = ohfa_CacheOpen(f, L"/Image/Layer/Blocks", &err);
        ASSERT_NE(c, nullptr);
        const Ohfa_CacheNode *n = ohfa_CacheNodeGet(c);
        for (long b = 0; b < n->blockcount; ++b) {
            std::vector<unsigned char> raw(static_cast<std::size_t>(n->blocksize));
            ASSERT_EQ(ohfa_CacheGetBlock(c, b, raw.data(), &err), 1);
            blocks[caching].push_back(raw);
        }
        ohfa_CacheClose(c, &err);
        ohfa_FileClose(f, &err);
    }
    EXPECT_EQ(sizes[0], sizes[1]);
    EXPECT_EQ(blocks[0], blocks[1]);
}

TEST_F(ImgTest, CacheBoundHoldsWhileReadingAndWriting) {
    Ohfa_File *f = NewFile("bound.hfa");
    Report err;
    Oimg_LayerInfo info = Info(kW, kH, OGDA_F64, 32, 24);
    Oimg_Layer *layer = oimg_LayerCreate(f, L"/Image", L"Layer", &info, &err);
    Ohfa_Cache *cache = oimg_LayerCacheGet(layer);
    const int64_t limit = 3 * 32 * 24 * 8 + 5;
    ASSERT_EQ(ohfa_CacheSetLimit(cache, limit, &err), 0);
    Ohfa_CacheStats s{};
    for (int r = 0; r < kH; r += 13) {
        const int nr = std::min(13, kH - r);
        Data d = Raster(nr, kW, OGDA_F64);
        Fill(d.get(), r, 0);
        ASSERT_EQ(oimg_LayerWriteWindow(layer, r, 0, nr, kW, d.get(), &err), 0);
        ohfa_CacheStatsGet(cache, &s);
        ASSERT_LE(s.bytesHeld, limit);
    }
    const int64_t before = s.hits + s.misses;
    ExpectTiled(layer, OGDA_F64, 50, 50);
    ohfa_CacheStatsGet(cache, &s);
    // 9 windows of 50 x 50 (or less) over 5 x 6 blocks of 32 x 24 touch 56 blocks.
    EXPECT_EQ(s.hits + s.misses - before, 56);
    EXPECT_LE(s.bytesHeld, limit);
    EXPECT_GT(s.hits, 0);
    EXPECT_GT(s.misses, 0);
    oimg_LayerClose(layer, &err);
    ohfa_FileClose(f, &err);
}

TEST_F(ImgTest, BadWindowsAndArgumentsAreRefusedWithTheSizes) {
    Ohfa_File *f = NewFile("bad.hfa");
    Report err;
    Oimg_LayerInfo info = Info(100, 80, OGDA_U8);
    Oimg_Layer *layer = oimg_LayerCreate(f, L"/Image", L"Layer", &info, &err);
    Data d = Raster(10, 10, OGDA_U8);
    EXPECT_EQ(oimg_LayerReadWindow(layer, 75, 0, 10, 10, d.get(), &err), -1);
    EXPECT_NE(Text(err).find("Window at row 75, column 0 of 10 x 10 pixels lies outside layer "
                             "/Image/Layer of 80 x 100 pixels"),
              std::string::npos)
        << Text(err);
    EXPECT_EQ(oimg_LayerWriteWindow(layer, -1, 0, 10, 10, d.get(), &err), -1);
    EXPECT_EQ(oimg_LayerReadWindow(layer, 0, 2147483600, 10, 100, d.get(), &err), -1);
    EXPECT_EQ(oimg_LayerReadWindow(layer, 0, 0, 10, 11, d.get(), &err), -1);
    EXPECT_NE(Text(err).find("Data of 10 x 10 elements"), std::string::npos);
    EXPECT_EQ(oimg_LayerWrite(layer, d.get(), &err), -1);
    // Creating: sizes that overflow, a duplicate name, a text layer with a text too long.
    Oimg_LayerInfo huge = Info(100, 100, OGDA_C128, 65536, 2048);
    EXPECT_EQ(oimg_LayerCreate(f, L"/Image", L"Huge", &huge, &err), nullptr);
    EXPECT_NE(Text(err).find("overflows 32 bits"), std::string::npos) << Text(err);
    huge = Info(100, 100, OGDA_U8, 1024, 16385);
    EXPECT_EQ(oimg_LayerCreate(f, L"/Image", L"Huge", &huge, &err), nullptr);
    EXPECT_NE(Text(err).find("blocks larger than 16 MiB"), std::string::npos) << Text(err);
    EXPECT_EQ(oimg_LayerCreate(f, L"/Image", L"Layer", &info, &err), nullptr);
    EXPECT_NE(Text(err).find("already exists"), std::string::npos);
    Oimg_LayerInfo text = Info(4, 4, OGDA_STRING);
    text.cellBytes = 3;
    Oimg_Layer *t = oimg_LayerCreate(f, L"/Image", L"Text", &text, &err);
    ASSERT_NE(t, nullptr) << Text(err);
    Data s = Raster(1, 4, OGDA_STRING);
    Fill(s.get(), 1, 0); // "p1\u00e90": 5 UTF-8 bytes
    EXPECT_EQ(oimg_LayerWriteWindow(t, 1, 0, 1, 4, s.get(), &err), -1);
    EXPECT_NE(Text(err).find("longer than the 3-byte cells"), std::string::npos) << Text(err);
    oimg_LayerClose(t, &err);
    oimg_LayerClose(layer, &err);
    ohfa_FileClose(f, &err);
}

// The layer's record at the entry's data: damaged fields must be refused on open.
TEST_F(ImgTest, CorruptLayerRecordsAreRefused) {
    Ohfa_File *f = NewFile("good.hfa");
    Report err;
    Oimg_LayerInfo info = Info(100, 80, OGDA_U8, 32, 32);
    Oimg_Layer *layer = oimg_LayerCreate(f, L"/Image", L"Layer", &info, &err);
    Data d = Raster(80, 100, OGDA_U8);
    Fill(d.get(), 0, 0);
    ASSERT_EQ(oimg_LayerWrite(layer, d.get(), &err), 0);
    oimg_LayerClose(layer, &err);
    Ohfa_Entry e{};
    ASSERT_GT(ohfa_EntryPeek(f, OHFA_SEEK_PATH, L"/Image/Layer", &e, &err), 0);
    ohfa_FileClose(f, &err);
    std::ifstream in(Path("good.hfa"), std::ios::binary);
    const std::string good((std::istreambuf_iterator<char>(in)), {});

    struct Damage {
        const char *what;
        uint32_t offset;
        uint32_t value;
        const char *message;
    };
    const Damage damages[] = {
        {"width", 0, 200, "its store holds 12 blocks of 1024 bytes"},
        {"height", 4, 0, "must be at least 1"},
        {"pixel type", 8, 99, "unknown pixel type"},
        {"block width", 12, 0x40000000, "overflows 32 bits"},
        {"block width", 12, 0x100000, "larger than 16 MiB"},
        {"block height", 16, 31, "its store holds"},
        {"kind", 20, 7, "unknown layer kind"},
        {"cell", 24, 4, "cell size"},
    };
    for (const Damage &dm : damages) {
        SCOPED_TRACE(dm.what);
        std::string bad = good;
        for (int i = 0; i < 4; ++i)
            bad[e.data + dm.offset + i] = static_cast<char>(dm.value >> (8 * i));
        std::ofstream(Path("bad.hfa"), std::ios::binary | std::ios::trunc) << bad;
        f = ohfa_FileOpen(Name("bad.hfa").c_str(), L"r", 0, &err);
        ASSERT_NE(f, nullptr);
        EXPECT_EQ(oimg_LayerOpen(f, L"/Image/Layer", &err), nullptr);
        EXPECT_NE(Text(err).find(dm.message), std::string::npos) << Text(err);
        ohfa_FileClose(f, &err);
    }
    f = ohfa_FileOpen(Name("good.hfa").c_str(), L"r", 0, &err);
    // A file opened for reading refuses writes before anything is changed.
    layer = oimg_LayerOpen(f, L"/Image/Layer", &err);
    ASSERT_NE(layer, nullptr) << Text(err);
    EXPECT_EQ(oimg_LayerWriteWindow(layer, 0, 0, 80, 100, d.get(), &err), -1);
    EXPECT_EQ(oimg_LayerClose(layer, &err), 0);
    EXPECT_EQ(oimg_LayerOpen(f, L"/Image", &err), nullptr);
    EXPECT_NE(Text(err).find("is not a raster layer"), std::string::npos);
    EXPECT_EQ(oimg_LayerOpen(f, L"/Image/Nothing", &err), nullptr);
    EXPECT_NE(Text(err).find("not found"), std::string::npos);
    ohfa_FileClose(f, &err);
}

// A caller that passes no report pointer still gets the failure value, and the reports the
// failure made internally are freed (the leak check of the sanitizer build sees them).
TEST_F(ImgTest, FailuresWithoutAReportPointerReturnTheFailureValue) {
    Ohfa_File *f = NewFile("noreport.hfa");
    Oimg_LayerInfo info = Info(40, 30, OGDA_U8);
    Oimg_Layer *layer = oimg_LayerCreate(f, L"/Image", L"Layer", &info, nullptr);
    ASSERT_NE(layer, nullptr);
    Data d = Raster(10, 10, OGDA_U8);
    EXPECT_EQ(oimg_LayerReadWindow(layer, 25, 0, 10, 10, d.get(), nullptr), -1);
    EXPECT_EQ(oimg_LayerWriteWindow(layer, 0, 35, 10, 10, d.get(), nullptr), -1);
    EXPECT_EQ(oimg_ImageCreate(f, nullptr, L"Image", nullptr), -1);
    EXPECT_EQ(oimg_LayerOpen(f, L"/Image/Missing", nullptr), nullptr);
    EXPECT_EQ(oimg_LayerCreate(f, L"/Nowhere", L"Layer", &info, nullptr), nullptr);
    EXPECT_EQ(ohfa_FileOpen(Name("missing.hfa").c_str(), L"r", 0, nullptr), nullptr);
    EXPECT_EQ(oimg_LayerClose(layer, nullptr), 0);
    EXPECT_EQ(ohfa_FileClose(f, nullptr), 0);
}

} // namespace
