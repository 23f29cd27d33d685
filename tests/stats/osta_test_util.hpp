// Test helpers for the statistics module: owning holders, array builders and the capture of
// warnings printed through the report dispatcher.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include <orvik/osta.h>

#include "stats/ohst_test_util.hpp"

struct OstaDeleter {
    void operator()(Osta_Histogram *h) const { osta_HistogramDelete(h); }
    void operator()(Osta_Statistics *s) const { osta_StatisticsDelete(s); }
    void operator()(Osta_Covariance *c) const { osta_CovarianceDelete(c, nullptr); }
    void operator()(Osta_ExcludedValues *e) const { osta_ExcludedValuesDelete(e); }
    void operator()(Osta_SkipFactors *s) const { osta_SkipFactorsDelete(s); }
    void operator()(Odsc_BinFunction *f) const { odsc_BinFunctionDelete(f); }
    void operator()(Ogda_BaseData *d) const { ogda_BaseDataDelete(d, nullptr); }
    void operator()(Ogda_BaseDataStack *s) const { ogda_BaseDataStackDelete(s, nullptr); }
    void operator()(Omif_Design *d) const { omif_DesignDestroy(d, nullptr); }
};
template <class T> using Owned = std::unique_ptr<T, OstaDeleter>;

// A new object of `type` holding `values` (converted to the pixel type) in element order.
template <class T>
Owned<Ogda_BaseData> MakeArray(int32_t rows, int32_t columns, Ogda_PixelType type,
                               Ogda_ObjectType objecttype, const std::vector<T> &values) {
    Owned<Ogda_BaseData> d(ogda_BaseDataCreate(rows, columns, type, objecttype, nullptr, nullptr));
    Owned<Ogda_BaseData> src(
        ogda_BaseDataCreate(rows, columns, OGDA_F64, objecttype, nullptr, nullptr));
    auto *p = static_cast<double *>(src->data);
    for (size_t i = 0; i < values.size(); ++i) p[i] = static_cast<double>(values[i]);
    EXPECT_NE(ogda_BaseDataCopy(src.get(), d.get(), nullptr), nullptr);
    return d;
}

// Statistics of `v` computed plainly (sorting for the median, long-double two-pass sums for
// mean and deviation), for checking the library's methods against.
struct Reference {
    double minimum, maximum, mean, median, lowerMedian, mode, stddev;
    size_t n;
};
Reference Expected(std::vector<double> v);
// Integer data: everything exact, the median the lower middle value.
void ExpectExact(const Osta_Statistics &s, const Reference &r);

// Reports of kind warning printed while an instance lives (function and message).
class WarningCapture {
  public:
    WarningCapture();
    ~WarningCapture();
    const std::vector<std::pair<std::wstring, std::wstring>> &Seen() const { return seen_; }

  private:
    static void Alt(void *self, Oerr_ErrorReport *r, Oerr_ErrorReportingMode, Oerr_ErrorReport **);
    std::vector<std::pair<std::wstring, std::wstring>> seen_;
};
