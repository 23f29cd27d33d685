// The tool and external layers: ls marks them and lists past one whose companion is gone,
// repack gives the copy a companion of its own and counts it in the bytes saved, check covers
// the companion file.
#include <filesystem>

#include <nlohmann/json.hpp>

#include "tools/tool_test_util.hpp"

namespace {

// 64 x 64 u8 in one block.
Oimg_LayerInfo SmallLayer() {
    Oimg_LayerInfo info{};
    info.width = info.height = 64;
    info.pixelType = OGDA_U8;
    info.layerKind = OIMG_CONTINUOUS;
    return info;
}

class CompanionTool : public tool_test::ToolTest {
  protected:
    // A file with the image "/Image": layer "Ext" in a companion file (written twice, so the
    // companion holds bytes a repack drops) and layer "In" inside.
    std::string MakeTwoLayerFile(std::string &companion);
};

TEST_F(CompanionTool, LsMarksRepackCopiesCheckCoversTheCompanion) {
    hfa_test::Report err;
    Ohfa_File *f = ohfa_FileCreate(Name("ext.hfa").c_str(), 0, &err);
    ASSERT_NE(f, nullptr);
    ASSERT_EQ(oimg_ImageCreate(f, nullptr, L"Image", &err), 0);
    const Oimg_LayerInfo info = SmallLayer();
    Oimg_Layer *layer =
        oimg_LayerCreatePlaced(f, L"/Image", L"Ext", &info, nullptr, OIMG_PLACE_COMPANION, &err);
    ASSERT_NE(layer, nullptr);
    const std::filesystem::path companion(oimg_LayerCompanionPathGet(layer));
    Ogda_BaseData *data = ogda_BaseDataCreate(64, 64, OGDA_U8, Ogda_Raster, nullptr, &err);
    ASSERT_EQ(oimg_LayerWrite(layer, data, &err), 0);
    ogda_BaseDataDelete(data, nullptr);
    oimg_LayerClose(layer, nullptr);
    ohfa_FileClose(f, nullptr);

    auto r = Orvik({"ls", Path("ext.hfa"), "/Image"});
    EXPECT_EQ(r.out, "Ext/  [external]\n");
    r = Orvik({"ls", "--json", Path("ext.hfa"), "/Image"});
    EXPECT_EQ(nlohmann::json::parse(r.out)[0]["external"], true);

    r = Orvik({"repack", Path("ext.hfa"), Path("packed.hfa")});
    ASSERT_EQ(r.status, 0) << r.err;
    r = Orvik({"check", Path("packed.hfa")});
    EXPECT_EQ(r.status, 0) << r.out << r.err;
    int companions = 0;
    for (const auto &e : std::filesystem::directory_iterator(companion.parent_path()))
        companions += e.path().extension() == ".blocks";
    EXPECT_EQ(companions, 2);

    std::filesystem::resize_file(companion, 100);
    r = Orvik({"check", Path("ext.hfa")});
    EXPECT_EQ(r.status, 1);
    EXPECT_NE(r.out.find("lies outside the companion file"), std::string::npos) << r.out;
}

std::string CompanionTool::MakeTwoLayerFile(std::string &companion) {
    hfa_test::Report err;
    const std::string file = Path("two.hfa");
    Ohfa_File *f = ohfa_FileCreate(Name("two.hfa").c_str(), 0, &err);
    EXPECT_NE(f, nullptr);
    EXPECT_EQ(oimg_ImageCreate(f, nullptr, L"Image", &err), 0);
    const Oimg_LayerInfo info = SmallLayer();
    for (long place : {OIMG_PLACE_COMPANION, OIMG_PLACE_INSIDE}) {
        const wchar_t *name = place == OIMG_PLACE_INSIDE ? L"In" : L"Ext";
        Oimg_Layer *layer = oimg_LayerCreatePlaced(f, L"/Image", name, &info, nullptr, place, &err);
        EXPECT_NE(layer, nullptr);
        if (!layer) continue;
        if (oimg_LayerCompanionPathGet(layer))
            companion = std::filesystem::path(oimg_LayerCompanionPathGet(layer)).string();
        Ogda_BaseData *data = ogda_BaseDataCreate(64, 64, OGDA_U8, Ogda_Raster, nullptr, &err);
        for (int pass = 0; pass < 2; ++pass) {
            EXPECT_EQ(oimg_LayerWrite(layer, data, &err), 0);
            EXPECT_EQ(oimg_LayerFlush(layer, &err), 0);
        }
        ogda_BaseDataDelete(data, nullptr);
        oimg_LayerClose(layer, nullptr);
    }
    ohfa_FileClose(f, nullptr);
    return file;
}

// ls is a listing, not a check: a layer that cannot be opened shows why in its row, every
// other entry is listed, and the status stays 0.
TEST_F(CompanionTool, LsListsEveryEntryWhenACompanionIsMissing) {
    std::string companion;
    const std::string file = MakeTwoLayerFile(companion);
    ASSERT_FALSE(companion.empty());
    std::filesystem::remove(companion);
    auto r = Orvik({"ls", "-l", file, "/Image"});
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.err, "");
    const std::string out = tool_test::MaskTimes(r.out);
    EXPECT_EQ(out.substr(0, out.find(": its companion file")),
              "Oimg_Layer                   40  TIME  Ext/  [external]  (unreadable, Layer "
              "/Image/Ext");
    EXPECT_NE(out.find("cannot be opened"), std::string::npos) << out;
    EXPECT_NE(out.find("In/  (none, ratio 1.00)\n"), std::string::npos) << out;

    r = Orvik({"ls", "--json", file, "/Image"});
    EXPECT_EQ(r.status, 0) << r.err;
    const auto rows = nlohmann::json::parse(r.out);
    ASSERT_EQ(rows.size(), 2u);
    EXPECT_NE(rows[0]["error"].get<std::string>().find("cannot be opened"), std::string::npos);
    EXPECT_FALSE(rows[0].contains("codec"));
    EXPECT_FALSE(rows[1].contains("error"));
    EXPECT_EQ(rows[1]["codec"], "none");
    // Without -l no layer is opened: the listing is the same as for a sound file.
    EXPECT_EQ(Orvik({"ls", file, "/Image"}).out, "Ext/  [external]\nIn/\n");
}

TEST_F(CompanionTool, RepackCountsTheCompanionFilesInTheBytesSaved) {
    std::string companion;
    const std::string file = MakeTwoLayerFile(companion);
    const auto r = Orvik({"repack", file, Path("packed.hfa")});
    ASSERT_EQ(r.status, 0) << r.err;
    std::string copied;
    for (const auto &e : std::filesystem::directory_iterator(Path(".")))
        if (e.path().extension() == ".blocks" && !std::filesystem::equivalent(e.path(), companion))
            copied = e.path().string();
    ASSERT_FALSE(copied.empty());
    namespace fs = std::filesystem;
    const auto in = fs::file_size(file) + fs::file_size(companion),
               out = fs::file_size(Path("packed.hfa")) + fs::file_size(copied);
    EXPECT_LT(fs::file_size(copied), fs::file_size(companion)); // the rewrite's bytes dropped
    EXPECT_EQ(r.out, Path("packed.hfa") + ": 7 entries, " + std::to_string(in) + " -> " +
                         std::to_string(out) + " bytes, " + std::to_string(in - out) +
                         " bytes saved (companion files included: 1 -> 1)\n");
    // --compress stages through a file of its own: its companion goes with it.
    ASSERT_EQ(Orvik({"repack", file, Path("z.hfa"), "--compress", "zstd"}).status, 0);
    int staged = 0;
    for (const auto &e : fs::directory_iterator(Path(".")))
        staged += e.path().filename().string().rfind("z.hfa.recoding", 0) == 0;
    EXPECT_EQ(staged, 0);
}

} // namespace
