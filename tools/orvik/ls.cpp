// orvik ls FILE [NODE]: the entries below a node with their types, sizes and times.
#include <cstdio>
#include <nlohmann/json.hpp>

#include <orvik/oimg.h>
#include <orvik/omsc.h>

#include "commands.hpp"
#include "common.hpp"
#include "image_nodes.hpp"
#include "storage_option.hpp"

namespace orvik_tool {
namespace {

// How a layer keeps its blocks: codec and predictor, and the bytes its written blocks take
// against what they hold (the ratio: raw / stored, 0 when nothing is written). A layer that
// cannot be opened (a damaged record, a missing or foreign companion file) has only `problem`,
// the library's report in brief form.
struct Coding {
    Oimg_LayerStorage storage{};
    int64_t stored = 0, raw = 0;
    std::string problem;
    double Ratio() const { return stored > 0 ? static_cast<double>(raw) / stored : 0.0; }
};

struct Row {
    std::string path;
    std::string name;
    Ohfa_Entry entry;
    bool layer = false;
    Coding coding;
    bool external = false; // a raster layer whose blocks lie in a companion data file
};

// One broken layer must not hide the rest of the listing: its problem goes into its row.
Coding CodingOf(Ohfa_File *file, const std::string &path) {
    Report err;
    Coding c;
    Oimg_Layer *layer = oimg_LayerOpen(file, Wide(path).c_str(), err);
    const bool ok = layer && oimg_LayerStorageGet(layer, &c.storage, err) >= 0 &&
                    oimg_LayerStoredBytes(layer, &c.stored, &c.raw, err) == 0;
    oimg_LayerClose(layer, nullptr);
    if (!ok) c.problem = err ? BriefReport(err.get()) : "cannot be opened";
    return c;
}

std::string RatioText(const Coding &c) {
    if (c.stored == 0) return "-";
    char text[32];
    std::snprintf(text, sizeof text, "%.2f", c.Ratio());
    return text;
}

// Whether the layer at `path` keeps its blocks in a companion data file: it has a companion
// record.
bool External(Ohfa_File *file, const std::string &path, const Ohfa_Entry &e) {
    if (FixedText(e.type, sizeof e.type) != kLayerType) return false;
    Report err;
    return ohfa_EntryPeek(file, OHFA_SEEK_PATH, Wide(path + "/Companion").c_str(), nullptr, err) >
           0;
}

int Depth(const std::string &path) {
    int depth = 0;
    for (char c : path) depth += c == '/';
    return path == "/" ? 0 : depth;
}

std::vector<Row> Collect(Ohfa_File *file, const std::string &node, bool recursive,
                         bool withCoding) {
    SeekNode(file, node);
    Report err;
    ostr_StringList *list = ohfa_ObjectList(file, Wide(node).c_str(), err);
    if (!list) err.ThrowIfSet("Cannot list " + node);
    std::vector<std::string> paths;
    for (int32_t i = 0; list && i < list->count; ++i) paths.push_back(Narrow(list->strings[i]));
    ostr_StringListDelete(list, nullptr);
    const int base = Depth(node);
    std::vector<Row> rows;
    for (const std::string &p : paths) {
        if (!recursive && Depth(p) != base + 1) continue;
        Row row{p, p.substr(p.rfind('/') + 1), SeekNode(file, p), false, {}, false};
        row.layer = FixedText(row.entry.type, sizeof row.entry.type) == kLayerType;
        if (row.layer && withCoding) row.coding = CodingOf(file, p);
        row.external = External(file, p, row.entry);
        rows.push_back(std::move(row));
    }
    return rows;
}

void Run(const std::string &path, const std::string &node, bool recursive, bool longForm,
         bool json) {
    HfaFile file(path, false);
    const std::vector<Row> rows = Collect(file.get(), node, recursive, json || longForm);
    if (json) {
        nlohmann::json out = nlohmann::json::array();
        for (const Row &r : rows) {
            nlohmann::json row = {{"path", r.path},
                                  {"name", r.name},
                                  {"type", FixedText(r.entry.type, sizeof r.entry.type)},
                                  {"size", r.entry.dataSize},
                                  {"modified", TimeText(r.entry.modTime)},
                                  {"children", r.entry.child != 0},
                                  {"external", r.external}};
            if (r.layer && !r.coding.problem.empty()) {
                row["error"] = r.coding.problem;
            } else if (r.layer) {
                const Coding &c = r.coding;
                row["codec"] = CodecName(c.storage.codec);
                row["level"] = c.storage.level;
                row["predictor"] = PredictorName(c.storage.predictor);
                row["checksum"] = c.storage.checksum != OIMG_CHECKSUM_NONE;
                row["rawBytes"] = c.raw;
                row["storedBytes"] = c.stored;
                row["ratio"] = c.stored > 0 ? nlohmann::json(c.Ratio()) : nlohmann::json();
            }
            out.push_back(std::move(row));
        }
        std::printf("%s\n", out.dump(2).c_str());
        return;
    }
    for (const Row &r : rows) {
        const std::string shown = (recursive ? r.path : r.name + (r.entry.child ? "/" : "")) +
                                  (r.external ? "  [external]" : "");
        if (longForm && r.layer)
            std::printf("%-20s %10ld  %s  %s  (%s, %s)\n",
                        FixedText(r.entry.type, sizeof r.entry.type).c_str(),
                        static_cast<long>(r.entry.dataSize), TimeText(r.entry.modTime).c_str(),
                        shown.c_str(),
                        r.coding.problem.empty() ? StorageText(r.coding.storage).c_str()
                                                 : "unreadable",
                        r.coding.problem.empty() ? ("ratio " + RatioText(r.coding)).c_str()
                                                 : r.coding.problem.c_str());
        else if (longForm)
            std::printf("%-20s %10ld  %s  %s\n",
                        FixedText(r.entry.type, sizeof r.entry.type).c_str(),
                        static_cast<long>(r.entry.dataSize), TimeText(r.entry.modTime).c_str(),
                        shown.c_str());
        else
            std::printf("%s\n", shown.c_str());
    }
}

} // namespace

void RunLs(const std::string &path, const std::string &node, bool recursive, bool longForm,
           bool json) {
    Run(path, node, recursive, longForm, json);
}

void AddLs(CLI::App &app) {
    auto *cmd = app.add_subcommand("ls", "List the entries below a node (default: the root)");
    struct Args {
        std::string file, node = "/";
        bool recursive = false, longForm = false;
        JsonFlag json;
    };
    auto args = std::make_shared<Args>();
    cmd->add_option("FILE", args->file, "HFA file")->required();
    cmd->add_option("NODE", args->node, "Node path, such as /Image/Layer_1");
    cmd->add_flag("-r,--recursive", args->recursive, "List the whole subtree, by node path");
    cmd->add_flag("-l,--long", args->longForm, "Show type, data size and modification time");
    args->json.AddTo(cmd);
    cmd->callback(
        [args] { Run(args->file, args->node, args->recursive, args->longForm, args->json.on); });
}

} // namespace orvik_tool
