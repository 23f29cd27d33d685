// Statistics of raster layers read from files: checked against values computed here from the
// pixels the test wrote, and against the in-memory computation over the whole layer read back.
#include <cmath>
#include <random>

#include <orvik/odsc.h>

#include "img/img_test_util.hpp"
#include "osta_test_util.hpp"

namespace {

using img_test::Report;
using img_test::Text;

// A layer and the values the test wrote into it; NaN marks pixels of blocks never written.
struct Written {
    Oimg_LayerInfo info{};
    std::vector<double> pixels; // row by row
    double At(int r, int c) const { return pixels[size_t(r) * info.width + c]; }
};

class LayerStatistics : public img_test::ImgTest {
  protected:
    void TearDown() override {
        for (Oimg_Layer *l : m_more) oimg_LayerClose(l, nullptr);
        m_more.clear();
        oimg_LayerClose(m_layer, nullptr);
        if (m_file) ohfa_FileClose(m_file, nullptr);
    }

    // Creates "/Image/Layer" (or, with `name`, another layer of the same file) and writes
    // value(r, c) into every block for which written(blockRow, blockColumn) holds; the others
    // are never written.
    template <class Value, class Keep>
    Written Make(const Oimg_LayerInfo &info, Value value, Keep written,
                 const wchar_t *name = nullptr) {
        if (!name) m_file = NewFile("layer.hfa");
        Report err;
        Oimg_Layer *&layer = name ? m_more.emplace_back() : m_layer;
        layer = oimg_LayerCreate(m_file, L"/Image", name ? name : L"Layer", &info, &err);
        EXPECT_NE(layer, nullptr) << Text(err);
        Written w;
        w.info = *oimg_LayerInfoGet(layer);
        w.pixels.assign(size_t(info.width) * info.height, NAN);
        const int bw = w.info.blockWidth, bh = w.info.blockHeight;
        for (int r0 = 0; r0 < info.height; r0 += bh)
            for (int c0 = 0; c0 < info.width; c0 += bw) {
                if (!written(r0 / bh, c0 / bw)) continue;
                const int rows = std::min(bh, info.height - r0),
                          cols = std::min(bw, info.width - c0);
                img_test::Data d = img_test::Raster(rows, cols, OGDA_F64);
                auto *p = static_cast<double *>(d->data);
                for (int r = 0; r < rows; ++r)
                    for (int c = 0; c < cols; ++c)
                        w.pixels[size_t(r0 + r) * info.width + c0 + c] =
                            p[size_t(r) * d->lineBytes / 8 + c] = value(r0 + r, c0 + c);
                EXPECT_EQ(oimg_LayerWriteWindow(layer, r0, c0, rows, cols, d.get(), &err), 0)
                    << Text(err);
            }
        return w;
    }

    // The values a computation over the layer must see: sampled, without no-data and excluded
    // values, unwritten pixels as no-data (or 0).
    static std::vector<double> Sampled(const Written &w, int sx, int sy,
                                       const std::vector<double> &excluded = {}) {
        std::vector<double> out;
        for (int r = 0; r < w.info.height; r += sy)
            for (int c = 0; c < w.info.width; c += sx) {
                double v = w.At(r, c);
                if (std::isnan(v)) v = w.info.hasNoData ? w.info.noData : 0;
                if (w.info.hasNoData && v == w.info.noData) continue;
                if (std::find(excluded.begin(), excluded.end(), v) != excluded.end()) continue;
                out.push_back(v);
            }
        return out;
    }

    Osta_Statistics Compute(const Osta_ExcludedValues *x, const Osta_SkipFactors *skip,
                            Osta_Histogram **h = nullptr) {
        Report err;
        Osta_Statistics s{};
        EXPECT_EQ(osta_LayerStatisticsCompute(m_layer, x, skip, &s, h, &err), &s) << Text(err);
        return s;
    }

    // The in-memory computation over the whole layer read back, with the no-data value
    // excluded explicitly: the two must agree, histogram counts to the last one.
    void ExpectSameAsInMemory(const Written &w, std::vector<double> excluded,
                              const Osta_SkipFactors *skip) {
        Report err;
        img_test::Data all(oimg_LayerRead(m_layer, nullptr, &err));
        ASSERT_NE(all, nullptr) << Text(err);
        Owned<Osta_ExcludedValues> given, withNoData;
        if (!excluded.empty())
            given.reset(osta_ExcludedValuesCreate(
                MakeArray(1, int32_t(excluded.size()), OGDA_F64, Ogda_Table, excluded).get(),
                nullptr));
        if (w.info.hasNoData) excluded.push_back(w.info.noData);
        if (!excluded.empty())
            withNoData.reset(osta_ExcludedValuesCreate(
                MakeArray(1, int32_t(excluded.size()), OGDA_F64, Ogda_Table, excluded).get(),
                nullptr));
        Osta_Histogram *hLayer = nullptr, *hMemory = nullptr;
        const Osta_Statistics a = Compute(given.get(), skip, &hLayer);
        Osta_Statistics b{};
        ASSERT_EQ(osta_StatisticsCompute(all.get(), withNoData.get(), skip, &b, &hMemory, &err), &b)
            << Text(err);
        Owned<Osta_Histogram> own1(hLayer), own2(hMemory);
        // Sums of reals are merged along other block boundaries: the last bits may differ.
        EXPECT_EQ(a.minimum, b.minimum);
        EXPECT_EQ(a.maximum, b.maximum);
        EXPECT_EQ(a.median, b.median);
        EXPECT_EQ(a.mode, b.mode);
        EXPECT_NEAR(a.mean, b.mean, 1e-13 * std::fabs(b.mean));
        EXPECT_NEAR(a.stddev, b.stddev, 1e-12 * b.stddev);
        ASSERT_TRUE(hLayer && hMemory);
        ASSERT_EQ(hLayer->table->numelements, hMemory->table->numelements);
        EXPECT_EQ(hLayer->binFunction->minLimit, hMemory->binFunction->minLimit);
        EXPECT_EQ(std::memcmp(hLayer->table->data, hMemory->table->data,
                              size_t(hLayer->table->numelements) * sizeof(double)),
                  0);
    }

    Ohfa_File *m_file = nullptr;
    Oimg_Layer *m_layer = nullptr;
    std::vector<Oimg_Layer *> m_more;
};

void ExpectIntegerStatistics(const Osta_Statistics &s, const std::vector<double> &values) {
    ExpectExact(s, Expected(values));
}

auto Everywhere = [](int, int) { return true; };

// Partial edge blocks on both sides; several strips across (512-pixel blocks) and down.
TEST_F(LayerStatistics, IntegerLayersWithPartialEdgeBlocksAreExact) {
    for (const int type : {OGDA_U8, OGDA_S16, OGDA_U4}) {
        SCOPED_TRACE(type);
        const int32_t side = type == OGDA_S16 ? 512 : 24;
        std::mt19937 gen{uint32_t(type)};
        std::vector<double> noise(1300 * 50);
        for (double &v : noise)
            v = type == OGDA_S16 ? double(int(gen() % 2001) - 1000) : double(gen() % 16);
        const Written w = Make(
            img_test::Info(1300, 50, type, side, side / 2),
            [&](int r, int c) { return noise[size_t(r) * 1300 + c]; }, Everywhere);
        ExpectIntegerStatistics(Compute(nullptr, nullptr), Sampled(w, 1, 1));
        ExpectSameAsInMemory(w, {}, nullptr);
        TearDown();
        m_layer = nullptr;
        m_file = nullptr;
    }
}

TEST_F(LayerStatistics, RealLayersMatchTheInMemoryComputation) {
    std::mt19937 gen(7);
    std::normal_distribution<double> hump(1000, 250);
    std::vector<double> noise(333 * 207);
    for (double &v : noise) v = float(hump(gen));
    const Written w = Make(
        img_test::Info(333, 207, OGDA_F32, 40, 30),
        [&](int r, int c) { return noise[size_t(r) * 333 + c]; }, Everywhere);
    const Osta_Statistics s = Compute(nullptr, nullptr);
    const Reference r = Expected(Sampled(w, 1, 1));
    EXPECT_EQ(s.minimum, r.minimum);
    EXPECT_EQ(s.maximum, r.maximum);
    EXPECT_EQ(s.median, r.lowerMedian);
    EXPECT_NEAR(s.mean, r.mean, 1e-9 * r.mean);
    EXPECT_NEAR(s.stddev, r.stddev, 1e-9 * r.stddev);
    ExpectSameAsInMemory(w, {}, nullptr);
    const Osta_SkipFactors skip{3, 4};
    ExpectSameAsInMemory(w, {noise[0], noise[7]}, &skip);
}

// No-data pixels and blocks never written are left out; without a no-data value the blocks
// never written are zeros and count.
TEST_F(LayerStatistics, NoDataAndBlocksNeverWrittenAreLeftOut) {
    Oimg_LayerInfo info = img_test::Info(100, 70, OGDA_U8, 16, 16);
    info.hasNoData = 1;
    info.noData = 200;
    const auto value = [](int r, int c) { return double((r * 31 + c * 17) % 211); };
    const auto some = [](int br, int bc) { return (br + bc) % 3 != 0; };
    Written w = Make(info, value, some);
    const std::vector<double> expect = Sampled(w, 1, 1);
    ASSERT_LT(expect.size(), size_t(100 * 70 * 3 / 4));
    ExpectIntegerStatistics(Compute(nullptr, nullptr), expect);
    ExpectSameAsInMemory(w, {3, 5}, nullptr);

    // The same pixels on a layer without no-data: unwritten blocks add zeros, 200 counts.
    TearDown();
    info.hasNoData = 0;
    w = Make(info, value, some);
    const std::vector<double> withZeros = Sampled(w, 1, 1);
    EXPECT_EQ(withZeros.size(), size_t(100 * 70));
    ExpectIntegerStatistics(Compute(nullptr, nullptr), withZeros);
}

TEST_F(LayerStatistics, SkipFactorsCountFromTheLayersOrigin) {
    Oimg_LayerInfo info = img_test::Info(97, 89, OGDA_U16, 16, 8);
    info.hasNoData = 1;
    info.noData = 7;
    const Written w = Make(
        info, [](int r, int c) { return double((r * 1009 + c * 7) % 5000); },
        [](int br, int bc) { return br != 2 || bc != 3; });
    // Factors that divide the block sides and ones that do not; a row step above the block
    // height leaves whole strips unread.
    for (const auto &[sx, sy] :
         std::vector<std::pair<int, int>>{{2, 2}, {3, 5}, {16, 8}, {5, 19}}) {
        SCOPED_TRACE(std::to_string(sx) + " x " + std::to_string(sy));
        const Osta_SkipFactors skip{sx, sy};
        ExpectIntegerStatistics(Compute(nullptr, &skip), Sampled(w, sx, sy));
    }
    Owned<Osta_ExcludedValues> x(osta_ExcludedValuesCreate(
        MakeArray(1, 2, OGDA_F64, Ogda_Table, std::vector<double>{0, 14}).get(), nullptr));
    const Osta_SkipFactors skip{3, 5};
    ExpectIntegerStatistics(Compute(x.get(), &skip), Sampled(w, 3, 5, {0, 14}));
}

TEST_F(LayerStatistics, UnsuitableLayersAndArgumentsAreRefused) {
    Report err;
    Osta_Statistics s{};
    EXPECT_EQ(osta_LayerStatisticsCompute(nullptr, nullptr, nullptr, &s, nullptr, &err), nullptr);
    EXPECT_EQ(err.get()->number, 1);
    Make(
        img_test::Info(10, 10, OGDA_U8), [](int, int) { return 1.0; }, Everywhere);
    const Osta_SkipFactors bad{1, 0};
    EXPECT_EQ(osta_LayerStatisticsCompute(m_layer, nullptr, &bad, &s, nullptr, &err), nullptr);
    EXPECT_EQ(err.Message(), L"Bad skip factors 1, 0 (1 or more allowed)");
    // Every value excluded.
    Owned<Osta_ExcludedValues> x(osta_ExcludedValuesCreate(
        MakeArray(1, 1, OGDA_F64, Ogda_Table, std::vector<double>{1}).get(), nullptr));
    EXPECT_EQ(osta_LayerStatisticsCompute(m_layer, x.get(), nullptr, &s, nullptr, &err), nullptr);
    EXPECT_EQ(err.Message(), L"No values left to compute statistics from");
    EXPECT_EQ(err.Function(), L"osta_LayerStatisticsCompute");

    const Oimg_LayerInfo pairs = img_test::Info(8, 8, OGDA_C64);
    Oimg_Layer *complex = oimg_LayerCreate(m_file, L"/Image", L"Complex", &pairs, &err);
    ASSERT_NE(complex, nullptr) << Text(err);
    EXPECT_EQ(osta_LayerStatisticsCompute(complex, nullptr, nullptr, &s, nullptr, &err), nullptr);
    EXPECT_EQ(err.get()->number, 1);
    oimg_LayerClose(complex, nullptr);

    EXPECT_EQ(osta_LayerStatisticsUpdate(m_file, L"/Image/Missing", nullptr, nullptr, &s, &err),
              -1);
    EXPECT_EQ(err.Message(), L"Cannot open layer /Image/Missing");
    EXPECT_EQ(osta_LayerStatisticsUpdate(nullptr, L"/Image/Layer", nullptr, nullptr, &s, &err), -1);
    EXPECT_EQ(err.Message(), L"Invalid file or layer path");
}

// A position counts only where no layer holds its own no-data value, an excluded value or
// NaN; layers of different pixel types and blocks, partly written. Checked against a plain
// two-pass covariance of the positions kept.
TEST_F(LayerStatistics, CovarianceOfLayersOfDifferentTypesAndBlocks) {
    Oimg_LayerInfo first = img_test::Info(61, 45, OGDA_U8, 16, 16);
    first.hasNoData = 1;
    first.noData = 0;
    Oimg_LayerInfo third = img_test::Info(61, 45, OGDA_F32, 64, 4);
    third.hasNoData = 1;
    third.noData = -1;
    std::vector<Written> w;
    w.push_back(Make(
        first, [](int r, int c) { return double((r * 13 + c * 7) % 97); },
        [](int br, int bc) { return br != 1 || bc != 2; }));
    w.push_back(Make(
        img_test::Info(61, 45, OGDA_S16, 32, 8),
        [](int r, int c) { return double((r * c) % 301 - 150); }, Everywhere, L"Second"));
    w.push_back(Make(
        third, [](int r, int c) { return (r + c) % 11 ? 1000.5 + r * 0.25 - c : NAN; }, Everywhere,
        L"Third"));
    const std::vector<Oimg_Layer *> layers{m_layer, m_more[0], m_more[1]};
    const std::vector<double> excluded{5, 7};
    Owned<Osta_ExcludedValues> x(
        osta_ExcludedValuesCreate(MakeArray(1, 2, OGDA_F64, Ogda_Table, excluded).get(), nullptr));
    for (const auto &[sx, sy] : std::vector<std::pair<int, int>>{{1, 1}, {2, 3}}) {
        SCOPED_TRACE(std::to_string(sx) + " x " + std::to_string(sy));
        std::vector<std::vector<double>> kept(3);
        for (int r = 0; r < 45; r += sy)
            for (int c = 0; c < 61; c += sx) {
                bool keep = true;
                for (const Written &l : w) {
                    double v = l.At(r, c);
                    if (std::isnan(v)) v = l.info.hasNoData ? l.info.noData : 0;
                    keep = keep && !(l.info.hasNoData && v == l.info.noData) &&
                           std::find(excluded.begin(), excluded.end(), v) == excluded.end();
                }
                for (size_t l = 0; keep && l < 3; ++l)
                    kept[l].push_back(std::isnan(w[l].At(r, c)) ? 0 : w[l].At(r, c));
            }
        ASSERT_GT(kept[0].size(), 100u);
        std::vector<long double> mean(3, 0);
        for (size_t l = 0; l < 3; ++l)
            for (double v : kept[l]) mean[l] += v / kept[l].size();

        Report err;
        const Osta_SkipFactors skip{sx, sy};
        Owned<Osta_Covariance> cov(
            osta_LayerCovarianceCompute(layers.data(), 3, x.get(), &skip, nullptr, &err));
        ASSERT_NE(cov, nullptr) << Text(err);
        const auto *m = static_cast<const double *>(cov->covariance.data);
        for (size_t a = 0; a < 3; ++a)
            for (size_t b = 0; b < 3; ++b) {
                long double s = 0;
                for (size_t i = 0; i < kept[a].size(); ++i)
                    s += (kept[a][i] - mean[a]) * (kept[b][i] - mean[b]);
                const double expect = double(s / (kept[a].size() - 1));
                EXPECT_NEAR(m[a * 3 + b], expect, 1e-9 * std::fabs(expect) + 1e-12) << a << b;
            }
    }

    Report err;
    // Layers of another size, and no layers, are refused.
    const Oimg_LayerInfo narrower = img_test::Info(60, 45, OGDA_U8);
    Oimg_Layer *small = oimg_LayerCreate(m_file, L"/Image", L"Small", &narrower, &err);
    ASSERT_NE(small, nullptr) << Text(err);
    m_more.push_back(small);
    const std::vector<Oimg_Layer *> mixed{m_layer, small};
    EXPECT_EQ(osta_LayerCovarianceCompute(mixed.data(), 2, nullptr, nullptr, nullptr, &err),
              nullptr);
    EXPECT_EQ(err.get()->number, 2);
    EXPECT_EQ(osta_LayerCovarianceCompute(layers.data(), 0, nullptr, nullptr, nullptr, &err),
              nullptr);
    EXPECT_EQ(err.Message(), L"Bad layer stack");
}

// The update stores statistics, exclusions, skip factors and the histogram with the layer,
// where the readers find them; a table's own bin function is kept.
TEST_F(LayerStatistics, UpdateStoresEverythingWithTheLayer) {
    const Written w = Make(
        img_test::Info(70, 50, OGDA_U8, 32, 32),
        [](int r, int c) { return double(10 + (r * 3 + c) % 90); }, Everywhere);
    ASSERT_EQ(oimg_LayerFlush(m_layer, nullptr), 0);
    Owned<Osta_ExcludedValues> x(osta_ExcludedValuesCreate(
        MakeArray(1, 1, OGDA_F64, Ogda_Table, std::vector<double>{11}).get(), nullptr));
    const Osta_SkipFactors skip{2, 3};
    Report err;
    Osta_Statistics s{};
    ASSERT_EQ(osta_LayerStatisticsUpdate(m_file, L"/Image/Layer", x.get(), &skip, &s, &err), 0)
        << Text(err);
    const std::vector<double> values = Sampled(w, 2, 3, {11});
    ExpectIntegerStatistics(s, values);

    Osta_Statistics read{};
    ASSERT_EQ(osta_StatisticsRead(m_file, L"/Image/Layer", &read, OMSC_FALSE, &err), &read);
    EXPECT_EQ(std::memcmp(&read, &s, sizeof s), 0);
    Osta_ExcludedValues *stored = nullptr;
    EXPECT_TRUE(osta_StatisticsAreValuesExcluded(m_file, L"/Image/Layer", &stored, &err));
    Owned<Osta_ExcludedValues> storedOwned(stored);
    ASSERT_NE(stored, nullptr);
    EXPECT_EQ(static_cast<double *>(stored->valueBD->data)[0], 11);
    Owned<Osta_SkipFactors> f(
        osta_StatisticsGetSkipFactors(m_file, L"/Image/Layer", nullptr, &err));
    ASSERT_NE(f, nullptr);
    EXPECT_EQ(f->skipFactorX, 2);
    EXPECT_EQ(f->skipFactorY, 3);

    // Direct bins minimum .. maximum, each holding its value's count.
    Odsc_Table *table = odsc_TableOpen(m_file, L"/Image/Layer", &err);
    ASSERT_NE(table, nullptr) << Text(err);
    Owned<Osta_Histogram> h(
        osta_HistogramRead(table, nullptr, 0, odsc_TableGetNumRows(table), &err));
    ASSERT_NE(h, nullptr) << Text(err);
    EXPECT_EQ(h->binFunction->minLimit, s.minimum);
    EXPECT_EQ(h->table->numelements, int32_t(s.maximum - s.minimum) + 1);
    const auto *counts = static_cast<const double *>(h->table->data);
    for (int32_t b = 0; b < h->table->numelements; ++b)
        EXPECT_EQ(counts[b], double(std::count(values.begin(), values.end(), s.minimum + b)));

    // A table with bins of its own keeps them; without exclusions and skip factors those
    // entries are rewritten to say so.
    Owned<Odsc_BinFunction> ten(
        odsc_BinFunctionCreate(10, ODSC_BIN_LINEAR, 0, 100, nullptr, nullptr));
    ASSERT_NE(odsc_TableResize(table, 10, &err), nullptr) << Text(err);
    ASSERT_EQ(odsc_TableSetBinFunction(table, ten.get(), &err), 0) << Text(err);
    ASSERT_EQ(odsc_TableClose(table, &err), 0) << Text(err);
    ASSERT_EQ(osta_LayerStatisticsUpdate(m_file, L"/Image/Layer", nullptr, nullptr, nullptr, &err),
              0)
        << Text(err);
    EXPECT_FALSE(osta_StatisticsAreValuesExcluded(m_file, L"/Image/Layer", nullptr, &err));
    f.reset(osta_StatisticsGetSkipFactors(m_file, L"/Image/Layer", nullptr, &err));
    EXPECT_EQ(f->skipFactorX, 1);
    table = odsc_TableOpen(m_file, L"/Image/Layer", &err);
    ASSERT_NE(table, nullptr) << Text(err);
    h.reset(osta_HistogramRead(table, nullptr, 0, 10, &err));
    ASSERT_NE(h, nullptr) << Text(err);
    EXPECT_EQ(h->binFunction->type, ODSC_BIN_LINEAR);
    std::vector<double> expect(10, 0);
    for (double v : Sampled(w, 1, 1)) expect[size_t(v / 10)] += 1;
    EXPECT_EQ(std::vector<double>(static_cast<double *>(h->table->data),
                                  static_cast<double *>(h->table->data) + 10),
              expect);
    odsc_TableClose(table, nullptr);
}

} // namespace
