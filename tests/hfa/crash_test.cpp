// Crash-point sweep: a scenario of creates, dictionary growth and moves, allocations and
// releases and flushes is run with the file layer dropping every write after the n-th, for
// every n until the scenario runs whole. The file each stop leaves must either not be an
// HFA file at all (the create had not finished) or open with every structure the header
// reaches intact, a sound free list that names no block in use, and every design that was
// added before the last completed flush.
#include <map>
#include <set>

#include "fio/write_seam.hpp"
#include "hfa/cache.hpp"
#include "hfa_test_util.hpp"

namespace {

using namespace hfa_test;
using orvik::fio::testing::ClearWriteStop;
using orvik::fio::testing::StopWritesAfter;
using orvik::fio::testing::WritesCounted;

// What the scenario did, stamped with the number of writes issued when it happened.
struct Trace {
    long createDone = -1;                                      // writes when the create returned
    std::vector<std::pair<long, std::wstring>> flushedDesigns; // (writes after flush, design)
    // Blocks holding the scenario's data: (writes after the data write, position, size).
    std::vector<std::tuple<long, uint32_t, uint32_t>> liveBlocks;
};

void AddDesign(Ohfa_File *f, const std::wstring &name, int items) {
    Omif_Design *d = SmallDesign(name, items);
    ohfa_FileDictionaryAddDesign(f, d, nullptr);
    omif_DesignDestroy(d, nullptr);
}

// Allocates and fills a block; `keep` blocks are never returned.
uint32_t Fill(Ohfa_File *f, long size, bool keep, Trace &t) {
    const uint32_t at = ohfa_NextFreePos(f, size, nullptr);
    if (at == 0) return 0;
    std::vector<unsigned char> bytes(static_cast<std::size_t>(size), 0xAB);
    ohfa_FileMIFDataWrite(f, at, size, bytes.data(), nullptr);
    if (keep) t.liveBlocks.emplace_back(WritesCounted(), at, static_cast<uint32_t>(size));
    return at;
}

void Flush(Ohfa_File *f, const std::vector<std::wstring> &designs, Trace &t) {
    ohfa_FileFlush(f, nullptr);
    for (const auto &d : designs) t.flushedDesigns.emplace_back(WritesCounted(), d);
}

void Scenario(const std::wstring &name, Trace &t) {
    Ohfa_File *f = ohfa_FileCreate(name.c_str(), 0, nullptr);
    if (!f) return;
    t.createDone = WritesCounted();
    std::vector<std::wstring> designs;
    // Blocks around which free space will come and go.
    std::vector<uint32_t> temp;
    for (int i = 0; i < 6; ++i) {
        Fill(f, 64 + 8 * i, true, t);
        temp.push_back(Fill(f, 48, false, t));
    }
    // Dictionary growth (moves to the end, the old block becomes free), then a flush.
    for (int i = 0; i < 3; ++i) {
        designs.push_back(L"Design_" + std::to_wstring(i));
        AddDesign(f, designs.back(), 4 + i);
    }
    Flush(f, designs, t);
    // Free space returned (merging with the old dictionary block), flushed.
    for (int i = 0; i < 6; i += 2) ohfa_FreeSpace(f, temp[i], 48, nullptr);
    Flush(f, {}, t);
    // Reuse of space the disk list names: split and exact fits, then the dictionary moves
    // again into freed space.
    Fill(f, 16, true, t);
    Fill(f, 48, true, t);
    for (int i = 1; i < 6; i += 2) ohfa_FreeSpace(f, temp[i], 48, nullptr);
    designs.push_back(L"Design_late");
    AddDesign(f, designs.back(), 12);
    Flush(f, {designs.back()}, t);
    Fill(f, 40, true, t);
    ohfa_FileClose(f, nullptr);
}

TEST(HfaCrash, EveryStopLeavesAFileThatOpensWithOnlyLeakedSpace) {
    ASSERT_EQ(oint_InitToolkit(nullptr), 0);
    ASSERT_EQ(ohfa_Init(nullptr), 0);
    TempDir dir;
    const std::wstring name = dir.Wide("crash.hfa");

    Trace full;
    ClearWriteStop();
    Scenario(name, full);
    const long total = WritesCounted();
    ASSERT_GT(full.createDone, 0);
    ASSERT_GT(total, full.createDone + 10);

    for (long n = 0; n <= total; ++n) {
        SCOPED_TRACE("stopped after write " + std::to_string(n));
        std::filesystem::remove(dir.Narrow("crash.hfa"));
        Trace t;
        StopWritesAfter(n);
        {
            PrintedReports quiet; // what the doomed run prints is of no interest
            Scenario(name, t);
        }
        ClearWriteStop();

        Report err;
        if (n < full.createDone) {
            // The tag is the create's last write: before it the file is not HFA at all.
            EXPECT_EQ(ohfa_IsHFAFile(name.c_str(), &err), 0);
            EXPECT_EQ(ohfa_FileOpen(name.c_str(), L"r", 0, &err), nullptr);
            continue;
        }
        Ohfa_File *f = ohfa_FileOpen(name.c_str(), L"r", 0, &err);
        ASSERT_NE(f, nullptr) << err.Message();
        EXPECT_EQ(orvik::hfa::CheckFreeList(f), 0);
        EXPECT_GE(ohfa_FileFreeSpaceSize(f, &err), 0);
        const auto blocks = FreeBlocks(f);
        for (const auto &[written, at, size] : full.liveBlocks) {
            if (written > n) continue;
            for (const auto &[p, s] : blocks)
                EXPECT_TRUE(p + s <= at || at + size <= p)
                    << "free block " << p << "+" << s << " covers live block " << at;
        }
        for (const auto &[written, design] : full.flushedDesigns) {
            if (written > n) continue;
            EXPECT_NE(omif_DictionarySearchByName(ohfa_FileDictionaryGet(f), design.c_str(), &err),
                      nullptr)
                << std::string(design.begin(), design.end());
        }
        ohfa_FileClose(f, &err);
    }
}

// ---- Entries and objects --------------------------------------------------------------

struct Series {
    OMIF_COUNTED_POINTER_OF(double) values;
};

const Omif_Design *SeriesDesign() {
    static Omif_Design *d = omif_DesignCreateX(L"Series", nullptr, OMIF_ITEM_DOUBLE, L"values", 0,
                                               OMIF_COUNTED_POINTER, OMIF_ITEM_END);
    return d;
}

void WriteSeries(Ohfa_File *f, int layer, int n, long where) {
    std::vector<double> v(static_cast<std::size_t>(n), layer);
    Series s{};
    s.values.count = n;
    s.values.data = v.data();
    const std::wstring path = L"/Layer_" + std::to_wstring(layer);
    if (where == 0)
        ohfa_ObjectWrite(f, (path + L"/Stats").c_str(), nullptr, nullptr, 0, &s, SeriesDesign(),
                         nullptr);
    else
        ohfa_ObjectWrite(f, path.c_str(), L"Stats", nullptr, 3, &s, SeriesDesign(), nullptr);
}

// Returns the writes issued when the first flush completed (every layer but 2 and 3 is
// left alone after it).
long TreeScenario(const std::wstring &name) {
    Ohfa_File *f = ohfa_FileCreate(name.c_str(), 0, nullptr);
    if (!f) return -1;
    for (int i = 0; i < 8; ++i) {
        ohfa_EntrySeek(f, OHFA_SEEK_ROOT, nullptr, nullptr);
        ohfa_EntryWrite(f, OHFA_WRITE_LAST_CHILD, (L"Layer_" + std::to_wstring(i)).c_str(),
                        L"Layer", nullptr);
        WriteSeries(f, i, 4 + i, 3);
    }
    ohfa_FileFlush(f, nullptr);
    const long flushed = WritesCounted();
    WriteSeries(f, 3, 40, 0); // larger: moves
    WriteSeries(f, 2, 1, 0);  // smaller: in place
    ohfa_ObjectDelete(f, L"/Layer_2", OHFA_SEEK_PATH, nullptr);
    ohfa_FileFlush(f, nullptr);
    ohfa_EntrySeek(f, OHFA_SEEK_ROOT, nullptr, nullptr);
    ohfa_EntryWrite(f, OHFA_WRITE_LAST_CHILD, L"Layer_9", L"Layer", nullptr);
    WriteSeries(f, 9, 3, 3);
    ohfa_FileClose(f, nullptr);
    return flushed;
}

// Every entry record and data block reachable from the root (bounded preorder walk).
std::vector<std::pair<uint32_t, uint32_t>> Reachable(Ohfa_File *f) {
    std::vector<std::pair<uint32_t, uint32_t>> used;
    if (!ohfa_EntrySeek(f, OHFA_SEEK_ROOT, nullptr, nullptr)) return used;
    for (int steps = 0; steps < 1000; ++steps) {
        Ohfa_Entry e{};
        used.emplace_back(static_cast<uint32_t>(ohfa_EntryCurrentGet(f, &e, nullptr)), 128u);
        if (e.data) used.emplace_back(e.data, static_cast<uint32_t>(e.dataSize));
        if (ohfa_EntrySeek(f, OHFA_SEEK_CHILD, nullptr, nullptr)) continue;
        bool moved = false;
        while (!(moved = ohfa_EntrySeek(f, OHFA_SEEK_NEXT, nullptr, nullptr) != 0))
            if (!ohfa_EntrySeek(f, OHFA_SEEK_PARENT, nullptr, nullptr)) break;
        if (!moved) break;
    }
    return used;
}

TEST(HfaCrash, EntriesAndObjectsSurviveEveryStop) {
    ASSERT_EQ(oint_InitToolkit(nullptr), 0);
    ASSERT_EQ(ohfa_Init(nullptr), 0);
    TempDir dir;
    const std::wstring name = dir.Wide("tree.hfa");
    ClearWriteStop();
    const long flushed = TreeScenario(name);
    const long total = WritesCounted();
    ASSERT_GT(flushed, 0);

    for (long n = 0; n <= total; ++n) {
        SCOPED_TRACE("stopped after write " + std::to_string(n));
        std::filesystem::remove(dir.Narrow("tree.hfa"));
        StopWritesAfter(n);
        {
            PrintedReports quiet;
            TreeScenario(name);
        }
        ClearWriteStop();
        Report err;
        if (ohfa_IsHFAFile(name.c_str(), &err) == 0) {
            EXPECT_LT(n, flushed); // only an unfinished create may leave a non-HFA file
            continue;
        }
        Ohfa_File *f = ohfa_FileOpen(name.c_str(), L"r", 0, &err);
        ASSERT_NE(f, nullptr) << err.Message();
        EXPECT_EQ(orvik::hfa::CheckFreeList(f), 0);
        const auto used = Reachable(f);
        for (const auto &[p, s] : FreeBlocks(f))
            for (const auto &[at, size] : used)
                EXPECT_TRUE(p + s <= at || at + size <= p)
                    << "free block " << p << "+" << s << " covers " << at << "+" << size;
        if (n >= flushed) {
            for (int layer : {0, 1, 4, 5, 6, 7}) {
                Series back{};
                const std::wstring path = L"/Layer_" + std::to_wstring(layer) + L"/Stats";
                ASSERT_EQ(
                    ohfa_ObjectRead(f, path.c_str(), OHFA_SEEK_PATH, &back, SeriesDesign(), &err),
                    &back)
                    << layer << ": " << err.Message();
                EXPECT_EQ(back.values.count, 4 + layer);
                if (back.values.count > 0) {
                    EXPECT_EQ(back.values.data[0], layer);
                }
                omif_ObjectItemsFree(&back, SeriesDesign(), nullptr);
            }
        }
        ohfa_FileClose(f, &err);
    }
}

// ---- Block caches -----------------------------------------------------------------------

// Block b's bytes in generation g: every byte says which, so a torn or misplaced block shows.
std::vector<unsigned char> BlockBytes(int b, int g) {
    return std::vector<unsigned char>(300, static_cast<unsigned char>(b * 16 + g));
}

// Returns the writes issued when the first cache flush completed.
long CacheScenario(const std::wstring &name) {
    Ohfa_File *f = ohfa_FileCreate(name.c_str(), 0, nullptr);
    if (!f) return -1;
    ohfa_EntrySeek(f, OHFA_SEEK_ROOT, nullptr, nullptr);
    Ohfa_Cache *c = ohfa_CacheCreate(f, nullptr, L"Blocks", 300, 6, nullptr);
    if (!c) {
        ohfa_FileClose(f, nullptr);
        return -1;
    }
    ohfa_CacheSetLimit(c, 3 * 300, nullptr); // evictions write blocks one by one
    for (int b = 0; b < 6; b += 1)
        if (b != 3) ohfa_CachePutBlock(c, b, BlockBytes(b, 1).data(), nullptr);
    ohfa_CacheFlush(c, nullptr);
    ohfa_FileFlush(f, nullptr);
    const long flushed = WritesCounted();
    ohfa_CacheExtend(c, 9, nullptr);
    for (int b : {1, 3, 8, 4}) ohfa_CachePutBlock(c, b, BlockBytes(b, 2).data(), nullptr);
    ohfa_CacheClose(c, nullptr);
    ohfa_FileClose(f, nullptr);
    return flushed;
}

TEST(HfaCrash, BlockCachesSurviveEveryStop) {
    ASSERT_EQ(oint_InitToolkit(nullptr), 0);
    ASSERT_EQ(ohfa_Init(nullptr), 0);
    TempDir dir;
    const std::wstring name = dir.Wide("cache.hfa");
    ClearWriteStop();
    const long flushed = CacheScenario(name);
    const long total = WritesCounted();
    ASSERT_GT(flushed, 0);

    for (long n = 0; n <= total; ++n) {
        SCOPED_TRACE("stopped after write " + std::to_string(n));
        std::filesystem::remove(dir.Narrow("cache.hfa"));
        StopWritesAfter(n);
        {
            PrintedReports quiet;
            CacheScenario(name);
        }
        ClearWriteStop();
        Report err;
        if (ohfa_IsHFAFile(name.c_str(), &err) == 0) {
            EXPECT_LT(n, flushed);
            continue;
        }
        Ohfa_File *f = ohfa_FileOpen(name.c_str(), L"r", 0, &err);
        ASSERT_NE(f, nullptr) << err.Message();
        EXPECT_EQ(orvik::hfa::CheckFreeList(f), 0);
        Ohfa_Cache *c = nullptr;
        if (ohfa_EntryPeek(f, OHFA_SEEK_PATH, L"/Blocks", nullptr, &err) > 0) {
            // A create cut short leaves the entry without its node: refused, harmless.
            c = ohfa_CacheOpen(f, L"/Blocks", &err);
            if (n >= flushed) {
                ASSERT_NE(c, nullptr) << err.Message();
            }
        } else {
            EXPECT_LT(n, flushed);
        }
        std::vector<std::pair<uint32_t, uint32_t>> used = Reachable(f);
        const long count = c ? ohfa_CacheNodeGet(c)->blockcount : 0;
        if (c) used.emplace_back(ohfa_CacheNodeGet(c)->rootptr, 8 + 4 * count);
        for (long b = 0; b < count; ++b) {
            std::vector<unsigned char> got(300);
            const long r = ohfa_CacheGetBlock(c, b, got.data(), &err);
            ASSERT_GE(r, 0) << err.Message();
            const int bi = static_cast<int>(b);
            if (r == 1) {
                EXPECT_TRUE(got == BlockBytes(bi, 1) || got == BlockBytes(bi, 2)) << b;
                used.emplace_back(c->index[static_cast<std::size_t>(b)], 300u);
            } else {
                // Blocks flushed before the stop are there.
                EXPECT_TRUE(n < flushed || b == 3 || b >= 6) << b;
            }
        }
        for (const auto &[p, s] : FreeBlocks(f))
            for (const auto &[at, size] : used)
                EXPECT_TRUE(p + s <= at || at + size <= p)
                    << "free block " << p << "+" << s << " covers " << at << "+" << size;
        ohfa_CacheClose(c, &err);
        ohfa_FileClose(f, &err);
    }
}

} // namespace
