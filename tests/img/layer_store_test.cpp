// A layer's block store as the file check and the copies see it: every stored block and the
// index are claimed (nothing leaks), and a copied layer reads back pixel for pixel.
#include <vector>

#include "img_test_util.hpp"

namespace {

using namespace img_test;

constexpr const wchar_t *kLayer = L"/Image/L";

// Problems and lines of the check of `leaf` (opened read-only).
struct CheckResult {
    long count = -1;
    std::vector<std::wstring> lines;
};

class LayerStore : public ImgTest {
  protected:
    // A 200 x 150 u16 layer of 4 x 3 blocks, of which only the top-left 2 x 2 are written.
    void WriteSample(const std::string &leaf) {
        Report err;
        Ohfa_File *f = NewFile(leaf);
        ASSERT_NE(f, nullptr);
        Oimg_LayerInfo info = Info(200, 150, OGDA_U16, 64, 64);
        Oimg_Layer *layer = oimg_LayerCreate(f, L"/Image", L"L", &info, &err);
        ASSERT_NE(layer, nullptr) << Text(err);
        Data d = Raster(100, 100, OGDA_U16);
        Fill(d.get(), 10, 5);
        ASSERT_EQ(oimg_LayerWriteWindow(layer, 10, 5, 100, 100, d.get(), &err), 0) << Text(err);
        ASSERT_EQ(oimg_LayerClose(layer, &err), 0) << Text(err);
        ASSERT_EQ(ohfa_FileClose(f, &err), 0) << Text(err);
    }
    CheckResult Check(const std::string &leaf) {
        CheckResult out;
        out.count = hfa_test::CheckLines(Name(leaf), out.lines);
        return out;
    }
    // The whole layer `path` of file `leaf`.
    Data ReadAll(const std::string &leaf, const wchar_t *path) {
        Report err;
        Ohfa_File *f = ohfa_FileOpen(Name(leaf).c_str(), L"r", 0, &err);
        EXPECT_NE(f, nullptr) << Text(err);
        if (!f) return nullptr;
        Oimg_Layer *layer = oimg_LayerOpen(f, path, &err);
        EXPECT_NE(layer, nullptr) << Text(err);
        Data d(layer ? oimg_LayerRead(layer, nullptr, &err) : nullptr);
        EXPECT_NE(d, nullptr) << Text(err);
        EXPECT_EQ(oimg_LayerClose(layer, &err), 0);
        EXPECT_EQ(ohfa_FileClose(f, &err), 0);
        return d;
    }
    // Whether the copy's layer holds the source's pixels, and the written window's values.
    void ExpectSamePixels(const std::string &copy, const wchar_t *path) {
        Data a = ReadAll("src.hfa", kLayer), b = ReadAll(copy, path);
        ASSERT_TRUE(a && b);
        ASSERT_EQ(a->numrows, b->numrows);
        ASSERT_EQ(a->lineBytes, b->lineBytes);
        EXPECT_EQ(
            std::memcmp(a->data, b->data, static_cast<std::size_t>(a->lineBytes) * a->numrows), 0);
        Data window = Raster(100, 100, OGDA_U16);
        Report err;
        Ohfa_File *f = ohfa_FileOpen(Name(copy).c_str(), L"r", 0, &err);
        Oimg_Layer *layer = oimg_LayerOpen(f, path, &err);
        ASSERT_NE(layer, nullptr) << Text(err);
        ASSERT_EQ(oimg_LayerReadWindow(layer, 10, 5, 100, 100, window.get(), &err), 0);
        EXPECT_TRUE(Holds(window.get(), 10, 5));
        EXPECT_EQ(ohfa_CacheBlockIsStored(oimg_LayerCacheGet(layer), 3), OMSC_FALSE);
        EXPECT_EQ(ohfa_CacheBlockIsStored(oimg_LayerCacheGet(layer), 5), OMSC_TRUE);
        oimg_LayerClose(layer, nullptr);
        ohfa_FileClose(f, nullptr);
    }
};

TEST_F(LayerStore, AWrittenLayerChecksSoundWithNothingLeaked) {
    WriteSample("src.hfa");
    const CheckResult r = Check("src.hfa");
    EXPECT_EQ(r.count, 0);
    EXPECT_TRUE(r.lines.empty()) << (r.lines.empty()
                                         ? ""
                                         : std::string(r.lines[0].begin(), r.lines[0].end()));
}

TEST_F(LayerStore, AFileCopyCarriesThePixelsAndChecksSound) {
    WriteSample("src.hfa");
    Report err;
    ASSERT_GT(ohfa_FileCopy(Name("src.hfa").c_str(), Name("copy.hfa").c_str(), &err), 0)
        << Text(err);
    ExpectSamePixels("copy.hfa", kLayer);
    const CheckResult r = Check("copy.hfa");
    EXPECT_EQ(r.count, 0);
    EXPECT_TRUE(r.lines.empty());
}

TEST_F(LayerStore, AnObjectCopyCarriesThePixelsAndChecksSound) {
    WriteSample("src.hfa");
    Report err;
    Ohfa_File *src = ohfa_FileOpen(Name("src.hfa").c_str(), L"r", 0, &err);
    Ohfa_File *dst = ohfa_FileCreate(Name("obj.hfa").c_str(), 0, &err);
    ASSERT_TRUE(src && dst) << Text(err);
    ASSERT_EQ(ohfa_EntrySeek(dst, OHFA_SEEK_ROOT, nullptr, &err), 1);
    ASSERT_EQ(ohfa_EntryWrite(dst, OHFA_WRITE_LAST_CHILD, L"Copies", L"Group", &err), 0);
    ASSERT_GT(ohfa_ObjectCopy(src, L"/Image", dst, L"/Copies", &err), 0) << Text(err);
    ASSERT_EQ(ohfa_FileClose(src, &err), 0);
    ASSERT_EQ(ohfa_FileClose(dst, &err), 0);
    ExpectSamePixels("obj.hfa", L"/Copies/Image/L");
    const CheckResult r = Check("obj.hfa");
    EXPECT_EQ(r.count, 0);
    for (const std::wstring &line : r.lines) ADD_FAILURE() << std::string(line.begin(), line.end());
}

} // namespace
