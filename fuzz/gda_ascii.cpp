// libFuzzer target: the BaseData ASCII reader and writer (see gda_ascii_target.hpp).
#include "fuzz/gda_ascii_target.hpp"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    return orvik_fuzz::RunForFuzzer(gda_ascii_fuzz::RunOne, data, size);
}
