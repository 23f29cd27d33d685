// Replays the saved inputs of the dictionary fuzz target as ordinary tests: every seed must
// pass the target's own checks (accepted text round-trips, refused text is reported).
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "fuzz/mif_dictionary_target.hpp"

TEST(FuzzReplay, DictionarySeedsPassTheTargetsChecks) {
    const std::filesystem::path dir = std::filesystem::path(ORVIK_SOURCE_DIR) / "fuzz/corpus/mif_dictionary";
    int files = 0;
    for (const auto &entry : std::filesystem::directory_iterator(dir)) {
        std::ifstream in(entry.path(), std::ios::binary);
        const std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
        SCOPED_TRACE(entry.path().filename().string());
        EXPECT_EQ(orvik_fuzz::Replay(mif_dictionary_fuzz::RunOne,
                                     reinterpret_cast<const uint8_t *>(bytes.data()), bytes.size()),
                  "");
        ++files;
    }
    EXPECT_GE(files, 8);
}

// A failing check must become a test failure naming the check, not a crash of the binary.
TEST(FuzzReplay, AFailedCheckIsReportedNotAborted) {
    const orvik_fuzz::Body failing = [](const uint8_t *, std::size_t size) {
        FUZZ_CHECK(size == 0);
        return 0;
    };
    const uint8_t byte = 0;
    EXPECT_EQ(orvik_fuzz::Replay(failing, &byte, 0), "");
    const std::string failure = orvik_fuzz::Replay(failing, &byte, 1);
    EXPECT_TRUE(failure.ends_with(": size == 0")) << failure;
}
