// Exported block-cache functions: create, open, block reads and writes through the
// in-memory set of recently used blocks, extend, flush, close, delete. The memory side is
// a recency list plus a map from block number to its bytes; `held` never exceeds `limit`.
#include <algorithm>
#include <cstring>

#include "core/guard.hpp"
#include "core/utf8.hpp"
#include "hfa/cache.hpp"
#include "hfa/designs.hpp"
#include "hfa/file.hpp"
#include "hfa/report.hpp"

using orvik::core::Guarded;
using orvik::core::SetError;
using namespace orvik::hfa;

namespace {

constexpr const wchar_t *kNodeType = L"Ohfa_CacheNode";

std::wstring CurrentPath(const Ohfa_File *file) {
    std::wstring path;
    for (const std::string &n : file->entry.path) path += L"/" + orvik::text::Utf8ToWideLossy(n);
    return path.empty() ? L"/" : path;
}

bool CheckCache(const Ohfa_Cache *cache, const wchar_t *fn, Oerr_ErrorReport **err) {
    if (cache && cache->file) return CheckFile(cache->file, fn, err);
    SetError(err, fn, kCacheBadArgument, nullptr, L"Invalid cache handle");
    return false;
}

bool CheckBlock(const Ohfa_Cache *cache, long block, const void *buffer, const wchar_t *fn,
                Oerr_ErrorReport **err) {
    if (!CheckCache(cache, fn, err)) return false;
    if (block >= 0 && block < cache->node.blockcount && buffer) return true;
    SetError(err, fn, kCacheBadArgument, nullptr,
             L"Block %ld outside 0..%ld of cache %s (or no buffer)", block,
             static_cast<long>(cache->node.blockcount) - 1, cache->path.c_str());
    return false;
}

// Leaves the file's guard; a failed free-list write-back fails a call that succeeded.
bool Leave(GuardScope &guard, bool ok, Oerr_ErrorReport **err, const wchar_t *fn) {
    Oerr_ErrorReport *late = nullptr;
    if (guard.Leave(&late)) return ok;
    if (!ok) {
        PrintAndDelete(late);
        return false;
    }
    SetError(err, fn, kCacheWriteFailed, late, L"freeListCacheFlush failed");
    return false;
}

// Memory side ------------------------------------------------------------------------------

bool Holding(const Ohfa_Cache *cache) {
    return cache->file->caching != 0 && cache->node.blocksize <= cache->limit;
}

// Writes every dirty block: blocks that have a position in place, the others into runs of
// new space, and then the index slots of those in one write.
bool FlushDirty(Ohfa_Cache *cache, Oerr_ErrorReport **err, const wchar_t *fn) {
    std::vector<int32_t> dirty;
    for (auto &[block, held] : cache->blocks)
        if (held.dirty) dirty.push_back(block);
    if (dirty.empty()) return true;
    std::sort(dirty.begin(), dirty.end());
    std::vector<std::pair<int32_t, const unsigned char *>> fresh;
    for (int32_t b : dirty) {
        CachedBlock &held = cache->blocks.at(b);
        if (cache->index[static_cast<std::size_t>(b)] == 0) {
            fresh.emplace_back(b, held.bytes.get());
            continue;
        }
        if (!WriteBlock(*cache, b, held.bytes.get(), true, err, fn)) return false;
        held.dirty = false;
    }
    if (fresh.empty()) return true;
    const bool ok = WriteFreshBlocks(*cache, fresh, err, fn);
    for (const auto &[b, bytes] : fresh)
        if (cache->index[static_cast<std::size_t>(b)] != 0) cache->blocks.at(b).dirty = false;
    return ok;
}

// A dirty block leaving memory takes every dirty block to the file with it, so that writes
// go out in long runs.
bool Evict(Ohfa_Cache *cache, int32_t block, Oerr_ErrorReport **err, const wchar_t *fn) {
    auto it = cache->blocks.find(block);
    if (it->second.dirty && !FlushDirty(cache, err, fn)) return false;
    cache->recency.erase(it->second.use);
    cache->held -= cache->node.blocksize;
    // The buffer is kept for the next block while blocks and spares stay within the limit:
    // large blocks would otherwise cost a fresh mapping each.
    if (cache->held + int64_t{cache->node.blocksize} * (1 + int64_t(cache->spare.size())) <=
        cache->limit)
        cache->spare.push_back(std::move(it->second.bytes));
    cache->blocks.erase(it);
    return true;
}

// Evicts least recently used blocks until `room` more bytes fit under the limit.
bool MakeRoom(Ohfa_Cache *cache, int64_t room, Oerr_ErrorReport **err, const wchar_t *fn) {
    while (!cache->recency.empty() && cache->held + room > cache->limit)
        if (!Evict(cache, cache->recency.back(), err, fn)) return false;
    return true;
}

// After option 4 switched caching off, what memory holds goes to the file and is dropped.
bool FollowSwitch(Ohfa_Cache *cache, Oerr_ErrorReport **err, const wchar_t *fn) {
    if (cache->file->caching || cache->blocks.empty()) return true;
    if (!FlushDirty(cache, err, fn)) return false;
    cache->blocks.clear();
    cache->recency.clear();
    cache->held = 0;
    return true;
}

CachedBlock &Hold(Ohfa_Cache *cache, int32_t block) {
    CachedBlock held;
    if (cache->spare.empty()) {
        held.bytes.reset(new unsigned char[static_cast<std::size_t>(cache->node.blocksize)]);
    } else {
        held.bytes = std::move(cache->spare.back());
        cache->spare.pop_back();
    }
    cache->recency.push_front(block);
    held.use = cache->recency.begin();
    cache->held += cache->node.blocksize;
    return cache->blocks.emplace(block, std::move(held)).first->second;
}

void Touch(Ohfa_Cache *cache, CachedBlock &held) {
    cache->recency.splice(cache->recency.begin(), cache->recency, held.use);
}

} // namespace

namespace orvik::hfa {

long HeldBlock(Ohfa_Cache *cache, int32_t b, bool forWrite, bool load, bool whole,
               unsigned char **bytes, Oerr_ErrorReport **err, const wchar_t *fn) {
    *bytes = nullptr;
    if (!FollowSwitch(cache, err, fn)) return -1;
    const auto size = static_cast<std::size_t>(cache->node.blocksize);
    if (auto it = cache->blocks.find(b); it != cache->blocks.end()) {
        if (load) ++cache->hits;
        Touch(cache, it->second);
        it->second.dirty |= forWrite;
        *bytes = it->second.bytes.get();
        return 1;
    }
    if (load) ++cache->misses;
    const bool stored = cache->index[static_cast<std::size_t>(b)] != 0;
    const bool passing = whole && size >= kDirectBlockBytes;
    if (!Holding(cache) || passing) return !forWrite && !stored ? 0 : kHeldDirect;
    if (!stored || !load) {
        if (!forWrite) return 0;
        if (!MakeRoom(cache, cache->node.blocksize, err, fn)) return -1;
        CachedBlock &held = Hold(cache, b);
        held.dirty = true;
        *bytes = held.bytes.get();
        return 0;
    }
    // Read ahead while misses come in block order: blocks that follow in the file come in
    // with the same read, twice as many each time (up to a share of the limit); a miss out of
    // order reads one block. Random access thus reads no more than it uses, and whole-layer
    // reads become long runs. Large blocks are read one by one straight into their place.
    const auto most = static_cast<int32_t>(
        std::max<int64_t>(1, cache->limit / kReadAheadShare / cache->node.blocksize));
    cache->readAhead = b == cache->lastMiss + 1 ? std::min(most, 2 * cache->readAhead) : 1;
    const int32_t run = ContiguousRun(*cache, b, cache->readAhead);
    cache->lastMiss = b + run - 1;
    if (!MakeRoom(cache, int64_t{run} * cache->node.blocksize, err, fn)) return -1;
    // The run comes in with one vectored read straight into the blocks' own buffers.
    std::vector<unsigned char *> into(static_cast<std::size_t>(run));
    for (int32_t i = run - 1; i >= 0; --i) {
        CachedBlock &held = Hold(cache, b + i);
        held.dirty = forWrite && i == 0;
        into[static_cast<std::size_t>(i)] = held.bytes.get();
    }
    if (!ReadRun(*cache, b, run, into.data(), err, fn)) {
        for (int32_t i = 0; i < run; ++i) {
            auto it = cache->blocks.find(b + i);
            cache->recency.erase(it->second.use);
            cache->spare.push_back(std::move(it->second.bytes));
            cache->blocks.erase(it);
            cache->held -= cache->node.blocksize;
        }
        return -1;
    }
    *bytes = cache->blocks.at(b).bytes.get();
    return 1;
}

} // namespace orvik::hfa

namespace {

// Opening ----------------------------------------------------------------------------------

// A handle for the node of the current entry (checked), or null with a report.
Ohfa_Cache *OpenCurrent(Ohfa_File *file, Oerr_ErrorReport **err, const wchar_t *fn) {
    const Ohfa_Entry &e = file->entry.record;
    auto cache = std::make_unique<Ohfa_Cache>();
    cache->file = file;
    cache->path = CurrentPath(file);
    if (!file->entry.valid || std::strncmp(e.type, kCacheNodeType, sizeof e.type) != 0 ||
        e.dataSize != 16 || e.data == 0) {
        SetError(err, fn, kCacheNotACache, nullptr, L"Entry %s is not a block cache",
                 cache->path.c_str());
        return nullptr;
    }
    cache->nodeAt = e.data;
    if (!LoadCache(*cache, err, fn)) return nullptr;
    return cache.release();
}

bool SeekNode(Ohfa_File *file, const wchar_t *nodePath, Oerr_ErrorReport **err, const wchar_t *fn) {
    if (!nodePath) {
        if (file->entry.valid) return true;
        SetError(err, fn, kCacheSeekFailed, nullptr, L"File %s has no current entry",
                 file->name.c_str());
        return false;
    }
    const long found = SeekEntry(file, OHFA_SEEK_PATH, nodePath, err, fn);
    if (found > 0) return true;
    SetError(err, fn, kCacheSeekFailed, found < 0 ? *err : nullptr, L"nodePath %s not found",
             nodePath);
    return false;
}

} // namespace

extern "C" {

ORVIK_API Ohfa_Cache *ohfa_CacheCreate(Ohfa_File *file, const wchar_t *nodePath,
                                       const wchar_t *name, long blocksize, long blockcount,
                                       Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    static const wchar_t *const kFn = L"ohfa_CacheCreate";
    if (err) *err = nullptr;
    return Guarded<Ohfa_Cache *>(err, kFn, nullptr, [&]() -> Ohfa_Cache * {
        if (!CheckFile(file, kFn, err) || !CheckWritable(file, kFn, err)) return nullptr;
        if (!name || blocksize < 1 || blockcount < 0 ||
            int64_t{blocksize} * blockcount > kMaxFileSize) {
            SetError(err, kFn, kCacheTooLarge, nullptr,
                     L"Invalid cache %s: %ld blocks of %ld bytes (at most 2147483647 bytes)",
                     name ? name : L"(null)", blockcount, blocksize);
            return nullptr;
        }
        GuardScope guard(file);
        file->flushGuard = kGuardPending;
        const Omif_Design *nodeDesign = FixedDesign(kCacheNodeDesign, err);
        const Omif_Design *indexDesign = nodeDesign ? CacheIndexDesign(err) : nullptr;
        bool ok = indexDesign && ohfa_FileDictionaryAddDesign(file, indexDesign, err) &&
                  SeekNode(file, nodePath, err, kFn);
        // The index is written before the node that names it.
        Ohfa_Cache scratch;
        scratch.file = file;
        scratch.path = name;
        Ohfa_CacheNode node{static_cast<int32_t>(blocksize), static_cast<int32_t>(blockcount),
                            static_cast<int32_t>(blocksize * blockcount), 0};
        if (ok && blockcount > 0) {
            const uint32_t at = WriteNewIndex(scratch, static_cast<int32_t>(blockcount), err, kFn);
            ok = at != 0;
            node.rootptr = static_cast<int32_t>(at);
        }
        ok = ok && ohfa_ObjectWrite(file, nullptr, name, kNodeType, OHFA_WRITE_LAST_CHILD, &node,
                                    nodeDesign, err) == 0;
        if (!ok) SetError(err, kFn, kCacheWriteFailed, *err, L"Cannot create cache %s", name);
        Ohfa_Cache *cache = ok ? OpenCurrent(file, err, kFn) : nullptr;
        return Leave(guard, cache != nullptr, err, kFn) ? cache : (delete cache, nullptr);
    });
}

ORVIK_API Ohfa_Cache *ohfa_CacheOpen(Ohfa_File *file, const wchar_t *nodePath,
                                     Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    static const wchar_t *const kFn = L"ohfa_CacheOpen";
    if (err) *err = nullptr;
    return Guarded<Ohfa_Cache *>(err, kFn, nullptr, [&]() -> Ohfa_Cache * {
        if (!CheckFile(file, kFn, err)) return nullptr;
        GuardScope guard(file);
        Ohfa_Cache *cache =
            SeekNode(file, nodePath, err, kFn) ? OpenCurrent(file, err, kFn) : nullptr;
        return Leave(guard, cache != nullptr, err, kFn) ? cache : (delete cache, nullptr);
    });
}

ORVIK_API long ohfa_CacheGetBlock(Ohfa_Cache *cache, long block, void *buffer,
                                  Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    static const wchar_t *const kFn = L"ohfa_CacheGetBlock";
    if (err) *err = nullptr;
    return Guarded<long>(err, kFn, -1, [&]() -> long {
        if (!CheckBlock(cache, block, buffer, kFn, err) || !FollowSwitch(cache, err, kFn))
            return -1;
        const auto b = static_cast<int32_t>(block);
        unsigned char *held = nullptr;
        const long r = HeldBlock(cache, b, false, true, true, &held, err, kFn);
        if (r == kHeldDirect) return ReadBlock(*cache, b, buffer, err, kFn) ? 1 : -1;
        if (r == 1) std::memcpy(buffer, held, static_cast<std::size_t>(cache->node.blocksize));
        return r;
    });
}

ORVIK_API long ohfa_CachePutBlock(Ohfa_Cache *cache, long block, const void *buffer,
                                  Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    static const wchar_t *const kFn = L"ohfa_CachePutBlock";
    if (err) *err = nullptr;
    return Guarded<long>(err, kFn, -1, [&]() -> long {
        if (!CheckBlock(cache, block, buffer, kFn, err) || !CheckWritable(cache->file, kFn, err) ||
            !FollowSwitch(cache, err, kFn))
            return -1;
        const auto b = static_cast<int32_t>(block);
        unsigned char *held = nullptr;
        const long r = HeldBlock(cache, b, true, false, true, &held, err, kFn);
        if (r == kHeldDirect) return WriteBlock(*cache, b, buffer, false, err, kFn) ? 0 : -1;
        if (r < 0) return -1;
        std::memcpy(held, buffer, static_cast<std::size_t>(cache->node.blocksize));
        return 0;
    });
}

ORVIK_API long ohfa_CacheExtend(Ohfa_Cache *cache, long blockcount, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT {
    static const wchar_t *const kFn = L"ohfa_CacheExtend";
    if (err) *err = nullptr;
    return Guarded<long>(err, kFn, -1, [&]() -> long {
        if (!CheckCache(cache, kFn, err) || !CheckWritable(cache->file, kFn, err)) return -1;
        Ohfa_CacheNode &n = cache->node;
        if (blockcount < n.blockcount) {
            SetError(err, kFn, kCacheCannotShrink, nullptr,
                     L"Cache %s has %ld blocks and cannot shrink to %ld", cache->path.c_str(),
                     static_cast<long>(n.blockcount), blockcount);
            return -1;
        }
        if (int64_t{blockcount} * n.blocksize > kMaxFileSize) {
            SetError(err, kFn, kCacheTooLarge, nullptr,
                     L"Cache %s: %ld blocks of %ld bytes exceed 2147483647 bytes",
                     cache->path.c_str(), blockcount, static_cast<long>(n.blocksize));
            return -1;
        }
        if (blockcount == n.blockcount) return 0;
        GuardScope guard(cache->file);
        cache->file->flushGuard = kGuardPending;
        const uint32_t oldIndex = static_cast<uint32_t>(n.rootptr);
        const int64_t oldSize = kIndexHeader + int64_t{4} * n.blockcount;
        // New index whole, then the node naming it, then the old index freed.
        const uint32_t at = WriteNewIndex(*cache, static_cast<int32_t>(blockcount), err, kFn);
        bool ok = at != 0;
        const Ohfa_CacheNode before = n;
        if (ok) {
            n.blockcount = static_cast<int32_t>(blockcount);
            n.bytecount = static_cast<int32_t>(blockcount * n.blocksize);
            n.rootptr = static_cast<int32_t>(at);
            ok = WriteNode(*cache, err, kFn);
            if (!ok) n = before;
        }
        if (ok) {
            cache->index.resize(static_cast<std::size_t>(blockcount), 0);
            if (oldIndex != 0 &&
                !GiveSpace(cache->file, oldIndex, oldSize, err, L"ohfa_FreeSpace")) {
                // The old index only leaks; the cache itself is sound.
                PrintAndDelete(*err);
            }
        }
        return Leave(guard, ok, err, kFn) ? 0 : -1;
    });
}

ORVIK_API long ohfa_CacheFlush(Ohfa_Cache *cache, Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    static const wchar_t *const kFn = L"ohfa_CacheFlush";
    if (err) *err = nullptr;
    return Guarded<long>(err, kFn, -1, [&]() -> long {
        if (!CheckCache(cache, kFn, err)) return -1;
        return FlushDirty(cache, err, kFn) ? 0 : -1;
    });
}

ORVIK_API long ohfa_CacheClose(Ohfa_Cache *cache, Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    static const wchar_t *const kFn = L"ohfa_CacheClose";
    if (err) *err = nullptr;
    if (!cache) return 0;
    const long result = Guarded<long>(err, kFn, -1, [&]() -> long {
        if (!CheckCache(cache, kFn, err)) return -1;
        return FlushDirty(cache, err, kFn) ? 0 : -1;
    });
    delete cache;
    return result;
}

ORVIK_API long ohfa_CacheDelete(Ohfa_File *file, const wchar_t *nodePath, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT {
    static const wchar_t *const kFn = L"ohfa_CacheDelete";
    if (err) *err = nullptr;
    return Guarded<long>(err, kFn, -1, [&]() -> long {
        if (!CheckFile(file, kFn, err) || !CheckWritable(file, kFn, err)) return -1;
        GuardScope guard(file);
        file->flushGuard = kGuardPending;
        std::unique_ptr<Ohfa_Cache> cache(
            SeekNode(file, nodePath, err, kFn) ? OpenCurrent(file, err, kFn) : nullptr);
        // The entry delete returns the index and the blocks with the entry, after unlinking
        // it, so nothing names them when they are freed.
        const bool ok = cache && ohfa_EntryDelete(file, err) == 0;
        if (cache && !ok) SetError(err, kFn, kCacheWriteFailed, *err, L"EntryDelete failure!");
        return Leave(guard, ok, err, kFn) ? 0 : -1;
    });
}

ORVIK_API long ohfa_CacheSetLimit(Ohfa_Cache *cache, int64_t bytes, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT {
    static const wchar_t *const kFn = L"ohfa_CacheSetLimit";
    if (err) *err = nullptr;
    return Guarded<long>(err, kFn, -1, [&]() -> long {
        if (!CheckCache(cache, kFn, err)) return -1;
        cache->limit = std::max<int64_t>(bytes, 0);
        cache->spare.clear();
        return MakeRoom(cache, 0, err, kFn) ? 0 : -1;
    });
}

ORVIK_API const Ohfa_CacheNode *ohfa_CacheNodeGet(const Ohfa_Cache *cache) ORVIK_NOEXCEPT {
    return cache ? &cache->node : nullptr;
}

ORVIK_API Omsc_Boolean ohfa_CacheBlockIsStored(const Ohfa_Cache *cache, long block) ORVIK_NOEXCEPT {
    if (!cache || block < 0 || block >= cache->node.blockcount) return OMSC_FALSE;
    const bool stored = cache->index[static_cast<std::size_t>(block)] != 0 ||
                        cache->blocks.count(static_cast<int32_t>(block)) != 0;
    return stored ? OMSC_TRUE : OMSC_FALSE;
}

ORVIK_API void ohfa_CacheStatsGet(const Ohfa_Cache *cache, Ohfa_CacheStats *stats) ORVIK_NOEXCEPT {
    if (!stats) return;
    *stats = Ohfa_CacheStats{};
    if (!cache) return;
    *stats = Ohfa_CacheStats{cache->hits, cache->misses, cache->held, cache->limit};
}

} // extern "C"
