// Win32 dynamic loading (see port/dynamic_library.hpp): LoadLibraryExW inside the library's
// own activation context when it carries a manifest, GetProcAddress for entries.
#include "port/dynamic_library.hpp"

#include <cstdint>
#include <vector>

#include "port/win32/win32_text.hpp"

// After <windows.h>, which it needs.
#include <psapi.h>

namespace orvik::port {

namespace {

// Resource number of the manifest a DLL carries for its own dependencies.
constexpr WORD kLibraryManifest = 2;

// Activates the manifest embedded in `file` (if any) for the lifetime of the object, so that
// the side-by-side assemblies the plug-in names resolve when it and its dependencies load.
class ActivationScope {
  public:
    explicit ActivationScope(const std::wstring &file) {
        ACTCTXW request{};
        request.cbSize = sizeof request;
        request.dwFlags = ACTCTX_FLAG_RESOURCE_NAME_VALID;
        request.lpSource = file.c_str();
        request.lpResourceName = MAKEINTRESOURCEW(kLibraryManifest);
        m_context = CreateActCtxW(&request);
        if (m_context != INVALID_HANDLE_VALUE && !ActivateActCtx(m_context, &m_cookie)) {
            ReleaseActCtx(m_context);
            m_context = INVALID_HANDLE_VALUE;
        }
    }
    ~ActivationScope() {
        if (m_context == INVALID_HANDLE_VALUE) return;
        DeactivateActCtx(0, m_cookie);
        ReleaseActCtx(m_context);
    }
    ActivationScope(const ActivationScope &) = delete;
    ActivationScope &operator=(const ActivationScope &) = delete;

  private:
    HANDLE m_context = INVALID_HANDLE_VALUE;
    ULONG_PTR m_cookie = 0;
};

std::string ModuleFile(HMODULE module) {
    std::wstring name(MAX_PATH, L'\0');
    for (;;) {
        const DWORD n = GetModuleFileNameW(module, name.data(), static_cast<DWORD>(name.size()));
        if (n == 0) return {};
        if (n < name.size()) {
            name.resize(n);
            return win32::NarrowPath(name);
        }
        name.resize(name.size() * 2);
    }
}

} // namespace

void *LibraryLoad(const std::string &name, std::string &reason) {
    std::wstring wide;
    if (!win32::WidePath(name, wide)) {
        reason = "the name is not valid UTF-8";
        return nullptr;
    }
    // No error dialog for a missing dependency: the caller reports the failure.
    DWORD oldMode = 0;
    SetThreadErrorMode(SEM_FAILCRITICALERRORS | SEM_NOOPENFILEERRORBOX, &oldMode);
    const bool hasFolder = wide.find(L'\\') != std::wstring::npos;
    HMODULE module = nullptr;
    DWORD code = 0;
    if (hasFolder) {
        ActivationScope scope(wide);
        // The plug-in's own folder is searched first for its dependencies.
        module = LoadLibraryExW(wide.c_str(), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH);
        code = GetLastError();
    } else {
        module = LoadLibraryW(wide.c_str());
        code = GetLastError();
    }
    SetThreadErrorMode(oldMode, nullptr);
    if (!module) reason = win32::ErrorText(code);
    return module;
}

void *LibraryProcessImage() { return GetModuleHandleW(nullptr); }

namespace {
void *Entry(HMODULE module, const std::string &symbol) {
    FARPROC entry = GetProcAddress(module, symbol.c_str());
    return reinterpret_cast<void *>(reinterpret_cast<std::uintptr_t>(entry));
}
} // namespace

// The process image stands for the program and every library loaded with it (as a POSIX
// loader's global scope does), so its entries are looked up in each module in load order.
void *LibrarySymbol(void *module, const std::string &symbol) {
    if (!module) return nullptr;
    if (void *entry = Entry(static_cast<HMODULE>(module), symbol)) return entry;
    if (module != LibraryProcessImage()) return nullptr;
    std::vector<HMODULE> modules(256);
    DWORD bytes = 0;
    for (;;) {
        const auto capacity = static_cast<DWORD>(modules.size() * sizeof(HMODULE));
        if (!K32EnumProcessModules(GetCurrentProcess(), modules.data(), capacity, &bytes))
            return nullptr;
        if (bytes <= capacity) break;
        modules.resize(bytes / sizeof(HMODULE));
    }
    modules.resize(bytes / sizeof(HMODULE));
    for (HMODULE m : modules) {
        if (void *entry = Entry(m, symbol)) return entry;
    }
    return nullptr;
}

bool LibraryUnload(void *module, std::string &reason) {
    if (FreeLibrary(static_cast<HMODULE>(module))) return true;
    reason = win32::ErrorText(GetLastError());
    return false;
}

bool LibraryIsLoaded(const std::string &path) {
    std::wstring wide;
    return win32::WidePath(path, wide) && GetModuleHandleW(wide.c_str()) != nullptr;
}

std::string LibraryOwnFile() {
    HMODULE self = nullptr;
    if (!GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS |
                                GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                            reinterpret_cast<LPCWSTR>(&LibraryOwnFile), &self)) {
        return {};
    }
    return ModuleFile(self);
}

std::string ExecutableFile() { return ModuleFile(nullptr); }

} // namespace orvik::port
