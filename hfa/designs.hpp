// Internal: the six fixed designs of HFA files, created together at first use in one
// process-wide dictionary (inside the thread-unsafe section; later fetches take no lock).
#pragma once

#include <orvik/omif.h>

namespace orvik::hfa {

inline constexpr const wchar_t *kTagDesign = L"Ohfa_HeaderTag";
inline constexpr const wchar_t *kHeaderDesign = L"Ohfa_File";
inline constexpr const wchar_t *kEntryDesign = L"Ohfa_Entry";
inline constexpr const wchar_t *kNodeDesign = L"Ohfa_FreeListNode";
inline constexpr const wchar_t *kDataDesign = L"Ohfa_Data";
inline constexpr const wchar_t *kCacheNodeDesign = L"Ohfa_CacheNode";

// A fixed design by name; null with a report (under the fetch's own name) when unknown.
const Omif_Design *FixedDesign(const wchar_t *name, Oerr_ErrorReport **err);

// The designs every file's dictionary begins with, in their stored order.
inline constexpr const wchar_t *kStoredDesigns[] = {kHeaderDesign, kEntryDesign, kTagDesign,
                                                    kNodeDesign, kDataDesign};

} // namespace orvik::hfa
