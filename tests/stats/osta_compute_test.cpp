// Statistics computed from raster data, checked against values computed here independently
// (sorting for the median, long-double two-pass sums for mean and deviation).
#include <algorithm>
#include <cstring>
#include <cmath>
#include <map>
#include <random>

#include "osta_test_util.hpp"

namespace {

Osta_Statistics Compute(const Ogda_BaseData *d, const Osta_ExcludedValues *x = nullptr,
                        const Osta_SkipFactors *skip = nullptr, Osta_Histogram **h = nullptr) {
    Oerr_ErrorReport *err = nullptr;
    Osta_Statistics s{};
    EXPECT_EQ(osta_StatisticsCompute(d, x, skip, &s, h, &err), &s);
    EXPECT_EQ(err, nullptr) << (err ? err->message : L"");
    oerr_DeleteErrorReportEx(&err);
    return s;
}

void ExpectExactExceptMode(const Osta_Statistics &s, const Reference &r) {
    Osta_Statistics t = s;
    t.mode = r.mode;
    ExpectExact(t, r);
}

template <class Dist> std::vector<double> Random(size_t n, Dist dist, unsigned seed) {
    std::mt19937 gen(seed);
    std::vector<double> v(n);
    for (auto &x : v) x = dist(gen);
    return v;
}

TEST(OstaCompute, SmallIntegerTypesAreExact) {
    struct Case {
        Ogda_PixelType type;
        int lo, hi;
    };
    for (const Case c : {Case{OGDA_U8, 0, 255}, Case{OGDA_S8, -128, 127}, Case{OGDA_U16, 0, 65535},
                         Case{OGDA_S16, -32768, 32767}, Case{OGDA_U4, 0, 15}}) {
        // A skewed distribution, so mean, median and mode all differ.
        auto v = Random(77 * 53, std::binomial_distribution<int>(c.hi - c.lo, 0.3), c.type);
        for (auto &x : v) x += c.lo;
        auto d = MakeArray(77, 53, c.type, Ogda_Raster, v);
        SCOPED_TRACE(c.type);
        ExpectExact(Compute(d.get()), Expected(v));
    }
}

TEST(OstaCompute, SkipFactorsSampleRowsAndColumnsOfEveryLayout) {
    const int rows = 11, columns = 7;
    std::vector<double> v(rows * columns);
    for (int i = 0; i < rows * columns; ++i) v[i] = (i * 37) % 101;
    const Osta_SkipFactors skip{3, 4}; // every 3rd column of every 4th row
    // Element (r, c) of a row-major object is v[r * columns + c].
    std::vector<double> sampled;
    for (int r = 0; r < rows; r += 4)
        for (int c = 0; c < columns; c += 3) sampled.push_back(v[r * columns + c]);
    auto raster = MakeArray(rows, columns, OGDA_U8, Ogda_Raster, v);
    ExpectExact(Compute(raster.get(), nullptr, &skip), Expected(sampled));
    // Reals: exact moments and median; the mode is a bin centre.
    auto reals = MakeArray(rows, columns, OGDA_F32, Ogda_Raster, v);
    const auto s = Compute(reals.get(), nullptr, &skip);
    const auto r = Expected(sampled);
    EXPECT_EQ(s.minimum, r.minimum);
    EXPECT_EQ(s.maximum, r.maximum);
    EXPECT_NEAR(s.mean, r.mean, 1e-12 * r.mean);
    EXPECT_NEAR(s.stddev, r.stddev, 1e-12 * r.stddev);
    EXPECT_EQ(s.median, r.lowerMedian);
    // A matrix keeps columns as lines: the same elements, transposed in memory.
    std::vector<double> columnMajor(rows * columns);
    for (int r = 0; r < rows; ++r)
        for (int c = 0; c < columns; ++c) columnMajor[c * rows + r] = v[r * columns + c];
    auto matrix = MakeArray(rows, columns, OGDA_S16, Ogda_Matrix, columnMajor);
    ExpectExact(Compute(matrix.get(), nullptr, &skip), Expected(sampled));
    // A view of the middle of a larger array has padded lines.
    auto big = MakeArray(rows + 2, columns + 5, OGDA_U16, Ogda_Raster,
                         std::vector<double>((rows + 2) * (columns + 5), 9999));
    Owned<Ogda_BaseData> view(ogda_BaseDataDerived(big.get(), 1, 2, rows, columns, nullptr));
    for (int r = 0; r < rows; ++r)
        for (int c = 0; c < columns; ++c)
            static_cast<uint16_t *>(view->data)[r * (columns + 5) + c] =
                uint16_t(v[r * columns + c]);
    ExpectExact(Compute(view.get()), Expected(v));
    ExpectExact(Compute(view.get(), nullptr, &skip), Expected(sampled));
    Oerr_ErrorReport *err = nullptr;
    const Osta_SkipFactors zero{0, 1};
    EXPECT_EQ(osta_StatisticsCompute(view.get(), nullptr, &zero, nullptr, nullptr, &err), nullptr);
    ExpectReport(err, L"osta_StatisticsCompute", 2, L"Bad skip factors 0, 1 (1 or more allowed)");
}

TEST(OstaCompute, ExcludedValuesAreLeftOut) {
    auto v = Random(4000, std::uniform_int_distribution<int>(0, 255), 5);
    for (size_t i = 0; i < v.size(); i += 3) v[i] = 0; // a fill value dominates
    auto excludedTable = MakeArray<double>(3, 1, OGDA_F64, Ogda_Table, {0, 255, 17.5});
    Owned<Osta_ExcludedValues> x(osta_ExcludedValuesCreate(excludedTable.get(), nullptr));
    std::vector<double> kept;
    for (double e : v)
        if (e != 0 && e != 255) kept.push_back(e);
    for (auto type : {OGDA_U8, OGDA_S32, OGDA_F64}) {
        auto d = MakeArray(40, 100, type, Ogda_Raster, v);
        const auto s = Compute(d.get(), x.get());
        const auto r = Expected(kept);
        EXPECT_EQ(s.minimum, r.minimum);
        EXPECT_EQ(s.maximum, r.maximum);
        EXPECT_NEAR(s.mean, r.mean, 1e-9);
        EXPECT_NEAR(s.stddev, r.stddev, 1e-9);
    }
    // Nothing left: an error, not a record of zeros.
    auto zeros = MakeArray(2, 2, OGDA_U8, Ogda_Raster, std::vector<double>(4, 0));
    Oerr_ErrorReport *err = nullptr;
    EXPECT_EQ(osta_StatisticsCompute(zeros.get(), x.get(), nullptr, nullptr, nullptr, &err),
              nullptr);
    ExpectReport(err, L"osta_StatisticsCompute", 4, L"No values left to compute statistics from");
}

TEST(OstaCompute, RealsGiveExactMomentsAndMedian) {
    auto v = Random(100 * 90, std::gamma_distribution<double>(2.0, 3.0), 11);
    v[17] = NAN; // not a value
    v[18] = HUGE_VAL;
    auto d = MakeArray(100, 90, OGDA_F64, Ogda_Raster, v);
    std::vector<double> finite;
    for (double x : v)
        if (std::isfinite(x)) finite.push_back(x);
    const auto r = Expected(finite);
    const auto s = Compute(d.get());
    EXPECT_EQ(s.minimum, r.minimum);
    EXPECT_EQ(s.maximum, r.maximum);
    EXPECT_NEAR(s.mean, r.mean, 1e-12 * r.mean);
    EXPECT_NEAR(s.stddev, r.stddev, 1e-12 * r.stddev);
    EXPECT_EQ(s.median, r.lowerMedian);
    // The mode of a gamma(2, 3) density is at 3; the fullest of 256 bins lies near it.
    EXPECT_NEAR(s.mode, 3.0, 1.5);
}

TEST(OstaCompute, AMedianBinTooFullToCollectIsInterpolated) {
    // More than 2^20 values share the median's fine bin: the median is interpolated within it.
    std::vector<double> v(1100000, 5.0);
    v.front() = 0;
    v.back() = 100;
    auto d = MakeArray(1100, 1000, OGDA_F32, Ogda_Raster, v);
    const auto s = Compute(d.get());
    EXPECT_NEAR(s.median, 5.0, 100.0 / 65536);
    EXPECT_NEAR(s.mode, 5.0, 100.0 / 256);
}

TEST(OstaCompute, LargeOffsetsDoNotCancel) {
    // Values 1e12 + {4, 7, 13, 16}: the sample deviation is sqrt(30) whatever the offset. The
    // squares are near 1e24, where doubles are 2^27 apart, so a sum of squares minus the
    // squared sum keeps no correct digit.
    std::vector<double> v;
    for (int i = 0; i < 1000; ++i)
        for (double d : {4.0, 7.0, 13.0, 16.0}) v.push_back(1e12 + d);
    double sum = 0, squares = 0;
    for (double x : v) {
        sum += x;
        squares += x * x;
    }
    const double n = double(v.size());
    const double naive = std::sqrt(std::fabs((squares - sum * sum / n) / (n - 1)));
    ASSERT_GT(std::fabs(naive - std::sqrt(30 * 999.0 * 4 / 3996)), 1.0) << "naive sum survived";
    auto d = MakeArray(40, 100, OGDA_F64, Ogda_Raster, v);
    const auto s = Compute(d.get());
    const double exact = std::sqrt(22.5 * n / (n - 1)); // population variance of the four is 22.5
    EXPECT_NEAR(s.stddev, exact, 1e-6);
    EXPECT_NEAR(s.mean, 1e12 + 10, 1e-3);
}

TEST(OstaCompute, HistogramsFollowTheDataOrTheCallersBins) {
    auto v = Random(64 * 64, std::uniform_int_distribution<int>(10, 60), 3);
    auto d = MakeArray(64, 64, OGDA_U8, Ogda_Raster, v);
    Osta_Histogram *h = nullptr;
    const auto s = Compute(d.get(), nullptr, nullptr, &h);
    Owned<Osta_Histogram> own(h);
    ASSERT_NE(h, nullptr);
    EXPECT_EQ(h->binFunction->type, ODSC_BIN_DIRECT);
    EXPECT_EQ(h->binFunction->minLimit, s.minimum);
    ASSERT_EQ(h->table->numrows, int32_t(s.maximum - s.minimum) + 1);
    std::vector<double> count(256, 0);
    for (double x : v) ++count[int(x)];
    for (int b = 0; b < h->table->numrows; ++b)
        ASSERT_EQ(static_cast<double *>(h->table->data)[b], count[int(s.minimum) + b]) << b;

    // Reals: 256 bins from minimum to maximum, and a caller's bins counted value by value.
    auto r = Random(5000, std::normal_distribution<double>(0, 1), 8);
    auto f = MakeArray(50, 100, OGDA_F32, Ogda_Raster, r);
    std::vector<double> asFloat;
    for (double x : r) asFloat.push_back(float(x));
    Osta_Histogram *fh = nullptr;
    const auto fs = Compute(f.get(), nullptr, nullptr, &fh);
    Owned<Osta_Histogram> fown(fh);
    ASSERT_EQ(fh->binFunction->type, ODSC_BIN_LINEAR);
    ASSERT_EQ(fh->table->numrows, 256);
    std::vector<double> expected(256, 0), caller(7, 0);
    Owned<Odsc_BinFunction> seven(
        odsc_BinFunctionCreate(7, ODSC_BIN_LINEAR, -1, 1, nullptr, nullptr));
    for (double x : asFloat) {
        ++expected[odsc_BinFunctionValueToBin(fh->binFunction, x)];
        ++caller[odsc_BinFunctionValueToBin(seven.get(), x)];
    }
    for (int b = 0; b < 256; ++b)
        ASSERT_EQ(static_cast<double *>(fh->table->data)[b], expected[b]) << b;
    EXPECT_EQ(fs.minimum, *std::min_element(asFloat.begin(), asFloat.end()));
    Owned<Osta_Histogram> mine(osta_HistogramCreate(seven.get(), 7, nullptr));
    Osta_Histogram *given = mine.get();
    Compute(f.get(), nullptr, nullptr, &given);
    EXPECT_EQ(given, mine.get());
    for (int b = 0; b < 7; ++b) EXPECT_EQ(static_cast<double *>(mine->table->data)[b], caller[b]);

    // One repeated value still gives a usable histogram.
    auto flat = MakeArray(3, 3, OGDA_F32, Ogda_Raster, std::vector<double>(9, 2.5));
    Osta_Histogram *one = nullptr;
    const auto os = Compute(flat.get(), nullptr, nullptr, &one);
    Owned<Osta_Histogram> oneOwn(one);
    EXPECT_EQ(os.median, 2.5);
    EXPECT_EQ(os.stddev, 0);
    EXPECT_EQ(
        static_cast<double *>(one->table->data)[odsc_BinFunctionValueToBin(one->binFunction, 2.5)],
        9);
}

TEST(OstaCompute, UnalignedCallerDataIsRead) {
    // Caller data need not be aligned (a record inside a byte buffer).
    std::vector<unsigned char> bytes(1 + 6 * sizeof(float));
    const float values[] = {3, -1, 8, 2, 2, 5};
    std::memcpy(bytes.data() + 1, values, sizeof values);
    Owned<Ogda_BaseData> d(
        ogda_BaseDataCreate(2, 3, OGDA_F32, Ogda_Raster, bytes.data() + 1, nullptr));
    ExpectExactExceptMode(Compute(d.get()), Expected({3, -1, 8, 2, 2, 5}));
}

TEST(OstaCompute, UnsuitableDataIsRefused) {
    Oerr_ErrorReport *err = nullptr;
    auto c = MakeArray(2, 2, OGDA_C64, Ogda_Raster, std::vector<double>(4, 1));
    EXPECT_EQ(osta_StatisticsCompute(c.get(), nullptr, nullptr, nullptr, nullptr, &err), nullptr);
    ExpectReport(err, L"osta_StatisticsCompute", 1, nullptr);
    EXPECT_EQ(osta_StatisticsCompute(nullptr, nullptr, nullptr, nullptr, nullptr, &err), nullptr);
    ExpectReport(err, L"osta_StatisticsCompute", 1, nullptr);
    auto u8 = MakeArray(2, 2, OGDA_U8, Ogda_Raster, std::vector<double>(4, 1));
    Osta_Histogram bad{nullptr, nullptr};
    Osta_Histogram *badp = &bad;
    EXPECT_EQ(osta_StatisticsCompute(u8.get(), nullptr, nullptr, nullptr, &badp, &err), nullptr);
    ExpectReport(err, L"osta_StatisticsCompute", 3, nullptr);
}

TEST(OstaCovariance, MatchesATwoPassReferenceAndHonoursExclusions) {
    const int rows = 30, columns = 40, n = rows * columns;
    auto base = Random(n, std::normal_distribution<double>(0, 5), 21);
    auto noise = Random(n, std::normal_distribution<double>(0, 1), 22);
    std::vector<std::vector<double>> layers(3, std::vector<double>(n));
    for (int i = 0; i < n; ++i) {
        layers[0][i] = std::round(base[i] + 100); // stored as u8
        layers[1][i] = 2 * layers[0][i] + 1e9;    // large offset, exact in f64
        layers[2][i] = -layers[0][i] + noise[i];  // f32
    }
    layers[0][5] = 0; // excluded: position 5 is left out of every layer
    Owned<Ogda_BaseDataStack> stack(ogda_BaseDataStackPtrCreate(3, nullptr, nullptr));
    auto l0 = MakeArray(rows, columns, OGDA_U8, Ogda_Raster, layers[0]);
    auto l1 = MakeArray(rows, columns, OGDA_F64, Ogda_Raster, layers[1]);
    auto l2 = MakeArray(rows, columns, OGDA_F32, Ogda_Raster, layers[2]);
    stack->layers[0] = l0.get();
    stack->layers[1] = l1.get();
    stack->layers[2] = l2.get();
    for (auto &x : layers[2]) x = float(x);
    auto zero = MakeArray<double>(1, 1, OGDA_F64, Ogda_Table, {0});
    Owned<Osta_ExcludedValues> x(osta_ExcludedValuesCreate(zero.get(), nullptr));
    Oerr_ErrorReport *err = nullptr;
    Owned<Osta_Covariance> c(osta_CovarianceCompute(stack.get(), x.get(), nullptr, nullptr, &err));
    ASSERT_NE(c, nullptr) << (err ? err->message : L"");
    ASSERT_EQ(c->covariance.numrows, 3);
    long double mean[3] = {};
    int used = 0;
    for (int i = 0; i < n; ++i) {
        if (i == 5) continue;
        ++used;
        for (int l = 0; l < 3; ++l) mean[l] += layers[l][i];
    }
    for (auto &m : mean) m /= used;
    const auto *got = static_cast<const double *>(c->covariance.data);
    for (int a = 0; a < 3; ++a)
        for (int b = 0; b < 3; ++b) {
            long double s = 0;
            for (int i = 0; i < n; ++i)
                if (i != 5) s += (layers[a][i] - mean[a]) * (layers[b][i] - mean[b]);
            const double want = double(s / (used - 1));
            EXPECT_NEAR(got[b * 3 + a], want, 1e-9 * std::fabs(want) + 1e-12) << a << "," << b;
        }

    // Layers of different shapes are refused.
    auto small = MakeArray(2, 2, OGDA_U8, Ogda_Raster, std::vector<double>(4, 1));
    stack->layers[2] = small.get();
    EXPECT_EQ(osta_CovarianceCompute(stack.get(), nullptr, nullptr, nullptr, &err), nullptr);
    ExpectReport(err, L"osta_CovarianceCompute", 2, nullptr);
}

} // namespace
