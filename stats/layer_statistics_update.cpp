// osta_LayerStatisticsUpdate: computes a layer's statistics and histogram and stores them with
// the layer through the module's own writers, each of which leaves the file whole.
#include <memory>

#include <orvik/odsc.h>
#include <orvik/oimg.h>
#include <orvik/osta.h>

#include "core/guard.hpp"
#include "stats/compute.hpp"
#include "stats/report.hpp"

using namespace orvik::stats;
using orvik::core::Guarded;
using orvik::core::SetError;

namespace {

constexpr const wchar_t *kFn = L"osta_LayerStatisticsUpdate";

struct Closer {
    void operator()(Oimg_Layer *l) const { oimg_LayerClose(l, nullptr); }
    void operator()(Odsc_Table *t) const { odsc_TableClose(t, nullptr); }
    void operator()(Odsc_BinFunction *f) const { odsc_BinFunctionDelete(f); }
    void operator()(Osta_Histogram *h) const { osta_HistogramDelete(h); }
};
template <class T> using Held = std::unique_ptr<T, Closer>;

// The layer's table when it has one (null and no report when it has none); false on failure.
bool OpenTable(Ohfa_File *file, const wchar_t *path, Held<Odsc_Table> &table,
               Oerr_ErrorReport **inner) {
    const Omsc_Boolean exists = odsc_TableExist(file, path, inner);
    if (*inner) return false;
    if (exists) table.reset(odsc_TableOpen(file, path, inner));
    return !exists || table;
}

// Writes the counts into the "Histogram" column, creating the table or fitting its rows to
// the bins first.
bool StoreHistogram(Ohfa_File *file, const wchar_t *path, Held<Odsc_Table> &table,
                    const Osta_Histogram &h, Oerr_ErrorReport **inner) {
    const int32_t bins = odsc_BinFunctionGetNumBins(h.binFunction);
    if (!table)
        table.reset(odsc_TableCreate(file, path, bins, inner));
    else if (odsc_TableGetNumRows(table.get()) != bins &&
             !odsc_TableResize(table.get(), bins, inner))
        return false;
    if (!table || osta_HistogramWrite(table.get(), &h, 0, bins, inner) < 0) return false;
    return odsc_TableClose(table.release(), inner) == 0;
}

// The statistics and histogram of the open layer by `compute`, stored with it. `compute` fills
// the statistics and the histogram (counts by the table's bins when it has some, else a new
// one) and reports under `fn` through `inner`.
template <class Compute>
long Update(Ohfa_File *file, const wchar_t *layerPath, const Osta_ExcludedValues *excluded,
            const Osta_SkipFactors *skip, Osta_Statistics *statistics, Oerr_ErrorReport **err,
            const wchar_t *fn, Compute &&compute) {
    if (!file || !layerPath) {
        SetError(err, fn, kUpdateBadArgument, nullptr, L"Invalid file or layer path");
        return -1;
    }
    Oerr_ErrorReport *inner = nullptr;
    Held<Oimg_Layer> layer(oimg_LayerOpen(file, layerPath, &inner));
    if (!layer) {
        SetError(err, fn, kUpdateOpenFailed, inner, L"Cannot open layer %s", layerPath);
        return -1;
    }
    // A table that carries a bin function keeps it: the counts are made to fit its rows.
    Held<Odsc_Table> table;
    Held<Osta_Histogram> histogram;
    if (!OpenTable(file, layerPath, table, &inner)) {
        SetError(err, fn, kUpdateTableFailed, inner,
                 L"Cannot open the descriptor table of layer %s", layerPath);
        return -1;
    }
    if (table) {
        Held<Odsc_BinFunction> bins(odsc_TableGetBinFunction(table.get(), &inner));
        if (bins) histogram.reset(osta_HistogramCreate(bins.get(), bins->numBins, &inner));
        if (inner) {
            SetError(err, fn, kUpdateTableFailed, inner,
                     L"Cannot take the bins of the descriptor table of layer %s", layerPath);
            return -1;
        }
    }
    Osta_Statistics s{};
    Osta_Histogram *h = histogram.release();
    const bool computed = compute(layer.get(), &s, &h, &inner);
    histogram.reset(h);
    if (!computed) {
        SetError(err, fn, kUpdateComputeFailed, inner, L"Cannot compute the statistics of layer %s",
                 layerPath);
        return -1;
    }
    const Osta_ExcludedValues none{nullptr};
    const Osta_SkipFactors every{1, 1};
    if (oimg_LayerClose(layer.release(), &inner) != 0 ||
        osta_StatisticsWrite(file, layerPath, &s, &inner) != 0 ||
        osta_StatisticsWriteExcludedValues(file, layerPath, excluded ? excluded : &none, &inner) !=
            0 ||
        osta_StatisticsWriteSkipFactors(file, layerPath, skip ? skip : &every, &inner) != 0) {
        SetError(err, fn, kUpdateWriteFailed, inner, L"Cannot store the statistics of layer %s",
                 layerPath);
        return -1;
    }
    if (!StoreHistogram(file, layerPath, table, *histogram, &inner)) {
        SetError(err, fn, kUpdateTableFailed, inner, L"Cannot store the histogram of layer %s",
                 layerPath);
        return -1;
    }
    if (statistics) *statistics = s;
    return 0;
}

} // namespace

extern "C" ORVIK_API long osta_LayerStatisticsUpdate(Ohfa_File *file, const wchar_t *layerPath,
                                                     const Osta_ExcludedValues *excluded,
                                                     const Osta_SkipFactors *skip,
                                                     Osta_Statistics *statistics,
                                                     Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    if (err) *err = nullptr;
    return Guarded<long>(err, kFn, -1, [&]() -> long {
        return Update(file, layerPath, excluded, skip, statistics, err, kFn,
                      [&](Oimg_Layer *layer, Osta_Statistics *s, Osta_Histogram **h,
                          Oerr_ErrorReport **inner) {
                          return osta_LayerStatisticsCompute(layer, excluded, skip, s, h, inner) !=
                                 nullptr;
                      });
    });
}

extern "C" ORVIK_API long osta_LayerStatisticsUpdateFromCounts(
    Ohfa_File *file, const wchar_t *layerPath, const uint64_t *counts, int32_t nCounts,
    Osta_Statistics *statistics, Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    static const wchar_t *const kCountsFn = L"osta_LayerStatisticsUpdateFromCounts";
    if (err) *err = nullptr;
    return Guarded<long>(err, kCountsFn, -1, [&]() -> long {
        if (!counts) {
            SetError(err, kCountsFn, kUpdateBadArgument, nullptr, L"Invalid counts");
            return -1;
        }
        return Update(file, layerPath, nullptr, nullptr, statistics, err, kCountsFn,
                      [&](Oimg_Layer *layer, Osta_Statistics *s, Osta_Histogram **h,
                          Oerr_ErrorReport **inner) {
                          const Oimg_LayerInfo *info = oimg_LayerInfoGet(layer);
                          const auto type = static_cast<Ogda_PixelType>(info->pixelType);
                          const int32_t expected = type <= OGDA_S8 ? 256 : 65536;
                          if (!IsSmallInteger(type) || nCounts != expected) {
                              SetError(inner, kCountsFn, kComputeBadInput, nullptr,
                                       L"%ld counts do not fit a layer of pixel type %ld",
                                       long{nCounts}, long{info->pixelType});
                              return false;
                          }
                          ValueCounts v;
                          v.lo = type == OGDA_S8 ? -128 : type == OGDA_S16 ? -32768 : 0;
                          v.counts.assign(counts, counts + nCounts);
                          ExcludedSet x(nullptr);
                          if (info->hasNoData) x.Add(info->noData);
                          ExcludeCounts(x, v);
                          return StatisticsOfCounts(v, s, h, inner, kCountsFn) != nullptr;
                      });
    });
}
