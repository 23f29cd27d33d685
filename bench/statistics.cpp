// Statistics and histogram of a 4096 x 4096 raster (targets: u8 500 Mpixel/s, f32 150 Mpixel/s),
// with the data's own histogram and, for f32, with a caller's linear bins; the covariance of
// a three-layer u8 stack for scale.
//   bench_statistics --benchmark_min_time=0.5
#include <random>

#include <benchmark/benchmark.h>

#include <orvik/osta.h>

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

BENCHMARK_CAPTURE(Statistics, u8, OGDA_U8, false)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK_CAPTURE(Statistics, u16, OGDA_U16, false)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK_CAPTURE(Statistics, f32, OGDA_F32, false)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK_CAPTURE(Statistics, f32_caller_bins, OGDA_F32, true)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
BENCHMARK_CAPTURE(Statistics, f64, OGDA_F64, false)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(Covariance)->Unit(benchmark::kMillisecond)->UseRealTime();

} // namespace

BENCHMARK_MAIN();
