// Replays the seeds of the raster-layer fuzz targets through the target's own checks.
#include "fuzz/img_codec_target.hpp"
#include "fuzz/img_companion_target.hpp"
#include "fuzz/img_layer_target.hpp"
#include "tests/fuzz_replay.hpp"

TEST(ImgFuzzReplay, LayerSeedsPassTheTargetsChecks) {
    EXPECT_GE(ReplayCorpus("img_layer", img_layer_fuzz::RunOne), 6);
}

TEST(ImgFuzzReplay, CodecSeedsPassTheTargetsChecks) {
    EXPECT_GE(ReplayCorpus("img_codec", img_codec_fuzz::RunOne), 6);
}

// The harness reaches the blocks (a sound companion and index open the layer, read, write and
// delete it), and every seed passes the target's checks.
TEST(ImgFuzzReplay, CompanionSeedsPassTheTargetsChecks) {
    for (unsigned flags : {0u, img_companion_fuzz::kUpdate}) {
        const std::string sound = img_companion_fuzz::SoundInput(flags);
        EXPECT_EQ(orvik_fuzz::Replay(img_companion_fuzz::RunOne,
                                     reinterpret_cast<const uint8_t *>(sound.data()), sound.size()),
                  "");
    }
    EXPECT_GE(ReplayCorpus("img_companion", img_companion_fuzz::RunOne), 8);
}
