// Internal: the free-list cache of an open HFA file.
//
// On disk the free space is a singly linked list of 8-byte nodes (next, size), one at the
// start of every free block, in increasing order of position; the header's freeList item is
// the head. While a file is open the list is held here, loaded at the first allocation or
// release and written back by a flush (ohfa_FileFlush, close). Crash safety
// rests on two rules (docs/hfa-format.md, "Write order"):
//   1. Before a block that the on-disk list may name is handed out, the header is rewritten
//      with an empty list (freeList 0). From then on the disk names no free space at all, so
//      it cannot name a block that is in use.
//   2. Writing the list back first writes every changed node into its (unreachable) block,
//      and only then the header with the real head.
// A crash therefore leaves either the old list (naming only blocks still free) or an empty
// one: space can leak, never be handed out twice.
//
// Not thread-safe: one file record, one thread at a time.
#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <vector>

#include <orvik/oerr.h>

struct Ohfa_File_;

namespace orvik::hfa {

struct FreeBlock {
    uint32_t position;
    uint32_t size; // bytes, node included (>= 8)
    bool onDisk;   // the node at `position` already holds (next, size) as cached
};

class FreeList {
  public:
    bool Loaded() const { return m_loaded; }
    bool Dirty() const { return m_dirty; }
    const std::deque<FreeBlock> &Blocks() const { return m_blocks; }
    // The head the header on disk holds, as far as this handle wrote or read it.
    uint32_t DiskHead() const { return m_diskHead; }
    void SetDiskHead(uint32_t head) { m_diskHead = head; }
    // The value the header's freeList item must have when it is written now.
    uint32_t HeadToWrite(uint32_t logicalHead) const { return m_dirty ? 0 : logicalHead; }
    // Forget the cache (reinitialise): the disk list is read again when next needed.
    void Reset(uint32_t diskHead) {
        m_blocks.clear();
        m_changed.clear();
        m_loaded = m_dirty = false;
        m_diskHead = diskHead;
    }

  private:
    friend struct FreeListAccess;
    // Increasing position, never touching. A deque: first fit mostly takes blocks near the
    // head, and erasing there costs nothing.
    std::deque<FreeBlock> m_blocks;
    // Positions of blocks whose node changed since the last write-back (may name blocks that
    // merged away since): the write-back visits these, not the whole list.
    std::vector<uint32_t> m_changed;
    bool m_loaded = false;
    bool m_dirty = false; // the cache differs from the list on disk
    uint32_t m_diskHead = 0;
};

// Allocation and release (free_list.cpp). Report under `fn`.
// First fit in file order, with the tail rule and the size limit; 0 on failure.
uint32_t TakeSpace(Ohfa_File_ *file, int64_t size, Oerr_ErrorReport **err, const wchar_t *fn);
// Returns a range; refuses overlap with a free block (nothing changed then).
bool GiveSpace(Ohfa_File_ *file, uint32_t position, int64_t size, Oerr_ErrorReport **err,
               const wchar_t *fn);
// Replaces the whole list by `blocks` (increasing, not touching, each at least 8 bytes and
// in no structure) and writes it: the disk is first told of no free space, then every node
// is written, then the header names the new head (rules 1 and 2).
bool ReplaceFreeList(Ohfa_File_ *file, const std::vector<FreeBlock> &blocks, Oerr_ErrorReport **err,
                     const wchar_t *fn);
// Writes a changed cache back (rule 2 above); a clean or unloaded cache writes nothing.
bool FlushFreeList(Ohfa_File_ *file, Oerr_ErrorReport **err);

// How a walk of the list on disk ended.
enum class WalkEnd {
    Complete, // reached a zero link
    Corrupt,  // a node or link is impossible (see below); the nodes before it were visited
    Failed    // a read failed; reported
};

// Walks the list on disk, calling visit(position, next, size) for every sound node. A node is
// sound when it lies inside the file after the header tag, its size is at least 8, its block
// ends inside the file and overlaps neither the header, the root entry nor the dictionary.
// A link that does not lead past the end of its block ends the walk as Corrupt after that
// node has been visited. Never more steps than the file has 8-byte units, so a cycle cannot
// hang it. Refused (Failed) while the cache is loaded: the disk list is then stale.
WalkEnd WalkDiskList(Ohfa_File_ *file,
                     const std::function<void(uint32_t, uint32_t, uint32_t)> &visit,
                     Oerr_ErrorReport **err, const wchar_t *fn);

// Self-check for tests and the fuzz target: the cache (the disk list when not loaded) is in
// increasing order, never touching, inside the file and clear of the fixed records. Returns
// the number of problems found.
int CheckFreeList(Ohfa_File_ *file);

} // namespace orvik::hfa
