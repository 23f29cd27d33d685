#include "layer_stats.hpp"

#include <orvik/odsc.h>
#include <orvik/oimg.h>

#include "common.hpp"
#include "raster.hpp"

namespace orvik_tool {
namespace {

struct HistogramDeleter {
    void operator()(Osta_Histogram *h) const { osta_HistogramDelete(h); }
};
struct StackDeleter {
    void operator()(Osta_ColorTableStack *s) const { osta_ColorTableStackDelete(s); }
};
struct BinFunctionDeleter {
    void operator()(Odsc_BinFunction *b) const { odsc_BinFunctionDelete(b); }
};

class Table {
  public:
    Table(Ohfa_File *file, const std::string &layer, int32_t rows) {
        Report err;
        const std::wstring path = Wide(layer);
        if (odsc_TableExist(file, path.c_str(), err)) {
            m_table = odsc_TableOpen(file, path.c_str(), err);
            if (m_table && odsc_TableGetNumRows(m_table) != rows &&
                !odsc_TableResize(m_table, rows, err)) {
                odsc_TableClose(m_table, nullptr);
                m_table = nullptr;
            }
        } else {
            m_table = odsc_TableCreate(file, path.c_str(), rows, err);
        }
        if (!m_table) err.ThrowIfSet("Cannot open the descriptor table of " + layer);
    }
    ~Table() { odsc_TableClose(m_table, nullptr); }
    Table(const Table &) = delete;
    Table &operator=(const Table &) = delete;
    Odsc_Table *get() const { return m_table; }

  private:
    Odsc_Table *m_table = nullptr;
};

// The statistics of a whole layer's pixels: the one place that computes them.
Osta_Statistics Compute(const Ogda_BaseData *pixels, Osta_Histogram **histogram) {
    Report err;
    Osta_Statistics stats{};
    if (!osta_StatisticsCompute(pixels, nullptr, nullptr, &stats, histogram, err))
        err.ThrowIfSet("Cannot compute statistics");
    return stats;
}

} // namespace

Ogda_BaseData *ReadWholeLayer(Ohfa_File *file, const std::string &layerPath) {
    Report err;
    Oimg_Layer *layer = oimg_LayerOpen(file, Wide(layerPath).c_str(), err);
    if (!layer) err.ThrowIfSet("Cannot open layer " + layerPath);
    Ogda_BaseData *data = oimg_LayerRead(layer, nullptr, err);
    oimg_LayerClose(layer, nullptr);
    if (!data) err.ThrowIfSet("Cannot read layer " + layerPath);
    return data;
}

Osta_Statistics StoreLayerStatistics(Ohfa_File *file, const std::string &layerPath,
                                     const Ogda_BaseData *pixels, bool greyColourTable) {
    Band read;
    if (!pixels) {
        read.reset(ReadWholeLayer(file, layerPath));
        pixels = read.get();
    }
    Report err;
    std::unique_ptr<Osta_Histogram, HistogramDeleter> histogram;
    const bool eightBit = pixels->datatype == OGDA_U8;
    if (eightBit) {
        std::unique_ptr<Odsc_BinFunction, BinFunctionDeleter> bins(
            odsc_BinFunctionCreate(256, ODSC_BIN_DIRECT, 0, 255, nullptr, err));
        if (bins) histogram.reset(osta_HistogramCreate(bins.get(), 256, err));
        if (!histogram) err.ThrowIfSet("Cannot make a histogram");
    }
    Osta_Histogram *h = histogram.release();
    Osta_Statistics stats{};
    try {
        stats = Compute(pixels, &h);
    } catch (...) {
        osta_HistogramDelete(h);
        throw;
    }
    histogram.reset(h);
    const std::wstring path = Wide(layerPath);
    if (osta_StatisticsWrite(file, path.c_str(), &stats, err) != 0)
        err.ThrowIfSet("Cannot store the statistics of " + layerPath);
    if (!histogram) return stats;
    const int32_t rows = histogram->binFunction->numBins;
    Table table(file, layerPath, rows);
    if (odsc_TableSetBinFunction(table.get(), histogram->binFunction, err) != 0 ||
        osta_HistogramWrite(table.get(), histogram.get(), 0, -1, err) < 0)
        err.ThrowIfSet("Cannot store the histogram of " + layerPath);
    if (eightBit && greyColourTable) {
        std::unique_ptr<Osta_ColorTableStack, StackDeleter> colours(
            osta_ColorTableStackCreate(3, rows, err));
        if (!colours) err.ThrowIfSet("Cannot make a colour table");
        for (int32_t c = 0; c < 3; ++c)
            for (int32_t b = 0; b < rows; ++b)
                static_cast<double *>(colours->layers[c]->data)[b] = b / 255.0;
        if (osta_ColorTableStackWrite(table.get(), colours.get(), 0, -1, err) < 0)
            err.ThrowIfSet("Cannot store the colour table of " + layerPath);
    }
    return stats;
}

} // namespace orvik_tool
