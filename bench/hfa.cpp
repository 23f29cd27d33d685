// HFA files: free-space allocation against a long free list, and open + close of a file with
// a large dictionary.
//   bench_hfa --benchmark_counters_tabular=true
// - NextFreePos/FreeSpace pairs against a list of 10,000 free blocks, with the first fit at
//   the head, in the middle and at the very end (the whole list walked), next to a bare
//   first-fit loop over 10,000 (position, size) pairs: the walk every allocation must make.
//   items_per_second counts single operations (two per pair).
// - ohfa_FileOpen + ohfa_FileClose of a file whose dictionary holds 200 designs.
// Files live in $TMPDIR (default /tmp).
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <string>
#include <unistd.h>
#include <vector>

#include <orvik/ohfa.h>
#include <orvik/oint.h>

#include "hfa/file.hpp"

namespace {

constexpr int kFreeBlocks = 10000;
constexpr int kDesigns = 200;

std::wstring TempName(const char *leaf) {
    const char *dir = std::getenv("TMPDIR");
    const std::string path =
        std::string(dir && *dir ? dir : "/tmp") + "/" + leaf + "-" + std::to_string(getpid());
    return std::wstring(path.begin(), path.end());
}

bool Ready() {
    static const bool ready = oint_InitToolkit(nullptr) == 0 && ohfa_Init(nullptr) == 0;
    return ready;
}

// A file whose free list holds kFreeBlocks blocks: the first half 32 bytes, the second half
// 48, each between two blocks in use, so that none merge and none reaches the end.
Ohfa_File *FileWithFreeList(const std::wstring &name) {
    Ohfa_File *f = ohfa_FileCreate(name.c_str(), 0, nullptr);
    if (!f) return nullptr;
    std::vector<std::pair<uint32_t, long>> toFree;
    for (int i = 0; i < kFreeBlocks; ++i) {
        const long size = i < kFreeBlocks / 2 ? 32 : 48;
        ohfa_NextFreePos(f, 16, nullptr);
        toFree.emplace_back(ohfa_NextFreePos(f, size, nullptr), size);
    }
    ohfa_NextFreePos(f, 16, nullptr);
    for (const auto &[at, size] : toFree) ohfa_FreeSpace(f, at, size, nullptr);
    ohfa_FileFlush(f, nullptr);
    return f;
}

void PairBench(benchmark::State &state, long request) {
    if (!Ready()) return state.SkipWithError("package not ready");
    const std::wstring name = TempName("bench-hfa-free");
    Ohfa_File *f = FileWithFreeList(name);
    if (!f) return state.SkipWithError("create failed");
    for (auto _ : state) {
        const uint32_t at = ohfa_NextFreePos(f, request, nullptr);
        if (at == 0 || ohfa_FreeSpace(f, at, request, nullptr) != 0) {
            state.SkipWithError("allocation failed");
            break;
        }
        benchmark::DoNotOptimize(at);
    }
    state.SetItemsProcessed(2 * state.iterations());
    state.counters["free_blocks"] = static_cast<double>(f->freeList.Blocks().size());
    ohfa_FileClose(f, nullptr);
    std::remove(std::string(name.begin(), name.end()).c_str());
}

// Exact fit at the head of the list.
void BM_FreePairHead(benchmark::State &state) { PairBench(state, 32); }
// First fit half-way down: 5,000 blocks of 32 bytes are passed over.
void BM_FreePairMiddle(benchmark::State &state) { PairBench(state, 48); }
// Nothing fits: the whole list is walked and the request grows the file at its end; the
// returned block then reaches the end and is found again by the next walk.
void BM_FreePairWholeList(benchmark::State &state) { PairBench(state, 64); }

// The minimum any first-fit allocator over this list pays: one pass over 10,000 pairs.
void BM_BareFirstFitWalk(benchmark::State &state) {
    std::vector<std::pair<uint32_t, uint32_t>> blocks;
    for (int i = 0; i < kFreeBlocks; ++i)
        blocks.emplace_back(1000 + 96 * i, i < kFreeBlocks / 2 ? 32 : 48);
    const uint32_t request = 64;
    for (auto _ : state) {
        std::size_t found = blocks.size();
        for (std::size_t i = 0; i < blocks.size(); ++i) {
            const uint32_t s = blocks[i].second;
            if (s == request || s >= request + 8) {
                found = i;
                break;
            }
        }
        benchmark::DoNotOptimize(found);
    }
    state.SetItemsProcessed(state.iterations());
}

void BM_OpenClose200Designs(benchmark::State &state) {
    if (!Ready()) return state.SkipWithError("package not ready");
    const std::wstring name = TempName("bench-hfa-dict");
    Ohfa_File *f = ohfa_FileCreate(name.c_str(), 0, nullptr);
    if (!f) return state.SkipWithError("create failed");
    for (int d = 0; d < kDesigns; ++d) {
        const std::wstring design = L"Record_" + std::to_wstring(d);
        Omif_Design *x = omif_DesignCreateX(
            design.c_str(), nullptr, OMIF_ITEM_DOUBLE, L"minimum", 1, OMIF_DIRECT, OMIF_ITEM_DOUBLE,
            L"maximum", 1, OMIF_DIRECT, OMIF_ITEM_DOUBLE, L"mean", 1, OMIF_DIRECT, OMIF_ITEM_LONG,
            L"count", 4, OMIF_DIRECT, OMIF_ITEM_CHAR, L"label", 32, OMIF_DIRECT, OMIF_ITEM_ULONG,
            L"offsets", 0, OMIF_COUNTED_POINTER, OMIF_ITEM_END);
        ohfa_FileDictionaryAddDesign(f, x, nullptr);
        omif_DesignDestroy(x, nullptr);
    }
    ohfa_FileClose(f, nullptr);
    const wchar_t *mode = state.range(0) ? L"r+b" : L"r";
    for (auto _ : state) {
        Ohfa_File *g = ohfa_FileOpen(name.c_str(), mode, 0, nullptr);
        if (!g) {
            state.SkipWithError("open failed");
            break;
        }
        ohfa_FileClose(g, nullptr);
    }
    f = ohfa_FileOpen(name.c_str(), L"r", 0, nullptr);
    state.counters["dictionary_bytes"] = f ? static_cast<double>(f->dictionaryLength) : 0;
    ohfa_FileClose(f, nullptr);
    std::remove(std::string(name.begin(), name.end()).c_str());
}

} // namespace

BENCHMARK(BM_FreePairHead);
BENCHMARK(BM_FreePairMiddle);
BENCHMARK(BM_FreePairWholeList);
BENCHMARK(BM_BareFirstFitWalk);
BENCHMARK(BM_OpenClose200Designs)->Arg(0)->Arg(1)->ArgName("update");

BENCHMARK_MAIN();
