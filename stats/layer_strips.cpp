// Strips of raster layers for the statistics computations: their geometry, buffers, reads and
// sampling grids.
#include "stats/layer_strips.hpp"

#include <algorithm>

#include "core/guard.hpp"
#include "stats/report.hpp"

namespace orvik::stats {

LayerStrips::LayerStrips(const Oimg_LayerInfo &shape, int32_t skipX, int32_t skipY)
    : width_(shape.width), height_(shape.height), sx_(skipX), sy_(skipY) {
    const int64_t blocksAcross =
        std::max<int64_t>(1, kStripPixels / (int64_t{shape.blockWidth} * shape.blockHeight));
    columns_ = int32_t(std::min<int64_t>(width_, blocksAcross * shape.blockWidth));
    rows_ = std::min(shape.blockHeight, height_);
}

OwnedBaseData LayerStrips::NewBuffer(int32_t type, Oerr_ErrorReport **err,
                                     const wchar_t *fn) const {
    Oerr_ErrorReport *inner = nullptr;
    OwnedBaseData b(ogda_BaseDataCreate(rows_, columns_, static_cast<Ogda_PixelType>(type),
                                        Ogda_Raster, nullptr, &inner));
    if (!b) core::SetOutOfMemory(err, fn, inner);
    return b;
}

bool LayerStrips::Read(Oimg_Layer *layer, const StripWindow &w, const Ogda_BaseData &buffer,
                       Ogda_BaseData &view, Oerr_ErrorReport **err, const wchar_t *fn) {
    view = buffer;
    view.numrows = w.rows;
    view.numcolumns = w.columns;
    view.numelements = w.rows * w.columns;
    Oerr_ErrorReport *inner = nullptr;
    if (oimg_LayerReadWindow(layer, w.row, w.column, w.rows, w.columns, &view, &inner) == 0)
        return true;
    core::SetError(err, fn, kComputeReadFailed, inner, L"Cannot read rows %ld to %ld of layer %s",
                   long{w.row}, long{w.row} + w.rows - 1, oimg_LayerPathGet(layer));
    return false;
}

Grid LayerStrips::Sampled(const Ogda_BaseData &v, bool collapse) const {
    Grid g;
    g.base = static_cast<const unsigned char *>(v.data);
    if (collapse && sx_ == 1 && sy_ == 1 && v.lineBytes == int64_t{v.numbytes} * v.numcolumns) {
        g.lines = 1;
        g.perLine = int64_t{v.numrows} * v.numcolumns;
        return g;
    }
    g.lineBytes = int64_t{v.lineBytes} * sy_;
    g.lines = (v.numrows - 1) / sy_ + 1;
    g.perLine = (v.numcolumns - 1) / sx_ + 1;
    g.elemStride = sx_;
    return g;
}

} // namespace orvik::stats
