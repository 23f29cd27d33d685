// The rules every per-bin column writer applies before touching the table.
#include "osta_test_util.hpp"
#include "stats/bin_columns.hpp"

namespace {

using namespace orvik::stats;

TEST(BinColumns, ToTheEndOfTheTableAndTheOrderOfChecks) {
    Oerr_ErrorReport *err = nullptr;
    // -1 runs to the end: from bin 10 of 256 rows, 246 rows.
    EXPECT_EQ(ResolveBinRows(kColorColumn, L"w", 10, -1, 256, &err), 246);
    EXPECT_EQ(err, nullptr);
    EXPECT_EQ(ResolveBinRows(kColorColumn, L"w", 10, 5, 256, &err), 5);
    EXPECT_EQ(ResolveBinRows(kColorColumn, L"w", 0, 0, 256, &err), -1);
    ExpectReport(err, L"w", 2, L"Negative number of bins requested from color table:  0");
    EXPECT_EQ(ResolveBinRows(kColorColumn, L"w", 0, -2, 256, &err), -1);
    ExpectReport(err, L"w", 2, L"Negative number of bins requested from color table:  -2");
    // The start bin is looked at before the count.
    EXPECT_EQ(ResolveBinRows(kColorColumn, L"w", -1, 0, 256, &err), -1);
    ExpectReport(err, L"w", 1, L"Invalid starting bin for color table:  -1");
    EXPECT_EQ(ResolveBinRows(kHistogramColumn, L"h", -3, 1, 256, &err), -1);
    ExpectReport(err, L"h", 1, L"Invalid starting bin for histogram:  -3");
    // Nothing left after the start bin.
    EXPECT_EQ(ResolveBinRows(kHistogramColumn, L"h", 256, -1, 256, &err), -1);
    ExpectReport(err, L"h", 2, L"Non-positive number of bins requested from histogram:  0");
}

TEST(BinColumns, OpacityFallsBackToAnOverlayColumn) {
    EXPECT_STREQ(ColorColumnName(OSTA_RED, false, false), L"Red");
    EXPECT_STREQ(ColorColumnName(OSTA_BLUE, false, true), L"Blue");
    EXPECT_STREQ(ColorColumnName(OSTA_OPACITY, false, false), L"Opacity");
    EXPECT_STREQ(ColorColumnName(OSTA_OPACITY, false, true), L"Overlay");
    EXPECT_STREQ(ColorColumnName(OSTA_OPACITY, true, true), L"Opacity");
    EXPECT_EQ(ColorColumnName(4, true, true), nullptr);
}

} // namespace
