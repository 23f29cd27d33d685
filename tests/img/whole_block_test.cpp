// Windows that cover blocks whole in the layer's own type skip the block cache (or a coded
// layer's held blocks). These cases mix them with blocks held in memory, with rewrites, with
// conversions and with a crash at every write: the pixels must always be those last written,
// and the file sound.
#include <vector>

#include "fio/write_seam.hpp"
#include "img_test_util.hpp"

namespace {

using namespace img_test;

constexpr int32_t kWidth = 200, kHeight = 150;

// The layer as the test wrote it: f32 values, one per pixel.
struct Model {
    std::vector<float> px = std::vector<float>(std::size_t{kWidth} * kHeight, 0.0f);
    // Writes a window of values base + r * 1000 + c (r, c inside the window) to the layer and
    // to the model.
    long Write(Oimg_Layer *layer, int32_t r0, int32_t c0, int32_t rows, int32_t cols, float base,
               Oerr_ErrorReport **err) {
        Data d = Raster(rows, cols, OGDA_F32);
        for (int32_t r = 0; r < rows; ++r)
            for (int32_t c = 0; c < cols; ++c) {
                const float v = base + static_cast<float>(r * 1000 + c);
                std::memcpy(static_cast<unsigned char *>(d->data) + int64_t{r} * d->lineBytes +
                                4 * c,
                            &v, 4);
                px[static_cast<std::size_t>((r0 + r) * kWidth + c0 + c)] = v;
            }
        return oimg_LayerWriteWindow(layer, r0, c0, rows, cols, d.get(), err);
    }
    // Whether a window read as `type` (f32 straight, f64 through the conversion) matches.
    ::testing::AssertionResult Matches(Oimg_Layer *layer, int32_t r0, int32_t c0, int32_t rows,
                                       int32_t cols, int type) const {
        Data d = Raster(rows, cols, type);
        Report err;
        if (oimg_LayerReadWindow(layer, r0, c0, rows, cols, d.get(), &err) != 0)
            return ::testing::AssertionFailure() << "read failed: " << Text(err);
        for (int32_t r = 0; r < rows; ++r)
            for (int32_t c = 0; c < cols; ++c) {
                const auto *at = static_cast<const unsigned char *>(d->data) +
                                 int64_t{r} * d->lineBytes + int64_t{c} * d->numbytes;
                double got;
                if (type == OGDA_F32) {
                    float f;
                    std::memcpy(&f, at, 4);
                    got = f;
                } else {
                    std::memcpy(&got, at, 8);
                }
                const float want = px[static_cast<std::size_t>((r0 + r) * kWidth + c0 + c)];
                if (got != want)
                    return ::testing::AssertionFailure() << "pixel " << r0 + r << "," << c0 + c
                                                         << " is " << got << ", not " << want;
            }
        return ::testing::AssertionSuccess();
    }
};

// A new layer L under /Image: plain, or coded with `codec` (zstd with the byte shuffle, or
// none; checksums on).
Oimg_Layer *NewLayer(Ohfa_File *f, int codec, Oerr_ErrorReport **err) {
    Oimg_LayerInfo info = Info(kWidth, kHeight, OGDA_F32, 32, 32);
    if (codec < 0) return oimg_LayerCreate(f, L"/Image", L"L", &info, err);
    Oimg_LayerStorage s;
    oimg_LayerStorageInit(&s);
    s.codec = codec;
    if (codec == OIMG_CODEC_ZSTD) s.predictor = OIMG_PREDICTOR_SHUFFLE;
    return oimg_LayerCreateWithStorage(f, L"/Image", L"L", &info, &s, err);
}

struct Way {
    int caching;
    int codec; // -1: plain
    int threads;
};

class WholeBlocks : public ImgTest, public ::testing::WithParamInterface<Way> {};

TEST_P(WholeBlocks, MixWithHeldBlocksRewritesAndConversions) {
    const Way way = GetParam();
    Report err;
    Ohfa_File *f = NewFile("w.hfa", way.caching);
    ASSERT_NE(f, nullptr);
    ASSERT_EQ(ohfa_FileChange(f, &err, OHFA_OPTION_WORKER_THREADS, way.threads, 0), 0);
    Oimg_Layer *layer = NewLayer(f, way.codec, &err);
    ASSERT_NE(layer, nullptr) << Text(err);
    Model m;
    // A part of block (0, 0) first: with caching on the block is then held, and the whole-
    // layer write below must go through it rather than around it.
    ASSERT_EQ(m.Write(layer, 5, 5, 10, 10, 1.0e6f, &err), 0) << Text(err);
    for (int32_t r = 0; r < kHeight; r += 50)
        for (int32_t c = 0; c < kWidth; c += 100)
            ASSERT_EQ(m.Write(layer, r, c, 50, 100, static_cast<float>(r * 7 + c), &err), 0)
                << Text(err);
    // Rewrites in place of stored blocks, aligned and not, and a read before any flush.
    ASSERT_EQ(m.Write(layer, 32, 64, 64, 96, -5.0f, &err), 0) << Text(err);
    ASSERT_EQ(m.Write(layer, 40, 0, 70, 131, 3.5f, &err), 0) << Text(err);
    EXPECT_TRUE(m.Matches(layer, 0, 0, kHeight, kWidth, OGDA_F32));
    ASSERT_EQ(oimg_LayerClose(layer, &err), 0) << Text(err);
    ASSERT_EQ(ohfa_FileClose(f, &err), 0) << Text(err);

    std::vector<std::wstring> lines;
    EXPECT_EQ(hfa_test::CheckLines(Name("w.hfa"), lines), 0) << hfa_test::Joined(lines);
    f = ohfa_FileOpenWithOptions(Name("w.hfa").c_str(), L"r", 0, &err, OHFA_OPTION_BLOCK_CACHE,
                                 way.caching, 0);
    layer = f ? oimg_LayerOpen(f, L"/Image/L", &err) : nullptr;
    ASSERT_NE(layer, nullptr) << Text(err);
    ASSERT_EQ(ohfa_FileChange(f, &err, OHFA_OPTION_WORKER_THREADS, way.threads, 0), 0);
    // A part of a block first: a coded layer then holds it decoded, and the whole reads below
    // take it from there.
    EXPECT_TRUE(m.Matches(layer, 40, 40, 8, 8, OGDA_F32));
    EXPECT_TRUE(m.Matches(layer, 0, 0, kHeight, kWidth, OGDA_F32));
    EXPECT_TRUE(m.Matches(layer, 0, 0, kHeight, kWidth, OGDA_F64));
    EXPECT_TRUE(m.Matches(layer, 31, 63, 66, 98, OGDA_F32));
    EXPECT_TRUE(m.Matches(layer, 64, 32, 64, 128, OGDA_F32));
    EXPECT_EQ(oimg_LayerCheck(layer, &err), 0) << Text(err);
    if (way.codec < 0) {
        // Blocks moved past the cache still count as misses.
        Ohfa_CacheStats s{};
        ohfa_CacheStatsGet(oimg_LayerCacheGet(layer), &s);
        EXPECT_GE(s.misses, 4 * 6 + 3);
    }
    oimg_LayerClose(layer, nullptr);
    ohfa_FileClose(f, nullptr);
}

INSTANTIATE_TEST_SUITE_P(Ways, WholeBlocks,
                         ::testing::Values(Way{0, -1, 1}, Way{1, -1, 1}, Way{1, OIMG_CODEC_ZSTD, 1},
                                           Way{1, OIMG_CODEC_ZSTD, 2}, Way{1, OIMG_CODEC_NONE, 2}));

// The file left by a crash after any write of a session of whole-block writes and rewrites
// opens, checks sound but for leaked space, and reads each block as it was either before or
// after the write that stopped.
class WholeBlockCrash : public ImgTest, public ::testing::WithParamInterface<int> {};

TEST_P(WholeBlockCrash, WritesSurviveACrashAtEveryWrite) {
    using orvik::fio::testing::ScopedWriteStop;
    using orvik::fio::testing::WritesCounted;
    const int codec = GetParam();
    Model before, after;
    // Runs the session, stopping writes after `stop` of those that follow the first flush.
    const auto session = [&](long stop) -> long {
        Report err;
        Ohfa_File *f = NewFile("c.hfa", 0);
        Oimg_Layer *layer = f ? NewLayer(f, codec, &err) : nullptr;
        EXPECT_NE(layer, nullptr) << Text(err);
        if (!layer) return -1;
        Model m;
        EXPECT_EQ(m.Write(layer, 0, 0, 64, 128, 1.0f, &err), 0) << Text(err);
        EXPECT_EQ(ohfa_FileFlush(f, &err), 0) << Text(err);
        before = m;
        ScopedWriteStop s(stop);
        m.Write(layer, 32, 64, 96, 96, 2.0f, nullptr);
        m.Write(layer, 96, 0, 32, 192, 3.0f, nullptr);
        oimg_LayerClose(layer, nullptr);
        ohfa_FileClose(f, nullptr);
        after = m;
        return WritesCounted();
    };
    const long total = session(1 << 30);
    ASSERT_GT(total, 3);
    for (long n = 0; n <= total; ++n) {
        ASSERT_GE(session(n), 0);
        std::vector<std::wstring> lines;
        EXPECT_GE(hfa_test::CheckLines(Name("c.hfa"), lines), 0) << "stop " << n;
        for (const auto &l : lines)
            EXPECT_EQ(l.rfind(OHFA_CHECK_LEAK_PREFIX, 0), 0u)
                << "stop " << n << ": " << std::string(l.begin(), l.end());
        Report err;
        Ohfa_File *f = ohfa_FileOpen(Name("c.hfa").c_str(), L"r", 0, &err);
        Oimg_Layer *layer = f ? oimg_LayerOpen(f, L"/Image/L", &err) : nullptr;
        ASSERT_NE(layer, nullptr) << "stop " << n << ": " << Text(err);
        Data d(oimg_LayerRead(layer, nullptr, &err));
        ASSERT_NE(d, nullptr) << "stop " << n << ": " << Text(err);
        // Every pixel is as it was before the session's writes began or as one of them left
        // it (the two writes overlap, so either may have the last word).
        for (int32_t r = 0; r < kHeight; ++r)
            for (int32_t c = 0; c < kWidth; ++c) {
                float v;
                std::memcpy(
                    &v, static_cast<unsigned char *>(d->data) + int64_t{r} * d->lineBytes + 4 * c,
                    4);
                const auto i = static_cast<std::size_t>(r * kWidth + c);
                const bool second = r >= 96 && r < 128 && c < 192;
                const bool first = r >= 32 && c >= 64 && c < 160;
                const bool known = v == before.px[i] || v == after.px[i] ||
                                   (second && first && v == 2.0f + (r - 32) * 1000 + (c - 64));
                ASSERT_TRUE(known) << "stop " << n << ": pixel " << r << "," << c << " is " << v;
            }
        oimg_LayerClose(layer, nullptr);
        ohfa_FileClose(f, nullptr);
    }
}

INSTANTIATE_TEST_SUITE_P(Layers, WholeBlockCrash, ::testing::Values(-1, OIMG_CODEC_ZSTD));

} // namespace
