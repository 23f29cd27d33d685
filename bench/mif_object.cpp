// Whole-record conversion between host and file form through memory buffers: a 16M-element
// indirect double array, a 4096 x 4096 f32 base data and 16M-element packed arrays, side by
// side with memcpy of the same number of host bytes.
#include <benchmark/benchmark.h>

#include <cstring>
#include <vector>

#include <orvik/ogda.h>
#include <orvik/omif.h>

namespace {

constexpr int32_t kElements = 16 << 20;
constexpr int32_t kSide = 4096;

void BM_Memcpy(benchmark::State &state) {
    const auto bytes = static_cast<std::size_t>(state.range(0));
    std::vector<unsigned char> a(bytes, 1), b(bytes);
    for (auto _ : state) {
        std::memcpy(b.data(), a.data(), bytes);
        benchmark::DoNotOptimize(b.data());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * bytes));
}

Omif_Design *Create(const wchar_t *name, const Omif_ItemDescription *items) {
    Omif_Design *d = omif_DesignCreateFromTable(name, items, nullptr, nullptr);
    if (!d) std::abort();
    return d;
}

// One record, its file form, and the conversion in the chosen direction.
struct Fixture {
    Omif_Design *design;
    void *record;
    std::vector<unsigned char> file;

    Fixture(Omif_Design *d, void *r) : design(d), record(r) {
        const long size = omif_ObjectSize(record, design, nullptr);
        file.resize(static_cast<std::size_t>(size));
    }
    ~Fixture() {
        omif_ObjectFree(record, design, nullptr);
        omif_DesignDestroy(design, nullptr);
    }
    void Run(benchmark::State &state, bool toFile, int64_t hostBytes) {
        Oerr_ErrorReport *err = nullptr;
        Omif_Buffer buffer{file.data(), static_cast<long>(file.size()), 0, 0};
        omif_ConvertToMIF(nullptr, record, design, &buffer, 0, &err);
        for (auto _ : state) {
            buffer.cursor = 0;
            if (toFile)
                omif_ConvertToMIF(nullptr, record, design, &buffer, 0, &err);
            else
                omif_ConvertToHost(nullptr, &buffer, design, record, &err);
            if (err) {
                state.SkipWithError("conversion failed");
                oerr_DeleteErrorReportEx(&err);
                break;
            }
            benchmark::ClobberMemory();
        }
        state.SetBytesProcessed(state.iterations() * hostBytes);
    }
};

template <class T> struct Counted {
    int32_t count;
    T *data;
};

void DoubleArray(benchmark::State &state, bool toFile) {
    static const Omif_ItemDescription kItems[] = {OMIF_FIELD_COUNTED(OMIF_ITEM_DOUBLE, L"values"),
                                                  OMIF_TABLE_END};
    Omif_Design *design = Create(L"Doubles", kItems);
    auto *rec = static_cast<Counted<double> *>(omif_ObjectAllocate(design, nullptr));
    rec->count = kElements;
    rec->data =
        static_cast<double *>(omsc_HeapMalloc(kElements * static_cast<int32_t>(sizeof(double))));
    for (int32_t i = 0; i < kElements; ++i) rec->data[i] = i * 0.5;
    Fixture f(design, rec);
    f.Run(state, toFile, int64_t{kElements} * 8);
}
void BM_DoubleArrayToFile(benchmark::State &state) { DoubleArray(state, true); }
void BM_DoubleArrayToHost(benchmark::State &state) { DoubleArray(state, false); }

void BaseDataF32(benchmark::State &state, bool toFile) {
    static const Omif_ItemDescription kItems[] = {
        {OMIF_ITEM_BASEDATA, L"grid", 1, 0, 0, nullptr, nullptr, nullptr, nullptr}, OMIF_TABLE_END};
    Omif_Design *design = Create(L"Grid", kItems);
    auto *rec = static_cast<Ogda_BaseData *>(omif_ObjectAllocate(design, nullptr));
    Ogda_BaseData *bd = ogda_BaseDataCreate(kSide, kSide, OGDA_F32, Ogda_Raster, nullptr, nullptr);
    auto *values = static_cast<float *>(bd->data);
    for (int32_t i = 0; i < kSide * kSide; ++i) values[i] = static_cast<float>(i);
    *rec = *bd; // the record takes over the block
    omsc_HeapFree(bd);
    Fixture f(design, rec);
    f.Run(state, toFile, int64_t{kSide} * kSide * 4);
}
void BM_BaseDataF32ToFile(benchmark::State &state) { BaseDataF32(state, true); }
void BM_BaseDataF32ToHost(benchmark::State &state) { BaseDataF32(state, false); }

void Packed(benchmark::State &state, bool toFile) {
    static const Omif_ItemDescription k1[] = {OMIF_FIELD_COUNTED(OMIF_ITEM_U1, L"v"),
                                              OMIF_TABLE_END};
    static const Omif_ItemDescription k2[] = {OMIF_FIELD_COUNTED(OMIF_ITEM_U2, L"v"),
                                              OMIF_TABLE_END};
    static const Omif_ItemDescription k4[] = {OMIF_FIELD_COUNTED(OMIF_ITEM_U4, L"v"),
                                              OMIF_TABLE_END};
    const int bits = static_cast<int>(state.range(0));
    Omif_Design *design = Create(L"Packed", bits == 1 ? k1 : bits == 2 ? k2 : k4);
    auto *rec = static_cast<Counted<unsigned char> *>(omif_ObjectAllocate(design, nullptr));
    rec->count = kElements;
    rec->data = static_cast<unsigned char *>(omsc_HeapMalloc(kElements));
    for (int32_t i = 0; i < kElements; ++i)
        rec->data[i] = static_cast<unsigned char>((i * 7) & ((1 << bits) - 1));
    Fixture f(design, rec);
    f.Run(state, toFile, kElements); // host bytes
}
void BM_PackedToFile(benchmark::State &state) { Packed(state, true); }
void BM_PackedToHost(benchmark::State &state) { Packed(state, false); }

} // namespace

BENCHMARK(BM_Memcpy)
    ->Arg(int64_t{kElements} * 8)
    ->Arg(int64_t{kSide} * kSide * 4)
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_DoubleArrayToFile)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_DoubleArrayToHost)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_BaseDataF32ToFile)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_BaseDataF32ToHost)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_PackedToFile)->Arg(1)->Arg(2)->Arg(4)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_PackedToHost)->Arg(1)->Arg(2)->Arg(4)->Unit(benchmark::kMillisecond);

BENCHMARK_MAIN();
