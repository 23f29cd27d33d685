// Internal: the entry tree of an open HFA file - the current entry, the path stack from the
// root down to it, the entry records reached so far (by position) and the sibling name index
// ((parent, name) -> position, and each parent's last child). One thread at a time, like the file
// record that holds it.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <unordered_map>
#include <vector>

#include <orvik/ohfa.h>

#include "hfa/name_table.hpp"
#include "hfa/record_cache.hpp"

struct Ohfa_File_;

namespace orvik::hfa {

// The children of one parent: the first child of each name (with how many siblings carry
// it) and the last child. Only complete indexes are kept: one walk of the sibling list builds
// it, every entry write, delete, rename and move keeps it in step, and a change it cannot
// follow cheaply (a second entry of a name inserted before the end, the first of several
// deleted) drops it, to be rebuilt by the next look-up.
struct ChildIndex {
    using Slot = NameTable::Slot;
    NameTable byName;
    uint32_t last = 0; // 0: no children
};

struct EntryState {
    bool valid = false;            // a current entry has been read
    uint32_t position = 0;         // of the current entry
    Ohfa_Entry record{};           // host copy of the current entry
    std::vector<std::string> path; // names below the root down to the current entry
    std::unordered_map<uint32_t, ChildIndex> children; // by parent position
    // Entry records as last read or written (write-through; every raw write over one drops
    // it). Bounded: it starts afresh when full.
    RecordCache records;

    void Forget() {
        valid = false;
        position = 0;
        record = Ohfa_Entry{};
        path.clear();
        children.clear();
        records.Clear();
    }
};

// One entry record at a position inside the file (bounds checked), and back.
bool ReadEntry(Ohfa_File_ *file, uint32_t position, Ohfa_Entry &entry, Oerr_ErrorReport **err,
               const wchar_t *fn);
bool WriteEntry(Ohfa_File_ *file, uint32_t position, const Ohfa_Entry &entry,
                Oerr_ErrorReport **err, const wchar_t *fn);

// Seeks by method (see docs/hfa-entries.md): 1 moved, 0 no such entry, -1 error (reported).
// A failed or fruitless seek leaves the current entry where it was.
long SeekEntry(Ohfa_File_ *file, long method, const wchar_t *name, Oerr_ErrorReport **err,
               const wchar_t *fn);

// Keeping the sibling name index in step (child_index.cpp). A parent without an index is
// left alone. `after` is the sibling the new entry follows (0: it became the first child).
void IndexInsert(EntryState &state, uint32_t parent, uint32_t position, const std::string &name,
                 uint32_t after);
// `prev` is the removed entry's predecessor (the new last child when it was the last).
void IndexRemove(EntryState &state, uint32_t parent, uint32_t position, const std::string &name,
                 uint32_t prev);
void IndexRename(EntryState &state, uint32_t parent, uint32_t position, const std::string &from,
                 const std::string &to);
// A deleted entry can no longer be a parent (its position may be reused).
void IndexForgetParent(EntryState &state, uint32_t parent);

// Node path of the current entry ("/" for the root).
std::wstring CurrentPath(const EntryState &state);

// Makes every entry below the node `startNode` (null: the root; the node itself too when
// `withStart`) current in turn, in preorder, and calls `visit`, which stops the walk by
// returning false. The walk is bounded; a tree that does not end is reported. True when it
// ended; the current entry is then wherever the walk left it.
bool WalkBelow(Ohfa_File_ *file, const wchar_t *startNode, bool withStart,
               const std::function<bool()> &visit, Oerr_ErrorReport **err, const wchar_t *fn);

// Every record of the subtree below `first` (a first child) with its position, bounded by the
// file's size; false (reported) when a record cannot be read.
bool CollectSubtree(Ohfa_File_ *file, uint32_t first,
                    std::vector<std::pair<uint32_t, Ohfa_Entry>> &out, Oerr_ErrorReport **err,
                    const wchar_t *fn);

} // namespace orvik::hfa
