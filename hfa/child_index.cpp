// The sibling name index: keeping each parent's (name -> first child, count) map and last
// child in step with entry writes, deletes, renames and moves (see entry.hpp). Dropping an
// index is always safe: the next look-up walks the sibling list once and builds it again.
#include "hfa/entry.hpp"

namespace orvik::hfa {

void IndexInsert(EntryState &state, uint32_t parent, uint32_t position, const std::string &name,
                 uint32_t after) {
    auto it = state.children.find(parent);
    if (it == state.children.end()) return;
    ChildIndex &index = it->second;
    const bool atEnd = after == index.last;
    bool added = false;
    ChildIndex::Slot &slot = index.byName.Emplace(name, ChildIndex::Slot{position, 1}, added);
    if (!added && atEnd) {
        ++slot.count;
    } else if (!added) {
        // It may now come before the first of its name: let a walk decide.
        state.children.erase(it);
        return;
    }
    if (atEnd) index.last = position;
}

void IndexRemove(EntryState &state, uint32_t parent, uint32_t position, const std::string &name,
                 uint32_t prev) {
    auto it = state.children.find(parent);
    if (it == state.children.end()) return;
    ChildIndex &index = it->second;
    ChildIndex::Slot *slot = index.byName.Find(name);
    if (!slot || (slot->first == position && slot->count > 1)) {
        state.children.erase(it);
        return;
    }
    if (slot->first == position)
        index.byName.Erase(name);
    else
        --slot->count;
    if (index.last == position) index.last = prev;
}

void IndexRename(EntryState &state, uint32_t parent, uint32_t position, const std::string &from,
                 const std::string &to) {
    if (from == to) return;
    auto it = state.children.find(parent);
    if (it == state.children.end()) return;
    ChildIndex &index = it->second;
    const ChildIndex::Slot *old = index.byName.Find(from);
    if (!old || old->first != position || old->count != 1 || index.byName.Find(to)) {
        state.children.erase(it);
        return;
    }
    index.byName.Erase(from);
    bool added = false;
    index.byName.Emplace(to, ChildIndex::Slot{position, 1}, added);
}

void IndexForgetParent(EntryState &state, uint32_t parent) { state.children.erase(parent); }

} // namespace orvik::hfa
