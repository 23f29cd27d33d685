// Internal: building the string lists that the file layer returns, and scanning folders.
#pragma once

#include <string>
#include <vector>

#include <orvik/oerr.h>
#include <orvik/ostr.h>

namespace orvik::fio {

// A new ostr_StringList holding copies of `names` (empty list for none). Null with report 5
// under `fn` when the heap is exhausted; nothing is leaked.
ostr_StringList *ToStringList(const std::vector<std::wstring> &names, Oerr_ErrorReport **err,
                              const wchar_t *fn);

// `directory` with "\" turned into "/" and trailing "/" dropped (a lone "/" stays).
std::wstring FolderName(const wchar_t *directory);

// Appends directory + "/" + name for each regular file of `directory` whose name matches
// `pattern`, sorted by name. A folder that does not exist sets `missing` (no report) when
// `missing` is given, else it is reported like any other failure.
bool ScanFolder(const std::wstring &directory, const wchar_t *pattern,
                std::vector<std::wstring> &out, bool *missing, Oerr_ErrorReport **err,
                const wchar_t *fn);

} // namespace orvik::fio
