// `orvik import` of an 8192 x 8192 u8 TIFF (statistics, histogram and pyramids included) next
// to reading the same TIFF with libtiff alone into memory, in this process and as a child
// process of its own, and next to the floor: a child that reads the TIFF and writes as many
// bytes as the imported file holds with plain pwrite. The target is at most 3x the read.
#include <benchmark/benchmark.h>
#include <tiffio.h>

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

namespace {

constexpr uint32_t kSize = 8192, kRowsPerStrip = 64;

const std::string &Folder() {
    static const std::string dir = [] {
        const auto d = std::filesystem::temp_directory_path() / "orvik-bench-import";
        std::filesystem::create_directories(d);
        return d.string();
    }();
    return dir;
}

// A stripped, uncompressed u8 TIFF with a smooth pattern and some texture, made once.
const std::string &Tiff() {
    static const std::string path = [] {
        const std::string p = Folder() + "/big.tif";
        TIFF *t = TIFFOpen(p.c_str(), "w");
        TIFFSetField(t, TIFFTAG_IMAGEWIDTH, kSize);
        TIFFSetField(t, TIFFTAG_IMAGELENGTH, kSize);
        TIFFSetField(t, TIFFTAG_SAMPLESPERPIXEL, 1);
        TIFFSetField(t, TIFFTAG_BITSPERSAMPLE, 8);
        TIFFSetField(t, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISBLACK);
        TIFFSetField(t, TIFFTAG_ROWSPERSTRIP, kRowsPerStrip);
        std::vector<uint8_t> row(kSize);
        for (uint32_t y = 0; y < kSize; ++y) {
            for (uint32_t x = 0; x < kSize; ++x)
                row[x] =
                    static_cast<uint8_t>((x / 32 + y / 32) * 7 + ((x * 2654435761u ^ y) >> 27));
            TIFFWriteScanline(t, row.data(), y, 0);
        }
        TIFFClose(t);
        return p;
    }();
    return path;
}

void LibtiffRead(benchmark::State &state) {
    const std::string &path = Tiff();
    std::vector<uint8_t> pixels(static_cast<std::size_t>(kSize) * kSize);
    for (auto _ : state) {
        TIFF *t = TIFFOpen(path.c_str(), "r");
        const tmsize_t strip = TIFFStripSize(t);
        for (uint32_t s = 0; s < TIFFNumberOfStrips(t); ++s)
            TIFFReadEncodedStrip(t, s, pixels.data() + static_cast<std::size_t>(s) * strip, -1);
        TIFFClose(t);
        benchmark::DoNotOptimize(pixels.data());
    }
}
BENCHMARK(LibtiffRead)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(1.0)->Repetitions(5);

// Runs `command` (a child process, through the shell as every side is) once per iteration;
// `fresh`, when given, is removed beforehand outside the timing.
void RunChild(benchmark::State &state, const std::string &command, const std::string &fresh = "") {
    for (auto _ : state) {
        if (!fresh.empty()) {
            state.PauseTiming();
            std::filesystem::remove(fresh);
            state.ResumeTiming();
        }
        if (std::system(command.c_str()) != 0) state.SkipWithError(("failed: " + command).c_str());
    }
}

std::string Quoted(const std::string &s) { return "'" + s + "'"; }

std::string ImportCommand(const std::string &out) {
    return Quoted(ORVIK_TOOL) + " import " + Quoted(Tiff()) + " " + Quoted(out) + " >/dev/null";
}

void LibtiffReadChild(benchmark::State &state) {
    RunChild(state, Quoted(TIFF_READ) + " " + Quoted(Tiff()));
}
BENCHMARK(LibtiffReadChild)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->Iterations(10)
    ->Repetitions(5);

void ReadAndWriteFloor(benchmark::State &state) {
    const std::string imported = Folder() + "/floor.hfa";
    std::filesystem::remove(imported);
    if (std::system(ImportCommand(imported).c_str()) != 0)
        state.SkipWithError("orvik import failed");
    const auto bytes = std::filesystem::file_size(imported);
    state.counters["bytes"] = static_cast<double>(bytes);
    RunChild(state,
             Quoted(TIFF_READ) + " " + Quoted(Tiff()) + " " + Quoted(Folder() + "/floor.out") +
                 " " + std::to_string(bytes),
             Folder() + "/floor.out");
}
BENCHMARK(ReadAndWriteFloor)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->Iterations(10)
    ->Repetitions(5);

void OrvikImport(benchmark::State &state) {
    const std::string out = Folder() + "/big.hfa";
    RunChild(state, ImportCommand(out), out);
}
BENCHMARK(OrvikImport)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(5)->Repetitions(5);

} // namespace

BENCHMARK_MAIN();
