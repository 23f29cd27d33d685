// Internal: storing a value into a parameter (with the maximum-length cut) and telling the
// registered callbacks about a change.
#pragma once

#include <orvik/opmg.h>

namespace orvik::prefs {

// Copies `value` into p.value (the type is the parameter's), cutting a string longer than the
// parameter's maximum length with a warning, and marks the value as stored. On failure
// (exhaustion) p is unchanged and std::bad_alloc is thrown.
void StoreValue(const wchar_t *category, Opmg_Parameter &p, const Opmg_Preference &value);

// Calls each registered callback of category.name of the default database with `value`,
// inside the thread-unsafe section. REQUIRES: the module mutex is not held.
void RunCallbacks(const wchar_t *category, const wchar_t *name, const Opmg_Preference &value);

} // namespace orvik::prefs
