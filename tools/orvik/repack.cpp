// orvik repack IN OUT: a compacting copy; prints the bytes saved, companion files counted.
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include <orvik/oimg.h>

#include "common.hpp"
#include "recode.hpp"
#include "storage_option.hpp"

namespace orvik_tool {
namespace {

// Entry-by-entry progress of the library's copy, drawn on the bar of the command.
void OnCopyProgress(void *context, long done, long total) {
    static_cast<Progress *>(context)->Update(static_cast<double>(done), static_cast<double>(total));
}

// What a file takes on disk: the HFA file and the companion files its layers name (those
// present; a missing one takes nothing).
struct Footprint {
    unsigned long long bytes = 0;
    long companions = 0;
};

std::vector<std::string> CompanionFiles(const std::string &path) {
    HfaFile file(path, false);
    Report err;
    ostr_StringList *list = oimg_CompanionFileList(file.get(), err);
    if (!list) err.ThrowIfSet("Cannot list the companion files of " + path);
    std::vector<std::string> names;
    for (int32_t i = 0; list && i < list->count; ++i) names.push_back(Narrow(list->strings[i]));
    ostr_StringListDelete(list, nullptr);
    return names;
}

Footprint FootprintOf(const std::string &path) {
    Footprint f;
    std::error_code ec;
    f.bytes = std::filesystem::file_size(path, ec);
    for (const std::string &companion : CompanionFiles(path)) {
        const auto size = std::filesystem::file_size(companion, ec);
        if (ec) continue;
        f.bytes += size;
        ++f.companions;
    }
    return f;
}

// The staging file of --compress goes with its companion files, whatever happened.
struct Staging {
    std::string path;
    ~Staging() {
        std::error_code ignored;
        try {
            if (std::filesystem::exists(path, ignored))
                for (const std::string &companion : CompanionFiles(path))
                    std::filesystem::remove(companion, ignored);
        } catch (const std::exception &) { // a staging file that never opened has none
        }
        std::filesystem::remove(path, ignored);
    }
};

void Run(const std::string &in, const std::string &out, const StorageOption &option) {
    const Oimg_LayerStorage storage = option.Given() ? option.Storage() : Oimg_LayerStorage{};
    { HfaFile check(in, false); } // refuses a missing or foreign input with its own message
    std::error_code ec;
    if (std::filesystem::exists(out, ec) && std::filesystem::equivalent(in, out, ec))
        throw Failure("Cannot repack a file onto itself: " + out);
    const Footprint before = FootprintOf(in);
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
        Staging staging{staged};
        {
            HfaFile source(in, false);
            HfaFile target(staged, true);
            recoded = RecodeLayers(source.get(), target.get(), storage);
            target.Close();
        }
        if (ohfa_FileCopy(Wide(staged).c_str(), Wide(out).c_str(), err) < 0)
            err.ThrowIfSet("Cannot repack " + in);
    }
    const Footprint after = FootprintOf(out);
    std::printf("%s: %ld entries, %llu -> %llu bytes, %lld bytes saved", out.c_str(), copied,
                before.bytes, after.bytes,
                static_cast<long long>(before.bytes) - static_cast<long long>(after.bytes));
    if (before.companions > 0 || after.companions > 0)
        std::printf(" (companion files included: %ld -> %ld)", before.companions, after.companions);
    std::printf("\n");
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
