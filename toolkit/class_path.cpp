// Class path variables, the libraries of a search list ("*.dll" files and "*.dlk" list
// files) and the kept class lists.
#include <orvik/odll.h>
#include <orvik/ofio.h>

#include <algorithm>
#include <set>

#include "core/guard.hpp"
#include "toolkit/environment.hpp"
#include "toolkit/plugin_state.hpp"
#include "toolkit/report.hpp"

using orvik::core::Guarded;
using orvik::core::SetError;
namespace tk = orvik::toolkit;

namespace orvik::toolkit {

PluginState &ThePlugins() {
    static PluginState *state = new PluginState; // never destroyed: plug-ins may close at exit
    return *state;
}

std::wstring InstanceKey(const std::wstring &className, const std::wstring &instanceName,
                         const std::wstring &library) {
    return className + L"|" + instanceName + L"|" + library;
}

std::wstring InstanceNameOf(const std::wstring &library) {
    size_t slash = library.find_last_of(L"/\\");
    std::wstring base = slash == std::wstring::npos ? library : library.substr(slash + 1);
    size_t dot = base.rfind(L'.');
    if (dot != std::wstring::npos && dot > 0) base.erase(dot);
    return base;
}

namespace {

// Characters of a line in a list file that are trimmed.
bool IsBlank(wchar_t c) { return c == L' ' || c == L'\t' || c == L'\r' || c == L'\n'; }

std::wstring Trim(const std::wstring &s) {
    size_t b = 0, e = s.size();
    while (b < e && IsBlank(s[b])) ++b;
    while (e > b && IsBlank(s[e - 1])) --e;
    return s.substr(b, e - b);
}

bool IsAbsolute(const std::wstring &name) {
    return (!name.empty() && (name[0] == L'/' || name[0] == L'\\')) ||
           (name.size() > 1 && name[1] == L':');
}

std::wstring Expand(const std::wstring &text) {
    wchar_t *e = ostr_StringEvaluate(text.c_str(), nullptr);
    std::wstring out = e ? e : L"";
    omsc_HeapFree(e);
    return out;
}

// A relative name from a list file: the list's own folder first, then the two library
// folders of the installation. Empty when no folder holds it.
std::wstring ResolveListed(const std::wstring &listFile, const std::wstring &name) {
    if (IsAbsolute(name)) return name;
    size_t slash = listFile.find_last_of(L"/\\");
    std::vector<std::wstring> folders;
    if (slash != std::wstring::npos) folders.push_back(listFile.substr(0, slash));
    for (const wchar_t *t : {L"$GIO_HOME/usr/lib/$GIO_ARCHM", L"$GIO_HOME/bin/$GIO_ARCHM"}) {
        std::wstring f = Expand(t);
        if (f.find(L'$') == std::wstring::npos) folders.push_back(f);
    }
    for (const auto &f : folders) {
        std::wstring candidate = f + L"/" + name;
        Oerr_ErrorReport *e = nullptr;
        Omsc_Boolean exists = ofio_FileExists(candidate.c_str(), &e);
        oerr_DeleteErrorReportEx(&e);
        if (exists) return candidate;
    }
    return {};
}

// Appends the libraries named by one list file; false with a report on a read failure.
bool ReadListFile(const std::wstring &listFile, std::vector<std::wstring> &out,
                  Oerr_ErrorReport **err) {
    const wchar_t *fn = L"odll_SearchListGenerateAndIdentifyFiles";
    Oerr_ErrorReport *inner = nullptr;
    Ofio_File *f = ofio_FileOpen(listFile.c_str(), L"r", &inner);
    if (!f) {
        SetError(err, fn, kListFailed, inner, L"ofio_Fgets failed");
        return false;
    }
    std::wstring line;
    wchar_t buf[512];
    bool ok = true;
    for (;;) {
        wchar_t *got = ofio_Fgets(buf, 512, f, &inner);
        if (!got) {
            if (inner) {
                SetError(err, fn, kListFailed, inner, L"ofio_Fgets failed");
                ok = false;
            }
            break;
        }
        line += got;
        if (line.empty() || line.back() != L'\n') continue; // the rest of a long line follows
        std::wstring name = Trim(line);
        line.clear();
        if (name.empty()) continue;
        std::wstring resolved = ResolveListed(listFile, name);
        if (resolved.empty()) {
            Warn(fn, kListEntryDropped, nullptr, L"%s (listed in %s) not found", name.c_str(),
                 listFile.c_str());
            continue;
        }
        out.push_back(resolved);
    }
    if (ok && !Trim(line).empty()) { // last line without a newline
        std::wstring name = Trim(line);
        std::wstring resolved = ResolveListed(listFile, name);
        if (resolved.empty())
            Warn(fn, kListEntryDropped, nullptr, L"%s (listed in %s) not found", name.c_str(),
                 listFile.c_str());
        else
            out.push_back(resolved);
    }
    ofio_FileClose(f, nullptr);
    return ok;
}

bool CollectLibraries(const ostr_StringList *searchList, std::vector<std::wstring> &out,
                      Oerr_ErrorReport **err) {
    const wchar_t *fn = L"odll_SearchListGenerateAndIdentifyFiles";
    Oerr_ErrorReport *inner = nullptr;
    ostr_StringList *dlls = ofio_SearchListFilesFind(searchList, L"*.dll", &inner);
    if (!dlls) {
        SetError(err, fn, kListFailed, inner, L"ofio_SearchListFilesFind failed");
        return false;
    }
    for (long i = 0; i < dlls->count; ++i)
        if (dlls->strings[i]) out.push_back(dlls->strings[i]);
    ostr_StringListDelete(dlls, nullptr);
    ostr_StringList *links = ofio_SearchListFilesFind(searchList, L"*.dlk", &inner);
    if (!links) {
        SetError(err, fn, kListFailed, inner, L"ofio_SearchListFilesFind failed");
        return false;
    }
    bool ok = true;
    for (long i = 0; ok && i < links->count; ++i)
        if (links->strings[i]) ok = ReadListFile(links->strings[i], out, err);
    ostr_StringListDelete(links, nullptr);
    if (!ok) return false;
    // Keep the first of repeated names.
    std::set<std::wstring> seen;
    out.erase(std::remove_if(out.begin(), out.end(),
                             [&](const std::wstring &s) { return !seen.insert(s).second; }),
              out.end());
    return true;
}

ostr_StringList *ToList(const std::vector<std::wstring> &names, const wchar_t *fn,
                        Oerr_ErrorReport **err) {
    Oerr_ErrorReport *inner = nullptr;
    ostr_StringList *list = ostr_StringListCreate(0, &inner);
    if (!list) {
        SetError(err, fn, kListFailed, inner, L"ostr_StringListAppend failed");
        return nullptr;
    }
    for (const auto &n : names) {
        long before = list->count;
        list = ostr_StringListAppend(list, n.c_str(), &inner);
        if (inner || list->count != before + 1 || !list->strings[before]) {
            ostr_StringListDelete(list, nullptr);
            SetError(err, fn, kListFailed, inner, L"ostr_StringListAppend failed");
            return nullptr;
        }
    }
    return list;
}

} // namespace

ostr_StringList *ClassSearchList(const wchar_t *className, const wchar_t *fn,
                                 Oerr_ErrorReport **err) {
    Oerr_ErrorReport *inner = nullptr;
    wchar_t *path = odll_ClassPathGet(className, &inner);
    ostr_StringList *search = path ? ofio_SearchListCreateFromText(path, &inner) : nullptr;
    omsc_HeapFree(path);
    if (!search) {
        SetError(err, fn, kSearchList, inner, L"Could not create search list.");
        return nullptr;
    }
    // A relative folder would be looked up from the current directory: never implicitly.
    long kept = 0;
    for (long i = 0; i < search->count; ++i) {
        wchar_t *folder = search->strings[i];
        if (folder && !IsAbsolute(folder)) {
            Warn(fn, kListEntryDropped, nullptr, L"Relative folder %s in the path of %s ignored",
                 folder, className);
            omsc_HeapFree(folder);
            continue;
        }
        search->strings[kept++] = folder;
    }
    for (long i = kept; i < search->count; ++i) search->strings[i] = nullptr;
    search->count = kept;
    return search;
}

bool ClassLibraries(const wchar_t *className, bool rebuild, std::vector<std::wstring> &out,
                    Oerr_ErrorReport **err) {
    const wchar_t *fn = L"odll_ClassDllListGet";
    PluginState &s = ThePlugins();
    {
        std::lock_guard<std::mutex> lock(s.mutex);
        auto it = s.classLists.find(className);
        if (!rebuild && it != s.classLists.end()) {
            out = it->second;
            return true;
        }
    }
    Message(fn, kBuilding, L"Building new list of %s DLLs.", className);
    ostr_StringList *search = ClassSearchList(className, fn, err);
    if (!search) return false;
    Oerr_ErrorReport *inner = nullptr;
    std::vector<std::wstring> found;
    bool ok = CollectLibraries(search, found, &inner);
    ostr_StringListDelete(search, nullptr);
    if (!ok) {
        SetError(err, fn, kListFailed, inner, L"odll_SearchListGenerateAndIdentifyFiles failed");
        return false;
    }
    if (found.empty()) Warn(fn, kNoLibraries, nullptr, L"No %s DLLs found!", className);
    {
        std::lock_guard<std::mutex> lock(s.mutex);
        s.classLists[className] = found;
    }
    out = std::move(found);
    return true;
}

} // namespace orvik::toolkit

extern "C" {

ORVIK_API wchar_t *odll_ClassPathNameGet(const wchar_t *className, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT {
    if (err) *err = nullptr;
    return Guarded<wchar_t *>(err, L"odll_ClassPathNameGet", nullptr, [&]() -> wchar_t * {
        if (!className || !*className) {
            SetError(err, L"odll_ClassPathNameGet", tk::kBadArgument, nullptr,
                     L"Invalid class name");
            return nullptr;
        }
        std::wstring name = L"GIO";
        for (const wchar_t *p = className; *p; ++p) {
            // Only ASCII letters have a case here, so the name does not depend on the locale;
            // every other character counts as already upper case and gets its "_".
            wchar_t upper = (*p >= L'a' && *p <= L'z') ? static_cast<wchar_t>(*p - 32) : *p;
            if (upper == *p) name += L'_';
            name += upper;
        }
        name += L"_PATH";
        wchar_t *out = ostr_StringCopy(name.c_str(), err);
        return out;
    });
}

ORVIK_API wchar_t *odll_ClassPathGet(const wchar_t *className, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT {
    if (err) *err = nullptr;
    return Guarded<wchar_t *>(err, L"odll_ClassPathGet", nullptr, [&]() -> wchar_t * {
        Oerr_ErrorReport *inner = nullptr;
        wchar_t *var = odll_ClassPathNameGet(className, &inner);
        if (!var) {
            SetError(err, L"odll_ClassPathGet", tk::kBadArgument, inner,
                     L"odll_ClassPathNameGet failed");
            return nullptr;
        }
        std::optional<std::wstring> value = tk::GetEnv(var);
        omsc_HeapFree(var);
        std::wstring path =
            value ? *value : tk::Expand(std::wstring(L"$GIO_HOME/usr/lib/$GIO_ARCHM/") + className);
        return ostr_StringCopy(path.c_str(), err);
    });
}

ORVIK_API ostr_StringList *
odll_SearchListGenerateAndIdentifyFiles(const ostr_StringList *searchList, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT {
    if (err) *err = nullptr;
    const wchar_t *fn = L"odll_SearchListGenerateAndIdentifyFiles";
    return Guarded<ostr_StringList *>(err, fn, nullptr, [&]() -> ostr_StringList * {
        std::vector<std::wstring> found;
        if (!tk::CollectLibraries(searchList, found, err)) return nullptr;
        return tk::ToList(found, fn, err);
    });
}

ORVIK_API ostr_StringList *odll_ClassDllListGet(const wchar_t *className, Omsc_Boolean rebuild,
                                                Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    if (err) *err = nullptr;
    const wchar_t *fn = L"odll_ClassDllListGet";
    return Guarded<ostr_StringList *>(err, fn, nullptr, [&]() -> ostr_StringList * {
        if (!className || !*className) {
            SetError(err, fn, tk::kBadArgument, nullptr, L"Invalid class name");
            return nullptr;
        }
        std::vector<std::wstring> libs;
        if (!tk::ClassLibraries(className, rebuild != OMSC_FALSE, libs, err)) return nullptr;
        return tk::ToList(libs, fn, err);
    });
}

ORVIK_API void odll_ClassDllListsReset(void) ORVIK_NOEXCEPT {
    try {
        tk::PluginState &s = tk::ThePlugins();
        std::lock_guard<std::mutex> lock(s.mutex);
        s.classLists.clear();
    } catch (...) {
    }
}

} // extern "C"
