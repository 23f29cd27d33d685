// orvik quicklook FILE NODE OUT.png [--size N]: a PNG picture of a layer (through its colour
// table when it has one) or of an image's first three layers as red, green and blue, read
// from the best pyramid level and stretched by the layers' statistics.
#include <algorithm>
#include <cmath>
#include <cstdio>

#include <png.h>

#include <orvik/odsc.h>
#include <orvik/oimg.h>
#include <orvik/osta.h>

#include "commands.hpp"
#include "common.hpp"
#include "image_nodes.hpp"
#include "raster.hpp"

namespace orvik_tool {
namespace {

struct LayerHandle {
    Oimg_Layer *layer = nullptr;
    ~LayerHandle() { oimg_LayerClose(layer, nullptr); }
};

// The pixels of a layer at the output size, as doubles (NaN for no data), from the level whose
// factor is the largest not above the scale.
std::vector<double> Sample(Ohfa_File *file, const std::string &path, int32_t outW, int32_t outH,
                           double scale, long *factorUsed) {
    Report err;
    LayerHandle base;
    base.layer = oimg_LayerOpen(file, Wide(path).c_str(), err);
    if (!base.layer) err.ThrowIfSet("Cannot open layer " + path);
    const long factor = oimg_LayerOverviewFactor(base.layer, scale, err);
    if (factor < 1) err.ThrowIfSet("Cannot choose a pyramid level of " + path);
    LayerHandle level;
    level.layer = oimg_LayerOverviewOpen(base.layer, factor, err);
    if (!level.layer) err.ThrowIfSet("Cannot open a pyramid level of " + path);
    *factorUsed = factor;
    const Oimg_LayerInfo *info = oimg_LayerInfoGet(level.layer);
    Band pixels = NewBand(info->height, info->width, OGDA_F64);
    if (!oimg_LayerRead(level.layer, pixels.get(), err)) err.ThrowIfSet("Cannot read " + path);
    std::vector<double> out(static_cast<std::size_t>(outW) * outH);
    const double step = scale / static_cast<double>(factor);
    for (int32_t y = 0; y < outH; ++y) {
        const int32_t sy = std::min(info->height - 1, static_cast<int32_t>((y + 0.5) * step));
        const double *row = reinterpret_cast<const double *>(RowOf(pixels.get(), sy));
        for (int32_t x = 0; x < outW; ++x) {
            const int32_t sx = std::min(info->width - 1, static_cast<int32_t>((x + 0.5) * step));
            const double v = row[sx];
            out[static_cast<std::size_t>(y) * outW + x] =
                info->hasNoData && v == info->noData ? NAN : v;
        }
    }
    return out;
}

// The stretch of a layer: mean -/+ 2 standard deviations, inside minimum..maximum; from the
// sampled pixels when the layer has no statistics.
std::pair<double, double> Stretch(Ohfa_File *file, const std::string &path,
                                  const std::vector<double> &values) {
    Report err;
    Osta_Statistics s{};
    if (osta_StatisticsRead(file, Wide(path).c_str(), &s, OMSC_FALSE, err)) {
        const double lo = std::max(s.minimum, s.mean - 2 * s.stddev);
        const double hi = std::min(s.maximum, s.mean + 2 * s.stddev);
        if (hi > lo) return {lo, hi};
        return {s.minimum, s.maximum > s.minimum ? s.maximum : s.minimum + 1};
    }
    double lo = INFINITY, hi = -INFINITY;
    for (double v : values)
        if (std::isfinite(v)) lo = std::min(lo, v), hi = std::max(hi, v);
    if (!(hi > lo)) return {std::isfinite(lo) ? lo : 0, (std::isfinite(lo) ? lo : 0) + 1};
    return {lo, hi};
}

uint8_t Level(double v, std::pair<double, double> range) {
    if (!std::isfinite(v)) return 0;
    const double f = (v - range.first) / (range.second - range.first);
    return static_cast<uint8_t>(std::lround(std::clamp(f, 0.0, 1.0) * 255));
}

// The layer's colour table with its bin function, when it has both.
struct Colours {
    Odsc_BinFunction *bins = nullptr;
    Osta_ColorTableStack *stack = nullptr;
    ~Colours() {
        odsc_BinFunctionDelete(bins);
        osta_ColorTableStackDelete(stack);
    }
};

bool ReadColours(Ohfa_File *file, const std::string &path, Colours &c) {
    Report err;
    const std::wstring wide = Wide(path);
    if (!odsc_TableExist(file, wide.c_str(), err)) return false;
    Odsc_Table *table = odsc_TableOpen(file, wide.c_str(), err);
    if (!table) return false;
    if (odsc_ColumnExist(table, L"Red", err)) {
        c.bins = odsc_TableGetBinFunction(table, err);
        const int32_t rows = odsc_TableGetNumRows(table);
        if (c.bins) c.stack = osta_ColorTableStackRead(table, nullptr, 0, rows, err);
    }
    odsc_TableClose(table, nullptr);
    return c.bins && c.stack && c.stack->count >= 3;
}

void WritePng(const std::string &path, int32_t w, int32_t h, const std::vector<uint8_t> &rgb) {
    FILE *out = std::fopen(path.c_str(), "wb");
    if (!out) throw Failure("Cannot create " + path);
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png ? png_create_info_struct(png) : nullptr;
    if (!png || !info || setjmp(png_jmpbuf(png))) {
        png_destroy_write_struct(&png, &info);
        std::fclose(out);
        throw Failure("Cannot write " + path);
    }
    png_init_io(png, out);
    png_set_IHDR(png, info, static_cast<png_uint_32>(w), static_cast<png_uint_32>(h), 8,
                 PNG_COLOR_TYPE_RGB, PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT,
                 PNG_FILTER_TYPE_DEFAULT);
    png_write_info(png, info);
    for (int32_t y = 0; y < h; ++y)
        png_write_row(png, rgb.data() + static_cast<std::size_t>(y) * w * 3);
    png_write_end(png, nullptr);
    png_destroy_write_struct(&png, &info);
    if (std::fclose(out) != 0) throw Failure("Cannot write " + path);
}

void Run(const std::string &path, const std::string &node, const std::string &out, int size) {
    if (size < 1 || size > 16384) throw Failure("--size must lie between 1 and 16384");
    HfaFile file(path, false);
    const ImageNode nodes = LayersOf(file.get(), node);
    std::vector<std::string> layers = nodes.layers;
    layers.resize(layers.size() >= 3 ? 3 : 1);
    int32_t width = 0, height = 0;
    {
        Report err;
        LayerHandle l;
        l.layer = oimg_LayerOpen(file.get(), Wide(layers[0]).c_str(), err);
        if (!l.layer) err.ThrowIfSet("Cannot open layer " + layers[0]);
        width = oimg_LayerInfoGet(l.layer)->width;
        height = oimg_LayerInfoGet(l.layer)->height;
    }
    const double scale = std::max(1.0, static_cast<double>(std::max(width, height)) / size);
    const auto outW = std::max<int32_t>(1, static_cast<int32_t>(std::lround(width / scale)));
    const auto outH = std::max<int32_t>(1, static_cast<int32_t>(std::lround(height / scale)));
    std::vector<uint8_t> rgb(static_cast<std::size_t>(outW) * outH * 3);
    long factor = 1;
    Colours colours;
    const bool paletted = layers.size() == 1 && ReadColours(file.get(), layers[0], colours);
    for (std::size_t c = 0; c < layers.size(); ++c) {
        const std::vector<double> values =
            Sample(file.get(), layers[c], outW, outH, scale, &factor);
        const auto range = Stretch(file.get(), layers[c], values);
        for (std::size_t i = 0; i < values.size(); ++i) {
            if (paletted) {
                const int32_t bin = odsc_BinFunctionValueToBin(colours.bins, values[i]);
                for (int k = 0; k < 3; ++k) {
                    const double v =
                        bin < 0 ? 0
                                : static_cast<const double *>(colours.stack->layers[k]->data)[bin];
                    rgb[i * 3 + k] =
                        static_cast<uint8_t>(std::lround(std::clamp(v, 0.0, 1.0) * 255));
                }
            } else if (layers.size() == 1) {
                rgb[i * 3] = rgb[i * 3 + 1] = rgb[i * 3 + 2] = Level(values[i], range);
            } else {
                rgb[i * 3 + c] = Level(values[i], range);
            }
        }
    }
    WritePng(out, outW, outH, rgb);
    std::printf("%s: %d x %d PNG of %s%s from the level of factor %ld\n", out.c_str(), outW, outH,
                layers.size() == 3 ? "three layers as RGB" : layers[0].c_str(),
                paletted ? " through its colour table" : "", factor);
}

} // namespace

void RunQuicklook(const std::string &path, const std::string &node, const std::string &out,
                  int size) {
    Run(path, node, out, size);
}

void AddQuicklook(CLI::App &app) {
    auto *cmd = app.add_subcommand("quicklook", "Write a PNG picture of a layer or an image");
    struct Args {
        std::string file, node, out;
        int size = 512;
    };
    auto a = std::make_shared<Args>();
    cmd->add_option("FILE", a->file, "HFA file")->required();
    cmd->add_option("NODE", a->node, "A layer, or an image (its first three layers as RGB)")
        ->required();
    cmd->add_option("OUT", a->out, "PNG file to write")->required();
    cmd->add_option("--size", a->size, "Longest side of the picture in pixels (default 512)");
    cmd->callback([a] { Run(a->file, a->node, a->out, a->size); });
}

} // namespace orvik_tool
