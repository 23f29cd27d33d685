// Dictionary text form and look-up at the size of a large file's dictionary (500 designs).
// Target: decoding at 50 MB/s or more. Look-up is shown beside a plain walk of the list.
#include <benchmark/benchmark.h>

#include <cwchar>
#include <string>
#include <vector>

#include <orvik/omif.h>

#include "mif/codec.hpp"
#include "mif/dictionary.hpp"

namespace {

constexpr int kDesigns = 500;

// 500 designs of 6 to 9 items each: scalars, arrays, pointers, enumerations, references.
Omif_Dictionary *BuildDictionary() {
    static const wchar_t *const levels[] = {L"none", L"low", L"medium", L"high", nullptr};
    Omif_Dictionary *d = omif_DictionaryCreate(nullptr);
    const Omif_Design *previous = nullptr;
    for (int i = 0; i < kDesigns; ++i) {
        const std::wstring name = L"Eimg_LayerStatistics_" + std::to_wstring(i);
        Omif_Design *x = omif_DesignCreateX(
            name.c_str(), nullptr, OMIF_ITEM_LONG, L"numrows", 1, OMIF_DIRECT, OMIF_ITEM_LONG,
            L"numcolumns", 1, OMIF_DIRECT, OMIF_ITEM_DOUBLE, L"histogram", 256,
            OMIF_COUNTED_POINTER, OMIF_ITEM_ENUM, L"quality", 1, OMIF_DIRECT, levels,
            OMIF_ITEM_CHAR, L"description", 64, OMIF_DIRECT, OMIF_ITEM_TIME, L"modified", 1,
            OMIF_DIRECT, OMIF_ITEM_FLOAT, L"scale", 3, OMIF_DIRECT,
            previous ? OMIF_ITEM_OBJECT : OMIF_ITEM_END, L"parent", 1, OMIF_PLAIN_POINTER, previous,
            OMIF_ITEM_END);
        previous = omif_DictionaryAddDesign(d, x, nullptr);
        omif_DesignDestroy(x, nullptr);
    }
    return d;
}

std::string EncodeNarrow(const Omif_Dictionary *d) {
    orvik::mif::StringSink sink;
    orvik::mif::EncodeDictionary(d, sink, nullptr);
    return sink.Text();
}

void BM_Encode(benchmark::State &state) {
    Omif_Dictionary *d = BuildDictionary();
    const size_t bytes = EncodeNarrow(d).size();
    for (auto _ : state) {
        orvik::mif::StringSink sink;
        benchmark::DoNotOptimize(orvik::mif::EncodeDictionary(d, sink, nullptr));
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * bytes));
    state.counters["text_bytes"] = static_cast<double>(bytes);
    omif_DictionaryDestroy(d, nullptr);
}
BENCHMARK(BM_Encode)->Unit(benchmark::kMillisecond);

void BM_EncodeToWideString(benchmark::State &state) {
    Omif_Dictionary *d = BuildDictionary();
    const size_t bytes = EncodeNarrow(d).size();
    for (auto _ : state) {
        wchar_t *text = omif_DictionaryEncodeToString(d, nullptr);
        benchmark::DoNotOptimize(text);
        omsc_HeapFree(text);
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * bytes));
    omif_DictionaryDestroy(d, nullptr);
}
BENCHMARK(BM_EncodeToWideString)->Unit(benchmark::kMillisecond);

void BM_EncodedLengthOnNullDevice(benchmark::State &state) {
    Omif_Dictionary *d = BuildDictionary();
    const size_t bytes = EncodeNarrow(d).size();
    for (auto _ : state) benchmark::DoNotOptimize(omif_DictionaryEncodedLength(d, nullptr));
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * bytes));
    omif_DictionaryDestroy(d, nullptr);
}
BENCHMARK(BM_EncodedLengthOnNullDevice)->Unit(benchmark::kMillisecond);

void BM_Decode(benchmark::State &state) {
    Omif_Dictionary *d = BuildDictionary();
    const std::string text = EncodeNarrow(d);
    omif_DictionaryDestroy(d, nullptr);
    for (auto _ : state) {
        orvik::mif::TextSource source(text.data(), text.data() + text.size());
        Omif_Dictionary *back = orvik::mif::DecodeDictionary(source, nullptr, nullptr);
        benchmark::DoNotOptimize(back);
        omif_DictionaryDestroy(back, nullptr);
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * text.size()));
}
BENCHMARK(BM_Decode)->Unit(benchmark::kMillisecond);

void BM_DecodeFromWideString(benchmark::State &state) {
    Omif_Dictionary *d = BuildDictionary();
    wchar_t *text = omif_DictionaryEncodeToString(d, nullptr);
    const size_t bytes = std::wcslen(text);
    omif_DictionaryDestroy(d, nullptr);
    for (auto _ : state) {
        Omif_Dictionary *back = omif_DictionaryDecodeFromString(text, nullptr);
        benchmark::DoNotOptimize(back);
        omif_DictionaryDestroy(back, nullptr);
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * bytes));
    omsc_HeapFree(text);
}
BENCHMARK(BM_DecodeFromWideString)->Unit(benchmark::kMillisecond);

std::vector<std::wstring> LookupNames() {
    std::vector<std::wstring> names;
    for (int i = 0; i < kDesigns; i += 7)
        names.push_back(L"Eimg_LayerStatistics_" + std::to_wstring(i));
    names.push_back(L"Not_In_The_Dictionary");
    return names;
}

void BM_SearchByName(benchmark::State &state) {
    Omif_Dictionary *d = BuildDictionary();
    const auto names = LookupNames();
    size_t i = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(omif_DictionarySearchByName(d, names[i].c_str(), nullptr));
        if (++i == names.size()) i = 0;
    }
    omif_DictionaryDestroy(d, nullptr);
}
BENCHMARK(BM_SearchByName);

// Baseline: the first match found by walking the list.
void BM_SearchByWalkingTheList(benchmark::State &state) {
    Omif_Dictionary *d = BuildDictionary();
    const auto names = LookupNames();
    size_t i = 0;
    for (auto _ : state) {
        const Omif_Design *found = nullptr;
        for (const Omif_Design *x = d->designs; x; x = x->next)
            if (std::wcscmp(x->name, names[i].c_str()) == 0) {
                found = x;
                break;
            }
        benchmark::DoNotOptimize(found);
        if (++i == names.size()) i = 0;
    }
    omif_DictionaryDestroy(d, nullptr);
}
BENCHMARK(BM_SearchByWalkingTheList);

} // namespace

BENCHMARK_MAIN();
