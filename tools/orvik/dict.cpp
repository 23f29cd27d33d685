// orvik dict FILE: the designs of the file's dictionary, one block each.
#include <cstdio>
#include <nlohmann/json.hpp>

#include <orvik/omif.h>

#include "common.hpp"

namespace orvik_tool {
namespace {

// The design-text letter of each item type (index: OMIF_ITEM_...).
const char *TypeLetter(int32_t type) {
    static const char *const kLetters[] = {"?", "x", "o", "e", "1", "2", "4", "C", "c", "S",
                                           "s", "L", "l", "f", "d", "m", "M", "b", "t", "i"};
    return type >= 0 && type <= OMIF_ITEM_TYPE_MAX ? kLetters[type] : "?";
}

nlohmann::json DesignJson(const Omif_Design *d) {
    nlohmann::json items = nlohmann::json::array();
    for (const Omif_Item *i = d->items; i; i = i->next) {
        nlohmann::json item = {{"name", Narrow(i->name)},
                               {"type", TypeLetter(i->type)},
                               {"count", i->count},
                               {"indirect", i->indirect != 0}};
        if (i->indirect) item["pointer"] = i->pointerKind == OMIF_POINTER_COUNTED ? "p" : "*";
        if (i->design && i->design->name) item["design"] = Narrow(i->design->name);
        if (i->type == OMIF_ITEM_ENUM) {
            nlohmann::json names = nlohmann::json::array();
            for (int16_t k = 0; k < i->enumCount; ++k) names.push_back(Narrow(i->enumNames[k]));
            item["values"] = names;
        }
        items.push_back(item);
    }
    return {{"name", Narrow(d->name)}, {"items", items}};
}

void Run(const std::string &path, bool json) {
    HfaFile file(path, false);
    const Omif_Dictionary *dict = ohfa_FileDictionaryGet(file.get());
    if (!dict) throw Failure("No dictionary in " + path);
    if (json) {
        nlohmann::json out = nlohmann::json::array();
        for (const Omif_Design *d = dict->designs; d; d = d->next) out.push_back(DesignJson(d));
        std::printf("%s\n", out.dump(2).c_str());
        return;
    }
    std::printf("%ld designs\n", static_cast<long>(dict->count));
    std::fflush(stdout);
    for (const Omif_Design *d = dict->designs; d; d = d->next) {
        std::fputc('\n', stdout);
        Report err;
        if (omif_FprintfDesign(stdout, d, err) != 0) err.ThrowIfSet("Cannot print a design");
    }
    std::fflush(stdout);
}

} // namespace

void AddDict(CLI::App &app) {
    AddFileCommand(app, "dict", "Print the file's dictionary, one design per block", Run);
}

} // namespace orvik_tool
