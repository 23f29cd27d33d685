// libFuzzer target: the MIF dictionary decoder (see mif_dictionary_target.hpp for the checks).
#include "fuzz/mif_dictionary_target.hpp"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    return orvik_fuzz::RunForFuzzer(mif_dictionary_fuzz::RunOne, data, size);
}
