// Statistics records: designs against the record layouts, create/copy/delete, the histogram's
// bin-count adjustment, bin-function replacement and re-binning, osta_Init.
#include <cstddef>
#include <thread>

#include "core/heap_seam.hpp"
#include "osta_test_util.hpp"

namespace {

using orvik::core::testing::ScopedAllocationFailure;

struct ItemExpectation {
    const wchar_t *name;
    int32_t type;
    size_t offset;
    int32_t indirect;
};

void ExpectDesign(Omif_Design *(*fetch)(Oerr_ErrorReport **), const wchar_t *name, size_t size,
                  const std::vector<ItemExpectation> &items) {
    Oerr_ErrorReport *err = nullptr;
    Owned<Omif_Design> a(fetch(&err)), b(fetch(&err));
    ASSERT_NE(a, nullptr);
    ASSERT_NE(b, nullptr);
    EXPECT_NE(a.get(), b.get()); // each caller owns its copy
    EXPECT_STREQ(a->name, name);
    EXPECT_EQ(size_t(a->hostSize), size);
    const Omif_Item *item = a->items;
    for (const auto &e : items) {
        ASSERT_NE(item, nullptr);
        EXPECT_STREQ(item->name, e.name);
        EXPECT_EQ(item->type, e.type);
        EXPECT_EQ(size_t(item->offset), e.offset) << e.name;
        EXPECT_EQ(item->indirect, e.indirect);
        item = item->next;
    }
    EXPECT_EQ(item, nullptr);
}

TEST(OstaDesigns, RecordsAreLaidOutExactlyAsTheirDesigns) {
    ExpectDesign(osta_StatisticsDesignFetch, L"Osta_Statistics", sizeof(Osta_Statistics),
                 {{L"minimum", OMIF_ITEM_DOUBLE, offsetof(Osta_Statistics, minimum), 0},
                  {L"maximum", OMIF_ITEM_DOUBLE, offsetof(Osta_Statistics, maximum), 0},
                  {L"mean", OMIF_ITEM_DOUBLE, offsetof(Osta_Statistics, mean), 0},
                  {L"median", OMIF_ITEM_DOUBLE, offsetof(Osta_Statistics, median), 0},
                  {L"mode", OMIF_ITEM_DOUBLE, offsetof(Osta_Statistics, mode), 0},
                  {L"stddev", OMIF_ITEM_DOUBLE, offsetof(Osta_Statistics, stddev), 0}});
    ExpectDesign(osta_CovarianceDesignFetch, L"Osta_Covariance", sizeof(Osta_Covariance),
                 {{L"covariance", OMIF_ITEM_BASEDATA, 0, 0}});
    ExpectDesign(osta_ExcludedValuesDesignFetch, L"Osta_ExcludedValues",
                 sizeof(Osta_ExcludedValues), {{L"valueBD", OMIF_ITEM_BASEDATA, 0, 1}});
    ExpectDesign(osta_SkipFactorsDesignFetch, L"Osta_SkipFactors", sizeof(Osta_SkipFactors),
                 {{L"skipFactorX", OMIF_ITEM_LONG, offsetof(Osta_SkipFactors, skipFactorX), 0},
                  {L"skipFactorY", OMIF_ITEM_LONG, offsetof(Osta_SkipFactors, skipFactorY), 0}});
}

TEST(OstaDesigns, FetchesFromManyThreadsAgree) {
    std::vector<std::thread> threads;
    std::vector<int> ok(8, 0);
    for (int t = 0; t < 8; ++t)
        threads.emplace_back([&ok, t] {
            Oerr_ErrorReport *err = nullptr;
            Owned<Omif_Design> d(osta_CovarianceDesignFetch(&err));
            ok[t] = d && !err && d->hostSize == int32_t(sizeof(Osta_Covariance));
        });
    for (auto &t : threads) t.join();
    EXPECT_EQ(ok, std::vector<int>(8, 1));
}

TEST(OstaInit, NeedsTheToolkit) {
    Oerr_ErrorReport *err = nullptr;
    EXPECT_EQ(osta_Init(nullptr, &err), OMSC_FALSE);
    ExpectReport(err, L"osta_Init", 1, L"Toolkit has not been initialized");
    int toolkit = 0;
    EXPECT_EQ(osta_Init(&toolkit, &err), OMSC_TRUE);
    EXPECT_EQ(err, nullptr);
}

TEST(OstaRecords, StatisticsSkipFactorsAndExcludedValuesCopy) {
    Oerr_ErrorReport *err = nullptr;
    Owned<Osta_Statistics> s(osta_StatisticsCreate(&err));
    ASSERT_NE(s, nullptr);
    EXPECT_EQ(s->stddev, 0);
    *s = {1, 2, 3, 4, 5, 6};
    Owned<Osta_Statistics> c(osta_StatisticsCopy(s.get(), nullptr, &err));
    EXPECT_EQ(c->mode, 5);
    EXPECT_EQ(osta_StatisticsCopy(nullptr, c.get(), &err), nullptr);
    ExpectReport(err, L"osta_StatisticsCopy", 1, nullptr);

    EXPECT_EQ(osta_SkipFactorsCreate(0, 1, &err), nullptr);
    ExpectReport(err, L"osta_SkipFactorsCreate", 1, L"Bad skip factors 0, 1 (1 or more allowed)");
    Owned<Osta_SkipFactors> k(osta_SkipFactorsCreate(2, 3, &err));
    Osta_SkipFactors into{9, 9};
    EXPECT_EQ(osta_SkipFactorsCopy(k.get(), &into, &err), &into);
    EXPECT_EQ(into.skipFactorY, 3);

    auto values = MakeArray<int>(2, 1, OGDA_S16, Ogda_Table, {-7, 300});
    Owned<Osta_ExcludedValues> e(osta_ExcludedValuesCreate(values.get(), &err));
    ASSERT_NE(e, nullptr);
    ASSERT_EQ(e->valueBD->datatype, OGDA_F64);
    EXPECT_EQ(static_cast<double *>(e->valueBD->data)[0], -7);
    Owned<Osta_ExcludedValues> none(osta_ExcludedValuesCreate(nullptr, &err));
    ASSERT_NE(none, nullptr);
    EXPECT_EQ(none->valueBD, nullptr);
    EXPECT_EQ(osta_ExcludedValuesCopy(e.get(), none.get(), &err), none.get());
    EXPECT_EQ(static_cast<double *>(none->valueBD->data)[1], 300);
    auto raster = MakeArray<int>(1, 1, OGDA_C64, Ogda_Raster, {1});
    EXPECT_EQ(osta_ExcludedValuesCreate(raster.get(), &err), nullptr);
    ExpectReport(err, L"osta_ExcludedValuesCreate", 1, L"Excluded values must be a numeric table");
}

TEST(OstaRecords, CovarianceIsASquareMatrixPerLayerCount) {
    Oerr_ErrorReport *err = nullptr;
    EXPECT_EQ(osta_CovarianceCreate(0, &err), nullptr);
    ExpectReport(err, L"osta_CovarianceCreate", 1, nullptr);
    Owned<Osta_Covariance> a(osta_CovarianceCreate(3, &err));
    ASSERT_NE(a, nullptr);
    EXPECT_EQ(a->covariance.objecttype, Ogda_Matrix);
    EXPECT_EQ(a->covariance.numrows, 3);
    EXPECT_EQ(a->covariance.datatype, OGDA_F64);
    static_cast<double *>(a->covariance.data)[4] = 2.5;
    Owned<Osta_Covariance> b(osta_CovarianceCreate(1, &err));
    EXPECT_EQ(osta_CovarianceCopy(a.get(), b.get(), &err), b.get());
    EXPECT_EQ(b->covariance.numcolumns, 3);
    EXPECT_EQ(static_cast<double *>(b->covariance.data)[4], 2.5);
    EXPECT_NE(b->covariance.data, a->covariance.data);
    osta_CovarianceDestroy(b.get(), &err);
    EXPECT_EQ(b->covariance.data, nullptr);
}

TEST(OstaRecords, ColorStacksHoldAtMostFourComponents) {
    Oerr_ErrorReport *err = nullptr;
    EXPECT_EQ(osta_ColorTableStackCreate(5, 16, &err), nullptr);
    ExpectReport(err, L"osta_ColorTableStackCreate", 1,
                 L"Bad number of color components 5 (1 to 4 allowed)");
    Owned<Ogda_BaseDataStack> s(osta_ColorTableStackCreate(4, 16, &err));
    ASSERT_NE(s, nullptr);
    static_cast<double *>(s->layers[OSTA_OPACITY]->data)[15] = 0.5;
    Owned<Ogda_BaseDataStack> c(osta_ColorTableStackCopy(s.get(), nullptr, &err));
    ASSERT_NE(c, nullptr);
    EXPECT_EQ(static_cast<double *>(c->layers[OSTA_OPACITY]->data)[15], 0.5);
    EXPECT_EQ(static_cast<double *>(c->layers[OSTA_RED]->data)[0], 0);
    Owned<Ogda_BaseDataStack> small(osta_ColorTableStackCreate(3, 2, &err));
    EXPECT_EQ(osta_ColorTableStackCopy(s.get(), small.get(), &err), small.get());
    EXPECT_EQ(small->count, 4);
    EXPECT_EQ(small->layers[3]->numrows, 16);

    Owned<Ogda_BaseData> names(osta_ClassNamesCreate(3, &err));
    ASSERT_NE(names, nullptr);
    EXPECT_EQ(static_cast<wchar_t **>(names->data)[2], nullptr);
    const wchar_t *water = L"Water";
    ogda_BaseDataSetScalar(names.get(), &water, OGDA_REGION_ALL, 0, &err);
    Owned<Ogda_BaseData> other(osta_ClassNamesCreate(1, &err));
    EXPECT_EQ(osta_ClassNamesCopy(names.get(), other.get(), &err), other.get());
    ASSERT_EQ(other->numrows, 3);
    EXPECT_STREQ(static_cast<wchar_t **>(other->data)[2], L"Water");
    EXPECT_EQ(osta_ContrastTableCopy(names.get(), nullptr, &err), nullptr); // strings, not reals
    ExpectReport(err, L"osta_ContrastTableCopy", 1, nullptr);
    EXPECT_EQ(osta_ContrastTableCreate(0, &err), nullptr);
    ExpectReport(err, L"osta_ContrastTableCreate", 1,
                 L"Bad number of bins 0 (1 to 16777216 allowed)");
}

Owned<Odsc_BinFunction> Linear(int32_t n, double lo, double hi) {
    return Owned<Odsc_BinFunction>(
        odsc_BinFunctionCreate(n, ODSC_BIN_LINEAR, lo, hi, nullptr, nullptr));
}

TEST(OstaHistogram, BinCountFollowsTheBinFunctionWithAWarning) {
    auto f = Linear(10, 0, 1);
    Oerr_ErrorReport *err = nullptr;
    WarningCapture warnings;
    Owned<Osta_Histogram> same(osta_HistogramCreate(f.get(), 10, &err));
    ASSERT_NE(same, nullptr);
    EXPECT_TRUE(warnings.Seen().empty());
    Owned<Osta_Histogram> h(osta_HistogramCreate(f.get(), 5, &err));
    ASSERT_NE(h, nullptr);
    EXPECT_EQ(err, nullptr);
    EXPECT_EQ(h->table->numrows, 10);
    EXPECT_NE(h->binFunction, f.get()); // a copy is adopted
    ASSERT_EQ(warnings.Seen().size(), 1u);
    EXPECT_EQ(warnings.Seen()[0].first, L"osta_HistogramCreate");
    EXPECT_EQ(warnings.Seen()[0].second,
              L"Number of bins adjusted to match passed in bin function");

    Owned<Osta_Histogram> direct(osta_HistogramCreate(nullptr, 4, &err));
    ASSERT_NE(direct, nullptr);
    EXPECT_EQ(direct->binFunction->type, ODSC_BIN_DIRECT);
    EXPECT_EQ(osta_HistogramCreate(nullptr, 0, &err), nullptr);
    ExpectReport(err, L"osta_HistogramCreate", 3, L"odsc_BinFunctionCreate fail");
    Odsc_BinFunction broken = *f;
    broken.maxLimit = -1;
    EXPECT_EQ(osta_HistogramCreate(&broken, 10, &err), nullptr);
    ExpectReport(err, L"osta_HistogramCreate", 1, L"odsc_BinFunctionCopy fail");
}

TEST(OstaHistogram, ReplaceResizesAndClearsAndTranslateRebins) {
    Oerr_ErrorReport *err = nullptr;
    Owned<Osta_Histogram> h(osta_HistogramCreate(nullptr, 10, &err)); // values 0..9
    auto *c = static_cast<double *>(h->table->data);
    for (int i = 0; i < 10; ++i) c[i] = i + 1;
    auto two = Linear(2, 0, 10);
    Owned<Osta_Histogram> coarse(osta_HistogramCreate(two.get(), 2, &err));
    ASSERT_EQ(osta_HistogramTranslate(h.get(), coarse.get(), &err), coarse.get());
    const auto *cc = static_cast<double *>(coarse->table->data);
    EXPECT_EQ(cc[0], 1 + 2 + 3 + 4 + 5);
    EXPECT_EQ(cc[1], 6 + 7 + 8 + 9 + 10);

    Odsc_BinFunction broken = *two;
    broken.numBins = 0;
    EXPECT_EQ(osta_HistogramBinFunctionReplace(h.get(), &broken, &err), nullptr);
    ExpectReport(err, L"osta_HistogramBinFunctionReplace", 2, L"odsc_BinFunctionCopy fail");
    EXPECT_EQ(h->table->numrows, 10); // unchanged
    EXPECT_EQ(static_cast<double *>(h->table->data)[9], 10);
    auto many = Linear(300, 0, 1);
    ASSERT_EQ(osta_HistogramBinFunctionReplace(h.get(), many.get(), &err), h.get());
    EXPECT_EQ(h->table->numrows, 300);
    EXPECT_EQ(h->binFunction->numBins, 300);
    for (int i = 0; i < 300; ++i) ASSERT_EQ(static_cast<double *>(h->table->data)[i], 0);

    Owned<Osta_Histogram> copy(osta_HistogramCopy(coarse.get(), nullptr, &err));
    ASSERT_NE(copy, nullptr);
    EXPECT_EQ(static_cast<double *>(copy->table->data)[1], 40);
    EXPECT_EQ(osta_HistogramCopy(coarse.get(), h.get(), &err), h.get());
    EXPECT_EQ(h->table->numrows, 2);
    Osta_Histogram bad{two.get(), nullptr};
    EXPECT_EQ(osta_HistogramCopy(&bad, nullptr, &err), nullptr);
    ExpectReport(err, L"osta_HistogramCopy", 1,
                 L"Input histogram not an Osta_Histogram (wrong data type)");
}

// Fails the 1st, 2nd, ... allocation of `attempt` until it succeeds. Every failed round must
// end in a report of `function` and leave nothing allocated (ASan checks the leaks). Returns
// the number of failed rounds.
template <class Attempt> int Sweep(const wchar_t *function, Attempt attempt) {
    for (long n = 1; n < 200; ++n) {
        Oerr_ErrorReport *err = nullptr;
        bool ok;
        {
            ScopedAllocationFailure fail(n);
            ok = attempt(&err);
        }
        if (ok) {
            EXPECT_EQ(err, nullptr);
            return int(n - 1);
        }
        EXPECT_NE(err, nullptr) << n;
        if (err) {
            EXPECT_STREQ(err->function, function) << n;
        }
        oerr_DeleteErrorReportEx(&err);
    }
    ADD_FAILURE() << "never succeeded";
    return 0;
}

TEST(OstaHistogram, FailedAllocationsLeaveNothingBehind) {
    auto f = Linear(8, 0, 1);
    EXPECT_GE(Sweep(L"osta_HistogramCreate",
                    [&](Oerr_ErrorReport **err) {
                        Owned<Osta_Histogram> h(osta_HistogramCreate(f.get(), 8, err));
                        return h != nullptr;
                    }),
              3);
    Owned<Osta_Histogram> source(osta_HistogramCreate(f.get(), 8, nullptr));
    EXPECT_GE(Sweep(L"osta_HistogramCopy",
                    [&](Oerr_ErrorReport **err) {
                        Owned<Osta_Histogram> h(osta_HistogramCopy(source.get(), nullptr, err));
                        return h != nullptr;
                    }),
              3);
    auto data =
        MakeArray(4, 4, OGDA_F32, Ogda_Raster,
                  std::vector<double>{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16});
    EXPECT_GE(Sweep(L"osta_StatisticsCompute",
                    [&](Oerr_ErrorReport **err) {
                        Osta_Histogram *h = nullptr;
                        Owned<Osta_Statistics> s(
                            osta_StatisticsCompute(data.get(), nullptr, nullptr, nullptr, &h, err));
                        Owned<Osta_Histogram> own(h);
                        return s != nullptr && h != nullptr;
                    }),
              3);
}

} // namespace
