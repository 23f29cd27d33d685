// Copies: a copied tree reads back equal (data, types, times, designs), a copy compacts, a
// damaged source copies what it can read and reports the rest, the refusals, progress calls,
// and subtree copies between open files.
#include <map>

#include "hfa_test_util.hpp"

namespace {

using namespace hfa_test;

struct Stats {
    double values[6];
};
struct Series {
    OMIF_COUNTED_POINTER_OF(double) values;
};

class HfaCopy : public HfaTest {
  protected:
    void SetUp() override {
        HfaTest::SetUp();
        m_stats = omif_DesignCreateX(L"Stats6", nullptr, OMIF_ITEM_DOUBLE, L"v", 6, OMIF_DIRECT,
                                     OMIF_ITEM_END);
        m_series = omif_DesignCreateX(L"Series", nullptr, OMIF_ITEM_DOUBLE, L"values", 0,
                                      OMIF_COUNTED_POINTER, OMIF_ITEM_END);
        ASSERT_TRUE(m_stats && m_series);
    }
    void TearDown() override {
        omif_DesignDestroy(m_stats, nullptr);
        omif_DesignDestroy(m_series, nullptr);
        ohfa_FileCopyProgressUpdate(nullptr, nullptr);
    }
    void PutStats(Ohfa_File *f, const wchar_t *at, const wchar_t *name, double base) {
        Stats s{};
        for (int i = 0; i < 6; ++i) s.values[i] = base + i;
        Report err;
        ASSERT_EQ(ohfa_ObjectWrite(f, at, name, nullptr, 3, &s, m_stats, &err), 0) << err.Message();
    }
    void PutSeries(Ohfa_File *f, const wchar_t *at, const wchar_t *name, int n) {
        std::vector<double> v(static_cast<std::size_t>(n));
        for (int i = 0; i < n; ++i) v[static_cast<std::size_t>(i)] = i * 0.5;
        Series s{};
        s.values.count = n;
        s.values.data = v.data();
        Report err;
        ASSERT_EQ(ohfa_ObjectWrite(f, at, name, nullptr, 3, &s, m_series, &err), 0)
            << err.Message();
    }
    // root -> L1 (Statistics, Trace), L2 (Empty (Deep: Statistics)), L3 (Statistics).
    void BuildTree(Ohfa_File *f) {
        Report err;
        for (const wchar_t *layer : {L"L1", L"L2", L"L3"}) {
            ASSERT_EQ(ohfa_EntrySeek(f, 0, nullptr, &err), 1);
            ASSERT_EQ(ohfa_EntryWrite(f, 3, layer, L"Layer", &err), 0);
        }
        PutStats(f, L"/L1", L"Statistics", 1);
        PutSeries(f, L"/L1", L"Trace", 20);
        ASSERT_EQ(ohfa_EntrySeek(f, 8, L"/L2", &err), 1);
        ASSERT_EQ(ohfa_EntryWrite(f, 3, L"Empty", nullptr, &err), 0);
        ASSERT_EQ(ohfa_EntryWrite(f, 3, L"Deep", nullptr, &err), 0);
        PutStats(f, L"/L2/Empty/Deep", L"Statistics", 10);
        PutStats(f, L"/L3", L"Statistics", 100);
    }
    Ohfa_File *NewTree(const std::string &leaf) {
        Ohfa_File *f = ohfa_FileCreate(Name(leaf).c_str(), 0, nullptr);
        EXPECT_NE(f, nullptr);
        if (f) BuildTree(f);
        return f;
    }
    // Every entry below `start` as path -> (type, raw data, modTime).
    struct Seen {
        std::string type;
        std::string data;
        double modTime;
    };
    std::map<std::wstring, Seen> Contents(Ohfa_File *f, const wchar_t *start = L"/") {
        std::map<std::wstring, Seen> out;
        ostr_StringList *list = ohfa_ObjectList(f, start, nullptr);
        EXPECT_NE(list, nullptr);
        for (long i = 0; list && i < list->count; ++i) {
            long count = 0;
            void *bytes = ohfa_ObjectDataReadIfPresent(f, list->strings[i], 8, &count, nullptr);
            Ohfa_Entry e{};
            ohfa_EntryCurrentGet(f, &e, nullptr);
            out[list->strings[i]] = Seen{
                e.type, std::string(static_cast<char *>(bytes), static_cast<std::size_t>(count)),
                e.modTime};
            omsc_HeapFree(bytes);
        }
        ostr_StringListDelete(list, nullptr);
        return out;
    }
    static void ExpectSame(const std::map<std::wstring, Seen> &a,
                           const std::map<std::wstring, Seen> &b) {
        ASSERT_EQ(a.size(), b.size());
        for (const auto &[path, seen] : a) {
            auto other = b.find(path);
            ASSERT_NE(other, b.end()) << path;
            EXPECT_EQ(seen.type, other->second.type) << path;
            EXPECT_EQ(seen.data, other->second.data) << path;
            EXPECT_EQ(seen.modTime, other->second.modTime) << path;
        }
    }

    Omif_Design *m_stats = nullptr;
    Omif_Design *m_series = nullptr;
};

TEST_F(HfaCopy, CopiedFileReadsBackEqualWithItsDesigns) {
    Ohfa_File *f = NewTree("src.hfa");
    ASSERT_NE(f, nullptr);
    const auto before = Contents(f);
    ASSERT_EQ(ohfa_FileClose(f, nullptr), 0);
    Report err;
    EXPECT_EQ(ohfa_FileCopy(Name("src.hfa").c_str(), Name("dst.hfa").c_str(), &err), 9)
        << err.Message();
    EXPECT_FALSE(err);
    EXPECT_FALSE(ohfa_FileIsOpen(Name("dst.hfa").c_str(), nullptr));
    Ohfa_File *g = ohfa_FileOpen(Name("dst.hfa").c_str(), L"r", 0, nullptr);
    ASSERT_NE(g, nullptr);
    ExpectSame(before, Contents(g));
    // Self-describing: the copy's dictionary has the designs, and objects read back by them.
    const Omif_Dictionary *d = ohfa_FileDictionaryGet(g);
    EXPECT_NE(omif_DictionarySearchByName(d, L"Stats6", nullptr), nullptr);
    EXPECT_NE(omif_DictionarySearchByName(d, L"Series", nullptr), nullptr);
    Stats s{};
    ASSERT_EQ(ohfa_ObjectRead(g, L"/L2/Empty/Deep/Statistics", 8, &s, m_stats, &err), &s);
    EXPECT_EQ(s.values[5], 15.0);
    EXPECT_EQ(ohfa_FileClose(g, nullptr), 0);
}

TEST_F(HfaCopy, ACopyHoldsNoFreeSpace) {
    Ohfa_File *f = ohfa_FileCreate(Name("holes.hfa").c_str(), 0, nullptr);
    ASSERT_NE(f, nullptr);
    Report err;
    for (int i = 0; i < 40; ++i) {
        const std::wstring layer = L"Layer_" + std::to_wstring(i);
        ASSERT_EQ(ohfa_EntrySeek(f, 0, nullptr, &err), 1);
        ASSERT_EQ(ohfa_EntryWrite(f, 3, layer.c_str(), nullptr, &err), 0);
        PutSeries(f, (L"/" + layer).c_str(), L"Trace", 30);
    }
    for (int i = 0; i < 40; i += 2)
        ASSERT_EQ(ohfa_ObjectDelete(f, (L"/Layer_" + std::to_wstring(i)).c_str(), 8, &err), 0);
    const auto before = Contents(f);
    ASSERT_EQ(ohfa_FileClose(f, nullptr), 0);
    f = ohfa_FileOpen(Name("holes.hfa").c_str(), L"r", 0, nullptr);
    const long oldSize = ohfa_FileSize(f, nullptr);
    EXPECT_GE(ohfa_FileFreeSpaceSize(f, nullptr), 20 * (128 + 128 + 8 + 30 * 8) - 20);
    ASSERT_EQ(ohfa_FileClose(f, nullptr), 0);

    ASSERT_EQ(ohfa_FileCopy(Name("holes.hfa").c_str(), Name("compact.hfa").c_str(), &err), 40)
        << err.Message();
    Ohfa_File *g = ohfa_FileOpen(Name("compact.hfa").c_str(), L"r", 0, nullptr);
    ASSERT_NE(g, nullptr);
    // At most the remainder of the new file's first dictionary block stays free.
    EXPECT_LT(ohfa_FileFreeSpaceSize(g, nullptr), 128);
    EXPECT_LE(ohfa_FileSize(g, nullptr), oldSize - 20 * (128 + 128 + 8 + 30 * 8) + 128);
    ExpectSame(before, Contents(g));
    EXPECT_EQ(ohfa_FileClose(g, nullptr), 0);
}

TEST_F(HfaCopy, DamagedSourceCopiesWhatCanBeReadAndReportsTheRest) {
    Ohfa_File *f = NewTree("bad.hfa");
    ASSERT_NE(f, nullptr);
    auto at = [&](const wchar_t *path) {
        EXPECT_EQ(ohfa_EntrySeek(f, 8, path, nullptr), 1);
        return static_cast<std::size_t>(ohfa_EntryGetCurrentPosition(f, nullptr));
    };
    const std::size_t l1 = at(L"/L1"), l2 = at(L"/L2"), l3 = at(L"/L3");
    const std::size_t trace = at(L"/L1/Trace"), deep = at(L"/L2/Empty/Deep");
    ASSERT_EQ(ohfa_FileClose(f, nullptr), 0);
    std::string b = ReadRaw(Path("bad.hfa"));
    PutWord(b, trace + 16, 0x7FFFFF00);               // Trace's data lies beyond the end
    PutWord(b, deep + 12, static_cast<uint32_t>(l1)); // Deep's child: L1 (another parent's)
    PutWord(b, l3, static_cast<uint32_t>(l2));        // L3's next loops back to L2
    WriteRaw(Path("bad.hfa"), b);

    Report err;
    EXPECT_EQ(ohfa_FileCopy(Name("bad.hfa").c_str(), Name("saved.hfa").c_str(), &err), -1);
    EXPECT_EQ(err.Message(),
              L"8 entries of " + Name("bad.hfa") + L" were copied; 3 parts could not be read");
    EXPECT_TRUE(err.Has(L"Data of entry Trace lies outside file " + Name("bad.hfa")));
    EXPECT_TRUE(err.Has(L"Corrupt child entry (L1) of Deep detected"));
    EXPECT_TRUE(
        err.Has(L"Entry at " + std::to_wstring(l2) + L" below / is reached twice (a loop)"));
    Ohfa_File *g = ohfa_FileOpen(Name("saved.hfa").c_str(), L"r", 0, nullptr);
    ASSERT_NE(g, nullptr);
    const auto got = Contents(g);
    EXPECT_EQ(got.size(), 8u); // Deep's own child is lost with its link
    EXPECT_EQ(got.at(L"/L1/Trace").data, "");
    EXPECT_EQ(got.at(L"/L3/Statistics").data.size(), 48u);
    EXPECT_EQ(ohfa_FileClose(g, nullptr), 0);
}

TEST_F(HfaCopy, RefusesAnOpenDestinationAndCallsProgress) {
    Ohfa_File *f = NewTree("a.hfa");
    ASSERT_NE(f, nullptr);
    Report err;
    EXPECT_EQ(ohfa_FileCopy(Name("b.hfa").c_str(), Name("a.hfa").c_str(), &err), -1);
    EXPECT_EQ(err.Message(), L"Cannot copy to >" + Name("a.hfa") + L"< when it is already open");
    ASSERT_EQ(ohfa_FileClose(f, nullptr), 0);
    EXPECT_EQ(ohfa_FileCopy(Name("a.hfa").c_str(), Name("a.hfa").c_str(), &err), -1);
    EXPECT_EQ(err.Message(), L"Cannot copy to >" + Name("a.hfa") + L"< when it is already open");
    std::vector<std::pair<long, long>> calls;
    ohfa_FileCopyProgressUpdate(
        [](void *context, long done, long total) {
            static_cast<std::vector<std::pair<long, long>> *>(context)->emplace_back(done, total);
        },
        &calls);
    ASSERT_EQ(ohfa_FileCopy(Name("a.hfa").c_str(), Name("c.hfa").c_str(), &err), 9);
    ASSERT_EQ(calls.size(), 9u);
    for (std::size_t i = 0; i < calls.size(); ++i)
        EXPECT_EQ(calls[i], std::make_pair(static_cast<long>(i + 1), 9L));
}

TEST_F(HfaCopy, SubtreeCopiesBetweenOpenFilesCarryTheirDesigns) {
    Ohfa_File *src = NewTree("from.hfa");
    Ohfa_File *dst = ohfa_FileCreate(Name("to.hfa").c_str(), 0, nullptr);
    ASSERT_TRUE(src && dst);
    Report err;
    ASSERT_EQ(ohfa_EntryWrite(dst, 3, L"Target", nullptr, &err), 0);
    ASSERT_EQ(ohfa_ObjectCopy(src, L"/L2", dst, L"/Target", &err), 4) << err.Message();
    ASSERT_EQ(ohfa_ObjectCopy(src, L"/L1", dst, L"/Target", &err), 3) << err.Message();
    EXPECT_NE(omif_DictionarySearchByName(ohfa_FileDictionaryGet(dst), L"Series", nullptr),
              nullptr);
    auto strip = [](std::map<std::wstring, Seen> m, const std::wstring &prefix) {
        std::map<std::wstring, Seen> out;
        for (auto &[p, s] : m) out[p.substr(prefix.size())] = s;
        return out;
    };
    auto want = Contents(src);
    for (auto it = want.begin(); it != want.end();)
        it = it->first.rfind(L"/L3", 0) == 0 ? want.erase(it) : std::next(it);
    ExpectSame(want, strip(Contents(dst, L"/Target"), L"/Target"));
    // A second copy of the same name is refused; so are missing nodes and the root.
    EXPECT_EQ(ohfa_ObjectCopy(src, L"/L1", dst, L"/Target", &err), -1);
    EXPECT_EQ(err.Message(), L"/Target/L1|Node already exists for file " + Name("to.hfa"));
    EXPECT_EQ(ohfa_ObjectCopy(src, L"/None", dst, L"/Target", &err), -1);
    EXPECT_EQ(err.Message(), L"/None|Node not found");
    EXPECT_EQ(ohfa_ObjectCopy(src, L"/L3", dst, L"/Nowhere", &err), -1);
    EXPECT_EQ(err.Message(), L"/Nowhere|Node not found");
    EXPECT_EQ(ohfa_ObjectCopy(src, L"/", dst, L"/Target", &err), -1);
    // Within one file, into the copied node's own subtree: the copy is made from a snapshot.
    ASSERT_EQ(ohfa_ObjectCopy(src, L"/L2", src, L"/L2/Empty", &err), 4) << err.Message();
    EXPECT_EQ(ohfa_EntrySeek(src, 8, L"/L2/Empty/L2/Empty/Deep/Statistics", &err), 1);
    EXPECT_EQ(ohfa_FileClose(src, nullptr), 0);
    EXPECT_EQ(ohfa_FileClose(dst, nullptr), 0);
}

} // namespace
