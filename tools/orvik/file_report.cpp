#include "file_report.hpp"

#include <cwchar>

#include "common.hpp"

namespace orvik_tool {

CheckResult CheckFile(Ohfa_File *file) {
    Report err;
    ostr_StringList *lines = nullptr;
    if (ohfa_FileCheck(file, &lines, err) < 0) err.ThrowIfSet("Cannot check the file");
    CheckResult result;
    const std::size_t prefix = std::wcslen(OHFA_CHECK_LEAK_PREFIX);
    for (int32_t i = 0; lines && i < lines->count; ++i) {
        const wchar_t *line = lines->strings[i];
        if (std::wcsncmp(line, OHFA_CHECK_LEAK_PREFIX, prefix) == 0)
            result.leaked = std::wcstoll(line + prefix, nullptr, 10);
        else
            result.problems.push_back(Narrow(line));
    }
    ostr_StringListDelete(lines, nullptr);
    return result;
}

} // namespace orvik_tool
