// BaseData copies against memcpy in one run, and the ASCII text form of a stack.
//   bench_basedata --benchmark_min_time=0.5
// Throughput is reported as bytes written per second (output bytes), so each conversion reads
// directly against the memcpy of the same number of output bytes.
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>
#include <unistd.h>

#include <orvik/ogda.h>

namespace {

constexpr int32_t kSide = 4096;

// A raster of small ordinary values (raw byte patterns would make denormal and NaN doubles,
// which no image holds and which slow some processors' comparisons by orders of magnitude).
Ogda_BaseData *Raster(Ogda_PixelType type, int32_t side = kSide) {
    Ogda_BaseData *bytes = ogda_BaseDataCreate(side, side, OGDA_U8, Ogda_Raster, nullptr, nullptr);
    auto *p = static_cast<unsigned char *>(bytes->data);
    for (int64_t i = 0; i < int64_t{side} * side; ++i)
        p[i] = static_cast<unsigned char>(i * 7 % 61);
    Ogda_BaseData *o = ogda_BaseDataCreate(side, side, type, Ogda_Raster, nullptr, nullptr);
    ogda_BaseDataCopy(bytes, o, nullptr);
    ogda_BaseDataDelete(bytes, nullptr);
    return o;
}

void Memcpy(benchmark::State &state) {
    const size_t bytes = static_cast<size_t>(state.range(0));
    std::vector<unsigned char> src(bytes, 1), dst(bytes, 2);
    for (auto _ : state) {
        std::memcpy(dst.data(), src.data(), bytes);
        benchmark::DoNotOptimize(dst.data());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(bytes));
}

// range(0) is the raster side: 4096 (main memory) or 512 (held in cache).
void Copy(benchmark::State &state, Ogda_PixelType from, Ogda_PixelType to) {
    const auto side = static_cast<int32_t>(state.range(0));
    Ogda_BaseData *src = Raster(from, side);
    Ogda_BaseData *dst = Raster(to, side);
    for (auto _ : state) {
        benchmark::DoNotOptimize(ogda_BaseDataCopy(src, dst, nullptr));
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * dst->numelements *
                            dst->numbytes);
    ogda_BaseDataDelete(src, nullptr);
    ogda_BaseDataDelete(dst, nullptr);
}

constexpr int64_t kPixels = int64_t{kSide} * kSide;
constexpr int64_t kSmall = 512;
BENCHMARK(Memcpy)
    ->Arg(kPixels)
    ->Arg(kPixels * 4)
    ->Arg(kPixels * 8)
    ->Arg(kSmall *kSmall)
    ->Arg(kSmall *kSmall * 4)
    ->Arg(kSmall *kSmall * 8)
    ->UseRealTime();
BENCHMARK_CAPTURE(Copy, f32_to_f32, OGDA_F32, OGDA_F32)->Arg(kSide)->Arg(kSmall)->UseRealTime();
BENCHMARK_CAPTURE(Copy, u8_to_f32, OGDA_U8, OGDA_F32)->Arg(kSide)->Arg(kSmall)->UseRealTime();
BENCHMARK_CAPTURE(Copy, s16_to_f64, OGDA_S16, OGDA_F64)->Arg(kSide)->Arg(kSmall)->UseRealTime();
BENCHMARK_CAPTURE(Copy, f64_to_u8, OGDA_F64, OGDA_U8)->Arg(kSide)->Arg(kSmall)->UseRealTime();

std::wstring AsciiPath() {
    const std::string p = "/tmp/bench_basedata_" + std::to_string(getpid()) + ".txt";
    return std::wstring(p.begin(), p.end());
}

Ogda_BaseDataStack *F64Stack() {
    Ogda_BaseDataStack *s = ogda_BaseDataStackCreate(1, 1000, 1000, OGDA_F64, Ogda_Raster, nullptr);
    auto *d = static_cast<double *>(s->layers[0]->data);
    for (int i = 0; i < 1000 * 1000; ++i) d[i] = (i - 500000) / 3.7;
    return s;
}

int64_t FileBytes(const std::wstring &name) {
    const std::string n(name.begin(), name.end());
    std::FILE *f = std::fopen(n.c_str(), "rb");
    std::fseek(f, 0, SEEK_END);
    const long size = std::ftell(f);
    std::fclose(f);
    return size;
}

void AsciiWrite(benchmark::State &state) {
    Ogda_BaseDataStack *s = F64Stack();
    const std::wstring name = AsciiPath();
    for (auto _ : state)
        benchmark::DoNotOptimize(ogda_BaseDataStackWriteAscii(s, name.c_str(), nullptr));
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * FileBytes(name));
    ogda_BaseDataStackDelete(s, nullptr);
    std::remove(std::string(name.begin(), name.end()).c_str());
}

void AsciiRead(benchmark::State &state) {
    Ogda_BaseDataStack *s = F64Stack();
    const std::wstring name = AsciiPath();
    ogda_BaseDataStackWriteAscii(s, name.c_str(), nullptr);
    for (auto _ : state) {
        // range(0): 1 when the row count is given, 0 when it is counted from the file.
        const int32_t rows = state.range(0) ? 1000 : 0;
        Ogda_BaseDataStack *r = ogda_CreateBaseDataStackFromAscii(Ogda_Raster, OGDA_F64, rows, 0, 1,
                                                                  name.c_str(), nullptr);
        benchmark::DoNotOptimize(r);
        ogda_BaseDataStackDelete(r, nullptr);
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * FileBytes(name));
    ogda_BaseDataStackDelete(s, nullptr);
    std::remove(std::string(name.begin(), name.end()).c_str());
}

BENCHMARK(AsciiWrite)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(AsciiRead)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)->UseRealTime();

} // namespace

BENCHMARK_MAIN();
