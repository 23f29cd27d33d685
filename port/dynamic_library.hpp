// Internal: the system's dynamic loader behind one small interface (dlopen/dlsym on POSIX,
// LoadLibraryW/GetProcAddress on Windows).
// Names are UTF-8. Failures return null with the system's reason in `reason`.
#pragma once

#include <string>

namespace orvik::port {

// Loads a library: a name with "/" from that path, a bare name through the system loader's
// own folders. Null on failure.
void *LibraryLoad(const std::string &name, std::string &reason);
// The handle of the running process image (already loaded, never unloaded).
void *LibraryProcessImage();
// The address of `symbol`, or null when absent.
void *LibrarySymbol(void *module, const std::string &symbol);
// Releases one load of the library; false with a reason on failure.
bool LibraryUnload(void *module, std::string &reason);
// Whether the loader holds the library at `path` now (loads nothing).
bool LibraryIsLoaded(const std::string &path);
// The file this library (the toolkit core itself) was loaded from, or "".
std::string LibraryOwnFile();
// The running executable's file, or "".
std::string ExecutableFile();

} // namespace orvik::port
