// The list of open HFA files (see open_list.hpp).
#include "hfa/open_list.hpp"

#include <algorithm>
#include <atomic>
#include <mutex>
#include <vector>

#include "hfa/file.hpp"

namespace orvik::hfa {

namespace {

std::atomic<bool> g_exists{false};
std::mutex g_lock;
std::vector<Ohfa_File_ *> &Files() {
    static std::vector<Ohfa_File_ *> files; // leaked on purpose: outlives static destructors
    return files;
}

Ohfa_File_ *Find(const std::wstring &name) {
    for (Ohfa_File_ *f : Files())
        if (f->name == name) return f;
    return nullptr;
}

} // namespace

bool OpenListExists() { return g_exists.load(std::memory_order_acquire); }
void OpenListCreate() { g_exists.store(true, std::memory_order_release); }

Ohfa_File_ *OpenListAddRef(const std::wstring &name) {
    std::lock_guard<std::mutex> hold(g_lock);
    Ohfa_File_ *f = Find(name);
    if (f) ++f->references;
    return f;
}

bool OpenListContains(const std::wstring &name) {
    std::lock_guard<std::mutex> hold(g_lock);
    return Find(name) != nullptr;
}

void OpenListInsert(Ohfa_File_ *file) {
    std::lock_guard<std::mutex> hold(g_lock);
    Files().push_back(file);
    file->references = 1;
}

bool OpenListRelease(Ohfa_File_ *file) {
    std::lock_guard<std::mutex> hold(g_lock);
    if (--file->references > 0) return false;
    auto &files = Files();
    files.erase(std::remove(files.begin(), files.end(), file), files.end());
    return true;
}

void OpenListRename(Ohfa_File_ *file, const std::wstring &name) {
    std::lock_guard<std::mutex> hold(g_lock);
    file->name = name;
}

} // namespace orvik::hfa
