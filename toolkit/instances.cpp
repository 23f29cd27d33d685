// The instance table: open, find, close, class-wide open and configuration. Entry points of
// plug-ins run outside the table's lock; an entry is inserted only after create succeeded,
// and when two threads open the same instance at once the loser destroys its copy.
#include <orvik/odll.h>
#include <orvik/ofio.h>

#include <algorithm>

#include "core/guard.hpp"
#include "toolkit/plugin_state.hpp"
#include "toolkit/report.hpp"

using orvik::core::Guarded;
using orvik::core::SetError;
using orvik::core::SetOutOfMemory;
namespace tk = orvik::toolkit;

namespace {

bool Empty(const wchar_t *s) { return !s || !*s; }

// Loads the library and its entry points. A library without create and destroy is unloaded.
bool LoadInstance(tk::Instance &in, const wchar_t *fn, Oerr_ErrorReport **err) {
    Oerr_ErrorReport *inner = nullptr;
    in.handle = odll_Open(in.library.c_str(), &inner);
    if (!in.handle) {
        SetError(err, fn, tk::kLoadFailed, inner, L"DLL Open failed for %s", in.library.c_str());
        return false;
    }
    in.create = reinterpret_cast<Odll_CreateFunc>(
        odll_FindIfPresent(in.handle, L"" ODLL_CREATE_ENTRY, nullptr));
    in.destroy = reinterpret_cast<Odll_DestroyFunc>(
        odll_FindIfPresent(in.handle, L"" ODLL_DESTROY_ENTRY, nullptr));
    in.configure = reinterpret_cast<Odll_ConfigureFunc>(
        odll_FindIfPresent(in.handle, L"" ODLL_CONFIGURE_ENTRY, nullptr));
    in.parameter = reinterpret_cast<Odll_ParameterFunc>(
        odll_FindIfPresent(in.handle, L"" ODLL_PARAMETER_ENTRY, nullptr));
    if (!in.create || !in.destroy) {
        odll_Close(in.handle, nullptr);
        in.handle = nullptr;
        SetError(err, fn, tk::kBadPlugin, nullptr, L"Invalid Create and Destroy Function Pointers");
        return false;
    }
    return true;
}

// Calls destroy and unloads; false with a report when destroy or the unload failed.
bool Release(tk::Instance &in, const wchar_t *fn, Oerr_ErrorReport **err) {
    Oerr_ErrorReport *inner = nullptr;
    bool ok = true;
    if (in.destroy(in.data, &inner) != 0) {
        SetError(err, fn, tk::kPluginFailed, inner, L"destroyFunc failed for %s",
                 in.instanceName.c_str());
        ok = false;
    } else {
        oerr_DeleteErrorReportEx(&inner);
    }
    if (odll_Close(in.handle, &inner) != 0) {
        if (ok)
            SetError(err, fn, tk::kLoadFailed, inner, L"DLL Close failed for %s",
                     in.library.c_str());
        else
            oerr_DeleteErrorReportEx(&inner);
        ok = false;
    }
    return ok;
}

void *Open(const wchar_t *className, const wchar_t *instanceName, const wchar_t *library,
           const wchar_t *fn, Oerr_ErrorReport **err) {
    tk::PluginState &s = tk::ThePlugins();
    std::wstring key = tk::InstanceKey(className, instanceName, library);
    {
        std::lock_guard<std::mutex> lock(s.mutex);
        auto it = s.instances.find(key);
        if (it != s.instances.end()) return it->second.data;
    }
    tk::Instance in;
    in.className = className;
    in.instanceName = instanceName;
    in.library = library;
    if (!LoadInstance(in, fn, err)) return nullptr;
    Oerr_ErrorReport *inner = nullptr;
    if (in.create(className, instanceName, &in.data, &inner) != 0) {
        odll_Close(in.handle, nullptr);
        SetError(err, fn, tk::kPluginFailed, inner, L"createFunc failed");
        return nullptr;
    }
    oerr_DeleteErrorReportEx(&inner);
    void *winner = nullptr;
    bool inserted = false;
    {
        std::lock_guard<std::mutex> lock(s.mutex);
        auto [it, fresh] = s.instances.emplace(key, in);
        inserted = fresh;
        winner = it->second.data;
    }
    // Another thread opened it meanwhile: keep theirs.
    if (!inserted) Release(in, fn, nullptr);
    return winner;
}

// Takes the matching entries out of the table (so that destroy runs without the lock).
std::vector<tk::Instance> TakeOut(const std::wstring &className, const std::wstring &instanceName,
                                  const wchar_t *library) {
    tk::PluginState &s = tk::ThePlugins();
    std::vector<tk::Instance> out;
    std::lock_guard<std::mutex> lock(s.mutex);
    for (auto it = s.instances.begin(); it != s.instances.end();) {
        const tk::Instance &in = it->second;
        if (in.className == className && in.instanceName == instanceName &&
            (!library || in.library == library)) {
            out.push_back(in);
            it = s.instances.erase(it);
        } else {
            ++it;
        }
    }
    return out;
}

std::vector<tk::Instance> OfClass(const std::wstring &className) {
    tk::PluginState &s = tk::ThePlugins();
    std::vector<tk::Instance> out;
    std::lock_guard<std::mutex> lock(s.mutex);
    for (const auto &[key, in] : s.instances)
        if (in.className == className) out.push_back(in);
    return out;
}

long Configure(const wchar_t *className, const Odll_Meter *meter, const wchar_t *fn,
               Oerr_ErrorReport **err) {
    if (Empty(className)) {
        SetError(err, fn, tk::kBadArgument, nullptr, L"Invalid class name");
        return -1;
    }
    std::vector<tk::Instance> list = OfClass(className);
    if (list.empty()) {
        tk::Warn(fn, tk::kListEmptied, nullptr, L"List of %s DLLs is now empty.", className);
        SetError(err, fn, tk::kNotFound, nullptr, L"No DLL instances");
        return -1;
    }
    Oerr_ErrorReport *inner = nullptr;
    if (meter && meter->setParameters &&
        meter->setParameters(meter->client, static_cast<long>(list.size()), &inner) != 0) {
        SetError(err, fn, tk::kMeterFailed, inner, L"Unable to set meter parameters!");
        return -1;
    }
    long configured = 0;
    bool failed = false;
    long done = 0;
    for (const auto &in : list) {
        if (meter && meter->setTaskName) {
            wchar_t *task = ostr_Sprintf(nullptr, 0, L"Configuring %s...", in.instanceName.c_str());
            long rc = task ? meter->setTaskName(meter->client, task, &inner) : -1;
            omsc_HeapFree(task);
            if (rc != 0) {
                if (!failed)
                    SetError(err, fn, tk::kMeterFailed, inner, L"Unable to set meter task name!");
                else
                    oerr_DeleteErrorReportEx(&inner);
                return -1;
            }
        }
        if (in.configure) {
            if (in.configure(in.data, &inner) != 0) {
                if (!failed)
                    SetError(err, fn, tk::kPluginFailed, inner,
                             L"DLL data retrieval failure for %s", in.instanceName.c_str());
                else
                    oerr_DeleteErrorReportEx(&inner);
                failed = true;
            } else {
                oerr_DeleteErrorReportEx(&inner);
                ++configured;
            }
        }
        if (meter && meter->step) meter->step(meter->client, ++done);
    }
    return failed ? -1 : configured;
}

} // namespace

extern "C" {

ORVIK_API void *odll_InstanceOpenByClassName(const wchar_t *className, const wchar_t *instanceName,
                                             const wchar_t *library, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT {
    if (err) *err = nullptr;
    const wchar_t *fn = L"odll_InstanceOpenByClassName";
    return Guarded<void *>(err, fn, nullptr, [&]() -> void * {
        if (Empty(className) || Empty(instanceName) || Empty(library)) {
            SetError(err, fn, tk::kBadArgument, nullptr, L"Invalid class, instance or library");
            return nullptr;
        }
        return Open(className, instanceName, library, fn, err);
    });
}

ORVIK_API void *odll_InstanceFind(const wchar_t *className, const wchar_t *instanceName,
                                  Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    if (err) *err = nullptr;
    const wchar_t *fn = L"odll_InstanceFind";
    return Guarded<void *>(err, fn, nullptr, [&]() -> void * {
        if (Empty(className) || Empty(instanceName)) {
            SetError(err, fn, tk::kBadArgument, nullptr, L"Invalid class or instance name");
            return nullptr;
        }
        {
            tk::PluginState &s = tk::ThePlugins();
            std::lock_guard<std::mutex> lock(s.mutex);
            for (const auto &[key, in] : s.instances)
                if (in.className == className && in.instanceName == instanceName) return in.data;
        }
        ostr_StringList *search = tk::ClassSearchList(className, fn, err);
        if (!search) return nullptr;
        Oerr_ErrorReport *inner = nullptr;
        std::wstring file = std::wstring(instanceName) + L".dll";
        // Only a plain file name is searched: a name with a folder part would escape the list.
        wchar_t *library = file.find_first_of(L"/\\") == std::wstring::npos
                               ? ofio_Which(search, file.c_str(), &inner)
                               : nullptr;
        ostr_StringListDelete(search, nullptr);
        if (!library) {
            SetError(err, fn, tk::kNotFound, inner, L"Could not find instance %s of class %s",
                     instanceName, className);
            return nullptr;
        }
        void *data = Open(className, instanceName, library, fn, err);
        omsc_HeapFree(library);
        return data;
    });
}

ORVIK_API Omsc_Boolean odll_InstanceIsOpen(const wchar_t *className, const wchar_t *instanceName)
    ORVIK_NOEXCEPT {
    try {
        if (Empty(className) || Empty(instanceName)) return OMSC_FALSE;
        tk::PluginState &s = tk::ThePlugins();
        std::lock_guard<std::mutex> lock(s.mutex);
        for (const auto &[key, in] : s.instances)
            if (in.className == className && in.instanceName == instanceName) return OMSC_TRUE;
    } catch (...) {
    }
    return OMSC_FALSE;
}

ORVIK_API long odll_InstanceClose(const wchar_t *className, const wchar_t *instanceName,
                                  const wchar_t *library, Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    if (err) *err = nullptr;
    const wchar_t *fn = L"odll_InstanceClose";
    return Guarded<long>(err, fn, -1, [&]() -> long {
        if (Empty(className) || Empty(instanceName)) {
            SetError(err, fn, tk::kBadArgument, nullptr, L"Invalid class or instance name");
            return -1;
        }
        std::vector<tk::Instance> gone = TakeOut(className, instanceName, library);
        if (gone.empty()) {
            SetError(err, fn, tk::kNotFound, nullptr, L"Could not find instance %s of class %s",
                     instanceName, className);
            return -1;
        }
        bool ok = true;
        for (auto &in : gone)
            if (!Release(in, fn, ok ? err : nullptr)) ok = false;
        return ok ? 0 : -1;
    });
}

ORVIK_API long odll_InstanceCloseAll(Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    if (err) *err = nullptr;
    const wchar_t *fn = L"odll_InstanceCloseAll";
    return Guarded<long>(err, fn, -1, [&]() -> long {
        std::vector<tk::Instance> gone;
        {
            tk::PluginState &s = tk::ThePlugins();
            std::lock_guard<std::mutex> lock(s.mutex);
            for (auto &[key, in] : s.instances) gone.push_back(in);
            s.instances.clear();
        }
        bool ok = true;
        // Close in the reverse of key order; no plug-in may rely on any order.
        for (auto it = gone.rbegin(); it != gone.rend(); ++it)
            if (!Release(*it, fn, ok ? err : nullptr)) ok = false;
        return ok ? 0 : -1;
    });
}

ORVIK_API ostr_StringList *odll_ClassInstancesGet(const wchar_t *className, Omsc_Boolean rebuild,
                                                  Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    if (err) *err = nullptr;
    const wchar_t *fn = L"odll_ClassInstancesGet";
    return Guarded<ostr_StringList *>(err, fn, nullptr, [&]() -> ostr_StringList * {
        if (Empty(className)) {
            SetError(err, fn, tk::kBadArgument, nullptr, L"Invalid class name");
            return nullptr;
        }
        std::vector<std::wstring> libs;
        Oerr_ErrorReport *inner = nullptr;
        if (!tk::ClassLibraries(className, rebuild != OMSC_FALSE, libs, &inner)) {
            SetError(err, fn, tk::kListFailed, inner, L"odll_ClassDllListGet failed");
            return nullptr;
        }
        for (const auto &lib : libs) {
            std::wstring name = tk::InstanceNameOf(lib);
            Open(className, name.c_str(), lib.c_str(), fn, &inner);
            if (inner)
                tk::Warn(fn, tk::kInstanceSkipped, inner, L"Unable to open DLL instance %s",
                         name.c_str());
            inner = nullptr;
        }
        std::vector<std::wstring> names;
        for (const auto &in : OfClass(className)) names.push_back(in.instanceName);
        if (names.empty()) {
            SetError(err, fn, tk::kNotFound, nullptr, L"No DLL instances");
            return nullptr;
        }
        std::sort(names.begin(), names.end());
        names.erase(std::unique(names.begin(), names.end()), names.end());
        ostr_StringList *list = ostr_StringListCreate(0, &inner);
        for (const auto &n : names) {
            if (!list) break;
            long before = list->count;
            list = ostr_StringListAppend(list, n.c_str(), &inner);
            if (inner || list->count != before + 1 || !list->strings[before]) {
                ostr_StringListDelete(list, nullptr);
                list = nullptr;
            }
        }
        if (!list) SetOutOfMemory(err, fn, inner, L"Insufficient memory");
        return list;
    });
}

ORVIK_API long odll_ClassInstancesConfig(const wchar_t *className, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT {
    if (err) *err = nullptr;
    const wchar_t *fn = L"odll_ClassInstancesConfig";
    return Guarded<long>(err, fn, -1, [&] { return Configure(className, nullptr, fn, err); });
}

ORVIK_API long odll_ClassInstancesConfigWithMeter(const wchar_t *className, const Odll_Meter *meter,
                                                  Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    if (err) *err = nullptr;
    const wchar_t *fn = L"odll_ClassInstancesConfigWithMeter";
    return Guarded<long>(err, fn, -1, [&] { return Configure(className, meter, fn, err); });
}

ORVIK_API wchar_t *odll_InstanceConfigParameterValueFind(const wchar_t *className,
                                                         const wchar_t *instanceName,
                                                         const wchar_t *parameter,
                                                         Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    if (err) *err = nullptr;
    const wchar_t *fn = L"odll_InstanceConfigParameterValueFind";
    return Guarded<wchar_t *>(err, fn, nullptr, [&]() -> wchar_t * {
        if (Empty(className) || Empty(instanceName) || Empty(parameter)) {
            SetError(err, fn, tk::kBadArgument, nullptr, L"Invalid class, instance or parameter");
            return nullptr;
        }
        tk::Instance found;
        bool have = false;
        {
            tk::PluginState &s = tk::ThePlugins();
            std::lock_guard<std::mutex> lock(s.mutex);
            for (const auto &[key, in] : s.instances)
                if (in.className == className && in.instanceName == instanceName) {
                    found = in;
                    have = true;
                    break;
                }
        }
        if (!have) {
            SetError(err, fn, tk::kNotFound, nullptr, L"Unable to open DLL instance %s",
                     instanceName);
            return nullptr;
        }
        if (!found.parameter) return nullptr;
        const wchar_t *value = found.parameter(found.data, parameter);
        return value ? ostr_StringCopy(value, err) : nullptr;
    });
}

} // extern "C"
