// Several threads reading windows of layers of one read-only file at once: every window is
// exact, whether it went through the block cache (or a coded layer's held blocks and workers)
// or straight to the file; plain and coded layers alike.
#include <atomic>
#include <thread>
#include <vector>

#include "img_test_util.hpp"

namespace {

using namespace img_test;

class SharedRead : public ImgTest, public ::testing::WithParamInterface<bool> {
  protected:
    // 300 x 260 layers "/Image/<type name>" of u4 (sub-byte codec), u16 and f32, 32 x 32
    // blocks; the top-left 200 x 200 pixels written, the rest never written (no-data 3).
    // Coded: zstd with the byte shuffle where the type allows it, run-length for u4.
    void WriteLayers(const std::string &leaf, bool coded) {
        Report err;
        Ohfa_File *f = NewFile(leaf);
        ASSERT_NE(f, nullptr);
        for (int type : kTypes) {
            Oimg_LayerInfo info = Info(260, 300, type, 32, 32);
            info.hasNoData = 1;
            info.noData = 3;
            Oimg_LayerStorage storage;
            oimg_LayerStorageInit(&storage);
            storage.codec = type == OGDA_U4 ? OIMG_CODEC_RUN_LENGTH : OIMG_CODEC_ZSTD;
            storage.predictor = type == OGDA_U4 ? OIMG_PREDICTOR_NONE : OIMG_PREDICTOR_SHUFFLE;
            Oimg_Layer *layer = coded ? oimg_LayerCreateWithStorage(f, L"/Image", TypeName(type),
                                                                    &info, &storage, &err)
                                      : oimg_LayerCreate(f, L"/Image", TypeName(type), &info, &err);
            ASSERT_NE(layer, nullptr) << Text(err);
            Data d = Raster(200, 200, type);
            Fill(d.get(), 0, 0);
            ASSERT_EQ(oimg_LayerWriteWindow(layer, 0, 0, 200, 200, d.get(), &err), 0) << Text(err);
            ASSERT_EQ(oimg_LayerClose(layer, &err), 0) << Text(err);
        }
        ASSERT_EQ(ohfa_FileClose(f, &err), 0) << Text(err);
    }
    static const wchar_t *TypeName(int type) {
        return type == OGDA_U4 ? L"u4" : type == OGDA_U16 ? L"u16" : L"f32";
    }
    static constexpr int kTypes[] = {OGDA_U4, OGDA_U16, OGDA_F32};
};

// Whether `d` (window at r0, c0) holds the written pixels and no-data outside them.
bool Exact(const Ogda_BaseData *d, int r0, int c0) {
    Data expect = Raster(d->numrows, d->numcolumns, d->datatype);
    Fill(expect.get(), r0, c0);
    for (int r = 0; r < d->numrows; ++r) {
        const auto *got = static_cast<const unsigned char *>(d->data) + int64_t{r} * d->lineBytes;
        const auto *want =
            static_cast<const unsigned char *>(expect->data) + int64_t{r} * expect->lineBytes;
        for (int c = 0; c < d->numcolumns; ++c) {
            const bool written = r + r0 < 200 && c + c0 < 200;
            const std::size_t n = static_cast<std::size_t>(d->numbytes);
            if (written ? std::memcmp(got + c * n, want + c * n, n) != 0
                        : (d->datatype == OGDA_F32
                               ? *reinterpret_cast<const float *>(got + c * n) != 3.0f
                               : got[c * n] != 3))
                return false;
        }
    }
    return true;
}

TEST_P(SharedRead, FourThreadsReadWindowsOfOneLayerAndOfSeveral) {
    WriteLayers("shared.hfa", GetParam());
    Report err;
    Ohfa_File *f = ohfa_FileOpen(Name("shared.hfa").c_str(), L"r", 0, &err);
    ASSERT_NE(f, nullptr) << Text(err);
    // The read that holds a layer decodes with two workers, beside the shared ones.
    ASSERT_EQ(ohfa_FileChange(f, &err, OHFA_OPTION_WORKER_THREADS, 2, 0), 0) << Text(err);
    std::vector<Oimg_Layer *> layers;
    for (int type : kTypes) {
        const std::wstring path = std::wstring(L"/Image/") + TypeName(type);
        layers.push_back(oimg_LayerOpen(f, path.c_str(), &err));
        ASSERT_NE(layers.back(), nullptr) << Text(err);
    }
    std::atomic<int> wrong{0}, failed{0};
    auto reader = [&](int seed, bool allLayers) {
        unsigned state = static_cast<unsigned>(seed) * 2654435761u + 1;
        auto next = [&](int bound) {
            state = state * 1103515245u + 12345u;
            return static_cast<int>((state >> 8) % static_cast<unsigned>(bound));
        };
        for (int i = 0; i < 300; ++i) {
            const int k = allLayers ? i % 3 : 2;
            const int rows = 1 + next(80), cols = 1 + next(80);
            const int r0 = next(300 - rows + 1), c0 = next(260 - cols + 1);
            Data d = Raster(rows, cols, kTypes[k]);
            Report e;
            if (oimg_LayerReadWindow(layers[k], r0, c0, rows, cols, d.get(), &e) != 0) {
                ++failed;
            } else if (!Exact(d.get(), r0, c0)) {
                ++wrong;
            }
        }
    };
    for (bool allLayers : {false, true}) {
        std::vector<std::thread> threads;
        for (int t = 0; t < 4; ++t)
            threads.emplace_back(reader, t + (allLayers ? 10 : 0), allLayers);
        for (auto &t : threads) t.join();
    }
    EXPECT_EQ(failed.load(), 0);
    EXPECT_EQ(wrong.load(), 0);
    for (Oimg_Layer *layer : layers) EXPECT_EQ(oimg_LayerClose(layer, &err), 0) << Text(err);
    EXPECT_EQ(ohfa_FileClose(f, &err), 0) << Text(err);
}

INSTANTIATE_TEST_SUITE_P(Layers, SharedRead, ::testing::Values(false, true),
                         [](const auto &info) { return info.param ? "Coded" : "Plain"; });

} // namespace
