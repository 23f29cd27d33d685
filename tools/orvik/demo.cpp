// orvik demo [DIR]: makes a synthetic multi-band scene, writes it as a GeoTIFF, imports it,
// and runs the other commands on the result, saying what it does and where the files are.
#include <chrono>
#include <cmath>
#include <cstdio>
#include <filesystem>

#include "commands.hpp"
#include "common.hpp"
#include "raster.hpp"

namespace orvik_tool {
namespace {

constexpr int32_t kSize = 2048;

// A reproducible pseudo-random value in 0..1 for a pixel (no global state, no seed).
double Hash(uint32_t x, uint32_t y, uint32_t salt) {
    uint32_t h = x * 0x8DA6B343u ^ y * 0xD8163841u ^ salt * 0xCB1AB31Fu;
    h ^= h >> 13;
    h *= 0x5BD1E995u;
    h ^= h >> 15;
    return (h & 0xFFFFFF) / static_cast<double>(0xFFFFFF);
}

// Value noise: the hash on a grid of `cell` pixels, smoothly interpolated.
double Noise(double x, double y, double cell, uint32_t salt) {
    const double gx = x / cell, gy = y / cell;
    const auto x0 = static_cast<uint32_t>(gx), y0 = static_cast<uint32_t>(gy);
    const double fx = gx - x0, fy = gy - y0;
    const double sx = fx * fx * (3 - 2 * fx), sy = fy * fy * (3 - 2 * fy);
    const double a = Hash(x0, y0, salt), b = Hash(x0 + 1, y0, salt);
    const double c = Hash(x0, y0 + 1, salt), d = Hash(x0 + 1, y0 + 1, salt);
    return (a + (b - a) * sx) * (1 - sy) + (c + (d - c) * sx) * sy;
}

// A landscape seen in red, green, blue and near infrared: terrain from layered noise, a river
// winding across, fields in a grid of parcels, and a town of bright roofs.
ImageData Scene() {
    ImageData image;
    image.width = image.height = kSize;
    for (int b = 0; b < 4; ++b) image.bands.push_back(NewBand(kSize, kSize, OGDA_U8));
    for (int32_t y = 0; y < kSize; ++y) {
        unsigned char *rows[4];
        for (int b = 0; b < 4; ++b) rows[b] = RowOf(image.bands[b].get(), y);
        for (int32_t x = 0; x < kSize; ++x) {
            const double height =
                0.55 * Noise(x, y, 512, 1) + 0.3 * Noise(x, y, 128, 2) + 0.15 * Noise(x, y, 32, 3);
            const double riverX = 1024 + 380 * std::sin(y / 260.0) + 90 * std::sin(y / 71.0);
            const double toRiver = std::fabs(x - riverX);
            const double grain = Hash(static_cast<uint32_t>(x), static_cast<uint32_t>(y), 9);
            double r, g, bl, nir;
            if (toRiver < 14 + 6 * Noise(x, y, 64, 4)) {
                r = 30, g = 60, bl = 110, nir = 12; // water
            } else if (x > 1300 && x < 1700 && y > 300 && y < 650 &&
                       Hash(static_cast<uint32_t>(x / 24), static_cast<uint32_t>(y / 24), 5) >
                           0.45) {
                r = 190, g = 170, bl = 160, nir = 120; // roofs
            } else if (height < 0.5) {
                const double crop =
                    Hash(static_cast<uint32_t>(x / 96), static_cast<uint32_t>(y / 80), 6);
                r = 90 + 80 * crop, g = 120 + 60 * (1 - crop), bl = 60 + 30 * crop,
                nir = 140 + 90 * (1 - crop);
            } else {
                r = 40 + 60 * height, g = 80 + 50 * height, bl = 40 + 30 * height,
                nir = 170 + 60 * height;
            }
            const double n = (grain - 0.5) * 12;
            rows[0][x] = static_cast<uint8_t>(std::clamp(r + n, 0.0, 255.0));
            rows[1][x] = static_cast<uint8_t>(std::clamp(g + n, 0.0, 255.0));
            rows[2][x] = static_cast<uint8_t>(std::clamp(bl + n, 0.0, 255.0));
            rows[3][x] = static_cast<uint8_t>(std::clamp(nir + n, 0.0, 255.0));
        }
    }
    // 10 m pixels in UTM zone 33 north (EPSG 32633).
    image.map.present = true;
    image.map.originX = 500000;
    image.map.originY = 5200000;
    image.map.pixelWidth = image.map.pixelHeight = 10;
    image.map.epsg = 32633;
    return image;
}

void Step(const char *text) {
    std::printf("\n== %s\n", text);
    std::fflush(stdout);
}

void Run(const std::string &dir) {
    const auto start = std::chrono::steady_clock::now();
    std::error_code ec;
    std::filesystem::create_directories(dir, ec);
    if (!std::filesystem::is_directory(dir, ec)) throw Failure("Cannot create folder " + dir);
    const std::string tif = (std::filesystem::path(dir) / "scene.tif").string();
    const std::string hfa = (std::filesystem::path(dir) / "scene.hfa").string();
    const std::string png = (std::filesystem::path(dir) / "scene.png").string();
    std::filesystem::remove(hfa, ec);

    Step("1. A synthetic 2048 x 2048 scene (red, green, blue, near infrared), written as GeoTIFF");
    WriteTiff(tif, Scene());
    std::printf("%s: %ju bytes\n", tif.c_str(),
                static_cast<std::uintmax_t>(std::filesystem::file_size(tif, ec)));

    Step("2. orvik import: one layer per band, statistics, histograms and pyramids");
    ImportOptions options;
    options.image = tif;
    options.file = hfa;
    RunImport(options);

    Step("3. orvik ls -l -r (the first layer)");
    RunLs(hfa, "/scene/Band_1", true, true, false);

    Step("4. orvik check");
    RunCheck(hfa, false, false);

    Step("5. orvik stats, and orvik dump of the first layer's statistics record");
    RunStats(hfa, "/scene", false, false);
    RunDump(hfa, "/scene/Band_1/Statistics");

    Step("6. orvik quicklook: bands 1-3 as RGB from the best pyramid level");
    RunQuicklook(hfa, "/scene", png, 512);

    const double seconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    std::printf("\nDone in %.1f s. Files in %s:\n  %s  the scene as GeoTIFF\n  %s  the HFA file\n"
                "  %s  the quicklook\nTry: orvik ls -l %s /scene\n     orvik dump %s "
                "/scene/Band_1/Statistics\n",
                seconds, dir.c_str(), tif.c_str(), hfa.c_str(), png.c_str(), hfa.c_str(),
                hfa.c_str());
}

} // namespace

void AddDemo(CLI::App &app) {
    auto *cmd = app.add_subcommand(
        "demo", "Make a synthetic scene, import it and run the other commands on it");
    auto dir = std::make_shared<std::string>("orvik-demo");
    cmd->add_option("DIR", *dir, "Folder for the files (default: orvik-demo)");
    cmd->callback([dir] { Run(*dir); });
}

} // namespace orvik_tool
