// Test helpers for the breakpoint-table module: owning holders, list builders, report checks.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include <orvik/ohst.h>

#include "core/heap_seam.hpp"

struct LutDeleter {
    void operator()(Ohst_LUT *lut) const { ohst_LUTDelete(lut); }
};
struct HistogramDeleter {
    void operator()(Ohst_Histogram *h) const { ohst_HistogramDelete(h); }
};
using LutPtr = std::unique_ptr<Ohst_LUT, LutDeleter>;
using HistogramPtr = std::unique_ptr<Ohst_Histogram, HistogramDeleter>;

inline bool operator==(const Ohst_BreakPoint &a, const Ohst_BreakPoint &b) {
    return a.x == b.x && a.y == b.y;
}
inline std::ostream &operator<<(std::ostream &os, const Ohst_BreakPoint &p) {
    return os << "(" << p.x << "," << p.y << ")";
}

inline std::vector<Ohst_BreakPoint> Points(const Ohst_BreakPointList &list) {
    return {list.points, list.points + list.count};
}

inline std::vector<Ohst_BreakPoint> Points(const Ohst_LUT *lut) {
    return {lut->breakPoints, lut->breakPoints + lut->nBreakPoints};
}

inline std::vector<int32_t> Table(const Ohst_LUT *lut) {
    return {lut->table, lut->table + lut->inMax + 1};
}

// A LUT whose breakpoints are `points`, inserted one by one.
inline LutPtr MakeLut(int32_t inMax, int32_t outMax, const std::vector<Ohst_BreakPoint> &points) {
    Oerr_ErrorReport *err = nullptr;
    LutPtr lut(ohst_LUTCreate(inMax, outMax, 0, &err));
    EXPECT_EQ(err, nullptr);
    // The list functions work on a list; a LUT's points are lent to one and taken back.
    Ohst_BreakPointList list{lut->nBreakPoints, lut->breakPoints};
    for (const auto &p : points) {
        EXPECT_GE(ohst_BreakPointInsert(&list, p.x, p.y), 0);
    }
    lut->nBreakPoints = list.count;
    lut->breakPoints = list.points;
    return lut;
}

inline HistogramPtr MakeHistogram(int32_t minValue, const std::vector<uint32_t> &counts) {
    Oerr_ErrorReport *err = nullptr;
    HistogramPtr h(ohst_HistogramCreate(static_cast<int32_t>(counts.size()), &err));
    EXPECT_EQ(err, nullptr);
    h->minValue = minValue;
    h->maxValue = minValue + static_cast<int32_t>(counts.size()) - 1;
    std::copy(counts.begin(), counts.end(), h->counts);
    return h;
}

// Checks the head record of a report and releases the chain.
inline void ExpectReport(Oerr_ErrorReport *&err, const wchar_t *function, int number,
                         const wchar_t *message) {
    ASSERT_NE(err, nullptr);
    EXPECT_STREQ(err->function, function);
    EXPECT_EQ(err->number, number);
    EXPECT_EQ(err->kind, OERR_KIND_ERROR);
    if (message) {
        EXPECT_STREQ(err->message, message);
    }
    oerr_DeleteErrorReportEx(&err);
}

// Runs `attempt` with the 1st, 2nd, ... allocation failing until it succeeds without a
// failure. Every failed round must end with `failed()` true and an "Out of memory" report of
// `function`; ASan checks that nothing leaks. Returns the number of failing rounds.
template <class Attempt, class Failed>
int SweepAllocationFailures(const wchar_t *function, Attempt attempt, Failed failed) {
    for (int n = 1; n < 100; ++n) {
        Oerr_ErrorReport *err = nullptr;
        {
            orvik::core::testing::ScopedAllocationFailure fail(n);
            attempt(&err);
            if (orvik::core::testing::AllocationsCounted() < n) {
                EXPECT_EQ(err, nullptr);
                return n - 1;
            }
        }
        EXPECT_TRUE(failed()) << "round " << n;
        ExpectReport(err, function, OERR_NUMBER_OUT_OF_MEMORY, L"Out of memory");
    }
    ADD_FAILURE() << "no round succeeded";
    return -1;
}
