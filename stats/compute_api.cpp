// osta_StatisticsCompute: checks, the choice between the exact integer method and the real
// method, and the histogram handed back (shared with the statistics of raster layers).
#include <orvik/osta.h>

#include "core/guard.hpp"
#include "stats/compute.hpp"
#include "stats/osta_tables.hpp"
#include "stats/report.hpp"

using namespace orvik::stats;
using orvik::core::Guarded;
using orvik::core::SetError;

namespace orvik::stats {

bool IsSampleable(const Ogda_BaseData *d) {
    if (!d || !d->dataStart || d->numrows < 1 || d->numcolumns < 1 ||
        int64_t{d->numrows} * d->numcolumns != d->numelements || !IsComputable(d->datatype) ||
        d->numbytes != ogda_NumBytePerPixelFromType(d->datatype))
        return false;
    const int64_t length = d->objecttype == Ogda_Matrix ? d->numrows : d->numcolumns;
    return d->lineBytes >= int64_t{d->numbytes} * length;
}

bool CheckSkipFactors(const Osta_SkipFactors *skip, long number, Oerr_ErrorReport **err,
                      const wchar_t *fn) {
    if (!skip || (skip->skipFactorX >= 1 && skip->skipFactorY >= 1)) return true;
    SetError(err, fn, number, nullptr, L"Bad skip factors %ld, %ld (1 or more allowed)",
             long{skip->skipFactorX}, long{skip->skipFactorY});
    return false;
}

} // namespace orvik::stats

namespace {

Osta_Histogram *NewHistogram(Odsc_BinFunctionType type, int32_t nBins, double lo, double hi,
                             Oerr_ErrorReport **err, const wchar_t *fn) {
    Oerr_ErrorReport *inner = nullptr;
    Odsc_BinFunction *f = odsc_BinFunctionCreate(nBins, type, lo, hi, nullptr, &inner);
    Osta_Histogram *h = f ? osta_HistogramCreate(f, nBins, &inner) : nullptr;
    odsc_BinFunctionDelete(f);
    if (!h) SetError(err, fn, kComputeHistogramFailed, inner, L"Cannot create the histogram");
    return h;
}

} // namespace

namespace orvik::stats {

namespace {

// A histogram handed in must be one; its counts are cleared for the new ones.
bool TakeGiven(Osta_Histogram **histogram, Osta_Histogram *&given, Oerr_ErrorReport **err,
               const wchar_t *fn) {
    given = histogram ? *histogram : nullptr;
    if (given && !IsValidHistogram(given)) {
        SetError(err, fn, kComputeBadHistogram, nullptr,
                 L"Input histogram not an Osta_Histogram (wrong data type)");
        return false;
    }
    if (given) ClearBinTable(given->table);
    return true;
}

// The record handed back, and the histogram made (if any) in *histogram.
Osta_Statistics *HandBack(const Osta_Statistics &s, Osta_Statistics *statistics,
                          Osta_Histogram *made, Osta_Histogram **histogram, Oerr_ErrorReport **err,
                          const wchar_t *fn) {
    Oerr_ErrorReport *inner = nullptr;
    Osta_Statistics *out = statistics ? statistics : osta_StatisticsCreate(&inner);
    if (!out) {
        osta_HistogramDelete(made);
        SetError(err, fn, kComputeCreateFailed, inner, L"osta_StatisticsCreate failed");
        return nullptr;
    }
    *out = s;
    if (made) *histogram = made;
    return out;
}

Osta_Statistics *FromCounts(const ValueCounts &v, Osta_Histogram *given,
                            Osta_Statistics *statistics, Osta_Histogram **histogram,
                            Oerr_ErrorReport **err, const wchar_t *fn) {
    Osta_Statistics s{};
    if (StatisticsFromCounts(v, &s) == 0) {
        SetError(err, fn, kComputeNoValues, nullptr, L"No values left to compute statistics from");
        return nullptr;
    }
    Osta_Histogram *made = nullptr;
    if (histogram && !given) {
        made = NewHistogram(ODSC_BIN_DIRECT, int32_t(s.maximum - s.minimum) + 1, s.minimum, 0, err,
                            fn);
        if (!made) return nullptr;
    }
    if (histogram) BinCounts(v, given ? given : made);
    return HandBack(s, statistics, made, histogram, err, fn);
}

} // namespace

Osta_Statistics *StatisticsOfCounts(const ValueCounts &v, Osta_Statistics *statistics,
                                    Osta_Histogram **histogram, Oerr_ErrorReport **err,
                                    const wchar_t *fn) {
    Osta_Histogram *given = nullptr;
    if (!TakeGiven(histogram, given, err, fn)) return nullptr;
    return FromCounts(v, given, statistics, histogram, err, fn);
}

Osta_Statistics *ComputeStatistics(Ogda_PixelType type, const GridSource &source,
                                   const ExcludedSet &x, Osta_Statistics *statistics,
                                   Osta_Histogram **histogram, Oerr_ErrorReport **err,
                                   const wchar_t *fn) {
    Osta_Histogram *given = nullptr;
    if (!TakeGiven(histogram, given, err, fn)) return nullptr;
    if (IsSmallInteger(type)) {
        ValueCounts v;
        if (!CountValues(type, source, x, v)) return nullptr;
        return FromCounts(v, given, statistics, histogram, err, fn);
    }
    RealSummary r;
    if (!SummariseReals(type, source, x, given, r)) return nullptr;
    if (r.moments.n == 0) {
        SetError(err, fn, kComputeNoValues, nullptr, L"No values left to compute statistics from");
        return nullptr;
    }
    Osta_Statistics s{};
    StatisticsFromSummary(r, &s);
    Osta_Histogram *made = nullptr;
    if (histogram && !given) {
        // One value: a bin of width 1 around it keeps the linear kind valid.
        const bool flat = !(s.maximum > s.minimum);
        made = NewHistogram(ODSC_BIN_LINEAR, kModeBins, flat ? s.minimum - 0.5 : s.minimum,
                            flat ? s.minimum + 0.5 : s.maximum, err, fn);
        if (!made) return nullptr;
        auto *counts = static_cast<double *>(made->table->data);
        if (flat)
            counts[kModeBins / 2] = r.moments.n;
        else
            CoarseCounts(r, counts);
    }
    return HandBack(s, statistics, made, histogram, err, fn);
}

} // namespace orvik::stats

extern "C" ORVIK_API Osta_Statistics *
osta_StatisticsCompute(const Ogda_BaseData *data, const Osta_ExcludedValues *excluded,
                       const Osta_SkipFactors *skip, Osta_Statistics *statistics,
                       Osta_Histogram **histogram, Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    static const wchar_t *const kFn = L"osta_StatisticsCompute";
    if (err) *err = nullptr;
    return Guarded<Osta_Statistics *>(err, kFn, nullptr, [&]() -> Osta_Statistics * {
        if (!IsSampleable(data)) {
            SetError(err, kFn, kComputeBadInput, nullptr,
                     L"Input data must be a non-empty array of a numeric, non-complex type");
            return nullptr;
        }
        if (!CheckSkipFactors(skip, kComputeBadSkipFactors, err, kFn)) return nullptr;
        const Grid g = MakeGrid(data, skip ? skip->skipFactorX : 1, skip ? skip->skipFactorY : 1);
        const GridSource whole = [&](const GridVisit &visit) {
            visit(g);
            return true;
        };
        return ComputeStatistics(data->datatype, whole, ExcludedSet(excluded), statistics,
                                 histogram, err, kFn);
    });
}
