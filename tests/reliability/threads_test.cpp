// Several threads, each with its own HFA file, with the heap in thread-safe mode: layers,
// overviews, statistics and tables written and read back at the same time. Run under
// ThreadSanitizer by scripts/tsan.sh; in the other builds it checks the results.
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include <orvik/odsc.h>
#include <orvik/oimg.h>
#include <orvik/osta.h>

#include "hfa/hfa_test_util.hpp"

namespace {

using hfa_test::Report;

// One thread's work; returns the first thing that went wrong, or "".
std::string Work(const std::wstring &name, int seed) {
    Report err;
    Ohfa_File *f = ohfa_FileCreate(name.c_str(), 0, &err);
    if (!f) return "create";
    std::string failed;
    const auto fail = [&](const char *what) {
        if (failed.empty()) failed = what;
    };
    if (oimg_ImageCreate(f, nullptr, L"Image", &err) != 0) fail("image");
    Oimg_LayerInfo info{48, 40, OGDA_U16, 16, 16, OIMG_CONTINUOUS, 0, 0, 0};
    Oimg_Layer *layer = oimg_LayerCreate(f, L"/Image", L"Band", &info, &err);
    Ogda_BaseData *pixels = ogda_BaseDataCreate(40, 48, OGDA_U16, Ogda_Raster, nullptr, nullptr);
    for (int r = 0; r < 40; ++r)
        for (int c = 0; c < 48; ++c)
            reinterpret_cast<uint16_t *>(static_cast<char *>(pixels->data) +
                                         int64_t{r} * pixels->lineBytes)[c] =
                static_cast<uint16_t>(seed * 1000 + r * 48 + c);
    if (!layer || oimg_LayerWrite(layer, pixels, &err) != 0 ||
        oimg_LayerBuildOverviews(layer, &err) <= 0 || oimg_LayerClose(layer, &err) != 0)
        fail("layer");
    const Osta_Statistics stats{0, 100.0 + seed, 50, 49, 48, 7};
    if (osta_StatisticsWrite(f, L"/Image/Band", &stats, &err) != 0) fail("statistics");
    Odsc_Table *table = odsc_TableCreate(f, L"/Image/Band", 8, &err);
    if (!table) {
        fail("table");
    } else {
        Odsc_Column *c = odsc_ColumnCreate(table, L"Count", ODSC_COLUMN_INTEGER, &err);
        if (!c || odsc_ColumnClose(c, &err) != 0) fail("column");
        if (odsc_TableClose(table, &err) != 0) fail("table close");
    }
    if (ohfa_FileClose(f, &err) != 0) fail("close");

    // Read back.
    f = ohfa_FileOpen(name.c_str(), L"r", 0, &err);
    if (!f) return failed.empty() ? "open" : failed;
    layer = oimg_LayerOpen(f, L"/Image/Band", &err);
    Ogda_BaseData *back = layer ? oimg_LayerRead(layer, nullptr, &err) : nullptr;
    if (!back || std::memcmp(back->data, pixels->data,
                             static_cast<std::size_t>(pixels->lineBytes) * 40) != 0)
        fail("read back");
    ogda_BaseDataDelete(back, nullptr);
    oimg_LayerClose(layer, &err);
    Osta_Statistics got{};
    if (!osta_StatisticsRead(f, L"/Image/Band", &got, OMSC_FALSE, &err) ||
        got.maximum != stats.maximum)
        fail("statistics back");
    ostr_StringList *problems = nullptr;
    if (ohfa_FileCheck(f, &problems, &err) != 0) fail("check");
    ostr_StringListDelete(problems, nullptr);
    ohfa_FileClose(f, &err);
    ogda_BaseDataDelete(pixels, nullptr);
    return failed;
}

TEST(ReliabilityThreads, ThreadsWorkOnTheirOwnFilesAtTheSameTime) {
    ASSERT_EQ(oint_InitToolkit(nullptr), 0);
    ASSERT_EQ(ohfa_Init(nullptr), 0);
    omsc_HeapInitThreadSafeMode();
    const TempDir dir;
    constexpr int kThreads = 4, kRounds = 3;
    std::vector<std::string> results(kThreads);
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] {
            for (int round = 0; round < kRounds && results[t].empty(); ++round)
                results[t] = Work(dir.Wide("thread" + std::to_string(t) + ".hfa"), t);
        });
    }
    for (auto &t : threads) t.join();
    omsc_HeapEndThreadSafeMode();
    for (int t = 0; t < kThreads; ++t) EXPECT_EQ(results[t], "") << "thread " << t;
}

} // namespace
