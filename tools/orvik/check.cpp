// orvik check FILE [--repair]: the integrity check; exit status 1 when problems are found.
#include <cstdio>
#include <nlohmann/json.hpp>

#include "commands.hpp"
#include "common.hpp"
#include "file_report.hpp"

namespace orvik_tool {
namespace {

// Rebuilds the free list from what is reachable; prints what it reclaimed.
void Repair(const std::string &path, bool json) {
    HfaFile file(path, true);
    const CheckResult before = CheckFile(file.get());
    Report err;
    const long free = ohfa_FileFreeListRebuild(file.get(), err);
    if (free < 0) err.ThrowIfSet("Cannot repair " + path);
    const CheckResult after = CheckFile(file.get());
    file.Close();
    if (!json)
        std::printf("%s: free list rebuilt, %lld leaked bytes reclaimed, %ld bytes free\n",
                    path.c_str(), static_cast<long long>(before.leaked - after.leaked), free);
}

void Run(const std::string &path, bool repair, bool json) {
    if (repair) Repair(path, json);
    HfaFile file(path, false);
    const CheckResult result = CheckFile(file.get());
    if (json) {
        nlohmann::json out = {{"file", path},
                              {"sound", result.problems.empty()},
                              {"problems", result.problems},
                              {"leaked", result.leaked}};
        std::printf("%s\n", out.dump(2).c_str());
    } else {
        for (const std::string &p : result.problems) std::printf("%s\n", p.c_str());
        if (result.problems.empty())
            std::printf("%s: sound, %lld bytes leaked\n", path.c_str(),
                        static_cast<long long>(result.leaked));
    }
    if (!result.problems.empty())
        throw Failure(path + ": " + std::to_string(result.problems.size()) + " problems found",
                      kProblems);
}

} // namespace

void RunCheck(const std::string &path, bool repair, bool json) { Run(path, repair, json); }

void AddCheck(CLI::App &app) {
    auto *cmd = app.add_subcommand("check", "Check a file's integrity (exit status 1: problems)");
    struct Args {
        std::string file;
        bool repair = false;
        JsonFlag json;
    };
    auto args = std::make_shared<Args>();
    cmd->add_option("FILE", args->file, "HFA file")->required();
    cmd->add_flag("--repair", args->repair,
                  "Rebuild the free list from what is reachable (reclaims leaked space; "
                  "refused when anything else is damaged)");
    args->json.AddTo(cmd);
    cmd->callback([args] { Run(args->file, args->repair, args->json.on); });
}

} // namespace orvik_tool
