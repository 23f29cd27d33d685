// Single libraries: open, symbol lookup, close, resource libraries. The handle record is a
// library-heap block; the "orasteru.dll" handle stands for the process image, which is
// already loaded and never unloaded.
#include <orvik/odll.h>

#include <string>

#include "core/guard.hpp"
#include "toolkit/dynlib.hpp"
#include "toolkit/environment.hpp"
#include "toolkit/report.hpp"

using orvik::core::Guarded;
using orvik::core::SetError;
namespace tk = orvik::toolkit;

namespace {

// The library that is always loaded: asking for it (or for no name) gives the process image.
constexpr const wchar_t *kResidentLibrary = L"orasteru.dll";
// Longest symbol name odll_FindIfPresent converts, terminator excluded.
constexpr size_t kSymbolBufferBytes = 256;

std::wstring LocalPart(const std::wstring &name) {
    size_t slash = name.find_last_of(L"/\\");
    return slash == std::wstring::npos ? name : name.substr(slash + 1);
}

bool IsResident(const wchar_t *name) {
    return !name || !*name || ostr_Eqic(LocalPart(name).c_str(), kResidentLibrary);
}

OdllHandle NewHandle(void *module, const std::wstring &fileName, Oerr_ErrorReport **err,
                     const wchar_t *function) {
    auto *h = static_cast<_odll_Handle *>(omsc_HeapMalloc(sizeof(_odll_Handle)));
    wchar_t *copy = h ? ostr_StringCopy(fileName.c_str(), nullptr) : nullptr;
    if (!h || !copy) {
        omsc_HeapFree(h);
        orvik::core::SetOutOfMemory(err, function, nullptr, L"Insufficient memory");
        return nullptr;
    }
    h->module = module;
    h->fileName = copy;
    return h;
}

} // namespace

extern "C" {

ORVIK_API OdllHandle odll_Open(const wchar_t *name, Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    if (err) *err = nullptr;
    return Guarded<OdllHandle>(err, L"odll_Open", nullptr, [&]() -> OdllHandle {
        if (IsResident(name))
            return NewHandle(tk::LibraryProcessImage(), kResidentLibrary, err, L"odll_Open");
        std::string path;
        if (!tk::ToUtf8(name, path)) {
            SetError(err, L"odll_Open", tk::kLoadFailed, nullptr, L"Could not load DLL %s:\n%s",
                     name, L"name is not valid text");
            return nullptr;
        }
        // "\" is a directory separator inside the toolkit.
        for (char &c : path)
            if (c == '\\') c = '/';
        std::string reason;
        void *m = tk::LibraryLoad(path, reason);
        if (!m) {
            SetError(err, L"odll_Open", tk::kLoadFailed, nullptr, L"Could not load DLL %s:\n%S",
                     name, reason.c_str());
            return nullptr;
        }
        OdllHandle h = NewHandle(m, name, err, L"odll_Open");
        if (!h) tk::LibraryUnload(m, reason);
        return h;
    });
}

ORVIK_API void *odll_Find(OdllHandle handle, const char *symbol, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT {
    if (err) *err = nullptr;
    return Guarded<void *>(err, L"odll_Find", nullptr, [&]() -> void * {
        void *p = handle && symbol ? tk::LibrarySymbol(handle->module, symbol) : nullptr;
        if (!p)
            SetError(err, L"odll_Find", tk::kNoSymbol, nullptr, L"Cannot locate symbol %S",
                     symbol ? symbol : "<NULL>");
        return p;
    });
}

ORVIK_API void *odll_FindIfPresent(OdllHandle handle, const wchar_t *symbol, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT {
    if (err) *err = nullptr;
    return Guarded<void *>(err, L"odll_FindIfPresent", nullptr, [&]() -> void * {
        if (!handle || !symbol) return nullptr;
        std::string narrow;
        if (!tk::ToUtf8(symbol, narrow) || narrow.size() >= kSymbolBufferBytes) {
            SetError(err, L"odll_FindIfPresent", tk::kTooLong, nullptr,
                     L"Temp buffer size exceeded");
            return nullptr;
        }
        return tk::LibrarySymbol(handle->module, narrow);
    });
}

ORVIK_API long odll_Close(OdllHandle handle, Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    if (err) *err = nullptr;
    return Guarded<long>(err, L"odll_Close", -1, [&]() -> long {
        if (!handle) return 0;
        bool resident = handle->module == tk::LibraryProcessImage() || IsResident(handle->fileName);
        long rc = 0;
        std::string reason;
        if (!resident && handle->module && !tk::LibraryUnload(handle->module, reason)) {
            SetError(err, L"odll_Close", tk::kLoadFailed, nullptr, L"Could not unload DLL %s:\n%S",
                     handle->fileName, reason.c_str());
            rc = -1;
        }
        omsc_HeapFree(handle->fileName);
        omsc_HeapFree(handle);
        return rc;
    });
}

ORVIK_API void *odll_ReleaseWindowHandle(OdllHandle handle) ORVIK_NOEXCEPT {
    return handle ? handle->module : nullptr;
}

ORVIK_API long odll_OpenResourceLibrary(const wchar_t *moduleName, OdllHandle *handle,
                                        Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    if (err) *err = nullptr;
    return Guarded<long>(err, L"odll_OpenResourceLibrary", -1, [&]() -> long {
        if (handle) *handle = nullptr;
        std::wstring module = moduleName && *moduleName ? std::wstring(moduleName)
                                                        : tk::FromUtf8Lossy(tk::LibraryOwnFile());
        for (wchar_t &c : module)
            if (c == L'\\') c = L'/';
        if (!handle || module.empty()) {
            SetError(err, L"odll_OpenResourceLibrary", tk::kBadArgument, nullptr,
                     L"Could not load DLL");
            return -1;
        }
        size_t slash = module.rfind(L'/');
        std::wstring folder = slash == std::wstring::npos ? L"." : module.substr(0, slash);
        std::wstring base = slash == std::wstring::npos ? module : module.substr(slash + 1);
        size_t dot = base.find(L'.');
        if (dot != std::wstring::npos) base.erase(dot);
        std::wstring file = folder + L"/res/" + base + L"Res.dll";
        Oerr_ErrorReport *inner = nullptr;
        *handle = odll_Open(file.c_str(), &inner);
        if (!*handle) {
            SetError(err, L"odll_OpenResourceLibrary", tk::kLoadFailed, inner,
                     L"Could not load DLL");
            return -1;
        }
        return 0;
    });
}

} // extern "C"
