// Replays the seeds of the raster-layer fuzz target through the target's own checks.
#include "fuzz/img_layer_target.hpp"
#include "tests/fuzz_replay.hpp"

TEST(ImgFuzzReplay, LayerSeedsPassTheTargetsChecks) {
    EXPECT_GE(ReplayCorpus("img_layer", img_layer_fuzz::RunOne), 6);
}
