// libFuzzer target: block decoders over arbitrary stored bytes (see img_codec_target.hpp).
#include "fuzz/img_codec_target.hpp"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    return orvik_fuzz::RunForFuzzer(img_codec_fuzz::RunOne, data, size);
}
