// Statistics stored from counts made by the caller equal those computed by reading the layer:
// the statistics record, the histogram column and the table's bins, with and without bins set
// beforehand and with a no-data value left out; counts that cannot fit the layer are refused.
#include <cstring>

#include <orvik/odsc.h>
#include <orvik/osta.h>

#include "img/img_test_util.hpp"

namespace {

using img_test::Report;
using img_test::Text;

struct CountsCase {
    int type;
    bool hasNoData;
    bool presetBins; // the table holds direct bins 0..255 before the update
};

class LayerStatisticsCounts : public img_test::ImgTest,
                              public ::testing::WithParamInterface<CountsCase> {};

// A value of the type's range with a skewed spread, so mode and median are not trivial.
double Pixel(int type, int r, int c) {
    const int v = ((r * 131 + c * 71) ^ (r * c)) % 997;
    switch (type) {
    case OGDA_S8:
        return v % 200 - 100;
    case OGDA_U16:
        return v * 61 % 65536;
    case OGDA_S16:
        return v * 33 - 16000;
    default:
        return (v % 7 == 0) ? 3 : v % 256;
    }
}

std::vector<double> Column(Odsc_Table *t) {
    Report err;
    Osta_Histogram *h = osta_HistogramRead(t, nullptr, 0, odsc_TableGetNumRows(t), &err);
    EXPECT_NE(h, nullptr) << Text(err);
    if (!h) return {};
    const auto *p = static_cast<const double *>(h->table->data);
    std::vector<double> out(p, p + h->table->numelements);
    osta_HistogramDelete(h);
    return out;
}

TEST_P(LayerStatisticsCounts, EqualThoseComputedFromTheLayer) {
    const CountsCase k = GetParam();
    const int W = 90, H = 61;
    Ohfa_File *f = NewFile("counts.hfa");
    Report err;
    Oimg_LayerInfo info = img_test::Info(W, H, k.type, 32, 32);
    info.hasNoData = k.hasNoData;
    info.noData = 3;
    img_test::Data d = img_test::Raster(H, W, OGDA_F64);
    const int64_t lo = k.type == OGDA_S8 ? -128 : k.type == OGDA_S16 ? -32768 : 0;
    std::vector<uint64_t> counts(k.type == OGDA_U8 || k.type == OGDA_S8 ? 256 : 65536, 0);
    for (int r = 0; r < H; ++r)
        for (int c = 0; c < W; ++c) {
            const double v = Pixel(k.type, r, c);
            static_cast<double *>(d->data)[size_t(r) * (d->lineBytes / 8) + c] = v;
            ++counts[size_t(int64_t(v) - lo)];
        }
    for (const wchar_t *name : {L"Read", L"Counted"}) {
        Oimg_Layer *layer = oimg_LayerCreate(f, L"/Image", name, &info, &err);
        ASSERT_NE(layer, nullptr) << Text(err);
        ASSERT_EQ(oimg_LayerWrite(layer, d.get(), &err), 0) << Text(err);
        ASSERT_EQ(oimg_LayerClose(layer, &err), 0) << Text(err);
        if (!k.presetBins) continue;
        const std::wstring path = std::wstring(L"/Image/") + name;
        Odsc_Table *t = odsc_TableCreate(f, path.c_str(), 256, &err);
        Odsc_BinFunction *bins =
            odsc_BinFunctionCreate(256, ODSC_BIN_DIRECT, 0, 255, nullptr, &err);
        ASSERT_EQ(odsc_TableSetBinFunction(t, bins, &err), 0) << Text(err);
        odsc_BinFunctionDelete(bins);
        odsc_TableClose(t, &err);
    }
    Osta_Statistics read{}, counted{};
    ASSERT_EQ(osta_LayerStatisticsUpdate(f, L"/Image/Read", nullptr, nullptr, &read, &err), 0)
        << Text(err);
    ASSERT_EQ(osta_LayerStatisticsUpdateFromCounts(f, L"/Image/Counted", counts.data(),
                                                   int32_t(counts.size()), &counted, &err),
              0)
        << Text(err);
    EXPECT_EQ(std::memcmp(&read, &counted, sizeof read), 0);
    Osta_Statistics *stored = osta_StatisticsRead(f, L"/Image/Counted", nullptr, OMSC_FALSE, &err);
    ASSERT_NE(stored, nullptr) << Text(err);
    EXPECT_EQ(std::memcmp(stored, &read, sizeof read), 0);
    osta_StatisticsDelete(stored);
    if (k.hasNoData && k.type == OGDA_U8) {
        EXPECT_NE(read.mode, 3); // the commonest value is no-data, left out
    }

    Odsc_Table *a = odsc_TableOpen(f, L"/Image/Read", &err);
    Odsc_Table *b = odsc_TableOpen(f, L"/Image/Counted", &err);
    ASSERT_NE(b, nullptr) << Text(err);
    EXPECT_EQ(odsc_TableGetNumRows(a), odsc_TableGetNumRows(b));
    EXPECT_EQ(Column(a), Column(b));
    Odsc_BinFunction *ba = odsc_TableGetBinFunction(a, &err);
    Odsc_BinFunction *bb = odsc_TableGetBinFunction(b, &err);
    ASSERT_NE(bb, nullptr) << Text(err);
    EXPECT_EQ(ba->numBins, bb->numBins);
    EXPECT_EQ(ba->type, bb->type);
    EXPECT_EQ(ba->minLimit, bb->minLimit);
    EXPECT_EQ(ba->maxLimit, bb->maxLimit);
    odsc_BinFunctionDelete(ba);
    odsc_BinFunctionDelete(bb);
    odsc_TableClose(a, &err);
    odsc_TableClose(b, &err);
    ASSERT_EQ(ohfa_FileClose(f, &err), 0) << Text(err);
}

INSTANTIATE_TEST_SUITE_P(Types, LayerStatisticsCounts,
                         ::testing::Values(CountsCase{OGDA_U8, false, true},
                                           CountsCase{OGDA_U8, true, false},
                                           CountsCase{OGDA_S8, false, false},
                                           CountsCase{OGDA_U16, true, false},
                                           CountsCase{OGDA_S16, false, false}));

using CountsRefused = img_test::ImgTest;

TEST_F(CountsRefused, StatisticsFromCountsThatCannotFitTheLayerAreRefused) {
    Ohfa_File *f = NewFile("badcounts.hfa");
    Report err;
    for (int type : {OGDA_U8, OGDA_F32}) {
        Oimg_LayerInfo info = img_test::Info(10, 10, type);
        const std::wstring name = type == OGDA_U8 ? L"Bytes" : L"Reals";
        oimg_LayerClose(oimg_LayerCreate(f, L"/Image", name.c_str(), &info, &err), &err);
    }
    std::vector<uint64_t> counts(65536, 0), none(256, 0);
    counts[0] = 100;
    EXPECT_EQ(osta_LayerStatisticsUpdateFromCounts(f, L"/Image/Bytes", counts.data(), 65536,
                                                   nullptr, &err),
              -1);
    EXPECT_EQ(osta_LayerStatisticsUpdateFromCounts(f, L"/Image/Reals", counts.data(), 65536,
                                                   nullptr, &err),
              -1);
    EXPECT_EQ(
        osta_LayerStatisticsUpdateFromCounts(f, L"/Image/Bytes", none.data(), 256, nullptr, &err),
        -1); // nothing counted
    EXPECT_EQ(osta_LayerStatisticsUpdateFromCounts(f, L"/Image/Bytes", nullptr, 256, nullptr, &err),
              -1);
    EXPECT_EQ(osta_StatisticsRead(f, L"/Image/Bytes", nullptr, OMSC_FALSE, &err), nullptr);
    ASSERT_EQ(ohfa_FileClose(f, &err), 0) << Text(err);
}

} // namespace
