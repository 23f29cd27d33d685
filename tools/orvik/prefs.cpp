// orvik prefs [CATEGORY]: the preference database as loaded (definition files along
// GIO_PDF_PATH, preference files along GIO_PREFERENCES_PATH).
#include <cstdio>

#include <orvik/opmg.h>

#include "common.hpp"

namespace orvik_tool {
namespace {

std::string ValueText(const Opmg_Preference &v) {
    switch (v.type) {
    case OPMG_NUMBER: {
        char buf[64];
        std::snprintf(buf, sizeof buf, "%.10g", v.number);
        return buf;
    }
    case OPMG_COLOR:
        return std::to_string(v.color.red) + " " + std::to_string(v.color.green) + " " +
               std::to_string(v.color.blue) + " " + std::to_string(v.color.alpha);
    default:
        return "\"" + Narrow(v.string) + "\"";
    }
}

void Run(const std::string &pattern) {
    StartLibrary();
    Report err;
    if (opmg_Init(err) != 0) err.ThrowIfSet("Cannot load the preferences");
    Opmg_Category *all = opmg_GetCategoryList(err);
    err.ThrowIfSet("Cannot list the preferences");
    Opmg_Category *list = all;
    if (!pattern.empty() && all) {
        list = opmg_FilterCategoryList(all, Wide(pattern).c_str(), err);
        opmg_FreeCategoryList(all);
        err.ThrowIfSet("Cannot list the preferences");
    }
    if (!list) {
        opmg_Close(nullptr);
        throw Failure(pattern.empty() ? "No preferences are defined (GIO_PDF_PATH names no "
                                        "definition files)"
                                      : "No preference category matches " + pattern);
    }
    for (const Opmg_Category *c = list; c; c = c->next) {
        std::printf("[%s]\n", Narrow(c->name).c_str());
        for (const Opmg_Parameter *p = c->parameters; p; p = p->next)
            std::printf("  %s = %s%s\n", Narrow(p->name).c_str(), ValueText(p->value).c_str(),
                        p->stored ? "  (set)" : "");
    }
    opmg_FreeCategoryList(list);
    opmg_Close(nullptr);
}

} // namespace

void AddPrefs(CLI::App &app) {
    auto *cmd = app.add_subcommand("prefs", "Print the preference database as loaded");
    auto pattern = std::make_shared<std::string>();
    cmd->add_option("CATEGORY", *pattern, "Category name or wildcard pattern (default: all)");
    cmd->callback([pattern] { Run(*pattern); });
}

} // namespace orvik_tool
