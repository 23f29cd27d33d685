// libFuzzer target: descriptor tables and layer records of arbitrary files (see
// dsc_table_target.hpp).
#include "fuzz/dsc_table_target.hpp"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    return orvik_fuzz::RunForFuzzer(dsc_table_fuzz::RunOne, data, size);
}
