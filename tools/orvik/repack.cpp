// orvik repack IN OUT: a compacting copy; prints the bytes saved.
#include <cstdio>
#include <filesystem>

#include "common.hpp"

namespace orvik_tool {
namespace {

// Entry-by-entry progress of the library's copy, drawn on the bar of the command.
void OnCopyProgress(void *context, long done, long total) {
    static_cast<Progress *>(context)->Update(static_cast<double>(done), static_cast<double>(total));
}

void Run(const std::string &in, const std::string &out) {
    { HfaFile check(in, false); } // refuses a missing or foreign input with its own message
    std::error_code ec;
    if (std::filesystem::exists(out, ec) && std::filesystem::equivalent(in, out, ec))
        throw Failure("Cannot repack a file onto itself: " + out);
    const auto before = std::filesystem::file_size(in, ec);
    Progress progress("repack");
    ohfa_FileCopyProgressUpdate(OnCopyProgress, &progress);
    Report err;
    const long copied = ohfa_FileCopy(Wide(in).c_str(), Wide(out).c_str(), err);
    ohfa_FileCopyProgressUpdate(nullptr, nullptr);
    if (copied < 0) err.ThrowIfSet("Cannot repack " + in);
    const auto after = std::filesystem::file_size(out, ec);
    std::printf("%s: %ld entries, %llu -> %llu bytes, %lld bytes saved\n", out.c_str(), copied,
                static_cast<unsigned long long>(before), static_cast<unsigned long long>(after),
                static_cast<long long>(before) - static_cast<long long>(after));
}

} // namespace

void AddRepack(CLI::App &app) {
    auto *cmd = app.add_subcommand("repack", "Copy a file into a new, compact one");
    auto in = std::make_shared<std::string>();
    auto out = std::make_shared<std::string>();
    cmd->add_option("IN", *in, "HFA file to read")->required();
    cmd->add_option("OUT", *out, "HFA file to write (replaced)")->required();
    cmd->callback([in, out] { Run(*in, *out); });
}

} // namespace orvik_tool
