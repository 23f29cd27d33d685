// Rebuilding a LUT's table from its breakpoints, the step that runs on every edit of a transfer
// curve, against a plain fill of the same table; and the reverse simplification.
//   bench_ohst_table --benchmark_min_time=0.5
// Target: a 16-bit table (65536 entries) rebuilds in well under 1 ms, so a curve can be dragged
// interactively (a 60 Hz display allows 16 ms per frame).
#include <algorithm>
#include <vector>

#include <benchmark/benchmark.h>

#include <orvik/ohst.h>

namespace {

constexpr int32_t kInMax = 65535;

Ohst_LUT *Curve(int32_t points) {
    Ohst_LUT *lut = ohst_LUTCreate(kInMax, 255, 0, nullptr);
    Ohst_BreakPointList list{lut->nBreakPoints, lut->breakPoints};
    for (int32_t i = 0; i < points; ++i) {
        const int32_t x = static_cast<int32_t>(int64_t{kInMax} * i / (points - 1));
        ohst_BreakPointInsert(&list, x, (i * 97) % 300 - 20);
    }
    lut->nBreakPoints = list.count;
    lut->breakPoints = list.points;
    return lut;
}

void Fill(benchmark::State &state) {
    std::vector<int32_t> table(kInMax + 1);
    int32_t v = 0;
    for (auto _ : state) {
        std::fill(table.begin(), table.end(), ++v);
        benchmark::DoNotOptimize(table.data());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * (kInMax + 1));
}

void BreakPointsToTable(benchmark::State &state) {
    Ohst_LUT *lut = Curve(static_cast<int32_t>(state.range(0)));
    Oerr_ErrorReport *err = nullptr;
    for (auto _ : state) {
        ohst_BreakPointsToTable(lut, &err);
        benchmark::DoNotOptimize(lut->table);
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * (kInMax + 1));
    ohst_LUTDelete(lut);
}

void TableToBreakPoints(benchmark::State &state) {
    Ohst_LUT *lut = Curve(static_cast<int32_t>(state.range(0)));
    Oerr_ErrorReport *err = nullptr;
    ohst_BreakPointsToTable(lut, &err);
    for (auto _ : state) {
        benchmark::DoNotOptimize(ohst_TableToBreakPoints(lut, &err));
    }
    state.SetItemsProcessed(state.iterations() * (kInMax + 1));
    ohst_LUTDelete(lut);
}

BENCHMARK(Fill)->Unit(benchmark::kMicrosecond);
BENCHMARK(BreakPointsToTable)->Arg(2)->Arg(16)->Arg(256)->Unit(benchmark::kMicrosecond);
BENCHMARK(TableToBreakPoints)->Arg(2)->Arg(16)->Arg(256)->Unit(benchmark::kMicrosecond);

} // namespace

BENCHMARK_MAIN();
