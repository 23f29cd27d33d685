// Set-up shared by the raster benchmarks: scratch file names and one start of the toolkit.
#pragma once

#include <unistd.h>

#include <cstdlib>
#include <string>

#include <orvik/ohfa.h>
#include <orvik/oint.h>

namespace bench_raster {

inline std::string TempPath(const char *leaf) {
    const char *dir = std::getenv("TMPDIR");
    return std::string(dir && *dir ? dir : "/tmp") + "/" + leaf + "-" + std::to_string(getpid());
}

inline std::wstring Wide(const std::string &s) { return std::wstring(s.begin(), s.end()); }

inline bool Ready() {
    static const bool ready = oint_InitToolkit(nullptr) == 0 && ohfa_Init(nullptr) == 0;
    return ready;
}

} // namespace bench_raster
