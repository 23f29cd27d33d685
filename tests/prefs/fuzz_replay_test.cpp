// Replays the seeds of the two preference fuzz targets through the targets' own checks.
#include "fuzz/prefs_definitions_target.hpp"
#include "fuzz/prefs_file_target.hpp"
#include "tests/fuzz_replay.hpp"

TEST(FuzzReplay, DefinitionSeedsPassTheTargetsChecks) {
    EXPECT_GE(ReplayCorpus("prefs_definitions", prefs_definitions_fuzz::RunOne), 10);
}

TEST(FuzzReplay, PreferenceSeedsPassTheTargetsChecks) {
    EXPECT_GE(ReplayCorpus("prefs_file", prefs_file_fuzz::RunOne), 8);
}
