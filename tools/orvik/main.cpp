// orvik: list, check, compact, import, export and look at HFA files.
#include <cstdio>
#include <exception>

#include "common.hpp"

int main(int argc, char **argv) {
    using namespace orvik_tool;
    CLI::App app{"Lists, checks, compacts, imports, exports and looks at HFA files.", "orvik"};
    app.require_subcommand(1);
    app.set_version_flag("--version", "orvik 0.1.0");
    AddLs(app);
    AddDump(app);
    AddDict(app);
    AddFree(app);
    AddCheck(app);
    AddRepack(app);
    AddImport(app);
    AddExport(app);
    AddQuicklook(app);
    AddStats(app);
    AddPrefs(app);
    AddDemo(app);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError &e) {
        return app.exit(e) == 0 ? kOk : kFailed;
    } catch (const Failure &e) {
        std::fflush(stdout);
        std::fprintf(stderr, "orvik: %s\n", e.what());
        return e.Status();
    } catch (const std::exception &e) {
        std::fflush(stdout);
        std::fprintf(stderr, "orvik: %s\n", e.what());
        return kFailed;
    }
    return kOk;
}
