// Breakpoint lists: insert, delete, compare, sort, redundant points, nearest point.
#include <climits>
#include <cmath>

#include "ohst_test_util.hpp"

namespace {

using orvik::core::testing::ScopedAllocationFailure;
using P = Ohst_BreakPoint;

struct List : Ohst_BreakPointList {
    List() : Ohst_BreakPointList{0, nullptr} {}
    ~List() { omsc_HeapFree(points); }
};

TEST(BreakPointInsert, KeepsPointsSortedAndReturnsPositions) {
    List list;
    EXPECT_EQ(ohst_BreakPointInsert(&list, 50, 5), 0);
    EXPECT_EQ(ohst_BreakPointInsert(&list, 10, 1), 0);
    EXPECT_EQ(ohst_BreakPointInsert(&list, 30, 3), 1);
    EXPECT_EQ(ohst_BreakPointInsert(&list, 70, 7), 3);
    EXPECT_EQ(ohst_BreakPointInsert(&list, -4, 0), 0);
    EXPECT_EQ(Points(list), (std::vector<P>{{-4, 0}, {10, 1}, {30, 3}, {50, 5}, {70, 7}}));
}

TEST(BreakPointInsert, SameXReplacesYWithoutGrowing) {
    List list;
    EXPECT_EQ(ohst_BreakPointInsert(&list, 5, 1), 0);
    EXPECT_EQ(ohst_BreakPointInsert(&list, 5, 9), 0);
    EXPECT_EQ(Points(list), (std::vector<P>{{5, 9}}));

    ohst_BreakPointInsert(&list, 8, 2);
    ohst_BreakPointInsert(&list, 12, 3);
    const P *before = list.points;
    EXPECT_EQ(ohst_BreakPointInsert(&list, 8, -6), 1);
    EXPECT_EQ(list.points, before); // no reallocation for a replacement
    EXPECT_EQ(Points(list), (std::vector<P>{{5, 9}, {8, -6}, {12, 3}}));
}

TEST(BreakPointInsert, RefusesMalformedListsAndSurvivesExhaustedHeap) {
    EXPECT_EQ(ohst_BreakPointInsert(nullptr, 1, 1), -1);
    Ohst_BreakPointList negative{-1, nullptr};
    EXPECT_EQ(ohst_BreakPointInsert(&negative, 1, 1), -1);
    Ohst_BreakPointList missing{2, nullptr};
    EXPECT_EQ(ohst_BreakPointInsert(&missing, 1, 1), -1);
    EXPECT_EQ(missing.count, 2);

    List list;
    ohst_BreakPointInsert(&list, 1, 1);
    {
        ScopedAllocationFailure fail(1);
        EXPECT_EQ(ohst_BreakPointInsert(&list, 2, 2), -1);
        // A replacement needs no memory.
        EXPECT_EQ(ohst_BreakPointInsert(&list, 1, 4), 0);
    }
    EXPECT_EQ(Points(list), (std::vector<P>{{1, 4}}));
}

TEST(BreakPointDelete, RemovesByIndexAndFreesTheEmptyArray) {
    List list;
    for (int x : {1, 2, 3}) {
        ohst_BreakPointInsert(&list, x, x * 10);
    }
    EXPECT_EQ(ohst_BreakPointDelete(&list, 1), 2);
    EXPECT_EQ(Points(list), (std::vector<P>{{1, 10}, {3, 30}}));
    EXPECT_EQ(ohst_BreakPointDelete(&list, 2), -1);
    EXPECT_EQ(ohst_BreakPointDelete(&list, -1), -1);
    EXPECT_EQ(ohst_BreakPointDelete(nullptr, 0), -1);
    EXPECT_EQ(ohst_BreakPointDelete(&list, 1), 1);
    EXPECT_EQ(ohst_BreakPointDelete(&list, 0), 0);
    EXPECT_EQ(list.points, nullptr);
    EXPECT_EQ(ohst_BreakPointDelete(&list, 0), -1);
    // The emptied list takes new points again.
    EXPECT_EQ(ohst_BreakPointInsert(&list, 7, 7), 0);
}

TEST(BreakPointCompare, IsThePlainDifferenceOfX) {
    const P a{3, 100}, b{10, -5};
    EXPECT_EQ(ohst_BreakPointCompare(&a, &b), -7);
    EXPECT_EQ(ohst_BreakPointCompare(&b, &a), 7);
    const P same{3, 0};
    EXPECT_EQ(ohst_BreakPointCompare(&a, &same), 0);
    // Without an overflow guard the difference wraps like 32-bit arithmetic.
    const P lowest{INT32_MIN, 0}, one{1, 0};
    EXPECT_EQ(ohst_BreakPointCompare(&lowest, &one), INT32_MAX);
}

TEST(BreakPointSort, OrdersByXEvenAtTheExtremes) {
    List list;
    list.count = 6;
    list.points = static_cast<P *>(omsc_HeapMalloc(6 * sizeof(P)));
    const P input[] = {{40, 1}, {INT32_MAX, 2}, {-3, 3}, {INT32_MIN, 4}, {0, 5}, {1, 6}};
    std::copy(std::begin(input), std::end(input), list.points);
    ohst_BreakPointSort(&list);
    EXPECT_EQ(Points(list),
              (std::vector<P>{{INT32_MIN, 4}, {-3, 3}, {0, 5}, {1, 6}, {40, 1}, {INT32_MAX, 2}}));
    ohst_BreakPointSort(nullptr);
}

TEST(BreakPointDeleteRedundants, FirstOfEachRunOfEqualXWins) {
    List list;
    list.count = 7;
    list.points = static_cast<P *>(omsc_HeapMalloc(7 * sizeof(P)));
    const P input[] = {{1, 10}, {1, 11}, {2, 20}, {2, 21}, {2, 22}, {3, 30}, {1, 12}};
    std::copy(std::begin(input), std::end(input), list.points);

    int32_t count = -5;
    P *out = ohst_BreakPointDeleteRedundants(&list, &count);
    ASSERT_NE(out, nullptr);
    // Only a point's predecessor counts: the trailing (1, 12) follows x = 3 and stays.
    EXPECT_EQ(std::vector<P>(out, out + count),
              (std::vector<P>{{1, 10}, {2, 20}, {3, 30}, {1, 12}}));
    EXPECT_EQ(list.count, 7); // the input is left alone
    omsc_HeapFree(out);

    {
        ScopedAllocationFailure fail(1);
        EXPECT_EQ(ohst_BreakPointDeleteRedundants(&list, &count), nullptr);
        EXPECT_EQ(count, 0);
    }
}

TEST(BreakPointDeleteRedundants, EmptyListGivesNullAndZero) {
    List list;
    int32_t count = 9;
    EXPECT_EQ(ohst_BreakPointDeleteRedundants(&list, &count), nullptr);
    EXPECT_EQ(count, 0);
    EXPECT_EQ(ohst_BreakPointDeleteRedundants(nullptr, &count), nullptr);
    EXPECT_EQ(ohst_BreakPointDeleteRedundants(&list, nullptr), nullptr);
}

TEST(FindNearestPoint, UsesEuclideanDistanceAndPrefersTheFirstOnTies) {
    List list;
    for (P p : {P{0, 0}, P{100, 100}, P{200, 0}}) {
        ohst_BreakPointInsert(&list, p.x, p.y);
    }
    double d = -1;
    // (90, 80) is nearer to (100, 100) by distance, though nearer to (0, 0) in y alone.
    EXPECT_EQ(ohst_FindNearestPoint(&list, 90, 80, &d), 1);
    EXPECT_DOUBLE_EQ(d, std::sqrt(500.0));
    EXPECT_EQ(ohst_FindNearestPoint(&list, 100, 0, &d), 0);
    EXPECT_DOUBLE_EQ(d, 100.0);
    EXPECT_EQ(ohst_FindNearestPoint(&list, 250, 0, nullptr), 2);
    // Far-apart coordinates do not overflow.
    EXPECT_EQ(ohst_FindNearestPoint(&list, INT32_MAX, INT32_MIN, &d), 2);

    List empty;
    EXPECT_EQ(ohst_FindNearestPoint(&empty, 0, 0, &d), -1);
    EXPECT_EQ(ohst_FindNearestPoint(nullptr, 0, 0, &d), -1);
}

} // namespace
