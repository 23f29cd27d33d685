// Replays the saved inputs of the dictionary fuzz target as ordinary tests: every seed must
// pass the target's own checks (accepted text round-trips, refused text is reported).
#include "fuzz/mif_dictionary_target.hpp"
#include "tests/fuzz_replay.hpp"

TEST(FuzzReplay, DictionarySeedsPassTheTargetsChecks) {
    EXPECT_GE(ReplayCorpus("mif_dictionary", mif_dictionary_fuzz::RunOne), 8);
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
