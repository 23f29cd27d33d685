// Internal: the process-wide list of open HFA files. Names are compared after "\" has been
// turned into "/"; two spellings of one path (relative and absolute) are two names. The list
// has its own lock; the records in it are not locked.
#pragma once

#include <string>

struct Ohfa_File_;

namespace orvik::hfa {

// Created by ohfa_Init; never freed.
bool OpenListExists();
void OpenListCreate();

// The open record of that name with one more reference, or null.
Ohfa_File_ *OpenListAddRef(const std::wstring &name);
bool OpenListContains(const std::wstring &name);
// Takes a new record in with one reference. May throw std::bad_alloc (nothing added).
void OpenListInsert(Ohfa_File_ *file);
// Drops one reference; true when it was the last (the record is then out of the list).
bool OpenListRelease(Ohfa_File_ *file);
// After a rename.
void OpenListRename(Ohfa_File_ *file, const std::wstring &name);

} // namespace orvik::hfa
