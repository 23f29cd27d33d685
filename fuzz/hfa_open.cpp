// libFuzzer target: arbitrary bytes opened as an HFA file (see hfa_open_target.hpp).
#include "fuzz/hfa_open_target.hpp"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    return orvik_fuzz::RunForFuzzer(hfa_open_fuzz::RunOne, data, size);
}
