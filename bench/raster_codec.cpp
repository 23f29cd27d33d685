// Coded raster layers on the 4096 x 4096 scene of the peers script (u16 terrain plus noise,
// and f32), 256 x 256 blocks:
//   bench_raster_codec --benchmark_counters_tabular=true
// - write (create, write whole, close) and read (open, read whole) of zstd-3 + byte shuffle
//   with 1 and 2 worker threads, and of deflate-6 + shuffle; counters: ratio;
// - deflate-6 without a predictor next to libdeflate on the same blocks on their own (ratio,
//   and raw decompression of those blocks against the layer's read);
// - reads of uncompressed layers: plain, and coded "none" with and without checksums.
// The scene: $ORVIK_SCENE_DIR/scene_uint16.raw and scene_float32.raw as the peers script
// saves them (raster_peers.py DIR); without them the same terrain with noise of our own
// generator (so ratios differ slightly from the peers').
// Throughput is of logical pixels (32 MiB u16, 64 MiB f32) in wall time; the CPU column is
// of the whole process (every worker thread), so that two threads against one can be judged
// on a machine whose cores other work shares: equal CPU time means the work split without
// overhead, and the wall-time gain is what the free cores allowed.
#include <benchmark/benchmark.h>

#include <unistd.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <random>
#include <string>
#include <vector>

#include <libdeflate.h>

#include <orvik/oimg.h>
#include <orvik/oint.h>

#include "raster_setup.hpp"

namespace {

constexpr int kSide = 4096;
constexpr int kBlock = 256;

using bench_raster::Ready;
using bench_raster::TempPath;
using bench_raster::Wide;

// The scene as a raster of `type` (u16 or f32).
Ogda_BaseData *Scene(Ogda_PixelType type) {
    static Ogda_BaseData *cache[2] = {nullptr, nullptr};
    Ogda_BaseData *&d = cache[type == OGDA_F32];
    if (d) return d;
    d = ogda_BaseDataCreate(kSide, kSide, type, Ogda_Raster, nullptr, nullptr);
    const char *dir = std::getenv("ORVIK_SCENE_DIR");
    const std::size_t bytes = static_cast<std::size_t>(d->lineBytes) * kSide;
    if (dir) {
        std::ifstream in(std::string(dir) +
                             (type == OGDA_F32 ? "/scene_float32.raw" : "/scene_uint16.raw"),
                         std::ios::binary);
        if (in.read(static_cast<char *>(d->data), static_cast<std::streamsize>(bytes))) return d;
    }
    std::mt19937_64 rng(42);
    std::normal_distribution<double> noise(0, 12);
    for (int r = 0; r < kSide; ++r)
        for (int c = 0; c < kSide; ++c) {
            const double x = double(c) / kSide, y = double(r) / kSide;
            const double v = 2000 + 800 * std::sin(6 * x) * std::cos(4 * y) +
                             300 * std::sin(23 * x + 11 * y) + noise(rng);
            if (type == OGDA_F32)
                static_cast<float *>(d->data)[r * kSide + c] = static_cast<float>(v);
            else
                static_cast<uint16_t *>(d->data)[r * kSide + c] = static_cast<uint16_t>(v);
        }
    return d;
}

struct Case {
    Ogda_PixelType type;
    int codec; // -1: a plain layer (oimg_LayerCreate)
    int level;
    int predictor;
    int checksum;
    int threads;
};

// Writes the scene into a new file as the case says; returns the stored bytes.
int64_t WriteLayer(const std::string &path, const Case &c) {
    Ohfa_File *f = ohfa_FileCreate(Wide(path).c_str(), 0, nullptr);
    ohfa_FileChange(f, nullptr, OHFA_OPTION_WORKER_THREADS, c.threads, 0);
    oimg_ImageCreate(f, nullptr, L"Image", nullptr);
    Oimg_LayerInfo info{};
    info.width = info.height = kSide;
    info.pixelType = c.type;
    info.blockWidth = info.blockHeight = kBlock;
    info.layerKind = OIMG_CONTINUOUS;
    Oimg_Layer *layer;
    if (c.codec < 0) {
        layer = oimg_LayerCreate(f, L"/Image", L"L", &info, nullptr);
    } else {
        Oimg_LayerStorage s{c.codec, c.level, c.predictor, c.checksum};
        layer = oimg_LayerCreateWithStorage(f, L"/Image", L"L", &info, &s, nullptr);
    }
    int64_t stored = 0;
    if (oimg_LayerWrite(layer, Scene(c.type), nullptr) != 0 ||
        oimg_LayerStoredBytes(layer, &stored, nullptr, nullptr) != 0)
        stored = -1;
    oimg_LayerClose(layer, nullptr);
    ohfa_FileClose(f, nullptr);
    return stored;
}

void SetCounters(benchmark::State &state, const Case &c, int64_t stored) {
    const int64_t bytes = static_cast<int64_t>(kSide) * kSide * (c.type == OGDA_F32 ? 4 : 2);
    state.SetBytesProcessed(state.iterations() * bytes);
    state.counters["ratio"] = stored > 0 ? double(bytes) / double(stored) : 0;
    state.counters["threads"] = c.threads;
}

void Write(benchmark::State &state, Case c) {
    if (!Ready()) return state.SkipWithError("init failed");
    const std::string path = TempPath("codec-write.hfa");
    int64_t stored = 0;
    for (auto _ : state) {
        std::remove(path.c_str());
        stored = WriteLayer(path, c);
    }
    std::remove(path.c_str());
    if (stored < 0) state.SkipWithError("write failed");
    SetCounters(state, c, stored);
}

void Read(benchmark::State &state, Case c) {
    if (!Ready()) return state.SkipWithError("init failed");
    const std::string path = TempPath("codec-read.hfa");
    const int64_t stored = WriteLayer(path, c);
    Ogda_BaseData *d = ogda_BaseDataCreate(kSide, kSide, c.type, Ogda_Raster, nullptr, nullptr);
    bool ok = true;
    for (auto _ : state) {
        Ohfa_File *f = ohfa_FileOpen(Wide(path).c_str(), L"r", 0, nullptr);
        ohfa_FileChange(f, nullptr, OHFA_OPTION_WORKER_THREADS, c.threads, 0);
        Oimg_Layer *layer = oimg_LayerOpen(f, L"/Image/L", nullptr);
        ok = ok && oimg_LayerRead(layer, d, nullptr) == d;
        oimg_LayerClose(layer, nullptr);
        ohfa_FileClose(f, nullptr);
    }
    ok = ok && std::memcmp(d->data, Scene(c.type)->data,
                           static_cast<std::size_t>(d->lineBytes) * kSide) == 0;
    ogda_BaseDataDelete(d, nullptr);
    std::remove(path.c_str());
    if (!ok) state.SkipWithError("read failed or differs");
    SetCounters(state, c, stored);
}

// libdeflate level 6 on the scene's 256 x 256 blocks on their own (no predictor), the
// reference for the layer's deflate-6: ratio and raw decompression of those blocks.
void LibdeflateBlocks(benchmark::State &state, Ogda_PixelType type) {
    const Ogda_BaseData *scene = Scene(type);
    const std::size_t px = type == OGDA_F32 ? 4 : 2, blockBytes = kBlock * kBlock * px;
    std::vector<std::vector<unsigned char>> blocks;
    libdeflate_compressor *c = libdeflate_alloc_compressor(6);
    std::vector<unsigned char> raw(blockBytes), out(blockBytes);
    int64_t stored = 0;
    for (int br = 0; br < kSide / kBlock; ++br)
        for (int bc = 0; bc < kSide / kBlock; ++bc) {
            for (int r = 0; r < kBlock; ++r)
                std::memcpy(raw.data() + r * kBlock * px,
                            static_cast<const unsigned char *>(scene->data) +
                                ((br * kBlock + r) * kSide + bc * kBlock) * px,
                            kBlock * px);
            const std::size_t n =
                libdeflate_deflate_compress(c, raw.data(), blockBytes, out.data(), out.size());
            blocks.emplace_back(out.begin(), out.begin() + static_cast<long>(n ? n : 0));
            stored += static_cast<int64_t>(n ? n : blockBytes);
        }
    libdeflate_free_compressor(c);
    libdeflate_decompressor *d = libdeflate_alloc_decompressor();
    for (auto _ : state)
        for (const auto &b : blocks)
            if (!b.empty())
                libdeflate_deflate_decompress(d, b.data(), b.size(), raw.data(), blockBytes,
                                              nullptr);
    libdeflate_free_decompressor(d);
    SetCounters(state, Case{type, 2, 6, 0, 0, 1}, stored);
}

constexpr int kZstd = OIMG_CODEC_ZSTD, kDeflate = OIMG_CODEC_DEFLATE, kNone = OIMG_CODEC_NONE;
constexpr int kShuffle = OIMG_PREDICTOR_SHUFFLE, kXxh3 = OIMG_CHECKSUM_XXH3;

#define CODEC_CASE(kind, label, ...)                                                               \
    BENCHMARK_CAPTURE(kind, label, Case{__VA_ARGS__})                                              \
        ->UseRealTime()                                                                            \
        ->MeasureProcessCPUTime()                                                                  \
        ->Unit(benchmark::kMillisecond)

CODEC_CASE(Write, u16_zstd3_shuffle_1thread, OGDA_U16, kZstd, 3, kShuffle, kXxh3, 1);
CODEC_CASE(Write, u16_zstd3_shuffle_2threads, OGDA_U16, kZstd, 3, kShuffle, kXxh3, 2);
CODEC_CASE(Read, u16_zstd3_shuffle_1thread, OGDA_U16, kZstd, 3, kShuffle, kXxh3, 1);
CODEC_CASE(Read, u16_zstd3_shuffle_2threads, OGDA_U16, kZstd, 3, kShuffle, kXxh3, 2);
CODEC_CASE(Write, f32_zstd3_shuffle_1thread, OGDA_F32, kZstd, 3, kShuffle, kXxh3, 1);
CODEC_CASE(Write, f32_zstd3_shuffle_2threads, OGDA_F32, kZstd, 3, kShuffle, kXxh3, 2);
CODEC_CASE(Read, f32_zstd3_shuffle_2threads, OGDA_F32, kZstd, 3, kShuffle, kXxh3, 2);
CODEC_CASE(Write, u16_deflate6_shuffle_2threads, OGDA_U16, kDeflate, 6, kShuffle, kXxh3, 2);
CODEC_CASE(Read, u16_deflate6_shuffle_2threads, OGDA_U16, kDeflate, 6, kShuffle, kXxh3, 2);
CODEC_CASE(Write, u16_deflate6_1thread, OGDA_U16, kDeflate, 6, 0, kXxh3, 1);
CODEC_CASE(Read, u16_deflate6_1thread, OGDA_U16, kDeflate, 6, 0, kXxh3, 1);
BENCHMARK_CAPTURE(LibdeflateBlocks, u16_level6_decompress, OGDA_U16)
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);
CODEC_CASE(Read, u16_plain, OGDA_U16, -1, 0, 0, 0, 1);
CODEC_CASE(Read, u16_none_checksum, OGDA_U16, kNone, 0, 0, kXxh3, 1);
CODEC_CASE(Read, u16_none_no_checksum, OGDA_U16, kNone, 0, 0, 0, 1);

} // namespace

BENCHMARK_MAIN();
