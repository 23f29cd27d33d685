// Internal helpers shared by the string-list sources.
#pragma once

#include <cwchar>

#include <orvik/ostr.h>

namespace orvik::text {

// Delivers a finished report: stored in *err, or printed in full form and deleted when the
// caller passed no err.
void DeliverOrPrint(Oerr_ErrorReport **err, Oerr_ErrorReport *report);

// List equality of two entries: the same pointer, or both non-null with equal text.
inline bool EntriesEqual(const wchar_t *a, const wchar_t *b) {
    return a == b || (a && b && std::wcscmp(a, b) == 0);
}

// Entries in use, robust against a negative count.
inline int32_t UsedCount(const ostr_StringList *list) {
    return list && list->count > 0 ? list->count : 0;
}

} // namespace orvik::text
