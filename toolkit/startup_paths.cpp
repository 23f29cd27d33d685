// The start-up table of environment variables. Every variable but GIO_ARCHM and PATH is only
// written when unset; a default made of several paths joins the ones that expanded with ";".
// Runs before the application starts threads (the environment is not synchronised).
#include "toolkit/startup_paths.hpp"

#include <orvik/ofio.h>
#include <orvik/ostr.h>

#include <functional>

#include "core/guard.hpp"
#include "port/environment.hpp"
#include "toolkit/dynlib.hpp"
#include "toolkit/environment.hpp"
#include "toolkit/report.hpp"

namespace orvik::toolkit {

namespace {

// Folders below the machine-wide data folder: the maker's, then the product's with its
// version, so that two installed versions keep separate data.
constexpr const wchar_t *kMakerFolder = L"orvik";
constexpr const wchar_t *kProductFolder = L"toolkit-0.1";

const wchar_t *const kFn = L"DefaultToolkitContextUtil::InitOrvikToolkitPaths";

bool IsNameChar(wchar_t c) {
    return (c >= L'A' && c <= L'Z') || (c >= L'a' && c <= L'z') || (c >= L'0' && c <= L'9') ||
           c == L'_' || c == L'{';
}

// How one variable gets its default: a list of path templates, or a computed value.
struct Entry {
    const wchar_t *name;
    std::vector<std::wstring> templates; // expanded one by one, joined with ";"
    std::function<std::optional<std::wstring>(const StartupArguments &)> compute;
    bool alwaysWrite = false;
};

std::optional<std::wstring> JoinExpanded(const wchar_t *variable,
                                         const std::vector<std::wstring> &templates) {
    std::wstring out;
    for (const auto &t : templates) {
        std::optional<std::wstring> e = ExpandSinglePath(variable, t);
        if (!e) continue;
        if (!out.empty()) out += L';';
        out += *e;
    }
    if (out.empty()) return std::nullopt;
    return out;
}

const std::vector<Entry> &Table() {
    static const std::vector<Entry> *table = new std::vector<Entry>{
        {L"GIO_HOME",
         {},
         [](const StartupArguments &a) -> std::optional<std::wstring> {
             if (a.home && !a.home->empty()) return a.home;
             std::wstring h = HomeFromExecutable(FromUtf8Lossy(ExecutableFile()));
             if (h.empty()) return std::nullopt;
             return h;
         }},
        {L"GIO_ARCH",
         {},
         [](const StartupArguments &a) -> std::optional<std::wstring> {
             return a.arch && !a.arch->empty() ? *a.arch : std::wstring(port::HostArchitecture());
         }},
        {L"GIO_ARCH_MODE",
         {},
         [](const StartupArguments &a) -> std::optional<std::wstring> {
             if (a.archMode && !a.archMode->empty()) return a.archMode;
             return std::nullopt;
         }},
        {L"GIO_ARCHM",
         {},
         [](const StartupArguments &) -> std::optional<std::wstring> {
             return ComposeArchm(GetEnv(L"GIO_ARCH").value_or(port::HostArchitecture()),
                                 GetEnv(L"GIO_ARCH_MODE").value_or(L""));
         },
         true},
        {L"ORVIK_BIN_PATH", {L"$GIO_HOME/bin/$GIO_ARCHM"}, nullptr},
        {L"GIO_ETC_PATH", {L"$GIO_HOME/etc"}, nullptr},
        {L"GIO_FONT_PATH", {L"$GIO_ETC_PATH/fonts"}, nullptr},
        {L"GIO_SYMBOL_PATH", {L"$GIO_ETC_PATH/symbols", L"$GIO_HOME/etc"}, nullptr},
        {L"GIO_RASTER_FORMATS_PATH", {L"$GIO_HOME/usr/lib/$GIO_ARCHM/RasterFormats"}, nullptr},
        {L"ORVIK_VECTOR_FORMATS_PATH", {L"$GIO_HOME/usr/lib/$GIO_ARCHM/VectorFormats"}, nullptr},
        {L"GIO_PDF_PATH", {L"$GIO_HOME/defaults/$GIO_ARCHM", L"$GIO_HOME/defaults"}, nullptr},
        {L"GIO_DEVICES_PATH", {L"$GIO_HOME/devices"}, nullptr},
        {L"GIO_PREFERENCES_PATH", {L"$GIO_HOME/defaults", L"$GIO_PERSONAL"}, nullptr},
        {L"GIO_CFG_PATH",
         {},
         [](const StartupArguments
                &) -> std::
                       optional<std::wstring> {
                           std::optional<std::wstring> head =
                               JoinExpanded(L"GIO_CFG_PATH", {L"$GIO_HOME/devices/$GIO_ARCHM",
                                                              L"$GIO_HOME/etc", L"$GIO_PERSONAL"});
                           std::wstring global = GlobalAppStore() + L"/devices/";
                           if (global.size() > kMaxSinglePathChars) {
                               Warn(kFn, kExpansionDropped, nullptr,
                                    L"Expansion of %s for %s exceeds %ld characters; left out",
                                    global.c_str(), L"GIO_CFG_PATH",
                                    static_cast<long>(kMaxSinglePathChars));
                               return head;
                           }
                           return head ? *head + L";" + global : global;
                       }},
        {L"GIO_GLOBAL_DATA",
         {},
         [](const StartupArguments &) -> std::optional<std::wstring> { return GlobalAppStore(); }},
        {L"GIO_GEOMETRIC_MODELS_PATH",
         {L"$GIO_PERSONAL/GeometricModels", L"$GIO_HOME/usr/lib/$GIO_ARCHM/GeometricModels"},
         nullptr},
        {L"GIO_RESAMPLE_METHODS_PATH",
         {L"$GIO_PERSONAL/ResampleMethods", L"$GIO_HOME/usr/lib/$GIO_ARCHM/ResampleMethods"},
         nullptr},
        {L"GIO_PROJECTIONS_PATH", {L"$GIO_HOME/etc", L"$GIO_HOME/bin/$GIO_ARCHM"}, nullptr},
        {L"GIO_FONT_SERVERS_PATH", {L"$GIO_HOME/usr/lib/$GIO_ARCHM/FontServers"}, nullptr},
        {L"GIO_FILE_FILTERS_PATH", {L"$GIO_HOME/usr/lib/$GIO_ARCHM/FileFilters"}, nullptr},
        {L"ARCHOME", {L"$GIO_HOME/archome/$GIO_ARCHM"}, nullptr},
        {L"PATH",
         {},
         [](const StartupArguments &) -> std::
                                          optional<std::wstring> {
                                              std::optional<std::wstring> bin =
                                                  ExpandSinglePath(L"PATH", L"$ARCHOME/bin");
                                              std::optional<std::wstring> path = GetEnv(L"PATH");
                                              if (!bin) return path;
                                              if (!path || path->empty()) return *bin;
                                              // Starting twice must not put the folder in front
                                              // twice.
                                              if (path->compare(0, bin->size() + 1,
                                                                *bin + HostPathSeparator()) == 0 ||
                                                  *path == *bin)
                                                  return path;
                                              return *bin + HostPathSeparator() + *path;
                                          },
         true},
    };
    return *table;
}

} // namespace

const std::vector<std::wstring> &StartupVariables() {
    static const std::vector<std::wstring> *names = [] {
        auto *v = new std::vector<std::wstring>;
        for (const auto &e : Table()) v->push_back(e.name);
        return v;
    }();
    return *names;
}

std::wstring ComposeArchm(const std::wstring &arch, const std::wstring &mode) {
    return mode.empty() ? arch : arch + L"-" + mode;
}

std::optional<std::wstring> ExpandSinglePath(const std::wstring &variable,
                                             const std::wstring &text) {
    wchar_t *e = ostr_StringEvaluate(text.c_str(), nullptr);
    if (!e) return std::nullopt;
    std::wstring out = e;
    omsc_HeapFree(e);
    // An unset reference is kept as written by the expansion: such a path means nothing.
    for (size_t i = out.find(L'$'); i != std::wstring::npos; i = out.find(L'$', i + 1))
        if (i + 1 < out.size() && IsNameChar(out[i + 1])) return std::nullopt;
    if (out.size() > kMaxSinglePathChars) {
        Warn(kFn, kExpansionDropped, nullptr,
             L"Expansion of %s for %s exceeds %ld characters; left out", text.c_str(),
             variable.c_str(), static_cast<long>(kMaxSinglePathChars));
        return std::nullopt;
    }
    return out;
}

std::wstring HomeFromExecutable(const std::wstring &executable) {
    std::wstring path = executable;
    for (wchar_t &c : path)
        if (c == L'\\') c = L'/';
    size_t slash = path.rfind(L'/');
    if (slash == std::wstring::npos) return {};
    std::wstring folder = slash == 0 ? L"/" : path.substr(0, slash);
    std::wstring probe = folder;
    for (int level = 0; level < 2; ++level) {
        size_t s = probe.rfind(L'/');
        if (s == std::wstring::npos) break;
        if (probe.compare(s + 1, std::wstring::npos, L"bin") == 0)
            return s == 0 ? L"/" : probe.substr(0, s);
        if (s == 0) break;
        probe.erase(s);
    }
    return folder;
}

std::wstring GlobalAppStore() {
    if (std::optional<std::wstring> set = GetEnv(L"GIO_GLOBAL_DATA"); set && !set->empty())
        return *set;
    return port::SharedDataFolder() + L"/" + kMakerFolder + L"/" + kProductFolder;
}

bool ToolkitInstalled() {
    std::optional<std::wstring> home = GetEnv(L"GIO_HOME");
    if (!home || home->empty()) return false;
    std::wstring etc = *home + L"/etc";
    Oerr_ErrorReport *e = nullptr;
    bool yes = ofio_IsDirectory(etc.c_str(), &e) != OMSC_FALSE;
    oerr_DeleteErrorReportEx(&e);
    return yes;
}

bool SettleStartupVariables(const StartupArguments &args, Oerr_ErrorReport **err) {
    for (const Entry &e : Table()) {
        if (!e.alwaysWrite && GetEnv(e.name)) continue;
        std::optional<std::wstring> value =
            e.compute ? e.compute(args) : JoinExpanded(e.name, e.templates);
        if (!value) continue;
        if (e.alwaysWrite && GetEnv(e.name) == value) continue;
        if (!PutEnv(e.name, *value)) {
            core::SetError(err, kFn, kEnvironment, nullptr, L"Could not set %s", e.name);
            return false;
        }
        if (args.verbose) Message(kFn, kPlainMessage, L"%s=%s", e.name, value->c_str());
    }
    return true;
}

} // namespace orvik::toolkit
