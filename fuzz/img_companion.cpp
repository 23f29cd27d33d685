// libFuzzer target: companion data files and 64-bit block indexes of an external layer (see
// img_companion_target.hpp).
#include "fuzz/img_companion_target.hpp"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    return orvik_fuzz::RunForFuzzer(img_companion_fuzz::RunOne, data, size);
}
