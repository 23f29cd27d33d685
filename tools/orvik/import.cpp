// orvik import IMAGE FILE: a PGM/PPM or TIFF/GeoTIFF file as a new image of an HFA file, one
// layer per band, with statistics, histogram and pyramids.
#include <cstdio>
#include <filesystem>

#include <orvik/oimg.h>

#include "commands.hpp"
#include "common.hpp"
#include "image_nodes.hpp"
#include "layer_stats.hpp"
#include "map_info.hpp"
#include "raster.hpp"

namespace orvik_tool {
namespace {

ImageData ReadImage(const std::string &path) {
    std::error_code ec;
    if (!std::filesystem::is_regular_file(path, ec)) throw Failure("No such file: " + path);
    if (HasExtension(path, {".pgm", ".ppm", ".pnm"})) return ReadPnm(path);
    if (HasExtension(path, {".tif", ".tiff"})) {
        Progress progress("read");
        return ReadTiff(path, [&](double f) { progress.Update(f, 1); });
    }
    throw Failure("Unsupported image " + path + ": expected .pgm, .ppm, .tif or .tiff");
}

void Run(const ImportOptions &o) {
    // Checked before the image is read, so a misspelt codec costs nothing.
    const Oimg_LayerStorage storage = o.storage.Given() ? o.storage.Storage() : Oimg_LayerStorage{};
    const ImageData image = ReadImage(o.image);
    std::error_code ec;
    HfaFile file =
        std::filesystem::exists(o.file, ec) ? HfaFile(o.file, true) : HfaFile::Create(o.file);
    const std::string name = EntryName(
        o.imageName.empty() ? std::filesystem::path(o.image).stem().string() : o.imageName);
    Report err;
    if (ohfa_EntryPeek(file.get(), OHFA_SEEK_PATH, Wide("/" + name).c_str(), nullptr, err) > 0)
        throw Failure("Node already exists: /" + name + " (choose another with --image)");
    if (oimg_ImageCreate(file.get(), nullptr, Wide(name).c_str(), err) != 0)
        err.ThrowIfSet("Cannot create image /" + name);
    const std::size_t n = image.bands.size();
    const Ogda_PixelType type = image.bands[0]->datatype;
    long levels = 0;
    Progress progress("import");
    for (std::size_t i = 0; i < n; ++i) {
        std::string layerName = "Band_" + std::to_string(i + 1);
        if (!o.layer.empty()) layerName = n == 1 ? o.layer : o.layer + "_" + std::to_string(i + 1);
        layerName = EntryName(layerName);
        Oimg_LayerInfo info{};
        info.width = image.width;
        info.height = image.height;
        info.pixelType = type;
        info.layerKind = OIMG_CONTINUOUS;
        Oimg_Layer *layer = oimg_LayerCreateWithStorage(
            file.get(), Wide("/" + name).c_str(), Wide(layerName).c_str(), &info,
            o.storage.Given() ? &storage : nullptr, err);
        if (!layer) err.ThrowIfSet("Cannot create layer " + layerName);
        long built = 0;
        if (oimg_LayerWrite(layer, image.bands[i].get(), err) != 0 ||
            (!o.noPyramids && (built = oimg_LayerBuildOverviews(layer, err)) < 0)) {
            oimg_LayerClose(layer, nullptr);
            err.ThrowIfSet("Cannot write layer " + layerName);
        }
        levels = built;
        if (oimg_LayerClose(layer, err) != 0) err.ThrowIfSet("Cannot write layer " + layerName);
        if (!o.noStats) StoreLayerStatistics(file.get(), "/" + name + "/" + layerName, n == 1);
        progress.Update(static_cast<double>(i + 1), static_cast<double>(n));
    }
    WriteMapInfo(file.get(), "/" + name, image.map);
    file.Close();
    std::printf("%s -> %s:/%s: %zu layer%s of %d x %d %s%s, %ld pyramid level%s%s\n",
                o.image.c_str(), o.file.c_str(), name.c_str(), n, n == 1 ? "" : "s", image.width,
                image.height, Narrow(ogda_PixelNameFromType(type)).c_str(),
                o.noStats ? "" : " with statistics", levels, levels == 1 ? "" : "s",
                image.map.present ? ", georeferenced" : "");
}

} // namespace

void RunImport(const ImportOptions &options) { Run(options); }

void AddImport(CLI::App &app) {
    auto *cmd = app.add_subcommand(
        "import", "Import a PGM/PPM or TIFF/GeoTIFF image as a new image, one layer per band");
    auto o = std::make_shared<ImportOptions>();
    cmd->add_option("IMAGE", o->image, "Image file (.pgm, .ppm, .tif, .tiff)")->required();
    cmd->add_option("FILE", o->file, "HFA file (created when missing)")->required();
    cmd->add_option("--layer", o->layer,
                    "Layer name (several bands: NAME_1, NAME_2, ...; default Band_1, ...)");
    cmd->add_option("--image", o->imageName, "Image name (default: the image file's name)");
    cmd->add_flag("--no-pyramids", o->noPyramids, "Do not build reduced-resolution levels");
    cmd->add_flag("--no-stats", o->noStats, "Do not compute statistics and histograms");
    o->storage.AddTo(cmd);
    cmd->callback([o] { Run(*o); });
}

} // namespace orvik_tool
