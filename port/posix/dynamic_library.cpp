// POSIX dynamic loading (see port/dynamic_library.hpp). dlerror is per thread, so the reason read
// right after a failing call belongs to that call.
#include "port/dynamic_library.hpp"

#include <dlfcn.h>
#include <unistd.h>

#include <vector>

namespace orvik::port {

namespace {
std::string LastReason() {
    const char *e = dlerror();
    return e ? e : "unknown reason";
}
} // namespace

void *LibraryLoad(const std::string &name, std::string &reason) {
    dlerror();
    // RTLD_LOCAL: plug-ins export the same entry names, so their symbols must not mix.
    void *m = dlopen(name.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (!m) reason = LastReason();
    return m;
}

void *LibraryProcessImage() {
    static void *self = dlopen(nullptr, RTLD_NOW);
    return self;
}

void *LibrarySymbol(void *module, const std::string &symbol) {
    if (!module) return nullptr;
    dlerror();
    return dlsym(module, symbol.c_str());
}

bool LibraryUnload(void *module, std::string &reason) {
    dlerror();
    if (dlclose(module) == 0) return true;
    reason = LastReason();
    return false;
}

bool LibraryIsLoaded(const std::string &path) {
    // RTLD_NOLOAD only looks the library up; the extra reference is given back at once.
    void *m = dlopen(path.c_str(), RTLD_NOW | RTLD_NOLOAD);
    if (!m) return false;
    dlclose(m);
    return true;
}

std::string LibraryOwnFile() {
    Dl_info info{};
    if (dladdr(reinterpret_cast<void *>(&LibraryOwnFile), &info) == 0 || !info.dli_fname) return {};
    return info.dli_fname;
}

std::string ExecutableFile() {
    std::vector<char> buf(4096);
    ssize_t n = readlink("/proc/self/exe", buf.data(), buf.size() - 1);
    if (n <= 0) return {};
    return std::string(buf.data(), static_cast<size_t>(n));
}

} // namespace orvik::port
