// Internal: the block cache behind Ohfa_Cache - a store of fixed-size blocks under one
// entry (docs/hfa-format.md, "Block caches"). On disk: the entry's data is an
// Ohfa_CacheNode record; its rootptr names the block index (design Ohfa_CacheIndex: a
// counted array of 32-bit block positions, 0 for a block never written); every written
// block is `blocksize` bytes of its own. In memory: the index, and the most recently used
// blocks up to a byte limit (least recently used evicted first), dirty ones written on
// eviction and flush.
#pragma once

#include <cstdint>
#include <list>
#include <memory>
#include <unordered_map>
#include <vector>

#include <orvik/ohfa.h>

#include "port/file_system.hpp"

namespace orvik::hfa {

inline constexpr const wchar_t *kCacheIndexDesign = L"Ohfa_CacheIndex";
// Type name of the entry holding a cache's node record, as entry records store it.
inline constexpr const char *kCacheNodeType = "Ohfa_CacheNode";
// Bytes of the index before its first position: the count and offset words.
constexpr uint32_t kIndexHeader = 8;
constexpr int64_t kDefaultCacheLimit = 16 << 20;
// Largest single write of new blocks, and the share of the limit one read ahead may fill.
constexpr int64_t kRunBytes = 8 << 20;
constexpr int64_t kReadAheadShare = 8;
// A whole-block transfer of a block at least this large bypasses memory (HeldBlock).
constexpr std::size_t kDirectBlockBytes = 64 << 10;
// HeldBlock's answer when the block cannot be held (caching off, or a block larger than the
// limit): use the copying calls.
constexpr long kHeldDirect = 2;

// The index design (owned by the library, created at first use).
const Omif_Design *CacheIndexDesign(Oerr_ErrorReport **err);

struct CachedBlock {
    std::unique_ptr<unsigned char[]> bytes;
    bool dirty = false;
    std::list<int32_t>::iterator use; // its place in the recency list
};

} // namespace orvik::hfa

struct Ohfa_Cache_ {
    Ohfa_File *file = nullptr;
    std::wstring path;           // node path of the entry holding the node record
    uint32_t nodeAt = 0;         // file position of the Ohfa_CacheNode record
    Ohfa_CacheNode node{};       // host copy
    std::vector<uint32_t> index; // block positions; 0: never written
    std::unordered_map<int32_t, orvik::hfa::CachedBlock> blocks;
    std::list<int32_t> recency; // most recently used first
    int64_t limit = orvik::hfa::kDefaultCacheLimit;
    int64_t held = 0; // bytes of the blocks held
    // Buffers of evicted blocks kept for reuse; blocks held and spares together stay within
    // the limit.
    std::vector<std::unique_ptr<unsigned char[]>> spare;
    int32_t lastMiss = -2; // last block read from the file
    int32_t readAhead = 1; // blocks the last read brought in
    int64_t hits = 0;
    int64_t misses = 0;
};

namespace orvik::hfa {

// Disk side (cache_store.cpp). Every function reports under `fn`.
// Reads and checks the node record at `nodeAt` and the index it names: sizes that agree,
// nothing above 32 bits, every position inside the file.
bool LoadCache(Ohfa_Cache_ &cache, Oerr_ErrorReport **err, const wchar_t *fn);
// The space a block cache owns, for deleting it: its index and every stored block, as
// (position, bytes). The node at `nodeAt` and its index are loaded with LoadCache's checks;
// false with a report when they fail (the space is then left alone, leaked at worst).
bool CacheSpace(Ohfa_File *file, uint32_t nodeAt, std::vector<std::pair<uint32_t, int64_t>> &spans,
                Oerr_ErrorReport **err, const wchar_t *fn);
// Writes a fresh index of `count` positions (the cache's first `count`, zeros beyond) into
// new space; returns its position, 0 on failure.
uint32_t WriteNewIndex(Ohfa_Cache_ &cache, int32_t count, Oerr_ErrorReport **err,
                       const wchar_t *fn);
// Writes the node record in place.
bool WriteNode(Ohfa_Cache_ &cache, Oerr_ErrorReport **err, const wchar_t *fn);
// Writes one block's bytes: in place when it has a position, else into new space followed
// by its index slot unless `deferSlot` (the caller then writes the slots with WriteSlots).
bool WriteBlock(Ohfa_Cache_ &cache, int32_t block, const void *bytes, bool deferSlot,
                Oerr_ErrorReport **err, const wchar_t *fn);
// Writes the index slots first..last (inclusive) in one write.
bool WriteSlots(Ohfa_Cache_ &cache, int32_t first, int32_t last, Oerr_ErrorReport **err,
                const wchar_t *fn);
bool ReadBlock(Ohfa_Cache_ &cache, int32_t block, void *bytes, Oerr_ErrorReport **err,
               const wchar_t *fn);

// Memory side (cache_api.cpp), for writers built on the cache that fill blocks in place
// (raster layers): *bytes points at the block held in memory, valid until the next call on
// the cache. `load`: bring in the stored contents. `forWrite`: the block is marked changed
// (and held even when never written). Returns 1 (held, with contents), 0 (never written:
// for a write *bytes is a new uninitialised block, for a read null), kHeldDirect (not held:
// use ohfa_CacheGetBlock / ohfa_CachePutBlock), or -1 with a report. No argument checks.
// `whole`: the caller reads or writes the whole block; a large block (kDirectBlockBytes)
// not held already is then not taken into memory (kHeldDirect): holding it would buy
// nothing, its transfer is one call either way.
long HeldBlock(Ohfa_Cache_ *cache, int32_t block, bool forWrite, bool load, bool whole,
               unsigned char **bytes, Oerr_ErrorReport **err, const wchar_t *fn);
// Writes blocks that have no position yet (increasing block numbers) into runs of new space,
// each run one allocation and one vectored write of at most kRunBytes, then their index
// slots in one write (also those written before a failure).
bool WriteFreshBlocks(Ohfa_Cache_ &cache,
                      const std::vector<std::pair<int32_t, const unsigned char *>> &blocks,
                      Oerr_ErrorReport **err, const wchar_t *fn);
// How many blocks from `block` on (at most `most`) lie one after another in the file and are
// not held in memory; at least 1.
int32_t ContiguousRun(const Ohfa_Cache_ &cache, int32_t block, int32_t most);
// Reads `count` blocks that lie one after another in the file, from `block` on, into
// bytes[0..count) with one vectored read.
bool ReadRun(Ohfa_Cache_ &cache, int32_t block, int32_t count, unsigned char *const *bytes,
             Oerr_ErrorReport **err, const wchar_t *fn);

// Whole blocks moved straight between the file and a caller's memory (cache_direct.cpp), for
// transfers that would gain nothing from a stop in memory: pieces[k] holds block blocks[k];
// none of the blocks may be held in memory. Writes: stored blocks in place, new ones into
// runs of new space followed by their index slots (so a crash leaves at most unnamed
// space). Reads: stored blocks only, one vectored read per run of blocks that follow each
// other in the file.
bool IsHeld(const Ohfa_Cache_ &cache, int32_t block);
bool WriteBlocksDirect(Ohfa_Cache_ &cache, const std::vector<int32_t> &blocks,
                       const std::vector<port::fs::Piece> &pieces, Oerr_ErrorReport **err,
                       const wchar_t *fn);
bool ReadBlocksDirect(Ohfa_Cache_ &cache, const std::vector<int32_t> &blocks,
                      const std::vector<port::fs::Piece> &pieces, Oerr_ErrorReport **err,
                      const wchar_t *fn);

} // namespace orvik::hfa
