// libFuzzer target: the wide formatter against the C library (see format_target.hpp).
#include "fuzz/format_target.hpp"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    return orvik_fuzz::RunForFuzzer(format_fuzz::RunOne, data, size);
}
