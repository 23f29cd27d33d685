// libFuzzer target: preference text on arbitrary bytes (see prefs_file_target.hpp).
#include "fuzz/prefs_file_target.hpp"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    return orvik_fuzz::RunForFuzzer(prefs_file_fuzz::RunOne, data, size);
}
