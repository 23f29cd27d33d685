// The library heap against the C library's calloc/free, side by side in one run:
//  - omsc_HeapMalloc + omsc_HeapFree pairs, 16 B to 64 KiB (no big heap);
//  - big-heap pairs through the interface and on the arena directly, 4 KiB to 64 KiB;
//  - arena pairs with 10 and with 100000 other blocks live, to show the cost does not depend
//    on how many blocks the arena holds.
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <memory>
#include <random>
#include <vector>

#include <orvik/omsc.h>

#include "core/big_arena.hpp"
#include "core/heap_config.hpp"
#include "core/heap_internal.hpp"

namespace {

using orvik::core::BigArena;

void CallocFree(benchmark::State &state) {
    const auto size = static_cast<std::size_t>(state.range(0));
    for (auto _ : state) {
        void *p = std::calloc(1, size);
        benchmark::DoNotOptimize(p);
        std::free(p);
        benchmark::ClobberMemory();
    }
}

void HeapMallocFree(benchmark::State &state) {
    const auto size = static_cast<int32_t>(state.range(0));
    for (auto _ : state) {
        void *p = omsc_HeapMalloc(size);
        benchmark::DoNotOptimize(p);
        omsc_HeapFree(p);
        benchmark::ClobberMemory();
    }
}

double SixtyFourMegabytes() { return 64; }

// Requests of 4 KiB or more go to a 64 MB big heap for the length of the benchmark.
void HeapBigMallocFree(benchmark::State &state) {
    orvik::core::SetHeapSizePreferenceLookup(&SixtyFourMegabytes);
    omsc_HeapBigInit();
    const auto size = static_cast<int32_t>(state.range(0));
    void *probe = omsc_HeapMalloc(size);
    if (!orvik::port::big_heap::Owns(orvik::core::CurrentBigHeap(), probe))
        state.SkipWithError("not routed to the arena");
    omsc_HeapFree(probe);
    for (auto _ : state) {
        void *p = omsc_HeapMalloc(size);
        benchmark::DoNotOptimize(p);
        omsc_HeapFree(p);
        benchmark::ClobberMemory();
    }
    orvik::core::SetHeapSizePreferenceLookup(nullptr);
    orvik::core::testing::DiscardBigHeap();
}

void ArenaAllocFree(benchmark::State &state) {
    std::unique_ptr<BigArena> arena(BigArena::Create(std::size_t{64} << 20));
    const auto size = static_cast<std::size_t>(state.range(0));
    for (auto _ : state) {
        void *p = arena->Allocate(size);
        benchmark::DoNotOptimize(p);
        arena->Free(p);
        benchmark::ClobberMemory();
    }
}

// Fills a 256 MB arena with 2 * live blocks of mixed sizes and frees every other one, so
// that `live` blocks stay and as many holes of mixed sizes sit in the free lists. Then
// measures pairs of mixed sizes.
void ArenaPairsWithLiveBlocks(benchmark::State &state) {
    std::unique_ptr<BigArena> arena(BigArena::Create(std::size_t{256} << 20));
    const auto live = static_cast<std::size_t>(state.range(0));
    std::mt19937 rng(42);
    std::vector<void *> blocks;
    blocks.reserve(2 * live);
    for (std::size_t i = 0; i < 2 * live; ++i) blocks.push_back(arena->Allocate(16 + rng() % 1008));
    for (std::size_t i = 0; i < blocks.size(); i += 2) arena->Free(blocks[i]);
    std::size_t sizes[64];
    for (std::size_t &s : sizes) s = 16 + rng() % 2032;
    std::size_t k = 0;
    for (auto _ : state) {
        void *p = arena->Allocate(sizes[k++ & 63]);
        benchmark::DoNotOptimize(p);
        arena->Free(p);
        benchmark::ClobberMemory();
    }
    state.counters["live"] = static_cast<double>(live);
}

void Sizes(benchmark::internal::Benchmark *b) {
    for (long s = 16; s <= 65536; s *= 4) b->Arg(s);
}
void BigSizes(benchmark::internal::Benchmark *b) {
    for (long s = 4096; s <= 65536; s *= 2) b->Arg(s);
}

BENCHMARK(CallocFree)->Apply(Sizes);
BENCHMARK(HeapMallocFree)->Apply(Sizes);
BENCHMARK(CallocFree)->Apply(BigSizes)->Name("CallocFreeBig");
BENCHMARK(HeapBigMallocFree)->Apply(BigSizes);
BENCHMARK(ArenaAllocFree)->Apply(BigSizes);
BENCHMARK(ArenaPairsWithLiveBlocks)->Arg(10)->Arg(100000);

} // namespace

BENCHMARK_MAIN();
