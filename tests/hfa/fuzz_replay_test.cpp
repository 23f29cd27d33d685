// Replays the seeds of the HFA open fuzz target through the target's own checks.
#include "fuzz/hfa_open_target.hpp"
#include "tests/fuzz_replay.hpp"

TEST(HfaFuzzReplay, OpenSeedsPassTheTargetsChecks) {
    EXPECT_GE(ReplayCorpus("hfa_open", hfa_open_fuzz::RunOne), 8);
}
