// HFA files side by side with HDF5 on the per-layer workloads of a raster file: N layers
// "/Layer_<i>", each with a 48-byte "Statistics" child (six doubles).
//   W1 create all, close           W2 reopen read-only, read every record
//   W3 rewrite every record        W4 delete the records of even i, close, reopen, write
//                                     them again, close
//   W5 write, then read, one 4096 x 4096 f32 array as one object, typed through its design
//      (read into the caller's buffer; "orvik-alloc": into a new heap array)
// HDF5 side: one group per layer holding a scalar dataset of a compound type (six doubles);
// the same workloads in the same run. Times are the process's CPU time (user + system), so
// that other work on a shared machine counts less; each benchmark reports it as its manual
// time. After the runs a table prints per-record times, ratios, file bytes per layer and the
// W5 throughputs.
//   bench_hfa_layers [--benchmark_filter=...]      N = 1,000, 10,000 and 100,000
// Files live in $TMPDIR (default /tmp).
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <map>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

#include <orvik/ohfa.h>
#include <orvik/oint.h>

#ifdef ORVIK_BENCH_HDF5
#include <hdf5.h>
#endif

namespace {

constexpr int kSide = 4096;

struct Statistics {
    double minimum, maximum, mean, median, mode, stddev;
};

struct Grid {
    OMIF_COUNTED_POINTER_OF(float) values;
};

double CpuSeconds() {
    timespec t{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &t);
    return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_nsec) * 1e-9;
}

std::string TempPath(const std::string &leaf) {
    const char *dir = std::getenv("TMPDIR");
    return std::string(dir && *dir ? dir : "/tmp") + "/" + leaf + "-" + std::to_string(getpid());
}
std::wstring WidePath(const std::string &p) { return std::wstring(p.begin(), p.end()); }

long long FileBytes(const std::string &path) {
    struct stat st {};
    return stat(path.c_str(), &st) == 0 ? static_cast<long long>(st.st_size) : -1;
}

// What the table at the end prints, by "side/workload/N".
struct Figure {
    double seconds = 0; // CPU time of the last run (W5: of the fastest)
    double records = 0; // records it handled
    double bytes = 0;   // file size after it (W1, W4) or bytes moved (W5)
    double bytesBefore = 0;
};
std::map<std::string, Figure> &Figures() {
    static std::map<std::string, Figure> figures;
    return figures;
}

Statistics StatsFor(int i, double shift) {
    const double b = i + shift;
    return Statistics{b, b + 1, b + 2, b + 3, b + 4, b + 5};
}

// ---- This library -----------------------------------------------------------------------

const Omif_Design *StatsDesign() {
    static Omif_Design *d = omif_DesignCreateX(
        L"Osta_Statistics", nullptr, OMIF_ITEM_DOUBLE, L"minimum", 1, OMIF_DIRECT, OMIF_ITEM_DOUBLE,
        L"maximum", 1, OMIF_DIRECT, OMIF_ITEM_DOUBLE, L"mean", 1, OMIF_DIRECT, OMIF_ITEM_DOUBLE,
        L"median", 1, OMIF_DIRECT, OMIF_ITEM_DOUBLE, L"mode", 1, OMIF_DIRECT, OMIF_ITEM_DOUBLE,
        L"stddev", 1, OMIF_DIRECT, OMIF_ITEM_END);
    return d;
}
const Omif_Design *GridDesign() {
    static Omif_Design *d = omif_DesignCreateX(L"Grid", nullptr, OMIF_ITEM_FLOAT, L"values", 0,
                                               OMIF_COUNTED_POINTER, OMIF_ITEM_END);
    return d;
}

bool Ready() {
    static const bool ready =
        oint_InitToolkit(nullptr) == 0 && ohfa_Init(nullptr) == 0 && StatsDesign() && GridDesign();
    return ready;
}

std::wstring LayerPath(int i) { return L"/Layer_" + std::to_wstring(i); }

bool OrvikCreate(const std::string &path, int n) {
    Ohfa_File *f = ohfa_FileCreate(WidePath(path).c_str(), 0, nullptr);
    if (!f) return false;
    bool ok = true;
    for (int i = 0; ok && i < n; ++i) {
        const Statistics s = StatsFor(i, 0);
        const std::wstring layer = L"Layer_" + std::to_wstring(i);
        ok = ohfa_EntrySeek(f, OHFA_SEEK_ROOT, nullptr, nullptr) == 1 &&
             ohfa_EntryWrite(f, OHFA_WRITE_LAST_CHILD, layer.c_str(), L"Layer", nullptr) == 0 &&
             ohfa_ObjectWrite(f, nullptr, L"Statistics", nullptr, OHFA_WRITE_LAST_CHILD, &s,
                              StatsDesign(), nullptr) == 0;
    }
    return ohfa_FileClose(f, nullptr) == 0 && ok;
}

bool OrvikReadAll(const std::string &path, int n) {
    Ohfa_File *f = ohfa_FileOpen(WidePath(path).c_str(), L"r", 0, nullptr);
    if (!f) return false;
    bool ok = true;
    for (int i = 0; ok && i < n; ++i) {
        Statistics s{};
        ok = ohfa_ObjectRead(f, (LayerPath(i) + L"/Statistics").c_str(), OHFA_SEEK_PATH, &s,
                             StatsDesign(), nullptr) == &s &&
             s.mean == i + 2;
    }
    return ohfa_FileClose(f, nullptr) == 0 && ok;
}

bool OrvikRewriteAll(const std::string &path, int n) {
    Ohfa_File *f = ohfa_FileOpen(WidePath(path).c_str(), L"r+b", 0, nullptr);
    if (!f) return false;
    bool ok = true;
    for (int i = 0; ok && i < n; ++i) {
        const Statistics s = StatsFor(i, 0.5);
        ok = ohfa_ObjectWrite(f, (LayerPath(i) + L"/Statistics").c_str(), nullptr, nullptr,
                              OHFA_WRITE_CURRENT, &s, StatsDesign(), nullptr) == 0;
    }
    return ohfa_FileClose(f, nullptr) == 0 && ok;
}

bool OrvikDeleteAndWriteAgain(const std::string &path, int n) {
    Ohfa_File *f = ohfa_FileOpen(WidePath(path).c_str(), L"r+b", 0, nullptr);
    if (!f) return false;
    bool ok = true;
    for (int i = 0; ok && i < n; i += 2)
        ok = ohfa_ObjectDelete(f, (LayerPath(i) + L"/Statistics").c_str(), OHFA_SEEK_PATH,
                               nullptr) == 0;
    ok = ohfa_FileClose(f, nullptr) == 0 && ok;
    f = ohfa_FileOpen(WidePath(path).c_str(), L"r+b", 0, nullptr);
    if (!f) return false;
    for (int i = 0; ok && i < n; i += 2) {
        const Statistics s = StatsFor(i, 0);
        ok = ohfa_ObjectWrite(f, LayerPath(i).c_str(), L"Statistics", nullptr,
                              OHFA_WRITE_LAST_CHILD, &s, StatsDesign(), nullptr) == 0;
    }
    return ohfa_FileClose(f, nullptr) == 0 && ok;
}

// W5 with the read converted through the design straight into the caller's buffer
// (`alloc`: ohfa_ObjectRead into a new heap array instead).
bool OrvikArrayWith(const std::string &path, std::vector<float> &grid, bool write, bool alloc) {
    Ohfa_File *f = write ? ohfa_FileCreate(WidePath(path).c_str(), 0, nullptr)
                         : ohfa_FileOpen(WidePath(path).c_str(), L"r", 0, nullptr);
    if (!f) return false;
    Grid g{};
    g.values.count = static_cast<int32_t>(grid.size());
    g.values.data = grid.data();
    bool ok;
    if (write) {
        ok = ohfa_ObjectWrite(f, L"/", L"Grid", nullptr, OHFA_WRITE_LAST_CHILD, &g, GridDesign(),
                              nullptr) == 0;
    } else if (alloc) {
        g.values.count = 0;
        g.values.data = nullptr;
        ok = ohfa_ObjectRead(f, L"/Grid", OHFA_SEEK_PATH, &g, GridDesign(), nullptr) == &g &&
             g.values.count == static_cast<int32_t>(grid.size()) && g.values.data[9973] == 0.0f;
        omsc_HeapFree(g.values.data);
    } else {
        ok = ohfa_ObjectArrayRead(f, L"/Grid", OHFA_SEEK_PATH, GridDesign(), grid.data(),
                                  static_cast<long>(grid.size()),
                                  nullptr) == static_cast<long>(grid.size()) &&
             grid[9973] == 0.0f;
    }
    return ohfa_FileClose(f, nullptr) == 0 && ok;
}
bool OrvikArray(const std::string &path, std::vector<float> &grid, bool write) {
    return OrvikArrayWith(path, grid, write, false);
}
bool OrvikArrayAlloc(const std::string &path, std::vector<float> &grid, bool write) {
    return OrvikArrayWith(path, grid, write, true);
}

// ---- HDF5 -------------------------------------------------------------------------------

#ifdef ORVIK_BENCH_HDF5
hid_t StatsType() {
    static hid_t t = [] {
        hid_t c = H5Tcreate(H5T_COMPOUND, sizeof(Statistics));
        H5Tinsert(c, "minimum", HOFFSET(Statistics, minimum), H5T_NATIVE_DOUBLE);
        H5Tinsert(c, "maximum", HOFFSET(Statistics, maximum), H5T_NATIVE_DOUBLE);
        H5Tinsert(c, "mean", HOFFSET(Statistics, mean), H5T_NATIVE_DOUBLE);
        H5Tinsert(c, "median", HOFFSET(Statistics, median), H5T_NATIVE_DOUBLE);
        H5Tinsert(c, "mode", HOFFSET(Statistics, mode), H5T_NATIVE_DOUBLE);
        H5Tinsert(c, "stddev", HOFFSET(Statistics, stddev), H5T_NATIVE_DOUBLE);
        return c;
    }();
    return t;
}

std::string H5Layer(int i) { return "/Layer_" + std::to_string(i); }

bool H5WriteStats(hid_t group, int i, double shift) {
    const Statistics s = StatsFor(i, shift);
    hid_t space = H5Screate(H5S_SCALAR);
    hid_t set =
        H5Dcreate2(group, "Statistics", StatsType(), space, H5P_DEFAULT, H5P_DEFAULT, H5P_DEFAULT);
    const bool ok = set >= 0 && H5Dwrite(set, StatsType(), H5S_ALL, H5S_ALL, H5P_DEFAULT, &s) >= 0;
    if (set >= 0) H5Dclose(set);
    H5Sclose(space);
    return ok;
}

bool H5Create(const std::string &path, int n) {
    hid_t f = H5Fcreate(path.c_str(), H5F_ACC_TRUNC, H5P_DEFAULT, H5P_DEFAULT);
    if (f < 0) return false;
    bool ok = true;
    for (int i = 0; ok && i < n; ++i) {
        hid_t g = H5Gcreate2(f, H5Layer(i).c_str(), H5P_DEFAULT, H5P_DEFAULT, H5P_DEFAULT);
        ok = g >= 0 && H5WriteStats(g, i, 0);
        if (g >= 0) H5Gclose(g);
    }
    return H5Fclose(f) >= 0 && ok;
}

bool H5ReadAll(const std::string &path, int n) {
    hid_t f = H5Fopen(path.c_str(), H5F_ACC_RDONLY, H5P_DEFAULT);
    if (f < 0) return false;
    bool ok = true;
    for (int i = 0; ok && i < n; ++i) {
        Statistics s{};
        hid_t set = H5Dopen2(f, (H5Layer(i) + "/Statistics").c_str(), H5P_DEFAULT);
        ok = set >= 0 && H5Dread(set, StatsType(), H5S_ALL, H5S_ALL, H5P_DEFAULT, &s) >= 0 &&
             s.mean == i + 2;
        if (set >= 0) H5Dclose(set);
    }
    return H5Fclose(f) >= 0 && ok;
}

bool H5RewriteAll(const std::string &path, int n) {
    hid_t f = H5Fopen(path.c_str(), H5F_ACC_RDWR, H5P_DEFAULT);
    if (f < 0) return false;
    bool ok = true;
    for (int i = 0; ok && i < n; ++i) {
        const Statistics s = StatsFor(i, 0.5);
        hid_t set = H5Dopen2(f, (H5Layer(i) + "/Statistics").c_str(), H5P_DEFAULT);
        ok = set >= 0 && H5Dwrite(set, StatsType(), H5S_ALL, H5S_ALL, H5P_DEFAULT, &s) >= 0;
        if (set >= 0) H5Dclose(set);
    }
    return H5Fclose(f) >= 0 && ok;
}

bool H5DeleteAndWriteAgain(const std::string &path, int n) {
    hid_t f = H5Fopen(path.c_str(), H5F_ACC_RDWR, H5P_DEFAULT);
    if (f < 0) return false;
    bool ok = true;
    for (int i = 0; ok && i < n; i += 2)
        ok = H5Ldelete(f, (H5Layer(i) + "/Statistics").c_str(), H5P_DEFAULT) >= 0;
    ok = H5Fclose(f) >= 0 && ok;
    f = H5Fopen(path.c_str(), H5F_ACC_RDWR, H5P_DEFAULT);
    if (f < 0) return false;
    for (int i = 0; ok && i < n; i += 2) {
        hid_t g = H5Gopen2(f, H5Layer(i).c_str(), H5P_DEFAULT);
        ok = g >= 0 && H5WriteStats(g, i, 0);
        if (g >= 0) H5Gclose(g);
    }
    return H5Fclose(f) >= 0 && ok;
}

bool H5Array(const std::string &path, std::vector<float> &grid, bool write) {
    hid_t f = write ? H5Fcreate(path.c_str(), H5F_ACC_TRUNC, H5P_DEFAULT, H5P_DEFAULT)
                    : H5Fopen(path.c_str(), H5F_ACC_RDONLY, H5P_DEFAULT);
    if (f < 0) return false;
    bool ok;
    if (write) {
        const hsize_t dims[2] = {kSide, kSide};
        hid_t space = H5Screate_simple(2, dims, nullptr);
        hid_t set =
            H5Dcreate2(f, "/Grid", H5T_NATIVE_FLOAT, space, H5P_DEFAULT, H5P_DEFAULT, H5P_DEFAULT);
        ok = set >= 0 &&
             H5Dwrite(set, H5T_NATIVE_FLOAT, H5S_ALL, H5S_ALL, H5P_DEFAULT, grid.data()) >= 0;
        if (set >= 0) H5Dclose(set);
        H5Sclose(space);
    } else {
        hid_t set = H5Dopen2(f, "/Grid", H5P_DEFAULT);
        ok = set >= 0 &&
             H5Dread(set, H5T_NATIVE_FLOAT, H5S_ALL, H5S_ALL, H5P_DEFAULT, grid.data()) >= 0;
        if (set >= 0) H5Dclose(set);
    }
    return H5Fclose(f) >= 0 && ok;
}
#endif

// ---- Runs -------------------------------------------------------------------------------

struct Side {
    const char *name;
    bool (*create)(const std::string &, int);
    bool (*readAll)(const std::string &, int);
    bool (*rewriteAll)(const std::string &, int);
    bool (*deleteAndWriteAgain)(const std::string &, int);
    bool (*array)(const std::string &, std::vector<float> &, bool);
};

const Side kOrvik{"orvik",   OrvikCreate, OrvikReadAll, OrvikRewriteAll, OrvikDeleteAndWriteAgain,
                  OrvikArray};
// W5 only: the read into a new heap array.
const Side kOrvikAlloc{"orvik-alloc", nullptr, nullptr, nullptr, nullptr, OrvikArrayAlloc};
#ifdef ORVIK_BENCH_HDF5
const Side kHdf5{"hdf5", H5Create, H5ReadAll, H5RewriteAll, H5DeleteAndWriteAgain, H5Array};
#endif

// Runs workload `w` of `side` once per iteration; the CPU time of the workload is the
// iteration's time, set-up (the file it starts from) is not.
void Layers(benchmark::State &state, const Side &side, int w) {
    if (!Ready()) return state.SkipWithError("package not ready");
    const int n = static_cast<int>(state.range(0));
    const std::string path = TempPath(std::string("bench-layers-") + side.name);
    Figure fig;
    for (auto _ : state) {
        if (w > 1 && !side.create(path, n)) return state.SkipWithError("create failed");
        if (w == 3 && !side.rewriteAll(path, n)) return state.SkipWithError("rewrite failed");
        fig.bytesBefore = static_cast<double>(FileBytes(path));
        const double start = CpuSeconds();
        bool ok = false;
        switch (w) {
        case 1:
            ok = side.create(path, n);
            break;
        case 2:
            ok = side.readAll(path, n);
            break;
        case 3:
            ok = side.rewriteAll(path, n);
            break;
        case 4:
            ok = side.deleteAndWriteAgain(path, n);
            break;
        }
        const double spent = CpuSeconds() - start;
        if (!ok) return state.SkipWithError("workload failed");
        state.SetIterationTime(spent);
        fig.seconds = spent;
    }
    fig.records = w == 4 ? 2.0 * ((n + 1) / 2) : n; // W4: each even record deleted and written
    fig.bytes = static_cast<double>(FileBytes(path));
    state.counters["us_per_record"] = fig.seconds * 1e6 / fig.records;
    state.counters["bytes_per_layer"] = fig.bytes / n;
    Figures()[std::string(side.name) + "/W" + std::to_string(w) + "/" + std::to_string(n)] = fig;
    std::remove(path.c_str());
}

void Array(benchmark::State &state, const Side &side) {
    if (!Ready()) return state.SkipWithError("package not ready");
    const bool write = state.range(0) == 1;
    const std::string path = TempPath(std::string("bench-array-") + side.name);
    std::vector<float> grid(static_cast<std::size_t>(kSide) * kSide);
    for (std::size_t i = 0; i < grid.size(); ++i) grid[i] = static_cast<float>(i % 9973);
    Figure fig;
    for (auto _ : state) {
        if (!write && !side.array(path, grid, true)) return state.SkipWithError("write failed");
        const double start = CpuSeconds();
        const bool ok = side.array(path, grid, write);
        const double spent = CpuSeconds() - start;
        if (!ok) return state.SkipWithError("array failed");
        state.SetIterationTime(spent);
        // The fastest iteration: one transfer takes a few milliseconds, so a busy machine's
        // interruptions would otherwise decide the figure.
        fig.seconds = fig.seconds > 0 ? std::min(fig.seconds, spent) : spent;
    }
    fig.bytes = static_cast<double>(grid.size() * sizeof(float));
    state.SetBytesProcessed(static_cast<int64_t>(fig.bytes) * state.iterations());
    Figures()[std::string(side.name) + (write ? "/W5w" : "/W5r")] = fig;
    std::remove(path.c_str());
}

void RegisterAll() {
    std::vector<const Side *> sides{&kOrvik};
#ifdef ORVIK_BENCH_HDF5
    sides.push_back(&kHdf5);
#endif
    for (int w = 1; w <= 4; ++w)
        for (const Side *side : sides)
            benchmark::RegisterBenchmark(
                (std::string("W") + std::to_string(w) + "/" + side->name).c_str(),
                [side, w](benchmark::State &s) { Layers(s, *side, w); })
                ->Arg(1000)
                ->Arg(10000)
                ->Arg(100000)
                ->Iterations(1)
                ->UseManualTime()
                ->Unit(benchmark::kMillisecond);
    sides.push_back(&kOrvikAlloc);
    for (const Side *side : sides)
        benchmark::RegisterBenchmark((std::string("W5/") + side->name).c_str(),
                                     [side](benchmark::State &s) { Array(s, *side); })
            ->Arg(1)
            ->Arg(0)
            ->ArgName("write")
            ->Iterations(8)
            ->UseManualTime()
            ->Unit(benchmark::kMillisecond);
}

void PrintTable() {
    auto &figs = Figures();
    auto get = [&](const std::string &k) -> const Figure * {
        auto it = figs.find(k);
        return it == figs.end() ? nullptr : &it->second;
    };
    std::printf("\nCPU time per record (us); ratio = orvik / hdf5\n");
    std::printf("%-4s %8s %12s %12s %8s\n", "", "N", "orvik", "hdf5", "ratio");
    for (int w = 1; w <= 4; ++w)
        for (int n : {1000, 10000, 100000}) {
            const std::string tail = "/W" + std::to_string(w) + "/" + std::to_string(n);
            const Figure *o = get("orvik" + tail);
            const Figure *h = get("hdf5" + tail);
            if (!o) continue;
            const double ou = o->seconds * 1e6 / o->records;
            const double hu = h ? h->seconds * 1e6 / h->records : 0;
            std::printf("W%-3d %8d %12.2f %12.2f %8.3f\n", w, n, ou, hu, h ? ou / hu : 0.0);
        }
    std::printf("\nPer-record cost at N = 100,000 over N = 1,000 (orvik):");
    for (int w = 1; w <= 4; ++w) {
        const Figure *a = get("orvik/W" + std::to_string(w) + "/1000");
        const Figure *b = get("orvik/W" + std::to_string(w) + "/100000");
        if (a && b)
            std::printf("  W%d %.2f", w, (b->seconds / b->records) / (a->seconds / a->records));
    }
    std::printf("\n\nFile bytes per layer after W1 (and before -> after W4)\n");
    for (const char *side : {"orvik", "hdf5"})
        for (int n : {1000, 10000, 100000}) {
            const Figure *a = get(std::string(side) + "/W1/" + std::to_string(n));
            const Figure *d = get(std::string(side) + "/W4/" + std::to_string(n));
            if (!a) continue;
            std::printf("%-6s N=%-7d %8.1f", side, n, a->bytes / n);
            if (d) std::printf("   W4: %.0f -> %.0f bytes", d->bytesBefore, d->bytes);
            std::printf("\n");
        }
    std::printf("\nW5 throughput (MB/s of CPU time), 4096 x 4096 f32\n");
    for (const char *side : {"orvik", "orvik-alloc"})
        for (const char *mode : {"W5w", "W5r"}) {
            const Figure *o = get(std::string(side) + "/" + mode);
            const Figure *h = get(std::string("hdf5/") + mode);
            if (!o) continue;
            const double om = o->bytes / o->seconds / 1e6;
            const double hm = h ? h->bytes / h->seconds / 1e6 : 0;
            std::printf("%s %-9s %9.1f  hdf5 %9.1f  ratio %.3f\n",
                        mode[2] == 'w' ? "write" : "read ", side, om, hm, h ? om / hm : 0.0);
        }
}

} // namespace

int main(int argc, char **argv) {
    RegisterAll();
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    PrintTable();
    return 0;
}
