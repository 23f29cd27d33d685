// The text form through the file layer: streams, writer and reader callbacks, the null
// device, and the reports of failing callbacks.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <orvik/ofio.h>
#include <orvik/omif.h>

#include "mif_test_util.hpp"
#include "portable.hpp"

using namespace mif_test;

namespace {

const wchar_t kText[] = L"{1:oB,b,1:e2:p,q,k,1:x{1:lv,}I,i,}A,{1:lv,}B,.";

class TempFile {
  public:
    TempFile()
        : m_folder(orvik_test::MakeTempFolder("orvik_mif_")), m_path(m_folder + "/dictionary") {
        std::ofstream(m_path, std::ios::binary);
        m_wide.assign(m_path.begin(), m_path.end());
    }
    ~TempFile() {
        std::error_code ec;
        std::filesystem::remove_all(m_folder, ec);
    }
    const wchar_t *Name() const { return m_wide.c_str(); }

  private:
    std::string m_folder;
    std::string m_path;
    std::wstring m_wide;
};

struct Collected {
    std::wstring text;
    int calls = 0;
    int failAt = -1;
};

// Writer callback into memory; fails on the call numbered failAt.
int CollectingWriter(void *context, const wchar_t *format, long *count, ...) {
    auto *c = static_cast<Collected *>(context);
    if (c->calls++ == c->failAt) return -1;
    va_list args;
    va_start(args, count);
    const char *text = va_arg(args, const char *);
    va_end(args);
    EXPECT_STREQ(format, L"%S");
    const std::string s(text);
    c->text.append(s.begin(), s.end());
    if (count) *count += static_cast<long>(s.size());
    return static_cast<int>(s.size());
}

struct Feed {
    std::string text;
    size_t at = 0;
    size_t failAt = std::string::npos;
};

int FeedingReader(void *context, Oerr_ErrorReport **err) {
    auto *f = static_cast<Feed *>(context);
    if (f->at == f->failAt) {
        *err = oerr_CreateErrorReport(L"disk", 4, 2, nullptr, L"Sector unreadable");
        return OFIO_ERROR;
    }
    if (f->at >= f->text.size()) return OFIO_EOF;
    return static_cast<unsigned char>(f->text[f->at++]);
}

} // namespace

TEST(DictionaryFile, StreamRoundTripStopsAtTheFinalDot) {
    Report err;
    DictionaryPtr d(omif_DictionaryDecodeFromString(kText, &err));
    TempFile tmp;
    Ofio_File *f = ofio_FileOpen(tmp.Name(), L"w+b", &err);
    ASSERT_NE(f, nullptr);
    const long written = omif_EncodeDictionary(f, d.get(), &err);
    EXPECT_EQ(written, static_cast<long>(std::wcslen(kText)));
    EXPECT_EQ(omif_DictionaryEncodedLength(d.get(), &err), written);
    ASSERT_EQ(ofio_WriteSeq(f, "tail", 4, &err), 4);
    ASSERT_EQ(ofio_Seek(f, 0, OFIO_SEEK_SET, &err), 0);
    DictionaryPtr back(omif_DecodeDictionary(f, nullptr, &err));
    ASSERT_TRUE(back) << err.Innermost();
    EXPECT_EQ(Encode(back.get()), kText);
    EXPECT_EQ(ofio_Tell(f, &err), written); // nothing after the "." was read
    EXPECT_EQ(ofio_FileClose(f, &err), 0);
}

TEST(DictionaryFile, DecodingIntoADictionaryAddsAndUndoes) {
    Report err;
    DictionaryPtr d(omif_DictionaryDecodeFromString(L"{1:dv,}B,{1:lw,}Z,.", &err));
    Feed ok{"{1:oB,b,}A,{1:lv,}B,."};
    EXPECT_EQ(omif_DictionaryDecodeWithReader(FeedingReader, &ok, d.get(), &err), d.get());
    // B was there already and stays as it was; A refers to it.
    EXPECT_EQ(Encode(d.get()), L"{1:dv,}B,{1:lw,}Z,{1:oB,b,}A,.");
    EXPECT_EQ(ItemNamed(d->designs->next->next, L"b")->design, d->designs);
    Feed bad{"{1:lq,}Q,{1:oMissing,m,}R,."};
    EXPECT_EQ(omif_DictionaryDecodeWithReader(FeedingReader, &bad, d.get(), &err), nullptr);
    EXPECT_EQ(err.Chain().front(),
              L"omif_DictionaryDecodeWithReader: omif_DictionaryDecode failed");
    EXPECT_EQ(Encode(d.get()), L"{1:dv,}B,{1:lw,}Z,{1:oB,b,}A,.");
    EXPECT_EQ(d->count, 3);
    EXPECT_EQ(omif_DictionarySearchByName(d.get(), L"Q", &err), nullptr);
}

TEST(DictionaryFile, ReaderFailureCarriesTheReadersReport) {
    Feed f{"{1:lvalue,}D,.", 0, 5};
    Report err;
    EXPECT_EQ(omif_DictionaryDecodeWithReader(FeedingReader, &f, nullptr, &err), nullptr);
    EXPECT_EQ(err.Chain(), (std::vector<std::wstring>{
                               L"omif_DictionaryDecodeWithReader: omif_DictionaryDecode failed",
                               L"omif_DictionaryDecode: omif_DecodeDesign failed",
                               L"omif_DecodeDesign: omif_DecodeItem failed",
                               L"omif_DecodeItem: omif_DecodeName failed",
                               L"omif_DecodeName: readFunc failed", L"disk: Sector unreadable"}));
}

TEST(DictionaryFile, WriterGetsTheTextAsAnArgumentAndItsFailureIsReported) {
    Report err;
    DictionaryPtr d(omif_DictionaryDecodeFromString(kText, &err));
    Collected all;
    EXPECT_EQ(omif_DictionaryEncodeWithWriter(CollectingWriter, &all, d.get(), &err),
              static_cast<long>(std::wcslen(kText)));
    EXPECT_EQ(all.text, kText);
    EXPECT_EQ(all.calls, 3); // one piece per design, then "."

    Collected failing;
    failing.failAt = 1;
    EXPECT_EQ(omif_DictionaryEncodeWithWriter(CollectingWriter, &failing, d.get(), &err), -1);
    EXPECT_EQ(err.Chain(),
              (std::vector<std::wstring>{L"omif_DictionaryEncodeWithWriter: DictionaryEncode fail",
                                         L"omif_DictionaryEncode: omif_EncodeDesign fail",
                                         L"omif_EncodeDesign: writeFunc failed"}));
    Collected last;
    last.failAt = 2;
    EXPECT_EQ(omif_DictionaryEncodeWithWriter(CollectingWriter, &last, d.get(), &err), -1);
    EXPECT_EQ(err.Chain().back(), L"omif_DictionaryEncode: writeFunc failed");
}

TEST(DictionaryFile, StreamWriteFailureKeepsTheStreamsReport) {
    Report err;
    DictionaryPtr d(omif_DictionaryDecodeFromString(kText, &err));
    TempFile tmp;
    {
        Ofio_File *w = ofio_FileOpen(tmp.Name(), L"w", &err);
        ofio_FileClose(w, &err);
    }
    Ofio_File *ro = ofio_FileOpen(tmp.Name(), L"r", &err);
    ASSERT_NE(ro, nullptr);
    EXPECT_EQ(omif_EncodeDictionary(ro, d.get(), &err), -1);
    const auto chain = err.Chain();
    ASSERT_GE(chain.size(), 4u);
    EXPECT_EQ(chain[0], L"omif_EncodeDictionary: DictionaryEncode fail");
    EXPECT_EQ(chain[2], L"omif_EncodeDesign: writeFunc failed");
    EXPECT_NE(err.get()->next->next->next, nullptr); // the stream's own report follows
    ofio_FileClose(ro, nullptr);
    EXPECT_EQ(omif_EncodeDictionary(nullptr, d.get(), &err), -1);
    EXPECT_EQ(err.Innermost(), L"omif_EncodeDictionary: Args");
    EXPECT_EQ(omif_DecodeDictionary(nullptr, nullptr, &err), nullptr);
    EXPECT_EQ(err.Innermost(), L"omif_DecodeDictionary: Args");
}
