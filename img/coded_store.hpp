// Internal: the block store of coded layers (docs/raster-layers.md, "Coded layers"). Blocks
// are held decoded in memory up to a byte limit (least recently used evicted first, changed
// ones encoded and written then); on disk each block is its stored bytes, named by a slot of
// the layer's "BlockIndex" entry. Plain layers go to their block cache: the functions here
// dispatch, so window code needs no second path.
#pragma once

#include <algorithm>
#include <atomic>
#include <functional>
#include <list>
#include <memory>
#include <thread>
#include <unordered_map>

#include "hfa/block_index.hpp"
#include "img/codec.hpp"
#include "hfa/companion.hpp"
#include "img/layer.hpp"
#include "port/file_system.hpp"

namespace orvik::img {

inline constexpr const wchar_t *kStorageName = L"Storage";
inline constexpr const wchar_t *kStorageType = L"Oimg_LayerStorage";
inline constexpr const wchar_t *kBlockIndexName = L"BlockIndex";
constexpr int64_t kCodedHeldLimit = 16 << 20;

struct CodedStore {
    Oimg_LayerStorage storage{};
    BlockShape shape;
    hfa::BlockIndex index;
    struct Held {
        std::unique_ptr<unsigned char[]> bytes;
        bool dirty = false;
        std::list<int32_t>::iterator use;
    };
    std::unordered_map<int32_t, Held> held;
    std::list<int32_t> recency; // most recently used first
    int64_t limit = kCodedHeldLimit;
    std::vector<std::unique_ptr<CodecContext>> contexts; // one per worker, made on demand
    std::vector<unsigned char> stored;                   // scratch: one stored block
    std::vector<unsigned char> encoded; // scratch: a run of blocks encoded, one block apart
    std::vector<std::vector<unsigned char>> gathered; // scratch per worker: one block
    // Buffers of evicted blocks, for the next blocks taken in (held and spare together stay
    // within the limit).
    std::vector<std::unique_ptr<unsigned char[]>> spare;
    // External layers: the companion file that holds the stored blocks (null: the HFA file).
    std::unique_ptr<hfa::Companion> companion;
};

// Whether the layer entry at `path` has a storage record (so is coded).
bool HasStorage(Ohfa_File *file, const std::wstring &path, Oerr_ErrorReport **err);
// 1 when the layer at `path` is coded, 0 when it is plain, -1 when the look-up failed
// (reported).
long StorageFound(Ohfa_File *file, const std::wstring &path, Oerr_ErrorReport **err);
// Writes the storage record and an empty block index under the new layer entry at `path`;
// with `companion`, its record first and a 64-bit index naming blocks in that file.
bool CreateCodedStore(Ohfa_File *file, const std::wstring &path, const Geometry &g,
                      const Oimg_LayerStorage &storage, const hfa::CompanionRecord *companion,
                      Oerr_ErrorReport **err, const wchar_t *fn);
// Loads the storage record and block index of an opened layer record (checked).
bool OpenCodedStore(Oimg_Layer &layer, Oerr_ErrorReport **err, const wchar_t *fn);

// As hfa::HeldBlock, for either kind of layer.
long HoldBlock(Oimg_Layer *layer, int32_t block, bool forWrite, bool load, bool whole,
               unsigned char **bytes, Oerr_ErrorReport **err, const wchar_t *fn);
// After HoldBlock's kHeldDirect for a read: the block into `bytes`; 1, 0 never written, -1.
long ReadWholeBlock(Oimg_Layer *layer, int32_t block, unsigned char *bytes, Oerr_ErrorReport **err,
                    const wchar_t *fn);
// As ohfa_CacheGetBlock / ohfa_CachePutBlock: 1 read, 0 never written, -1; 0 written, -1.
long GetBlockCopy(Oimg_Layer *layer, int32_t block, unsigned char *bytes, Oerr_ErrorReport **err,
                  const wchar_t *fn);
long PutBlockCopy(Oimg_Layer *layer, int32_t block, const unsigned char *bytes,
                  Oerr_ErrorReport **err, const wchar_t *fn);
// Decodes, in the file's worker threads, the stored blocks a window read will need that are
// not held yet and not among `done` (increasing numbers), as many as the limit allows.
// Without workers it does nothing.
bool PrefetchWindow(Oimg_Layer *layer, int32_t row, int32_t column, int32_t rows, int32_t columns,
                    const std::vector<int32_t> &done, Oerr_ErrorReport **err, const wchar_t *fn);

// Writes what the layer holds changed; Close also releases the store. Either kind of layer.
bool FlushStore(Oimg_Layer *layer, Oerr_ErrorReport **err, const wchar_t *fn);
bool CloseStore(Oimg_Layer *layer, Oerr_ErrorReport **err, const wchar_t *fn);
// Removes the blocks of the layer at `path` (either kind): the index entry first, then the
// blocks' space, so a crash leaks space and never leaves an index naming freed space.
bool DeleteStore(Ohfa_File *file, const std::wstring &path, Oerr_ErrorReport **err,
                 const wchar_t *fn);
// Verifies every written block; the number damaged (first one reported), or -1.
long CheckStore(Oimg_Layer *layer, Oerr_ErrorReport **err, const wchar_t *fn);

// Worker threads of a file (1: none started).
int32_t WorkerThreads(const Ohfa_File *file);
// The same for a coded layer, with a codec context made for each worker (before any thread
// starts).
int32_t Workers(Oimg_Layer &layer);

// Runs job(i, worker) for i in [0, count) on `threads` threads (the caller's among them).
// Each takes the next index as it becomes free, so a thread the system holds back (other
// processes on the cores) delays only the block it has, not a fixed share of them.
template <class Job> void Parallel(std::size_t count, int32_t threads, Job &&job) {
    const std::size_t n =
        std::min<std::size_t>(static_cast<std::size_t>(std::max(1, threads)), count);
    if (n <= 1) {
        for (std::size_t i = 0; i < count; ++i) job(i, 0);
        return;
    }
    std::atomic<std::size_t> next{0};
    const auto work = [&](std::size_t worker) {
        for (std::size_t i; (i = next.fetch_add(1, std::memory_order_relaxed)) < count;)
            job(i, worker);
    };
    std::vector<std::thread> workers;
    for (std::size_t w = 1; w < n; ++w) workers.emplace_back(work, w);
    work(0);
    for (auto &t : workers) t.join();
}

// Encodes blocks (increasing numbers; `source(i, worker)` gives block i decoded, in memory
// that stays valid until the worker's next call) a run at a time, each block encoded and
// summed by the worker that made it hot, and writes each run: its stored bytes into new space
// in one call, then the slots, then the old space freed. With `sourcesStay` every block given
// stays valid for the whole call, so blocks stored as they are are written from where they lie.
using BlockSource = std::function<const unsigned char *(std::size_t i, std::size_t worker)>;
bool EncodeAndStore(Oimg_Layer &layer, const std::vector<int32_t> &blocks,
                    const BlockSource &source, bool sourcesStay, Oerr_ErrorReport **err,
                    const wchar_t *fn);

// Whole blocks of a window straight between the file and the caller's rows (`rows`: the
// block's rows in the caller's memory, blockHeight per block). `shared`: a read that may
// run beside others on a read-only file, so it touches nothing mutable of the store.
bool ReadCodedWhole(Oimg_Layer &layer, const std::vector<int32_t> &blocks,
                    const std::vector<port::fs::Piece> &rows, bool shared, Oerr_ErrorReport **err,
                    const wchar_t *fn);
bool WriteCodedWhole(Oimg_Layer &layer, const std::vector<int32_t> &blocks,
                     const std::vector<port::fs::Piece> &rows, Oerr_ErrorReport **err,
                     const wchar_t *fn);
// One written block decoded into `bytes` without touching the store's mutable parts (reads
// of read-only files from several threads).
bool LoadShared(Oimg_Layer &layer, int32_t block, unsigned char *bytes, Oerr_ErrorReport **err,
                const wchar_t *fn);

} // namespace orvik::img
