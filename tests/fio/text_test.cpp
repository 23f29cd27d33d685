// Character, line and formatted access; the null device; the callback shapes.
#include <gtest/gtest.h>

#include <string>

#include <orvik/ofio.h>

#include "fio_test_util.hpp"

namespace {

// An encoder written against the callback types, as the text encoders of the library are.
long EncodeList(Ofio_WriterFunc write, void *context, const wchar_t *const *names, int n) {
    long count = 0;
    for (int i = 0; i < n; ++i) {
        if (write(context, L"%d:%s,", &count, i, names[i]) < 0) return -1;
    }
    if (write(context, L".", &count) < 0) return -1;
    return count;
}

std::string DrainReader(Ofio_ReaderFunc read, void *context) {
    std::string out;
    Oerr_ErrorReport *err = nullptr;
    for (int c; (c = read(context, &err)) >= 0;) out.push_back(static_cast<char>(c));
    EXPECT_EQ(err, nullptr);
    return out;
}

TEST(FioText, FprintfCountsCharactersAndWritesUtf8) {
    TempDir dir;
    std::wstring name = dir.Wide("out.txt");
    Oerr_ErrorReport *err = nullptr;
    Ofio_File *f = ofio_FileOpen(name.c_str(), L"w", &err);
    ASSERT_NE(f, nullptr);
    long count = 100;
    EXPECT_EQ(ofio_Fprintf(f, L"%d %.16g (%s)\n", &count, 42, 1.0 / 3, L"caf\u00e9"), 29);
    EXPECT_EQ(count, 129);
    EXPECT_EQ(ofio_Fprintf(f, L"%s|%S", nullptr, L"%d%s", "\xe2\x82\xac"), 6);
    EXPECT_EQ(ofio_FileClose(f, &err), 0);
    EXPECT_EQ(ReadRaw(dir.Narrow("out.txt")),
              "42 0.3333333333333333 (caf\xc3\xa9)\n%d%s|\xe2\x82\xac");
}

TEST(FioText, NullDeviceMeasuresWhatAnEncoderWrites) {
    const wchar_t *names[] = {L"alpha", L"\u00e9t\u00e9", L"b"};
    Oerr_ErrorReport *err = nullptr;
    Ofio_File *null = ofio_NullDeviceOpen(&err);
    ASSERT_NE(null, nullptr);
    long length = EncodeList(ofio_Fprintf, null, names, 3);
    EXPECT_EQ(length, 8 + 6 + 4 + 1);
    // The device counts bytes; the counter counts characters ("été" is 5 bytes, 3 chars).
    EXPECT_EQ(ofio_Tell(null, &err), 21);
    EXPECT_EQ(ofio_FileSizeGetByHandle(null, &err), 21);
    EXPECT_EQ(ofio_Fgetc(null, &err), OFIO_EOF);
    char c;
    EXPECT_EQ(ofio_ReadSeq(null, &c, 1, &err), -1);
    ASSERT_NE(err, nullptr);
    EXPECT_EQ(err->number, 3);
    oerr_DeleteErrorReportEx(&err);
    EXPECT_EQ(ofio_FileClose(null, &err), 0);

    TempDir dir;
    std::wstring name = dir.Wide("list.txt");
    Ofio_File *f = ofio_FileOpen(name.c_str(), L"w+b", &err);
    ASSERT_NE(f, nullptr);
    EXPECT_EQ(EncodeList(ofio_Fprintf, f, names, 3), length);
    ASSERT_EQ(ofio_Seek(f, 0, OFIO_SEEK_SET, &err), 0);
    EXPECT_EQ(DrainReader(ofio_FileReaderFunc, f), "0:alpha,1:\xc3\xa9t\xc3\xa9,2:b,.");
    EXPECT_EQ(ofio_FileClose(f, &err), 0);
}

TEST(FioText, FailedFprintfKeepsItsReportInTheStream) {
    TempDir dir;
    WriteRaw(dir.Narrow("ro"), "x");
    std::wstring name = dir.Wide("ro");
    Oerr_ErrorReport *err = nullptr;
    Ofio_File *f = ofio_FileOpen(name.c_str(), L"rb", &err);
    ASSERT_NE(f, nullptr);
    EXPECT_EQ(ofio_FileErrorTake(f), nullptr);
    long count = 7;
    EXPECT_LT(ofio_Fprintf(f, L"%d", &count, 12345), 0);
    EXPECT_EQ(count, 7);
    Oerr_ErrorReport *kept = ofio_FileErrorTake(f);
    ExpectReport(kept, L"ofio_Fprintf", 4, L"File \"" + name + L"\" is open read-only");
    EXPECT_EQ(ofio_FileErrorTake(f), nullptr);
    // A report left in the stream is released with it.
    EXPECT_LT(ofio_Fprintf(f, nullptr, &count), 0);
    EXPECT_EQ(ofio_FileClose(f, &err), 0);
    EXPECT_LT(ofio_Fprintf(nullptr, L"x", &count), 0);
}

TEST(FioText, FgetcReadsBytesAndEndsWithoutReport) {
    TempDir dir;
    WriteRaw(dir.Narrow("c"), std::string("a\xff\0z", 4));
    std::wstring name = dir.Wide("c");
    Oerr_ErrorReport *err = nullptr;
    Ofio_File *f = ofio_FileOpen(name.c_str(), L"r", &err);
    ASSERT_NE(f, nullptr);
    EXPECT_EQ(ofio_Fgetc(f, &err), 'a');
    EXPECT_EQ(ofio_Fgetc(f, &err), 0xff);
    EXPECT_EQ(ofio_Fgetc(f, &err), 0);
    EXPECT_EQ(ofio_Tell(f, &err), 3);
    EXPECT_EQ(ofio_Fgetc(f, &err), 'z');
    EXPECT_EQ(ofio_Fgetc(f, &err), OFIO_EOF);
    EXPECT_EQ(err, nullptr);
    EXPECT_EQ(ofio_Fgetc(f, &err), OFIO_EOF);
    EXPECT_EQ(ofio_Tell(f, &err), 4);
    EXPECT_EQ(ofio_FileClose(f, &err), 0);
    EXPECT_EQ(ofio_Fgetc(nullptr, &err), OFIO_ERROR);
    ExpectReport(err, L"ofio_Fgetc", 1, L"Invalid file handle");
}

TEST(FioText, FgetsSplitsLinesAndDecodesUtf8) {
    TempDir dir;
    WriteRaw(dir.Narrow("lines"), "first line\n\xc3\xa9\xe2\x82\xac\xf0\x9f\x98\x80\n\nlast");
    std::wstring name = dir.Wide("lines");
    Oerr_ErrorReport *err = nullptr;
    Ofio_File *f = ofio_FileOpen(name.c_str(), L"r", &err);
    ASSERT_NE(f, nullptr);
    wchar_t buf[64];
    wchar_t small[6];
    EXPECT_EQ(ofio_Fgets(small, 6, f, &err), small);
    EXPECT_STREQ(small, L"first");
    EXPECT_EQ(ofio_Fgets(buf, 64, f, &err), buf);
    EXPECT_STREQ(buf, L" line\n");
    EXPECT_EQ(ofio_Fgets(buf, 64, f, &err), buf);
    EXPECT_STREQ(buf, L"\u00e9\u20ac\U0001F600\n");
    EXPECT_EQ(ofio_Fgets(buf, 64, f, &err), buf);
    EXPECT_STREQ(buf, L"\n");
    EXPECT_EQ(ofio_Fgets(buf, 64, f, &err), buf);
    EXPECT_STREQ(buf, L"last");
    EXPECT_EQ(ofio_Fgets(buf, 64, f, &err), nullptr);
    EXPECT_EQ(err, nullptr);
    EXPECT_EQ(ofio_Fgets(buf, 0, f, &err), nullptr);
    ExpectReport(err, L"ofio_Fgets", 1, L"Invalid line buffer of 0 characters");
    EXPECT_EQ(ofio_FileClose(f, &err), 0);
}

TEST(FioText, FgetsRejectsInvalidUtf8AtItsOffset) {
    TempDir dir;
    for (const std::string &bad : {std::string("ok\xc3("), std::string("ok\xed\xa0\x80"),
                                   std::string("ok\xc0\xaf"), std::string("ok\xe2\x82")}) {
        WriteRaw(dir.Narrow("bad"), bad);
        std::wstring name = dir.Wide("bad");
        Oerr_ErrorReport *err = nullptr;
        Ofio_File *f = ofio_FileOpen(name.c_str(), L"r", &err);
        ASSERT_NE(f, nullptr);
        wchar_t buf[16];
        EXPECT_EQ(ofio_Fgets(buf, 16, f, &err), nullptr);
        ExpectReport(err, L"ofio_Fgets", 6,
                     L"Invalid UTF-8 text in file \"" + name + L"\" at offset 2");
        EXPECT_EQ(ofio_Tell(f, &err), 2);
        EXPECT_EQ(ofio_FileClose(f, &err), 0);
    }
}

// With room for the end mark only, a reading loop must still end at the end of the file.
TEST(FioText, FgetsWithCountOneReportsTheEnd) {
    TempDir dir;
    WriteRaw(dir.Narrow("empty"), "");
    WriteRaw(dir.Narrow("ab"), "ab");
    Oerr_ErrorReport *err = nullptr;
    wchar_t b[1] = {L'x'};
    Ofio_File *f = ofio_FileOpen(dir.Wide("empty").c_str(), L"r", &err);
    ASSERT_NE(f, nullptr);
    EXPECT_EQ(ofio_Fgets(b, 1, f, &err), nullptr);
    EXPECT_EQ(err, nullptr);
    EXPECT_EQ(ofio_FileClose(f, &err), 0);
    f = ofio_FileOpen(dir.Wide("ab").c_str(), L"r", &err);
    ASSERT_NE(f, nullptr);
    EXPECT_EQ(ofio_Fgets(b, 1, f, &err), b); // not at the end yet: nothing read
    EXPECT_EQ(b[0], L'\0');
    EXPECT_EQ(ofio_Tell(f, &err), 0);
    EXPECT_EQ(ofio_Fgetc(f, &err), 'a');
    EXPECT_EQ(ofio_Fgetc(f, &err), 'b');
    EXPECT_EQ(ofio_Fgets(b, 1, f, &err), nullptr);
    EXPECT_EQ(err, nullptr);
    EXPECT_EQ(ofio_FileClose(f, &err), 0);
}

} // namespace
