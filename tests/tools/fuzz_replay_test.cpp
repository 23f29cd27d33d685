// Replays the seeds of the PGM/PPM fuzz target through the target's own checks.
#include "fuzz/pnm_image_target.hpp"
#include "tests/fuzz_replay.hpp"

TEST(PnmFuzzReplay, SeedsPassTheTargetsChecks) {
    EXPECT_GE(ReplayCorpus("pnm_image", pnm_image_fuzz::RunOne), 5);
}
