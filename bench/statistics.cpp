// Statistics and histogram of a 4096 x 4096 raster (targets: u8 500 Mpixel/s, f32 150 Mpixel/s),
// with the data's own histogram and, for f32, with a caller's linear bins; the same of a
// 4096 x 4096 raster layer of a file in the page cache (default 64 x 64 blocks, read strip by
// strip); the covariance of a three-layer u8 stack for scale; reading the stored statistics of
// 10,000 layers of one file through osta_StatisticsRead, next to reading the same six doubles
// from 10,000 groups of an HDF5 file (when built with libhdf5-dev): CPU time per record, and
// their ratio printed at the end (target: at most 1/5 of HDF5's time).
//   bench_statistics --benchmark_min_time=0.5
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <map>
#include <random>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include <orvik/oimg.h>
#include <orvik/oint.h>
#include <orvik/osta.h>

#ifdef ORVIK_BENCH_HDF5
#include <hdf5.h>
#endif

namespace {

constexpr int32_t kSide = 4096;

// Random values spread like image data (a smooth hump, not uniform bytes), the same for every
// type.
Ogda_BaseData *Raster(Ogda_PixelType type) {
    Ogda_BaseData *d = ogda_BaseDataCreate(kSide, kSide, OGDA_F32, Ogda_Raster, nullptr, nullptr);
    std::mt19937 gen(1);
    std::normal_distribution<float> hump(120, 30);
    auto *p = static_cast<float *>(d->data);
    for (int64_t i = 0; i < int64_t{kSide} * kSide; ++i) {
        const float v = hump(gen);
        p[i] = v < 0 ? 0 : v > 255 ? 255 : (type == OGDA_F32 ? v : float(int(v)));
    }
    if (type == OGDA_F32) return d;
    Ogda_BaseData *o = ogda_BaseDataCreate(kSide, kSide, type, Ogda_Raster, nullptr, nullptr);
    ogda_BaseDataCopy(d, o, nullptr);
    ogda_BaseDataDelete(d, nullptr);
    return o;
}

void Statistics(benchmark::State &state, Ogda_PixelType type, bool callerBins) {
    Ogda_BaseData *d = Raster(type);
    Odsc_BinFunction *f = odsc_BinFunctionCreate(100, ODSC_BIN_LINEAR, 0, 256, nullptr, nullptr);
    Osta_Histogram *given = callerBins ? osta_HistogramCreate(f, 100, nullptr) : nullptr;
    Osta_Statistics s{};
    for (auto _ : state) {
        Osta_Histogram *h = given;
        Oerr_ErrorReport *err = nullptr;
        osta_StatisticsCompute(d, nullptr, nullptr, &s, &h, &err);
        if (err) state.SkipWithError("compute failed");
        if (!callerBins) osta_HistogramDelete(h);
        benchmark::DoNotOptimize(s);
    }
    state.counters["Mpixel/s"] = benchmark::Counter(
        double(kSide) * kSide * state.iterations() / 1e6, benchmark::Counter::kIsRate);
    osta_HistogramDelete(given);
    odsc_BinFunctionDelete(f);
    ogda_BaseDataDelete(d, nullptr);
}

void Covariance(benchmark::State &state) {
    Ogda_BaseDataStack *stack = ogda_BaseDataStackCreate(3, 1, 1, OGDA_U8, Ogda_Raster, nullptr);
    for (int l = 0; l < 3; ++l) {
        ogda_BaseDataDelete(stack->layers[l], nullptr);
        stack->layers[l] = Raster(OGDA_U8);
    }
    for (auto _ : state) {
        Osta_Covariance *c = osta_CovarianceCompute(stack, nullptr, nullptr, nullptr, nullptr);
        benchmark::DoNotOptimize(c);
        osta_CovarianceDelete(c, nullptr);
    }
    state.counters["Mpixel/s"] = benchmark::Counter(
        double(kSide) * kSide * state.iterations() / 1e6, benchmark::Counter::kIsRate);
    ogda_BaseDataStackDelete(stack, nullptr);
}

std::wstring TempName(const char *leaf);

// A file holding Raster(type) as the layer "/Image/Layer", written, closed and reopened
// read-only, so its blocks come from the page cache.
Ohfa_File *RasterLayerFile(const std::wstring &name, Ogda_PixelType type, Oimg_Layer **layer) {
    *layer = nullptr;
    if (oint_InitToolkit(nullptr) != 0 || ohfa_Init(nullptr) != 0) return nullptr;
    Ohfa_File *f = ohfa_FileCreate(name.c_str(), 0, nullptr);
    if (!f || oimg_ImageCreate(f, nullptr, L"Image", nullptr) != 0) return f;
    Oimg_LayerInfo info{};
    info.width = info.height = kSide;
    info.pixelType = type;
    info.layerKind = OIMG_CONTINUOUS;
    Oimg_Layer *l = oimg_LayerCreate(f, L"/Image", L"Layer", &info, nullptr);
    Ogda_BaseData *d = Raster(type);
    const bool written = l && oimg_LayerWrite(l, d, nullptr) == 0;
    ogda_BaseDataDelete(d, nullptr);
    oimg_LayerClose(l, nullptr);
    ohfa_FileClose(f, nullptr);
    if (!written) return nullptr;
    f = ohfa_FileOpen(name.c_str(), L"r", 0, nullptr);
    if (f) *layer = oimg_LayerOpen(f, L"/Image/Layer", nullptr);
    return f;
}

// `held`: the layer's block cache may keep blocks in memory between iterations; else its limit
// is 0 and every block is read from the file (the page cache) on every pass.
void LayerStatistics(benchmark::State &state, Ogda_PixelType type, bool held) {
    const std::wstring name = TempName("bench-layer-statistics.hfa");
    Oimg_Layer *layer = nullptr;
    Ohfa_File *f = RasterLayerFile(name, type, &layer);
    if (!layer) state.SkipWithError("cannot build the layer");
    if (layer && !held) ohfa_CacheSetLimit(oimg_LayerCacheGet(layer), 0, nullptr);
    Osta_Statistics s{};
    for (auto _ : state) {
        if (!layer) break;
        Osta_Histogram *h = nullptr;
        Oerr_ErrorReport *err = nullptr;
        osta_LayerStatisticsCompute(layer, nullptr, nullptr, &s, &h, &err);
        if (err) state.SkipWithError("compute failed");
        osta_HistogramDelete(h);
        benchmark::DoNotOptimize(s);
    }
    state.counters["Mpixel/s"] = benchmark::Counter(
        double(kSide) * kSide * state.iterations() / 1e6, benchmark::Counter::kIsRate);
    oimg_LayerClose(layer, nullptr);
    ohfa_FileClose(f, nullptr);
    std::remove(std::string(name.begin(), name.end()).c_str());
}

constexpr int kLayers = 10000;

std::wstring TempName(const char *leaf) {
    const char *dir = std::getenv("TMPDIR");
    const std::string path =
        std::string(dir && *dir ? dir : "/tmp") + "/" + leaf + "-" + std::to_string(getpid());
    return std::wstring(path.begin(), path.end());
}

// A file of kLayers layers below the root, each with its statistics; the layers' node paths.
Ohfa_File *LayerFile(const std::wstring &name, std::vector<std::wstring> &paths) {
    if (oint_InitToolkit(nullptr) != 0 || ohfa_Init(nullptr) != 0) return nullptr;
    Ohfa_File *f = ohfa_FileCreate(name.c_str(), 0, nullptr);
    if (!f || ohfa_EntrySeek(f, OHFA_SEEK_ROOT, nullptr, nullptr) != 1) return f;
    for (int i = 0; i < kLayers; ++i) {
        paths.push_back(L"/Layer_" + std::to_wstring(i));
        // Each layer follows the previous one, so building the file stays linear.
        const long where = i == 0 ? OHFA_WRITE_LAST_CHILD : OHFA_WRITE_AFTER;
        if (ohfa_EntryWrite(f, where, paths.back().c_str() + 1, L"Layer", nullptr) != 0) break;
        const Osta_Statistics s{double(i), i + 255.0, i + 100.0, i + 99.0, i + 98.0, 12.5};
        if (osta_StatisticsWrite(f, paths.back().c_str(), &s, nullptr) != 0) break;
        if (ohfa_EntrySeek(f, OHFA_SEEK_PATH, paths.back().c_str(), nullptr) != 1) break;
    }
    ohfa_FileFlush(f, nullptr);
    return f;
}

// CPU time of the process (user + system): the machine is shared, so that other work counts
// less than in wall time.
double CpuSeconds() {
    timespec t{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &t);
    return double(t.tv_sec) + double(t.tv_nsec) * 1e-9;
}

// CPU seconds per record of each side of the many-layers read, for the closing comparison.
std::map<std::string, double> &PerRecord() {
    static std::map<std::string, double> m;
    return m;
}

// Each iteration reads all kLayers records; its CPU time is the iteration's time.
template <class ReadAll> void TimeReads(benchmark::State &state, const char *side, ReadAll read) {
    double spent = 0;
    for (auto _ : state) {
        const double start = CpuSeconds();
        const bool ok = read();
        const double t = CpuSeconds() - start;
        if (!ok) return state.SkipWithError("read failed");
        state.SetIterationTime(t);
        spent += t;
    }
    state.SetItemsProcessed(state.iterations() * kLayers);
    // Seconds per record (printed with a unit prefix, e.g. 2.5u).
    state.counters["per_record"] =
        benchmark::Counter(double(state.iterations()) * kLayers,
                           benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
    if (state.iterations() > 0) PerRecord()[side] = spent / double(state.iterations() * kLayers);
}

void StatisticsRead(benchmark::State &state) {
    const std::wstring name = TempName("bench-statistics.hfa");
    std::vector<std::wstring> paths;
    Ohfa_File *f = LayerFile(name, paths);
    if (!f || paths.size() != size_t(kLayers)) state.SkipWithError("cannot build the file");
    double sum = 0;
    TimeReads(state, "orvik", [&] {
        Osta_Statistics s{};
        for (const auto &p : paths) {
            Oerr_ErrorReport *err = nullptr;
            if (!osta_StatisticsRead(f, p.c_str(), &s, OMSC_FALSE, &err)) {
                oerr_DeleteErrorReportEx(&err);
                return false;
            }
            sum += s.minimum;
        }
        return true;
    });
    benchmark::DoNotOptimize(sum);
    ohfa_FileClose(f, nullptr);
    std::remove(std::string(name.begin(), name.end()).c_str());
}

#ifdef ORVIK_BENCH_HDF5
// The same records in HDF5: one group per layer below the root, each holding a scalar dataset
// "Statistics" of a compound type of the six doubles; read by path from the open file.
hid_t StatisticsType() {
    static const hid_t t = [] {
        const hid_t c = H5Tcreate(H5T_COMPOUND, sizeof(Osta_Statistics));
        H5Tinsert(c, "minimum", HOFFSET(Osta_Statistics, minimum), H5T_NATIVE_DOUBLE);
        H5Tinsert(c, "maximum", HOFFSET(Osta_Statistics, maximum), H5T_NATIVE_DOUBLE);
        H5Tinsert(c, "mean", HOFFSET(Osta_Statistics, mean), H5T_NATIVE_DOUBLE);
        H5Tinsert(c, "median", HOFFSET(Osta_Statistics, median), H5T_NATIVE_DOUBLE);
        H5Tinsert(c, "mode", HOFFSET(Osta_Statistics, mode), H5T_NATIVE_DOUBLE);
        H5Tinsert(c, "stddev", HOFFSET(Osta_Statistics, stddev), H5T_NATIVE_DOUBLE);
        return c;
    }();
    return t;
}

// `latest`: the newest file format (compact and indexed link storage) instead of the default,
// most compatible one.
bool Hdf5LayerFile(const std::string &path, bool latest, std::vector<std::string> &sets) {
    const hid_t access = H5Pcreate(H5P_FILE_ACCESS);
    if (latest) H5Pset_libver_bounds(access, H5F_LIBVER_LATEST, H5F_LIBVER_LATEST);
    const hid_t f = H5Fcreate(path.c_str(), H5F_ACC_TRUNC, H5P_DEFAULT, access);
    H5Pclose(access);
    if (f < 0) return false;
    const hid_t space = H5Screate(H5S_SCALAR);
    bool ok = true;
    for (int i = 0; ok && i < kLayers; ++i) {
        const std::string group = "/Layer_" + std::to_string(i);
        const hid_t g = H5Gcreate2(f, group.c_str(), H5P_DEFAULT, H5P_DEFAULT, H5P_DEFAULT);
        const hid_t d = g < 0 ? -1
                              : H5Dcreate2(g, "Statistics", StatisticsType(), space, H5P_DEFAULT,
                                           H5P_DEFAULT, H5P_DEFAULT);
        const Osta_Statistics s{double(i), i + 255.0, i + 100.0, i + 99.0, i + 98.0, 12.5};
        ok = d >= 0 && H5Dwrite(d, StatisticsType(), H5S_ALL, H5S_ALL, H5P_DEFAULT, &s) >= 0;
        if (d >= 0) H5Dclose(d);
        if (g >= 0) H5Gclose(g);
        sets.push_back(group + "/Statistics");
    }
    H5Sclose(space);
    return H5Fclose(f) >= 0 && ok;
}

void StatisticsReadHdf5(benchmark::State &state, bool latest) {
    const std::wstring wide = TempName("bench-statistics.h5");
    const std::string name(wide.begin(), wide.end());
    std::vector<std::string> sets;
    const hid_t f = Hdf5LayerFile(name, latest, sets)
                        ? H5Fopen(name.c_str(), H5F_ACC_RDONLY, H5P_DEFAULT)
                        : hid_t(-1);
    if (f < 0) state.SkipWithError("cannot build the file");
    double sum = 0;
    TimeReads(state, latest ? "hdf5 latest format" : "hdf5", [&] {
        Osta_Statistics s{};
        for (const auto &p : sets) {
            const hid_t d = H5Dopen2(f, p.c_str(), H5P_DEFAULT);
            const bool ok =
                d >= 0 && H5Dread(d, StatisticsType(), H5S_ALL, H5S_ALL, H5P_DEFAULT, &s) >= 0;
            if (d >= 0) H5Dclose(d);
            if (!ok) return false;
            sum += s.minimum;
        }
        return true;
    });
    benchmark::DoNotOptimize(sum);
    if (f >= 0) H5Fclose(f);
    std::remove(name.c_str());
}
#endif

BENCHMARK_CAPTURE(Statistics, u8, OGDA_U8, false)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK_CAPTURE(Statistics, u16, OGDA_U16, false)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK_CAPTURE(Statistics, f32, OGDA_F32, false)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK_CAPTURE(Statistics, f32_caller_bins, OGDA_F32, true)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
BENCHMARK_CAPTURE(Statistics, f64, OGDA_F64, false)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK_CAPTURE(LayerStatistics, u8_page_cache, OGDA_U8, false)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
BENCHMARK_CAPTURE(LayerStatistics, f32_page_cache, OGDA_F32, false)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
BENCHMARK_CAPTURE(LayerStatistics, u8_blocks_held, OGDA_U8, true)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
BENCHMARK_CAPTURE(LayerStatistics, f32_blocks_held, OGDA_F32, true)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
BENCHMARK(Covariance)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(StatisticsRead)->Unit(benchmark::kMillisecond)->UseManualTime();
#ifdef ORVIK_BENCH_HDF5
BENCHMARK_CAPTURE(StatisticsReadHdf5, default_format, false)
    ->Unit(benchmark::kMillisecond)
    ->UseManualTime();
BENCHMARK_CAPTURE(StatisticsReadHdf5, latest_format, true)
    ->Unit(benchmark::kMillisecond)
    ->UseManualTime();
#endif

} // namespace

int main(int argc, char **argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    // Against each HDF5 file format measured.
    const auto &m = PerRecord();
    const auto o = m.find("orvik");
    if (o == m.end()) return 0;
    std::printf("\nStatistics of %d layers, CPU time per record: osta_StatisticsRead %.3f us\n",
                kLayers, o->second * 1e6);
    for (const auto &[side, seconds] : m)
        if (side != "orvik")
            std::printf("  %-20s %8.3f us; ratio %.3f (target <= 0.2)\n", side.c_str(),
                        seconds * 1e6, o->second / seconds);
    return 0;
}
