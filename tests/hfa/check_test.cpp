// The integrity check on a sound file and on copies damaged on purpose, one class of damage
// at a time; and the listing's line formats.
#include <cstdio>
#include <functional>

#include "hfa_test_util.hpp"

namespace {

using namespace hfa_test;

struct Sample {
    int32_t count;
    double mean;
    float pair[2]; // stored as one complex value
    char label[12];
    uint16_t flags[3];
};

// Where the built file keeps its records (entry positions and the data of "/A/S").
struct Layout {
    uint32_t root = 0, a = 0, b = 0, c = 0, s = 0, sData = 0;
    int32_t sSize = 0;
    uint32_t header = 64;
};

class HfaCheck : public HfaTest {
  protected:
    void SetUp() override {
        HfaTest::SetUp();
        m_design = omif_DesignCreateX(
            L"Sample", nullptr, OMIF_ITEM_LONG, L"count", 1, OMIF_DIRECT, OMIF_ITEM_DOUBLE, L"mean",
            1, OMIF_DIRECT, OMIF_ITEM_COMPLEX, L"pair", 1, OMIF_DIRECT, OMIF_ITEM_CHAR, L"label",
            12, OMIF_DIRECT, OMIF_ITEM_USHORT, L"flags", 3, OMIF_DIRECT, OMIF_ITEM_END);
        ASSERT_NE(m_design, nullptr);
        Build();
    }
    void TearDown() override { omif_DesignDestroy(m_design, nullptr); }

    uint32_t At(Ohfa_File *f, const wchar_t *path) {
        Ohfa_Entry e{};
        EXPECT_EQ(ohfa_EntryPeek(f, OHFA_SEEK_PATH, path, &e, nullptr), 1);
        EXPECT_EQ(ohfa_EntrySeek(f, OHFA_SEEK_PATH, path, nullptr), 1);
        return ohfa_EntryGetCurrentPosition(f, nullptr);
    }

    // "/A" with the object "S", "/B", "/C"; "/D" deleted again so that the free list holds a
    // block between entries.
    void Build() {
        Report err;
        Ohfa_File *f = ohfa_FileCreate(Name("c.hfa").c_str(), 0, &err);
        ASSERT_NE(f, nullptr) << err.Message();
        ASSERT_EQ(ohfa_EntrySeek(f, OHFA_SEEK_ROOT, nullptr, &err), 1);
        for (const wchar_t *n : {L"A", L"B", L"D", L"C"}) {
            ASSERT_EQ(ohfa_EntrySeek(f, OHFA_SEEK_ROOT, nullptr, &err), 1);
            ASSERT_EQ(ohfa_EntryWrite(f, OHFA_WRITE_LAST_CHILD, n, L"Layer", &err), 0);
        }
        Sample s{7, 2.5, {1.5f, -2.0f}, "seven", {1, 2, 65535}};
        ASSERT_EQ(ohfa_ObjectWrite(f, L"/A", L"S", nullptr, 3, &s, m_design, &err), 0)
            << err.Message();
        ASSERT_EQ(ohfa_ObjectDelete(f, L"/D", OHFA_SEEK_PATH, &err), 0);
        m_at.root = At(f, L"/");
        m_at.a = At(f, L"/A");
        m_at.b = At(f, L"/B");
        m_at.c = At(f, L"/C");
        m_at.s = At(f, L"/A/S");
        Ohfa_Entry e{};
        ohfa_EntryCurrentGet(f, &e, nullptr);
        m_at.sData = e.data;
        m_at.sSize = e.dataSize;
        ASSERT_EQ(ohfa_FileClose(f, &err), 0);
        m_sound = ReadRaw(Path("c.hfa"));
    }

    // Checks a copy of the built file changed by `damage`; returns the problem count.
    long Check(const std::function<void(std::string &)> &damage) {
        std::string bytes = m_sound;
        damage(bytes);
        WriteRaw(Path("c.hfa"), bytes);
        Report err;
        Ohfa_File *f = ohfa_FileOpen(Name("c.hfa").c_str(), L"r", 0, &err);
        EXPECT_NE(f, nullptr) << err.Message();
        if (!f) return -1;
        ostr_StringList *list = nullptr;
        const long n = ohfa_FileCheck(f, &list, &err);
        EXPECT_GE(n, 0) << err.Message();
        m_lines.clear();
        for (int32_t i = 0; list && i < list->count; ++i) m_lines.push_back(list->strings[i]);
        ostr_StringListDelete(list, nullptr);
        ohfa_FileClose(f, nullptr);
        return n;
    }
    bool Said(std::initializer_list<std::wstring> fragments) const {
        return hfa_test::Said(m_lines, fragments);
    }
    std::string Lines() const { return Joined(m_lines); }

    Omif_Design *m_design = nullptr;
    Layout m_at;
    std::string m_sound;
    std::vector<std::wstring> m_lines;
};

// Lists the whole of a file into a string.
std::string Listing(Ohfa_File *f, const wchar_t *start) {
    // A temporary file rather than open_memstream, which not every C library offers.
    FILE *out = std::tmpfile();
    EXPECT_NE(out, nullptr);
    if (!out) return {};
    EXPECT_EQ(ohfa_ListFile(f, start, out, nullptr), 0);
    std::string listing;
    std::rewind(out);
    char buf[4096];
    for (std::size_t n; (n = std::fread(buf, 1, sizeof buf, out)) > 0;) listing.append(buf, n);
    std::fclose(out);
    return listing;
}

TEST_F(HfaCheck, ASoundFileHasNoProblemAndLeaksAreTheirOwnLine) {
    EXPECT_EQ(Check([](std::string &) {}), 0) << Lines();
    for (const auto &l : m_lines) EXPECT_EQ(l.rfind(OHFA_CHECK_LEAK_PREFIX, 0), 0u) << Lines();
    // A free list emptied on disk: its blocks become leaked bytes, which are no problem.
    const uint32_t freeHead = Word(m_sound, m_at.header + 4);
    ASSERT_NE(freeHead, 0u);
    const uint32_t freeSize = Word(m_sound, freeHead + 4);
    EXPECT_EQ(Check([&](std::string &b) { PutWord(b, m_at.header + 4, 0); }), 0) << Lines();
    ASSERT_FALSE(m_lines.empty());
    const std::wstring leak = m_lines.back();
    EXPECT_EQ(leak.rfind(OHFA_CHECK_LEAK_PREFIX, 0), 0u);
    const long leaked = std::stol(leak.substr(std::wcslen(OHFA_CHECK_LEAK_PREFIX)));
    EXPECT_GE(leaked, static_cast<long>(freeSize));
}

TEST_F(HfaCheck, HeaderAndDictionaryDamage) {
    EXPECT_EQ(Check([&](std::string &b) { b[m_at.header + 12] = 100; }), 1);
    EXPECT_TRUE(Said({L"Header: entry length 100 is not 128"})) << Lines();
    EXPECT_EQ(Check([&](std::string &b) { PutWord(b, m_at.header, 0); }), 1);
    EXPECT_TRUE(Said({L"Header: version 0 is not a format version"})) << Lines();
    EXPECT_GE(Check([&](std::string &b) { PutWord(b, m_at.header + 4, 0x7FFFFF00u); }), 1);
    EXPECT_TRUE(Said({L"Header: the free list pointer", L"does not lie inside"})) << Lines();
    // The fixed part of the dictionary changed: an item of the header design renamed.
    const uint32_t dict = Word(m_sound, m_at.header + 14);
    EXPECT_EQ(Check([&](std::string &b) { b[dict + 4] = 'X'; }), 1) << Lines();
    EXPECT_TRUE(Said({L"Dictionary: it does not begin with the five fixed designs"})) << Lines();
}

TEST_F(HfaCheck, LinksThatDisagreeAndCycles) {
    EXPECT_EQ(Check([&](std::string &b) { PutWord(b, m_at.b + 8, m_at.a); }), 1);
    EXPECT_TRUE(Said({L"Entry /B", L"its parent link"})) << Lines();
    EXPECT_EQ(Check([&](std::string &b) { PutWord(b, m_at.c + 4, m_at.a); }), 1);
    EXPECT_TRUE(Said({L"Entry /C", L"its previous link " + std::to_wstring(m_at.a)})) << Lines();
    // /C's next leads back to /A: a cycle, reported once, and the walk ends.
    EXPECT_EQ(Check([&](std::string &b) { PutWord(b, m_at.c + 0, m_at.a); }), 1);
    EXPECT_TRUE(Said({L"Entry /C", L"next link", L"reached before"})) << Lines();
    EXPECT_EQ(Check([&](std::string &b) { PutWord(b, m_at.a + 12, 0x7FFFFF00u); }), 1);
    EXPECT_TRUE(Said({L"Entry /A", L"child link", L"does not name an entry"})) << Lines();
    // The root with a parent.
    EXPECT_GE(Check([&](std::string &b) { PutWord(b, m_at.root + 8, m_at.a); }), 1);
    EXPECT_TRUE(Said({L"the root has a sibling or parent link"})) << Lines();
}

TEST_F(HfaCheck, NamesAndTypes) {
    EXPECT_EQ(Check([&](std::string &b) { b.replace(m_at.b + 24, 64, std::string(64, 'n')); }), 1);
    EXPECT_TRUE(Said({L"its name is not terminated within 64 bytes"})) << Lines();
    EXPECT_EQ(Check([&](std::string &b) { b[m_at.b + 24] = 0; }), 1);
    EXPECT_TRUE(Said({L"Entry / (at", L"its name is empty"})) << Lines();
    EXPECT_EQ(Check([&](std::string &b) { b.replace(m_at.s + 88, 6, "Nope\0\0", 6); }), 1);
    EXPECT_TRUE(Said({L"Entry /A/S", L"its type \"Nope\" is not in the dictionary"})) << Lines();
    EXPECT_EQ(Check([&](std::string &b) { b[m_at.s + 88] = 0; }), 1);
    EXPECT_TRUE(Said({L"Entry /A/S", L"it has data but no type"})) << Lines();
}

TEST_F(HfaCheck, DataBlocksOutsideOverlappingOrNotDecoding) {
    EXPECT_EQ(Check([&](std::string &b) { PutWord(b, m_at.s + 20, 0x100000); }), 1);
    EXPECT_TRUE(Said({L"Entry /A/S", L"its data block", L"does not lie inside the file"}))
        << Lines();
    EXPECT_EQ(Check([&](std::string &b) { PutWord(b, m_at.s + 20, 0xFFFFFFFFu); }), 1);
    EXPECT_TRUE(Said({L"its data size -1 is negative"})) << Lines();
    EXPECT_EQ(Check([&](std::string &b) { PutWord(b, m_at.s + 16, 0); }), 1);
    EXPECT_TRUE(Said({L"bytes of data but no data pointer"})) << Lines();
    // The data pointer names the record of /B: overlap (and it no longer decodes exactly).
    EXPECT_GE(Check([&](std::string &b) { PutWord(b, m_at.s + 16, m_at.b); }), 1);
    EXPECT_TRUE(Said({L"Overlap: ", L"the data of Entry /A/S", L"Entry /B"})) << Lines();
    // One byte short: the record does not fit its block.
    EXPECT_EQ(Check([&](std::string &b) { PutWord(b, m_at.s + 20, m_at.sSize - 1); }), 1);
    EXPECT_TRUE(Said({L"Entry /A/S", L"its data does not decode as Sample"})) << Lines();
    // A record shorter than its block (an in-place rewrite by a smaller one) is sound.
    Check([&](std::string &b) { PutWord(b, m_at.s + 20, m_at.sSize + 8); });
    EXPECT_FALSE(Said({L"decode"})) << Lines();
}

TEST_F(HfaCheck, FreeListOrderOverlapAndSize) {
    const uint32_t head = Word(m_sound, m_at.header + 4);
    ASSERT_NE(head, 0u);
    // A free block claimed over the entry of /A/S and beyond.
    EXPECT_GE(Check([&](std::string &b) { PutWord(b, head + 4, m_at.s + 128 - head); }), 1);
    if (m_at.s > head) {
        EXPECT_TRUE(Said({L"Overlap: ", L"free block"})) << Lines();
    }
    EXPECT_EQ(Check([&](std::string &b) { PutWord(b, head + 4, 4); }), 1);
    EXPECT_TRUE(Said({L"Free list: the block at", L"impossible size 4"})) << Lines();
    // A link back to the block itself: the list must ascend.
    EXPECT_EQ(Check([&](std::string &b) { PutWord(b, head, head); }), 1);
    EXPECT_TRUE(Said({L"does not follow the previous block"})) << Lines();
    // Two blocks that touch: the second one starts where the first ends.
    const uint32_t size = Word(m_sound, head + 4);
    ASSERT_GE(size, 16u);
    EXPECT_EQ(Check([&](std::string &b) {
                  PutWord(b, head, head + 8);
                  PutWord(b, head + 4, 8);
                  PutWord(b, head + 8, Word(m_sound, head));
                  PutWord(b, head + 12, size - 8);
              }),
              1);
    EXPECT_TRUE(Said({L"touches the previous block"})) << Lines();
}

TEST_F(HfaCheck, RawDataOfATypeTheLibraryDefinesDescribesItself) {
    Report err;
    Ohfa_File *f = ohfa_FileOpen(Name("c.hfa").c_str(), L"r+b", 0, &err);
    ASSERT_NE(f, nullptr);
    // A "PTR" block in file form: count 3, the offset word, then the three bytes.
    const unsigned char block[11] = {3, 0, 0, 0, 0, 0, 0, 0, 'a', 'b', 'c'};
    ASSERT_EQ(ohfa_ObjectDataWrite(f, L"/B", L"Raw", L"PTR", 3, 11, block, &err), 0)
        << err.Message();
    EXPECT_NE(omif_DictionarySearchByName(ohfa_FileDictionaryGet(f), L"PTR", &err), nullptr);
    // An unknown type stays unknown: the check names it.
    ASSERT_EQ(ohfa_ObjectDataWrite(f, L"/B", L"Odd", L"Unknown_Type", 3, 11, block, &err), 0);
    ostr_StringList *list = nullptr;
    EXPECT_EQ(ohfa_FileCheck(f, &list, &err), 1);
    ASSERT_NE(list, nullptr);
    EXPECT_NE(std::wstring(list->strings[0]).find(L"/B/Odd"), std::wstring::npos);
    ostr_StringListDelete(list, nullptr);
    ohfa_FileClose(f, nullptr);
}

TEST_F(HfaCheck, ListingNamesTheItemsOfNestedRecords) {
    Omif_Design *point =
        omif_DesignCreateX(L"Point", nullptr, OMIF_ITEM_DOUBLE, L"x", 1, OMIF_DIRECT,
                           OMIF_ITEM_SHORT, L"y", 1, OMIF_DIRECT, OMIF_ITEM_END);
    ASSERT_NE(point, nullptr);
    Omif_Design *pair = omif_DesignCreateX(L"Pair", nullptr, OMIF_ITEM_OBJECT, L"ends", 2,
                                           OMIF_DIRECT, point, OMIF_ITEM_END);
    ASSERT_NE(pair, nullptr);
    struct Point {
        double x;
        int16_t y;
    } ends[2] = {{1.5, -3}, {2.5, 4}};
    Report err;
    Ohfa_File *f = ohfa_FileOpen(Name("c.hfa").c_str(), L"r+b", 0, &err);
    ASSERT_NE(f, nullptr);
    ASSERT_EQ(ohfa_ObjectWrite(f, L"/C", L"P", nullptr, 3, ends, pair, &err), 0) << err.Message();
    const std::string listing = Listing(f, L"/C/P");
    EXPECT_NE(listing.find(")\nends[0].x[0] = 1.500000\nends[0].y[0] = -3\n"
                           "ends[1].x[0] = 2.500000\nends[1].y[0] = 4\n"),
              std::string::npos)
        << listing;
    ostr_StringList *list = nullptr;
    EXPECT_EQ(ohfa_FileCheck(f, &list, &err), 0);
    ostr_StringListDelete(list, nullptr);
    ohfa_FileClose(f, nullptr);
    omif_DesignDestroy(pair, nullptr);
    omif_DesignDestroy(point, nullptr);
}

TEST_F(HfaCheck, RefusesMissingArguments) {
    Report err;
    Ohfa_File *f = ohfa_FileOpen(Name("c.hfa").c_str(), L"r", 0, &err);
    ASSERT_NE(f, nullptr);
    ostr_StringList *list = nullptr;
    EXPECT_EQ(ohfa_FileCheck(f, nullptr, &err), -1);
    EXPECT_EQ(err.Message(), L"Null problem list parameter");
    EXPECT_EQ(ohfa_FileCheck(nullptr, &list, &err), -1);
    EXPECT_EQ(list, nullptr);
    ohfa_FileClose(f, nullptr);
}

TEST_F(HfaCheck, ListingLineFormats) {
    Report err;
    Ohfa_File *f = ohfa_FileOpen(Name("c.hfa").c_str(), L"r", 0, &err);
    ASSERT_NE(f, nullptr);
    ASSERT_EQ(ohfa_EntrySeek(f, OHFA_SEEK_PATH, L"/B", &err), 1);
    const std::string listing = Listing(f, L"/A");
    // The current entry is kept.
    wchar_t *path = ohfa_CurrentEntryPath(f, &err);
    EXPECT_STREQ(path, L"/B");
    omsc_HeapFree(path);
    const std::string body = "count[0] = 7\n"
                             "mean[0] = 2.500000\n"
                             "pair[0] = (1.500000,-2.000000)\n"
                             "label[0] = \"seven\"\n"
                             "flags[0] = 1\n"
                             "flags[1] = 2\n"
                             "flags[2] = 65535\n";
    EXPECT_EQ(listing.rfind("/A\n(Layer Object)\n(last modified ", 0), 0u) << listing;
    const std::size_t s = listing.find("/A/S\n(Sample Object)\n(last modified ");
    ASSERT_NE(s, std::string::npos) << listing;
    const std::size_t close = listing.find(")\n", s + 30);
    ASSERT_NE(close, std::string::npos);
    EXPECT_EQ(listing.substr(close + 2), body);
    EXPECT_EQ(ohfa_ListFile(f, L"/none", nullptr, &err), -1);
    EXPECT_EQ(err.Message(), L"Could not find starting node \"/none\"");
    ohfa_FileClose(f, nullptr);
}

} // namespace
