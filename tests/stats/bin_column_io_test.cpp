// Histograms, colour tables, contrast tables and class names in a layer's descriptor table:
// round trips through a real file, the bin ranges, the "Overlay" column, the colour stack and
// every message of the writers and readers.
#include "dsc/table_test_util.hpp"
#include "osta_test_util.hpp"

namespace {

using namespace dsc_test;
using hfa_test::Report;

DataPtr Ramp(int32_t n, double scale) {
    std::vector<double> v(static_cast<size_t>(n));
    for (int32_t i = 0; i < n; ++i) v[static_cast<size_t>(i)] = i * scale;
    return Reals(v);
}

class StoredBins : public LayerFileTest {
  protected:
    void SetUp() override {
        LayerFileTest::SetUp();
        m_table.reset(odsc_TableCreate(m_file, L"/Layer_1", 256, nullptr));
        ASSERT_NE(m_table, nullptr);
    }
    void TearDown() override {
        m_table.reset();
        LayerFileTest::TearDown();
    }
    std::vector<double> Column(const wchar_t *name) {
        ColumnPtr c(odsc_ColumnOpen(m_table.get(), name, nullptr));
        EXPECT_NE(c, nullptr) << "column " << name;
        if (!c) return {};
        DataPtr v(
            odsc_ColumnRead(c.get(), 0, odsc_TableGetNumRows(m_table.get()), nullptr, nullptr));
        return RealsOf(v.get());
    }
    void MakeColumn(const wchar_t *name, Odsc_ColumnType type) {
        ColumnPtr c(odsc_ColumnCreate(m_table.get(), name, type, nullptr));
        ASSERT_NE(c, nullptr);
    }
    Owned<Osta_Histogram> Counts() {
        Owned<Osta_Histogram> h(osta_HistogramCreate(nullptr, 256, nullptr));
        for (int i = 0; i < 256; ++i) static_cast<double *>(h->table->data)[i] = 1000 + i;
        return h;
    }

    TablePtr m_table;
};

TEST_F(StoredBins, ToTheEndFromBinTenWrites246ValuesAndLeavesTheRest) {
    DataPtr red = Ramp(256, 1.0 / 255);
    Report err;
    EXPECT_EQ(osta_ColorTableWrite(m_table.get(), red.get(), OSTA_RED, 10, -1, &err), 246)
        << err.Message();
    const std::vector<double> stored = Column(L"Red");
    ASSERT_EQ(stored.size(), 256u);
    for (int i = 0; i < 256; ++i) EXPECT_EQ(stored[i], i < 10 ? 0 : i * (1.0 / 255)) << i;
}

TEST_F(StoredBins, OpacityGoesIntoAnExistingOverlayColumn) {
    MakeColumn(L"Overlay", ODSC_COLUMN_REAL);
    DataPtr alpha = Ramp(256, 0.5 / 255);
    Report err;
    ASSERT_EQ(osta_ColorTableWrite(m_table.get(), alpha.get(), OSTA_OPACITY, 0, -1, &err), 256);
    EXPECT_FALSE(odsc_ColumnExist(m_table.get(), L"Opacity", nullptr));
    EXPECT_EQ(Column(L"Overlay")[200], 200 * (0.5 / 255));
    // Read back through the same name.
    Owned<Ogda_BaseData> back(
        osta_ColorTableRead(m_table.get(), nullptr, OSTA_OPACITY, 0, 256, &err));
    ASSERT_NE(back, nullptr) << err.Message();
    EXPECT_EQ(RealsOf(back.get()), RealsOf(alpha.get()));
}

TEST_F(StoredBins, RangesAreCheckedStartBinFirst) {
    DataPtr v = Ramp(256, 0.001);
    Report err;
    const std::pair<int32_t, int32_t> cases[] = {{-1, 0}, {-1, 5}, {0, 0}, {3, -2}};
    const wchar_t *color[] = {L"Invalid starting bin for color table:  -1",
                              L"Invalid starting bin for color table:  -1",
                              L"Negative number of bins requested from color table:  0",
                              L"Negative number of bins requested from color table:  -2"};
    const wchar_t *histogram[] = {L"Invalid starting bin for histogram:  -1",
                                  L"Invalid starting bin for histogram:  -1",
                                  L"Non-positive number of bins requested from histogram:  0",
                                  L"Non-positive number of bins requested from histogram:  -2"};
    const wchar_t *contrast[] = {L"Invalid starting bin for contrast table:  -1",
                                 L"Invalid starting bin for contrast table:  -1",
                                 L"Negative number of bins requested from contrast table:  0",
                                 L"Negative number of bins requested from contrast table:  -2"};
    Owned<Osta_Histogram> h = Counts();
    for (size_t i = 0; i < 4; ++i) {
        const auto [start, n] = cases[i];
        EXPECT_EQ(osta_ColorTableWrite(m_table.get(), v.get(), OSTA_GREEN, start, n, &err), -1);
        EXPECT_EQ(err.Message(), color[i]);
        EXPECT_EQ(err.Function(), L"osta_ColorTableWrite");
        EXPECT_EQ(osta_HistogramWrite(m_table.get(), h.get(), start, n, &err), -1);
        EXPECT_EQ(err.Message(), histogram[i]);
        EXPECT_EQ(osta_ContrastTableWrite(m_table.get(), v.get(), start, n, &err), -1);
        EXPECT_EQ(err.Message(), contrast[i]);
    }
    // Nothing was created by a refused write.
    EXPECT_FALSE(odsc_ColumnExist(m_table.get(), L"Green", nullptr));
    // Past the end of the table, or of the record.
    EXPECT_EQ(osta_ColorTableWrite(m_table.get(), v.get(), OSTA_GREEN, 256, -1, &err), -1);
    EXPECT_EQ(err.Message(), L"Negative number of bins requested from color table:  0");
    DataPtr shortValues = Ramp(20, 0.01);
    EXPECT_EQ(osta_ColorTableWrite(m_table.get(), shortValues.get(), OSTA_GREEN, 10, 11, &err), -1);
    EXPECT_EQ(err.get()->number, 8);
    EXPECT_EQ(osta_ColorTableWrite(m_table.get(), v.get(), 4, 0, 1, &err), -1);
    EXPECT_EQ(err.Message(), L"Invalid color component 4");
    EXPECT_EQ(osta_ColorTableWrite(nullptr, v.get(), 0, 0, 1, &err), -1);
}

TEST_F(StoredBins, HistogramRoundTripsAndItsColumnTypeIsChecked) {
    Owned<Osta_Histogram> h = Counts();
    Report err;
    ASSERT_EQ(osta_HistogramWrite(m_table.get(), h.get(), 0, -1, &err), 256) << err.Message();
    EXPECT_GT(osta_HistogramGetTimeStamp(m_file, L"/Layer_1", &err), 1.6e9);
    EXPECT_EQ(osta_HistogramGetTimeStamp(m_file, L"/Layer_2", &err), 0);
    m_table.reset();
    Reopen(true);
    m_table.reset(odsc_TableOpen(m_file, L"/Layer_1", nullptr));
    Owned<Osta_Histogram> r(osta_HistogramRead(m_table.get(), nullptr, 0, 256, &err));
    ASSERT_NE(r, nullptr) << err.Message();
    EXPECT_EQ(RealsOf(r->table), RealsOf(h->table));
    EXPECT_EQ(r->binFunction->type, ODSC_BIN_DIRECT);
    // A part into a given histogram: only those bins change.
    Owned<Osta_Histogram> part(osta_HistogramCreate(nullptr, 256, nullptr));
    EXPECT_EQ(osta_HistogramRead(m_table.get(), part.get(), 250, 6, &err), part.get());
    EXPECT_EQ(static_cast<double *>(part->table->data)[249], 0);
    EXPECT_EQ(static_cast<double *>(part->table->data)[255], 1255);
    Owned<Osta_Histogram> small(osta_HistogramCreate(nullptr, 8, nullptr));
    EXPECT_EQ(osta_HistogramRead(m_table.get(), small.get(), 4, 5, &err), nullptr);
    EXPECT_EQ(err.get()->number, 8);
}

TEST_F(StoredBins, HistogramReadMessagesInTheirOrder) {
    Report err;
    EXPECT_EQ(osta_HistogramRead(nullptr, nullptr, -1, 0, &err), nullptr);
    EXPECT_EQ(err.Message(), L"Invalid input table to read histogram from");
    EXPECT_EQ(osta_HistogramRead(m_table.get(), nullptr, -1, 0, &err), nullptr);
    EXPECT_EQ(err.Message(), L"Number of bins to read should be greater than 0");
    EXPECT_EQ(osta_HistogramRead(m_table.get(), nullptr, -1, 1, &err), nullptr);
    EXPECT_EQ(err.Message(), L"Invalid start bin - start bin must be greater than or equal to 0");
    EXPECT_EQ(osta_HistogramRead(m_table.get(), nullptr, 0, 1, &err), nullptr);
    EXPECT_EQ(err.Message(), L"Cannot find histogram column");
    EXPECT_EQ(osta_HistogramReadIfPresent(m_table.get(), nullptr, 0, 1, &err), nullptr);
    EXPECT_FALSE(err);
    Osta_Histogram bad{nullptr, nullptr};
    EXPECT_EQ(osta_HistogramRead(m_table.get(), &bad, 0, 1, &err), nullptr);
    EXPECT_EQ(err.Message(), L"Input histogram not an Osta_Histogram (wrong data type)");
    EXPECT_EQ(osta_HistogramWrite(m_table.get(), &bad, 0, 1, &err), -1);
    EXPECT_EQ(err.Message(), L"Input histogram not an Osta_Histogram (wrong data type)");
}

TEST_F(StoredBins, IntegerHistogramColumnsWarnAndStringColumnsAreRefused) {
    MakeColumn(L"Histogram", ODSC_COLUMN_INTEGER);
    Owned<Osta_Histogram> h = Counts();
    static_cast<double *>(h->table->data)[3] = 7.75;
    Report err;
    {
        WarningCapture warnings;
        EXPECT_EQ(osta_HistogramWrite(m_table.get(), h.get(), 0, 4, &err), 4) << err.Message();
        ASSERT_EQ(warnings.Seen().size(), 1u);
        EXPECT_EQ(warnings.Seen()[0].first, L"osta_HistogramWrite");
        EXPECT_EQ(warnings.Seen()[0].second,
                  L"Histogram column is integer instead of real; some data will be truncated");
    }
    EXPECT_EQ(Column(L"Histogram")[3], 7);
    LayerFileTest::AddEntry(L"/", L"Layer_3");
    TablePtr other(odsc_TableCreate(m_file, L"/Layer_3", 4, nullptr));
    {
        ColumnPtr c(odsc_ColumnCreate(other.get(), L"Histogram", ODSC_COLUMN_STRING, nullptr));
        ColumnPtr n(odsc_ColumnCreate(other.get(), L"Class_Names", ODSC_COLUMN_REAL, nullptr));
    }
    EXPECT_EQ(osta_HistogramWrite(other.get(), h.get(), 0, 4, &err), -1);
    EXPECT_EQ(err.Message(), L"Histogram column, 'Histogram', has the wrong data type!");
    EXPECT_EQ(osta_HistogramRead(other.get(), nullptr, 0, 4, &err), nullptr);
    EXPECT_EQ(err.Message(), L"Histogram column, 'Histogram', has the wrong data type!");
    DataPtr names = Strings({L"a", L"b", L"c", L"d"});
    EXPECT_EQ(osta_ClassNamesWrite(other.get(), names.get(), 0, -1, &err), -1);
    EXPECT_EQ(err.Message(), L"Class column, 'Class_Names', has the wrong data type!");
    EXPECT_EQ(osta_ClassNamesRead(other.get(), nullptr, 0, 4, &err), nullptr);
    EXPECT_EQ(err.Message(), L"Class column, 'Class_Names', has the wrong data type!");
}

TEST_F(StoredBins, ColorStacksOfUpToFourComponents) {
    Owned<Ogda_BaseDataStack> stack(osta_ColorTableStackCreate(4, 256, nullptr));
    for (int32_t c = 0; c < 4; ++c)
        for (int i = 0; i < 256; ++i)
            static_cast<double *>(stack->layers[c]->data)[i] = (i + c) / 300.0;
    Report err;
    ASSERT_EQ(osta_ColorTableStackWrite(m_table.get(), stack.get(), 0, -1, &err), 256)
        << err.Message();
    for (const wchar_t *name : {L"Red", L"Green", L"Blue", L"Opacity"})
        EXPECT_TRUE(odsc_ColumnExist(m_table.get(), name, nullptr)) << name;
    Owned<Ogda_BaseDataStack> back(osta_ColorTableStackRead(m_table.get(), nullptr, 0, 256, &err));
    ASSERT_NE(back, nullptr) << err.Message();
    ASSERT_EQ(back->count, 4);
    for (int32_t c = 0; c < 4; ++c)
        EXPECT_EQ(RealsOf(back->layers[c]), RealsOf(stack->layers[c])) << c;

    Owned<Ogda_BaseDataStack> five(
        ogda_BaseDataStackCreate(5, 256, 1, OGDA_F64, Ogda_Table, nullptr));
    EXPECT_EQ(osta_ColorTableStackWrite(m_table.get(), five.get(), 0, -1, &err), -1);
    EXPECT_EQ(err.Message(), L"A color table stack holds 1 to 4 components, not 5");
    // The first failing component is wrapped.
    EXPECT_EQ(osta_ColorTableStackWrite(m_table.get(), stack.get(), 0, 0, &err), -1);
    EXPECT_EQ(err.Message(), L"Could not write color table component 0");
    ASSERT_NE(err.get()->next, nullptr);
    EXPECT_STREQ(err.get()->next->message,
                 L"Negative number of bins requested from color table:  0");
}

TEST_F(StoredBins, ThreeComponentTablesReadAsThreeComponentStacks) {
    Owned<Ogda_BaseDataStack> stack(osta_ColorTableStackCreate(3, 256, nullptr));
    Report err;
    ASSERT_EQ(osta_ColorTableStackWrite(m_table.get(), stack.get(), 0, -1, &err), 256);
    Owned<Ogda_BaseDataStack> back(osta_ColorTableStackRead(m_table.get(), nullptr, 0, 10, &err));
    ASSERT_NE(back, nullptr);
    EXPECT_EQ(back->count, 3);
    EXPECT_EQ(osta_ColorTableRead(m_table.get(), nullptr, OSTA_OPACITY, 0, 1, &err), nullptr);
    EXPECT_EQ(err.Message(), L"Cannot find color table column \"Opacity\"");
    EXPECT_EQ(osta_ColorTableReadIfPresent(m_table.get(), nullptr, OSTA_OPACITY, 0, 1, &err),
              nullptr);
    EXPECT_FALSE(err);
}

TEST_F(StoredBins, ContrastAndClassNamesRoundTrip) {
    DataPtr contrast = Ramp(256, 2);
    DataPtr names = Strings({L"Unclassified", L"Water", L"", L"For\u00eat"});
    Report err;
    ASSERT_EQ(osta_ContrastTableWrite(m_table.get(), contrast.get(), 0, -1, &err), 256);
    ASSERT_EQ(osta_ClassNamesWrite(m_table.get(), names.get(), 0, 4, &err), 4) << err.Message();
    m_table.reset();
    Reopen(true);
    m_table.reset(odsc_TableOpen(m_file, L"/Layer_1", nullptr));
    Owned<Ogda_BaseData> c(osta_ContrastTableRead(m_table.get(), nullptr, 0, 256, &err));
    ASSERT_NE(c, nullptr) << err.Message();
    EXPECT_EQ(RealsOf(c.get()), RealsOf(contrast.get()));
    Owned<Ogda_BaseData> n(osta_ClassNamesRead(m_table.get(), nullptr, 0, 5, &err));
    ASSERT_NE(n, nullptr) << err.Message();
    EXPECT_EQ(n->numrows, 256);
    std::vector<std::wstring> first = StringsOf(n.get());
    first.resize(5);
    EXPECT_EQ(first,
              (std::vector<std::wstring>{L"Unclassified", L"Water", L"", L"For\u00eat", L""}));
    EXPECT_EQ(osta_ContrastTableRead(m_table.get(), nullptr, 0, 0, &err), nullptr);
    EXPECT_EQ(err.Message(), L"Number of bins to read should be greater than 0");
    EXPECT_EQ(osta_ClassNamesRead(nullptr, nullptr, 0, 1, &err), nullptr);
    EXPECT_EQ(err.Message(), L"Invalid input table to read class names from");
}

TEST_F(StoredBins, FailuresOfTheColumnStepsCarryTheirMessages) {
    DataPtr v = Ramp(256, 0.001);
    Report err;
    // Strings do not go into a real column.
    DataPtr text = Strings(std::vector<std::wstring>(256, L"x"));
    EXPECT_EQ(osta_ColorTableWrite(m_table.get(), text.get(), OSTA_BLUE, 0, -1, &err), -1);
    EXPECT_EQ(err.Message(), L"Could not write color table data to table");
    ASSERT_EQ(osta_ContrastTableWrite(m_table.get(), v.get(), 0, -1, &err), 256);
    m_table.reset();
    // A read-only file cannot take a new column.
    Reopen(true);
    m_table.reset(odsc_TableOpen(m_file, L"/Layer_1", nullptr));
    EXPECT_EQ(osta_ColorTableWrite(m_table.get(), v.get(), OSTA_RED, 0, -1, &err), -1);
    EXPECT_EQ(err.Message(), L"Could not create color table column \"Red\" of table");
    EXPECT_EQ(osta_ClassNamesWrite(m_table.get(), text.get(), 0, -1, &err), -1);
    EXPECT_EQ(err.Message(), L"Could not create class names column of table");
    EXPECT_EQ(osta_ContrastTableWrite(m_table.get(), v.get(), 0, -1, &err), -1);
    EXPECT_EQ(err.Message(), L"Could not write contrast table data to table");
    // A column that is already open cannot be opened by a writer.
    ColumnPtr held(odsc_ColumnOpen(m_table.get(), L"Contrast", nullptr));
    EXPECT_EQ(osta_ContrastTableWrite(m_table.get(), v.get(), 0, -1, &err), -1);
    EXPECT_EQ(err.Message(), L"Could not open contrast table column \"Contrast\" of table");
    EXPECT_EQ(osta_ContrastTableRead(m_table.get(), nullptr, 0, 1, &err), nullptr);
    EXPECT_EQ(err.Message(), L"Contrast table ColumnOpen fail");
}

} // namespace

namespace {

using dsc_test::DataPtr;
using dsc_test::Strings;

// Every library allocation of reading names, a histogram and statistics failing in turn: each
// failure is reported, nothing leaks (ASan) and the file stays usable.
TEST_F(StoredBins, EveryAllocationFailureIsReportedAndLeaksNothing) {
    DataPtr names = Strings({L"a", L"bb", L"ccc"});
    ASSERT_EQ(osta_ClassNamesWrite(m_table.get(), names.get(), 0, 3, nullptr), 3);
    const Osta_Statistics s{1, 2, 3, 4, 5, 6};
    ASSERT_EQ(osta_StatisticsWrite(m_file, L"/Layer_1", &s, nullptr), 0);
    int rounds = 0;
    for (long n = 1; n < 200; ++n, ++rounds) {
        Oerr_ErrorReport *err = nullptr;
        bool failed = false;
        long counted = 0;
        {
            orvik::core::testing::ScopedAllocationFailure fail(n);
            Ogda_BaseData *read = osta_ClassNamesRead(m_table.get(), nullptr, 0, 3, &err);
            failed |= read == nullptr;
            ogda_BaseDataDelete(read, nullptr);
            if (!err) {
                Osta_Statistics *r =
                    osta_StatisticsRead(m_file, L"/Layer_1/Sub", nullptr, OMSC_TRUE, &err);
                failed |= r == nullptr;
                osta_StatisticsDelete(r);
            }
            counted = orvik::core::testing::AllocationsCounted();
        }
        EXPECT_EQ(failed, err != nullptr) << "round " << n;
        oerr_DeleteErrorReportEx(&err);
        if (counted < n) break;
    }
    EXPECT_GT(rounds, 3);
    Owned<Ogda_BaseData> again(osta_ClassNamesRead(m_table.get(), nullptr, 0, 3, nullptr));
    ASSERT_NE(again, nullptr);
    EXPECT_EQ(StringsOf(again.get())[2], L"ccc");
}

} // namespace

namespace {

TEST_F(StoredBins, AHistogramComesBackWithItsBins) {
    Odsc_BinFunction *f = odsc_BinFunctionCreate(256, ODSC_BIN_LINEAR, -3, 5, nullptr, nullptr);
    Owned<Osta_Histogram> h(osta_HistogramCreate(f, 256, nullptr));
    odsc_BinFunctionDelete(f);
    static_cast<double *>(h->table->data)[7] = 99;
    Report err;
    ASSERT_EQ(osta_HistogramWrite(m_table.get(), h.get(), 0, -1, &err), 256) << err.Message();
    Owned<Osta_Histogram> r(osta_HistogramRead(m_table.get(), nullptr, 0, 256, &err));
    ASSERT_NE(r, nullptr) << err.Message();
    EXPECT_EQ(r->binFunction->type, ODSC_BIN_LINEAR);
    EXPECT_EQ(r->binFunction->minLimit, -3);
    EXPECT_EQ(r->binFunction->maxLimit, 5);
    EXPECT_EQ(static_cast<double *>(r->table->data)[7], 99);
}

} // namespace
