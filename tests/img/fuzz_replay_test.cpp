// Replays the seeds of the raster-layer fuzz targets through the target's own checks.
#include "fuzz/img_codec_target.hpp"
#include "fuzz/img_layer_target.hpp"
#include "tests/fuzz_replay.hpp"

TEST(ImgFuzzReplay, LayerSeedsPassTheTargetsChecks) {
    EXPECT_GE(ReplayCorpus("img_layer", img_layer_fuzz::RunOne), 6);
}

TEST(ImgFuzzReplay, CodecSeedsPassTheTargetsChecks) {
    EXPECT_GE(ReplayCorpus("img_codec", img_codec_fuzz::RunOne), 6);
}
