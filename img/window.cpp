// Window reads and writes: the window is cut along block edges; each piece is one run of
// pixels inside one block row, converted in one call of the pixel conversion table (and
// packed or unpacked on the way for sub-byte, "string" and byte-swapped pixels).
#include <cstring>
#include <mutex>
#include <vector>

#include <orvik/opxm.h>

#include "core/guard.hpp"
#include "hfa/cache.hpp"
#include "hfa/file.hpp"
#include "img/coded_store.hpp"
#include "img/layer.hpp"
#include "img/report.hpp"
#include "mif/element_codec.hpp"

using orvik::core::Guarded;
using orvik::core::SetError;

namespace orvik::img {
namespace {

bool CheckWindow(const Oimg_Layer *layer, int32_t row, int32_t column, int32_t rows,
                 int32_t columns, const Ogda_BaseData *data, Oerr_ErrorReport **err,
                 const wchar_t *fn) {
    if (!layer || !data) {
        SetError(err, fn, kWindowBadArgument, nullptr, L"Invalid layer or data");
        return false;
    }
    const Oimg_LayerInfo &i = layer->info;
    if (rows < 1 || columns < 1 || row < 0 || column < 0 || int64_t{row} + rows > i.height ||
        int64_t{column} + columns > i.width) {
        SetError(err, fn, kWindowOutside, nullptr,
                 L"Window at row %ld, column %ld of %ld x %ld pixels lies outside layer %s of "
                 L"%ld x %ld pixels",
                 static_cast<long>(row), static_cast<long>(column), static_cast<long>(rows),
                 static_cast<long>(columns), layer->path.c_str(), static_cast<long>(i.height),
                 static_cast<long>(i.width));
        return false;
    }
    if (data->numrows != rows || data->numcolumns != columns || !data->data ||
        data->objecttype == Ogda_Matrix || data->datatype < 0 ||
        data->datatype >= OGDA_PIXEL_TYPE_COUNT ||
        data->numbytes != ogda_NumBytePerPixelFromType(data->datatype) ||
        int64_t{data->lineBytes} < int64_t{columns} * data->numbytes) {
        SetError(err, fn, kWindowBadData, nullptr,
                 L"Data of %ld x %ld elements (object type %ld) cannot take a window of %ld x "
                 L"%ld pixels",
                 static_cast<long>(data->numrows), static_cast<long>(data->numcolumns),
                 static_cast<long>(data->objecttype), static_cast<long>(rows),
                 static_cast<long>(columns));
        return false;
    }
    return true;
}

// Pixels that go between the block bytes and the caller's elements without a codec step.
bool Direct(const Oimg_Layer *layer) {
    const Geometry &g = layer->geometry;
    return g.perByte == 0 && layer->info.pixelType != OGDA_STRING &&
           (mif::kHostIsLittleEndian || g.fileBytes == 1);
}

// Calls piece(blockNumber, firstRowInBlock, rowCount, firstColumnInBlock, columnCount,
// windowRow, windowColumn) for every block the window touches; stops at a false.
template <class Piece>
bool ForEachBlock(const Oimg_Layer *layer, int32_t row, int32_t column, int32_t rows,
                  int32_t columns, Piece &&piece) {
    const Oimg_LayerInfo &i = layer->info;
    const int32_t bw = i.blockWidth, bh = i.blockHeight;
    for (int32_t br = row / bh; br <= (row + rows - 1) / bh; ++br) {
        const int32_t r0 = std::max(row, br * bh), r1 = std::min(row + rows, br * bh + bh);
        for (int32_t bc = column / bw; bc <= (column + columns - 1) / bw; ++bc) {
            const int32_t c0 = std::max(column, bc * bw),
                          c1 = std::min(column + columns, bc * bw + bw);
            if (!piece(br * layer->geometry.blocksAcross + bc, r0 - br * bh, r1 - r0, c0 - bc * bw,
                       c1 - c0, r0 - row, c0 - column))
                return false;
        }
    }
    return true;
}

// Whether a piece covers every pixel of its block that lies inside the layer.
bool Whole(const Oimg_Layer *layer, int32_t block, int32_t y0, int32_t ny, int32_t x0, int32_t nx) {
    const Oimg_LayerInfo &i = layer->info;
    const int32_t br = block / layer->geometry.blocksAcross;
    const int32_t bc = block % layer->geometry.blocksAcross;
    return y0 == 0 && x0 == 0 && ny == std::min(i.blockHeight, i.height - br * i.blockHeight) &&
           nx == std::min(i.blockWidth, i.width - bc * i.blockWidth);
}

unsigned char *Element(const Ogda_BaseData *data, int32_t r, int32_t c) {
    return static_cast<unsigned char *>(data->data) + int64_t{r} * data->lineBytes +
           int64_t{c} * data->numbytes;
}

// Converts the rows of one piece of a block (file form at `src`) into the caller's data at
// window row `wr`, column `wc`; `host` holds one block row in host form.
void CopyPiece(const Oimg_Layer *layer, const unsigned char *src, int32_t y0, int32_t ny,
               int32_t x0, int32_t nx, Ogda_BaseData *data, int32_t wr, int32_t wc,
               Opxm_ConvertFunction convert, bool direct, unsigned char *host) {
    const Oimg_LayerInfo &info = layer->info;
    const Geometry &g = layer->geometry;
    for (int32_t y = 0; y < ny; ++y) {
        const unsigned char *line = src + (y0 + y) * g.rowBytes;
        unsigned char *out = Element(data, wr + y, wc);
        if (direct) {
            convert(line + int64_t{x0} * g.fileBytes, out, nx);
            continue;
        }
        DecodeRow(info, g, line, x0, nx, host);
        convert(host, out, nx);
        if (info.pixelType == OGDA_STRING) FreeStrings(host, nx);
    }
}

} // namespace

bool ReadWindow(Oimg_Layer *layer, int32_t row, int32_t column, int32_t rows, int32_t columns,
                Ogda_BaseData *data, Oerr_ErrorReport **err, const wchar_t *fn) {
    if (!CheckWindow(layer, row, column, rows, columns, data, err, fn)) return false;
    const Oimg_LayerInfo &info = layer->info;
    const Opxm_ConvertFunction convert =
        omsc_AddressOf_opxm_Convert()[info.pixelType][data->datatype];
    const bool direct = Direct(layer);
    unsigned char *host = layer->hostRow.data();
    std::vector<int32_t> moved;
    if (!ReadWholeBlocks(layer, row, column, rows, columns, data, moved, err, fn)) return false;
    auto next = moved.begin();
    if (!PrefetchWindow(layer, row, column, rows, columns, moved, err, fn)) return false;
    return ForEachBlock(
        layer, row, column, rows, columns,
        [&](int32_t block, int32_t y0, int32_t ny, int32_t x0, int32_t nx, int32_t wr, int32_t wc) {
            if (next != moved.end() && *next == block) return ++next, true;
            // The block in the cache's memory when it can be held there, else a copy.
            unsigned char *held = nullptr;
            long got = HoldBlock(layer, block, false, true, Whole(layer, block, y0, ny, x0, nx),
                                 &held, err, fn);
            if (got == hfa::kHeldDirect) {
                held = layer->block.data();
                got = ReadWholeBlock(layer, block, held, err, fn);
            }
            if (got < 0) {
                SetError(err, fn, kWindowStoreFailed, *err, L"Cannot read block %ld of layer %s",
                         static_cast<long>(block), layer->path.c_str());
                return false;
            }
            const unsigned char *src = got ? held : layer->noDataBlock.data();
            CopyPiece(layer, src, y0, ny, x0, nx, data, wr, wc, convert, direct, host);
            return true;
        });
}

bool ReadWindowShared(Oimg_Layer *layer, int32_t row, int32_t column, int32_t rows, int32_t columns,
                      Ogda_BaseData *data, Oerr_ErrorReport **err, const wchar_t *fn) {
    if (!CheckWindow(layer, row, column, rows, columns, data, err, fn)) return false;
    const Oimg_LayerInfo &info = layer->info;
    const Opxm_ConvertFunction convert =
        omsc_AddressOf_opxm_Convert()[info.pixelType][data->datatype];
    // Coded layers move their whole blocks straight to the caller here too.
    std::vector<int32_t> moved;
    if (layer->coded &&
        !ReadWholeBlocks(layer, row, column, rows, columns, data, moved, err, fn, true))
        return false;
    auto next = moved.begin();
    // Scratch of this thread: one block and one block row in host form.
    thread_local std::vector<unsigned char> block, host;
    block.resize(static_cast<std::size_t>(layer->geometry.blockBytes));
    host.resize(layer->hostRow.size());
    return ForEachBlock(
        layer, row, column, rows, columns,
        [&](int32_t number, int32_t y0, int32_t ny, int32_t x0, int32_t nx, int32_t wr,
            int32_t wc) {
            if (next != moved.end() && *next == number) return ++next, true;
            const unsigned char *src = layer->noDataBlock.data();
            const auto n = static_cast<std::size_t>(number);
            // The index does not change while the file is read-only.
            if (layer->coded ? layer->coded->index.slots[n].at != 0 : layer->cache->index[n] != 0) {
                const bool read =
                    layer->coded ? LoadShared(*layer, number, block.data(), err, fn)
                                 : hfa::ReadBlock(*layer->cache, number, block.data(), err, fn);
                if (!read) {
                    SetError(err, fn, kWindowStoreFailed, *err,
                             L"Cannot read block %ld of layer %s", static_cast<long>(number),
                             layer->path.c_str());
                    return false;
                }
                src = block.data();
            }
            CopyPiece(layer, src, y0, ny, x0, nx, data, wr, wc, convert, Direct(layer),
                      host.data());
            return true;
        });
}

bool WriteWindow(Oimg_Layer *layer, int32_t row, int32_t column, int32_t rows, int32_t columns,
                 const Ogda_BaseData *data, Oerr_ErrorReport **err, const wchar_t *fn) {
    if (!CheckWindow(layer, row, column, rows, columns, data, err, fn) ||
        !hfa::CheckWritable(layer->file, fn, err))
        return false;
    const Oimg_LayerInfo &info = layer->info;
    const Geometry &g = layer->geometry;
    const Opxm_ConvertFunction convert =
        omsc_AddressOf_opxm_Convert()[data->datatype][info.pixelType];
    const bool direct = Direct(layer);
    const bool text = info.pixelType == OGDA_STRING;
    unsigned char *host = layer->hostRow.data();
    std::vector<int32_t> moved;
    if (!WriteWholeBlocks(layer, row, column, rows, columns, data, moved, err, fn)) return false;
    auto next = moved.begin();
    return ForEachBlock(
        layer, row, column, rows, columns,
        [&](int32_t block, int32_t y0, int32_t ny, int32_t x0, int32_t nx, int32_t wr, int32_t wc) {
            if (next != moved.end() && *next == block) return ++next, true;
            // Pixels of the block that lie inside the layer: all of them are overwritten when the
            // piece covers them, and the rest of the block is no-data.
            const bool covers = Whole(layer, block, y0, ny, x0, nx);
            const bool edge = (block / g.blocksAcross + 1) * info.blockHeight > info.height ||
                              (block % g.blocksAcross + 1) * info.blockWidth > info.width;
            // Filled in the cache's memory when the block can be held there; "string" blocks
            // are filled in a copy, so that a text too long leaves the block as it was.
            long got = hfa::kHeldDirect;
            unsigned char *bytes = nullptr;
            if (!text) got = HoldBlock(layer, block, true, !covers, covers, &bytes, err, fn);
            const bool copy = got == hfa::kHeldDirect;
            if (copy) {
                bytes = layer->block.data();
                got = covers ? 0 : GetBlockCopy(layer, block, bytes, err, fn);
            }
            if (got < 0) {
                SetError(err, fn, kWindowStoreFailed, *err, L"Cannot read block %ld of layer %s",
                         static_cast<long>(block), layer->path.c_str());
                return false;
            }
            if ((!covers && got == 0) || (covers && (edge || g.perByte)))
                std::memcpy(bytes, layer->noDataBlock.data(),
                            static_cast<std::size_t>(g.blockBytes));
            for (int32_t y = 0; y < ny; ++y) {
                unsigned char *line = bytes + (y0 + y) * g.rowBytes;
                const unsigned char *in = Element(data, wr + y, wc);
                if (direct) {
                    convert(in, line + int64_t{x0} * g.fileBytes, nx);
                    continue;
                }
                if (text) std::memset(host, 0, static_cast<std::size_t>(nx) * sizeof(wchar_t *));
                convert(in, host, nx);
                const bool fits = EncodeRow(info, g, host, x0, nx, line);
                if (text) FreeStrings(host, nx);
                if (!fits) {
                    SetError(err, fn, kWindowTextTooLong, nullptr,
                             L"A text in row %ld, columns %ld to %ld, is longer than the %ld-byte "
                             L"cells of layer %s",
                             static_cast<long>(row + wr + y), static_cast<long>(column + wc),
                             static_cast<long>(column + wc + nx - 1),
                             static_cast<long>(g.fileBytes), layer->path.c_str());
                    return false;
                }
            }
            if (!copy || PutBlockCopy(layer, block, bytes, err, fn) == 0) return true;
            SetError(err, fn, kWindowStoreFailed, *err, L"Cannot write block %ld of layer %s",
                     static_cast<long>(block), layer->path.c_str());
            return false;
        });
}

} // namespace orvik::img

using namespace orvik::img;

extern "C" {

ORVIK_API long oimg_LayerReadWindow(Oimg_Layer *layer, int32_t row, int32_t column, int32_t rows,
                                    int32_t columns, Ogda_BaseData *data, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT {
    static const wchar_t *const kFn = L"oimg_LayerReadWindow";
    if (err) *err = nullptr;
    return Guarded<long>(err, kFn, -1, [&]() -> long {
        // Reads of a read-only layer may come from several threads at once: one at a time
        // uses the block cache (or a coded layer's held blocks, workers and contexts), the
        // others read their blocks from the file with scratch and codec state of their own.
        if (layer && layer->file->readOnly) {
            std::unique_lock<std::mutex> own(layer->readMutex, std::try_to_lock);
            if (!own.owns_lock())
                return ReadWindowShared(layer, row, column, rows, columns, data, err, kFn) ? 0 : -1;
            return ReadWindow(layer, row, column, rows, columns, data, err, kFn) ? 0 : -1;
        }
        return ReadWindow(layer, row, column, rows, columns, data, err, kFn) ? 0 : -1;
    });
}

ORVIK_API long oimg_LayerWriteWindow(Oimg_Layer *layer, int32_t row, int32_t column, int32_t rows,
                                     int32_t columns, const Ogda_BaseData *data,
                                     Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    static const wchar_t *const kFn = L"oimg_LayerWriteWindow";
    if (err) *err = nullptr;
    return Guarded<long>(err, kFn, -1, [&]() -> long {
        return WriteWindow(layer, row, column, rows, columns, data, err, kFn) ? 0 : -1;
    });
}

ORVIK_API Ogda_BaseData *oimg_LayerRead(Oimg_Layer *layer, Ogda_BaseData *data,
                                        Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    static const wchar_t *const kFn = L"oimg_LayerRead";
    if (err) *err = nullptr;
    return Guarded<Ogda_BaseData *>(err, kFn, nullptr, [&]() -> Ogda_BaseData * {
        if (!layer) {
            SetError(err, kFn, kWindowBadArgument, nullptr, L"Invalid layer");
            return nullptr;
        }
        const Oimg_LayerInfo &i = layer->info;
        Ogda_BaseData *target = data;
        if (!target) {
            target =
                ogda_BaseDataCreate(i.height, i.width, static_cast<Ogda_PixelType>(i.pixelType),
                                    Ogda_Raster, nullptr, err);
            if (!target) {
                SetError(err, kFn, kWindowBadData, *err, L"ogda_BaseDataCreate failed");
                return nullptr;
            }
        }
        if (ReadWindow(layer, 0, 0, i.height, i.width, target, err, kFn)) return target;
        if (!data) ogda_BaseDataDelete(target, nullptr);
        return nullptr;
    });
}

ORVIK_API long oimg_LayerWrite(Oimg_Layer *layer, const Ogda_BaseData *data, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT {
    static const wchar_t *const kFn = L"oimg_LayerWrite";
    if (err) *err = nullptr;
    return Guarded<long>(err, kFn, -1, [&]() -> long {
        if (!layer) {
            SetError(err, kFn, kWindowBadArgument, nullptr, L"Invalid layer");
            return -1;
        }
        return WriteWindow(layer, 0, 0, layer->info.height, layer->info.width, data, err, kFn) ? 0
                                                                                               : -1;
    });
}

} // extern "C"
