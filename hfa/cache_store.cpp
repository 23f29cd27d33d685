// The block cache on disk: loading and checking the node record and the block index, and
// the writes, in the order that keeps a crash harmless (docs/hfa-format.md, "Block caches"):
// a block's bytes go into new space before the index slot that names it, a new index is
// written whole before the node names it, and an old index is freed after.
#include <algorithm>
#include <cstring>

#include "core/guard.hpp"
#include "hfa/cache.hpp"
#include "hfa/designs.hpp"
#include "hfa/file.hpp"
#include "hfa/report.hpp"

using orvik::core::SetError;

namespace {

const Omif_ItemDescription kIndexItems[] = {OMIF_FIELD_COUNTED(OMIF_ITEM_ULONG, L"blocks"),
                                            OMIF_TABLE_END};
const Omif_DesignTable kIndexDesigns[] = {{orvik::hfa::kCacheIndexDesign, kIndexItems},
                                          {nullptr, nullptr}};
Omif_BuiltinDesigns g_indexDesigns = OMIF_BUILTIN_DESIGNS(kIndexDesigns, nullptr);

void PutWord(unsigned char *at, uint32_t v) {
    for (int i = 0; i < 4; ++i) at[i] = static_cast<unsigned char>(v >> (8 * i));
}
uint32_t GetWord(const unsigned char *at) {
    return uint32_t{at[0]} | uint32_t{at[1]} << 8 | uint32_t{at[2]} << 16 | uint32_t{at[3]} << 24;
}

} // namespace

namespace orvik::hfa {

const Omif_Design *CacheIndexDesign(Oerr_ErrorReport **err) {
    return omif_BuiltinDesignFetch(&g_indexDesigns, kCacheIndexDesign, err);
}

bool LoadCache(Ohfa_Cache_ &cache, Oerr_ErrorReport **err, const wchar_t *fn) {
    Ohfa_File *file = cache.file;
    unsigned char bytes[16];
    if (!ReadAt(file, cache.nodeAt, bytes, 16, err, fn) ||
        !RecordFromBytes(kCacheNodeDesign, bytes, 16, &cache.node, err, fn)) {
        SetError(err, fn, kCacheBadNode, *err, L"Cannot read the cache node of %s",
                 cache.path.c_str());
        return false;
    }
    const Ohfa_CacheNode &n = cache.node;
    const int64_t total = int64_t{n.blocksize} * n.blockcount;
    if (n.blocksize <= 0 || n.blockcount < 0 || total > kMaxFileSize || total != n.bytecount ||
        (n.blockcount > 0) != (n.rootptr != 0)) {
        SetError(err, fn, kCacheBadNode, nullptr,
                 L"Cache node of %s disagrees with itself: blocksize %ld, blockcount %ld, "
                 L"bytecount %ld, rootptr %ld",
                 cache.path.c_str(), static_cast<long>(n.blocksize),
                 static_cast<long>(n.blockcount), static_cast<long>(n.bytecount),
                 static_cast<long>(n.rootptr));
        return false;
    }
    cache.index.clear();
    if (n.blockcount == 0) return true;
    // The index must fit between its position and the end of the file before anything is
    // allocated for it.
    const int64_t indexBytes = kIndexHeader + int64_t{4} * n.blockcount;
    if (n.rootptr < static_cast<int32_t>(kTagSize) || n.rootptr > file->fileEnd - indexBytes) {
        SetError(err, fn, kCacheBadIndex, nullptr,
                 L"Block index of %s (%ld blocks at %ld) lies outside the file (%lld bytes)",
                 cache.path.c_str(), static_cast<long>(n.blockcount), static_cast<long>(n.rootptr),
                 static_cast<long long>(file->fileEnd));
        return false;
    }
    std::vector<unsigned char> raw(static_cast<std::size_t>(indexBytes));
    if (!ReadAt(file, n.rootptr, raw.data(), static_cast<long>(indexBytes), err, fn)) {
        SetError(err, fn, kCacheReadFailed, *err, L"Cannot read the block index of %s",
                 cache.path.c_str());
        return false;
    }
    if (GetWord(raw.data()) != static_cast<uint32_t>(n.blockcount)) {
        SetError(err, fn, kCacheBadIndex, nullptr,
                 L"Block index of %s holds %lu positions, the node says %ld", cache.path.c_str(),
                 static_cast<unsigned long>(GetWord(raw.data())), static_cast<long>(n.blockcount));
        return false;
    }
    cache.index.resize(static_cast<std::size_t>(n.blockcount));
    for (int32_t i = 0; i < n.blockcount; ++i) {
        const uint32_t p = GetWord(raw.data() + kIndexHeader + 4 * i);
        if (p != 0 && (p < kTagSize || int64_t{p} > file->fileEnd - n.blocksize)) {
            SetError(err, fn, kCacheBlockOutside, nullptr,
                     L"Block %ld of %s at %lu lies outside the file (%lld bytes)",
                     static_cast<long>(i), cache.path.c_str(), static_cast<unsigned long>(p),
                     static_cast<long long>(file->fileEnd));
            return false;
        }
        cache.index[static_cast<std::size_t>(i)] = p;
    }
    return true;
}

bool CacheSpace(Ohfa_File *file, uint32_t nodeAt, std::vector<std::pair<uint32_t, int64_t>> &spans,
                Oerr_ErrorReport **err, const wchar_t *fn) {
    Ohfa_Cache_ cache;
    cache.file = file;
    cache.nodeAt = nodeAt;
    cache.path = L"at " + std::to_wstring(nodeAt);
    if (!LoadCache(cache, err, fn)) return false;
    for (uint32_t at : cache.index)
        if (at != 0) spans.emplace_back(at, cache.node.blocksize);
    if (cache.node.rootptr != 0)
        spans.emplace_back(static_cast<uint32_t>(cache.node.rootptr),
                           kIndexHeader + int64_t{4} * cache.node.blockcount);
    return true;
}

uint32_t WriteNewIndex(Ohfa_Cache_ &cache, int32_t count, Oerr_ErrorReport **err,
                       const wchar_t *fn) {
    const int64_t size = kIndexHeader + int64_t{4} * count;
    const uint32_t at = TakeSpace(cache.file, size, err, L"ohfa_NextFreePos");
    if (at == 0) {
        SetError(err, fn, kCacheNoSpace, *err, L"ohfa_NextFreePos failed");
        return 0;
    }
    std::vector<unsigned char> raw(static_cast<std::size_t>(size), 0);
    PutWord(raw.data(), static_cast<uint32_t>(count));
    PutWord(raw.data() + 4, at); // the MIF offset word: where the count stands
    const std::size_t keep = std::min(cache.index.size(), static_cast<std::size_t>(count));
    for (std::size_t i = 0; i < keep; ++i)
        PutWord(raw.data() + kIndexHeader + 4 * i, cache.index[i]);
    if (!WriteAt(cache.file, at, raw.data(), static_cast<long>(size), err, fn)) {
        SetError(err, fn, kCacheStoreWriteFailed, *err, L"Cannot write the block index of %s",
                 cache.path.c_str());
        return 0;
    }
    return at;
}

bool WriteNode(Ohfa_Cache_ &cache, Oerr_ErrorReport **err, const wchar_t *fn) {
    unsigned char bytes[16];
    if (RecordToBytes(kCacheNodeDesign, &cache.node, bytes, 16, cache.nodeAt, err, fn) &&
        WriteAt(cache.file, cache.nodeAt, bytes, 16, err, fn))
        return true;
    SetError(err, fn, kCacheStoreWriteFailed, *err, L"Cannot write the cache node of %s",
             cache.path.c_str());
    return false;
}

bool WriteSlots(Ohfa_Cache_ &cache, int32_t first, int32_t last, Oerr_ErrorReport **err,
                const wchar_t *fn) {
    if (first > last) return true;
    std::vector<unsigned char> raw(static_cast<std::size_t>(last - first + 1) * 4);
    for (int32_t i = first; i <= last; ++i)
        PutWord(raw.data() + 4 * (i - first), cache.index[static_cast<std::size_t>(i)]);
    if (WriteAt(cache.file, int64_t{cache.node.rootptr} + kIndexHeader + int64_t{4} * first,
                raw.data(), static_cast<long>(raw.size()), err, fn))
        return true;
    SetError(err, fn, kCacheStoreWriteFailed, *err, L"Cannot write the block index of %s",
             cache.path.c_str());
    return false;
}

bool WriteBlock(Ohfa_Cache_ &cache, int32_t block, const void *bytes, bool deferSlot,
                Oerr_ErrorReport **err, const wchar_t *fn) {
    uint32_t &slot = cache.index[static_cast<std::size_t>(block)];
    const bool fresh = slot == 0;
    uint32_t at = slot;
    if (fresh &&
        (at = TakeSpace(cache.file, cache.node.blocksize, err, L"ohfa_NextFreePos")) == 0) {
        SetError(err, fn, kCacheNoSpace, *err, L"ohfa_NextFreePos failed");
        return false;
    }
    if (!WriteAt(cache.file, at, bytes, cache.node.blocksize, err, fn)) {
        SetError(err, fn, kCacheStoreWriteFailed, *err, L"Cannot write block %ld of %s",
                 static_cast<long>(block), cache.path.c_str());
        // The new space stays unnamed; it is lost, never handed out twice.
        return false;
    }
    slot = at;
    return !fresh || deferSlot || WriteSlots(cache, block, block, err, fn);
}

bool ReadBlock(Ohfa_Cache_ &cache, int32_t block, void *bytes, Oerr_ErrorReport **err,
               const wchar_t *fn) {
    if (ReadAt(cache.file, cache.index[static_cast<std::size_t>(block)], bytes,
               cache.node.blocksize, err, fn))
        return true;
    SetError(err, fn, kCacheReadFailed, *err, L"Cannot read block %ld of %s",
             static_cast<long>(block), cache.path.c_str());
    return false;
}

namespace {

bool WriteFreshRuns(Ohfa_Cache_ &cache,
                    const std::vector<std::pair<int32_t, const unsigned char *>> &blocks,
                    Oerr_ErrorReport **err, const wchar_t *fn) {
    const int64_t size = cache.node.blocksize;
    const std::size_t perRun = static_cast<std::size_t>(std::max<int64_t>(1, kRunBytes / size));
    std::vector<port::fs::Piece> pieces;
    for (std::size_t first = 0; first < blocks.size(); first += perRun) {
        const std::size_t n = std::min(perRun, blocks.size() - first);
        const uint32_t at =
            TakeSpace(cache.file, size * static_cast<int64_t>(n), err, L"ohfa_NextFreePos");
        if (at == 0) {
            SetError(err, fn, kCacheNoSpace, *err, L"ohfa_NextFreePos failed");
            return false;
        }
        // The blocks go out from where they are held, gathered by one vectored write.
        pieces.clear();
        for (std::size_t i = 0; i < n; ++i)
            pieces.push_back({const_cast<unsigned char *>(blocks[first + i].second),
                              static_cast<std::size_t>(size)});
        if (!WritePiecesAt(cache.file, at, pieces.data(), n, err, fn)) {
            SetError(err, fn, kCacheStoreWriteFailed, *err, L"Cannot write %ld blocks of %s",
                     static_cast<long>(n), cache.path.c_str());
            return false;
        }
        for (std::size_t i = 0; i < n; ++i)
            cache.index[static_cast<std::size_t>(blocks[first + i].first)] =
                at + static_cast<uint32_t>(i * static_cast<std::size_t>(size));
    }
    return true;
}

} // namespace

bool WriteFreshBlocks(Ohfa_Cache_ &cache,
                      const std::vector<std::pair<int32_t, const unsigned char *>> &blocks,
                      Oerr_ErrorReport **err, const wchar_t *fn) {
    const bool ok = WriteFreshRuns(cache, blocks, err, fn);
    // Slots of blocks written before a failure are still written, so those are not lost;
    // slots between them hold what memory holds for them, which is what the file has.
    int32_t low = INT32_MAX, high = -1;
    for (const auto &[b, bytes] : blocks) {
        if (cache.index[static_cast<std::size_t>(b)] == 0) continue;
        low = std::min(low, b);
        high = std::max(high, b);
    }
    Oerr_ErrorReport *slotErr = nullptr;
    const bool slots = WriteSlots(cache, low, high, ok ? err : &slotErr, fn);
    oerr_DeleteErrorReportEx(&slotErr);
    return ok && slots;
}

int32_t ContiguousRun(const Ohfa_Cache_ &cache, int32_t block, int32_t most) {
    int32_t n = 1;
    const auto &index = cache.index;
    while (n < most && block + n < cache.node.blockcount &&
           index[static_cast<std::size_t>(block + n)] ==
               index[static_cast<std::size_t>(block + n - 1)] +
                   static_cast<uint32_t>(cache.node.blocksize) &&
           cache.blocks.count(block + n) == 0)
        ++n;
    return n;
}

bool ReadRun(Ohfa_Cache_ &cache, int32_t block, int32_t count, unsigned char *const *bytes,
             Oerr_ErrorReport **err, const wchar_t *fn) {
    std::vector<port::fs::Piece> pieces(static_cast<std::size_t>(count));
    for (int32_t i = 0; i < count; ++i)
        pieces[static_cast<std::size_t>(i)] = {bytes[i],
                                               static_cast<std::size_t>(cache.node.blocksize)};
    if (ReadPiecesAt(cache.file, cache.index[static_cast<std::size_t>(block)], pieces.data(),
                     pieces.size(), err, fn))
        return true;
    SetError(err, fn, kCacheReadFailed, *err, L"Cannot read block %ld of %s",
             static_cast<long>(block), cache.path.c_str());
    return false;
}

} // namespace orvik::hfa
