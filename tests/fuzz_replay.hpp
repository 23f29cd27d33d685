// Replays the seed corpus of a fuzz target as an ordinary test: every seed must pass the
// target's own checks, and a failed check fails the test naming the check and the seed.
#pragma once

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "fuzz/check.hpp"

// Calls `visit(file name, bytes)` for every file of fuzz/corpus/<name>/ and returns how many
// there were.
template <class Visit> int ForEachSeed(const char *name, Visit visit) {
    const std::filesystem::path dir =
        std::filesystem::path(ORVIK_SOURCE_DIR) / "fuzz/corpus" / name;
    int files = 0;
    for (const auto &entry : std::filesystem::directory_iterator(dir)) {
        std::ifstream in(entry.path(), std::ios::binary);
        const std::string bytes((std::istreambuf_iterator<char>(in)),
                                std::istreambuf_iterator<char>());
        const std::string file = entry.path().filename().string();
        SCOPED_TRACE(file);
        visit(file, bytes);
        ++files;
    }
    return files;
}

// Runs the target body on every seed of fuzz/corpus/<name>/; returns how many there were.
inline int ReplayCorpus(const char *name, orvik_fuzz::Body body) {
    return ForEachSeed(name, [body](const std::string &, const std::string &bytes) {
        EXPECT_EQ(
            orvik_fuzz::Replay(body, reinterpret_cast<const uint8_t *>(bytes.data()), bytes.size()),
            "");
    });
}
