// libFuzzer target: raster layers of arbitrary bytes opened and read (see
// img_layer_target.hpp).
#include "fuzz/img_layer_target.hpp"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    return orvik_fuzz::RunForFuzzer(img_layer_fuzz::RunOne, data, size);
}
