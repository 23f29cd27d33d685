// Search lists: folders in search order made from text or an environment variable, finding
// one file along a list, and collecting every file that matches a pattern.
#include <cwctype>
#include <string>
#include <unordered_set>
#include <vector>

#include <orvik/ofio.h>

#include "core/guard.hpp"
#include "core/heap_text.hpp"
#include "fio/name_list.hpp"
#include "fio/path.hpp"
#include "fio/report.hpp"
#include "strings/environment.hpp"

using orvik::core::Guarded;
using orvik::core::SetError;
using namespace orvik::fio;

namespace {

constexpr wchar_t kSeparator = L';';

std::wstring Trimmed(const std::wstring &text) {
    std::size_t begin = 0, end = text.size();
    while (begin < end && std::iswspace(static_cast<wint_t>(text[begin]))) ++begin;
    while (end > begin && std::iswspace(static_cast<wint_t>(text[end - 1]))) --end;
    return text.substr(begin, end - begin);
}

bool SplitList(const wchar_t *text, std::vector<std::wstring> &folders, Oerr_ErrorReport **err,
               const wchar_t *fn) {
    if (!text) return true;
    Oerr_ErrorReport *inner = nullptr;
    wchar_t *expanded = ostr_StringEvaluate(text, &inner);
    if (!expanded) {
        SetError(err, fn, kBadText, inner, L"Cannot expand the search list \"%s\"", text);
        return false;
    }
    const std::wstring all = orvik::core::TakeHeapText(expanded);
    // Repeats are dropped through a hash set: lists from the environment can be long.
    std::unordered_set<std::wstring> seen(folders.begin(), folders.end());
    std::size_t start = 0;
    for (;;) {
        std::size_t stop = all.find(kSeparator, start);
        std::wstring element = Trimmed(all.substr(start, stop - start));
        if (!element.empty()) {
            std::wstring folder = FolderName(element.c_str());
            if (seen.insert(folder).second) folders.push_back(std::move(folder));
        }
        if (stop == std::wstring::npos) break;
        start = stop + 1;
    }
    return true;
}

bool IsAbsolute(const std::wstring &name) {
    return (!name.empty() && name[0] == L'/') ||
           (name.size() >= 2 && std::iswalpha(static_cast<wint_t>(name[0])) && name[1] == L':');
}

// Whether `name` exists as something other than a folder. Missing is false without report.
bool IsFoundFile(const std::wstring &name, bool &found, Oerr_ErrorReport **err, const wchar_t *fn) {
    std::string path;
    if (!CheckedSystemPath(name.c_str(), path, err, fn)) return false;
    os::EntryType type = os::EntryType::Missing;
    os::Code code = os::TypeOf(path, type);
    if (code != 0) {
        ReportSystemError(err, fn, code, L"Cannot examine", &name);
        return false;
    }
    found = type != os::EntryType::Missing && type != os::EntryType::Directory;
    return true;
}

} // namespace

extern "C" {

ORVIK_API ostr_StringList *ofio_SearchListCreateFromText(const wchar_t *text,
                                                         Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    const wchar_t *fn = L"ofio_SearchListCreateFromText";
    if (err) *err = nullptr;
    return Guarded<ostr_StringList *>(err, fn, nullptr, [&]() -> ostr_StringList * {
        std::vector<std::wstring> folders;
        if (!SplitList(text, folders, err, fn)) return nullptr;
        return ToStringList(folders, err, fn);
    });
}

ORVIK_API ostr_StringList *ofio_SearchListCreateFromEnv(const wchar_t *variable,
                                                        Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    const wchar_t *fn = L"ofio_SearchListCreateFromEnv";
    if (err) *err = nullptr;
    return Guarded<ostr_StringList *>(err, fn, nullptr, [&]() -> ostr_StringList * {
        if (!variable || !*variable) {
            SetError(err, fn, kBadArgument, nullptr, L"Missing environment variable name");
            return nullptr;
        }
        std::wstring value;
        switch (orvik::text::LookupEnvironment(variable, value)) {
        case orvik::text::EnvLookup::Unset:
            SetError(err, fn, kNotFound, nullptr, L"Environment variable %s is not set", variable);
            return nullptr;
        case orvik::text::EnvLookup::Unconvertible:
            SetError(err, fn, kBadText, nullptr,
                     L"Environment variable %s holds text that cannot be converted", variable);
            return nullptr;
        case orvik::text::EnvLookup::Set:
            break;
        }
        std::vector<std::wstring> folders;
        if (!SplitList(value.c_str(), folders, err, fn)) return nullptr;
        return ToStringList(folders, err, fn);
    });
}

ORVIK_API wchar_t *ofio_Which(const ostr_StringList *searchList, const wchar_t *name,
                              Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    const wchar_t *fn = L"ofio_Which";
    if (err) *err = nullptr;
    return Guarded<wchar_t *>(err, fn, nullptr, [&]() -> wchar_t * {
        if (!name || !*name) {
            SetError(err, fn, kBadArgument, nullptr, L"Missing file name");
            return nullptr;
        }
        std::wstring wanted = NormalizedName(name);
        std::vector<std::wstring> candidates;
        if (IsAbsolute(wanted)) {
            candidates.push_back(wanted);
        } else if (searchList) {
            for (int32_t i = 0; i < searchList->count; ++i) {
                const wchar_t *folder = searchList->strings[i];
                if (!folder || !*folder) continue;
                std::wstring f = FolderName(folder);
                candidates.push_back(f == L"/" ? f + wanted : f + L"/" + wanted);
            }
        }
        for (const std::wstring &candidate : candidates) {
            bool found = false;
            if (!IsFoundFile(candidate, found, err, fn)) return nullptr;
            if (!found) continue;
            wchar_t *result = ostr_StringCopy(candidate.c_str(), nullptr);
            if (!result) orvik::core::SetOutOfMemory(err, fn);
            return result;
        }
        SetError(err, fn, kNotFound, nullptr, L"File %s not found in the search list", name);
        return nullptr;
    });
}

ORVIK_API ostr_StringList *ofio_SearchListFilesFind(const ostr_StringList *searchList,
                                                    const wchar_t *pattern, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT {
    const wchar_t *fn = L"ofio_SearchListFilesFind";
    if (err) *err = nullptr;
    return Guarded<ostr_StringList *>(err, fn, nullptr, [&]() -> ostr_StringList * {
        std::vector<std::wstring> files;
        for (int32_t i = 0; searchList && i < searchList->count; ++i) {
            const wchar_t *folder = searchList->strings[i];
            if (!folder || !*folder) continue;
            bool missing = false;
            if (!ScanFolder(FolderName(folder), pattern, files, &missing, err, fn)) {
                return nullptr;
            }
        }
        return ToStringList(files, err, fn);
    });
}

} // extern "C"
