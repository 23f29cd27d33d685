// Internal: replacing a file's contents so that a crash at any moment leaves either the old
// file or the new one, never a mixture: the bytes go to a new temporary file in the same
// folder (exclusive creation), are synced to disk, get mode 0644, and the temporary file is
// renamed over the target; the folder is synced last. On failure the temporary file is
// removed and the target is untouched. One implementation per platform.
#pragma once

#include <cstddef>
#include <string>

#include <orvik/oerr.h>

namespace orvik::prefs {

bool WriteFileAtomically(const std::wstring &path, const std::string &bytes,
                         Oerr_ErrorReport **err);

// Test seam: called once half of the bytes are written; returning false makes the write fail
// there (as a full disk would). Null (the default) means no fault.
using WriteFaultHook = bool (*)();
void SetWriteFaultHook(WriteFaultHook hook);

} // namespace orvik::prefs
