// Overviews built from rows handed over as they are written: the levels equal those built
// from the stored layer, whatever the pieces the rows come in; a build given too few rows or
// unfit rows leaves no levels behind.
#include <cstring>

#include "img_test_util.hpp"

namespace {

using namespace img_test;

struct PushCase {
    int type;
    int kind;
    bool hasNoData;
    int32_t piece; // rows handed over at a time
};

class ImgOverviewPush : public ImgTest, public ::testing::WithParamInterface<PushCase> {};

// Reads every level of both layers as f64 and compares them.
void ExpectSameLevels(Oimg_Layer *a, Oimg_Layer *b, long levels) {
    Report err;
    ASSERT_EQ(oimg_LayerOverviewCount(b, &err), levels);
    for (long k = 0, factor = 2; k < levels; ++k, factor *= 2) {
        SCOPED_TRACE(factor);
        Oimg_Layer *la = oimg_LayerOverviewOpen(a, factor, &err);
        Oimg_Layer *lb = oimg_LayerOverviewOpen(b, factor, &err);
        ASSERT_NE(lb, nullptr) << Text(err);
        const Oimg_LayerInfo *ia = oimg_LayerInfoGet(la), *ib = oimg_LayerInfoGet(lb);
        ASSERT_EQ(ia->width, ib->width);
        ASSERT_EQ(ia->height, ib->height);
        Data pa(oimg_LayerRead(la, Raster(ia->height, ia->width, OGDA_F64).release(), &err));
        Data pb(oimg_LayerRead(lb, Raster(ib->height, ib->width, OGDA_F64).release(), &err));
        ASSERT_NE(pb, nullptr) << Text(err);
        EXPECT_EQ(std::memcmp(pa->data, pb->data,
                              static_cast<std::size_t>(pa->numrows) *
                                  static_cast<std::size_t>(pa->lineBytes)),
                  0);
        oimg_LayerClose(la, &err);
        oimg_LayerClose(lb, &err);
    }
}

TEST_P(ImgOverviewPush, LevelsEqualThoseBuiltFromTheStoredLayer) {
    const PushCase k = GetParam();
    const int W = 101, H = 77; // odd: every level has a short last column and row
    Ohfa_File *f = NewFile("push.hfa");
    Report err;
    Oimg_LayerInfo info = Info(W, H, k.type, 16, 16);
    info.layerKind = k.kind;
    info.hasNoData = k.hasNoData;
    info.noData = 3;
    Oimg_Layer *stored = oimg_LayerCreate(f, L"/Image", L"Stored", &info, &err);
    Oimg_Layer *pushed = oimg_LayerCreate(f, L"/Image", L"Pushed", &info, &err);
    ASSERT_NE(pushed, nullptr) << Text(err);
    Data d = Raster(H, W, k.type);
    Fill(d.get(), 0, 0);
    ASSERT_EQ(oimg_LayerWrite(stored, d.get(), &err), 0) << Text(err);
    const long levels = oimg_LayerBuildOverviews(stored, &err);
    ASSERT_EQ(levels, 3) << Text(err);

    Oimg_OverviewBuild *build = oimg_OverviewBuildBegin(pushed, &err);
    ASSERT_NE(build, nullptr) << Text(err);
    for (int32_t r = 0; r < H; r += k.piece) {
        const int32_t n = std::min(k.piece, H - r);
        Data rows = Raster(n, W, k.type);
        ASSERT_EQ(oimg_LayerReadWindow(stored, r, 0, n, W, rows.get(), &err), 0) << Text(err);
        ASSERT_EQ(oimg_LayerWriteWindow(pushed, r, 0, n, W, rows.get(), &err), 0) << Text(err);
        ASSERT_EQ(oimg_OverviewBuildAddRows(build, rows.get(), &err), 0) << Text(err);
    }
    ASSERT_EQ(oimg_OverviewBuildEnd(build, &err), levels) << Text(err);
    ExpectSameLevels(stored, pushed, levels);
    oimg_LayerClose(stored, &err);
    oimg_LayerClose(pushed, &err);
    ASSERT_EQ(ohfa_FileClose(f, &err), 0) << Text(err);
}

INSTANTIATE_TEST_SUITE_P(Kinds, ImgOverviewPush,
                         ::testing::Values(PushCase{OGDA_U8, OIMG_CONTINUOUS, false, 16},
                                           PushCase{OGDA_U8, OIMG_CONTINUOUS, true, 7},
                                           PushCase{OGDA_U4, OIMG_THEMATIC, false, 33},
                                           PushCase{OGDA_S16, OIMG_THEMATIC, true, 1},
                                           PushCase{OGDA_F32, OIMG_CONTINUOUS, false, 77},
                                           PushCase{OGDA_C64, OIMG_CONTINUOUS, false, 20}));

// A build ended early, or fed rows of the wrong shape, leaves no levels that would read as
// complete, and an earlier set of levels is gone too (Begin replaced it).
TEST_F(ImgTest, AnUnfinishedPushBuildLeavesNoLevels) {
    Ohfa_File *f = NewFile("pushfail.hfa");
    Report err;
    Oimg_LayerInfo info = Info(100, 70, OGDA_U8, 16, 16);
    Oimg_Layer *layer = oimg_LayerCreate(f, L"/Image", L"Layer", &info, &err);
    Data d = Raster(70, 100, OGDA_U8);
    Fill(d.get(), 0, 0);
    ASSERT_EQ(oimg_LayerWrite(layer, d.get(), &err), 0) << Text(err);
    ASSERT_EQ(oimg_LayerBuildOverviews(layer, &err), 3) << Text(err);

    Data rows = Raster(10, 100, OGDA_U8);
    Oimg_OverviewBuild *build = oimg_OverviewBuildBegin(layer, &err);
    ASSERT_NE(build, nullptr) << Text(err);
    ASSERT_EQ(oimg_OverviewBuildAddRows(build, rows.get(), &err), 0) << Text(err);
    EXPECT_EQ(oimg_OverviewBuildEnd(build, &err), -1);
    EXPECT_NE(Text(err).find("10 of 70"), std::string::npos) << Text(err);
    EXPECT_EQ(oimg_LayerOverviewCount(layer, &err), 0);

    // Wrong pixel type, wrong width, too many rows: each refused, the build then takes no more.
    Data wide = Raster(10, 100, OGDA_U16), narrow = Raster(10, 99, OGDA_U8),
         tall = Raster(71, 100, OGDA_U8);
    for (Ogda_BaseData *bad : {wide.get(), narrow.get(), tall.get()}) {
        build = oimg_OverviewBuildBegin(layer, &err);
        ASSERT_NE(build, nullptr) << Text(err);
        EXPECT_EQ(oimg_OverviewBuildAddRows(build, bad, &err), -1);
        EXPECT_EQ(oimg_OverviewBuildAddRows(build, rows.get(), &err), -1);
        EXPECT_EQ(oimg_OverviewBuildEnd(build, &err), -1);
        EXPECT_EQ(oimg_LayerOverviewCount(layer, &err), 0);
    }
    EXPECT_EQ(oimg_OverviewBuildBegin(nullptr, &err), nullptr);
    EXPECT_EQ(oimg_OverviewBuildAddRows(nullptr, rows.get(), &err), -1);
    EXPECT_EQ(oimg_OverviewBuildEnd(nullptr, &err), -1);
    oimg_LayerClose(layer, &err);
    ASSERT_EQ(ohfa_FileClose(f, &err), 0) << Text(err);
    std::vector<std::wstring> lines;
    EXPECT_EQ(hfa_test::CheckLines(Name("pushfail.hfa"), lines), 0) << hfa_test::Joined(lines);
}

} // namespace
