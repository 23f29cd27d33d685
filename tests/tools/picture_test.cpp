// quicklook, stats, prefs and demo.
#include <png.h>

#include <nlohmann/json.hpp>

#include "fio/fio_test_util.hpp"
#include "pnm.hpp"
#include "tools/tool_test_util.hpp"

namespace {

struct PngSize {
    uint32_t width = 0, height = 0;
    int colourType = -1;
    std::vector<uint8_t> rgb;
};

PngSize ReadPng(const std::string &path) {
    PngSize out;
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    if (!png_image_begin_read_from_file(&image, path.c_str())) return out;
    image.format = PNG_FORMAT_RGB;
    out.width = image.width;
    out.height = image.height;
    out.rgb.resize(PNG_IMAGE_SIZE(image));
    png_image_finish_read(&image, nullptr, out.rgb.data(), 0, nullptr);
    return out;
}

class Picture : public tool_test::ToolTest {
  protected:
    // A 300 x 200 image: 8-bit grey ramp (one band) or three 16-bit bands.
    std::string Import(int channels) {
        orvik_pnm::Image img;
        img.width = 300;
        img.height = 200;
        img.channels = channels;
        img.maxValue = channels == 1 ? 255 : 65535;
        for (int y = 0; y < 200; ++y)
            for (int x = 0; x < 300; ++x)
                for (int c = 0; c < channels; ++c)
                    img.samples.push_back(static_cast<uint16_t>(channels == 1 ? x * 255 / 299
                                                                : c == 0      ? x * 200
                                                                : c == 1      ? y * 300
                                                                              : 1000));
        const std::string ext = channels == 1 ? ".pgm" : ".ppm";
        const auto bytes = orvik_pnm::Write(img);
        WriteRaw(Path("pic" + ext), std::string(bytes.begin(), bytes.end()));
        EXPECT_EQ(Orvik({"import", Path("pic" + ext), Path("pic.hfa")}).status, 0);
        return Path("pic.hfa");
    }
};

TEST_F(Picture, QuicklookOfALayerThroughItsColourTable) {
    const std::string file = Import(1);
    auto r = Orvik({"quicklook", file, "/pic/Band_1", Path("a.png"), "--size", "100"});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_NE(r.out.find("through its colour table from the level of factor 2"), std::string::npos)
        << r.out;
    const PngSize png = ReadPng(Path("a.png"));
    EXPECT_EQ(png.width, 100u);
    EXPECT_EQ(png.height, 67u);
    ASSERT_FALSE(png.rgb.empty());
    // The grey ramp runs from black on the left to white on the right.
    EXPECT_LT(png.rgb[0], 10);
    EXPECT_GT(png.rgb[(99) * 3], 245);
    EXPECT_EQ(png.rgb[50 * 3], png.rgb[50 * 3 + 2]);
    // Larger than the layer: the layer's own size.
    r = Orvik({"quicklook", file, "/pic/Band_1", Path("b.png"), "--size", "1000"});
    EXPECT_EQ(ReadPng(Path("b.png")).width, 300u);
}

TEST_F(Picture, QuicklookOfThreeLayersAsRgb) {
    const std::string file = Import(3);
    const auto r = Orvik({"quicklook", file, "/pic", Path("c.png")});
    ASSERT_EQ(r.status, 0) << r.err;
    const PngSize png = ReadPng(Path("c.png"));
    EXPECT_EQ(png.width, 300u);
    EXPECT_EQ(png.height, 200u);
    const auto at = [&](int x, int y, int c) { return png.rgb[(y * 300 + x) * 3 + c]; };
    EXPECT_LT(at(0, 100, 0), at(299, 100, 0)); // red grows to the right
    EXPECT_LT(at(150, 0, 1), at(150, 199, 1)); // green grows downwards
    EXPECT_EQ(at(10, 10, 2), at(290, 190, 2)); // blue is flat
    EXPECT_EQ(Orvik({"quicklook", file, "/pic", Path("d.png"), "--size", "0"}).status, 2);
    EXPECT_EQ(Orvik({"quicklook", file, "/nothing", Path("d.png")}).status, 2);
}

TEST_F(Picture, StatsShowAndCompute) {
    const std::string file = Import(1);
    auto r = Orvik({"stats", "--json", file, "/pic/Band_1"});
    ASSERT_EQ(r.status, 0) << r.err;
    auto j = nlohmann::json::parse(r.out);
    EXPECT_EQ(j[0]["statistics"]["minimum"], 0.0);
    EXPECT_EQ(j[0]["statistics"]["maximum"], 255.0);
    EXPECT_EQ(j[0]["histogram"]["bins"], 256);
    EXPECT_EQ(j[0]["histogram"]["count"], 60000.0);
    r = Orvik({"stats", file, "/pic"});
    EXPECT_NE(r.out.find("histogram: 256 direct bins 0 .. 255, 60000 values"), std::string::npos)
        << r.out;
    // Without statistics until computed.
    ASSERT_EQ(Orvik({"import", "--no-stats", Path("pic.pgm"), file, "--image", "bare"}).status, 0);
    r = Orvik({"stats", file, "/bare/Band_1"});
    EXPECT_NE(r.out.find("no statistics"), std::string::npos) << r.out;
    r = Orvik({"stats", "--compute", "--json", file, "/bare/Band_1"});
    ASSERT_EQ(r.status, 0) << r.err;
    j = nlohmann::json::parse(r.out);
    EXPECT_EQ(j[0]["statistics"]["maximum"], 255.0);
    EXPECT_EQ(Orvik({"check", file}).status, 0);
}

TEST_F(Picture, PrefsListsTheLoadedDatabase) {
    std::filesystem::create_directories(Path("pdf"));
    std::ofstream(Path("pdf/demo.pdf")) << "viewer {\n"
                                           "  title : OPMG_STRING default \"Map\";\n"
                                           "  zoom : OPMG_NUMBER min 0.1 max 64 default 2;\n"
                                           "}\n"
                                           "memory { heap_size : OPMG_NUMBER min 0 default 0; }\n";
    std::string env = "GIO_PDF_PATH=" + tool_test::Quote(Path("pdf"));
    env.append(" GIO_PREFERENCES_PATH=").append(tool_test::Quote(Path("none"))).append(" ");
    auto r = Orvik({"prefs", "viewer"}, env);
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.out, "[viewer]\n  title = \"Map\"\n  zoom = 2\n");
    r = Orvik({"prefs"}, env);
    EXPECT_NE(r.out.find("[memory]\n  heap_size = 0\n"), std::string::npos) << r.out;
    r = Orvik({"prefs", "nothing*"}, env);
    EXPECT_EQ(r.status, 2);
    EXPECT_EQ(r.err, "orvik: No preference category matches nothing*\n");
}

TEST_F(Picture, DemoRunsEndToEnd) {
    const auto r = Orvik({"demo", Path("demo")});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_NE(r.out.find("== 6. orvik quicklook"), std::string::npos);
    EXPECT_NE(r.out.find("(Osta_Statistics Object)"), std::string::npos);
    EXPECT_EQ(ReadPng(Path("demo/scene.png")).width, 512u);
    const auto ls = Orvik({"ls", Path("demo/scene.hfa"), "/scene"});
    EXPECT_EQ(ls.out, "Band_1/\nBand_2/\nBand_3/\nBand_4/\nMap_Info\n");
    EXPECT_EQ(Orvik({"check", Path("demo/scene.hfa")}).status, 0);
    // The scene is deterministic: the same statistics every run.
    const auto stats =
        nlohmann::json::parse(Orvik({"stats", "--json", Path("demo/scene.hfa"), "/scene"}).out);
    EXPECT_EQ(stats.size(), 4u);
    EXPECT_EQ(stats[0]["histogram"]["count"], 2048.0 * 2048.0);
    // The GeoTIFF's georeferencing came through the import.
    ASSERT_EQ(Orvik({"export", Path("demo/scene.hfa"), "/scene", Path("again.tif")}).status, 0);
    ASSERT_EQ(Orvik({"import", Path("again.tif"), Path("again.hfa")}).status, 0);
    EXPECT_NE(Orvik({"dump", Path("again.hfa"), "/again/Map_Info"}).out.find("epsg[0] = 32633"),
              std::string::npos);
}

} // namespace
