// Crash-point sweep over a whole working session: 50 layers with objects, rewrites larger
// and smaller, deletes, a move, a new design and flushes. The session is run with the file
// layer dropping every write after the n-th, for every n until it runs whole. Each file left
// behind must open (once the create has finished), pass the integrity check with nothing
// worse than leaked bytes, and give back every object that the last completed flush saw,
// unless the session had already begun to change that object when it stopped.
#include <cstdlib>
#include <map>
#include <set>

#include "fio/write_seam.hpp"
#include "hfa_test_util.hpp"

namespace {

using namespace hfa_test;
using orvik::fio::testing::ClearWriteStop;
using orvik::fio::testing::StopWritesAfter;
using orvik::fio::testing::WritesCounted;

constexpr int kLayers = 50;

struct Series {
    OMIF_COUNTED_POINTER_OF(double) values;
};
struct Six {
    double v[6];
};

const Omif_Design *SeriesDesign() {
    static Omif_Design *d = omif_DesignCreateX(L"Sweep_Series", nullptr, OMIF_ITEM_DOUBLE,
                                               L"values", 0, OMIF_COUNTED_POINTER, OMIF_ITEM_END);
    return d;
}
const Omif_Design *SixDesign() {
    static Omif_Design *d = omif_DesignCreateX(L"Sweep_Six", nullptr, OMIF_ITEM_DOUBLE, L"v", 6,
                                               OMIF_DIRECT, OMIF_ITEM_END);
    return d;
}
const Omif_Design *LateDesign() {
    static Omif_Design *d = omif_DesignCreateX(L"Sweep_Late", nullptr, OMIF_ITEM_DOUBLE, L"v", 2,
                                               OMIF_DIRECT, OMIF_ITEM_END);
    return d;
}

// What the full session did, stamped with the number of writes issued at the time.
struct Trace {
    long createDone = -1;
    // Every object's values as each completed flush left them: (writes after it, objects).
    std::vector<std::pair<long, std::map<std::wstring, std::vector<double>>>> flushes;
    // Paths each later step touches: (writes before the step, paths).
    std::vector<std::pair<long, std::set<std::wstring>>> touches;
};

class Session {
  public:
    explicit Session(Trace &t) : m_t(t) {}

    void Run(const std::wstring &name) {
        m_f = ohfa_FileCreate(name.c_str(), 0, nullptr);
        if (!m_f) return;
        m_t.createDone = WritesCounted();
        for (int i = 0; i < kLayers; ++i) {
            ohfa_EntrySeek(m_f, OHFA_SEEK_ROOT, nullptr, nullptr);
            ohfa_EntryWrite(m_f, OHFA_WRITE_LAST_CHILD, Layer(i).substr(1).c_str(), L"Layer",
                            nullptr);
            WriteSix(i, 3);
            if (i % 3 == 0) WriteSeries(i, 3 + i % 7, 3);
        }
        Flush();
        for (int i = 0; i < kLayers; i += 3) {
            if (i % 2 == 0)
                WriteSeries(i, 12 + i % 5, 0); // larger: moves
            else
                WriteSeries(i, 1, 0); // smaller: in place
        }
        for (int i = 1; i < kLayers; i += 8) WriteSix(i, 0);
        for (int i = 6; i < kLayers; i += 12) Delete(Layer(i) + L"/Series");
        Delete(Layer(44)); // a layer with its objects
        InsertAfter(7, L"Layer_7b");
        Move(Layer(20), Layer(21));
        Flush();
        // After the last flush: a new design, more rewrites, and the close's own flush.
        Late(5);
        WriteSeries(9, 30, 0);
        Delete(Layer(2) + L"/Six");
        ohfa_FileClose(m_f, nullptr);
        m_f = nullptr;
    }

  private:
    static std::wstring Layer(int i) { return L"/Layer_" + std::to_wstring(i); }

    void Touch(std::set<std::wstring> paths) {
        m_t.touches.emplace_back(WritesCounted(), std::move(paths));
    }
    void Flush() {
        ohfa_FileFlush(m_f, nullptr);
        m_t.flushes.emplace_back(WritesCounted(), m_objects);
    }
    void WriteSix(int layer, long where) {
        const std::wstring path = Layer(layer) + L"/Six";
        Touch({path});
        Six s{};
        for (int k = 0; k < 6; ++k) s.v[k] = layer * 10 + k + (where == 0 ? 0.5 : 0);
        if (where == 0)
            ohfa_ObjectWrite(m_f, path.c_str(), nullptr, nullptr, 0, &s, SixDesign(), nullptr);
        else
            ohfa_ObjectWrite(m_f, Layer(layer).c_str(), L"Six", nullptr, 3, &s, SixDesign(),
                             nullptr);
        m_objects[path] = std::vector<double>(s.v, s.v + 6);
    }
    void WriteSeries(int layer, int n, long where) {
        const std::wstring path = Layer(layer) + L"/Series";
        Touch({path});
        std::vector<double> v(static_cast<std::size_t>(n));
        for (int k = 0; k < n; ++k) v[static_cast<std::size_t>(k)] = layer + k / 100.0 + n;
        Series s{};
        s.values.count = n;
        s.values.data = v.data();
        if (where == 0)
            ohfa_ObjectWrite(m_f, path.c_str(), nullptr, nullptr, 0, &s, SeriesDesign(), nullptr);
        else
            ohfa_ObjectWrite(m_f, Layer(layer).c_str(), L"Series", nullptr, 3, &s, SeriesDesign(),
                             nullptr);
        m_objects[path] = v;
    }
    void Late(int layer) {
        const std::wstring path = Layer(layer) + L"/Late";
        Touch({path});
        const double v[2] = {1.25, -3.5};
        ohfa_ObjectWrite(m_f, Layer(layer).c_str(), L"Late", nullptr, 3, v, LateDesign(), nullptr);
        m_objects[path] = std::vector<double>(v, v + 2);
    }
    // A new layer between two others, with an object.
    void InsertAfter(int layer, const std::wstring &name) {
        const std::wstring path = L"/" + name + L"/Six";
        Touch({path});
        ohfa_EntrySeek(m_f, OHFA_SEEK_PATH, Layer(layer).c_str(), nullptr);
        ohfa_EntryWrite(m_f, OHFA_WRITE_AFTER, name.c_str(), L"Layer", nullptr);
        Six s{{9, 8, 7, 6, 5, 4}};
        ohfa_ObjectWrite(m_f, nullptr, L"Six", nullptr, 3, &s, SixDesign(), nullptr);
        m_objects[path] = std::vector<double>(s.v, s.v + 6);
    }
    // Takes the objects at or below `path` out of the model.
    std::map<std::wstring, std::vector<double>> Below(const std::wstring &path) {
        std::map<std::wstring, std::vector<double>> gone;
        for (auto it = m_objects.begin(); it != m_objects.end();) {
            if (it->first == path || it->first.rfind(path + L"/", 0) == 0) {
                gone.insert(*it);
                it = m_objects.erase(it);
            } else {
                ++it;
            }
        }
        return gone;
    }
    void Delete(const std::wstring &path) {
        std::set<std::wstring> paths;
        for (const auto &[p, v] : Below(path)) paths.insert(p);
        Touch(paths);
        ohfa_ObjectDelete(m_f, path.c_str(), OHFA_SEEK_PATH, nullptr);
    }
    // Moves the top-level node `from` under `to`: its objects are touched at both paths.
    void Move(const std::wstring &from, const std::wstring &to) {
        std::set<std::wstring> paths;
        for (const auto &[p, v] : Below(from)) {
            paths.insert(p);
            paths.insert(to + p);
            m_objects[to + p] = v;
        }
        Touch(paths);
        ohfa_EntrySeek(m_f, OHFA_SEEK_PATH, from.c_str(), nullptr);
        ohfa_EntryMove(m_f, to.c_str(), nullptr);
    }

    Trace &m_t;
    Ohfa_File *m_f = nullptr;
    std::map<std::wstring, std::vector<double>> m_objects;
};

std::vector<double> ReadBack(Ohfa_File *f, const std::wstring &path, Report &err) {
    if (path.size() >= 7 && path.compare(path.size() - 7, 7, L"/Series") == 0) {
        Series s{};
        if (ohfa_ObjectRead(f, path.c_str(), OHFA_SEEK_PATH, &s, SeriesDesign(), &err) != &s)
            return {};
        std::vector<double> v(s.values.data, s.values.data + s.values.count);
        omif_ObjectItemsFree(&s, SeriesDesign(), nullptr);
        return v;
    }
    const bool late = path.size() >= 5 && path.compare(path.size() - 5, 5, L"/Late") == 0;
    double v[6] = {};
    if (!ohfa_ObjectRead(f, path.c_str(), OHFA_SEEK_PATH, v, late ? LateDesign() : SixDesign(),
                         &err))
        return {};
    return std::vector<double>(v, v + (late ? 2 : 6));
}

// Every write is a stop in optimised builds; the sanitizer builds take every k-th.
long SweepStep() {
    if (const char *s = std::getenv("ORVIK_CRASH_SWEEP_STEP")) return std::max(1L, std::atol(s));
#if defined(__SANITIZE_ADDRESS__)
    return 7;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
    return 7;
#endif
#endif
    return 1;
}

TEST(HfaCrashSweep, EveryStopOpensChecksCleanAndKeepsFlushedObjects) {
    ASSERT_EQ(oint_InitToolkit(nullptr), 0);
    ASSERT_EQ(ohfa_Init(nullptr), 0);
    TempDir dir;
    const std::wstring name = dir.Wide("sweep.hfa");

    Trace full;
    ClearWriteStop();
    Session(full).Run(name);
    const long total = WritesCounted();
    ASSERT_GT(full.createDone, 0);
    ASSERT_EQ(full.flushes.size(), 2u);
    {
        // The whole session leaves a sound file holding what the model says.
        Report err;
        Ohfa_File *f = ohfa_FileOpen(name.c_str(), L"r", 0, &err);
        ASSERT_NE(f, nullptr);
        ostr_StringList *problems = nullptr;
        EXPECT_EQ(ohfa_FileCheck(f, &problems, &err), 0);
        ostr_StringListDelete(problems, nullptr);
        EXPECT_EQ(ReadBack(f, L"/Layer_21/Layer_20/Six", err).size(), 6u) << err.Message();
        EXPECT_TRUE(ReadBack(f, L"/Layer_44/Six", err).empty());
        EXPECT_EQ(ReadBack(f, L"/Layer_7b/Six", err), (std::vector<double>{9, 8, 7, 6, 5, 4}));
        ohfa_FileClose(f, nullptr);
    }

    std::vector<long> stops;
    for (long n = 0; n < total; n += SweepStep()) stops.push_back(n);
    stops.push_back(total);
    long checkedObjects = 0;
    for (const long n : stops) {
        SCOPED_TRACE("stopped after write " + std::to_string(n) + " of " + std::to_string(total));
        std::filesystem::remove(dir.Narrow("sweep.hfa"));
        Trace ignored;
        StopWritesAfter(n);
        {
            PrintedReports quiet; // what the doomed run prints is of no interest
            Session(ignored).Run(name);
        }
        ClearWriteStop();

        Report err;
        if (n < full.createDone) {
            EXPECT_EQ(ohfa_IsHFAFile(name.c_str(), &err), 0);
            continue;
        }
        // Opened for update: an interrupted pair of link writes is completed first.
        Ohfa_File *f = ohfa_FileOpen(name.c_str(), L"r+b", 0, &err);
        ASSERT_NE(f, nullptr) << err.Message();
        ostr_StringList *problems = nullptr;
        const long found = ohfa_FileCheck(f, &problems, &err);
        EXPECT_EQ(found, 0) << [&] {
            std::string s;
            for (int32_t i = 0; problems && i < problems->count; ++i)
                s += std::string(problems->strings[i],
                                 problems->strings[i] + std::wcslen(problems->strings[i])) +
                     "\n";
            return s;
        }();
        ostr_StringListDelete(problems, nullptr);

        // The objects of the last flush completed before the stop, less those a later step
        // had begun to change.
        const std::map<std::wstring, std::vector<double>> *flushed = nullptr;
        for (const auto &[writes, objects] : full.flushes)
            if (writes <= n) flushed = &objects;
        if (flushed) {
            const long flushWrites = [&] {
                long w = 0;
                for (const auto &fl : full.flushes)
                    if (fl.first <= n) w = fl.first;
                return w;
            }();
            std::set<std::wstring> changedSince;
            for (const auto &[writes, paths] : full.touches)
                if (writes >= flushWrites && writes < n)
                    changedSince.insert(paths.begin(), paths.end());
            for (const auto &[path, values] : *flushed) {
                if (changedSince.count(path)) continue;
                EXPECT_EQ(ReadBack(f, path, err), values)
                    << std::string(path.begin(), path.end()) << ": " << err.Message();
                ++checkedObjects;
            }
        }
        ohfa_FileClose(f, nullptr);
    }
    EXPECT_GT(checkedObjects, 0);
}

} // namespace
