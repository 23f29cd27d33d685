// Replays the saved inputs of the HFA open fuzz target as ordinary tests: every seed must
// pass the target's own checks.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "fuzz/hfa_open.cpp"

TEST(HfaFuzzReplay, OpenSeedsPassTheTargetsChecks) {
    const std::filesystem::path dir = std::filesystem::path(ORVIK_SOURCE_DIR) / "fuzz/corpus/hfa_open";
    int files = 0;
    for (const auto &entry : std::filesystem::directory_iterator(dir)) {
        std::ifstream in(entry.path(), std::ios::binary);
        const std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
        SCOPED_TRACE(entry.path().filename().string());
        EXPECT_EQ(LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t *>(bytes.data()), bytes.size()), 0);
        ++files;
    }
    EXPECT_GE(files, 8);
}
