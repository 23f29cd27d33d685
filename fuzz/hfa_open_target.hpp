// The body of the HFA open fuzz target, shared with the replay test: arbitrary bytes opened
// as an HFA file. Recognition must answer without an error; whatever opens read-only must
// also open for update, survive taking and returning space, a growing dictionary and the last
// close, and then open again with a sound free list (the writes of this library never turn an
// openable file into a broken one). The integrity check and the listing run over every file
// that opens; a file the check finds sound must still be sound after those writes, and a copy of
// any file that opens always yields a sound file. Leaks and memory errors are caught by the
// sanitizers.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include <orvik/ohfa.h>
#include <orvik/oint.h>

#include "fuzz/check.hpp"
#include "fuzz/scratch.hpp"
#include "hfa/file.hpp"

namespace hfa_open_fuzz {

// One scratch file per process (its folder is removed at exit).
inline const std::string &ScratchPath() {
    static const std::string path = [] {
        FUZZ_CHECK(!orvik_fuzz::ScratchFolder().empty());
        return orvik_fuzz::ScratchFolder() + "/input.hfa";
    }();
    return path;
}

inline void Delete(Oerr_ErrorReport *&err) { oerr_DeleteErrorReportEx(&err); }

// Runs the integrity check (which must always answer) and returns its problem count.
inline long Check(Ohfa_File *f) {
    Oerr_ErrorReport *err = nullptr;
    ostr_StringList *problems = nullptr;
    const long n = ohfa_FileCheck(f, &problems, &err);
    FUZZ_CHECK(n >= 0 && problems != nullptr && err == nullptr);
    ostr_StringListDelete(problems, nullptr);
    return n;
}

// Lists the whole file to the null device.
inline void List(Ohfa_File *f) {
    static FILE *sink = std::fopen("/dev/null", "w");
    FUZZ_CHECK(sink != nullptr);
    Oerr_ErrorReport *err = nullptr;
    ohfa_ListFile(f, nullptr, sink, &err);
    Delete(err);
}

// Visits the entry tree in preorder (bounded: a damaged tree may be endless) and reads the
// data of every entry it reaches in file form.
inline void WalkEntries(Ohfa_File *f) {
    Oerr_ErrorReport *err = nullptr;
    if (ohfa_EntrySeek(f, OHFA_SEEK_ROOT, nullptr, &err)) {
        for (int steps = 0; steps < 512; ++steps) {
            long count = 0;
            Ohfa_Entry e{};
            const long at = ohfa_EntryCurrentGet(f, &e, &err);
            Delete(err);
            if (at > 0) {
                void *data = ohfa_ObjectDataReadIfPresent(f, std::to_wstring(at).c_str(),
                                                          OHFA_SEEK_AT_FILE_POSITION, &count, &err);
                Delete(err);
                omsc_HeapFree(data);
            }
            if (ohfa_EntrySeek(f, OHFA_SEEK_CHILD, nullptr, &err)) continue;
            Delete(err);
            bool moved = false;
            while (!(moved = ohfa_EntrySeek(f, OHFA_SEEK_NEXT, nullptr, &err) != 0)) {
                Delete(err);
                if (!ohfa_EntrySeek(f, OHFA_SEEK_PARENT, nullptr, &err)) break;
            }
            Delete(err);
            if (!moved) break;
        }
    }
    Delete(err);
    ohfa_EntrySeek(f, OHFA_SEEK_DESCENDANT_NAMED, L"Statistics", &err);
    Delete(err);
    ohfa_EntrySeek(f, OHFA_SEEK_PATH, L"/Layer_1/Statistics", &err);
    Delete(err);
}

inline int RunOne(const uint8_t *data, std::size_t size) {
    static const bool ready = oint_InitToolkit(nullptr) == 0 && ohfa_Init(nullptr) == 0;
    FUZZ_CHECK(ready);
    const std::string &path = ScratchPath();
    {
        std::ofstream out(path, std::ios::binary | std::ios::trunc);
        out.write(reinterpret_cast<const char *>(data), static_cast<std::streamsize>(size));
    }
    const std::wstring name(path.begin(), path.end());
    Oerr_ErrorReport *err = nullptr;

    ohfa_IsHFAFile(name.c_str(), &err);
    FUZZ_CHECK(err == nullptr);

    Ohfa_File *f = ohfa_FileOpen(name.c_str(), L"r", 0, &err);
    if (!f) {
        FUZZ_CHECK(err != nullptr);
        Delete(err);
        return 0;
    }
    ohfa_FileFreeSpaceSize(f, &err);
    Delete(err);
    orvik::hfa::CheckFreeList(f);
    WalkEntries(f);
    const bool sound = Check(f) == 0;
    List(f);
    FUZZ_CHECK(ohfa_FileClose(f, &err) == 0);

    f = ohfa_FileOpen(name.c_str(), L"r+b", 0, &err);
    FUZZ_CHECK(f != nullptr);
    const uint32_t a = ohfa_NextFreePos(f, 24, &err);
    Delete(err);
    if (a != 0) {
        ohfa_FreeSpace(f, a, 24, &err);
        Delete(err);
    }
    ohfa_NextFreePos(f, 100, &err);
    Delete(err);
    Omif_Design *design = omif_DesignCreateX(L"Fuzz_Record", &err, OMIF_ITEM_DOUBLE, L"value", 3,
                                             OMIF_DIRECT, OMIF_ITEM_END);
    FUZZ_CHECK(design != nullptr);
    ohfa_FileDictionaryAddDesign(f, design, &err);
    Delete(err);
    omif_DesignDestroy(design, nullptr);
    ohfa_FileClose(f, &err);
    Delete(err);

    f = ohfa_FileOpen(name.c_str(), L"r", 0, &err);
    FUZZ_CHECK(f != nullptr);
    FUZZ_CHECK(orvik::hfa::CheckFreeList(f) == 0);
    FUZZ_CHECK(!sound || Check(f) == 0);
    FUZZ_CHECK(ohfa_FileClose(f, &err) == 0);

    // A copy reads what it can of a damaged file, reports the rest, and writes a sound file.
    const std::wstring copy = name + L".copy";
    const long copied = ohfa_FileCopy(name.c_str(), copy.c_str(), &err);
    FUZZ_CHECK(copied >= 0 ? err == nullptr : err != nullptr);
    Delete(err);
    f = ohfa_FileOpen(copy.c_str(), L"r", 0, &err);
    FUZZ_CHECK(f != nullptr);
    FUZZ_CHECK(orvik::hfa::CheckFreeList(f) == 0);
    FUZZ_CHECK(ohfa_FileClose(f, &err) == 0);
    return 0;
}

} // namespace hfa_open_fuzz
