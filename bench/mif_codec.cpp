// Element moves between host and file form: packed 1/2/4-bit arrays of 16M elements and plain
// little-endian scalar moves, side by side with memcpy of the same host bytes.
#include <benchmark/benchmark.h>

#include <cstring>
#include <vector>

#include "mif/element_codec.hpp"

namespace {

constexpr std::size_t kElements = 16u << 20;

void BM_Memcpy(benchmark::State &state) {
    std::vector<unsigned char> a(kElements, 1), b(kElements);
    for (auto _ : state) {
        std::memcpy(b.data(), a.data(), kElements);
        benchmark::DoNotOptimize(b.data());
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * kElements));
}

void BM_Pack(benchmark::State &state) {
    const int bits = static_cast<int>(state.range(0));
    std::vector<unsigned char> host(kElements);
    for (std::size_t i = 0; i < kElements; ++i) host[i] = static_cast<unsigned char>(i * 7);
    std::vector<unsigned char> file(kElements / (8 / bits) + 1);
    for (auto _ : state) {
        orvik::mif::PackUnits(host.data(), kElements, bits, file.data());
        benchmark::DoNotOptimize(file.data());
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * kElements)); // host bytes
}

void BM_Unpack(benchmark::State &state) {
    const int bits = static_cast<int>(state.range(0));
    std::vector<unsigned char> host(kElements);
    std::vector<unsigned char> file(kElements / (8 / bits) + 1, 0x5A);
    for (auto _ : state) {
        orvik::mif::UnpackUnits(file.data(), kElements, bits, host.data());
        benchmark::DoNotOptimize(host.data());
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * kElements));
}

void BM_SwapDoubles(benchmark::State &state) {
    std::vector<double> host(kElements / 8, 1.5);
    std::vector<unsigned char> file(kElements);
    for (auto _ : state) {
        orvik::mif::ScalarsToFile<8, true>(host.data(), host.size(), file.data());
        benchmark::DoNotOptimize(file.data());
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * kElements));
}

} // namespace

BENCHMARK(BM_Memcpy)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Pack)->Arg(1)->Arg(2)->Arg(4)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Unpack)->Arg(1)->Arg(2)->Arg(4)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_SwapDoubles)->Unit(benchmark::kMillisecond);
BENCHMARK_MAIN();
