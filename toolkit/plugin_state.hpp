// Internal: the plug-in module's process-wide state: the kept class lists and the instance
// table. One mutex guards both; it is never held while a plug-in entry point runs, because a
// plug-in may open or close other instances from inside its entry points.
#pragma once

#include <map>
#include <mutex>
#include <string>
#include <vector>

#include <orvik/odll.h>

namespace orvik::toolkit {

struct Instance {
    std::wstring className;
    std::wstring instanceName;
    std::wstring library;
    OdllHandle handle = nullptr;
    void *data = nullptr;
    Odll_CreateFunc create = nullptr;
    Odll_DestroyFunc destroy = nullptr;
    Odll_ConfigureFunc configure = nullptr;
    Odll_ParameterFunc parameter = nullptr;
};

struct PluginState {
    std::mutex mutex;
    std::map<std::wstring, std::vector<std::wstring>> classLists;
    // Keyed "<class>|<instance>|<library>"; ordered so that listings are stable.
    std::map<std::wstring, Instance> instances;
};

PluginState &ThePlugins();

std::wstring InstanceKey(const std::wstring &className, const std::wstring &instanceName,
                         const std::wstring &library);

// The class's search list without relative folders (each left out with a warning).
ostr_StringList *ClassSearchList(const wchar_t *className, const wchar_t *fn,
                                 Oerr_ErrorReport **err);

// The libraries of a class, built when absent or when `rebuild`; reports on *err.
bool ClassLibraries(const wchar_t *className, bool rebuild, std::vector<std::wstring> &out,
                    Oerr_ErrorReport **err);

// "RasterFormats.dll" -> "RasterFormats": the name without folder and extension.
std::wstring InstanceNameOf(const std::wstring &library);

} // namespace orvik::toolkit
