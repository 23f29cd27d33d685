// orvik check FILE [--repair]: the integrity check; exit status 1 when problems are found.
#include <cstdio>
#include <nlohmann/json.hpp>

#include "common.hpp"
#include "file_report.hpp"

namespace orvik_tool {
namespace {

void Run(const std::string &path, bool json) {
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

void AddCheck(CLI::App &app) {
    auto *cmd = app.add_subcommand("check", "Check a file's integrity (exit status 1: problems)");
    struct Args {
        std::string file;
        JsonFlag json;
    };
    auto args = std::make_shared<Args>();
    cmd->add_option("FILE", args->file, "HFA file")->required();
    args->json.AddTo(cmd);
    cmd->callback([args] { Run(args->file, args->json.on); });
}

} // namespace orvik_tool
