// Replays the seeds of the formatter and string-services fuzz targets through their checks.
#include "fuzz/format_target.hpp"
#include "fuzz/strings_target.hpp"
#include "tests/fuzz_replay.hpp"

TEST(FormatFuzzReplay, SeedsPassTheTargetsChecks) {
    EXPECT_GE(ReplayCorpus("format", format_fuzz::RunOne), 4);
}

TEST(StringsFuzzReplay, SeedsPassTheTargetsChecks) {
    EXPECT_GE(ReplayCorpus("strings", strings_fuzz::RunOne), 6);
}
