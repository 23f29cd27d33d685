// Replays the saved inputs of the library-list fuzz target as ordinary tests.
#include "fuzz_replay.hpp"

#include "fuzz/odll_list_target.hpp"

TEST(FuzzReplay, ListFileSeedsPassTheTargetsChecks) {
    EXPECT_GE(ReplayCorpus("odll_list", odll_fuzz::ListFileTarget), 8);
}
