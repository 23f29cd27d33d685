// Internal: the heap records of the preference database (categories, parameters, values):
// creation, deep copies, release and lookup. Allocation failures throw std::bad_alloc after
// releasing what the call had made, so callers run under the exported functions' guard.
// Not synchronised: callers hold the module mutex for shared lists.
#pragma once

#include <string>

#include <orvik/opmg.h>

namespace orvik::prefs {

// Heap copy of `text` (null stays null).
wchar_t *HeapText(const wchar_t *text);
wchar_t *HeapText(const std::wstring &text);

void ClearValue(Opmg_Preference &value);
// Replaces `destination` by a copy of `source`; on failure `destination` is unchanged.
void CopyValue(Opmg_Preference &destination, const Opmg_Preference &source);

Opmg_Parameter *NewParameter(const wchar_t *name, Opmg_Type type);
void FreeParameter(Opmg_Parameter *parameter);
Opmg_Parameter *CopyParameter(const Opmg_Parameter &source);

Opmg_Category *NewCategory(const wchar_t *name);
void FreeCategory(Opmg_Category *category); // one record and its parameters
void FreeList(Opmg_Category *list);         // the whole chain
Opmg_Category *CopyCategory(const Opmg_Category &source, const wchar_t *newName = nullptr);

Opmg_Category *FindCategory(const Opmg_Category *list, const wchar_t *name);
Opmg_Parameter *FindParameter(const Opmg_Category *category, const wchar_t *name);

// Moves the categories of `from` into *list: a category already present receives the new
// parameters (a parameter of the same name is replaced), others are appended. Never fails;
// `from` is consumed.
void MergeInto(Opmg_Category **list, Opmg_Category *from);

// Whether boolean text means true: "yes", "on" or "true", ignoring case.
bool BooleanText(const wchar_t *text);

// Owns a category chain until released.
struct ListHolder {
    Opmg_Category *list = nullptr;
    ListHolder() = default;
    explicit ListHolder(Opmg_Category *l) : list(l) {}
    ListHolder(const ListHolder &) = delete;
    ListHolder &operator=(const ListHolder &) = delete;
    ~ListHolder() { FreeList(list); }
    Opmg_Category *Release() {
        Opmg_Category *l = list;
        list = nullptr;
        return l;
    }
};

} // namespace orvik::prefs
