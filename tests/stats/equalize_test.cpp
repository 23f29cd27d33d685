// Histogram equalization and mapping a histogram through a LUT.
#include <climits>

#include "ohst_test_util.hpp"

namespace {

std::vector<uint32_t> Counts(const Ohst_Histogram *h) {
    return {h->counts, h->counts + (h->maxValue - h->minValue + 1)};
}

TEST(HistogramEqualize, FlatHistogramWithAllLevelsIsTheIdentity) {
    HistogramPtr h = MakeHistogram(0, std::vector<uint32_t>(256, 1));
    LutPtr lut = MakeLut(255, 255, {});
    ASSERT_EQ(ohst_HistogramEqualize(h.get(), lut.get(), 256), 0);
    for (int32_t x = 0; x <= 255; ++x) {
        ASSERT_EQ(lut->table[x], x);
    }
}

TEST(HistogramEqualize, LevelsTakeEqualSharesAndSpanTheOutput) {
    HistogramPtr h = MakeHistogram(0, std::vector<uint32_t>(256, 3));
    LutPtr lut = MakeLut(255, 255, {});
    ASSERT_EQ(ohst_HistogramEqualize(h.get(), lut.get(), 4), 0);
    for (int32_t x = 0; x <= 255; ++x) {
        ASSERT_EQ(lut->table[x], (x / 64) * 85) << x;
    }
}

TEST(HistogramEqualize, HeavyValueLandsOnTheMiddleOfItsShare) {
    // Target 2.5 per level: value 2 holds everything, its middle (5) falls on level 2.
    HistogramPtr h = MakeHistogram(0, {0, 0, 10, 0});
    LutPtr lut = MakeLut(3, 3, {});
    ASSERT_EQ(ohst_HistogramEqualize(h.get(), lut.get(), 4), 0);
    EXPECT_EQ(Table(lut.get()), (std::vector<int32_t>{0, 0, 2, 3}));

    // Skewed data: the dense low values are spread out, the sparse high ones compressed.
    HistogramPtr skewed = MakeHistogram(0, {40, 30, 20, 5, 3, 1, 1, 0});
    LutPtr out = MakeLut(7, 7, {});
    ASSERT_EQ(ohst_HistogramEqualize(skewed.get(), out.get(), 8), 0);
    EXPECT_EQ(Table(out.get()), (std::vector<int32_t>{1, 4, 6, 7, 7, 7, 7, 7}));
}

TEST(HistogramEqualize, CountsOutsideTheTableStillTakeTheirShare) {
    // Values -2 and 0..1: the 8 counts below zero already fill level 0.
    HistogramPtr h = MakeHistogram(-2, {8, 0, 4, 8});
    LutPtr lut = MakeLut(1, 10, {});
    ASSERT_EQ(ohst_HistogramEqualize(h.get(), lut.get(), 2), 0);
    EXPECT_EQ(Table(lut.get()), (std::vector<int32_t>{10, 10}));

    // A histogram that covers only part of the table leaves the rest on the outer levels.
    HistogramPtr narrow = MakeHistogram(2, {5, 5});
    LutPtr wide = MakeLut(5, 100, {});
    ASSERT_EQ(ohst_HistogramEqualize(narrow.get(), wide.get(), 3), 0);
    EXPECT_EQ(Table(wide.get()), (std::vector<int32_t>{0, 0, 0, 100, 100, 100}));
}

TEST(HistogramEqualize, SingleLevelAndBadArguments) {
    HistogramPtr h = MakeHistogram(0, {1, 2, 3});
    LutPtr lut = MakeLut(2, 9, {});
    lut->table[1] = 6;
    EXPECT_EQ(ohst_HistogramEqualize(h.get(), lut.get(), 0), -1);
    EXPECT_EQ(ohst_HistogramEqualize(nullptr, lut.get(), 2), -1);
    EXPECT_EQ(ohst_HistogramEqualize(h.get(), nullptr, 2), -1);
    HistogramPtr empty = MakeHistogram(0, {0, 0, 0});
    EXPECT_EQ(ohst_HistogramEqualize(empty.get(), lut.get(), 2), -1);
    EXPECT_EQ(Table(lut.get()), (std::vector<int32_t>{0, 6, 0}));

    ASSERT_EQ(ohst_HistogramEqualize(h.get(), lut.get(), 1), 0);
    EXPECT_EQ(Table(lut.get()), (std::vector<int32_t>{0, 0, 0}));
}

TEST(MapHistogramThruLUT, MovesEachCountToItsOutputValue) {
    HistogramPtr h = MakeHistogram(0, {1, 2, 3, 4});
    LutPtr lut = MakeLut(3, 1, {});
    const int32_t table[] = {0, 0, 1, 1};
    std::copy(std::begin(table), std::end(table), lut->table);
    Oerr_ErrorReport *err = nullptr;
    HistogramPtr out(ohst_MapHistogramThruLUT(h.get(), lut.get(), nullptr, &err));
    ASSERT_NE(out, nullptr);
    EXPECT_EQ(out->minValue, 0);
    EXPECT_EQ(out->maxValue, 1);
    EXPECT_EQ(Counts(out.get()), (std::vector<uint32_t>{3, 7}));

    // Values beyond the table use its nearest entry.
    HistogramPtr wide = MakeHistogram(-1, {10, 0, 0, 0, 0, 20});
    lut->table[0] = 1;
    lut->table[3] = 0;
    out.reset(ohst_MapHistogramThruLUT(wide.get(), lut.get(), nullptr, &err));
    EXPECT_EQ(Counts(out.get()), (std::vector<uint32_t>{20, 10}));
}

TEST(MapHistogramThruLUT, GivenDestinationKeepsItsRangeAndSumsSaturate) {
    HistogramPtr h = MakeHistogram(0, {3000000000u, 3000000000u, 5});
    LutPtr lut = MakeLut(2, 4, {});
    const int32_t table[] = {2, 2, 4};
    std::copy(std::begin(table), std::end(table), lut->table);
    HistogramPtr destination = MakeHistogram(1, {9, 9}); // values 1 and 2
    Oerr_ErrorReport *err = nullptr;
    EXPECT_EQ(ohst_MapHistogramThruLUT(h.get(), lut.get(), destination.get(), &err),
              destination.get());
    EXPECT_EQ(Counts(destination.get()), (std::vector<uint32_t>{0, UINT32_MAX}));
}

TEST(MapHistogramThruLUT, ReportsEachBadArgument) {
    HistogramPtr h = MakeHistogram(0, {1});
    LutPtr lut = MakeLut(0, 0, {});
    Oerr_ErrorReport *err = nullptr;
    EXPECT_EQ(ohst_MapHistogramThruLUT(nullptr, lut.get(), nullptr, &err), nullptr);
    ExpectReport(err, L"ohst_MapHistogramThruLUT", 1, L"Bad histogram");
    EXPECT_EQ(ohst_MapHistogramThruLUT(h.get(), nullptr, nullptr, &err), nullptr);
    ExpectReport(err, L"ohst_MapHistogramThruLUT", 2, L"Bad LUT");
    EXPECT_EQ(ohst_MapHistogramThruLUT(h.get(), lut.get(), h.get(), &err), nullptr);
    ExpectReport(err, L"ohst_MapHistogramThruLUT", 3, L"Bad destination histogram");

    // An output range too large for a histogram: the creation's report is kept underneath.
    lut->outMax = INT32_MAX;
    EXPECT_EQ(ohst_MapHistogramThruLUT(h.get(), lut.get(), nullptr, &err), nullptr);
    ASSERT_NE(err, nullptr);
    ASSERT_NE(err->next, nullptr);
    EXPECT_STREQ(err->next->function, L"ohst_HistogramCreate");
    EXPECT_EQ(err->next->number, 1);
    ExpectReport(err, L"ohst_MapHistogramThruLUT", 4, L"ohst_HistogramCreate failed");
}

} // namespace
