// Replays the saved inputs of the two preference fuzz targets as ordinary tests: every seed
// must pass the target's own checks.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "fuzz/prefs_targets.hpp"

namespace {

int Replay(const char *corpus, int (*target)(const uint8_t *, size_t)) {
    const std::filesystem::path dir = std::filesystem::path(ORVIK_SOURCE_DIR) / "fuzz/corpus" / corpus;
    int files = 0;
    for (const auto &entry : std::filesystem::directory_iterator(dir)) {
        std::ifstream in(entry.path(), std::ios::binary);
        const std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
        SCOPED_TRACE(entry.path().filename().string());
        EXPECT_EQ(target(reinterpret_cast<const uint8_t *>(bytes.data()), bytes.size()), 0);
        ++files;
    }
    return files;
}

} // namespace

TEST(FuzzReplay, DefinitionSeedsPassTheTargetsChecks) {
    EXPECT_GE(Replay("prefs_definitions", prefs_fuzz::PrefsDefinitionsTarget), 10);
}

TEST(FuzzReplay, PreferenceSeedsPassTheTargetsChecks) {
    EXPECT_GE(Replay("prefs_file", prefs_fuzz::PrefsFileTarget), 8);
}
