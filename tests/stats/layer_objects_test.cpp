// Statistics, covariance, excluded values and skip factors stored with layers of a real file:
// overwrite in place, the upward search of the statistics reader, round trips, time stamps
// and the writers' messages.
#include <chrono>
#include <cmath>
#include <set>

#include "core/heap_seam.hpp"

#include "dsc/table_test_util.hpp"
#include "osta_test_util.hpp"

namespace {

using namespace dsc_test;
using hfa_test::Report;

double Now() {
    return std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch())
        .count();
}

class LayerObjects : public LayerFileTest {
  protected:
    void WriteStats(const wchar_t *node, double base) {
        const Osta_Statistics s{base, base + 10, base + 5, base + 4, base + 3, 2.5};
        Report err;
        ASSERT_EQ(osta_StatisticsWrite(m_file, node, &s, &err), 0) << err.Message();
    }
    // Names of the children of a node.
    std::vector<std::wstring> Children(const wchar_t *node) {
        std::vector<std::wstring> out;
        ostr_StringList *list = ohfa_ObjectList(m_file, node, nullptr);
        const std::wstring prefix = std::wstring(node) + L"/";
        for (int32_t i = 0; list && i < list->count; ++i) {
            const std::wstring p = list->strings[i];
            if (p.rfind(prefix, 0) == 0 && p.find(L'/', prefix.size()) == std::wstring::npos)
                out.push_back(p.substr(prefix.size()));
        }
        ostr_StringListDelete(list, nullptr);
        return out;
    }
};

TEST_F(LayerObjects, WritingTwiceOverwritesTheOneStatisticsChildInPlace) {
    WriteStats(L"/Layer_1", 1);
    ASSERT_EQ(ohfa_EntrySeek(m_file, OHFA_SEEK_PATH, L"/Layer_1/Statistics", nullptr), 1);
    Ohfa_Entry first{};
    const long at = ohfa_EntryCurrentGet(m_file, &first, nullptr);
    EXPECT_STREQ(first.type, "Osta_Statistics");
    WriteStats(L"/Layer_1", 100);
    EXPECT_EQ(Children(L"/Layer_1"), (std::vector<std::wstring>{L"Sub", L"Statistics"}));
    ASSERT_EQ(ohfa_EntrySeek(m_file, OHFA_SEEK_PATH, L"/Layer_1/Statistics", nullptr), 1);
    Ohfa_Entry second{};
    EXPECT_EQ(ohfa_EntryCurrentGet(m_file, &second, nullptr), at);
    EXPECT_EQ(second.data, first.data); // same size: the same block
    Reopen(true);
    Report err;
    Owned<Osta_Statistics> s(osta_StatisticsRead(m_file, L"/Layer_1", nullptr, OMSC_FALSE, &err));
    ASSERT_NE(s, nullptr) << err.Message();
    EXPECT_EQ(s->minimum, 100);
    EXPECT_EQ(s->maximum, 110);
    EXPECT_EQ(s->mean, 105);
    EXPECT_EQ(s->median, 104);
    EXPECT_EQ(s->mode, 103);
    EXPECT_EQ(s->stddev, 2.5);
}

TEST_F(LayerObjects, StatisticsAreInheritedFromTheNearestAncestorBelowTheRoot) {
    WriteStats(L"/Layer_1", 7);
    WriteStats(L"/", 50); // the root is never asked
    Report err;
    Osta_Statistics given{-1, -1, -1, -1, -1, -1};
    EXPECT_EQ(osta_StatisticsRead(m_file, L"/Layer_1/Sub", &given, OMSC_FALSE, &err), nullptr);
    EXPECT_FALSE(err);
    EXPECT_EQ(given.minimum, -1); // untouched
    EXPECT_EQ(osta_StatisticsRead(m_file, L"/Layer_1/Sub", &given, OMSC_TRUE, &err), &given);
    EXPECT_EQ(given.minimum, 7);
    // No ancestor below the root has statistics: null and no report.
    EXPECT_EQ(osta_StatisticsRead(m_file, L"/Layer_2", nullptr, OMSC_TRUE, &err), nullptr);
    EXPECT_FALSE(err);
    // A layer's own statistics win over its parent's.
    WriteStats(L"/Layer_1/Sub", 20);
    EXPECT_EQ(osta_StatisticsRead(m_file, L"/Layer_1/Sub", &given, OMSC_TRUE, &err), &given);
    EXPECT_EQ(given.minimum, 20);
}

TEST_F(LayerObjects, WritersAndReadersReportTheirFailures) {
    const Osta_Statistics s{};
    Report err;
    EXPECT_EQ(osta_StatisticsWrite(m_file, L"/Nowhere", &s, &err), -1);
    EXPECT_EQ(err.Function(), L"osta_StatisticsWrite");
    EXPECT_EQ(err.Message(), L"Cannot find /Nowhere");
    EXPECT_EQ(osta_StatisticsRead(m_file, L"/Nowhere", nullptr, OMSC_TRUE, &err), nullptr);
    EXPECT_EQ(err.Message(), L"Cannot find /Nowhere");
    EXPECT_EQ(osta_StatisticsWrite(nullptr, L"/Layer_1", &s, &err), -1);
    EXPECT_EQ(osta_StatisticsWrite(m_file, L"/Layer_1", nullptr, &err), -1);
    EXPECT_EQ(osta_StatisticsRead(m_file, nullptr, nullptr, OMSC_TRUE, &err), nullptr);
    EXPECT_TRUE(err);
    // A file opened for reading refuses the object write.
    WriteStats(L"/Layer_1", 1);
    Reopen(true);
    EXPECT_EQ(osta_StatisticsWrite(m_file, L"/Layer_1", &s, &err), -1);
    EXPECT_EQ(err.Message(), L"Object Write failed");
    EXPECT_EQ(osta_StatisticsWrite(m_file, L"/Layer_2", &s, &err), -1);
    EXPECT_EQ(err.Message(), L"Object Write failed");
    EXPECT_EQ(osta_StatisticsWriteSkipFactors(m_file, L"/Layer_2", nullptr, nullptr), -1);
}

TEST_F(LayerObjects, TimeStampsComeFromTheEntries) {
    Report err;
    EXPECT_EQ(osta_StatisticsGetTimeStamp(m_file, L"/Layer_1", &err), 0);
    EXPECT_FALSE(err);
    const double before = Now();
    WriteStats(L"/Layer_1", 1);
    const double stamp = osta_StatisticsGetTimeStamp(m_file, L"/Layer_1", &err);
    EXPECT_GE(stamp, std::floor(before));
    EXPECT_LE(stamp, Now() + 1);
    Owned<Osta_Covariance> c(osta_CovarianceCreate(2, nullptr));
    ASSERT_EQ(osta_CovarianceWrite(m_file, L"/Layer_2", c.get(), &err), 0) << err.Message();
    EXPECT_GE(osta_CovarianceGetTimeStamp(m_file, L"/Layer_2", &err), std::floor(before));
    EXPECT_EQ(osta_CovarianceGetTimeStamp(m_file, L"/Layer_1", &err), 0);
    EXPECT_EQ(osta_StatisticsGetTimeStamp(nullptr, L"/Layer_1", &err), -1);
    EXPECT_TRUE(err);
}

TEST_F(LayerObjects, CovarianceRoundTripsDirectlyAndByName) {
    Owned<Osta_Covariance> c(osta_CovarianceCreate(3, nullptr));
    auto *m = static_cast<double *>(c->covariance.data);
    for (int i = 0; i < 9; ++i) m[i] = i * 1.5 - 2;
    Report err;
    ASSERT_EQ(osta_CovarianceWrite(m_file, L"/Layer_1", c.get(), &err), 0) << err.Message();
    ASSERT_EQ(ohfa_FileClose(m_file, nullptr), 0);
    m_file = nullptr;
    Owned<Osta_Covariance> r(
        osta_CovarianceReadByName(FileName().c_str(), L"/Layer_1", nullptr, &err));
    ASSERT_NE(r, nullptr) << err.Message();
    ASSERT_EQ(r->covariance.numrows, 3);
    for (int i = 0; i < 9; ++i) EXPECT_EQ(static_cast<double *>(r->covariance.data)[i], m[i]);
    // Written by name into another layer; a given record is replaced.
    Owned<Osta_Covariance> two(osta_CovarianceCreate(2, nullptr));
    static_cast<double *>(two->covariance.data)[3] = 42;
    ASSERT_EQ(osta_CovarianceWriteByName(FileName().c_str(), L"/Layer_2", two.get(), &err), 0)
        << err.Message();
    EXPECT_EQ(osta_CovarianceReadByName(FileName().c_str(), L"/Layer_2", r.get(), &err), r.get());
    EXPECT_EQ(r->covariance.numrows, 2);
    EXPECT_EQ(static_cast<double *>(r->covariance.data)[3], 42);
    EXPECT_EQ(osta_CovarianceReadByName(Name("missing.hfa").c_str(), L"/Layer_2", nullptr, &err),
              nullptr);
    EXPECT_EQ(err.get()->number, 13);
    m_file = ohfa_FileOpen(FileName().c_str(), L"r", 0, nullptr);
    EXPECT_EQ(osta_CovarianceRead(m_file, L"/Layer_1/Sub", nullptr, &err), nullptr);
    EXPECT_FALSE(err);
    double cells[6] = {};
    Osta_Covariance notSquare{};
    notSquare.covariance = {2, 3, OGDA_F64, Ogda_Matrix, cells, cells, 16, 1, 6, 8, 0};
    EXPECT_EQ(osta_CovarianceWrite(m_file, L"/Layer_1", &notSquare, &err), -1);
    EXPECT_EQ(err.Message(), L"Covariance is not a square matrix");
}

TEST_F(LayerObjects, ExcludedValuesAndSkipFactorsRoundTrip) {
    Report err;
    EXPECT_FALSE(osta_StatisticsAreValuesExcluded(m_file, L"/Layer_1", nullptr, &err));
    EXPECT_FALSE(err);
    Owned<Ogda_BaseData> values = MakeArray<double>(2, 1, OGDA_U8, Ogda_Table, {0, 255});
    Owned<Osta_ExcludedValues> ex(osta_ExcludedValuesCreate(values.get(), nullptr));
    ASSERT_EQ(osta_HistogramWriteExcludedValues(m_file, L"/Layer_1", ex.get(), &err), 0)
        << err.Message();
    // The three forms share the layer's one entry.
    ASSERT_EQ(osta_CovarianceWriteExcludedValues(m_file, L"/Layer_1", ex.get(), &err), 0);
    EXPECT_EQ(Children(L"/Layer_1"), (std::vector<std::wstring>{L"Sub", L"Excluded_Values"}));
    Reopen(true);
    Osta_ExcludedValues *read = nullptr;
    EXPECT_TRUE(osta_StatisticsAreValuesExcluded(m_file, L"/Layer_1", &read, &err));
    ASSERT_NE(read, nullptr);
    ASSERT_NE(read->valueBD, nullptr);
    EXPECT_EQ(RealsOf(read->valueBD), (std::vector<double>{0, 255}));
    osta_ExcludedValuesDelete(read);
    EXPECT_TRUE(osta_CovarianceAreValuesExcluded(m_file, L"/Layer_1", nullptr, &err));
    Reopen();
    // An empty list excludes nothing.
    Osta_ExcludedValues none{nullptr};
    ASSERT_EQ(osta_StatisticsWriteExcludedValues(m_file, L"/Layer_1", &none, &err), 0)
        << err.Message();
    EXPECT_FALSE(osta_HistogramAreValuesExcluded(m_file, L"/Layer_1", &read, &err));
    EXPECT_EQ(read, nullptr);

    EXPECT_EQ(osta_StatisticsGetSkipFactors(m_file, L"/Layer_1", nullptr, &err), nullptr);
    EXPECT_FALSE(err);
    const Osta_SkipFactors skip{4, 7};
    ASSERT_EQ(osta_StatisticsWriteSkipFactors(m_file, L"/Layer_1", &skip, &err), 0);
    const Osta_SkipFactors other{2, 3};
    ASSERT_EQ(osta_CovarianceWriteSkipFactors(m_file, L"/Layer_1", &other, &err), 0);
    ASSERT_EQ(osta_HistogramWriteSkipFactors(m_file, L"/Layer_1", &skip, &err), 0);
    Reopen(true);
    Owned<Osta_SkipFactors> s(osta_StatisticsGetSkipFactors(m_file, L"/Layer_1", nullptr, &err));
    ASSERT_NE(s, nullptr) << err.Message();
    EXPECT_EQ(s->skipFactorX, 4);
    EXPECT_EQ(s->skipFactorY, 7);
}

TEST_F(LayerObjects, DamagedSkipFactorsAreRefused) {
    const Osta_SkipFactors skip{0, 7};
    Report err;
    ASSERT_EQ(osta_StatisticsWriteSkipFactors(m_file, L"/Layer_1", &skip, &err), 0);
    EXPECT_EQ(osta_StatisticsGetSkipFactors(m_file, L"/Layer_1", nullptr, &err), nullptr);
    EXPECT_EQ(err.Message(), L"Bad skip factors 0, 7 in /Layer_1");
}

} // namespace

namespace {

using dsc_test::LayerFileTest;

// The messages of each step, met by making every library allocation of a write and of an
// upward read fail in turn. Every failure is one report of the function itself; ASan checks
// that nothing leaks.
class LayerObjectSteps : public LayerFileTest {
  protected:
    template <class Call> std::set<std::wstring> Messages(const wchar_t *function, Call call) {
        std::set<std::wstring> seen;
        for (long n = 1; n < 400; ++n) {
            Oerr_ErrorReport *err = nullptr;
            long counted = 0;
            bool ok = false;
            {
                orvik::core::testing::ScopedAllocationFailure fail(n);
                ok = call(&err);
                counted = orvik::core::testing::AllocationsCounted();
            }
            EXPECT_EQ(ok, err == nullptr) << "round " << n;
            if (err) {
                EXPECT_STREQ(err->function, function) << "round " << n;
                seen.insert(err->message ? err->message : L"");
            }
            oerr_DeleteErrorReportEx(&err);
            if (counted < n) break;
        }
        return seen;
    }
};

TEST_F(LayerObjectSteps, WriterAndReaderStepsReportTheirMessages) {
    const Osta_Statistics s{1, 2, 3, 4, 5, 6};
    const auto written = Messages(L"osta_StatisticsWrite", [&](Oerr_ErrorReport **err) {
        return osta_StatisticsWrite(m_file, L"/Layer_1", &s, err) == 0;
    });
    EXPECT_TRUE(written.count(L"Trouble adding design to dictionary"));
    // Now the design is in the file: an overwrite in place allocates only the entry's path.
    const auto rewritten = Messages(L"osta_StatisticsWrite", [&](Oerr_ErrorReport **err) {
        return osta_StatisticsWrite(m_file, L"/Layer_1", &s, err) == 0;
    });
    EXPECT_EQ(rewritten, (std::set<std::wstring>{L"ohfa_CurrentEntryPath failed"}));
    const auto read = Messages(L"osta_StatisticsRead", [&](Oerr_ErrorReport **err) {
        Osta_Statistics *r = osta_StatisticsRead(m_file, L"/Layer_1/Sub", nullptr, OMSC_TRUE, err);
        osta_StatisticsDelete(r);
        return r != nullptr;
    });
    EXPECT_TRUE(read.count(L"osta_StatisticsCreate failed"));
    EXPECT_TRUE(read.count(L"No memory"));
    EXPECT_TRUE(read.count(L"ofnp_NodePathGet failed"));
}

} // namespace
