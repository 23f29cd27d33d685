// import --compress/--predictor, repack --compress and ls -l with codecs and ratios: pixels
// kept exactly, the storage recorded in the layers, and refused options.
#include <nlohmann/json.hpp>

#include <regex>

#include "fio/fio_test_util.hpp"
#include "pnm.hpp"
#include "tools/tool_test_util.hpp"

namespace {

class Compress : public tool_test::ToolTest {
  protected:
    // A 16-bit 150 x 100 PPM (three bands) of smooth ramps, which every codec shrinks, saved
    // as in.ppm; returns the pixels of band `b` through `Expected`.
    void MakePpm() {
        orvik_pnm::Image img;
        img.width = 150;
        img.height = 100;
        img.channels = 3;
        img.maxValue = 65535;
        for (int y = 0; y < img.height; ++y)
            for (int x = 0; x < img.width; ++x)
                for (int b = 0; b < 3; ++b) img.samples.push_back(Expected(b, y, x));
        const auto bytes = orvik_pnm::Write(img);
        WriteRaw(Path("in.ppm"), std::string(bytes.begin(), bytes.end()));
    }
    static uint16_t Expected(int b, int y, int x) {
        return static_cast<uint16_t>(1000 * b + 3 * y + x + ((x * 7 + y) % 5));
    }

    struct LayerFacts {
        Oimg_LayerStorage storage{};
        long coded = -1;
        int64_t stored = 0, raw = 0;
        int wrong = -1; // pixels differing from Expected (overviews: from the source file)
    };

    // The storage of a layer of `file` and how many of its pixels differ from those of the
    // same layer in `reference` (or from Expected when reference is empty).
    LayerFacts Facts(const std::string &file, const std::string &path,
                     const std::string &reference = "", int band = 0) {
        LayerFacts facts;
        Ohfa_File *f = ohfa_FileOpen(Name(file).c_str(), L"r", 0, nullptr);
        Ohfa_File *r =
            reference.empty() ? nullptr : ohfa_FileOpen(Name(reference).c_str(), L"r", 0, nullptr);
        const std::wstring wide(path.begin(), path.end());
        Oimg_Layer *layer = f ? oimg_LayerOpen(f, wide.c_str(), nullptr) : nullptr;
        Oimg_Layer *other = r ? oimg_LayerOpen(r, wide.c_str(), nullptr) : nullptr;
        if (layer && (reference.empty() || other)) {
            facts.coded = oimg_LayerStorageGet(layer, &facts.storage, nullptr);
            oimg_LayerStoredBytes(layer, &facts.stored, &facts.raw, nullptr);
            Ogda_BaseData *got = oimg_LayerRead(layer, nullptr, nullptr);
            Ogda_BaseData *want = other ? oimg_LayerRead(other, nullptr, nullptr) : nullptr;
            if (got && (want || !other)) {
                facts.wrong = 0;
                for (int y = 0; y < got->numrows; ++y)
                    for (int x = 0; x < got->numcolumns; ++x) {
                        const auto at = [&](const Ogda_BaseData *d) {
                            return reinterpret_cast<const uint16_t *>(
                                static_cast<const unsigned char *>(d->data) + y * d->lineBytes)[x];
                        };
                        facts.wrong += at(got) != (want ? at(want) : Expected(band, y, x));
                    }
            }
            ogda_BaseDataDelete(got, nullptr);
            ogda_BaseDataDelete(want, nullptr);
        }
        if (layer) oimg_LayerClose(layer, nullptr);
        if (other) oimg_LayerClose(other, nullptr);
        if (f) ohfa_FileClose(f, nullptr);
        if (r) ohfa_FileClose(r, nullptr);
        return facts;
    }
};

TEST_F(Compress, ImportWithEachCodecKeepsPixelsAndRecordsStorage) {
    MakePpm();
    const struct {
        std::vector<std::string> args;
        int32_t codec, level, predictor;
    } cases[] = {
        {{"--compress", "zstd:5", "--predictor", "horizontal"},
         OIMG_CODEC_ZSTD,
         5,
         OIMG_PREDICTOR_DIFFERENCE},
        // The codec's default level is recorded as the level it is.
        {{"--compress", "deflate", "--predictor", "shuffle"},
         OIMG_CODEC_DEFLATE,
         6,
         OIMG_PREDICTOR_SHUFFLE},
        {{"--compress", "lz4"}, OIMG_CODEC_LZ4, 0, OIMG_PREDICTOR_NONE},
        {{"--compress", "rle"}, OIMG_CODEC_RUN_LENGTH, 0, OIMG_PREDICTOR_NONE},
        {{"--compress", "none"}, OIMG_CODEC_NONE, 0, OIMG_PREDICTOR_NONE},
    };
    for (const auto &c : cases) {
        std::filesystem::remove(Path("c.hfa"));
        std::vector<std::string> args = {"import", Path("in.ppm"), Path("c.hfa")};
        args.insert(args.end(), c.args.begin(), c.args.end());
        const auto r = Orvik(args);
        ASSERT_EQ(r.status, 0) << c.args[1] << ": " << r.err;
        for (int b = 0; b < 3; ++b) {
            const auto facts = Facts("c.hfa", "/in/Band_" + std::to_string(b + 1), "", b);
            EXPECT_EQ(facts.coded, 1) << c.args[1];
            EXPECT_EQ(facts.storage.codec, c.codec) << c.args[1];
            EXPECT_EQ(facts.storage.level, c.level) << c.args[1];
            EXPECT_EQ(facts.storage.predictor, c.predictor) << c.args[1];
            EXPECT_EQ(facts.storage.checksum, OIMG_CHECKSUM_XXH3) << c.args[1];
            EXPECT_EQ(facts.wrong, 0) << c.args[1] << " band " << b;
            EXPECT_EQ(facts.raw, 3 * 2 * 64 * 64 * 2) << c.args[1]; // six whole 64 x 64 blocks
            if (c.codec == OIMG_CODEC_ZSTD || c.codec == OIMG_CODEC_DEFLATE) {
                EXPECT_LT(facts.stored * 2, facts.raw) << c.args[1];
            }
        }
        // Statistics and pyramids come with coded layers as with plain ones.
        const auto check = Orvik({"check", Path("c.hfa")});
        EXPECT_EQ(check.status, 0) << check.out;
        EXPECT_EQ(Facts("c.hfa", "/in/Band_1/Overview_2").storage.codec, c.codec);
    }
}

TEST_F(Compress, LsLongShowsCodecAndRatio) {
    MakePpm();
    ASSERT_EQ(Orvik({"import", Path("in.ppm"), Path("c.hfa"), "--compress", "zstd:3", "--predictor",
                     "shuffle", "--no-pyramids", "--layer", "z"})
                  .status,
              0);
    const std::string small = MakeSmallFile();
    // A plain layer: its blocks as they are, ratio 1.
    auto r = Orvik({"ls", "-l", small, "/Image"});
    EXPECT_EQ(tool_test::MaskTimes(r.out),
              "Oimg_Layer                   40  TIME  Band_1/  (none, ratio 1.00)\n");
    r = Orvik({"ls", "-l", Path("c.hfa"), "/in"});
    ASSERT_EQ(r.status, 0) << r.err;
    const auto facts = Facts("c.hfa", "/in/z_1");
    char ratio[32];
    std::snprintf(ratio, sizeof ratio, "%.2f",
                  static_cast<double>(facts.raw) / static_cast<double>(facts.stored));
    const std::string lines = tool_test::MaskTimes(r.out);
    EXPECT_NE(lines.find("Oimg_Layer                   40  TIME  z_1/  (zstd:3+shuffle, ratio " +
                         std::string(ratio) + ")\n"),
              std::string::npos)
        << lines;
    EXPECT_EQ(std::count(lines.begin(), lines.end(), '\n'), 3);
    // The short form stays names only.
    EXPECT_EQ(Orvik({"ls", Path("c.hfa"), "/in"}).out, "z_1/\nz_2/\nz_3/\n");

    r = Orvik({"ls", "--json", Path("c.hfa"), "/in"});
    const auto j = nlohmann::json::parse(r.out);
    ASSERT_EQ(j.size(), 3u);
    EXPECT_EQ(j[0]["codec"], "zstd");
    EXPECT_EQ(j[0]["level"], 3);
    EXPECT_EQ(j[0]["predictor"], "shuffle");
    EXPECT_EQ(j[0]["checksum"], true);
    EXPECT_EQ(j[0]["rawBytes"], facts.raw);
    EXPECT_EQ(j[0]["storedBytes"], facts.stored);
    EXPECT_DOUBLE_EQ(j[0]["ratio"].get<double>(),
                     static_cast<double>(facts.raw) / static_cast<double>(facts.stored));
    // Entries that are not layers carry no codec.
    const auto rows = nlohmann::json::parse(Orvik({"ls", "--json", small}).out);
    EXPECT_FALSE(rows[1].contains("codec"));
}

TEST_F(Compress, RepackRecodesEveryLayerAndKeepsTheRest) {
    MakePpm();
    ASSERT_EQ(Orvik({"import", Path("in.ppm"), Path("plain.hfa")}).status, 0);
    const std::string before = Orvik({"ls", "-r", Path("plain.hfa")}).out;
    auto r = Orvik({"repack", Path("plain.hfa"), Path("deflated.hfa"), "--compress", "deflate:9",
                    "--predictor", "horizontal"});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_NE(r.out.find("deflated.hfa: 9 layers now deflate:9+horizontal"), std::string::npos)
        << r.out;
    EXPECT_FALSE(std::filesystem::exists(Path("deflated.hfa.recoding")));
    // Same entries, the block caches replaced by storage records and block indexes.
    std::string expected =
        std::regex_replace(before, std::regex("(/in/Band_\\d(/Overview_\\d)?)/Blocks\n"),
                           "$1/Storage\n$1/BlockIndex\n");
    const std::string after = Orvik({"ls", "-r", Path("deflated.hfa")}).out;
    auto sorted = [](const std::string &text) {
        std::vector<std::string> lines;
        std::istringstream in(text);
        for (std::string line; std::getline(in, line);) lines.push_back(line);
        std::sort(lines.begin(), lines.end());
        return lines;
    };
    EXPECT_EQ(sorted(after), sorted(expected)) << after;
    for (const std::string layer : {"/in/Band_1", "/in/Band_2", "/in/Band_3",
                                    "/in/Band_1/Overview_2", "/in/Band_3/Overview_4"}) {
        const auto facts = Facts("deflated.hfa", layer, "plain.hfa");
        EXPECT_EQ(facts.coded, 1) << layer;
        EXPECT_EQ(facts.storage.codec, OIMG_CODEC_DEFLATE) << layer;
        EXPECT_EQ(facts.storage.level, 9) << layer;
        EXPECT_EQ(facts.storage.predictor, OIMG_PREDICTOR_DIFFERENCE) << layer;
        EXPECT_EQ(facts.wrong, 0) << layer;
    }
    r = Orvik({"check", "--json", Path("deflated.hfa")});
    EXPECT_EQ(r.status, 0) << r.out;
    EXPECT_EQ(nlohmann::json::parse(r.out)["leaked"], 0);
    EXPECT_LT(std::filesystem::file_size(Path("deflated.hfa")),
              std::filesystem::file_size(Path("plain.hfa")) / 2);
    // The statistics came along.
    EXPECT_EQ(Orvik({"stats", Path("deflated.hfa"), "/in/Band_2"}).status, 0);

    // Without --compress each layer keeps its codec; with it, coded layers change too.
    ASSERT_EQ(Orvik({"repack", Path("deflated.hfa"), Path("kept.hfa")}).status, 0);
    EXPECT_EQ(Facts("kept.hfa", "/in/Band_2", "plain.hfa").storage.codec, OIMG_CODEC_DEFLATE);
    ASSERT_EQ(Orvik({"repack", Path("deflated.hfa"), Path("lz4.hfa"), "--compress", "lz4"}).status,
              0);
    const auto lz4 = Facts("lz4.hfa", "/in/Band_2/Overview_2", "plain.hfa");
    EXPECT_EQ(lz4.storage.codec, OIMG_CODEC_LZ4);
    EXPECT_EQ(lz4.storage.predictor, OIMG_PREDICTOR_NONE);
    EXPECT_EQ(lz4.wrong, 0);
    EXPECT_EQ(Orvik({"check", Path("lz4.hfa")}).status, 0);
}

TEST_F(Compress, RefusedOptions) {
    MakePpm();
    const struct {
        std::vector<std::string> args;
        std::string message;
    } cases[] = {
        {{"--compress", "gzip"},
         "orvik: Unknown codec \"gzip\" (known: none, rle, deflate, zstd, lz4)\n"},
        {{"--compress", "lz4:3"}, "orvik: Level \"3\" does not fit codec lz4\n"},
        {{"--compress", "zstd:23"}, "orvik: Level \"23\" does not fit codec zstd\n"},
        {{"--compress", "deflate:x"}, "orvik: Level \"x\" does not fit codec deflate\n"},
        {{"--compress", "zstd", "--predictor", "delta"},
         "orvik: Unknown predictor \"delta\" (known: none, horizontal, shuffle)\n"},
    };
    for (const auto &c : cases) {
        std::vector<std::string> args = {"import", Path("in.ppm"), Path("n.hfa")};
        args.insert(args.end(), c.args.begin(), c.args.end());
        const auto r = Orvik(args);
        EXPECT_EQ(r.status, 2);
        EXPECT_EQ(r.err, c.message);
        EXPECT_FALSE(std::filesystem::exists(Path("n.hfa"))) << c.args[1];
        args = {"repack", MakeSmallFile(), Path("n.hfa")};
        args.insert(args.end(), c.args.begin(), c.args.end());
        EXPECT_EQ(Orvik(args).err, c.message);
    }
    // A predictor needs a codec; a predictor that does not fit the pixel type is the library's
    // report, on one line.
    EXPECT_EQ(Orvik({"import", Path("in.ppm"), Path("n.hfa"), "--predictor", "shuffle"}).status, 2);
    const auto r = Orvik(
        {"repack", MakeSmallFile(), Path("n.hfa"), "--compress", "zstd", "--predictor", "shuffle"});
    EXPECT_EQ(r.status, 2);
    EXPECT_EQ(std::count(r.err.begin(), r.err.end(), '\n'), 1) << r.err;
    EXPECT_FALSE(std::filesystem::exists(Path("n.hfa.recoding")));
}

} // namespace
