// Test helpers that work the same on every host: unique temporary folders and files, and
// environment changes (through the library's own platform layer, so that UTF-8 text reaches
// a wide Windows environment unchanged).
#pragma once

#include <cstdlib>
#include <filesystem>
#include <optional>
#include <random>
#include <stdexcept>
#include <string>

#ifndef _WIN32
#include <unistd.h>
#endif

#include "core/utf8.hpp"
#include "port/environment.hpp"

namespace orvik_test {

// A new folder under the system's temporary folder, created exclusively (a name that exists
// already is never reused).
inline std::string MakeTempFolder(const std::string &prefix) {
    static std::mt19937_64 random{std::random_device{}()};
    const std::filesystem::path base = std::filesystem::temp_directory_path();
    for (int attempt = 0; attempt < 100; ++attempt) {
        const std::filesystem::path candidate =
            base / (prefix + std::to_string(random() % 1000000000000ULL));
        std::error_code ec;
        if (std::filesystem::create_directory(candidate, ec)) return candidate.generic_string();
    }
    throw std::runtime_error("cannot create a temporary folder");
}

// Copies `from` over `to`, replacing it. Not std::filesystem::copy_file with overwrite_existing:
// MinGW's libstdc++ tells files apart by inode numbers, which Windows leaves zero, so it takes
// any existing target for the source itself and refuses the copy.
inline void CopyFileOver(const std::filesystem::path &from, const std::filesystem::path &to) {
    std::filesystem::remove(to);
    std::filesystem::copy_file(from, to);
}

// Sets (value) or removes (null) a variable; false when the host cannot hold the value (text
// that is not UTF-8 has no wide form on Windows).
inline bool SetEnv(const char *name, const char *value) {
    std::wstring wideName, wideValue;
    if (!orvik::text::Utf8ToWide(name, wideName).ok) return false;
    if (!value) return orvik::port::UnsetEnvironment(wideName);
    if (!orvik::text::Utf8ToWide(value, wideValue).ok) return false;
    return orvik::port::SetEnvironment(wideName, wideValue);
}

// The variable's value as UTF-8, nothing when unset.
inline std::optional<std::string> GetEnv(const char *name) {
    std::wstring wideName, value;
    if (!orvik::text::Utf8ToWide(name, wideName).ok) return std::nullopt;
    if (orvik::port::LookupEnvironment(wideName, value) != orvik::port::EnvLookup::Set)
        return std::nullopt;
    return orvik::text::WideToUtf8Lossy(value);
}

// Sets a variable to a value that has no text form on this host: bytes that are not UTF-8 on
// POSIX, an unpaired surrogate in the wide environment of Windows.
inline void SetUnconvertibleEnv(const char *name, const char *validPart) {
#ifdef _WIN32
    std::wstring assignment = orvik::text::Utf8ToWideLossy(name) + L"=" +
                              orvik::text::Utf8ToWideLossy(validPart) + L"\xD800";
    _wputenv(assignment.c_str());
#else
    setenv(name, (std::string(validPart) + "\xff").c_str(), 1);
#endif
}

// Whether a folder without write permission keeps this process from writing into it: not for
// root, and not on Windows, where the read-only mode of a folder does not protect its entries.
inline bool FolderModesBind() {
#ifdef _WIN32
    return false;
#else
    return geteuid() != 0;
#endif
}

// Whether the host keeps a variable that is set to "" (Windows removes it instead).
inline bool KeepsEmptyVariables() {
    std::wstring value;
    const bool kept = SetEnv("ORVIK_TEST_EMPTY_PROBE", "") &&
                      orvik::port::LookupEnvironment(L"ORVIK_TEST_EMPTY_PROBE", value) ==
                          orvik::port::EnvLookup::Set;
    SetEnv("ORVIK_TEST_EMPTY_PROBE", nullptr);
    return kept;
}

} // namespace orvik_test
