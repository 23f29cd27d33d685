// orvik export FILE NODE OUT: an image (all its layers) or one layer as TIFF or PGM/PPM.
#include <cstdio>

#include "common.hpp"
#include "image_nodes.hpp"
#include "layer_stats.hpp"
#include "map_info.hpp"
#include "raster.hpp"

namespace orvik_tool {
namespace {

void Run(const std::string &path, const std::string &node, const std::string &out) {
    const bool tiff = HasExtension(out, {".tif", ".tiff"});
    if (!tiff && !HasExtension(out, {".pgm", ".ppm", ".pnm"}))
        throw Failure("Unsupported output " + out + ": expected .tif, .tiff, .pgm or .ppm");
    HfaFile file(path, false);
    const ImageNode nodes = LayersOf(file.get(), node);
    ImageData image;
    for (const std::string &layer : nodes.layers) {
        Band band(ReadWholeLayer(file.get(), layer));
        if (!image.bands.empty() &&
            (band->numrows != image.height || band->numcolumns != image.width))
            throw Failure("Layers of different sizes cannot share one file: " + layer);
        image.width = band->numcolumns;
        image.height = band->numrows;
        image.bands.push_back(std::move(band));
    }
    if (!nodes.image.empty()) image.map = ReadMapInfo(file.get(), nodes.image);
    if (tiff)
        WriteTiff(out, image);
    else
        WritePnm(out, image);
    std::printf("%s:%s -> %s: %zu layer%s of %d x %d\n", path.c_str(), node.c_str(), out.c_str(),
                image.bands.size(), image.bands.size() == 1 ? "" : "s", image.width, image.height);
}

} // namespace

void AddExport(CLI::App &app) {
    auto *cmd = app.add_subcommand("export", "Export an image or a layer as TIFF or PGM/PPM");
    auto file = std::make_shared<std::string>();
    auto node = std::make_shared<std::string>();
    auto out = std::make_shared<std::string>();
    cmd->add_option("FILE", *file, "HFA file")->required();
    cmd->add_option("NODE", *node, "Image or layer node, such as /scene or /scene/Band_1")
        ->required();
    cmd->add_option("OUT", *out, "Output file: .tif/.tiff, .pgm (1 layer) or .ppm (3 layers)")
        ->required();
    cmd->callback([file, node, out] { Run(*file, *node, *out); });
}

} // namespace orvik_tool
