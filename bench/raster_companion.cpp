// External raster layers: tiled write and read throughput of a layer whose blocks lie in a
// companion data file, next to the same layer inside the HFA file (plain, through the block
// cache, and coded without a codec, the form an external layer takes).
//   bench_raster_companion --benchmark_counters_tabular=true
// A 4096 x 4096 f32 layer (64 MiB) in 256 x 256 blocks, moved in 256 x 256 windows. Write: a
// new file, the whole layer, the file closed.
// Read: the file written once, then per iteration opened, read whole and closed. Files live
// in $TMPDIR (default /tmp); the page cache holds them, so reads are CPU figures.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <filesystem>
#include <string>

#include <orvik/oimg.h>

#include "raster_setup.hpp"

namespace {

constexpr int kSide = 4096, kWindow = 256;
// The coded kinds keep the defaults (XXH3 checksums, which an external layer made from a
// plain request takes too), or go without checksums to compare like with like against the
// plain layer.
enum Kind {
    kPlain = 0,
    kCodedInside = 1,
    kCompanion = 2,
    kCodedInsideUnsummed = 3,
    kCompanionUnsummed = 4
};
const char *const kNames[] = {"inside plain", "inside coded", "companion",
                              "inside coded, no checksums", "companion, no checksums"};

using bench_raster::Ready;
using bench_raster::TempPath;
using bench_raster::Wide;

void RemoveAll(const std::string &path) {
    const std::filesystem::path p(path);
    std::error_code ec;
    for (const auto &e : std::filesystem::directory_iterator(p.parent_path(), ec))
        if (e.path().filename().string().rfind(p.filename().string(), 0) == 0)
            std::filesystem::remove(e.path(), ec);
}

bool WriteLayer(const std::string &path, int kind, Ogda_BaseData *window) {
    Ohfa_File *f = ohfa_FileCreate(Wide(path).c_str(), 0, nullptr);
    if (!f || oimg_ImageCreate(f, nullptr, L"Image", nullptr) != 0) return false;
    Oimg_LayerInfo info{};
    info.width = info.height = kSide;
    info.pixelType = OGDA_F32;
    info.blockWidth = info.blockHeight = kWindow;
    info.layerKind = OIMG_CONTINUOUS;
    Oimg_LayerStorage storage;
    oimg_LayerStorageInit(&storage);
    if (kind == kCodedInsideUnsummed || kind == kCompanionUnsummed)
        storage.checksum = OIMG_CHECKSUM_NONE;
    const bool external = kind == kCompanion || kind == kCompanionUnsummed;
    Oimg_Layer *l =
        oimg_LayerCreatePlaced(f, L"/Image", L"Layer", &info, kind == kPlain ? nullptr : &storage,
                               external ? OIMG_PLACE_COMPANION : OIMG_PLACE_INSIDE, nullptr);
    bool ok = l != nullptr;
    for (int r = 0; ok && r < kSide; r += kWindow)
        for (int c = 0; ok && c < kSide; c += kWindow)
            ok = oimg_LayerWriteWindow(l, r, c, kWindow, kWindow, window, nullptr) == 0;
    ok = oimg_LayerClose(l, nullptr) == 0 && ok;
    return ohfa_FileClose(f, nullptr) == 0 && ok;
}

Ogda_BaseData *Window() {
    Ogda_BaseData *d =
        ogda_BaseDataCreate(kWindow, kWindow, OGDA_F32, Ogda_Raster, nullptr, nullptr);
    auto *bytes = static_cast<unsigned char *>(d->data);
    for (int i = 0; i < d->lineBytes * kWindow; ++i) bytes[i] = static_cast<unsigned char>(i * 31);
    return d;
}

void Write(benchmark::State &state) {
    if (!Ready()) return state.SkipWithError("package not ready");
    const int kind = static_cast<int>(state.range(0));
    const std::string path = TempPath("companion-write") + ".hfa";
    Ogda_BaseData *window = Window();
    for (auto _ : state) {
        state.PauseTiming();
        RemoveAll(path);
        state.ResumeTiming();
        if (!WriteLayer(path, kind, window)) state.SkipWithError("write failed");
    }
    RemoveAll(path);
    ogda_BaseDataDelete(window, nullptr);
    state.SetLabel(kNames[kind]);
    state.SetBytesProcessed(int64_t(state.iterations()) * kSide * kSide * 4);
}

void Read(benchmark::State &state) {
    if (!Ready()) return state.SkipWithError("package not ready");
    const int kind = static_cast<int>(state.range(0));
    const std::string path = TempPath("companion-read") + ".hfa";
    Ogda_BaseData *window = Window();
    RemoveAll(path);
    if (!WriteLayer(path, kind, window)) state.SkipWithError("write failed");
    for (auto _ : state) {
        Ohfa_File *f = ohfa_FileOpen(Wide(path).c_str(), L"r", 0, nullptr);
        Oimg_Layer *l = f ? oimg_LayerOpen(f, L"/Image/Layer", nullptr) : nullptr;
        bool ok = l != nullptr;
        for (int r = 0; ok && r < kSide; r += kWindow)
            for (int c = 0; ok && c < kSide; c += kWindow)
                ok = oimg_LayerReadWindow(l, r, c, kWindow, kWindow, window, nullptr) == 0;
        oimg_LayerClose(l, nullptr);
        ohfa_FileClose(f, nullptr);
        if (!ok) state.SkipWithError("read failed");
    }
    RemoveAll(path);
    ogda_BaseDataDelete(window, nullptr);
    state.SetLabel(kNames[kind]);
    state.SetBytesProcessed(int64_t(state.iterations()) * kSide * kSide * 4);
}

BENCHMARK(Write)->DenseRange(kPlain, kCompanionUnsummed)->Unit(benchmark::kMillisecond);
BENCHMARK(Read)->DenseRange(kPlain, kCompanionUnsummed)->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
