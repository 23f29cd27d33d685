// libFuzzer target: the text reader and search lists (see fio_text_target.hpp).
#include "fuzz/fio_text_target.hpp"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    return orvik_fuzz::RunForFuzzer(fio_text_fuzz::RunOne, data, size);
}
