// Corrupt-file corpus: a sound file with a layer, overviews, statistics and a table, damaged
// in every way a disk or a faulty writer may damage it - cut at every record boundary, bytes
// flipped in the tag, header, entries, free list, dictionary and data records, loops in the
// sibling and child links, free blocks overlapping each other and other structures, offsets
// past the end. Each damaged file goes through open, walk, read (layers, statistics, table),
// check, update and copy: every call answers, failures with a report, and none takes long.
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <set>
#include <thread>

#include <orvik/odsc.h>
#include <orvik/osta.h>

#include "fuzz/hfa_open_target.hpp"
#include "fuzz/img_layer_target.hpp"
#include "scenarios.hpp"

namespace {

using hfa_test::PutWord;
using hfa_test::Word;
using namespace orvik::hfa;

struct Case {
    std::string name;
    std::string bytes;
};

// Aborts the process when one case runs longer than its limit (a hang is a failure too, and
// the test program must not sit until the suite's own timeout).
class Watchdog {
  public:
    Watchdog() : m_thread([this] { Watch(); }) {}
    ~Watchdog() {
        m_stop = true;
        m_thread.join();
    }
    void Start(const std::string &name) {
        std::lock_guard<std::mutex> hold(m_lock);
        m_name = name;
        m_started = std::chrono::steady_clock::now();
        m_running = true;
    }
    void Stop() { m_running = false; }

  private:
    void Watch() {
        const auto limit = std::chrono::seconds(20);
        while (!m_stop) {
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
            std::lock_guard<std::mutex> hold(m_lock);
            if (m_running && std::chrono::steady_clock::now() - m_started > limit) {
                std::fprintf(stderr, "corrupt file case %s takes too long\n", m_name.c_str());
                std::abort();
            }
        }
    }
    std::mutex m_lock;
    std::string m_name;
    std::chrono::steady_clock::time_point m_started;
    std::atomic<bool> m_running{false}, m_stop{false};
    std::thread m_thread;
};

// Where the structures of the sound file lie.
struct Layout {
    uint32_t headerPtr = 0, dictionary = 0, dictionaryLength = 0;
    std::vector<std::pair<uint32_t, Ohfa_Entry>> entries; // position, record
    std::vector<std::pair<uint32_t, uint32_t>> free;      // position, size
};

Layout Survey(const std::string &bytes) {
    Layout l;
    const TempDir dir;
    WriteRaw(dir.Narrow("sound.hfa"), bytes);
    const std::wstring name = dir.Wide("sound.hfa");
    Ohfa_File *f = ohfa_FileOpen(name.c_str(), L"r", 0, nullptr);
    EXPECT_NE(f, nullptr);
    if (!f) return l;
    l.headerPtr = f->headerPtr;
    l.dictionary = f->header.dictionaryPtr;
    l.dictionaryLength = static_cast<uint32_t>(f->dictionaryLength);
    l.free = hfa_test::FreeBlocks(f);
    ostr_StringList *paths = ohfa_ObjectList(f, nullptr, nullptr);
    std::vector<std::wstring> all{L"/"};
    for (int32_t i = 0; paths && i < paths->count; ++i) all.push_back(paths->strings[i]);
    ostr_StringListDelete(paths, nullptr);
    for (const auto &p : all) {
        Ohfa_Entry e{};
        if (ohfa_EntrySeek(f, OHFA_SEEK_PATH, p.c_str(), nullptr) <= 0) continue;
        const long at = ohfa_EntryCurrentGet(f, &e, nullptr);
        if (at > 0) l.entries.emplace_back(static_cast<uint32_t>(at), e);
    }
    ohfa_FileClose(f, nullptr);
    return l;
}

std::string Flipped(std::string b, std::size_t at) {
    if (at < b.size()) b[at] = static_cast<char>(b[at] ^ 0xFF);
    return b;
}

std::string Put(std::string b, std::size_t at, uint32_t value) {
    if (at + 4 <= b.size()) PutWord(b, at, value);
    return b;
}

// Entry record fields (file form).
constexpr std::size_t kNext = 0, kPrev = 4, kParent = 8, kChild = 12, kData = 16, kSize = 20,
                      kName = 24, kType = 88;

std::vector<Case> BuildCorpus(const std::string &sound) {
    const Layout l = Survey(sound);
    std::vector<Case> out;
    const auto size = static_cast<uint32_t>(sound.size());
    const auto add = [&](std::string name, std::string bytes) {
        out.push_back({std::move(name), std::move(bytes)});
    };

    // Truncation at every record boundary.
    std::set<uint32_t> cuts{0,
                            1,
                            4,
                            16,
                            kTagSize,
                            l.headerPtr,
                            l.headerPtr + kHeaderSize,
                            l.dictionary,
                            l.dictionary + l.dictionaryLength,
                            size - 1};
    for (const auto &[at, e] : l.entries) {
        cuts.insert({at, at + kEntrySize, at + kEntrySize / 2});
        if (e.data) cuts.insert({e.data, e.data + static_cast<uint32_t>(e.dataSize)});
    }
    for (const auto &[at, n] : l.free) cuts.insert({at, at + kNodeSize, at + n});
    for (const uint32_t c : cuts)
        if (c < size) add("cut at " + std::to_string(c), sound.substr(0, c));

    // Flipped bytes: tag, header, every link and size of every entry, names and types,
    // free-list nodes, the dictionary text, and the first and last byte of each data record
    // (every byte of the small ones: layer, statistics, column and cache records).
    for (uint32_t i = 0; i < kTagSize; ++i) add("tag byte " + std::to_string(i), Flipped(sound, i));
    for (uint32_t i = 0; i < kHeaderSize; ++i)
        add("header byte " + std::to_string(i), Flipped(sound, l.headerPtr + i));
    for (const auto &[at, e] : l.entries) {
        const std::string tag = "entry " + std::to_string(at);
        for (const std::size_t field : {kNext, kPrev, kParent, kChild, kData, kSize}) {
            add(tag + " field " + std::to_string(field) + " low", Flipped(sound, at + field));
            add(tag + " field " + std::to_string(field) + " high", Flipped(sound, at + field + 3));
        }
        add(tag + " name", Flipped(sound, at + kName));
        add(tag + " type", Flipped(sound, at + kType));
        if (!e.data) continue;
        const auto n = static_cast<uint32_t>(e.dataSize);
        if (n <= 40) {
            for (uint32_t i = 0; i < n; ++i)
                add(tag + " data byte " + std::to_string(i), Flipped(sound, e.data + i));
        } else {
            add(tag + " data first byte", Flipped(sound, e.data));
            add(tag + " data last byte", Flipped(sound, e.data + n - 1));
        }
    }
    for (const auto &[at, n] : l.free)
        for (uint32_t i = 0; i < kNodeSize; ++i)
            add("free node " + std::to_string(at) + " byte " + std::to_string(i),
                Flipped(sound, at + i));
    for (const uint32_t i : {0u, 1u, l.dictionaryLength / 3, l.dictionaryLength / 2,
                             l.dictionaryLength - 2, l.dictionaryLength - 1})
        add("dictionary byte " + std::to_string(i), Flipped(sound, l.dictionary + i));

    // Loops: an entry its own sibling or child, a child naming an ancestor, two siblings
    // naming each other, a parent link that points down.
    for (const auto &[at, e] : l.entries) {
        const std::string tag = "entry " + std::to_string(at);
        add(tag + " next is itself", Put(sound, at + kNext, at));
        add(tag + " child is itself", Put(sound, at + kChild, at));
        if (e.parent) {
            add(tag + " child is its parent", Put(sound, at + kChild, e.parent));
            add(tag + " next is its parent", Put(sound, at + kNext, e.parent));
        }
        if (e.prev) add(tag + " next is its previous", Put(sound, at + kNext, e.prev));
        if (e.child) add(tag + " parent is its child", Put(sound, at + kParent, e.child));
    }

    // Free blocks that overlap: each other, an entry, the header, the dictionary.
    const uint32_t headFreeAt = l.headerPtr + 4;
    const uint32_t firstEntry = l.entries.size() > 1 ? l.entries[1].first : l.entries[0].first;
    add("free list head at an entry", Put(sound, headFreeAt, firstEntry));
    add("free list head at the header", Put(sound, headFreeAt, l.headerPtr));
    add("free list head at the dictionary", Put(sound, headFreeAt, l.dictionary));
    for (const auto &[at, n] : l.free) {
        const std::string tag = "free node " + std::to_string(at);
        add(tag + " grows over its neighbour", Put(sound, at + 4, n + 256));
        add(tag + " next is itself", Put(sound, at, at));
        add(tag + " next inside itself", Put(sound, at, at + 4));
        add(tag + " next at an entry", Put(sound, at, firstEntry));
    }

    // Offsets past the end.
    add("header past the end", Put(sound, 16, size + 8));
    add("root past the end", Put(sound, l.headerPtr + 8, size));
    add("dictionary past the end", Put(sound, l.headerPtr + 14, size + 8));
    add("free list past the end", Put(sound, headFreeAt, size + 16));
    for (const auto &[at, e] : l.entries) {
        const std::string tag = "entry " + std::to_string(at);
        add(tag + " data past the end", Put(sound, at + kData, size + 100));
        add(tag + " data runs past the end", Put(sound, at + kSize, size));
        add(tag + " child past the end", Put(sound, at + kChild, size + 4));
        add(tag + " next far away", Put(sound, at + kNext, 0xFFFFFFF0u));
    }
    return out;
}

// Reads what the scenarios store besides pixels: the statistics and the table. Every failure
// must come with a report. Returns whether the file opened.
bool ReadRecords(const std::string &bytes) {
    const std::string &path = hfa_open_fuzz::ScratchPath();
    WriteRaw(path, bytes);
    const std::wstring name(path.begin(), path.end());
    hfa_test::Report err;
    Ohfa_File *f = ohfa_FileOpen(name.c_str(), L"r", 0, &err);
    if (!f) {
        EXPECT_TRUE(err);
        return false;
    }
    Osta_Statistics s{};
    // Null with or without a report: missing statistics are no failure.
    osta_StatisticsRead(f, L"/Image/Band_1", &s, OMSC_TRUE, &err);
    Odsc_Table *t = odsc_TableOpen(f, L"/Image/Band_1", &err);
    if (!t) {
        EXPECT_TRUE(err);
    } else {
        Odsc_BinFunction *b = odsc_TableGetBinFunction(t, &err);
        odsc_BinFunctionDelete(b);
        Odsc_Column *c = odsc_ColumnOpen(t, L"Histogram", &err);
        if (!c) {
            EXPECT_TRUE(err);
        } else {
            Ogda_BaseData *v = odsc_ColumnRead(c, 0, odsc_TableGetNumRows(t), nullptr, &err);
            EXPECT_TRUE(v || err);
            ogda_BaseDataDelete(v, nullptr);
            EXPECT_EQ(odsc_ColumnClose(c, &err), 0);
        }
        EXPECT_EQ(odsc_TableClose(t, &err), 0);
    }
    EXPECT_EQ(ohfa_FileClose(f, &err), 0);
    return true;
}

TEST(CorruptFiles, EveryDamagedFileAnswersWithReportsAndNeverHangs) {
    sweep::Silence();
    const std::string &sound = sweep::SoundFileBytes();
    const std::vector<Case> corpus = BuildCorpus(sound);
    std::printf("[ figures  ] corrupt-file corpus: %zu files from a sound file of %zu bytes\n",
                corpus.size(), sound.size());
    ASSERT_GT(corpus.size(), 300u);
    Watchdog watchdog;
    int failures = 0, opened = 0;
    for (const Case &c : corpus) {
        SCOPED_TRACE(c.name);
        watchdog.Start(c.name);
        const auto *data = reinterpret_cast<const uint8_t *>(c.bytes.data());
        EXPECT_EQ(orvik_fuzz::Replay(hfa_open_fuzz::RunOne, data, c.bytes.size()), "");
        EXPECT_EQ(orvik_fuzz::Replay(img_layer_fuzz::RunOne, data, c.bytes.size()), "");
        opened += ReadRecords(c.bytes) ? 1 : 0;
        watchdog.Stop();
        if (::testing::Test::HasFailure() && ++failures > 20) break;
    }
    std::printf("[ figures  ] corrupt-file corpus: %d of them open\n", opened);
    // Most damage is found at open; the rest must reach the readers and the check.
    EXPECT_GT(opened, static_cast<int>(corpus.size()) / 4);
    EXPECT_LT(opened, static_cast<int>(corpus.size()));
}

} // namespace
