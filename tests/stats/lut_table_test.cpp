// Breakpoints to table, ramps and table to breakpoints.
#include <climits>
#include <cmath>
#include <random>

#include "ohst_test_util.hpp"

namespace {

using orvik::core::testing::ScopedAllocationFailure;
using P = Ohst_BreakPoint;

std::vector<int32_t> Fill(int32_t inMax, int32_t outMax, const std::vector<P> &points) {
    LutPtr lut = MakeLut(inMax, outMax, points);
    Oerr_ErrorReport *err = nullptr;
    EXPECT_EQ(ohst_BreakPointsToTable(lut.get(), &err), 0);
    EXPECT_EQ(err, nullptr);
    return Table(lut.get());
}

TEST(BreakPointsToTable, EndPointsGiveTheIdentity) {
    const std::vector<int32_t> table = Fill(255, 255, {{0, 0}, {255, 255}});
    for (int32_t x = 0; x <= 255; ++x) {
        ASSERT_EQ(table[x], x);
    }
}

// Half up applies to the double-precision value: 255 - 122 * (255 / 244.0) is just below
// 127.5, so the entry is 127 and not the 128 of exact arithmetic.
TEST(BreakPointsToTable, RoundsTheComputedValueNotTheExactOne) {
    const std::vector<int32_t> table = Fill(255, 255, {{0, 255}, {244, 0}});
    EXPECT_EQ(table[122], 127);
    EXPECT_EQ(table[61], 191); // 191.25
    EXPECT_EQ(table[244], 0);
}

TEST(BreakPointsToTable, HoldsEndsAndClampsAboveOutMax) {
    const std::vector<int32_t> table = Fill(30, 80, {{10, 50}, {20, 100}});
    std::vector<int32_t> expected(31, 80);
    for (int x = 0; x <= 10; ++x) {
        expected[x] = 50;
    }
    for (int x = 11; x <= 15; ++x) {
        expected[x] = 50 + 5 * (x - 10);
    }
    EXPECT_EQ(table, expected);
    EXPECT_EQ(table[15], 75);
}

TEST(BreakPointsToTable, NegativeOutputsBecomeZero) {
    EXPECT_EQ(Fill(10, 100, {{0, -20}, {10, 80}}),
              (std::vector<int32_t>{0, 0, 0, 10, 20, 30, 40, 50, 60, 70, 80}));
    EXPECT_EQ(Fill(3, 100, {{1, -7}}), (std::vector<int32_t>{0, 0, 0, 0}));
}

TEST(BreakPointsToTable, RoundsHalfUp) {
    // Between (0, 10) and (4, 8) the line passes 9.5 and 8.5: half up gives 10 and 9, where
    // truncation or rounding half to even would give other tables.
    EXPECT_EQ(Fill(4, 20, {{0, 10}, {4, 8}}), (std::vector<int32_t>{10, 10, 9, 9, 8}));
    EXPECT_EQ(Fill(4, 20, {{0, 0}, {4, 2}}), (std::vector<int32_t>{0, 1, 1, 2, 2}));
}

TEST(BreakPointsToTable, SinglePointFillsEverything) {
    EXPECT_EQ(Fill(5, 10, {{3, 7}}), (std::vector<int32_t>(6, 7)));
    EXPECT_EQ(Fill(5, 10, {{-30, 4}}), (std::vector<int32_t>(6, 4)));
    EXPECT_EQ(Fill(5, 10, {{900, 2}}), (std::vector<int32_t>(6, 2)));
}

TEST(BreakPointsToTable, PairWithEqualXIsSkipped) {
    // Only a hand-built list can hold two points with one x; the second one's segment wins.
    LutPtr lut = MakeLut(10, 100, {});
    const P points[] = {{0, 0}, {5, 10}, {5, 90}, {10, 100}};
    lut->breakPoints = static_cast<P *>(omsc_HeapMalloc(sizeof points));
    lut->nBreakPoints = 4;
    std::copy(std::begin(points), std::end(points), lut->breakPoints);
    Oerr_ErrorReport *err = nullptr;
    ASSERT_EQ(ohst_BreakPointsToTable(lut.get(), &err), 0);
    EXPECT_EQ(Table(lut.get()), (std::vector<int32_t>{0, 2, 4, 6, 8, 90, 92, 94, 96, 98, 100}));
}

TEST(BreakPointsToTable, PointsOutsideTheTableOnlyShapeTheLine) {
    EXPECT_EQ(Fill(4, 255, {{-100, 0}, {100, 200}}),
              (std::vector<int32_t>{100, 101, 102, 103, 104}));
    // The whole 32-bit span between the points costs no more than the table's own length.
    EXPECT_EQ(Fill(4, 255, {{INT32_MIN, 0}, {INT32_MAX, 255}}), (std::vector<int32_t>(5, 128)));
    EXPECT_EQ(Fill(4, INT32_MAX, {{INT32_MIN, INT32_MIN}, {INT32_MAX, INT32_MAX}}),
              (std::vector<int32_t>{0, 1, 2, 3, 4}));
}

TEST(BreakPointsToTable, ReportsBadLutAndMissingPoints) {
    Oerr_ErrorReport *err = nullptr;
    EXPECT_EQ(ohst_BreakPointsToTable(nullptr, &err), -1);
    ExpectReport(err, L"ohst_BreakPointsToTable", 1, L"Bad LUT");

    LutPtr lut = MakeLut(3, 9, {});
    lut->table[2] = 7;
    EXPECT_EQ(ohst_BreakPointsToTable(lut.get(), &err), -1);
    ExpectReport(err, L"ohst_BreakPointsToTable", 2, L"The LUT has no breakpoints");
    EXPECT_EQ(Table(lut.get()), (std::vector<int32_t>{0, 0, 7, 0}));

    lut->nBreakPoints = 3; // claims points it does not have
    EXPECT_EQ(ohst_BreakPointsToTable(lut.get(), &err), -1);
    ExpectReport(err, L"ohst_BreakPointsToTable", 1, L"Bad LUT");
    lut->nBreakPoints = 0;
}

TEST(SetRamp, StretchesBetweenTheEndsAndHoldsOutside) {
    LutPtr lut = MakeLut(255, 255, {{7, 7}});
    Oerr_ErrorReport *err = nullptr;
    ASSERT_EQ(ohst_SetRamp(lut.get(), 64, 0, 192, 255, &err), 0);
    EXPECT_EQ(lut->table[0], 0);
    EXPECT_EQ(lut->table[64], 0);
    EXPECT_EQ(lut->table[65], 2);
    EXPECT_EQ(lut->table[128], 128); // 127.5 rounds up
    EXPECT_EQ(lut->table[192], 255);
    EXPECT_EQ(lut->table[255], 255);
    EXPECT_EQ(Points(lut.get()), (std::vector<P>{{7, 7}})); // points untouched

    ASSERT_EQ(ohst_SetRamp(lut.get(), 0, 255, 255, 0, &err), 0);
    for (int32_t x = 0; x <= 255; ++x) {
        ASSERT_EQ(lut->table[x], 255 - x);
    }
    // Equal ends make a threshold.
    ASSERT_EQ(ohst_SetRamp(lut.get(), 128, 10, 128, 200, &err), 0);
    EXPECT_EQ(lut->table[127], 10);
    EXPECT_EQ(lut->table[128], 200);
}

TEST(SetRamp, RampToBreakPointsProducesTheSameTable) {
    const int32_t ramps[][4] = {{50, 0, 150, 255},
                                {0, 255, 255, 0},
                                {-40, 10, 300, 240},
                                {90, 0, 90, 255},
                                {3, -50, 9, 400}};
    for (const auto &r : ramps) {
        LutPtr direct = MakeLut(255, 255, {});
        LutPtr viaPoints = MakeLut(255, 255, {{1, 1}, {2, 2}, {3, 3}});
        Oerr_ErrorReport *err = nullptr;
        ASSERT_EQ(ohst_SetRamp(direct.get(), r[0], r[1], r[2], r[3], &err), 0);
        ASSERT_EQ(ohst_RampToBreakPoints(viaPoints.get(), r[0], r[1], r[2], r[3], &err), 2);
        EXPECT_EQ(Points(viaPoints.get()), (std::vector<P>{{r[0], r[1]}, {r[2], r[3]}}));
        ASSERT_EQ(ohst_BreakPointsToTable(viaPoints.get(), &err), 0);
        EXPECT_EQ(Table(direct.get()), Table(viaPoints.get())) << r[0] << " " << r[2];
    }
}

TEST(SetRamp, ReportsBadArgumentsAndExhaustion) {
    LutPtr lut = MakeLut(10, 10, {{4, 4}});
    Oerr_ErrorReport *err = nullptr;
    EXPECT_EQ(ohst_SetRamp(lut.get(), 6, 0, 5, 10, &err), -1);
    ExpectReport(err, L"ohst_SetRamp", 2, L"Bad ramp: inLow 6 is above inHigh 5");
    EXPECT_EQ(ohst_RampToBreakPoints(nullptr, 0, 0, 1, 1, &err), -1);
    ExpectReport(err, L"ohst_RampToBreakPoints", 1, L"Bad LUT");
    {
        ScopedAllocationFailure fail(1);
        EXPECT_EQ(ohst_RampToBreakPoints(lut.get(), 0, 0, 10, 10, &err), -1);
    }
    ExpectReport(err, L"ohst_RampToBreakPoints", 5, L"Out of memory");
    EXPECT_EQ(Points(lut.get()), (std::vector<P>{{4, 4}}));
}

// Rebuilds the table from the breakpoints TableToBreakPoints found and compares.
void ExpectRoundTrip(Ohst_LUT *lut) {
    const std::vector<int32_t> original = Table(lut);
    Oerr_ErrorReport *err = nullptr;
    const int32_t count = ohst_TableToBreakPoints(lut, &err);
    ASSERT_EQ(err, nullptr);
    ASSERT_GE(count, 1);
    ASSERT_EQ(count, lut->nBreakPoints);
    EXPECT_EQ(lut->breakPoints[0].x, 0);
    EXPECT_EQ(lut->breakPoints[count - 1].x, lut->inMax);
    std::fill(lut->table, lut->table + lut->inMax + 1, -1);
    ASSERT_EQ(ohst_BreakPointsToTable(lut, &err), 0);
    EXPECT_EQ(Table(lut), original);
}

TEST(TableToBreakPoints, FindsTheCornersOfAPiecewiseLinearTable) {
    LutPtr identity = MakeLut(255, 255, {{0, 0}, {255, 255}});
    Oerr_ErrorReport *err = nullptr;
    ohst_BreakPointsToTable(identity.get(), &err);
    ASSERT_EQ(ohst_TableToBreakPoints(identity.get(), &err), 2);
    EXPECT_EQ(Points(identity.get()), (std::vector<P>{{0, 0}, {255, 255}}));

    LutPtr clamped = MakeLut(30, 80, {{10, 50}, {20, 100}});
    ohst_BreakPointsToTable(clamped.get(), &err);
    // The clamp at 80 lets the rising segment end where the table first reaches 80.
    ASSERT_EQ(ohst_TableToBreakPoints(clamped.get(), &err), 4);
    EXPECT_EQ(Points(clamped.get()), (std::vector<P>{{0, 50}, {10, 50}, {16, 80}, {30, 80}}));
    ExpectRoundTrip(clamped.get());

    LutPtr single = MakeLut(0, 9, {{0, 4}});
    ohst_BreakPointsToTable(single.get(), &err);
    ASSERT_EQ(ohst_TableToBreakPoints(single.get(), &err), 1);
    EXPECT_EQ(Points(single.get()), (std::vector<P>{{0, 4}}));
}

TEST(TableToBreakPoints, RebuildsArbitraryTablesExactly) {
    std::mt19937 rng(20260522);
    for (int round = 0; round < 60; ++round) {
        const int32_t inMax = std::uniform_int_distribution<int32_t>(1, 700)(rng);
        const int32_t outMax = std::uniform_int_distribution<int32_t>(0, round % 3 ? 255 : 3)(rng);
        LutPtr lut = MakeLut(inMax, outMax, {});
        // Random walks with long straight stretches, noise and saturation.
        int32_t v = std::uniform_int_distribution<int32_t>(0, outMax)(rng);
        int32_t step = 0;
        for (int32_t x = 0; x <= inMax; ++x) {
            if (std::uniform_int_distribution<int>(0, 15)(rng) == 0) {
                step = std::uniform_int_distribution<int32_t>(-4, 4)(rng);
            }
            v = std::clamp(v + step + std::uniform_int_distribution<int32_t>(0, 1)(rng), 0, outMax);
            lut->table[x] = v;
        }
        ExpectRoundTrip(lut.get());
    }
}

TEST(TableToBreakPoints, SmoothCurveNeedsFewPoints) {
    LutPtr lut = MakeLut(4095, 255, {});
    for (int32_t x = 0; x <= 4095; ++x) {
        lut->table[x] = static_cast<int32_t>(std::lround(255 * std::pow(x / 4095.0, 0.45)));
    }
    Oerr_ErrorReport *err = nullptr;
    const int32_t count = ohst_TableToBreakPoints(lut.get(), &err);
    EXPECT_GT(count, 2);
    EXPECT_LT(count, 200) << count;
    ExpectRoundTrip(lut.get());
}

TEST(TableToBreakPoints, LongClampedRunsStayCheap) {
    // Every entry after the first sits at the clamp, which bounds the slope from one side
    // only: the search from the first point must not walk the whole run for every point.
    LutPtr lut = MakeLut(OHST_MAX_ENTRIES - 1, 255, {});
    std::fill(lut->table + 1, lut->table + OHST_MAX_ENTRIES, 255);
    lut->table[OHST_MAX_ENTRIES / 2] = 254;
    ExpectRoundTrip(lut.get());
    EXPECT_LE(lut->nBreakPoints, 6);
}

TEST(TableToBreakPoints, ClampsStrayEntriesFirst) {
    LutPtr lut = MakeLut(3, 10, {});
    const int32_t values[] = {-5, 4, 99, 10};
    std::copy(std::begin(values), std::end(values), lut->table);
    Oerr_ErrorReport *err = nullptr;
    ASSERT_GE(ohst_TableToBreakPoints(lut.get(), &err), 1);
    ASSERT_EQ(ohst_BreakPointsToTable(lut.get(), &err), 0);
    EXPECT_EQ(Table(lut.get()), (std::vector<int32_t>{0, 4, 10, 10}));
}

TEST(TableToBreakPoints, FailureLeavesThePointsAlone) {
    LutPtr lut = MakeLut(10, 10, {{2, 3}});
    Oerr_ErrorReport *err = nullptr;
    {
        ScopedAllocationFailure fail(1);
        EXPECT_EQ(ohst_TableToBreakPoints(lut.get(), &err), -1);
    }
    ExpectReport(err, L"ohst_TableToBreakPoints", 5, L"Out of memory");
    EXPECT_EQ(Points(lut.get()), (std::vector<P>{{2, 3}}));
    lut->inMax = -1;
    EXPECT_EQ(ohst_TableToBreakPoints(lut.get(), &err), -1);
    ExpectReport(err, L"ohst_TableToBreakPoints", 1, L"Bad LUT");
    lut->inMax = 10;
}

} // namespace
