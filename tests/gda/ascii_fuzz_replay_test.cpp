// Replays the seeds of the BaseData ASCII fuzz target through the target's own checks.
#include "fuzz/gda_ascii_target.hpp"
#include "tests/fuzz_replay.hpp"

TEST(AsciiFuzzReplay, SeedsPassTheTargetsChecks) {
    EXPECT_GE(ReplayCorpus("gda_ascii", gda_ascii_fuzz::RunOne), 8);
}
