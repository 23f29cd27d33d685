// orvik repack IN OUT: a compacting copy; prints the bytes saved.
#include <cstdio>
#include <filesystem>

#include "common.hpp"
#include "recode.hpp"
#include "storage_option.hpp"

namespace orvik_tool {
namespace {

// Entry-by-entry progress of the library's copy, drawn on the bar of the command.
void OnCopyProgress(void *context, long done, long total) {
    static_cast<Progress *>(context)->Update(static_cast<double>(done), static_cast<double>(total));
}

void Run(const std::string &in, const std::string &out, const StorageOption &option) {
    const Oimg_LayerStorage storage = option.Given() ? option.Storage() : Oimg_LayerStorage{};
    { HfaFile check(in, false); } // refuses a missing or foreign input with its own message
    std::error_code ec;
    if (std::filesystem::exists(out, ec) && std::filesystem::equivalent(in, out, ec))
        throw Failure("Cannot repack a file onto itself: " + out);
    const auto before = std::filesystem::file_size(in, ec);
    Progress progress("repack");
    ohfa_FileCopyProgressUpdate(OnCopyProgress, &progress);
    Report err;
    // With --compress the copy goes to a staging file first: there every layer is written
    // again with the new storage and its old blocks are freed, and a second compacting copy
    // gives that space back, so the result is as tight as a plain repack.
    const std::string staged = option.Given() ? out + ".recoding" : out;
    const long copied = ohfa_FileCopy(Wide(in).c_str(), Wide(staged).c_str(), err);
    ohfa_FileCopyProgressUpdate(nullptr, nullptr);
    if (copied < 0) err.ThrowIfSet("Cannot repack " + in);
    long recoded = 0;
    if (option.Given()) {
        struct Staging {
            std::string path;
            ~Staging() {
                std::error_code ignored;
                std::filesystem::remove(path, ignored);
            }
        } staging{staged};
        {
            HfaFile source(in, false);
            HfaFile target(staged, true);
            recoded = RecodeLayers(source.get(), target.get(), storage);
            target.Close();
        }
        if (ohfa_FileCopy(Wide(staged).c_str(), Wide(out).c_str(), err) < 0)
            err.ThrowIfSet("Cannot repack " + in);
    }
    const auto after = std::filesystem::file_size(out, ec);
    std::printf("%s: %ld entries, %llu -> %llu bytes, %lld bytes saved\n", out.c_str(), copied,
                static_cast<unsigned long long>(before), static_cast<unsigned long long>(after),
                static_cast<long long>(before) - static_cast<long long>(after));
    if (option.Given())
        std::printf("%s: %ld layer%s now %s\n", out.c_str(), recoded, recoded == 1 ? "" : "s",
                    StorageText(storage).c_str());
}

} // namespace

void AddRepack(CLI::App &app) {
    auto *cmd = app.add_subcommand(
        "repack", "Copy a file into a new, compact one (--compress: every layer with a new codec)");
    auto in = std::make_shared<std::string>();
    auto out = std::make_shared<std::string>();
    auto storage = std::make_shared<StorageOption>();
    cmd->add_option("IN", *in, "HFA file to read")->required();
    cmd->add_option("OUT", *out, "HFA file to write (replaced)")->required();
    storage->AddTo(cmd);
    cmd->callback([in, out, storage] { Run(*in, *out, *storage); });
}

} // namespace orvik_tool
