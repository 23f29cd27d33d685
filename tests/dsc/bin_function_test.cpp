// Bin functions: the five kinds at their edges, creation checks, deep copies.
#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <vector>

#include <orvik/odsc.h>

namespace {

struct BinFunctionDeleter {
    void operator()(Odsc_BinFunction *f) const { odsc_BinFunctionDelete(f); }
};
using BinFunctionPtr = std::unique_ptr<Odsc_BinFunction, BinFunctionDeleter>;
struct BaseDataDeleter {
    void operator()(Ogda_BaseData *d) const { ogda_BaseDataDelete(d, nullptr); }
};
using BaseDataPtr = std::unique_ptr<Ogda_BaseData, BaseDataDeleter>;

BaseDataPtr DoubleTable(const std::vector<double> &v) {
    BaseDataPtr t(
        ogda_BaseDataCreate(int32_t(v.size()), 1, OGDA_F64, Ogda_Table, nullptr, nullptr));
    std::copy(v.begin(), v.end(), static_cast<double *>(t->data));
    return t;
}

BinFunctionPtr Make(int32_t n, Odsc_BinFunctionType type, double lo, double hi,
                    const Ogda_BaseData *limits = nullptr) {
    Oerr_ErrorReport *err = nullptr;
    BinFunctionPtr f(odsc_BinFunctionCreate(n, type, lo, hi, limits, &err));
    EXPECT_EQ(err, nullptr) << (err ? err->message : L"");
    oerr_DeleteErrorReportEx(&err);
    return f;
}

// Creation must fail with report `number` of odsc_BinFunctionCreate.
void ExpectRefused(int32_t n, Odsc_BinFunctionType type, double lo, double hi,
                   const Ogda_BaseData *limits, long number) {
    Oerr_ErrorReport *err = nullptr;
    EXPECT_EQ(odsc_BinFunctionCreate(n, type, lo, hi, limits, &err), nullptr);
    ASSERT_NE(err, nullptr);
    EXPECT_STREQ(err->function, L"odsc_BinFunctionCreate");
    EXPECT_EQ(err->number, number);
    oerr_DeleteErrorReportEx(&err);
}

// Every bin's own value maps back to that bin.
void ExpectRoundTrip(const Odsc_BinFunction *f) {
    for (int32_t b = 0; b < odsc_BinFunctionGetNumBins(f); ++b)
        EXPECT_EQ(odsc_BinFunctionValueToBin(f, odsc_BinFunctionBinToValue(f, b)), b) << b;
}

TEST(BinFunction, LinearBinsClampAtBothEndsAndIgnoreNaN) {
    auto f = Make(10, ODSC_BIN_LINEAR, 0, 100);
    EXPECT_EQ(odsc_BinFunctionGetNumBins(f.get()), 10);
    EXPECT_EQ(odsc_BinFunctionValueToBin(f.get(), 0), 0);
    EXPECT_EQ(odsc_BinFunctionValueToBin(f.get(), 9.999), 0);
    EXPECT_EQ(odsc_BinFunctionValueToBin(f.get(), 10), 1);
    EXPECT_EQ(odsc_BinFunctionValueToBin(f.get(), 100), 9); // the top edge belongs to the last bin
    EXPECT_EQ(odsc_BinFunctionValueToBin(f.get(), -5), 0);
    EXPECT_EQ(odsc_BinFunctionValueToBin(f.get(), 1e300), 9);
    EXPECT_EQ(odsc_BinFunctionValueToBin(f.get(), -HUGE_VAL), 0);
    EXPECT_EQ(odsc_BinFunctionValueToBin(f.get(), NAN), -1);
    EXPECT_DOUBLE_EQ(odsc_BinFunctionBinToValue(f.get(), 3), 35);
    double lo, hi;
    ASSERT_TRUE(odsc_BinFunctionBinLimits(f.get(), 9, &lo, &hi));
    EXPECT_DOUBLE_EQ(lo, 90);
    EXPECT_DOUBLE_EQ(hi, 100);
    EXPECT_TRUE(std::isnan(odsc_BinFunctionBinToValue(f.get(), 10)));
    EXPECT_TRUE(std::isnan(odsc_BinFunctionBinToValue(f.get(), -1)));
    ExpectRoundTrip(f.get());
}

TEST(BinFunction, DirectBinsAreWholeValuesFromTheMinimum) {
    auto f = Make(7, ODSC_BIN_DIRECT, -3, 0);
    EXPECT_DOUBLE_EQ(f->maxLimit, 3);
    EXPECT_EQ(odsc_BinFunctionValueToBin(f.get(), -3), 0);
    EXPECT_EQ(odsc_BinFunctionValueToBin(f.get(), 2.7), 5); // whole part
    EXPECT_EQ(odsc_BinFunctionValueToBin(f.get(), -3.5), 0);
    EXPECT_EQ(odsc_BinFunctionValueToBin(f.get(), 3), 6);
    EXPECT_EQ(odsc_BinFunctionValueToBin(f.get(), 1e12), 6);
    EXPECT_DOUBLE_EQ(odsc_BinFunctionBinToValue(f.get(), 6), 3);
    ExpectRoundTrip(f.get());
    ExpectRefused(7, ODSC_BIN_DIRECT, 0.5, 0, nullptr, 3); // bins of a direct function are whole
    ExpectRefused(0, ODSC_BIN_DIRECT, 0, 0, nullptr, 3);
    ExpectRefused(ODSC_MAX_BINS + 1, ODSC_BIN_DIRECT, 0, 0, nullptr, 3);
}

TEST(BinFunction, LogarithmicBinsPutNonPositiveValuesIntoTheFirstBin) {
    auto f = Make(3, ODSC_BIN_LOGARITHMIC, 1, 1000);
    EXPECT_EQ(odsc_BinFunctionValueToBin(f.get(), 5), 0);
    EXPECT_EQ(odsc_BinFunctionValueToBin(f.get(), 50), 1);
    EXPECT_EQ(odsc_BinFunctionValueToBin(f.get(), 500), 2);
    EXPECT_EQ(odsc_BinFunctionValueToBin(f.get(), 1e6), 2);
    EXPECT_EQ(odsc_BinFunctionValueToBin(f.get(), 0.5), 0);
    EXPECT_EQ(odsc_BinFunctionValueToBin(f.get(), 0), 0);
    EXPECT_EQ(odsc_BinFunctionValueToBin(f.get(), -7), 0);
    EXPECT_EQ(odsc_BinFunctionValueToBin(f.get(), -HUGE_VAL), 0);
    EXPECT_NEAR(odsc_BinFunctionBinToValue(f.get(), 1), std::sqrt(10.0 * 100.0), 1e-9);
    double lo, hi;
    ASSERT_TRUE(odsc_BinFunctionBinLimits(f.get(), 1, &lo, &hi));
    EXPECT_NEAR(lo, 10, 1e-9);
    EXPECT_NEAR(hi, 100, 1e-9);
    ExpectRoundTrip(f.get());
    ExpectRefused(3, ODSC_BIN_LOGARITHMIC, 0, 10, nullptr, 3);
    ExpectRefused(3, ODSC_BIN_LOGARITHMIC, -1, 10, nullptr, 3);
    ExpectRefused(3, ODSC_BIN_LOGARITHMIC, 10, 10, nullptr, 3);
}

TEST(BinFunction, ExplicitBinsFollowTheirEdges) {
    auto edges = DoubleTable({0, 1, 5, 10});
    auto f = Make(0, ODSC_BIN_EXPLICIT, 0, 0, edges.get());
    ASSERT_EQ(odsc_BinFunctionGetNumBins(f.get()), 3);
    EXPECT_EQ(odsc_BinFunctionValueToBin(f.get(), -1), 0);
    EXPECT_EQ(odsc_BinFunctionValueToBin(f.get(), 0.5), 0);
    EXPECT_EQ(odsc_BinFunctionValueToBin(f.get(), 1), 1);
    EXPECT_EQ(odsc_BinFunctionValueToBin(f.get(), 4.99), 1);
    EXPECT_EQ(odsc_BinFunctionValueToBin(f.get(), 5), 2);
    EXPECT_EQ(odsc_BinFunctionValueToBin(f.get(), 10), 2);
    EXPECT_EQ(odsc_BinFunctionValueToBin(f.get(), 11), 2);
    EXPECT_DOUBLE_EQ(odsc_BinFunctionBinToValue(f.get(), 1), 3);
    ExpectRoundTrip(f.get());
    // The number of bins, when given, must agree with the edges.
    ExpectRefused(4, ODSC_BIN_EXPLICIT, 0, 0, edges.get(), 3);
}

TEST(BinFunction, LimitsOutOfOrderOrRepeatedAreRefused) {
    for (const auto &bad : std::vector<std::vector<double>>{{0, 5, 1}, {0, 1, 1, 2}, {0, NAN, 3}}) {
        auto t = DoubleTable(bad);
        Oerr_ErrorReport *err = nullptr;
        EXPECT_EQ(odsc_BinFunctionCreate(0, ODSC_BIN_EXPLICIT, 0, 0, t.get(), &err), nullptr);
        ASSERT_NE(err, nullptr);
        EXPECT_EQ(err->number, 7);
        oerr_DeleteErrorReportEx(&err);
        EXPECT_EQ(odsc_BinFunctionCreate(0, ODSC_BIN_UNIQUE, 0, 0, t.get(), &err), nullptr);
        ASSERT_NE(err, nullptr);
        EXPECT_EQ(err->number, 7);
        oerr_DeleteErrorReportEx(&err);
    }
    auto one = DoubleTable({1});
    ExpectRefused(0, ODSC_BIN_EXPLICIT, 0, 0, one.get(), 2); // one edge makes no bin
    ExpectRefused(0, ODSC_BIN_UNIQUE, 0, 0, nullptr, 2);
    ExpectRefused(3, Odsc_BinFunctionType(9), 0, 1, nullptr, 1);
}

TEST(BinFunction, UniqueBinsMatchOnlyTheirValues) {
    // Limits of any numeric type are taken as reals.
    BaseDataPtr t(ogda_BaseDataCreate(3, 1, OGDA_U8, Ogda_Table, nullptr, nullptr));
    const uint8_t values[] = {2, 4, 8};
    std::copy(values, values + 3, static_cast<uint8_t *>(t->data));
    auto f = Make(3, ODSC_BIN_UNIQUE, 0, 0, t.get());
    EXPECT_EQ(odsc_BinFunctionValueToBin(f.get(), 2), 0);
    EXPECT_EQ(odsc_BinFunctionValueToBin(f.get(), 4), 1);
    EXPECT_EQ(odsc_BinFunctionValueToBin(f.get(), 8), 2);
    EXPECT_EQ(odsc_BinFunctionValueToBin(f.get(), 5), -1);
    EXPECT_EQ(odsc_BinFunctionValueToBin(f.get(), 1), -1);
    EXPECT_EQ(odsc_BinFunctionValueToBin(f.get(), 9), -1);
    EXPECT_DOUBLE_EQ(odsc_BinFunctionBinToValue(f.get(), 2), 8);
    ExpectRoundTrip(f.get());
}

TEST(BinFunction, CopyIsDeepAndRejectsMalformedSources) {
    auto edges = DoubleTable({0, 1, 2});
    auto f = Make(0, ODSC_BIN_EXPLICIT, 0, 0, edges.get());
    Oerr_ErrorReport *err = nullptr;
    BinFunctionPtr copy(odsc_BinFunctionCopy(f.get(), &err));
    ASSERT_NE(copy, nullptr);
    ASSERT_NE(copy->binLimits, f->binLimits);
    static_cast<double *>(f->binLimits->data)[1] = 1.5;
    EXPECT_EQ(odsc_BinFunctionValueToBin(copy.get(), 1.2), 1);
    EXPECT_EQ(odsc_BinFunctionValueToBin(f.get(), 1.2), 0);

    Odsc_BinFunction broken = *copy;
    broken.numBins = 5; // disagrees with its limits table
    EXPECT_EQ(odsc_BinFunctionCopy(&broken, &err), nullptr);
    ASSERT_NE(err, nullptr);
    EXPECT_STREQ(err->message, L"Bad source bin function");
    oerr_DeleteErrorReportEx(&err);
    EXPECT_EQ(odsc_BinFunctionValueToBin(&broken, 1), -1);
    EXPECT_EQ(odsc_BinFunctionGetNumBins(&broken), 0);
    EXPECT_EQ(odsc_BinFunctionGetNumBins(nullptr), 0);
}

} // namespace
