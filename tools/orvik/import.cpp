// orvik import IMAGE FILE: a PGM/PPM or TIFF/GeoTIFF file as a new image of an HFA file, one
// layer per band, with statistics, histogram and pyramids.
#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include <orvik/oimg.h>

#include "commands.hpp"
#include "common.hpp"
#include "image_nodes.hpp"
#include "layer_stats.hpp"
#include "map_info.hpp"
#include "raster.hpp"
#include "side_thread.hpp"
#include "value_counts.hpp"

namespace orvik_tool {
namespace {

std::unique_ptr<ImageSource> OpenImage(const std::string &path) {
    std::error_code ec;
    if (!std::filesystem::is_regular_file(path, ec)) throw Failure("No such file: " + path);
    if (HasExtension(path, {".pgm", ".ppm", ".pnm"})) return SourceOf(ReadPnm(path));
    if (HasExtension(path, {".tif", ".tiff"})) return OpenTiff(path);
    throw Failure("Unsupported image " + path + ": expected .pgm, .ppm, .tif or .tiff");
}

// One band on its way into its layer: one block row at a time is read, written, counted and
// handed to the pyramid build, so the image is never held whole and the layer never read back.
struct BandLayer {
    std::string path;
    Oimg_Layer *layer = nullptr;
    Oimg_OverviewBuild *overviews = nullptr;
    std::optional<ValueCounts> counts;
    Band rows; // one block row
    BandLayer() = default;
    BandLayer(const BandLayer &) = delete;
    BandLayer &operator=(const BandLayer &) = delete;
    ~BandLayer() {
        if (overviews) oimg_OverviewBuildEnd(overviews, nullptr);
        if (layer) oimg_LayerClose(layer, nullptr);
    }
};

// Writes the image's bands as layers of the image `name`, with pyramids and statistics as
// asked; returns the number of pyramid levels. `bands` keeps what was created, for Discard.
long WriteBands(Ohfa_File *file, const std::string &name, ImageSource *image,
                const ImportOptions &o, const Oimg_LayerStorage &storage,
                std::vector<std::unique_ptr<BandLayer>> &bands) {
    Report err;
    const auto n = static_cast<std::size_t>(image->bands);
    const Ogda_PixelType type = image->type;
    for (std::size_t i = 0; i < n; ++i) {
        std::string layerName = "Band_" + std::to_string(i + 1);
        if (!o.layer.empty()) layerName = n == 1 ? o.layer : o.layer + "_" + std::to_string(i + 1);
        layerName = EntryName(layerName);
        Oimg_LayerInfo info{};
        info.width = image->width;
        info.height = image->height;
        info.pixelType = type;
        info.layerKind = OIMG_CONTINUOUS;
        auto &b = *bands.emplace_back(std::make_unique<BandLayer>());
        b.path = "/" + name + "/" + layerName;
        b.layer =
            oimg_LayerCreateWithStorage(file, Wide("/" + name).c_str(), Wide(layerName).c_str(),
                                        &info, o.storage.Given() ? &storage : nullptr, err);
        if (!b.layer) err.ThrowIfSet("Cannot create layer " + layerName);
        if (!o.noPyramids && !(b.overviews = oimg_OverviewBuildBegin(b.layer, err)))
            err.ThrowIfSet("Cannot write layer " + layerName);
        if (!o.noStats && ValueCounts::Countable(type)) b.counts.emplace(type);
    }
    const int32_t width = image->width, height = image->height;
    const int32_t blockRows = std::min(height, oimg_LayerInfoGet(bands[0]->layer)->blockHeight);
    std::vector<unsigned char *> out;
    for (auto &b : bands) {
        b->rows = NewBand(blockRows, width, type);
        out.push_back(static_cast<unsigned char *>(b->rows->data));
    }
    const auto lineBytes = static_cast<std::size_t>(bands[0]->rows->lineBytes);
    const std::size_t pixelBytes = static_cast<std::size_t>(PixelBytes(type));
    // Counting takes about as long as writing: the rows are counted on the side thread while
    // the same rows are written, and the next rows are read only once both are done.
    SideThread counter;
    const auto count = [&](int32_t rows) {
        for (std::size_t i = 0; i < bands.size(); ++i) {
            BandLayer &b = *bands[i];
            if (!b.counts) continue;
            if (lineBytes == pixelBytes * width)
                b.counts->Add(out[i], static_cast<std::size_t>(rows) * width);
            else
                for (int32_t r = 0; r < rows; ++r) b.counts->Add(RowOf(b.rows.get(), r), width);
        }
    };
    Progress progress("import");
    for (int32_t row = 0; row < height; row += blockRows) {
        const int32_t rows = std::min(blockRows, height - row);
        counter.Wait();
        image->Read(row, rows, out, lineBytes);
        if (!o.noStats) counter.Run([&count, rows] { count(rows); });
        for (auto &b : bands) {
            Ogda_BaseData view = *b->rows;
            view.numrows = rows;
            view.numelements = rows * width;
            view.derivedFlag = 1;
            if (oimg_LayerWriteWindow(b->layer, row, 0, rows, width, &view, err) != 0 ||
                (b->overviews && oimg_OverviewBuildAddRows(b->overviews, &view, err) != 0))
                err.ThrowIfSet("Cannot write layer " + b->path);
        }
        progress.Update(static_cast<double>(row + rows), static_cast<double>(height));
    }
    counter.Wait();
    long levels = 0;
    for (auto &b : bands) {
        if (b->overviews) {
            levels = oimg_OverviewBuildEnd(std::exchange(b->overviews, nullptr), err);
            if (levels < 0) err.ThrowIfSet("Cannot write layer " + b->path);
        }
        if (oimg_LayerClose(std::exchange(b->layer, nullptr), err) != 0)
            err.ThrowIfSet("Cannot write layer " + b->path);
    }
    if (!o.noStats)
        for (auto &b : bands) {
            std::vector<uint64_t> counts;
            if (b->counts) counts = b->counts->Counts();
            StoreLayerStatistics(file, b->path, n == 1, b->counts ? &counts : nullptr);
        }
    return levels;
}

// After a failure: a file made for the import goes; otherwise the half-written image does.
void Discard(HfaFile &file, bool created, const std::string &name,
             std::vector<std::unique_ptr<BandLayer>> &bands) {
    std::vector<std::string> made;
    for (auto &b : bands) made.push_back(b->path);
    bands.clear(); // ends the pyramid builds and closes the layers
    if (created) {
        const std::string path = file.Path();
        try {
            file.Close();
        } catch (const Failure &) {
        }
        std::error_code ec;
        std::filesystem::remove(path, ec);
        return;
    }
    for (const std::string &layer : made)
        oimg_LayerDelete(file.get(), Wide(layer).c_str(), nullptr);
    ohfa_ObjectDelete(file.get(), Wide("/" + name).c_str(), OHFA_SEEK_PATH, nullptr);
}

void Run(const ImportOptions &o) {
    // Checked before the image is read, so a misspelt codec costs nothing.
    const Oimg_LayerStorage storage = o.storage.Given() ? o.storage.Storage() : Oimg_LayerStorage{};
    const std::unique_ptr<ImageSource> image = OpenImage(o.image);
    std::error_code ec;
    const bool created = !std::filesystem::exists(o.file, ec);
    HfaFile file = created ? HfaFile::Create(o.file) : HfaFile(o.file, true);
    const std::string name = EntryName(
        o.imageName.empty() ? std::filesystem::path(o.image).stem().string() : o.imageName);
    Report err;
    if (ohfa_EntryPeek(file.get(), OHFA_SEEK_PATH, Wide("/" + name).c_str(), nullptr, err) > 0)
        throw Failure("Node already exists: /" + name + " (choose another with --image)");
    if (oimg_ImageCreate(file.get(), nullptr, Wide(name).c_str(), err) != 0)
        err.ThrowIfSet("Cannot create image /" + name);
    const auto n = static_cast<std::size_t>(image->bands);
    const Ogda_PixelType type = image->type;
    std::vector<std::unique_ptr<BandLayer>> bands;
    long levels = 0;
    try {
        levels = WriteBands(file.get(), name, image.get(), o, storage, bands);
    } catch (...) {
        Discard(file, created, name, bands);
        throw;
    }
    WriteMapInfo(file.get(), "/" + name, image->map);
    file.Close();
    std::printf("%s -> %s:/%s: %zu layer%s of %d x %d %s%s, %ld pyramid level%s%s\n",
                o.image.c_str(), o.file.c_str(), name.c_str(), n, n == 1 ? "" : "s", image->width,
                image->height, Narrow(ogda_PixelNameFromType(type)).c_str(),
                o.noStats ? "" : " with statistics", levels, levels == 1 ? "" : "s",
                image->map.present ? ", georeferenced" : "");
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
