// The commands as functions, for the demo, which runs them in sequence.
#pragma once

#include <string>

#include "storage_option.hpp"

namespace orvik_tool {

struct ImportOptions {
    std::string image, file, layer, imageName;
    bool noPyramids = false, noStats = false;
    StorageOption storage;
};

void RunImport(const ImportOptions &options);
void RunLs(const std::string &path, const std::string &node, bool recursive, bool longForm,
           bool json);
void RunDump(const std::string &path, const std::string &node);
void RunCheck(const std::string &path, bool repair, bool json);
void RunStats(const std::string &path, const std::string &node, bool compute, bool json);
void RunQuicklook(const std::string &path, const std::string &node, const std::string &out,
                  int size);

} // namespace orvik_tool
