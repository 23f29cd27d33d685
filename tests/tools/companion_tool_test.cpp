// The tool and external layers: ls marks them, repack gives the copy a companion of its own,
// check covers the companion file.
#include <filesystem>

#include <nlohmann/json.hpp>

#include "tools/tool_test_util.hpp"

namespace {

class CompanionTool : public tool_test::ToolTest {};

TEST_F(CompanionTool, LsMarksRepackCopiesCheckCoversTheCompanion) {
    hfa_test::Report err;
    Ohfa_File *f = ohfa_FileCreate(Name("ext.hfa").c_str(), 0, &err);
    ASSERT_NE(f, nullptr);
    ASSERT_EQ(oimg_ImageCreate(f, nullptr, L"Image", &err), 0);
    Oimg_LayerInfo info{};
    info.width = info.height = 64;
    info.pixelType = OGDA_U8;
    info.layerKind = OIMG_CONTINUOUS;
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

} // namespace
