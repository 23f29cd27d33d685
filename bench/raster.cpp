// Raster layers: window throughput next to plain pwrite/pread and HDF5, random window reads
// through the block cache, and building overviews next to one full read.
//   bench_raster --benchmark_counters_tabular=true
// - Write then read a 4096 x 4096 f32 layer in 256 x 256 windows (one iteration = the whole
//   layer written, the file closed, reopened and read whole): the layer with 256 x 256 blocks
//   and with the default 64 x 64 blocks, block caching on and off; the same 64 MiB as 256 KiB
//   pwrite/pread calls; an HDF5 dataset with 256 x 256 chunks (when built with libhdf5-dev).
// - Random 256 x 256 windows of an 8192 x 8192 u8 layer (64 x 64 blocks), block cache on:
//   windows per second and the cache's hit rate.
// - All overviews of an 8192 x 8192 u8 layer next to one full read of it.
// Files live in $TMPDIR (default /tmp); the page cache holds them, so these are CPU figures.
#include <benchmark/benchmark.h>

#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>
#include <random>
#include <string>
#include <vector>

#include <orvik/oimg.h>
#include <orvik/oint.h>

#include "raster_setup.hpp"

#ifdef ORVIK_BENCH_HDF5
#include <hdf5.h>
#endif

namespace {

constexpr int kSide = 4096;
constexpr int kWindow = 256;
constexpr int kBigSide = 8192;

using bench_raster::Ready;
using bench_raster::TempPath;
using bench_raster::Wide;

// One 256 x 256 f32 window of varying values, as a raster the layer reads from.
Ogda_BaseData *WindowData(Ogda_PixelType type) {
    Ogda_BaseData *d = ogda_BaseDataCreate(kWindow, kWindow, type, Ogda_Raster, nullptr, nullptr);
    auto *bytes = static_cast<unsigned char *>(d->data);
    for (int i = 0; i < d->lineBytes * kWindow; ++i) bytes[i] = static_cast<unsigned char>(i * 31);
    return d;
}

Oimg_Layer *NewLayer(Ohfa_File *f, int side, Ogda_PixelType type, int block) {
    if (oimg_ImageCreate(f, nullptr, L"Image", nullptr) != 0) return nullptr;
    Oimg_LayerInfo info{};
    info.width = info.height = side;
    info.pixelType = type;
    info.blockWidth = info.blockHeight = block;
    info.layerKind = OIMG_CONTINUOUS;
    return oimg_LayerCreate(f, L"/Image", L"Layer", &info, nullptr);
}

void LayerWriteRead(benchmark::State &state) {
    if (!Ready()) return state.SkipWithError("package not ready");
    const int block = static_cast<int>(state.range(0));
    const int caching = static_cast<int>(state.range(1));
    const std::string path = TempPath("bench-raster-f32");
    Ogda_BaseData *d = WindowData(OGDA_F32);
    for (auto _ : state) {
        Ohfa_File *f = ohfa_FileCreateWithOptions(Wide(path).c_str(), 0, nullptr,
                                                  OHFA_OPTION_BLOCK_CACHE, caching, 0);
        Oimg_Layer *layer = f ? NewLayer(f, kSide, OGDA_F32, block) : nullptr;
        if (!layer) return state.SkipWithError("create failed");
        for (int r = 0; r < kSide; r += kWindow)
            for (int c = 0; c < kSide; c += kWindow)
                if (oimg_LayerWriteWindow(layer, r, c, kWindow, kWindow, d, nullptr) != 0)
                    return state.SkipWithError("write failed");
        oimg_LayerClose(layer, nullptr);
        ohfa_FileClose(f, nullptr);
        f = ohfa_FileOpenWithOptions(Wide(path).c_str(), L"r", 0, nullptr, OHFA_OPTION_BLOCK_CACHE,
                                     caching, 0);
        layer = oimg_LayerOpen(f, L"/Image/Layer", nullptr);
        if (!layer) return state.SkipWithError("open failed");
        for (int r = 0; r < kSide; r += kWindow)
            for (int c = 0; c < kSide; c += kWindow)
                if (oimg_LayerReadWindow(layer, r, c, kWindow, kWindow, d, nullptr) != 0)
                    return state.SkipWithError("read failed");
        benchmark::DoNotOptimize(d->data);
        oimg_LayerClose(layer, nullptr);
        ohfa_FileClose(f, nullptr);
    }
    state.SetBytesProcessed(state.iterations() * 2 * int64_t{kSide} * kSide * 4);
    ogda_BaseDataDelete(d, nullptr);
    unlink(path.c_str());
}
// Arguments: block side, block caching (option 4) on or off.
BENCHMARK(LayerWriteRead)
    ->Args({256, 1})
    ->Args({256, 0})
    ->Args({64, 1})
    ->Args({64, 0})
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

// The same bytes as 256 KiB pwrite calls (one per window, in window order) and preads.
void PlainPwritePread(benchmark::State &state) {
    const std::string path = TempPath("bench-raster-plain");
    const std::size_t chunk = std::size_t{kWindow} * kWindow * 4;
    std::vector<unsigned char> buffer(chunk, 7);
    const int windows = (kSide / kWindow) * (kSide / kWindow);
    for (auto _ : state) {
        int fd = open(path.c_str(), O_RDWR | O_CREAT | O_TRUNC, 0600);
        if (fd < 0) return state.SkipWithError("open failed");
        for (int w = 0; w < windows; ++w)
            if (pwrite(fd, buffer.data(), chunk, static_cast<off_t>(w * chunk)) !=
                static_cast<ssize_t>(chunk))
                return state.SkipWithError("pwrite failed");
        close(fd);
        fd = open(path.c_str(), O_RDONLY);
        for (int w = 0; w < windows; ++w)
            if (pread(fd, buffer.data(), chunk, static_cast<off_t>(w * chunk)) !=
                static_cast<ssize_t>(chunk))
                return state.SkipWithError("pread failed");
        benchmark::DoNotOptimize(buffer.data());
        close(fd);
    }
    state.SetBytesProcessed(state.iterations() * 2 * int64_t{kSide} * kSide * 4);
    unlink(path.c_str());
}
BENCHMARK(PlainPwritePread)->Unit(benchmark::kMillisecond)->UseRealTime();

#ifdef ORVIK_BENCH_HDF5
void Hdf5Chunked(benchmark::State &state) {
    const std::string path = TempPath("bench-raster-h5");
    std::vector<float> window(std::size_t{kWindow} * kWindow, 1.5f);
    const hsize_t dims[2] = {kSide, kSide}, chunk[2] = {kWindow, kWindow};
    for (auto _ : state) {
        hid_t file = H5Fcreate(path.c_str(), H5F_ACC_TRUNC, H5P_DEFAULT, H5P_DEFAULT);
        hid_t space = H5Screate_simple(2, dims, nullptr);
        hid_t props = H5Pcreate(H5P_DATASET_CREATE);
        H5Pset_chunk(props, 2, chunk);
        hid_t set =
            H5Dcreate2(file, "layer", H5T_NATIVE_FLOAT, space, H5P_DEFAULT, props, H5P_DEFAULT);
        hid_t memory = H5Screate_simple(2, chunk, nullptr);
        for (hsize_t r = 0; r < kSide; r += kWindow)
            for (hsize_t c = 0; c < kSide; c += kWindow) {
                const hsize_t start[2] = {r, c};
                H5Sselect_hyperslab(space, H5S_SELECT_SET, start, nullptr, chunk, nullptr);
                if (H5Dwrite(set, H5T_NATIVE_FLOAT, memory, space, H5P_DEFAULT, window.data()) < 0)
                    return state.SkipWithError("H5Dwrite failed");
            }
        H5Dclose(set);
        H5Pclose(props);
        H5Sclose(space);
        H5Fclose(file);
        file = H5Fopen(path.c_str(), H5F_ACC_RDONLY, H5P_DEFAULT);
        set = H5Dopen2(file, "layer", H5P_DEFAULT);
        space = H5Dget_space(set);
        for (hsize_t r = 0; r < kSide; r += kWindow)
            for (hsize_t c = 0; c < kSide; c += kWindow) {
                const hsize_t start[2] = {r, c};
                H5Sselect_hyperslab(space, H5S_SELECT_SET, start, nullptr, chunk, nullptr);
                if (H5Dread(set, H5T_NATIVE_FLOAT, memory, space, H5P_DEFAULT, window.data()) < 0)
                    return state.SkipWithError("H5Dread failed");
            }
        benchmark::DoNotOptimize(window.data());
        H5Sclose(memory);
        H5Sclose(space);
        H5Dclose(set);
        H5Fclose(file);
    }
    state.SetBytesProcessed(state.iterations() * 2 * int64_t{kSide} * kSide * 4);
    unlink(path.c_str());
}
BENCHMARK(Hdf5Chunked)->Unit(benchmark::kMillisecond)->UseRealTime();
#endif

// The 8192 x 8192 u8 layer, written once per process.
const std::string &BigLayer() {
    static const std::string path = [] {
        const std::string p = TempPath("bench-raster-u8");
        Ready();
        Ohfa_File *f = ohfa_FileCreate(Wide(p).c_str(), 0, nullptr);
        Oimg_Layer *layer = f ? NewLayer(f, kBigSide, OGDA_U8, 64) : nullptr;
        Ogda_BaseData *d = WindowData(OGDA_U8);
        for (int r = 0; layer && r < kBigSide; r += kWindow)
            for (int c = 0; c < kBigSide; c += kWindow)
                oimg_LayerWriteWindow(layer, r, c, kWindow, kWindow, d, nullptr);
        ogda_BaseDataDelete(d, nullptr);
        oimg_LayerClose(layer, nullptr);
        ohfa_FileClose(f, nullptr);
        std::atexit([] { unlink(TempPath("bench-raster-u8").c_str()); });
        return p;
    }();
    return path;
}

void RandomWindows(benchmark::State &state) {
    if (!Ready()) return state.SkipWithError("package not ready");
    Ohfa_File *f = ohfa_FileOpen(Wide(BigLayer()).c_str(), L"r", 0, nullptr);
    Oimg_Layer *layer = oimg_LayerOpen(f, L"/Image/Layer", nullptr);
    if (!layer) return state.SkipWithError("open failed");
    ohfa_CacheSetLimit(oimg_LayerCacheGet(layer), state.range(0) << 20, nullptr);
    Ogda_BaseData *d = WindowData(OGDA_U8);
    std::mt19937 random(12345);
    std::uniform_int_distribution<int> at(0, kBigSide - kWindow);
    for (auto _ : state)
        if (oimg_LayerReadWindow(layer, at(random), at(random), kWindow, kWindow, d, nullptr) != 0)
            return state.SkipWithError("read failed");
    Ohfa_CacheStats s{};
    ohfa_CacheStatsGet(oimg_LayerCacheGet(layer), &s);
    state.counters["hit_rate"] =
        static_cast<double>(s.hits) / static_cast<double>(s.hits + s.misses);
    state.counters["windows_per_s"] =
        benchmark::Counter(static_cast<double>(state.iterations()), benchmark::Counter::kIsRate);
    ogda_BaseDataDelete(d, nullptr);
    oimg_LayerClose(layer, nullptr);
    ohfa_FileClose(f, nullptr);
}
// Cache limit in MiB: the default 16, and 64 (the whole layer).
BENCHMARK(RandomWindows)->Arg(16)->Arg(64)->UseRealTime();

void FullRead(benchmark::State &state) {
    if (!Ready()) return state.SkipWithError("package not ready");
    Ogda_BaseData *d =
        ogda_BaseDataCreate(kBigSide, kBigSide, OGDA_U8, Ogda_Raster, nullptr, nullptr);
    for (auto _ : state) {
        Ohfa_File *f = ohfa_FileOpen(Wide(BigLayer()).c_str(), L"r", 0, nullptr);
        Oimg_Layer *layer = oimg_LayerOpen(f, L"/Image/Layer", nullptr);
        if (!layer || !oimg_LayerRead(layer, d, nullptr)) return state.SkipWithError("read failed");
        oimg_LayerClose(layer, nullptr);
        ohfa_FileClose(f, nullptr);
    }
    state.SetBytesProcessed(state.iterations() * int64_t{kBigSide} * kBigSide);
    ogda_BaseDataDelete(d, nullptr);
}
BENCHMARK(FullRead)->Unit(benchmark::kMillisecond)->UseRealTime();

void BuildOverviews(benchmark::State &state) {
    if (!Ready()) return state.SkipWithError("package not ready");
    for (auto _ : state) {
        Ohfa_File *f = ohfa_FileOpen(Wide(BigLayer()).c_str(), L"r+b", 0, nullptr);
        Oimg_Layer *layer = oimg_LayerOpen(f, L"/Image/Layer", nullptr);
        if (!layer || oimg_LayerBuildOverviews(layer, nullptr) != 7)
            return state.SkipWithError("build failed");
        oimg_LayerClose(layer, nullptr);
        ohfa_FileClose(f, nullptr);
    }
}
BENCHMARK(BuildOverviews)->Unit(benchmark::kMillisecond)->UseRealTime();

} // namespace

BENCHMARK_MAIN();
