// The body of the text-reader fuzz target, shared with the replay test. The first byte
// chooses a line-buffer size, the rest is a file read with ofio_Fgets and ofio_Fgetc and
// taken as a search list (from text and from the environment). Lines must rebuild the file
// exactly when it is valid UTF-8; a failure always leaves a report, a success never; a
// search list holds no empty and no repeated folder.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cwchar>
#include <fstream>
#include <set>
#include <string>
#include <vector>

#include <orvik/oerr.h>
#include <orvik/ofio.h>
#include <orvik/omsc.h>
#include <orvik/ostr.h>
#include <orvik/otxt.h>

#include "fuzz/check.hpp"
#include "fuzz/scratch.hpp"
#include "port/environment.hpp"

namespace fio_text_fuzz {

inline std::string TempName() { return orvik_fuzz::ScratchFolder() + "/fio_text"; }

// The entries of a search list, or none; the list is freed.
inline std::vector<std::wstring> Folders(ostr_StringList *list, Oerr_ErrorReport *&err) {
    FUZZ_CHECK((list != nullptr) == (err == nullptr));
    oerr_DeleteErrorReportEx(&err);
    std::vector<std::wstring> out;
    for (int32_t i = 0; list && i < list->count; ++i) {
        FUZZ_CHECK(list->strings[i] && *list->strings[i]);
        out.emplace_back(list->strings[i]);
    }
    ostr_StringListDelete(list, nullptr);
    FUZZ_CHECK(std::set<std::wstring>(out.begin(), out.end()).size() == out.size());
    return out;
}

inline void ReadLines(const std::wstring &name, long count, const std::string &bytes) {
    Oerr_ErrorReport *err = nullptr;
    Ofio_File *f = ofio_FileOpen(name.c_str(), L"r", &err);
    FUZZ_CHECK(f && !err);
    std::vector<wchar_t> buffer(static_cast<size_t>(count));
    // With room for the end mark only nothing is read; null exactly at the end.
    FUZZ_CHECK((ofio_Fgets(buffer.data(), 1, f, &err) == nullptr) == bytes.empty() && !err);
    std::wstring text;
    bool failed = false;
    const bool hasNul = bytes.find('\0') != std::string::npos;
    for (;;) {
        wchar_t *line = ofio_Fgets(buffer.data(), count, f, &err);
        if (!line) {
            failed = err != nullptr;
            oerr_DeleteErrorReportEx(&err);
            break;
        }
        FUZZ_CHECK(!err);
        const size_t n = std::wcslen(line);
        FUZZ_CHECK(n < static_cast<size_t>(count));
        // A NUL character is stored as read, so only text without one is rebuilt.
        if (!hasNul) {
            FUZZ_CHECK(wmemchr(line, L'\n', n) == nullptr || line[n - 1] == L'\n');
            text.append(line, n);
        }
    }
    Oerr_ErrorReport *convert = nullptr;
    wchar_t *whole = !hasNul ? otxt_Text_Ascii2Unicode(bytes.c_str(), &convert) : nullptr;
    oerr_DeleteErrorReportEx(&convert);
    if (whole) {
        FUZZ_CHECK(!failed && text == whole); // valid text reads back whole
        omsc_HeapFree(whole);
    }
    FUZZ_CHECK(ofio_FileClose(f, &err) == 0);
    // Byte by byte the file comes back exactly.
    f = ofio_FileOpen(name.c_str(), L"r", &err);
    FUZZ_CHECK(f != nullptr);
    std::string again;
    for (int c; (c = ofio_Fgetc(f, &err)) != OFIO_EOF;) {
        FUZZ_CHECK(c >= 0 && c <= 255 && !err);
        again.push_back(static_cast<char>(c));
    }
    FUZZ_CHECK(!err && again == bytes);
    FUZZ_CHECK(ofio_FileClose(f, &err) == 0);
}

inline int RunOne(const uint8_t *data, size_t size) {
    if (size < 1) return 0;
    const long count = 2 + data[0] % 64;
    const std::string bytes(reinterpret_cast<const char *>(data + 1), size - 1);
    const std::string narrow = TempName();
    {
        std::ofstream out(narrow, std::ios::binary | std::ios::trunc);
        out << bytes;
    }
    const std::wstring name(narrow.begin(), narrow.end());
    ReadLines(name, count, bytes);
    std::remove(narrow.c_str());

    // The text as a search list, directly and through the environment.
    Oerr_ErrorReport *err = nullptr;
    wchar_t *wide = otxt_Text_Ascii2Unicode(bytes.c_str(), &err);
    oerr_DeleteErrorReportEx(&err);
    if (wide) {
        orvik::port::SetEnvironment(L"ORVIK_FZ_LIST", wide);
        const std::vector<std::wstring> direct =
            Folders(ofio_SearchListCreateFromText(wide, &err), err);
        const std::vector<std::wstring> viaEnv =
            Folders(ofio_SearchListCreateFromEnv(L"ORVIK_FZ_LIST", &err), err);
        FUZZ_CHECK(direct == viaEnv);
        omsc_HeapFree(wide);
    }
    return 0;
}

} // namespace fio_text_fuzz
