// Internal: the open layer behind Oimg_Layer, its tile geometry, and the row codec between
// the file form of a block row and host pixels (one element per pixel, the BaseData form).
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include <orvik/oimg.h>

namespace orvik::img {

inline constexpr const wchar_t *kImageType = L"Oimg_Image";
inline constexpr const wchar_t *kLayerType = L"Oimg_Layer";
inline constexpr const wchar_t *kBlocksName = L"Blocks";
constexpr int32_t kDefaultBlockSide = 64;
constexpr int32_t kDefaultCellBytes = 32;
constexpr int32_t kMaxCellBytes = 4096;
constexpr uint32_t kLayerRecordSize = 40;
constexpr int64_t kMaxBlockBytes = 16 << 20;
constexpr int32_t kMaxBlockSide = 1 << 20;
// Whole blocks moved straight to or from a window go through a staging buffer of at most
// this size (or one block).
constexpr std::size_t kStageBytes = 1 << 20;

// The layer design (owned by the library, created at first use).
const Omif_Design *LayerDesign(Oerr_ErrorReport **err);

// Tile geometry derived from a record; `valid` false when the record cannot be a layer
// (the reason in `problem`).
struct Geometry {
    bool valid = false;
    std::wstring problem;
    int32_t blocksAcross = 0;
    int32_t blocksDown = 0;
    int32_t perByte = 0;    // sub-byte types: pixels per file byte (8, 4, 2); else 0
    int32_t fileBytes = 0;  // bytes per pixel in the file (not for sub-byte types)
    int32_t hostBytes = 0;  // bytes per pixel in memory
    int64_t rowBytes = 0;   // file bytes of one block row
    int64_t blockBytes = 0; // file bytes of one block
    int64_t blockCount = 0;
};
Geometry GeometryOf(const Oimg_LayerInfo &info);

// One file-form block row <-> host pixels. `first` and `count` select pixels of the row.
// Decoding "string" cells creates heap strings in `host` (the caller frees them); encoding
// fails (false) when a text does not fit in a cell.
void DecodeRow(const Oimg_LayerInfo &info, const Geometry &g, const unsigned char *row,
               int32_t first, int32_t count, unsigned char *host);
bool EncodeRow(const Oimg_LayerInfo &info, const Geometry &g, const unsigned char *host,
               int32_t first, int32_t count, unsigned char *row);
// Frees the heap strings of `count` "string" host pixels and nulls them.
void FreeStrings(unsigned char *host, int32_t count);

struct CodedStore;

} // namespace orvik::img

struct Oimg_Layer_ {
    Ohfa_File *file = nullptr;
    std::wstring path;
    Oimg_LayerInfo info{};
    orvik::img::Geometry geometry;
    Ohfa_Cache *cache = nullptr;                   // owned; null for a coded layer
    std::shared_ptr<orvik::img::CodedStore> coded; // coded layers: their block store
    std::vector<unsigned char> noDataBlock;        // file form of a block never written
    std::vector<unsigned char> block;              // scratch: one block
    std::vector<unsigned char> hostRow;            // scratch: one block row in host form
    std::vector<unsigned char> stage; // scratch: whole blocks on their way (kStageBytes)
    // Held by the one read of a read-only layer that may use the block cache and the scratch
    // buffers; reads that find it taken go to the file directly (window.cpp).
    std::mutex readMutex;
};

namespace orvik::img {

// Whether the entry at node path `path` exists: 1 (its record in `entry` when given), 0, or -1
// with a report (in *err when err is not null).
long PeekEntry(Ohfa_File *file, const std::wstring &path, Ohfa_Entry *entry,
               Oerr_ErrorReport **err);

// Opens the layer entry at `path` (record, geometry, block store); null with a report.
Oimg_Layer *OpenLayer(Ohfa_File *file, const std::wstring &path, Oerr_ErrorReport **err,
                      const wchar_t *fn);
// Creates a layer entry with its block store as the last child of `parentPath`.
// With `storage`, the layer is coded (img/coded_store.hpp).
// `placement` (OIMG_PLACE_...) decides whether the blocks go to a companion data file.
Oimg_Layer *CreateLayer(Ohfa_File *file, const std::wstring &parentPath, const wchar_t *name,
                        const Oimg_LayerInfo &info, Oerr_ErrorReport **err, const wchar_t *fn,
                        const Oimg_LayerStorage *storage = nullptr,
                        long placement = OIMG_PLACE_AUTO);
// Flushes and frees; false (reported) when the flush failed.
bool CloseLayer(Oimg_Layer *layer, Oerr_ErrorReport **err, const wchar_t *fn);

// Removes the layer's overviews with their blocks (overview.cpp).
bool DeleteOverviews(Oimg_Layer *layer, Oerr_ErrorReport **err, const wchar_t *fn);

// Window transfers (window.cpp), checked; report under `fn`.
bool ReadWindow(Oimg_Layer *layer, int32_t row, int32_t column, int32_t rows, int32_t columns,
                Ogda_BaseData *data, Oerr_ErrorReport **err, const wchar_t *fn);
// A read that shares nothing mutable with other reads of the layer (read-only files): blocks
// come from the file into this thread's scratch, the block cache is not used.
bool ReadWindowShared(Oimg_Layer *layer, int32_t row, int32_t column, int32_t rows, int32_t columns,
                      Ogda_BaseData *data, Oerr_ErrorReport **err, const wchar_t *fn);
bool WriteWindow(Oimg_Layer *layer, int32_t row, int32_t column, int32_t rows, int32_t columns,
                 const Ogda_BaseData *data, Oerr_ErrorReport **err, const wchar_t *fn);

// The window's blocks that it covers whole and that need no conversion, moved straight
// between the file and the caller's rows (whole_blocks.cpp); `moved` receives their numbers
// in increasing order (the rest is the caller's to transfer).
// `shared`: a read beside others on a read-only file (ReadWindowShared).
bool ReadWholeBlocks(Oimg_Layer *layer, int32_t row, int32_t column, int32_t rows, int32_t columns,
                     Ogda_BaseData *data, std::vector<int32_t> &moved, Oerr_ErrorReport **err,
                     const wchar_t *fn, bool shared = false);
bool WriteWholeBlocks(Oimg_Layer *layer, int32_t row, int32_t column, int32_t rows, int32_t columns,
                      const Ogda_BaseData *data, std::vector<int32_t> &moved,
                      Oerr_ErrorReport **err, const wchar_t *fn);

} // namespace orvik::img
