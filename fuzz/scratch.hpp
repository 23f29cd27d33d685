// The folder for the files a fuzz target writes: made once per process, exclusively and with a
// random name, on the RAM-backed /dev/shm where there is one (else in the temporary folder),
// and removed at exit. Empty when no folder could be made.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <random>
#include <string>
#include <system_error>

namespace orvik_fuzz {

inline const std::string &ScratchFolder() {
    // Never destroyed, so that the clean-up at exit can still read it.
    static const std::string *folder = [] {
        std::error_code ec;
        std::filesystem::path base = "/dev/shm";
        if (!std::filesystem::is_directory(base, ec))
            base = std::filesystem::temp_directory_path(ec);
        std::mt19937_64 random{std::random_device{}()};
        auto *made = new std::string;
        for (int attempt = 0; attempt < 100 && made->empty(); ++attempt) {
            const std::filesystem::path candidate =
                base / ("orvik_fuzz_" + std::to_string(random() % 1000000000000ULL));
            if (std::filesystem::create_directory(candidate, ec))
                *made = candidate.generic_string();
        }
        std::atexit([] {
            std::error_code ignored;
            if (!ScratchFolder().empty()) std::filesystem::remove_all(ScratchFolder(), ignored);
        });
        return made;
    }();
    return *folder;
}

} // namespace orvik_fuzz
