// check and repack: sound, leaking and damaged files, --repair, the bytes a repack saves.
#include <nlohmann/json.hpp>

#include <orvik/odsc.h>

#include "fio/fio_test_util.hpp"
#include "tools/tool_test_util.hpp"

namespace {

class Check : public tool_test::ToolTest {
  protected:
    // The small file with 500 bytes taken and never used.
    std::string MakeLeakyFile() {
        const std::string file = MakeSmallFile("leaky.hfa");
        Ohfa_File *f = ohfa_FileOpen(Name("leaky.hfa").c_str(), L"r+", 0, nullptr);
        EXPECT_NE(ohfa_NextFreePos(f, 500, nullptr), 0u);
        ohfa_FileClose(f, nullptr);
        return file;
    }
};

TEST_F(Check, SoundFile) {
    const std::string file = MakeSmallFile();
    auto r = Orvik({"check", file});
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.out, file + ": sound, 0 bytes leaked\n");
    r = Orvik({"check", "--json", file});
    const auto j = nlohmann::json::parse(r.out);
    EXPECT_TRUE(j["sound"].get<bool>());
    EXPECT_TRUE(j["problems"].empty());
}

TEST_F(Check, DamagedFileGivesOneLinePerProblemAndStatusOne) {
    const std::string file = MakeSmallFile();
    std::string bytes = ReadRaw(file);
    const uint32_t root = hfa_test::Word(bytes, 64 + 8);
    hfa_test::PutWord(bytes, root + 12, 0x7FFFFFF0); // the root's child link leads outside
    hfa_test::PutWord(bytes, 64 + 4, 30);            // the free list starts inside the tag
    WriteRaw(file, bytes);
    const auto r = Orvik({"check", "--json", file});
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.err, "orvik: " + file + ": 2 problems found\n");
    const auto j = nlohmann::json::parse(r.out);
    ASSERT_EQ(j["problems"].size(), 2u) << r.out;
    EXPECT_EQ(j["problems"][0],
              "Entry / (at " + std::to_string(root) +
                  "): child link 2147483632 does not name an entry inside the file");
    const auto text = Orvik({"check", file});
    EXPECT_EQ(text.status, 1);
    EXPECT_EQ(std::count(text.out.begin(), text.out.end(), '\n'), 2) << text.out;
}

TEST_F(Check, RepairReclaimsLeakedSpace) {
    const std::string file = MakeLeakyFile();
    auto r = Orvik({"free", "--json", file});
    const auto before = nlohmann::json::parse(r.out);
    EXPECT_GE(before["leaked"].get<int64_t>(), 500);
    r = Orvik({"check", "--repair", file});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_NE(r.out.find("free list rebuilt, " + std::to_string(before["leaked"].get<int64_t>()) +
                         " leaked bytes reclaimed"),
              std::string::npos)
        << r.out;
    EXPECT_NE(r.out.find(": sound, 0 bytes leaked\n"), std::string::npos) << r.out;
    const auto after = nlohmann::json::parse(Orvik({"free", "--json", file}).out);
    EXPECT_EQ(after["leaked"], 0);
    EXPECT_EQ(after["free"].get<int64_t>(),
              before["free"].get<int64_t>() + before["leaked"].get<int64_t>());
    EXPECT_EQ(after["used"], before["used"]);
    // The pixels are untouched.
    EXPECT_NE(Orvik({"dump", file, "/Image/Band_1/Statistics"}).out.find("maximum[0] = 31"),
              std::string::npos);
}

TEST_F(Check, RepairRefusesOtherDamage) {
    const std::string file = MakeLeakyFile();
    std::string bytes = ReadRaw(file);
    const uint32_t root = hfa_test::Word(bytes, 64 + 8);
    hfa_test::PutWord(bytes, root + 12, 0x7FFFFFF0);
    WriteRaw(file, bytes);
    const auto r = Orvik({"check", "--repair", file});
    EXPECT_EQ(r.status, 2);
    EXPECT_NE(r.err.find("damaged beyond its free list"), std::string::npos) << r.err;
    EXPECT_EQ(ReadRaw(file), bytes);
}

TEST_F(Check, RepackSavesTheLeakedBytes) {
    const std::string file = MakeLeakyFile();
    const auto r = Orvik({"repack", file, Path("packed.hfa")});
    ASSERT_EQ(r.status, 0) << r.err;
    const auto in = std::filesystem::file_size(file),
               out = std::filesystem::file_size(Path("packed.hfa"));
    EXPECT_LT(out + 400, in);
    EXPECT_EQ(r.out, Path("packed.hfa") + ": 5 entries, " + std::to_string(in) + " -> " +
                         std::to_string(out) + " bytes, " + std::to_string(in - out) +
                         " bytes saved\n");
    EXPECT_EQ(Orvik({"check", Path("packed.hfa")}).status, 0);
    EXPECT_EQ(Orvik({"ls", "-r", Path("packed.hfa")}).out, Orvik({"ls", "-r", file}).out);
    EXPECT_EQ(Orvik({"repack", file, file}).status, 2);
    EXPECT_EQ(Orvik({"repack", Path("missing.hfa"), Path("x.hfa")}).status, 2);
}

} // namespace

namespace {

// Files the tool writes end sound with nothing leaked and free + used = file size: the demo's
// (a georeferenced four-band TIFF imported with statistics, histograms and pyramids, then
// statistics computed again and a quicklook read), the same image imported again into it
// with coded layers, and a repack with another codec.
TEST_F(Check, FreshlyWrittenFilesLeakNothing) {
    auto r = Orvik({"demo", Path("demo")});
    ASSERT_EQ(r.status, 0) << r.err;
    const std::string file = Path("demo/scene.hfa");
    ASSERT_EQ(Orvik({"import", Path("demo/scene.tif"), file, "--image", "coded", "--compress",
                     "zstd", "--predictor", "horizontal"})
                  .status,
              0);
    ASSERT_EQ(Orvik({"repack", file, Path("lz4.hfa"), "--compress", "lz4"}).status, 0);
    for (const std::string &f : {file, Path("lz4.hfa")}) {
        r = Orvik({"check", "--json", f});
        EXPECT_EQ(r.status, 0) << r.out;
        const auto check = nlohmann::json::parse(r.out);
        EXPECT_TRUE(check["problems"].empty()) << r.out;
        EXPECT_EQ(check["leaked"], 0) << f;
        const auto free = nlohmann::json::parse(Orvik({"free", "--json", f}).out);
        EXPECT_EQ(free["leaked"], 0) << f;
        EXPECT_EQ(free["free"].get<int64_t>() + free["used"].get<int64_t>(),
                  static_cast<int64_t>(std::filesystem::file_size(f)))
            << f;
    }
    // The descriptor columns' value blocks (histogram, colour table) are the columns' own:
    // a repair reclaims nothing and they still read.
    r = Orvik({"check", "--repair", file});
    EXPECT_NE(r.out.find("free list rebuilt, 0 leaked bytes reclaimed"), std::string::npos)
        << r.out;
    Ohfa_File *f = ohfa_FileOpen(Name("demo/scene.hfa").c_str(), L"r", 0, nullptr);
    Odsc_Table *table = odsc_TableOpen(f, L"/scene/Band_1", nullptr);
    ASSERT_NE(table, nullptr);
    Osta_Histogram *h = osta_HistogramRead(table, nullptr, 0, 256, nullptr);
    ASSERT_NE(h, nullptr);
    double total = 0;
    for (int i = 0; i < 256; ++i) total += static_cast<double *>(h->table->data)[i];
    EXPECT_EQ(total, 2048.0 * 2048.0);
    osta_HistogramDelete(h);
    odsc_TableClose(table, nullptr);
    ohfa_FileClose(f, nullptr);
}

} // namespace
