// HFA files: the bytes of a new file, recognition, open and its refusals, shared handles,
// flush and dictionary placement, records at positions, a create that fails midway.
#include <cerrno>
#include <cstring>

#include "core/heap_seam.hpp"
#include "fio/write_seam.hpp"
#include "hfa_test_util.hpp"

namespace {

using namespace hfa_test;
using orvik::fio::testing::ClearWriteStop;
using orvik::fio::testing::WritesCounted;

class HfaFile : public HfaTest {};

TEST_F(HfaFile, NewFileHasTheSettledLayoutToTheByte) {
    Report err;
    Ohfa_File *f = ohfa_FileCreate(Name("new.hfa").c_str(), 7, &err);
    ASSERT_NE(f, nullptr) << err.Message();
    EXPECT_EQ(ohfa_FileClose(f, &err), 0);

    const std::string b = ReadRaw(Path("new.hfa"));
    ASSERT_EQ(b.size(), 210 + kNewDictionary.size());
    EXPECT_EQ(std::memcmp(b.data(), "OHFA_HEADER_TAG\0", 16), 0);
    EXPECT_EQ(Word(b, 16), 64u);
    EXPECT_EQ(b.substr(20, 44), std::string(44, '\0'));
    // Ohfa_File at 64: version, freeList, rootEntryPtr, entryHeaderLength (16 bits), dictionaryPtr.
    EXPECT_EQ(Word(b, 64), 1u);
    EXPECT_EQ(Word(b, 68), 0u);
    EXPECT_EQ(Word(b, 72), 82u);
    EXPECT_EQ(static_cast<unsigned char>(b[76]) | static_cast<unsigned char>(b[77]) << 8, 128);
    EXPECT_EQ(Word(b, 78), 210u);
    // Root entry at 82: no links, no data, its name and type, a current time.
    for (std::size_t at = 82; at < 82 + 24; at += 4) EXPECT_EQ(Word(b, at), 0u) << at;
    EXPECT_STREQ(b.data() + 82 + 24, "root");
    EXPECT_STREQ(b.data() + 82 + 88, "root");
    double modTime;
    std::memcpy(&modTime, b.data() + 82 + 120, 8);
    EXPECT_GT(modTime, 1.7e9);
    EXPECT_EQ(b.substr(210), kNewDictionary);
    EXPECT_EQ(ohfa_IsHFAFile(Name("new.hfa").c_str(), &err), 1);
}

TEST_F(HfaFile, RecognitionNeverFailsForFilesThatAreNotHfa) {
    Report err;
    Ohfa_File *f = ohfa_FileCreate(Name("good.hfa").c_str(), 0, &err);
    ASSERT_NE(f, nullptr);
    ASSERT_EQ(ohfa_FileClose(f, &err), 0);
    std::string good = ReadRaw(Path("good.hfa"));

    WriteRaw(Path("short.hfa"), good.substr(0, 37));
    std::string foreign = good;
    foreign[3] = 'X';
    WriteRaw(Path("foreign.hfa"), foreign);
    std::string noDict = good;
    PutWord(noDict, 78, 0);
    WriteRaw(Path("nodict.hfa"), noDict);

    PrintedReports printed;
    for (const char *leaf : {"short.hfa", "foreign.hfa", "nodict.hfa", "missing.hfa"}) {
        EXPECT_EQ(ohfa_IsHFAFile(Name(leaf).c_str(), &err), 0) << leaf;
        EXPECT_FALSE(err) << leaf;
    }
    EXPECT_TRUE(printed.Messages().empty());

    // Open refuses each with the reason.
    EXPECT_EQ(ohfa_FileOpen(Name("short.hfa").c_str(), L"r", 0, &err), nullptr);
    EXPECT_EQ(err.Message(), L"File " + Name("short.hfa") + L" is not an OHFA file");
    EXPECT_EQ(ohfa_FileOpen(Name("foreign.hfa").c_str(), L"r", 0, &err), nullptr);
    EXPECT_TRUE(err.Has(L"File " + Name("foreign.hfa") + L" is not an OHFA file"));
    EXPECT_EQ(ohfa_FileOpen(Name("nodict.hfa").c_str(), L"r+b", 0, &err), nullptr);
    EXPECT_EQ(err.Function(), L"ohfa_FileOpen");
    EXPECT_EQ(err.Message(), L"Header initialization failure");
    EXPECT_TRUE(err.Has(L"File does not contain an OMIF dictionary"));
    EXPECT_EQ(ohfa_FileOpen(Name("missing.hfa").c_str(), L"r", 0, &err), nullptr);
    EXPECT_EQ(err.Message(), L"Error on opening file \"" + Name("missing.hfa") + L"\"");
}

TEST_F(HfaFile, OpenRefusesPointersOutsideTheFileAndUndecodableDictionaries) {
    Report err;
    ASSERT_EQ(ohfa_FileClose(ohfa_FileCreate(Name("a.hfa").c_str(), 0, &err), &err), 0);
    const std::string good = ReadRaw(Path("a.hfa"));

    std::string badHeader = good;
    PutWord(badHeader, 16, static_cast<uint32_t>(good.size()) - 10);
    WriteRaw(Path("b.hfa"), badHeader);
    EXPECT_EQ(ohfa_FileOpen(Name("b.hfa").c_str(), L"r", 0, &err), nullptr);
    EXPECT_TRUE(err.Has(L"Header pointer " + std::to_wstring(good.size() - 10) +
                        L" lies outside file " + Name("b.hfa")));

    std::string badDict = good;
    PutWord(badDict, 78, static_cast<uint32_t>(good.size()));
    WriteRaw(Path("c.hfa"), badDict);
    EXPECT_EQ(ohfa_FileOpen(Name("c.hfa").c_str(), L"r", 0, &err), nullptr);
    EXPECT_TRUE(err.Has(L"Dictionary pointer " + std::to_wstring(good.size()) +
                        L" lies outside file " + Name("c.hfa")));

    std::string garbled = good;
    garbled[211] = '#';
    WriteRaw(Path("d.hfa"), garbled);
    EXPECT_EQ(ohfa_FileOpen(Name("d.hfa").c_str(), L"r", 0, &err), nullptr);
    EXPECT_TRUE(err.Has(L"omif_DecodeDictionary failed"));

    // A dictionary whose final "." is missing runs into the end of the file.
    WriteRaw(Path("e.hfa"), good.substr(0, good.size() - 1));
    EXPECT_EQ(ohfa_FileOpen(Name("e.hfa").c_str(), L"r", 0, &err), nullptr);
    EXPECT_TRUE(err.Has(L"omif_DecodeDictionary failed"));
}

TEST_F(HfaFile, OneSharedHandlePerNameAndOneCloseForEveryOpen) {
    Report err;
    const std::wstring name = Name("shared.hfa");
    Ohfa_File *a = ohfa_FileCreate(name.c_str(), 0, &err);
    ASSERT_NE(a, nullptr);
    Ohfa_File *b = ohfa_FileOpen(name.c_str(), L"r+b", 0, &err);
    Ohfa_File *c = ohfa_FileOpen(name.c_str(), L"r", 0, &err);
    EXPECT_EQ(a, b);
    EXPECT_EQ(a, c);
    EXPECT_EQ(ohfa_FileClose(a, &err), 0);
    EXPECT_EQ(ohfa_FileClose(b, &err), 0);
    EXPECT_EQ(ohfa_FileIsOpen(name.c_str(), &err), OMSC_TRUE);
    EXPECT_EQ(ohfa_FileClose(c, &err), 0);
    EXPECT_EQ(ohfa_FileIsOpen(name.c_str(), &err), OMSC_FALSE);
    EXPECT_FALSE(err);
    // The "\" spelling names the same file.
    std::wstring back = name;
    std::replace(back.begin(), back.end(), L'/', L'\\');
    Ohfa_File *d = ohfa_FileOpen(name.c_str(), L"r", 0, &err);
    Ohfa_File *e = ohfa_FileOpen(back.c_str(), L"r", 0, &err);
    EXPECT_EQ(d, e);
    ohfa_FileClose(d, &err);
    ohfa_FileClose(e, &err);
}

TEST_F(HfaFile, PackageStateAndErrnoRules) {
    Report err;
    oint_DeInit(&err);
    EXPECT_EQ(ohfa_FileCreate(Name("x.hfa").c_str(), 0, &err), nullptr);
    EXPECT_EQ(err.Message(), L"Ofha package has not been initialized");
    EXPECT_EQ(ohfa_IsHFAFile(Name("x.hfa").c_str(), &err), 0);
    EXPECT_EQ(err.Message(), L"Ofha package has not been initialized");
    ASSERT_EQ(oint_InitToolkit(&err), 0);

    ohfa_PackageDisable(OMSC_TRUE);
    EXPECT_EQ(ohfa_FileOpen(Name("x.hfa").c_str(), L"r", 0, &err), nullptr);
    EXPECT_EQ(err.Message(), L"Ohfa package is disabled");
    ohfa_PackageDisable(OMSC_FALSE);

    errno = 1234;
    EXPECT_EQ(ohfa_FileOpen(Name("absent.hfa").c_str(), L"r", 0, &err), nullptr);
    EXPECT_EQ(errno, 1234);
    EXPECT_EQ(ohfa_FileClose(nullptr, &err), -1);
    EXPECT_EQ(err.Message(), L"Invalid OHFA file handle");
    EXPECT_EQ(ohfa_FileFlush(nullptr, &err), -1);
    EXPECT_EQ(err.Message(), L"Invalid file handle!");
    EXPECT_EQ(ohfa_FileIsNotFlushedOnWrite(nullptr), OMSC_FALSE);
}

TEST_F(HfaFile, UpdateModesNeverTruncateAndReadOnlyRefusesWrites) {
    Report err;
    ASSERT_EQ(ohfa_FileClose(ohfa_FileCreate(Name("m.hfa").c_str(), 0, &err), &err), 0);
    const std::string before = ReadRaw(Path("m.hfa"));
    Ohfa_File *f = ohfa_FileOpen(Name("m.hfa").c_str(), L"w", 0, &err);
    ASSERT_NE(f, nullptr) << err.Message();
    EXPECT_EQ(ohfa_FileClose(f, &err), 0);
    EXPECT_EQ(ReadRaw(Path("m.hfa")), before);

    f = ohfa_FileOpen(Name("m.hfa").c_str(), L"rb", 0, &err);
    ASSERT_NE(f, nullptr);
    EXPECT_EQ(ohfa_NextFreePos(f, 16, &err), 0u);
    EXPECT_EQ(err.Message(), L"File " + Name("m.hfa") + L" is open read-only");
    const char bytes[4] = {1, 2, 3, 4};
    EXPECT_EQ(ohfa_FileMIFDataWrite(f, 100, 4, bytes, &err), -1);
    EXPECT_EQ(ohfa_FileClose(f, &err), 0);
    EXPECT_EQ(ReadRaw(Path("m.hfa")), before);
}

TEST_F(HfaFile, FlushWithoutChangesWritesNothing) {
    Report err;
    ASSERT_EQ(ohfa_FileClose(ohfa_FileCreate(Name("f.hfa").c_str(), 0, &err), &err), 0);
    Ohfa_File *f = ohfa_FileOpen(Name("f.hfa").c_str(), L"r+b", 0, &err);
    ASSERT_NE(f, nullptr);
    ClearWriteStop(); // restarts the count
    EXPECT_EQ(ohfa_FileFlush(f, &err), 0);
    EXPECT_EQ(ohfa_FileClose(f, &err), 0);
    EXPECT_EQ(WritesCounted(), 0);
}

TEST_F(HfaFile, GrowingDictionaryMovesAndFreesTheOldBlock) {
    Report err;
    Ohfa_File *f = ohfa_FileCreate(Name("g.hfa").c_str(), 0, &err);
    ASSERT_NE(f, nullptr);
    const long oldEnd = ohfa_FileSize(f, &err);
    Omif_Design *d = SmallDesign(L"Layer_Info", 3);
    ASSERT_NE(ohfa_FileDictionaryAddDesign(f, d, &err), nullptr);
    omif_DesignDestroy(d, nullptr);
    ASSERT_EQ(ohfa_FileFlush(f, &err), 0) << err.Message();
    EXPECT_EQ(f->dictionaryPos, static_cast<uint32_t>(oldEnd));
    EXPECT_EQ(FreeBlocks(f), (std::vector<std::pair<uint32_t, uint32_t>>{
                                 {210u, static_cast<uint32_t>(kNewDictionary.size())}}));
    EXPECT_EQ(ohfa_FileClose(f, &err), 0);

    const std::string b = ReadRaw(Path("g.hfa"));
    EXPECT_EQ(Word(b, 78), static_cast<uint32_t>(oldEnd));
    EXPECT_EQ(Word(b, 68), 210u); // the old block heads the free list on disk
    EXPECT_EQ(Word(b, 210), 0u);
    EXPECT_EQ(Word(b, 214), static_cast<uint32_t>(kNewDictionary.size()));
    f = ohfa_FileOpen(Name("g.hfa").c_str(), L"r", 0, &err);
    ASSERT_NE(f, nullptr);
    EXPECT_NE(omif_DictionarySearchByName(ohfa_FileDictionaryGet(f), L"Layer_Info", &err), nullptr);
    EXPECT_EQ(ohfa_FileFreeSpaceSize(f, &err), static_cast<long>(kNewDictionary.size()));
    ohfa_FileClose(f, &err);
}

// Replaces the file's dictionary by the one of `text` and flushes.
void FlushWithDictionary(Ohfa_File *f, const std::wstring &text) {
    Report err;
    Omif_Dictionary *d = omif_DictionaryDecodeFromString(text.c_str(), &err);
    ASSERT_NE(d, nullptr) << err.Message();
    omif_DictionaryDestroy(f->dictionary, nullptr);
    f->dictionary = d;
    f->dictionaryModified = true;
    ASSERT_EQ(ohfa_FileFlush(f, &err), 0) << err.Message();
}

TEST_F(HfaFile, DictionaryPlacementFollowsTheEightByteRule) {
    Report err;
    Ohfa_File *f = ohfa_FileCreate(Name("p.hfa").c_str(), 0, &err);
    ASSERT_NE(f, nullptr);
    const std::wstring base(kNewDictionary.begin(), kNewDictionary.end() - 1);
    FlushWithDictionary(f, base + L"{1:lvalue,}ExtraDesign,.");
    const uint32_t at = f->dictionaryPos;
    const uint32_t length = f->dictionaryLength;

    // Same length: rewritten in place.
    FlushWithDictionary(f, base + L"{1:lvalue,}ExtraDesigo,.");
    EXPECT_EQ(f->dictionaryPos, at);
    // Nine bytes shorter: in place, and the nine bytes after it are free.
    FlushWithDictionary(f, base + L"{1:lv,}ExtraD,.");
    EXPECT_EQ(f->dictionaryPos, at);
    EXPECT_EQ(f->dictionaryLength, length - 9);
    auto blocks = FreeBlocks(f);
    ASSERT_FALSE(blocks.empty());
    EXPECT_EQ(blocks.back(), std::make_pair(at + length - 9, 9u));
    // Three bytes shorter than its block of length - 9: moves, deliberately.
    FlushWithDictionary(f, base + L"{1:lv,}Ext,.");
    EXPECT_NE(f->dictionaryPos, at);
    EXPECT_EQ(ohfa_FileClose(f, &err), 0);

    f = ohfa_FileOpen(Name("p.hfa").c_str(), L"r", 0, &err);
    ASSERT_NE(f, nullptr);
    EXPECT_NE(omif_DictionarySearchByName(f->dictionary, L"Ext", &err), nullptr);
    EXPECT_EQ(orvik::hfa::CheckFreeList(f), 0);
    ohfa_FileClose(f, &err);
}

TEST_F(HfaFile, NotFlushedOnWriteKeepsTheDictionaryInMemory) {
    Report err;
    Ohfa_File *f = ohfa_FileCreateWithOptions(Name("n.hfa").c_str(), 0, &err,
                                              OHFA_OPTION_NOT_FLUSHED_ON_WRITE, 1, 0);
    ASSERT_NE(f, nullptr);
    EXPECT_EQ(ohfa_FileIsNotFlushedOnWrite(f), OMSC_TRUE);
    Omif_Design *d = SmallDesign(L"Later", 1);
    ohfa_FileDictionaryAddDesign(f, d, &err);
    omif_DesignDestroy(d, nullptr);
    const uint32_t at = f->dictionaryPos;
    EXPECT_EQ(ohfa_FileFlush(f, &err), 0);
    EXPECT_EQ(f->dictionaryPos, at);
    EXPECT_TRUE(f->dictionaryModified);
    EXPECT_EQ(ohfa_FileIsNotFlushedOnWrite(f), OMSC_TRUE);
    EXPECT_EQ(ohfa_FileChange(f, &err, OHFA_OPTION_NOT_FLUSHED_ON_WRITE, 0, 0), 0);
    EXPECT_EQ(ohfa_FileFlush(f, &err), 0);
    EXPECT_NE(f->dictionaryPos, at);
    ohfa_FileClose(f, &err);
}

TEST_F(HfaFile, RecordsAtPositionsRoundTripAndReadsStayInsideTheFile) {
    Report err;
    Ohfa_File *f = ohfa_FileCreate(Name("r.hfa").c_str(), 0, &err);
    ASSERT_NE(f, nullptr);
    const Omif_Design *data = ohfa_DesignFetch(L"Ohfa_Data", &err);
    ASSERT_NE(data, nullptr);
    const uint32_t at = ohfa_NextFreePos(f, 16, &err);
    ASSERT_NE(at, 0u);
    Ohfa_Data one{-5, 0xA0B0C0D0u}, two{7, 9};
    EXPECT_EQ(ohfa_FileHostDataWrite(f, at, data, 8, &one, &err), 8);
    EXPECT_EQ(ohfa_FileHostDataWrite(f, at + 8, data, 8, &two, &err), 8);
    Ohfa_Data back{};
    EXPECT_EQ(ohfa_FileHostDataRead(f, at, data, 8, &back, &err), 8);
    EXPECT_EQ(back.size, -5);
    EXPECT_EQ(back.ptr, 0xA0B0C0D0u);
    // -1 reads where the stream stands: right after the first record.
    EXPECT_EQ(ohfa_FileHostDataRead(f, -1, data, 8, &back, &err), 8);
    EXPECT_EQ(back.size, 7);
    unsigned char raw[8];
    EXPECT_EQ(ohfa_FileMIFDataRead(f, at, 8, raw, &err), 8);
    EXPECT_EQ(raw[0], 0xFB);
    EXPECT_EQ(raw[4], 0xD0);

    const long size = ohfa_FileSize(f, &err);
    EXPECT_EQ(ohfa_FileHostDataRead(f, size - 4, data, 8, &back, &err), -1);
    EXPECT_EQ(err.Message(), L"ofio_ReadSeq failed");
    EXPECT_EQ(ohfa_FileMIFDataRead(f, 0, 0x7FFFFFFF, raw, &err), -1);
    EXPECT_EQ(ohfa_FileHostDataWrite(f, at, data, 4, &one, &err), -1); // too small a size
    EXPECT_EQ(err.Message(), L"omif_ConvertToMIF failed");
    ohfa_FileClose(f, &err);
}

TEST_F(HfaFile, ReinitializeSeesAnotherWritersDictionary) {
    Report err;
    Ohfa_File *reader = ohfa_FileCreate(Name("ri.hfa").c_str(), 0, &err);
    ASSERT_NE(reader, nullptr);
    // Another writer: the same file changed behind the handle's back.
    ASSERT_EQ(ohfa_FileClose(reader, &err), 0);
    reader = ohfa_FileOpen(Name("ri.hfa").c_str(), L"r", 0, &err);
    std::string bytes = ReadRaw(Path("ri.hfa"));
    const std::string extra = "{1:lv,}Other,.";
    bytes.pop_back();
    bytes += extra.substr(0, extra.size());
    WriteRaw(Path("ri.hfa"), bytes);
    EXPECT_EQ(omif_DictionarySearchByName(reader->dictionary, L"Other", &err), nullptr);
    EXPECT_EQ(ohfa_FileReinitialize(reader, &err), 0) << err.Message();
    EXPECT_NE(omif_DictionarySearchByName(reader->dictionary, L"Other", &err), nullptr);
    EXPECT_EQ(ohfa_FileSize(reader, &err), static_cast<long>(bytes.size()));
    ohfa_FileClose(reader, &err);
}

TEST_F(HfaFile, SearchListOpenFindsTheFileOrSaysWhy) {
    Report err;
    ASSERT_EQ(ohfa_FileClose(ohfa_FileCreate(Name("s.hfa").c_str(), 0, &err), &err), 0);
    const std::wstring dir = Name("");
    ostr_StringList *list = ofio_SearchListCreateFromText((L"/nonexistent;" + dir).c_str(), &err);
    ASSERT_NE(list, nullptr);
    Ohfa_File *f = ohfa_SearchListFileOpen(list, L"s.hfa", L"r", 0, &err);
    ASSERT_NE(f, nullptr) << err.Message();
    ohfa_FileClose(f, &err);
    EXPECT_EQ(ohfa_SearchListFileOpen(list, L"none.hfa", L"r", 0, &err), nullptr);
    EXPECT_EQ(err.Message(), L"Error returned from ofio_Which");
    ostr_StringListDelete(list, nullptr);
}

TEST_F(HfaFile, CreateThatFailsMidwayLeavesNoFileBehind) {
    // Fails each allocation of a create in turn until one create succeeds.
    const std::string path = Path("fail.hfa");
    bool succeeded = false;
    for (long n = 1; n < 2000 && !succeeded; ++n) {
        Report err;
        Ohfa_File *f;
        {
            orvik::core::testing::ScopedAllocationFailure fail(n);
            f = ohfa_FileCreate(Name("fail.hfa").c_str(), 0, &err);
        }
        if (f) {
            succeeded = true;
            EXPECT_EQ(ohfa_FileClose(f, &err), 0);
            EXPECT_EQ(ohfa_IsHFAFile(Name("fail.hfa").c_str(), &err), 1);
        } else {
            EXPECT_TRUE(err) << n;
            EXPECT_FALSE(std::filesystem::exists(path)) << "allocation " << n;
            EXPECT_EQ(ohfa_FileIsOpen(Name("fail.hfa").c_str(), &err), OMSC_FALSE);
        }
    }
    EXPECT_TRUE(succeeded);
}

} // namespace
