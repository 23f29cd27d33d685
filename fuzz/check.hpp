// Checks of the fuzz targets. A failed check throws CheckFailed out of the target body: the
// libFuzzer entry turns it into an abort (a crash the fuzzer records with its input), and the
// replay tests under ctest turn it into an ordinary test failure naming the check.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace orvik_fuzz {

struct CheckFailed {
    const char *condition;
    const char *file;
    int line;
};

inline void Check(bool ok, const char *condition, const char *file, int line) {
    if (!ok) throw CheckFailed{condition, file, line};
}

using Body = int (*)(const uint8_t *data, std::size_t size);

// For the libFuzzer entry point.
inline int RunForFuzzer(Body body, const uint8_t *data, std::size_t size) {
    try {
        return body(data, size);
    } catch (const CheckFailed &f) {
        std::fprintf(stderr, "%s:%d: check failed: %s\n", f.file, f.line, f.condition);
        std::abort();
    }
}

// For the replay tests: empty when every check held, else the failed check.
inline std::string Replay(Body body, const uint8_t *data, std::size_t size) {
    try {
        body(data, size);
        return {};
    } catch (const CheckFailed &f) {
        return std::string(f.file) + ":" + std::to_string(f.line) + ": " + f.condition;
    }
}

} // namespace orvik_fuzz

#define FUZZ_CHECK(condition) ::orvik_fuzz::Check((condition), #condition, __FILE__, __LINE__)
