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
    auto slot = index.byName.find(name);
    if (slot == index.byName.end()) {
        index.byName.emplace(name, ChildIndex::Slot{position, 1});
    } else if (atEnd) {
        ++slot->second.count;
    } else {
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
    auto slot = index.byName.find(name);
    if (slot == index.byName.end() || (slot->second.first == position && slot->second.count > 1)) {
        state.children.erase(it);
        return;
    }
    if (slot->second.first == position)
        index.byName.erase(slot);
    else
        --slot->second.count;
    if (index.last == position) index.last = prev;
}

void IndexRename(EntryState &state, uint32_t parent, uint32_t position, const std::string &from,
                 const std::string &to) {
    if (from == to) return;
    auto it = state.children.find(parent);
    if (it == state.children.end()) return;
    ChildIndex &index = it->second;
    auto old = index.byName.find(from);
    if (old == index.byName.end() || old->second.first != position || old->second.count != 1 ||
        index.byName.count(to) != 0) {
        state.children.erase(it);
        return;
    }
    index.byName.erase(old);
    index.byName.emplace(to, ChildIndex::Slot{position, 1});
}

void IndexForgetParent(EntryState &state, uint32_t parent) { state.children.erase(parent); }

} // namespace orvik::hfa
