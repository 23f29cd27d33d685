// The preference module's shared state (see module.hpp).
#include "prefs/module.hpp"

#include "prefs/model.hpp"

namespace orvik::prefs {

Module &TheModule() {
    static Module *module = new Module; // never destroyed: callers may run during exit
    return *module;
}

std::wstring Key(const wchar_t *category, const wchar_t *name) {
    std::wstring key(category ? category : L"");
    key += L'\x1f';
    key += name ? name : L"";
    return key;
}

std::wstring QualifiedName(const wchar_t *category, const wchar_t *name) {
    return std::wstring(category ? category : L"<Null>") + L"." + (name ? name : L"<Null>");
}

void Database::Reindex() {
    std::unordered_map<std::wstring, Opmg_Parameter *> fresh;
    for (Opmg_Category *c = list; c; c = c->next) {
        for (Opmg_Parameter *p = c->parameters; p; p = p->next) fresh[Key(c->name, p->name)] = p;
    }
    index.swap(fresh);
}

Opmg_Parameter *Database::Find(const wchar_t *category, const wchar_t *name) const {
    if (!category || !name) return nullptr;
    auto it = index.find(Key(category, name));
    return it == index.end() ? nullptr : it->second;
}

void Database::Clear() {
    index.clear();
    FreeList(list);
    list = nullptr;
    unsaved = false;
}

bool CurrentMethods(Methods &out) {
    Module &m = TheModule();
    std::lock_guard<std::mutex> lock(m.mutex);
    if (!m.installed) return false;
    out = m.methods;
    return true;
}

} // namespace orvik::prefs
