// orvik dump FILE [NODE]: the records below a node in the library's listing format.
#include <cstdio>

#include "commands.hpp"
#include "common.hpp"

namespace orvik_tool {

void RunDump(const std::string &path, const std::string &node) {
    HfaFile f(path, false);
    SeekNode(f.get(), node);
    Report err;
    std::fflush(stdout);
    if (ohfa_ListFile(f.get(), Wide(node).c_str(), stdout, err) != 0)
        err.ThrowIfSet("Cannot list " + node);
    std::fflush(stdout);
}

void AddDump(CLI::App &app) {
    auto *cmd = app.add_subcommand("dump", "Print the records of a node and the entries below it");
    auto file = std::make_shared<std::string>();
    auto node = std::make_shared<std::string>("/");
    cmd->add_option("FILE", *file, "HFA file")->required();
    cmd->add_option("NODE", *node, "Node path (default: the root)");
    cmd->callback([file, node] { RunDump(*file, *node); });
}

} // namespace orvik_tool
