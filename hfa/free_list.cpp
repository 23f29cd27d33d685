// The free-list cache: loading and walking the list on disk, first-fit allocation with the
// tail rule, release with merging, and writing the cache back (rules in free_list.hpp).
#include "hfa/free_list.hpp"

#include <algorithm>

#include <orvik/omsc.h>

#include "core/guard.hpp"
#include "hfa/designs.hpp"
#include "hfa/file.hpp"
#include "hfa/report.hpp"

using orvik::core::SetError;
using namespace orvik::hfa;

namespace orvik::hfa {

struct FreeListAccess {
    static std::deque<FreeBlock> &Blocks(FreeList &l) { return l.m_blocks; }
    static std::vector<uint32_t> &Changed(FreeList &l) { return l.m_changed; }
    static void MarkLoaded(FreeList &l) { l.m_loaded = true; }
    static void SetDirty(FreeList &l, bool dirty) { l.m_dirty = dirty; }
};

namespace {

constexpr const wchar_t *kFlushFn = L"freeListCacheFlush";

// Marks a block's node as needing its write-back.
void Touch(FreeList &list, FreeBlock &b) {
    b.onDisk = false;
    FreeListAccess::Changed(list).push_back(b.position);
}

// Makes room for the two changes a release or an allocation records, before it changes any
// block: recording them then cannot fail, and a failure to make room changes nothing (a
// block changed but not recorded would never reach the disk, and a neighbour's link to it
// would point at whatever bytes lie there).
void ReserveChanges(FreeList &list) {
    std::vector<uint32_t> &changed = FreeListAccess::Changed(list);
    if (changed.capacity() - changed.size() < 2)
        changed.reserve(std::max<std::size_t>(16, 2 * changed.size() + 2));
}

bool Overlaps(int64_t a, int64_t aSize, int64_t b, int64_t bSize) {
    return a < b + bSize && b < a + aSize;
}

// Whether a free block would cover one of the records that the header reaches directly.
bool CoversFixedRecord(const Ohfa_File *file, int64_t position, int64_t size) {
    if (Overlaps(position, size, 0, kTagSize)) return true;
    if (Overlaps(position, size, file->headerPtr, kHeaderSize)) return true;
    if (file->header.rootEntryPtr != 0 &&
        Overlaps(position, size, file->header.rootEntryPtr, kEntrySize))
        return true;
    return file->dictionaryPos != 0 &&
           Overlaps(position, size, file->dictionaryPos, file->dictionaryLength);
}

void SyncHead(Ohfa_File *file) {
    const auto &blocks = file->freeList.Blocks();
    file->header.freeList = blocks.empty() ? 0 : blocks.front().position;
}

// The first change that may hand out a block the disk list names: empty the list on disk.
bool Detach(Ohfa_File *file, Oerr_ErrorReport **err, const wchar_t *fn) {
    FreeListAccess::SetDirty(file->freeList, true);
    if (file->freeList.DiskHead() == 0) return true;
    if (HeaderReWrite(file, err, fn)) return true;
    SetError(err, fn, kFreeHeaderRewriteFailed, *err, L"ohfa_HeaderReWrite fail");
    return false;
}

// Loads the disk list into the cache. A corrupt list is truncated with a warning when
// `strict` is false (taking space), and refused when it is true (returning space).
bool EnsureLoaded(Ohfa_File *file, bool strict, Oerr_ErrorReport **err, const wchar_t *fn) {
    if (file->freeList.Loaded()) return true;
    std::vector<FreeBlock> blocks;
    const WalkEnd end = WalkDiskList(
        file,
        [&](uint32_t position, uint32_t, uint32_t size) {
            blocks.push_back(FreeBlock{position, size, true});
        },
        err, fn);
    if (end == WalkEnd::Failed) return false;
    FreeList &list = file->freeList;
    if (end == WalkEnd::Corrupt) {
        if (strict) {
            SetError(err, fn, kFreeListCorrupt, nullptr, L"Free list corruption detected");
            return false;
        }
        Warn(fn, kFreeListCorruptRead, L"Free list corruption detected while reading %s",
             file->name.c_str());
        // The last sound node gets a zero link at the next write-back.
        if (!blocks.empty()) blocks.back().onDisk = false;
        FreeListAccess::SetDirty(list, true);
    }
    // Blocks that touch (a list written by someone else) are merged, as a release would have.
    std::vector<FreeBlock> merged;
    for (const FreeBlock &b : blocks) {
        if (!merged.empty() && int64_t{merged.back().position} + merged.back().size == b.position) {
            merged.back().size += b.size;
            merged.back().onDisk = false;
            FreeListAccess::SetDirty(list, true);
        } else {
            merged.push_back(b);
        }
    }
    FreeListAccess::Blocks(list).assign(merged.begin(), merged.end());
    for (FreeBlock &b : FreeListAccess::Blocks(list))
        if (!b.onDisk) Touch(list, b);
    FreeListAccess::MarkLoaded(list);
    SyncHead(file);
    return true;
}

// Makes the file end at `newEnd` by writing at most one 4-byte word of zeros, none of it
// before the old end (growth by fewer than 4 bytes writes only the new bytes).
// Without a mapping the word is written when the operation ends, unless a write of the
// caller reaches the new end first (see SettleEnd): the common case costs no extra write.
bool Extend(Ohfa_File *file, int64_t newEnd, Oerr_ErrorReport **err, const wchar_t *fn) {
    static const unsigned char kZeros[4] = {0, 0, 0, 0};
    if (!file->mapped) {
        file->fileEnd = newEnd;
        return true;
    }
    const int64_t from = std::max(file->fileEnd, newEnd - 4);
    if (WriteAt(file, from, kZeros, static_cast<long>(newEnd - from), err, fn)) return true;
    SetError(err, fn, kFreeExtendFailed, *err, L"ofio_FileWriteDirect failed");
    return false;
}

bool Remap(Ohfa_File *file, Oerr_ErrorReport **err, const wchar_t *fn) {
    int64_t size = 0;
    if (!ofio_FileRemap(file->stream, &size, err)) {
        SetError(err, fn, kFreeRemapFailed, *err, L"ofio_FileRemap failed");
        return false;
    }
    file->mapSize = size;
    return true;
}

} // namespace

WalkEnd WalkDiskList(Ohfa_File_ *file,
                     const std::function<void(uint32_t, uint32_t, uint32_t)> &visit,
                     Oerr_ErrorReport **err, const wchar_t *fn) {
    if (file->freeList.Loaded()) {
        SetError(err, L"freeListItemGet", kFreeListCachedRead, nullptr,
                 L"Attempt to read free list from disk, while free list is cached in memory");
        SetError(err, fn, kFreeItemGetFailed, *err, L"freeListItemGet failed");
        return WalkEnd::Failed;
    }
    uint32_t position = file->header.freeList;
    int64_t steps = file->fileEnd / kNodeSize + 1;
    while (position != 0) {
        if (--steps < 0 || position < kTagSize || position > file->fileEnd - kNodeSize)
            return WalkEnd::Corrupt;
        unsigned char bytes[kNodeSize];
        Ohfa_FreeListNode node{};
        if (!ReadAt(file, position, bytes, kNodeSize, err, L"freeListItemGet") ||
            !RecordFromBytes(kNodeDesign, bytes, kNodeSize, &node, err, L"freeListItemGet")) {
            SetError(err, fn, kFreeItemGetFailed, *err, L"freeListItemGet failed");
            return WalkEnd::Failed;
        }
        const int64_t size = node.freeSize;
        if (size < kNodeSize || position + size > file->fileEnd ||
            CoversFixedRecord(file, position, size))
            return WalkEnd::Corrupt;
        visit(position, node.freeList, static_cast<uint32_t>(size));
        if (node.freeList != 0 && node.freeList < position + size) return WalkEnd::Corrupt;
        position = node.freeList;
    }
    return WalkEnd::Complete;
}

uint32_t TakeSpace(Ohfa_File *file, int64_t size, Oerr_ErrorReport **err, const wchar_t *fn) {
    if (size <= 0) {
        SetError(err, fn, kFreeBadSize, nullptr, L"Zero or negative size; long integer overflow?");
        return 0;
    }
    if (!CheckWritable(file, fn, err) || !EnsureLoaded(file, false, err, fn)) return 0;
    std::deque<FreeBlock> &blocks = FreeListAccess::Blocks(file->freeList);
    FreeList &list = file->freeList;
    ReserveChanges(list);

    // First fit in file order: an exact fit, or a block that leaves room for a node.
    for (std::size_t i = 0; i < blocks.size(); ++i) {
        FreeBlock &b = blocks[i];
        const bool exact = b.size == size;
        if (!exact && b.size < size + kNodeSize) continue;
        if (!Detach(file, err, fn)) return 0;
        const uint32_t position = b.position;
        if (exact) {
            blocks.erase(blocks.begin() + static_cast<std::ptrdiff_t>(i));
        } else {
            b.position += static_cast<uint32_t>(size);
            b.size -= static_cast<uint32_t>(size);
            Touch(list, b);
        }
        if (i > 0) Touch(list, blocks[i - 1]);
        SyncHead(file);
        return position;
    }

    // Nothing fits: grow at the end of the file, starting at a free block that reaches it.
    const bool tail =
        !blocks.empty() && int64_t{blocks.back().position} + blocks.back().size == file->fileEnd;
    const int64_t start = tail ? blocks.back().position : file->fileEnd;
    const int64_t freeAtStart = tail ? blocks.back().size : 0;
    // A tail block larger than the request but too small to split: this formula is the
    // format's own and is kept as it is.
    int64_t reserve = size > freeAtStart ? size : 2 * size - freeAtStart + kNodeSize;
    if (file->mapped) {
        const int64_t page = omsc_MemPageSizeGet();
        if (page > 0) reserve = (reserve + page - 1) / page * page;
    }
    if (start + reserve > kMaxFileSize) {
        SetError(err, fn, kFreeBeyondLimit, nullptr,
                 L"Cannot allocate free block; resulting file would exceed the OS or OHFA limit");
        return 0;
    }
    const int64_t newEnd = start + reserve;
    if (newEnd > file->fileEnd && !Extend(file, newEnd, err, fn)) return 0;
    if (tail) {
        if (!Detach(file, err, fn)) return 0;
        blocks.pop_back();
        if (!blocks.empty()) Touch(list, blocks.back());
        SyncHead(file);
    }
    if (file->mapped) {
        if (!Remap(file, err, fn)) return 0;
        if (reserve - size >= kNodeSize &&
            !GiveSpace(file, static_cast<uint32_t>(start + size), reserve - size, err, fn)) {
            SetError(err, fn, kFreeSpaceFailed, *err, L"ohfa_FreeSpace failed");
            return 0;
        }
    }
    return static_cast<uint32_t>(start);
}

bool GiveSpace(Ohfa_File *file, uint32_t position, int64_t size, Oerr_ErrorReport **err,
               const wchar_t *fn) {
    if (size <= 0) {
        SetError(err, fn, kFreeBadSize, nullptr, L"Zero or negative size; long integer overflow?");
        return false;
    }
    if (!CheckWritable(file, fn, err)) return false;
    // Space of the records the header reaches directly is never free, even when a damaged
    // file makes a caller believe so (the disk walk would call such a list corrupt).
    if (position < kTagSize || position + size > file->fileEnd ||
        CoversFixedRecord(file, position, size)) {
        SetError(err, fn, kFreeNotFileSpace, nullptr,
                 L"Cannot free %lld bytes at %lu: not space of file %s",
                 static_cast<long long>(size), static_cast<unsigned long>(position),
                 file->name.c_str());
        return false;
    }
    if (!EnsureLoaded(file, true, err, fn)) return false;
    std::deque<FreeBlock> &blocks = FreeListAccess::Blocks(file->freeList);
    FreeList &list = file->freeList;
    const auto at = std::upper_bound(blocks.begin(), blocks.end(), position,
                                     [](uint32_t p, const FreeBlock &b) { return p < b.position; });
    const std::size_t i = static_cast<std::size_t>(at - blocks.begin());
    FreeBlock *prev = i > 0 ? &blocks[i - 1] : nullptr;
    FreeBlock *next = i < blocks.size() ? &blocks[i] : nullptr;
    if ((prev && int64_t{prev->position} + prev->size > position) ||
        (next && position + size > next->position)) {
        SetError(err, fn, kFreeCorrupt, nullptr, L"Free list corruption detected");
        return false;
    }
    const bool joinPrev = prev && int64_t{prev->position} + prev->size == position;
    const bool joinNext = next && position + size == next->position;
    // Too small to hold a node and touching nothing free: it stays out of the list (leaked).
    if (!joinPrev && !joinNext && size < kNodeSize) return true;

    ReserveChanges(list);
    FreeListAccess::SetDirty(file->freeList, true);
    if (joinPrev) {
        prev->size += static_cast<uint32_t>(size);
        if (joinNext) {
            prev->size += next->size;
            blocks.erase(blocks.begin() + static_cast<std::ptrdiff_t>(i));
        }
        Touch(list, blocks[i - 1]);
    } else if (joinNext) {
        next->position = position;
        next->size += static_cast<uint32_t>(size);
        Touch(list, *next);
        if (i > 0) Touch(list, blocks[i - 1]);
    } else {
        blocks.insert(blocks.begin() + static_cast<std::ptrdiff_t>(i),
                      FreeBlock{position, static_cast<uint32_t>(size), false});
        Touch(list, blocks[i]);
        if (i > 0) Touch(list, blocks[i - 1]);
    }
    SyncHead(file);
    return true;
}

bool ReplaceFreeList(Ohfa_File *file, const std::vector<FreeBlock> &blocks, Oerr_ErrorReport **err,
                     const wchar_t *fn) {
    if (!Detach(file, err, fn)) return false;
    FreeList &list = file->freeList;
    FreeListAccess::Blocks(list).assign(blocks.begin(), blocks.end());
    std::vector<uint32_t> &changed = FreeListAccess::Changed(list);
    changed.clear();
    for (FreeBlock &b : FreeListAccess::Blocks(list)) Touch(list, b);
    FreeListAccess::MarkLoaded(list);
    SyncHead(file);
    return FlushFreeList(file, err);
}

bool FlushFreeList(Ohfa_File *file, Oerr_ErrorReport **err) {
    FreeList &list = file->freeList;
    if (!list.Loaded() || !list.Dirty()) return true;
    std::deque<FreeBlock> &blocks = FreeListAccess::Blocks(list);
    const uint32_t head = blocks.empty() ? 0 : blocks.front().position;
    if (head != file->header.freeList) {
        SetError(err, kFlushFn, kFreeListCachedRead, nullptr,
                 L"Inconsistency detected - position of first cached node not same as free list");
        return false;
    }
    // The disk may still name the old list; nodes are rewritten only once it names none.
    if (list.DiskHead() != 0 && !HeaderReWrite(file, err, kFlushFn)) return false;
    // Only blocks named by the change list can be off the disk.
    std::vector<uint32_t> &changed = FreeListAccess::Changed(list);
    std::sort(changed.begin(), changed.end());
    changed.erase(std::unique(changed.begin(), changed.end()), changed.end());
    for (const uint32_t at : changed) {
        const auto found =
            std::lower_bound(blocks.begin(), blocks.end(), at,
                             [](const FreeBlock &b, uint32_t p) { return b.position < p; });
        if (found == blocks.end() || found->position != at || found->onDisk) continue;
        const std::size_t i = static_cast<std::size_t>(found - blocks.begin());
        FreeBlock &b = blocks[i];
        Ohfa_FreeListNode node{i + 1 < blocks.size() ? blocks[i + 1].position : 0,
                               static_cast<int32_t>(b.size)};
        unsigned char bytes[kNodeSize];
        if (!RecordToBytes(kNodeDesign, &node, bytes, kNodeSize, b.position, err,
                           L"freeListItemSet") ||
            !WriteAt(file, b.position, bytes, kNodeSize, err, L"freeListItemSet")) {
            SetError(err, kFlushFn, kFreeItemSetFailed, *err, L"freeListItemSet failed");
            return false;
        }
        b.onDisk = true;
    }
    changed.clear();
    FreeListAccess::SetDirty(list, false);
    if (HeaderReWrite(file, err, kFlushFn)) return true;
    FreeListAccess::SetDirty(list, true);
    SetError(err, kFlushFn, kFreeHeaderFailed, *err, L"ohfa_HeaderReWrite failed");
    return false;
}

int CheckFreeList(Ohfa_File_ *file) {
    std::vector<FreeBlock> blocks;
    int problems = 0;
    if (file->freeList.Loaded()) {
        blocks.assign(file->freeList.Blocks().begin(), file->freeList.Blocks().end());
        const uint32_t head = blocks.empty() ? 0 : blocks.front().position;
        if (head != file->header.freeList) ++problems;
    } else {
        Oerr_ErrorReport *e = nullptr;
        const WalkEnd end = WalkDiskList(
            file,
            [&](uint32_t p, uint32_t, uint32_t s) {
                blocks.push_back({p, s, true});
            },
            &e, L"CheckFreeList");
        oerr_DeleteErrorReportEx(&e);
        if (end != WalkEnd::Complete) ++problems;
    }
    for (std::size_t i = 0; i < blocks.size(); ++i) {
        const FreeBlock &b = blocks[i];
        if (b.size < kNodeSize || int64_t{b.position} + b.size > file->fileEnd ||
            CoversFixedRecord(file, b.position, b.size))
            ++problems;
        if (i > 0 && int64_t{blocks[i - 1].position} + blocks[i - 1].size >= b.position) ++problems;
    }
    return problems;
}

} // namespace orvik::hfa
