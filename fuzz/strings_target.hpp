// The body of the string-services fuzz target, shared with the replay test. The bytes up to
// the first NUL are one text, the rest another; they go through UTF-8/wide conversion,
// environment expansion, wildcard and loose matching, quoting, file-name parts and node
// paths. Each call that fails leaves a report and each that succeeds leaves none; results
// that must agree with each other (round trips, canonical forms) are compared.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <string>

#include <orvik/oerr.h>
#include <orvik/ofnp.h>
#include <orvik/omsc.h>
#include <orvik/ostr.h>
#include <orvik/otxt.h>

#include "fuzz/check.hpp"
#include "port/environment.hpp"

namespace strings_fuzz {

// Frees a heap block when it goes.
template <class T> struct Owned {
    T *p = nullptr;
    Owned() = default;
    explicit Owned(T *q) : p(q) {}
    Owned(const Owned &) = delete;
    Owned &operator=(const Owned &) = delete;
    ~Owned() { omsc_HeapFree(p); }
};

// The result and the report agree; returns the result.
template <class T> T *Checked(T *result, Oerr_ErrorReport *&err) {
    FUZZ_CHECK((result != nullptr) == (err == nullptr));
    oerr_DeleteErrorReportEx(&err);
    return result;
}

// Wide text from bytes: UTF-8 where it decodes, otherwise one character per byte, so that
// every code unit (also lone surrogates from "\xed\xa0\x80" bytes mapped one by one) occurs.
inline std::wstring Wide(const std::string &bytes) {
    Oerr_ErrorReport *err = nullptr;
    Owned<wchar_t> w(Checked(otxt_Text_Ascii2Unicode(bytes.c_str(), &err), err));
    if (w.p) {
        // Whatever decodes encodes back to the same bytes.
        Owned<char> again(Checked(otxt_Text_Unicode2Ascii(w.p, &err), err));
        FUZZ_CHECK(again.p && bytes == again.p);
        return w.p;
    }
    std::wstring out;
    for (unsigned char c : bytes)
        out.push_back(c == 0xED ? static_cast<wchar_t>(0xD800) : static_cast<wchar_t>(c));
    Owned<char> narrow(Checked(otxt_Text_Unicode2Ascii(out.c_str(), &err), err));
    return out;
}

inline void FileNameParts(const wchar_t *name) {
    Oerr_ErrorReport *err = nullptr;
    for (auto part : {ostr_FileNameLocalPart, ostr_FileNameDirPart, ostr_FileNameExtension,
                      ostr_FileNameLayerPart}) {
        Owned<wchar_t> r(Checked(part(name, &err), err));
        FUZZ_CHECK(r.p != nullptr);
    }
}

inline void NodePaths(const wchar_t *a, const wchar_t *b) {
    Oerr_ErrorReport *err = nullptr;
    Owned<wchar_t> path(Checked(ofnp_NodePathGet(a, OFNP_PART_PATH, &err), err));
    Owned<wchar_t> parent(Checked(ofnp_NodePathGet(a, OFNP_PART_PARENT, &err), err));
    Owned<wchar_t> name(Checked(ofnp_NodePathGet(a, OFNP_PART_NAME, &err), err));
    FUZZ_CHECK(!ofnp_NodePathGet(a, static_cast<Ofnp_NodePathPart>(7), &err) && err);
    oerr_DeleteErrorReportEx(&err);
    ostr_StringList *names = ofnp_NodePathParse(a, &err);
    FUZZ_CHECK((names != nullptr) == (err == nullptr) && (names != nullptr) == (path.p != nullptr));
    oerr_DeleteErrorReportEx(&err);
    if (names) {
        // The canonical form is a fixed point and rebuilds from its names.
        Owned<wchar_t> rebuilt(Checked(ofnp_NodePathFromNames(names, &err), err));
        FUZZ_CHECK(rebuilt.p && std::wcscmp(rebuilt.p, path.p) == 0);
        Owned<wchar_t> again(Checked(ofnp_NodePathGet(path.p, OFNP_PART_PATH, &err), err));
        FUZZ_CHECK(again.p && std::wcscmp(again.p, path.p) == 0);
        FUZZ_CHECK(ofnp_NodePathIsRoot(a) == (names->count == 0));
        ostr_StringListDelete(names, nullptr);
    }
    Owned<wchar_t> joined(Checked(ofnp_NodePathJoin(a, b, &err), err));
    wchar_t *file = nullptr, *node = nullptr;
    const bool split = ofnp_FileNodePathSplit(a, &file, &node, &err) == OMSC_TRUE;
    FUZZ_CHECK(split == (err == nullptr) && split == (file != nullptr && node != nullptr));
    oerr_DeleteErrorReportEx(&err);
    if (split) {
        Owned<wchar_t> made(Checked(ofnp_FileNodePathMake(file, node, &err), err));
        FUZZ_CHECK(made.p != nullptr);
        wchar_t *file2 = nullptr, *node2 = nullptr;
        FUZZ_CHECK(ofnp_FileNodePathSplit(made.p, &file2, &node2, &err) == OMSC_TRUE && !err);
        FUZZ_CHECK(std::wcscmp(file, file2) == 0 && std::wcscmp(node, node2) == 0);
        omsc_HeapFree(file2);
        omsc_HeapFree(node2);
    }
    omsc_HeapFree(file);
    omsc_HeapFree(node);
}

inline int RunOne(const uint8_t *data, size_t size) {
    static const bool environment = [] {
        orvik::port::SetEnvironment(L"ORVIK_FZ_A", L"value");
        orvik::port::SetEnvironment(L"ORVIK_FZ_B", L"$ORVIK_FZ_A");
        // A value with no text form: bytes that are not UTF-8, or on Windows an unpaired
        // surrogate in the wide environment.
#ifdef _WIN32
        _wputenv(L"ORVIK_FZ_BAD=\xD800");
#else
        setenv("ORVIK_FZ_BAD", "\xff", 1);
#endif
        return true;
    }();
    (void)environment;
    const std::string all(reinterpret_cast<const char *>(data), size);
    const size_t nul = all.find('\0');
    const std::wstring a = Wide(all.substr(0, nul));
    const std::wstring b =
        Wide(nul == std::string::npos ? std::string()
                                      : all.substr(nul + 1, all.find('\0', nul + 1) - nul - 1));
    Oerr_ErrorReport *err = nullptr;

    Owned<wchar_t> evaluated(Checked(ostr_StringEvaluate(a.c_str(), &err), err));
    if (evaluated.p && a.find(L'$') == std::wstring::npos) FUZZ_CHECK(a == evaluated.p);

    const bool plain = a.find_first_of(L"*?") == std::wstring::npos;
    FUZZ_CHECK(!plain || ostr_WildcardMatch(a.c_str(), a.c_str()));
    FUZZ_CHECK(!plain || ostr_WildcardMatchLoose(a.c_str(), a.c_str()));
    FUZZ_CHECK(ostr_WildcardMatch(L"*", a.c_str()));
    (void)ostr_WildcardMatch(a.c_str(), b.c_str());
    if (ostr_WildcardMatch(a.c_str(), b.c_str()))
        FUZZ_CHECK(ostr_WildcardMatchLoose(a.c_str(), b.c_str()));
    FUZZ_CHECK(ostr_Eqic(a.c_str(), a.c_str()));
    FUZZ_CHECK(ostr_Eqic(a.c_str(), b.c_str()) == ostr_Eqic(b.c_str(), a.c_str()));

    for (Omsc_Boolean dbl : {OMSC_FALSE, OMSC_TRUE}) {
        Owned<wchar_t> quoted(Checked(ostr_QuoteString(a.c_str(), dbl, &err), err));
        FUZZ_CHECK((quoted.p == nullptr) == a.empty());
        if (quoted.p) FUZZ_CHECK(std::wcslen(quoted.p) >= a.size() + 2);
    }
    Owned<wchar_t> copy(Checked(ostr_StringQuotedCopy(a.c_str(), &err), err));
    FUZZ_CHECK(copy.p != nullptr);

    FileNameParts(a.c_str());
    NodePaths(a.c_str(), b.c_str());
    return 0;
}

} // namespace strings_fuzz
