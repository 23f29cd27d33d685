// libFuzzer target: definition text on arbitrary bytes (checks in prefs_targets.hpp).
#include "fuzz/prefs_targets.hpp"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    return prefs_fuzz::PrefsDefinitionsTarget(data, size);
}
