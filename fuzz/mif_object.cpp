// libFuzzer target: arbitrary bytes read as the file form of MIF records of designs that use
// every item type (see mif_object_target.hpp for the checks).
#include "fuzz/mif_object_target.hpp"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    return orvik_fuzz::RunForFuzzer(mif_object_fuzz::RunOne, data, size);
}
