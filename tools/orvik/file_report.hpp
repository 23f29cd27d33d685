// The integrity check of an open file, split into problems and the leaked-byte count.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include <orvik/ohfa.h>

namespace orvik_tool {

struct CheckResult {
    std::vector<std::string> problems;
    int64_t leaked = 0; // bytes in no structure and not free
};

CheckResult CheckFile(Ohfa_File *file);

} // namespace orvik_tool
