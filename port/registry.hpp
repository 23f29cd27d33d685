// Internal: the system registry (Windows). Hosts without one report it through Available()
// and fail every call; the preference layer then keeps keys as files itself.
// Roots are the names "HKEY_CURRENT_USER", "HKEY_LOCAL_MACHINE", "HKEY_USERS" and
// "HKEY_CLASSES_ROOT"; key paths below them use "/" as the separator.
#pragma once

#include <string>
#include <vector>

namespace orvik::port::registry {

struct Value {
    std::wstring name;
    bool isNumber = false;
    std::wstring text;
    long number = 0;
};

// System error code; 0 means success.
using Code = long;

bool Available();
std::string Reason(Code code);

// The key's text and number values in the system's order; `exists` false (and code 0) for a
// missing key. Values of other types are skipped.
Code ReadValues(const std::wstring &root, const std::wstring &path, std::vector<Value> &values,
                bool &exists);
// Removes the key with everything below it; a missing key is no error.
Code DeleteTree(const std::wstring &root, const std::wstring &path);
// Creates the key (and missing parents); an existing key is kept as it is.
Code Create(const std::wstring &root, const std::wstring &path);
// Replaces every value of an existing key with `values` (texts as strings, numbers as
// 32-bit words).
Code ReplaceValues(const std::wstring &root, const std::wstring &path,
                   const std::vector<Value> &values);

} // namespace orvik::port::registry
