// Internal: registry keys named by preference search-list elements ("HKEY_..."). On Windows
// this is the system registry (port/registry.hpp) unless GIO_REGISTRY_PATH names a folder;
// elsewhere, and then, every key is one file under GIO_REGISTRY_PATH (default
// $HOME/.config/orvik/registry): <root>/<key path>.key, holding the key's values as lines
//     <value name> : "<text>" ;
//     <value name> : <whole number> ;
// so that reading, deleting, creating and loading keys run the same steps everywhere.
// Value names are "category.name". Not synchronised beyond what the file system gives.
#pragma once

#include <string>
#include <vector>

#include <orvik/oerr.h>

namespace orvik::prefs {

struct RegistryKey {
    std::wstring
        root; // "HKEY_CURRENT_USER", "HKEY_LOCAL_MACHINE", "HKEY_USERS", "HKEY_CLASSES_ROOT"
    std::wstring path; // below the root, "/"-separated, may be empty
};

struct RegistryValue {
    std::wstring name;
    bool isNumber = false;
    std::wstring text;
    long number = 0;
};

// Splits "HKEY_ROOT\path" (either separator); an unknown root gives
// "Error getting HKEY handle from text".
bool ParseRegistryKey(const std::wstring &text, RegistryKey &key, Oerr_ErrorReport **err);

// The key's values rendered as preference text; `exists` false for a missing key.
bool ReadKeyAsPreferenceText(const RegistryKey &key, std::wstring &text, bool &exists,
                             Oerr_ErrorReport **err);

// Deleting a missing key succeeds.
bool DeleteKey(const RegistryKey &key, Oerr_ErrorReport **err);
bool CreateKey(const RegistryKey &key, Oerr_ErrorReport **err);
// Replaces the values of an existing key.
bool WriteKeyValues(const RegistryKey &key, const std::vector<RegistryValue> &values,
                    Oerr_ErrorReport **err);

} // namespace orvik::prefs
