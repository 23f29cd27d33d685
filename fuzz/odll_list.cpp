// libFuzzer target: library list files (see odll_list_target.hpp).
#include "fuzz/odll_list_target.hpp"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    return orvik_fuzz::RunForFuzzer(odll_list_fuzz::RunOne, data, size);
}
