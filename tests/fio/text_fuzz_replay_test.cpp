// Replays the seeds of the text-reader fuzz target through the target's own checks.
#include "fuzz/fio_text_target.hpp"
#include "tests/fuzz_replay.hpp"

TEST(FioTextFuzzReplay, SeedsPassTheTargetsChecks) {
    EXPECT_GE(ReplayCorpus("fio_text", fio_text_fuzz::RunOne), 6);
}
