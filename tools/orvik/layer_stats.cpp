#include "layer_stats.hpp"

#include <orvik/odsc.h>
#include <orvik/oimg.h>

#include "common.hpp"
#include "raster.hpp"

namespace orvik_tool {
namespace {

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
                                     bool greyColourTable, const std::vector<uint64_t> *counts) {
    Report err;
    const std::wstring path = Wide(layerPath);
    Oimg_Layer *layer = oimg_LayerOpen(file, path.c_str(), err);
    if (!layer) err.ThrowIfSet("Cannot open layer " + layerPath);
    const bool eightBit = oimg_LayerInfoGet(layer)->pixelType == OGDA_U8;
    oimg_LayerClose(layer, nullptr);
    // 8-bit layers count into 256 direct bins, so the table's rows are the pixel values; the
    // update follows a bin function the table already holds.
    if (eightBit) {
        Table table(file, layerPath, 256);
        std::unique_ptr<Odsc_BinFunction, BinFunctionDeleter> bins(
            odsc_BinFunctionCreate(256, ODSC_BIN_DIRECT, 0, 255, nullptr, err));
        if (!bins || odsc_TableSetBinFunction(table.get(), bins.get(), err) != 0)
            err.ThrowIfSet("Cannot set the bins of " + layerPath);
    }
    Osta_Statistics stats{};
    const long stored =
        counts ? osta_LayerStatisticsUpdateFromCounts(file, path.c_str(), counts->data(),
                                                      static_cast<int32_t>(counts->size()), &stats,
                                                      err)
               : osta_LayerStatisticsUpdate(file, path.c_str(), nullptr, nullptr, &stats, err);
    if (stored != 0) err.ThrowIfSet("Cannot compute the statistics of " + layerPath);
    if (eightBit && greyColourTable) {
        Table table(file, layerPath, 256);
        std::unique_ptr<Osta_ColorTableStack, StackDeleter> colours(
            osta_ColorTableStackCreate(3, 256, err));
        if (!colours) err.ThrowIfSet("Cannot make a colour table");
        for (int32_t c = 0; c < 3; ++c)
            for (int32_t b = 0; b < 256; ++b)
                static_cast<double *>(colours->layers[c]->data)[b] = b / 255.0;
        if (osta_ColorTableStackWrite(table.get(), colours.get(), 0, -1, err) < 0)
            err.ThrowIfSet("Cannot store the colour table of " + layerPath);
    }
    return stats;
}

} // namespace orvik_tool
