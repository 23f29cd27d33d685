// Folder scans for wildcard patterns, and the string lists the file layer hands out.
#include <algorithm>
#include <cstdint>

#include <orvik/ofio.h>

#include "core/guard.hpp"
#include "fio/name_list.hpp"
#include "fio/path.hpp"
#include "fio/report.hpp"

using orvik::core::Guarded;
using namespace orvik::fio;

namespace orvik::fio {

ostr_StringList *ToStringList(const std::vector<std::wstring> &names, Oerr_ErrorReport **err,
                              const wchar_t *fn) {
    Oerr_ErrorReport *inner = nullptr;
    // Sized up front: the list's own growth is a fixed step, so appending long lists one by
    // one would copy the array over and over.
    const long n =
        names.size() > static_cast<size_t>(INT32_MAX) ? -1 : static_cast<long>(names.size());
    if (n < 0) {
        core::SetOutOfMemory(err, fn, nullptr);
        return nullptr;
    }
    ostr_StringList *list = ostr_StringListCreate(n, &inner);
    if (list) list->count = 0;
    for (const std::wstring &name : names) {
        if (!list) break;
        list = ostr_StringListAppend(list, name.c_str(), &inner);
        // Append keeps the list when it cannot grow and stores null for a failed copy.
        if (inner || list->count == 0 || !list->strings[list->count - 1]) {
            ostr_StringListDelete(list, nullptr);
            list = nullptr;
        }
    }
    if (!list)
        core::SetOutOfMemory(err, fn, inner);
    else
        oerr_DeleteErrorReportEx(&inner);
    return list;
}

std::wstring FolderName(const wchar_t *directory) {
    std::wstring folder = NormalizedName(directory);
    while (folder.size() > 1 && folder.back() == L'/') folder.pop_back();
    return folder;
}

bool ScanFolder(const std::wstring &directory, const wchar_t *pattern,
                std::vector<std::wstring> &out, bool *missing, Oerr_ErrorReport **err,
                const wchar_t *fn) {
    std::string path;
    if (!CheckedSystemPath(directory.c_str(), path, err, fn)) return false;
    std::vector<std::string> entries;
    os::Code code = os::ListDirectory(path, entries);
    if (code != 0) {
        if (missing && os::IsMissing(code)) {
            *missing = true;
            return true;
        }
        ReportSystemError(err, fn, code, L"Cannot scan folder", &directory);
        return false;
    }
    std::string prefix = path == "/" ? path : path + "/";
    std::wstring widePrefix = directory == L"/" ? directory : directory + L"/";
    std::vector<std::wstring> found;
    for (const std::string &entry : entries) {
        std::wstring name = FromSystemPath(entry);
        if (pattern && !ostr_WildcardMatch(pattern, name.c_str())) continue;
        os::EntryType type = os::EntryType::Missing;
        // An entry that vanished or cannot be examined is simply not a match.
        if (os::TypeOf(prefix + entry, type) != 0 || type != os::EntryType::File) continue;
        found.push_back(std::move(name));
    }
    std::sort(found.begin(), found.end());
    for (const std::wstring &name : found) out.push_back(widePrefix + name);
    return true;
}

} // namespace orvik::fio

extern "C" ORVIK_API ostr_StringList *ofio_DirScan(const wchar_t *directory, const wchar_t *pattern,
                                                   Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    const wchar_t *fn = L"ofio_DirScan";
    if (err) *err = nullptr;
    return Guarded<ostr_StringList *>(err, fn, nullptr, [&]() -> ostr_StringList * {
        std::vector<std::wstring> names;
        if (!ScanFolder(FolderName(directory), pattern, names, nullptr, err, fn)) return nullptr;
        return ToStringList(names, err, fn);
    });
}
