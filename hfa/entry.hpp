// Internal: the entry tree of an open HFA file - the current entry, the path stack from the
// root down to it, and the table of entries reached so far (position -> parent and name, and
// (parent, name) -> position for sibling look-up by name). One thread at a time, like the
// file record that holds it.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <unordered_map>
#include <vector>

#include <orvik/ohfa.h>

struct Ohfa_File_;

namespace orvik::hfa {

struct EntryPathInfo {
    uint32_t parent;
    std::string name; // UTF-8, as stored
};

struct EntryState {
    bool valid = false;            // a current entry has been read
    uint32_t position = 0;         // of the current entry
    Ohfa_Entry record{};           // host copy of the current entry
    std::vector<std::string> path; // names below the root down to the current entry
    std::unordered_map<uint32_t, EntryPathInfo> byPosition;
    std::unordered_map<std::string, uint32_t> byParentAndName; // key: parent + '/' + name

    void Forget() {
        valid = false;
        position = 0;
        record = Ohfa_Entry{};
        path.clear();
        byPosition.clear();
        byParentAndName.clear();
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

// Records `position` (child of `parent`, called `name`) in the entry table.
void HashEntry(EntryState &state, uint32_t position, uint32_t parent, const std::string &name);
void UnhashEntry(EntryState &state, uint32_t position);

// Node path of the current entry ("/" for the root).
std::wstring CurrentPath(const EntryState &state);

// Makes every entry below the node `startNode` (null: the root; the node itself too when
// `withStart`) current in turn, in preorder, and calls `visit`, which stops the walk by
// returning false. The walk is bounded; a tree that does not end is reported. True when it
// ended; the current entry is then wherever the walk left it.
bool WalkBelow(Ohfa_File_ *file, const wchar_t *startNode, bool withStart,
               const std::function<bool()> &visit, Oerr_ErrorReport **err, const wchar_t *fn);

} // namespace orvik::hfa
