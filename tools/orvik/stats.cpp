// orvik stats FILE NODE [--compute]: the stored statistics and histogram summary of a layer
// (or of every layer of an image), or compute and store them first.
#include <cstdio>
#include <nlohmann/json.hpp>

#include <orvik/odsc.h>

#include "commands.hpp"
#include "common.hpp"
#include "image_nodes.hpp"
#include "layer_stats.hpp"

namespace orvik_tool {
namespace {

struct Summary {
    bool hasStats = false;
    Osta_Statistics stats{};
    int32_t bins = 0;
    double count = 0;
    std::string binKind;
    double low = 0, high = 0;
};

Summary Read(Ohfa_File *file, const std::string &layer) {
    Summary s;
    Report err;
    const std::wstring path = Wide(layer);
    s.hasStats = osta_StatisticsRead(file, path.c_str(), &s.stats, OMSC_FALSE, err) != nullptr;
    err.ThrowIfSet("Cannot read the statistics of " + layer);
    if (!odsc_TableExist(file, path.c_str(), err)) return s;
    Odsc_Table *table = odsc_TableOpen(file, path.c_str(), err);
    if (!table) err.ThrowIfSet("Cannot open the descriptor table of " + layer);
    Osta_Histogram *h =
        osta_HistogramReadIfPresent(table, nullptr, 0, odsc_TableGetNumRows(table), err);
    odsc_TableClose(table, nullptr);
    err.ThrowIfSet("Cannot read the histogram of " + layer);
    if (!h) return s;
    s.bins = h->binFunction->numBins;
    static const char *const kKinds[] = {"direct", "linear", "logarithmic", "explicit", "unique"};
    const int kind = static_cast<int>(h->binFunction->type);
    s.binKind = kind >= 0 && kind < 5 ? kKinds[kind] : "?";
    s.low = h->binFunction->minLimit;
    s.high = h->binFunction->maxLimit;
    for (int32_t i = 0; i < s.bins; ++i) s.count += static_cast<const double *>(h->table->data)[i];
    osta_HistogramDelete(h);
    return s;
}

void Run(const std::string &path, const std::string &node, bool compute, bool json) {
    HfaFile file(path, compute);
    const ImageNode nodes = LayersOf(file.get(), node);
    if (compute) {
        Progress progress("stats");
        for (std::size_t i = 0; i < nodes.layers.size(); ++i) {
            StoreLayerStatistics(file.get(), nodes.layers[i], nodes.layers.size() == 1);
            progress.Update(static_cast<double>(i + 1), static_cast<double>(nodes.layers.size()));
        }
    }
    nlohmann::json out = nlohmann::json::array();
    for (const std::string &layer : nodes.layers) {
        const Summary s = Read(file.get(), layer);
        if (json) {
            nlohmann::json j = {{"layer", layer}};
            if (s.hasStats)
                j["statistics"] = {{"minimum", s.stats.minimum}, {"maximum", s.stats.maximum},
                                   {"mean", s.stats.mean},       {"median", s.stats.median},
                                   {"mode", s.stats.mode},       {"stddev", s.stats.stddev}};
            if (s.bins > 0)
                j["histogram"] = {{"bins", s.bins},
                                  {"binFunction", s.binKind},
                                  {"low", s.low},
                                  {"high", s.high},
                                  {"count", s.count}};
            out.push_back(j);
            continue;
        }
        std::printf("%s\n", layer.c_str());
        if (!s.hasStats) {
            std::printf("  no statistics (orvik stats --compute)\n");
            continue;
        }
        std::printf(
            "  minimum %.6g  maximum %.6g  mean %.6g  median %.6g  mode %.6g  stddev %.6g\n",
            s.stats.minimum, s.stats.maximum, s.stats.mean, s.stats.median, s.stats.mode,
            s.stats.stddev);
        if (s.bins > 0)
            std::printf("  histogram: %d %s bins %.6g .. %.6g, %.0f values\n", s.bins,
                        s.binKind.c_str(), s.low, s.high, s.count);
    }
    if (json) std::printf("%s\n", out.dump(2).c_str());
    file.Close();
}

} // namespace

void RunStats(const std::string &path, const std::string &node, bool compute, bool json) {
    Run(path, node, compute, json);
}

void AddStats(CLI::App &app) {
    auto *cmd = app.add_subcommand("stats", "Show (or compute and store) the statistics of layers");
    struct Args {
        std::string file, node;
        bool compute = false;
        JsonFlag json;
    };
    auto a = std::make_shared<Args>();
    cmd->add_option("FILE", a->file, "HFA file")->required();
    cmd->add_option("NODE", a->node, "A layer, or an image (all its layers)")->required();
    cmd->add_flag("--compute", a->compute, "Compute the statistics and histogram and store them");
    a->json.AddTo(cmd);
    cmd->callback([a] { Run(a->file, a->node, a->compute, a->json.on); });
}

} // namespace orvik_tool
