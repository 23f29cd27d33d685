// LUT and histogram records: create, copy, delete, clip, largest count.
#include <climits>

#include "ohst_test_util.hpp"

namespace {

using P = Ohst_BreakPoint;

TEST(LUTCreate, AllocatesZeroedTableAndPoints) {
    Oerr_ErrorReport *err = nullptr;
    LutPtr lut(ohst_LUTCreate(9, 200, 3, &err));
    ASSERT_NE(lut, nullptr);
    EXPECT_EQ(err, nullptr);
    EXPECT_EQ(lut->inMax, 9);
    EXPECT_EQ(lut->outMax, 200);
    EXPECT_EQ(Table(lut.get()), std::vector<int32_t>(10, 0));
    EXPECT_EQ(Points(lut.get()), (std::vector<P>(3, P{0, 0})));

    LutPtr bare(ohst_LUTCreate(0, 0, 0, &err));
    ASSERT_NE(bare, nullptr);
    EXPECT_EQ(bare->breakPoints, nullptr);
    EXPECT_EQ(Table(bare.get()), std::vector<int32_t>{0});
}

TEST(LUTCreate, ReportsBadSizesWithoutAllocating) {
    Oerr_ErrorReport *err = nullptr;
    EXPECT_EQ(ohst_LUTCreate(-1, 10, 0, &err), nullptr);
    ExpectReport(err, L"ohst_LUTCreate", 1, L"Bad inMax -1 (0 to 16777215 allowed)");
    EXPECT_EQ(ohst_LUTCreate(INT32_MAX, 10, 0, &err), nullptr);
    ExpectReport(err, L"ohst_LUTCreate", 1, L"Bad inMax 2147483647 (0 to 16777215 allowed)");
    EXPECT_EQ(ohst_LUTCreate(10, -3, 0, &err), nullptr);
    ExpectReport(err, L"ohst_LUTCreate", 2, L"Bad outMax -3");
    EXPECT_EQ(ohst_LUTCreate(10, 10, -1, &err), nullptr);
    ExpectReport(err, L"ohst_LUTCreate", 3,
                 L"Bad number of breakpoints -1 (0 to 16777216 allowed)");
    EXPECT_EQ(ohst_LUTCreate(10, 10, OHST_MAX_ENTRIES + 1, &err), nullptr);
    ExpectReport(err, L"ohst_LUTCreate", 3, nullptr);
}

TEST(LUTCreate, EveryAllocationFailureIsReportedAndLeaksNothing) {
    LutPtr lut;
    const int rounds = SweepAllocationFailures(
        L"ohst_LUTCreate",
        [&](Oerr_ErrorReport **err) { lut.reset(ohst_LUTCreate(20, 20, 2, err)); },
        [&] { return lut == nullptr; });
    EXPECT_EQ(rounds, 3);
    ASSERT_NE(lut, nullptr);
}

TEST(LUTCopy, CopiesIntoNewOrExistingLut) {
    LutPtr source = MakeLut(5, 50, {{1, 10}, {4, 40}});
    Oerr_ErrorReport *err = nullptr;
    ASSERT_EQ(ohst_BreakPointsToTable(source.get(), &err), 0);

    LutPtr fresh(ohst_LUTCopy(source.get(), nullptr, &err));
    ASSERT_NE(fresh, nullptr);
    EXPECT_EQ(Table(fresh.get()), Table(source.get()));
    EXPECT_EQ(Points(fresh.get()), Points(source.get()));
    EXPECT_NE(fresh->table, source->table);
    EXPECT_NE(fresh->breakPoints, source->breakPoints);
    EXPECT_EQ(fresh->outMax, 50);

    LutPtr other = MakeLut(300, 7, {{1, 1}, {2, 2}, {3, 3}});
    EXPECT_EQ(ohst_LUTCopy(source.get(), other.get(), &err), other.get());
    EXPECT_EQ(other->inMax, 5);
    EXPECT_EQ(Table(other.get()), Table(source.get()));
    EXPECT_EQ(Points(other.get()), Points(source.get()));

    EXPECT_EQ(ohst_LUTCopy(source.get(), source.get(), &err), source.get());
    EXPECT_EQ(err, nullptr);
}

TEST(LUTCopy, FailureLeavesTheDestinationUnchanged) {
    LutPtr source = MakeLut(5, 50, {{1, 10}, {4, 40}});
    LutPtr destination = MakeLut(2, 9, {{2, 9}});
    const int32_t *oldTable = destination->table;
    const int rounds = SweepAllocationFailures(
        L"ohst_LUTCopy",
        [&](Oerr_ErrorReport **err) { ohst_LUTCopy(source.get(), destination.get(), err); },
        [&] {
            return destination->inMax == 2 && destination->table == oldTable &&
                   Points(destination.get()) == std::vector<P>{{2, 9}};
        });
    EXPECT_EQ(rounds, 2);
    EXPECT_EQ(destination->inMax, 5);

    Oerr_ErrorReport *err = nullptr;
    EXPECT_EQ(ohst_LUTCopy(nullptr, destination.get(), &err), nullptr);
    ExpectReport(err, L"ohst_LUTCopy", 1, L"Bad source LUT");
    ohst_LUTDelete(nullptr);
}

TEST(LUTClip, MovesPointsIntoTheBoxAndKeepsTheLeastMoved) {
    LutPtr lut = MakeLut(100, 255, {});
    const P raw[] = {{150, -3}, {-20, 10}, {50, 300}, {120, 90}, {-5, 40}};
    lut->breakPoints = static_cast<P *>(omsc_HeapMalloc(sizeof raw));
    lut->nBreakPoints = 5;
    std::copy(std::begin(raw), std::end(raw), lut->breakPoints);
    Oerr_ErrorReport *err = nullptr;
    EXPECT_EQ(ohst_LUTClip(lut.get(), &err), 3);
    EXPECT_EQ(err, nullptr);
    EXPECT_EQ(Points(lut.get()), (std::vector<P>{{0, 40}, {50, 255}, {100, 90}}));

    // A point already on the edge beats any point pushed onto it.
    LutPtr edge = MakeLut(10, 10, {{-1, 1}, {0, 2}, {10, 3}, {11, 4}});
    EXPECT_EQ(ohst_LUTClip(edge.get(), &err), 2);
    EXPECT_EQ(Points(edge.get()), (std::vector<P>{{0, 2}, {10, 3}}));

    // A list already inside is unchanged.
    LutPtr inside = MakeLut(10, 10, {{0, 0}, {5, 9}, {10, 10}});
    EXPECT_EQ(ohst_LUTClip(inside.get(), &err), 3);
    EXPECT_EQ(Points(inside.get()), (std::vector<P>{{0, 0}, {5, 9}, {10, 10}}));

    EXPECT_EQ(ohst_LUTClip(nullptr, &err), -1);
    ExpectReport(err, L"ohst_LUTClip", 1, L"Bad LUT");
}

TEST(HistogramCreate, CoversZeroToNBinsMinusOne) {
    Oerr_ErrorReport *err = nullptr;
    HistogramPtr h(ohst_HistogramCreate(4, &err));
    ASSERT_NE(h, nullptr);
    EXPECT_EQ(h->minValue, 0);
    EXPECT_EQ(h->maxValue, 3);
    EXPECT_EQ(std::vector<uint32_t>(h->counts, h->counts + 4), std::vector<uint32_t>(4, 0));

    EXPECT_EQ(ohst_HistogramCreate(0, &err), nullptr);
    ExpectReport(err, L"ohst_HistogramCreate", 1, L"Bad number of bins 0 (1 to 16777216 allowed)");
    EXPECT_EQ(ohst_HistogramCreate(INT32_MAX, &err), nullptr);
    ExpectReport(err, L"ohst_HistogramCreate", 1, nullptr);

    HistogramPtr swept;
    EXPECT_EQ(SweepAllocationFailures(
                  L"ohst_HistogramCreate",
                  [&](Oerr_ErrorReport **e) { swept.reset(ohst_HistogramCreate(3, e)); },
                  [&] { return swept == nullptr; }),
              2);
}

TEST(HistogramCopy, CopiesRangeAndCounts) {
    HistogramPtr source = MakeHistogram(-2, {5, 0, 7});
    Oerr_ErrorReport *err = nullptr;
    HistogramPtr copy(ohst_HistogramCopy(source.get(), nullptr, &err));
    ASSERT_NE(copy, nullptr);
    EXPECT_EQ(copy->minValue, -2);
    EXPECT_EQ(copy->maxValue, 0);
    EXPECT_EQ(std::vector<uint32_t>(copy->counts, copy->counts + 3),
              (std::vector<uint32_t>{5, 0, 7}));

    // Same bin count: the destination's array is reused.
    HistogramPtr same = MakeHistogram(10, {1, 1, 1});
    const uint32_t *array = same->counts;
    EXPECT_EQ(ohst_HistogramCopy(source.get(), same.get(), &err), same.get());
    EXPECT_EQ(same->counts, array);
    EXPECT_EQ(same->minValue, -2);
    EXPECT_EQ(same->counts[2], 7u);

    HistogramPtr longer = MakeHistogram(0, std::vector<uint32_t>(50, 3));
    EXPECT_EQ(SweepAllocationFailures(
                  L"ohst_HistogramCopy",
                  [&](Oerr_ErrorReport **e) { ohst_HistogramCopy(source.get(), longer.get(), e); },
                  [&] { return longer->maxValue == 49 && longer->counts[49] == 3; }),
              1);
    EXPECT_EQ(longer->maxValue, 0);

    source->maxValue = -3; // empty range
    EXPECT_EQ(ohst_HistogramCopy(source.get(), nullptr, &err), nullptr);
    ExpectReport(err, L"ohst_HistogramCopy", 1, L"Bad source histogram");
    source->maxValue = 0;
    ohst_HistogramDelete(nullptr);
}

TEST(GetHistogramMaxCount, ComparesCountsAsUnsigned) {
    HistogramPtr h = MakeHistogram(0, {3, 4000000000u, 7});
    EXPECT_EQ(ohst_GetHistogramMaxCount(h.get()), 4000000000u);
    HistogramPtr one = MakeHistogram(5, {42});
    EXPECT_EQ(ohst_GetHistogramMaxCount(one.get()), 42u);
    EXPECT_EQ(ohst_GetHistogramMaxCount(nullptr), 0u);
    one->maxValue = INT32_MAX; // a range the array cannot hold is not read
    one->minValue = INT32_MIN;
    EXPECT_EQ(ohst_GetHistogramMaxCount(one.get()), 0u);
    one->minValue = one->maxValue = 5;
}

} // namespace
