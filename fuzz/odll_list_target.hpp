// The body of the library-list fuzz target, shared with the replay test: arbitrary bytes as a
// "*.dlk" list file in a folder that also holds one library file; the search must either fail
// with a report or list names that are non-empty, free of line ends, absolute and in order
// (the library file first).
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

#include <orvik/odll.h>
#include <orvik/ofio.h>

#include "fuzz/check.hpp"
#include "fuzz/scratch.hpp"

namespace odll_list_fuzz {

// The scratch folder, holding one (empty) library file the lists may name.
inline const std::string &Folder() {
    static const bool prepared = [] {
        const std::string &f = orvik_fuzz::ScratchFolder();
        if (f.empty()) return false;
        if (FILE *lib = std::fopen((f + "/a.dll").c_str(), "wb")) std::fclose(lib);
        return true;
    }();
    (void)prepared;
    return orvik_fuzz::ScratchFolder();
}

inline int RunOne(const uint8_t *data, std::size_t size) {
    const std::string folder = Folder();
    if (folder.empty()) return 0;
    const std::string list = folder + "/list.dlk";
    FILE *f = std::fopen(list.c_str(), "wb");
    if (!f) return 0;
    if (size) std::fwrite(data, 1, size, f);
    std::fclose(f);

    std::wstring wfolder(folder.begin(), folder.end());
    Oerr_ErrorReport *err = nullptr;
    ostr_StringList *search = ofio_SearchListCreateFromText(wfolder.c_str(), &err);
    FUZZ_CHECK(search != nullptr);
    ostr_StringList *libs = odll_SearchListGenerateAndIdentifyFiles(search, &err);
    ostr_StringListDelete(search, nullptr);
    if (!libs) {
        FUZZ_CHECK(err != nullptr); // a failure always carries a report
        oerr_DeleteErrorReportEx(&err);
        return 0;
    }
    FUZZ_CHECK(err == nullptr);
    FUZZ_CHECK(libs->count >= 1 && std::wstring(libs->strings[0]) == wfolder + L"/a.dll");
    for (long i = 0; i < libs->count; ++i) {
        const wchar_t *s = libs->strings[i];
        FUZZ_CHECK(s && *s);
        std::wstring name(s);
        FUZZ_CHECK(name.find(L'\n') == std::wstring::npos);
        FUZZ_CHECK(name[0] == L'/' || name[0] == L'\\' || (name.size() > 1 && name[1] == L':'));
        for (long j = 0; j < i; ++j) FUZZ_CHECK(name != libs->strings[j]); // repeats are left out
    }
    ostr_StringListDelete(libs, nullptr);
    return 0;
}

} // namespace odll_list_fuzz
