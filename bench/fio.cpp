// The file layer against the raw system calls (and stdio, the obvious alternative) on the
// access patterns of its callers: large sequential blocks, scattered small records as the
// hierarchical file format does, small sequential writes and character reading as the text
// forms do. Run all in one process so that the ratios compare like with like:
//   bench_fio --benchmark_counters_tabular=true
// Files live in $TMPDIR (default /tmp).
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <random>
#include <string>
#include <unistd.h>
#include <vector>

#include <orvik/ofio.h>

#include "fio/stream_handle.hpp"

namespace {

constexpr size_t kBlock = 1 << 20;            // sequential block
constexpr size_t kSequentialTotal = 64 << 20; // bytes per sequential pass
constexpr int64_t kScatterFile = 64 << 20;    // file of the scattered pattern
constexpr int kScatterCount = 100000;         // records written, then read
constexpr size_t kRecord = 128;               // record size of the scattered pattern
constexpr size_t kSmall = 64;                 // small sequential write
constexpr size_t kSmallTotal = 16 << 20;

std::string TempPath(const char *leaf) {
    const char *dir = std::getenv("TMPDIR");
    return std::string(dir && *dir ? dir : "/tmp") + "/" + leaf + "-" + std::to_string(getpid());
}

std::wstring Wide(const std::string &s) { return std::wstring(s.begin(), s.end()); }

void Fail(benchmark::State &state, Oerr_ErrorReport *&err) {
    state.SkipWithError("file layer call failed");
    oerr_DeleteErrorReportEx(&err);
}

Ofio_File *Open(const std::string &path, const wchar_t *mode, size_t bufferSize,
                Oerr_ErrorReport **err) {
    return orvik::fio::OpenStream(Wide(path).c_str(), mode, bufferSize, err, L"bench");
}

// ---- Sequential 1 MiB blocks -------------------------------------------------------------

void SequentialWriteRaw(benchmark::State &state) {
    std::string path = TempPath("seq-raw");
    std::vector<char> block(kBlock, 'x');
    for (auto _ : state) {
        int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        for (size_t done = 0; done < kSequentialTotal; done += kBlock) {
            if (write(fd, block.data(), kBlock) != static_cast<ssize_t>(kBlock)) {
                state.SkipWithError("write failed");
            }
        }
        close(fd);
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * kSequentialTotal));
    unlink(path.c_str());
}

void SequentialWriteLayer(benchmark::State &state) {
    std::string path = TempPath("seq-layer");
    std::vector<char> block(kBlock, 'x');
    Oerr_ErrorReport *err = nullptr;
    for (auto _ : state) {
        Ofio_File *f = Open(path, L"wb", orvik::fio::kDefaultBufferSize, &err);
        for (size_t done = 0; f && done < kSequentialTotal; done += kBlock) {
            if (ofio_WriteSeq(f, block.data(), kBlock, &err) < 0) Fail(state, err);
        }
        if (ofio_FileClose(f, &err) != 0 || !f) Fail(state, err);
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * kSequentialTotal));
    unlink(path.c_str());
}

void PrepareFile(const std::string &path, int64_t size) {
    int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    std::vector<char> block(kBlock, 'y');
    for (int64_t done = 0; done < size; done += static_cast<int64_t>(kBlock)) {
        if (write(fd, block.data(), kBlock) < 0) break;
    }
    close(fd);
}

void SequentialReadRaw(benchmark::State &state) {
    std::string path = TempPath("seqr-raw");
    PrepareFile(path, kSequentialTotal);
    std::vector<char> block(kBlock);
    for (auto _ : state) {
        int fd = open(path.c_str(), O_RDONLY);
        for (size_t done = 0; done < kSequentialTotal; done += kBlock) {
            if (read(fd, block.data(), kBlock) != static_cast<ssize_t>(kBlock)) {
                state.SkipWithError("read failed");
            }
        }
        close(fd);
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * kSequentialTotal));
    unlink(path.c_str());
}

void SequentialReadLayer(benchmark::State &state) {
    std::string path = TempPath("seqr-layer");
    PrepareFile(path, kSequentialTotal);
    std::vector<char> block(kBlock);
    Oerr_ErrorReport *err = nullptr;
    for (auto _ : state) {
        Ofio_File *f = Open(path, L"rb", orvik::fio::kDefaultBufferSize, &err);
        for (size_t done = 0; f && done < kSequentialTotal; done += kBlock) {
            if (ofio_ReadSeq(f, block.data(), kBlock, &err) < 0) Fail(state, err);
        }
        if (ofio_FileClose(f, &err) != 0 || !f) Fail(state, err);
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * kSequentialTotal));
    unlink(path.c_str());
}

// ---- Scattered 128-byte records in a 64 MiB file: all writes, then all reads ---------------

const std::vector<int64_t> &ScatterPositions() {
    static const std::vector<int64_t> positions = [] {
        std::mt19937_64 rng(20261122);
        std::vector<int64_t> p(kScatterCount);
        for (auto &x : p) x = static_cast<int64_t>(rng() % (kScatterFile - kRecord));
        return p;
    }();
    return positions;
}

void ScatteredRaw(benchmark::State &state) {
    std::string path = TempPath("scatter-raw");
    PrepareFile(path, kScatterFile);
    const auto &pos = ScatterPositions();
    char record[kRecord] = {1, 2, 3};
    for (auto _ : state) {
        int fd = open(path.c_str(), O_RDWR);
        for (int64_t p : pos) {
            if (pwrite(fd, record, kRecord, p) != static_cast<ssize_t>(kRecord)) {
                state.SkipWithError("pwrite failed");
            }
        }
        for (int64_t p : pos) {
            if (pread(fd, record, kRecord, p) != static_cast<ssize_t>(kRecord)) {
                state.SkipWithError("pread failed");
            }
        }
        close(fd);
    }
    state.SetItemsProcessed(state.iterations() * 2 * kScatterCount);
    unlink(path.c_str());
}

// Seek + sequential read/write, the way the hierarchical format's record functions call the
// layer. Argument: buffer size (0 = unbuffered).
void ScatteredLayer(benchmark::State &state) {
    std::string path = TempPath("scatter-layer");
    PrepareFile(path, kScatterFile);
    const auto &pos = ScatterPositions();
    char record[kRecord] = {1, 2, 3};
    Oerr_ErrorReport *err = nullptr;
    for (auto _ : state) {
        Ofio_File *f = Open(path, L"r+b", static_cast<size_t>(state.range(0)), &err);
        if (!f) Fail(state, err);
        for (int64_t p : pos) {
            if (ofio_Seek(f, p, OFIO_SEEK_SET, &err) != 0 ||
                ofio_WriteSeq(f, record, kRecord, &err) < 0) {
                Fail(state, err);
            }
        }
        for (int64_t p : pos) {
            if (ofio_Seek(f, p, OFIO_SEEK_SET, &err) != 0 ||
                ofio_ReadSeq(f, record, kRecord, &err) < 0) {
                Fail(state, err);
            }
        }
        if (ofio_FileClose(f, &err) != 0) Fail(state, err);
    }
    state.SetItemsProcessed(state.iterations() * 2 * kScatterCount);
    unlink(path.c_str());
}

void ScatteredStdio(benchmark::State &state) {
    std::string path = TempPath("scatter-stdio");
    PrepareFile(path, kScatterFile);
    const auto &pos = ScatterPositions();
    char record[kRecord] = {1, 2, 3};
    for (auto _ : state) {
        FILE *f = std::fopen(path.c_str(), "r+b");
        for (int64_t p : pos) {
            if (fseeko(f, p, SEEK_SET) != 0 || std::fwrite(record, 1, kRecord, f) != kRecord) {
                state.SkipWithError("fwrite failed");
            }
        }
        for (int64_t p : pos) {
            if (fseeko(f, p, SEEK_SET) != 0 || std::fread(record, 1, kRecord, f) != kRecord) {
                state.SkipWithError("fread failed");
            }
        }
        std::fclose(f);
    }
    state.SetItemsProcessed(state.iterations() * 2 * kScatterCount);
    unlink(path.c_str());
}

// ---- Small sequential writes and character reading (text forms) ------------------------------

void SmallWritesRaw(benchmark::State &state) {
    std::string path = TempPath("small-raw");
    char record[kSmall] = {};
    for (auto _ : state) {
        int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        for (size_t done = 0; done < kSmallTotal; done += kSmall) {
            if (write(fd, record, kSmall) != static_cast<ssize_t>(kSmall)) {
                state.SkipWithError("write failed");
            }
        }
        close(fd);
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * kSmallTotal));
    unlink(path.c_str());
}

void SmallWritesLayer(benchmark::State &state) {
    std::string path = TempPath("small-layer");
    char record[kSmall] = {};
    Oerr_ErrorReport *err = nullptr;
    for (auto _ : state) {
        Ofio_File *f = Open(path, L"wb", static_cast<size_t>(state.range(0)), &err);
        for (size_t done = 0; f && done < kSmallTotal; done += kSmall) {
            if (ofio_WriteSeq(f, record, kSmall, &err) < 0) Fail(state, err);
        }
        if (ofio_FileClose(f, &err) != 0 || !f) Fail(state, err);
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * kSmallTotal));
    unlink(path.c_str());
}

void SmallWritesStdio(benchmark::State &state) {
    std::string path = TempPath("small-stdio");
    char record[kSmall] = {};
    for (auto _ : state) {
        FILE *f = std::fopen(path.c_str(), "wb");
        for (size_t done = 0; done < kSmallTotal; done += kSmall) {
            if (std::fwrite(record, 1, kSmall, f) != kSmall) state.SkipWithError("fwrite failed");
        }
        std::fclose(f);
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * kSmallTotal));
    unlink(path.c_str());
}

void CharactersLayer(benchmark::State &state) {
    std::string path = TempPath("chars-layer");
    PrepareFile(path, kSmallTotal);
    Oerr_ErrorReport *err = nullptr;
    for (auto _ : state) {
        Ofio_File *f = Open(path, L"rb", orvik::fio::kDefaultBufferSize, &err);
        long sum = 0;
        for (int c; (c = ofio_Fgetc(f, &err)) >= 0;) sum += c;
        benchmark::DoNotOptimize(sum);
        ofio_FileClose(f, &err);
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * kSmallTotal));
    unlink(path.c_str());
}

void CharactersStdio(benchmark::State &state) {
    std::string path = TempPath("chars-stdio");
    PrepareFile(path, kSmallTotal);
    for (auto _ : state) {
        FILE *f = std::fopen(path.c_str(), "rb");
        long sum = 0;
        for (int c; (c = std::getc(f)) != EOF;) sum += c;
        benchmark::DoNotOptimize(sum);
        std::fclose(f);
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * kSmallTotal));
    unlink(path.c_str());
}

} // namespace

BENCHMARK(SequentialWriteRaw)->Unit(benchmark::kMillisecond);
BENCHMARK(SequentialWriteLayer)->Unit(benchmark::kMillisecond);
BENCHMARK(SequentialReadRaw)->Unit(benchmark::kMillisecond);
BENCHMARK(SequentialReadLayer)->Unit(benchmark::kMillisecond);
BENCHMARK(ScatteredRaw)->Unit(benchmark::kMillisecond);
BENCHMARK(ScatteredLayer)
    ->Arg(0)
    ->Arg(4096)
    ->Arg(orvik::fio::kDefaultBufferSize)
    ->Unit(benchmark::kMillisecond);
BENCHMARK(ScatteredStdio)->Unit(benchmark::kMillisecond);
BENCHMARK(SmallWritesRaw)->Unit(benchmark::kMillisecond);
BENCHMARK(SmallWritesLayer)
    ->Arg(0)
    ->Arg(4096)
    ->Arg(orvik::fio::kDefaultBufferSize)
    ->Unit(benchmark::kMillisecond);
BENCHMARK(SmallWritesStdio)->Unit(benchmark::kMillisecond);
BENCHMARK(CharactersLayer)->Unit(benchmark::kMillisecond);
BENCHMARK(CharactersStdio)->Unit(benchmark::kMillisecond);

BENCHMARK_MAIN();
