// Internal: the preference module's shared state, all of it guarded by the one module mutex:
// the default database (category list, its index and callback list), the installed
// implementation's methods, the preference file name and the change-logging switch.
// Callbacks and file writing never run while the mutex is held.
#pragma once

#include <mutex>
#include <string>
#include <unordered_map>
#include <vector>

#include <orvik/opmg.h>

namespace orvik::prefs {

struct Methods {
    void *data = nullptr;
    Opmg_DatabaseFunc initialize = nullptr;
    Opmg_DatabaseFunc terminate = nullptr;
    Opmg_DatabaseFunc flush = nullptr;
    Opmg_CallbackMethod addCallback = nullptr;
    Opmg_CallbackMethod removeCallback = nullptr;
    Opmg_GetMethod get = nullptr;
    Opmg_PutMethod put = nullptr;
};

// The library's own storage: what oprf_DefaultData() points at.
struct Database {
    Opmg_Category *list = nullptr;
    // "category\x1f" "name" -> parameter of `list`; rebuilt whenever `list` changes shape.
    std::unordered_map<std::wstring, Opmg_Parameter *> index;
    std::unordered_map<std::wstring, std::vector<Opmg_CallbackEntry>> callbacks;
    bool unsaved = false;

    void Reindex();
    Opmg_Parameter *Find(const wchar_t *category, const wchar_t *name) const;
    // Frees the list and forgets the index (callbacks stay registered).
    void Clear();
};

struct Module {
    std::mutex mutex;
    Database database;
    Methods methods;
    bool installed = false;
    std::wstring disabledBy; // non-empty: the implementation may not change
    std::wstring fileName = L"v8preference";
    bool logging = false;
};

Module &TheModule();

std::wstring Key(const wchar_t *category, const wchar_t *name);

// "category.name" with "<Null>" for a missing part, for messages.
std::wstring QualifiedName(const wchar_t *category, const wchar_t *name);

// Copies the installed methods under the mutex; false when none are installed.
bool CurrentMethods(Methods &out);

} // namespace orvik::prefs
