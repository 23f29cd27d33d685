// Replays the seeds of the library-list fuzz target through the target's own checks.
#include "fuzz/odll_list_target.hpp"
#include "tests/fuzz_replay.hpp"

TEST(FuzzReplay, ListFileSeedsPassTheTargetsChecks) {
    EXPECT_GE(ReplayCorpus("odll_list", odll_list_fuzz::RunOne), 8);
}
