// libFuzzer target: the string services (see strings_target.hpp).
#include "fuzz/strings_target.hpp"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    return orvik_fuzz::RunForFuzzer(strings_fuzz::RunOne, data, size);
}
