// libFuzzer target: definition text on arbitrary bytes (see prefs_definitions_target.hpp).
#include "fuzz/prefs_definitions_target.hpp"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    return orvik_fuzz::RunForFuzzer(prefs_definitions_fuzz::RunOne, data, size);
}
