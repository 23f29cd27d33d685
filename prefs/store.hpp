// Internal: storing a value into a parameter (with the maximum-length cut) and telling the
// registered callbacks about a change.
#pragma once

#include <orvik/opmg.h>

namespace orvik::prefs {

// Copies `value` into p.value (the type is the parameter's), cutting a string longer than the
// parameter's maximum length, and marks the value as stored. The cut's warning is handed back
// in *warning for the caller to print once it holds no lock (PrintWarning). On failure
// (exhaustion) p is unchanged and std::bad_alloc is thrown.
void StoreValue(const wchar_t *category, Opmg_Parameter &p, const Opmg_Preference &value,
                Oerr_ErrorReport **warning);

// Prints and deletes a warning made by StoreValue (null: nothing to do).
void PrintWarning(Oerr_ErrorReport *&warning);

// Calls each registered callback of category.name of the default database with `value`,
// inside the thread-unsafe section. REQUIRES: the module mutex is not held.
void RunCallbacks(const wchar_t *category, const wchar_t *name, const Opmg_Preference &value);

} // namespace orvik::prefs
