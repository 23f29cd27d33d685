// Replays the seed corpus of a fuzz target as an ordinary test: every seed must pass the
// target's own checks.
#pragma once

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

// Runs `run` on every file of fuzz/corpus/<name>/ and returns how many there were.
template <class Run> int ReplayCorpus(const char *name, Run run) {
    const std::filesystem::path dir = std::filesystem::path(ORVIK_SOURCE_DIR) / "fuzz/corpus" / name;
    int files = 0;
    for (const auto &entry : std::filesystem::directory_iterator(dir)) {
        std::ifstream in(entry.path(), std::ios::binary);
        const std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
        SCOPED_TRACE(entry.path().filename().string());
        EXPECT_EQ(run(reinterpret_cast<const uint8_t *>(bytes.data()), bytes.size()), 0);
        ++files;
    }
    return files;
}
