// Memory mapping: contents, stores through the view, renewal after growth, read-only views,
// refusals; the local-file-system query.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include <orvik/ofio.h>

#include "fio_test_util.hpp"

namespace {

TEST(FioMapping, MapShowsBufferedWritesAndStoresReachTheFile) {
    TempDir dir;
    std::wstring name = dir.Wide("m.bin");
    Oerr_ErrorReport *err = nullptr;
    Ofio_File *f = ofio_FileOpen(name.c_str(), L"w+b", &err);
    ASSERT_NE(f, nullptr);
    std::string text(5000, '.');
    for (size_t i = 0; i < text.size(); i += 100) text[i] = static_cast<char>('A' + i / 100 % 26);
    ASSERT_EQ(ofio_WriteSeq(f, text.data(), static_cast<long>(text.size()), &err), 5000);
    int64_t size = 0;
    auto *view = static_cast<char *>(ofio_FileMap(f, &size, &err));
    ASSERT_NE(view, nullptr);
    EXPECT_EQ(size, 5000);
    EXPECT_EQ(std::string(view, 5000), text);

    // Sequential stream reads around stores into the view never see stale bytes.
    char back[6];
    ASSERT_EQ(ofio_Seek(f, 4, OFIO_SEEK_SET, &err), 0);
    EXPECT_EQ(ofio_ReadSeq(f, back, 6, &err), 6);
    std::memcpy(view + 10, "mapped", 6);
    EXPECT_EQ(ofio_ReadSeq(f, back, 6, &err), 6);
    EXPECT_EQ(std::string(back, 6), "mapped");
    view[16] = '!';
    EXPECT_EQ(ofio_Fgetc(f, &err), '!');

    // Grow by one word far behind the end, as the space allocator does, then renew.
    uint32_t word = 0xCAFEF00D;
    ASSERT_EQ(ofio_FileWriteDirect(f, 12284, &word, 4, &err), 4);
    view = static_cast<char *>(ofio_FileRemap(f, &size, &err));
    ASSERT_NE(view, nullptr);
    EXPECT_EQ(size, 12288);
    EXPECT_EQ(std::memcmp(view + 12284, &word, 4), 0);
    EXPECT_EQ(std::string(view + 10, 6), "mapped");
    EXPECT_EQ(view[6000], '\0');
    view[12000] = 'Z';
    EXPECT_EQ(ofio_FileUnmap(f, &err), 0);
    EXPECT_EQ(ofio_FileUnmap(f, &err), 0);
    EXPECT_EQ(ofio_FileClose(f, &err), 0);

    std::string raw = ReadRaw(dir.Narrow("m.bin"));
    ASSERT_EQ(raw.size(), 12288u);
    EXPECT_EQ(raw.substr(10, 7), "mapped!");
    EXPECT_EQ(raw[12000], 'Z');
    EXPECT_EQ(raw.substr(0, 10), text.substr(0, 10));
    EXPECT_EQ(raw.substr(17, 5000 - 17), text.substr(17));
}

TEST(FioMapping, ReadOnlyViewsAndRefusals) {
    TempDir dir;
    WriteRaw(dir.Narrow("ro"), "read only data");
    WriteRaw(dir.Narrow("empty"), "");
    std::wstring ro = dir.Wide("ro"), empty = dir.Wide("empty");
    Oerr_ErrorReport *err = nullptr;
    Ofio_File *f = ofio_FileOpen(ro.c_str(), L"rb", &err);
    ASSERT_NE(f, nullptr);
    EXPECT_EQ(ofio_FileRemap(f, nullptr, &err), nullptr);
    ExpectReport(err, L"ofio_FileRemap", 1, L"File \"" + ro + L"\" is not mapped");
    int64_t size = 0;
    auto *view = static_cast<const char *>(ofio_FileMap(f, &size, &err));
    ASSERT_NE(view, nullptr);
    EXPECT_EQ(std::string(view, static_cast<size_t>(size)), "read only data");
    // Mapping again renews the view.
    view = static_cast<const char *>(ofio_FileMap(f, &size, &err));
    ASSERT_NE(view, nullptr);
    EXPECT_EQ(size, 14);
    EXPECT_EQ(ofio_FileSystemIsLocal(f, &err), 1);
    EXPECT_EQ(ofio_FileClose(f, &err), 0); // releases the view
    EXPECT_EQ(err, nullptr);

    f = ofio_FileOpen(empty.c_str(), L"r+b", &err);
    ASSERT_NE(f, nullptr);
    EXPECT_EQ(ofio_FileMap(f, &size, &err), nullptr);
    ExpectReport(err, L"ofio_FileMap", 1, L"Cannot map the empty file \"" + empty + L"\"");
    EXPECT_EQ(ofio_FileClose(f, &err), 0);

    Ofio_File *null = ofio_NullDeviceOpen(&err);
    EXPECT_EQ(ofio_FileMap(null, &size, &err), nullptr);
    ExpectReport(err, L"ofio_FileMap", 1, L"The null device cannot be mapped");
    EXPECT_EQ(ofio_FileClose(null, &err), 0);
    EXPECT_EQ(ofio_FileSystemIsLocal(nullptr, &err), -1);
    ExpectReport(err, L"ofio_FileSystemIsLocal", 1, L"Invalid file handle");
}

} // namespace
