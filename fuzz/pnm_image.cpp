// libFuzzer target: the PGM/PPM parser of the orvik tool (see pnm_image_target.hpp).
#include "fuzz/pnm_image_target.hpp"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    return orvik_fuzz::RunForFuzzer(pnm_image_fuzz::RunOne, data, size);
}
