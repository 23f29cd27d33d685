// String lists: appending 100,000 texts, and sorting them beside std::sort over
// std::vector<std::wstring> of the same texts (target: the list sort at most 1.5x as slow).
#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include <orvik/ostr.h>

namespace {

constexpr int kCount = 100000;

// File-name-like texts of 8 to 40 characters in random order, the same on every run.
const std::vector<std::wstring> &Texts() {
    static const std::vector<std::wstring> texts = [] {
        std::mt19937 rng(20261122);
        std::uniform_int_distribution<int> len(8, 40), ch(0, 61);
        const wchar_t *alphabet = L"abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789";
        std::vector<std::wstring> out(kCount);
        for (auto &t : out) {
            t = L"/data/";
            for (int i = len(rng); i > 0; --i) t.push_back(alphabet[ch(rng)]);
            t += L".img";
        }
        return out;
    }();
    return texts;
}

ostr_StringList *BuildList() {
    ostr_StringList *list = nullptr;
    for (const auto &t : Texts()) list = ostr_StringListAppend(list, t.c_str(), nullptr);
    return list;
}

void BM_ListAppend(benchmark::State &state) {
    const auto &texts = Texts();
    for (auto _ : state) {
        ostr_StringList *list = nullptr;
        for (const auto &t : texts) list = ostr_StringListAppend(list, t.c_str(), nullptr);
        benchmark::DoNotOptimize(list);
        state.PauseTiming();
        ostr_StringListDelete(list, nullptr);
        state.ResumeTiming();
    }
    state.counters["ns_per_append"] = benchmark::Counter(
        kCount, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}
BENCHMARK(BM_ListAppend)->Unit(benchmark::kMillisecond);

// Baseline for the append: the same texts pushed into a std::vector<std::wstring>.
void BM_VectorPushBack(benchmark::State &state) {
    const auto &texts = Texts();
    for (auto _ : state) {
        std::vector<std::wstring> v;
        for (const auto &t : texts) v.push_back(t);
        benchmark::DoNotOptimize(v.data());
    }
    state.counters["ns_per_append"] = benchmark::Counter(
        kCount, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}
BENCHMARK(BM_VectorPushBack)->Unit(benchmark::kMillisecond);

void BM_ListSort(benchmark::State &state) {
    ostr_StringList *list = BuildList();
    const std::vector<wchar_t *> unsorted(list->strings, list->strings + list->count);
    for (auto _ : state) {
        state.PauseTiming();
        std::memcpy(list->strings, unsorted.data(), unsorted.size() * sizeof(wchar_t *));
        state.ResumeTiming();
        ostr_StringListSort(list);
    }
    ostr_StringListDelete(list, nullptr);
}
BENCHMARK(BM_ListSort)->Unit(benchmark::kMillisecond);

void BM_StdSortWstring(benchmark::State &state) {
    const std::vector<std::wstring> unsorted = Texts();
    std::vector<std::wstring> v;
    for (auto _ : state) {
        state.PauseTiming();
        v = unsorted;
        state.ResumeTiming();
        std::sort(v.begin(), v.end());
    }
}
BENCHMARK(BM_StdSortWstring)->Unit(benchmark::kMillisecond);

// Both sorts timed in the same iteration, alternating, so the ratio is not skewed by drift.
void BM_SortRatio(benchmark::State &state) {
    using Clock = std::chrono::steady_clock;
    ostr_StringList *list = BuildList();
    const std::vector<wchar_t *> unsorted(list->strings, list->strings + list->count);
    const std::vector<std::wstring> texts = Texts();
    std::vector<std::wstring> v;
    Clock::duration listTime{}, stdTime{};
    for (auto _ : state) {
        std::memcpy(list->strings, unsorted.data(), unsorted.size() * sizeof(wchar_t *));
        v = texts;
        auto t0 = Clock::now();
        ostr_StringListSort(list);
        auto t1 = Clock::now();
        std::sort(v.begin(), v.end());
        auto t2 = Clock::now();
        listTime += t1 - t0;
        stdTime += t2 - t1;
    }
    state.counters["list_over_std"] = std::chrono::duration<double>(listTime).count() /
                                      std::chrono::duration<double>(stdTime).count();
    ostr_StringListDelete(list, nullptr);
}
BENCHMARK(BM_SortRatio)->Unit(benchmark::kMillisecond);

void BM_ListSortByNamePart(benchmark::State &state) {
    ostr_StringList *list = BuildList();
    const std::vector<wchar_t *> unsorted(list->strings, list->strings + list->count);
    for (auto _ : state) {
        state.PauseTiming();
        std::memcpy(list->strings, unsorted.data(), unsorted.size() * sizeof(wchar_t *));
        state.ResumeTiming();
        ostr_StringListSortByNamePart(list);
    }
    ostr_StringListDelete(list, nullptr);
}
BENCHMARK(BM_ListSortByNamePart)->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
