// Replays the seeds of the descriptor-table fuzz target through the target's own checks.
#include "fuzz/dsc_table_target.hpp"
#include "tests/fuzz_replay.hpp"

TEST(DscFuzzReplay, TableSeedsPassTheTargetsChecks) {
    EXPECT_GE(ReplayCorpus("dsc_table", dsc_table_fuzz::RunOne), 3);
}
