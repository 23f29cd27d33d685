// Internal: the dictionary's list and name index. A dictionary is not locked: one writer,
// or any number of readers.
#pragma once

#include <string_view>
#include <unordered_map>

#include <orvik/omif.h>

// The private part of Omif_Dictionary: the last design (appends are O(1)) and the index
// from name to the first design of that name. Keys view the designs' own names.
struct Omif_DictionaryIndex_ {
    Omif_Design *last = nullptr;
    std::unordered_map<std::wstring_view, Omif_Design *> byName;
};

namespace orvik::mif {

// Null when memory is exhausted.
Omif_Dictionary *NewDictionary();
void FreeDictionary(Omif_Dictionary *dictionary);

Omif_Design *FindDesign(const Omif_Dictionary *dictionary, const wchar_t *name);

// The "DesignPrependIfUnique" step: links `design` (the dictionary takes it over) unless a
// design of that name is present, and returns whether it did; otherwise the caller keeps
// it. May throw std::bad_alloc, leaving the dictionary unchanged.
bool LinkIfUnique(Omif_Dictionary *dictionary, Omif_Design *design);

// Unlinks and frees every design linked after `mark` (the dictionary's last design at an
// earlier time, null for an empty dictionary then).
void TruncateAfter(Omif_Dictionary *dictionary, Omif_Design *mark);

// Adds a copy of `design` and of its element designs as omif_DictionaryAddDesign does.
// Reports under `function`; on failure the dictionary is as before.
Omif_Design *AddDesignCopy(Omif_Dictionary *dictionary, const Omif_Design *design,
                           const wchar_t *function, Oerr_ErrorReport **err);

} // namespace orvik::mif
