// libFuzzer target: library list files (checks in odll_list_target.hpp).
#include "fuzz/odll_list_target.hpp"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    return odll_fuzz::ListFileTarget(data, size);
}
