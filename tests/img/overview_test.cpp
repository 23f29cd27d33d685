// Overviews against levels computed here from the test's own pixel values: means (rounded
// for integers) for continuous layers, the most frequent value for thematic ones, no-data
// left out, odd edges reduced from fewer pixels; the best level for a scale.
#include <map>

#include "img_test_util.hpp"

namespace {

using namespace img_test;

using Grid = std::vector<std::vector<double>>;

// The next level of `g` (independent of the library): each pixel from its 2 x 2 window.
Grid Reduce(const Grid &g, bool thematic, bool hasNoData, double noData, bool integer) {
    const int h = static_cast<int>(g.size()), w = static_cast<int>(g[0].size());
    Grid out((h + 1) / 2, std::vector<double>((w + 1) / 2));
    for (int r = 0; r < (h + 1) / 2; ++r)
        for (int c = 0; c < (w + 1) / 2; ++c) {
            std::vector<double> v;
            for (int y = 2 * r; y < std::min(h, 2 * r + 2); ++y)
                for (int x = 2 * c; x < std::min(w, 2 * c + 2); ++x)
                    if (!(hasNoData && g[y][x] == noData)) v.push_back(g[y][x]);
            double result = hasNoData ? noData : 0;
            if (!v.empty() && thematic) {
                std::map<double, int> count;
                for (double x : v) ++count[x];
                int best = 0;
                for (double x : v)
                    if (count[x] > best) best = count[x], result = x;
            } else if (!v.empty()) {
                double sum = 0;
                for (double x : v) sum += x;
                result = sum / static_cast<double>(v.size());
                if (integer) result = std::round(result);
            }
            out[r][c] = result;
        }
    return out;
}

struct Case {
    int type;
    int kind;
    bool hasNoData;
};

class ImgOverview : public ImgTest, public ::testing::WithParamInterface<Case> {};

TEST_P(ImgOverview, LevelsMatchIndependentReduction) {
    const Case k = GetParam();
    const int W = 100, H = 70;
    Ohfa_File *f = NewFile("ov.hfa");
    Report err;
    Oimg_LayerInfo info = Info(W, H, k.type, 16, 16);
    info.layerKind = k.kind;
    info.hasNoData = k.hasNoData;
    info.noData = 3;
    Oimg_Layer *layer = oimg_LayerCreate(f, L"/Image", L"Layer", &info, &err);
    ASSERT_NE(layer, nullptr);
    // Few distinct values for the thematic case, so that the mode matters; some no-data.
    Grid base(H, std::vector<double>(W));
    Data d = Raster(H, W, OGDA_F64);
    for (int r = 0; r < H; ++r)
        for (int c = 0; c < W; ++c) {
            double v = k.kind == OIMG_THEMATIC ? (r / 3 + c % 4) % 5 : Value(k.type, r, c);
            if ((r * 7 + c) % 13 == 0) v = 3;
            base[r][c] = v;
            static_cast<double *>(d->data)[r * (d->lineBytes / 8) + c] = v;
        }
    ASSERT_EQ(oimg_LayerWrite(layer, d.get(), &err), 0) << Text(err);
    ASSERT_EQ(oimg_LayerBuildOverviews(layer, &err), 3) << Text(err);
    ASSERT_EQ(oimg_LayerOverviewCount(layer, &err), 3);

    Grid expect = base;
    const bool integer = k.type != OGDA_F32 && k.type != OGDA_F64;
    for (long factor = 2; factor <= 8; factor *= 2) {
        SCOPED_TRACE(factor);
        expect = Reduce(expect, k.kind == OIMG_THEMATIC, k.hasNoData, 3, integer);
        if (k.type == OGDA_F32)
            for (auto &row : expect)
                for (double &x : row) x = static_cast<float>(x);
        Oimg_Layer *level = oimg_LayerOverviewOpen(layer, factor, &err);
        ASSERT_NE(level, nullptr) << Text(err);
        const Oimg_LayerInfo *li = oimg_LayerInfoGet(level);
        ASSERT_EQ(li->height, static_cast<int32_t>(expect.size()));
        ASSERT_EQ(li->width, static_cast<int32_t>(expect[0].size()));
        EXPECT_EQ(li->pixelType, k.type);
        Data got(oimg_LayerRead(level, Raster(li->height, li->width, OGDA_F64).release(), &err));
        ASSERT_NE(got, nullptr) << Text(err);
        for (int r = 0; r < li->height; ++r)
            for (int c = 0; c < li->width; ++c)
                ASSERT_EQ(static_cast<double *>(got->data)[r * (got->lineBytes / 8) + c],
                          expect[r][c])
                    << r << ", " << c;
        oimg_LayerClose(level, &err);
    }
    // 13 x 9 fits in one 16 x 16 block: no fourth level.
    EXPECT_EQ(oimg_LayerOverviewOpen(layer, 16, &err), nullptr);
    EXPECT_EQ(oimg_LayerOverviewOpen(layer, 3, &err), nullptr);
    EXPECT_EQ(oimg_LayerOverviewFactor(layer, 0.5, &err), 1);
    EXPECT_EQ(oimg_LayerOverviewFactor(layer, 1.9, &err), 1);
    EXPECT_EQ(oimg_LayerOverviewFactor(layer, 2, &err), 2);
    EXPECT_EQ(oimg_LayerOverviewFactor(layer, 7.9, &err), 4);
    EXPECT_EQ(oimg_LayerOverviewFactor(layer, 1000, &err), 8);
    // Building again replaces the levels and gives their space back.
    const long size = ohfa_FileSize(f, &err);
    ASSERT_EQ(oimg_LayerBuildOverviews(layer, &err), 3) << Text(err);
    EXPECT_EQ(ohfa_FileSize(f, &err), size);
    ostr_StringList *paths = ohfa_ObjectList(f, L"/Image/Layer", &err);
    ASSERT_NE(paths, nullptr);
    int overviews = 0;
    for (int i = 0; i < paths->count; ++i)
        overviews += std::wstring(paths->strings[i]).find(L"Overview_") != std::wstring::npos &&
                     std::wstring(paths->strings[i]).find(L"Blocks") == std::wstring::npos;
    EXPECT_EQ(overviews, 3);
    ostr_StringListDelete(paths, nullptr);
    oimg_LayerClose(layer, &err);
    // Deleting the layer gives back the space of every level's blocks (all written).
    long blockBytes = 0;
    for (const wchar_t *p :
         {L"/Image/Layer/Blocks", L"/Image/Layer/Overview_2/Blocks",
          L"/Image/Layer/Overview_4/Blocks", L"/Image/Layer/Overview_8/Blocks"}) {
        Ohfa_Cache *c = ohfa_CacheOpen(f, p, &err);
        ASSERT_NE(c, nullptr) << Text(err);
        blockBytes += ohfa_CacheNodeGet(c)->bytecount;
        ohfa_CacheClose(c, &err);
    }
    const long freeBefore = ohfa_FileFreeSpaceSize(f, &err);
    ASSERT_EQ(oimg_LayerDelete(f, L"/Image/Layer", &err), 0) << Text(err);
    EXPECT_EQ(ohfa_EntryPeek(f, OHFA_SEEK_PATH, L"/Image/Layer", nullptr, &err), 0);
    EXPECT_GE(ohfa_FileFreeSpaceSize(f, &err) - freeBefore, blockBytes);
    ohfa_FileClose(f, &err);
}

INSTANTIATE_TEST_SUITE_P(
    Kinds, ImgOverview,
    ::testing::Values(Case{OGDA_U8, OIMG_CONTINUOUS, true}, Case{OGDA_U8, OIMG_CONTINUOUS, false},
                      Case{OGDA_U16, OIMG_CONTINUOUS, false}, Case{OGDA_U8, OIMG_THEMATIC, true},
                      Case{OGDA_S16, OIMG_CONTINUOUS, false}, Case{OGDA_U4, OIMG_THEMATIC, false},
                      Case{OGDA_F32, OIMG_CONTINUOUS, true}));

// The levels of a coded layer are coded as the layer is, hold what a plain layer's levels
// hold, and are replaced and deleted without leaking their blocks.
TEST_F(ImgTest, OverviewsOfACodedLayerUseItsCodec) {
    Ohfa_File *f = NewFile("ovc.hfa");
    Report err;
    Oimg_LayerInfo info = Info(100, 70, OGDA_U16, 16, 16);
    Oimg_LayerStorage storage;
    oimg_LayerStorageInit(&storage);
    storage.codec = OIMG_CODEC_DEFLATE;
    storage.predictor = OIMG_PREDICTOR_DIFFERENCE;
    Oimg_Layer *plain = oimg_LayerCreate(f, L"/Image", L"Plain", &info, &err);
    Oimg_Layer *coded = oimg_LayerCreateWithStorage(f, L"/Image", L"Coded", &info, &storage, &err);
    ASSERT_NE(coded, nullptr) << Text(err);
    Data d = Raster(70, 100, OGDA_U16);
    Fill(d.get(), 0, 0);
    for (Oimg_Layer *layer : {plain, coded}) {
        ASSERT_EQ(oimg_LayerWrite(layer, d.get(), &err), 0) << Text(err);
        ASSERT_EQ(oimg_LayerBuildOverviews(layer, &err), 3) << Text(err);
    }
    for (long factor = 2; factor <= 8; factor *= 2) {
        SCOPED_TRACE(factor);
        Oimg_Layer *a = oimg_LayerOverviewOpen(plain, factor, &err);
        Oimg_Layer *b = oimg_LayerOverviewOpen(coded, factor, &err);
        ASSERT_NE(b, nullptr) << Text(err);
        Oimg_LayerStorage got{};
        EXPECT_EQ(oimg_LayerStorageGet(b, &got, &err), 1);
        EXPECT_EQ(got.codec, OIMG_CODEC_DEFLATE);
        EXPECT_EQ(got.predictor, OIMG_PREDICTOR_DIFFERENCE);
        EXPECT_EQ(oimg_LayerStorageGet(a, &got, &err), 0);
        Data pa(oimg_LayerRead(a, nullptr, &err)), pb(oimg_LayerRead(b, nullptr, &err));
        ASSERT_NE(pb, nullptr) << Text(err);
        ASSERT_EQ(pa->numrows * pa->lineBytes, pb->numrows * pb->lineBytes);
        EXPECT_EQ(std::memcmp(pa->data, pb->data,
                              static_cast<std::size_t>(pa->numrows) *
                                  static_cast<std::size_t>(pa->lineBytes)),
                  0);
        oimg_LayerClose(a, &err);
        oimg_LayerClose(b, &err);
    }
    // A rebuild reuses the space the old levels gave back.
    const long size = ohfa_FileSize(f, &err);
    ASSERT_EQ(oimg_LayerBuildOverviews(coded, &err), 3) << Text(err);
    EXPECT_EQ(ohfa_FileSize(f, &err), size);
    oimg_LayerClose(plain, &err);
    oimg_LayerClose(coded, &err);
    ASSERT_EQ(oimg_LayerDelete(f, L"/Image/Coded", &err), 0) << Text(err);
    ASSERT_EQ(ohfa_FileClose(f, &err), 0) << Text(err);
    std::vector<std::wstring> lines;
    EXPECT_EQ(hfa_test::CheckLines(Name("ovc.hfa"), lines), 0) << hfa_test::Joined(lines);
    for (const auto &l : lines) EXPECT_EQ(l.find(L"Leaked"), std::wstring::npos);
}

TEST_F(ImgTest, OverviewsOfTextLayersAreRefused) {
    Ohfa_File *f = NewFile("text.hfa");
    Report err;
    Oimg_LayerInfo info = Info(200, 200, OGDA_STRING);
    Oimg_Layer *layer = oimg_LayerCreate(f, L"/Image", L"Text", &info, &err);
    EXPECT_EQ(oimg_LayerBuildOverviews(layer, &err), -1);
    EXPECT_NE(Text(err).find("holds text"), std::string::npos);
    oimg_LayerClose(layer, &err);
    ohfa_FileClose(f, &err);
}

} // namespace
