// Blocks that a window covers whole, in the layer's own pixel type, bypass the block cache:
// they go between the file and the caller's rows through a small staging buffer, a run of
// blocks per vectored call (coded layers: through their store's run coder, coded_whole.cpp). That
// is the common case of a tiled reader or writer; for small blocks it saves the per-block work of
// the cache (lookup, buffer, eviction, a second copy).
#include <algorithm>
#include <cstring>

#include "core/guard.hpp"
#include "hfa/cache.hpp"
#include "img/coded_store.hpp"
#include "img/layer.hpp"
#include "img/report.hpp"
#include "mif/element_codec.hpp"

using orvik::core::SetError;

namespace orvik::img {
namespace {

using port::fs::Piece;

// Whether a block is held in memory (so that copy is the one to use) and whether it was
// written. A shared read of a read-only file never looks at the held blocks: another read may
// be changing that set, and on a read-only file the stored bytes are the same.
bool Held(const Oimg_Layer *layer, int32_t b, bool shared) {
    if (layer->cache) return hfa::IsHeld(*layer->cache, b);
    return !shared && layer->coded->held.count(b) != 0;
}
bool Stored(const Oimg_Layer *layer, int32_t b) {
    if (layer->cache) return ohfa_CacheBlockIsStored(layer->cache, b);
    return layer->coded->index.slots[static_cast<std::size_t>(b)].at != 0;
}

// Collects the blocks of the window that lie wholly inside both the window and the layer,
// are not held in memory, and (for reads) are stored, with their rows as pieces in the
// caller's memory. Nothing when the caller's pixels differ from the file form.
void Collect(const Oimg_Layer *layer, int32_t row, int32_t column, int32_t rows, int32_t columns,
             const Ogda_BaseData *data, bool reading, bool shared, std::vector<int32_t> &blocks,
             std::vector<Piece> &pieces) {
    const Oimg_LayerInfo &i = layer->info;
    const Geometry &g = layer->geometry;
    if (data->datatype != i.pixelType || g.perByte != 0 || i.pixelType == OGDA_STRING ||
        (!mif::kHostIsLittleEndian && g.fileBytes != 1) || data->numbytes != g.fileBytes)
        return;
    const int32_t bw = i.blockWidth, bh = i.blockHeight;
    // Block rows and columns wholly inside the window (and so inside the layer).
    const int32_t br0 = (row + bh - 1) / bh, br1 = (row + rows) / bh;
    const int32_t bc0 = (column + bw - 1) / bw, bc1 = (column + columns) / bw;
    const auto rowBytes = static_cast<std::size_t>(g.rowBytes);
    auto *base = static_cast<unsigned char *>(data->data);
    for (int32_t br = br0; br < br1; ++br)
        for (int32_t bc = bc0; bc < bc1; ++bc) {
            const int32_t b = br * g.blocksAcross + bc;
            if (Held(layer, b, shared) || (reading && !Stored(layer, b))) continue;
            blocks.push_back(b);
            for (int32_t y = 0; y < bh; ++y)
                pieces.push_back({base + int64_t{br * bh + y - row} * data->lineBytes +
                                      int64_t{bc * bw - column} * data->numbytes,
                                  rowBytes});
        }
}

// Blocks move in batches through the layer's staging buffer: the system call then moves
// whole blocks, which costs far less than one piece per block row (rows of small blocks are
// a few hundred bytes), and the staging stays small and hot in the processor's cache.
template <class Batch>
bool InBatches(Oimg_Layer *layer, const std::vector<int32_t> &blocks, Batch &&batch) {
    const auto bytes = static_cast<std::size_t>(layer->geometry.blockBytes);
    const std::size_t per = std::max<std::size_t>(1, kStageBytes / bytes);
    layer->stage.resize(bytes * std::min(per, blocks.size()));
    std::vector<int32_t> some;
    std::vector<Piece> whole;
    for (std::size_t first = 0; first < blocks.size(); first += per) {
        const std::size_t n = std::min(per, blocks.size() - first);
        some.assign(blocks.begin() + static_cast<std::ptrdiff_t>(first),
                    blocks.begin() + static_cast<std::ptrdiff_t>(first + n));
        whole.resize(n);
        for (std::size_t k = 0; k < n; ++k) whole[k] = {layer->stage.data() + k * bytes, bytes};
        if (!batch(first, some, whole)) return false;
    }
    return true;
}

} // namespace

bool ReadWholeBlocks(Oimg_Layer *layer, int32_t row, int32_t column, int32_t rows, int32_t columns,
                     Ogda_BaseData *data, std::vector<int32_t> &moved, Oerr_ErrorReport **err,
                     const wchar_t *fn, bool shared) {
    std::vector<Piece> rowsOut;
    Collect(layer, row, column, rows, columns, data, true, shared, moved, rowsOut);
    if (moved.empty()) return true;
    if (layer->coded) return ReadCodedWhole(*layer, moved, rowsOut, shared, err, fn);
    layer->cache->misses += static_cast<int64_t>(moved.size());
    const auto per = static_cast<std::size_t>(layer->info.blockHeight);
    const bool ok = InBatches(
        layer, moved,
        [&](std::size_t first, const std::vector<int32_t> &some, const std::vector<Piece> &whole) {
            if (!hfa::ReadBlocksDirect(*layer->cache, some, whole, err, fn)) return false;
            const unsigned char *from = layer->stage.data();
            for (std::size_t i = first * per; i < (first + some.size()) * per; ++i) {
                std::memcpy(rowsOut[i].bytes, from, rowsOut[i].count);
                from += rowsOut[i].count;
            }
            return true;
        });
    if (ok) return true;
    SetError(err, fn, kWindowStoreFailed, *err, L"Cannot read blocks of layer %s",
             layer->path.c_str());
    return false;
}

bool WriteWholeBlocks(Oimg_Layer *layer, int32_t row, int32_t column, int32_t rows, int32_t columns,
                      const Ogda_BaseData *data, std::vector<int32_t> &moved,
                      Oerr_ErrorReport **err, const wchar_t *fn) {
    std::vector<Piece> rowsIn;
    Collect(layer, row, column, rows, columns, data, false, false, moved, rowsIn);
    if (moved.empty()) return true;
    if (layer->coded) return WriteCodedWhole(*layer, moved, rowsIn, err, fn);
    const auto per = static_cast<std::size_t>(layer->info.blockHeight);
    const bool ok = InBatches(
        layer, moved,
        [&](std::size_t first, const std::vector<int32_t> &some, const std::vector<Piece> &whole) {
            unsigned char *to = layer->stage.data();
            for (std::size_t i = first * per; i < (first + some.size()) * per; ++i) {
                std::memcpy(to, rowsIn[i].bytes, rowsIn[i].count);
                to += rowsIn[i].count;
            }
            return hfa::WriteBlocksDirect(*layer->cache, some, whole, err, fn);
        });
    if (ok) return true;
    SetError(err, fn, kWindowStoreFailed, *err, L"Cannot write blocks of layer %s",
             layer->path.c_str());
    return false;
}

} // namespace orvik::img
