// Streams: modes, sequential and positioned transfers, buffering against a model of the
// file, short reads, read-only refusal, sizes and system failures.
#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <vector>

#include <orvik/ofio.h>

#include "core/heap_seam.hpp"
#include "fio/stream_handle.hpp"
#include "fio_test_util.hpp"

namespace {

TEST(FioStream, OpenReportsModeNameAndSystemReason) {
    TempDir dir;
    Oerr_ErrorReport *err = nullptr;
    std::wstring missing = dir.Wide("missing.bin");
    EXPECT_EQ(ofio_FileOpen(missing.c_str(), L"rb", &err), nullptr);
    ExpectReport(err, L"ofio_FileOpen", 2,
                 L"Cannot open file \"" + missing + L"\": " +
                     SystemReason(L"No such file or directory"));

    EXPECT_EQ(ofio_FileOpen(missing.c_str(), L"q", &err), nullptr);
    ExpectReport(err, L"ofio_FileOpen", 1, L"Invalid mode \"q\" for file \"" + missing + L"\"");
    EXPECT_EQ(ofio_FileOpen(missing.c_str(), L"r++", &err), nullptr);
    ExpectReport(err, L"ofio_FileOpen", 1, L"Invalid mode \"r++\" for file \"" + missing + L"\"");
    EXPECT_EQ(ofio_FileOpen(L"", L"r", &err), nullptr);
    ExpectReport(err, L"ofio_FileOpen", 1, L"Missing file name");

    std::wstring folder = dir.Wide("");
    EXPECT_EQ(ofio_FileOpen(folder.c_str(), L"r", &err), nullptr);
    ExpectReport(err, L"ofio_FileOpen", 2,
                 L"Cannot open file \"" + folder + L"\": " + SystemReason(L"Is a directory"));

    WriteRaw(dir.Narrow("exists"), "x");
    std::wstring exists = dir.Wide("exists");
    EXPECT_EQ(ofio_FileOpen(exists.c_str(), L"wx", &err), nullptr);
    ExpectReport(err, L"ofio_FileOpen", 2,
                 L"Cannot open file \"" + exists + L"\": " + SystemReason(L"File exists"));
}

TEST(FioStream, BackslashesAreSeparators) {
    TempDir dir;
    std::wstring name = dir.Wide("a.bin");
    for (auto &c : name) {
        if (c == L'/') c = L'\\';
    }
    Oerr_ErrorReport *err = nullptr;
    Ofio_File *f = ofio_FileOpen(name.c_str(), L"wb", &err);
    ASSERT_NE(f, nullptr);
    EXPECT_EQ(ofio_WriteSeq(f, "abc", 3, &err), 3);
    EXPECT_EQ(ofio_FileClose(f, &err), 0);
    EXPECT_EQ(ReadRaw(dir.Narrow("a.bin")), "abc");
}

TEST(FioStream, SequentialRoundTripAndPositions) {
    TempDir dir;
    std::wstring name = dir.Wide("seq.bin");
    Oerr_ErrorReport *err = nullptr;
    Ofio_File *f = ofio_FileOpen(name.c_str(), L"w+b", &err);
    ASSERT_NE(f, nullptr);
    EXPECT_EQ(ofio_FileIsReadOnly(f), OMSC_FALSE);
    EXPECT_STREQ(ofio_FileNameGet(f), name.c_str());

    std::vector<unsigned char> big(200000);
    for (size_t i = 0; i < big.size(); ++i) big[i] = static_cast<unsigned char>(i * 7 + 3);
    EXPECT_EQ(ofio_WriteSeq(f, "HEAD", 4, &err), 4);
    EXPECT_EQ(ofio_FileWriteSequential(f, big.data(), static_cast<long>(big.size()), &err),
              static_cast<long>(big.size()));
    EXPECT_EQ(ofio_WriteSeq(f, "TAIL", 4, &err), 4);
    EXPECT_EQ(ofio_Tell(f, &err), 200008);
    EXPECT_EQ(ofio_FileSizeGetByHandle(f, &err), 200008);

    ASSERT_EQ(ofio_Seek(f, 0, OFIO_SEEK_SET, &err), 0);
    char head[4];
    std::vector<unsigned char> back(big.size());
    EXPECT_EQ(ofio_ReadSeq(f, head, 4, &err), 4);
    EXPECT_EQ(std::memcmp(head, "HEAD", 4), 0);
    EXPECT_EQ(ofio_ReadSeq(f, back.data(), static_cast<long>(back.size()), &err),
              static_cast<long>(back.size()));
    EXPECT_EQ(back, big);
    ASSERT_EQ(ofio_Seek(f, -4, OFIO_SEEK_END, &err), 0);
    EXPECT_EQ(ofio_ReadSeq(f, head, 4, &err), 4);
    EXPECT_EQ(std::memcmp(head, "TAIL", 4), 0);
    ASSERT_EQ(ofio_Seek(f, -8, OFIO_SEEK_CUR, &err), 0);
    EXPECT_EQ(ofio_Tell(f, &err), 200000);
    EXPECT_EQ(ofio_ReadSeq(f, nullptr, 0, &err), 0);
    EXPECT_EQ(ofio_FileClose(f, &err), 0);
    EXPECT_EQ(err, nullptr);

    std::string raw = ReadRaw(dir.Narrow("seq.bin"));
    ASSERT_EQ(raw.size(), 200008u);
    EXPECT_EQ(raw.substr(0, 4), "HEAD");
    EXPECT_EQ(std::memcmp(raw.data() + 4, big.data(), big.size()), 0);
    EXPECT_EQ(raw.substr(200004), "TAIL");
    EXPECT_EQ(ofio_FileSizeGetByName(name.c_str(), &err), 200008);
}

TEST(FioStream, DirectTransfersLeavePositionAndGrowFile) {
    TempDir dir;
    std::wstring name = dir.Wide("direct.bin");
    Oerr_ErrorReport *err = nullptr;
    Ofio_File *f = ofio_FileOpen(name.c_str(), L"w+b", &err);
    ASSERT_NE(f, nullptr);
    EXPECT_EQ(ofio_WriteSeq(f, "0123456789", 10, &err), 10);
    EXPECT_EQ(ofio_FileWriteDirect(f, 4, "ab", 2, &err), 2);
    EXPECT_EQ(ofio_Tell(f, &err), 10);
    // Growing by one word at a distance, as an allocator extends a file.
    uint32_t word = 0x11223344;
    EXPECT_EQ(ofio_FileWriteDirect(f, 96, &word, 4, &err), 4);
    EXPECT_EQ(ofio_FileSizeGetByHandle(f, &err), 100);
    EXPECT_EQ(ofio_Tell(f, &err), 10);
    char got[6];
    EXPECT_EQ(ofio_FileReadDirect(f, 2, got, 6, &err), 6);
    EXPECT_EQ(std::string(got, 6), "23ab67");
    EXPECT_EQ(ofio_Tell(f, &err), 10);
    EXPECT_EQ(ofio_WriteSeq(f, "Z", 1, &err), 1);
    EXPECT_EQ(ofio_FileClose(f, &err), 0);
    std::string raw = ReadRaw(dir.Narrow("direct.bin"));
    ASSERT_EQ(raw.size(), 100u);
    EXPECT_EQ(raw.substr(0, 11), "0123ab6789Z");
    EXPECT_EQ(raw.substr(11, 85), std::string(85, '\0'));
    EXPECT_EQ(std::memcmp(raw.data() + 96, &word, 4), 0);

    EXPECT_EQ(ofio_FileWriteDirect(nullptr, 0, "x", 1, &err), -1);
    ExpectReport(err, L"ofio_FileWriteDirect", 1, L"Invalid file handle");
}

TEST(FioStream, SeekBeyondEndLeavesAHoleAndNegativeSeekFails) {
    TempDir dir;
    std::wstring name = dir.Wide("hole.bin");
    Oerr_ErrorReport *err = nullptr;
    Ofio_File *f = ofio_FileOpen(name.c_str(), L"w+", &err);
    ASSERT_NE(f, nullptr);
    ASSERT_EQ(ofio_Seek(f, 5000, OFIO_SEEK_SET, &err), 0);
    EXPECT_EQ(ofio_FileSizeGetByHandle(f, &err), 0);
    EXPECT_EQ(ofio_WriteSeq(f, "end", 3, &err), 3);
    EXPECT_EQ(ofio_FileSizeGetByHandle(f, &err), 5003);
    std::vector<char> zeros(5000, 'x');
    EXPECT_EQ(ofio_FileReadDirect(f, 0, zeros.data(), 5000, &err), 5000);
    EXPECT_EQ(zeros, std::vector<char>(5000, '\0'));

    EXPECT_EQ(ofio_Seek(f, -1, OFIO_SEEK_SET, &err), -1);
    ExpectReport(err, L"ofio_Seek", 1,
                 L"Invalid seek to offset -1 from 0 in file \"" + name + L"\"");
    EXPECT_EQ(ofio_Seek(f, -5004, OFIO_SEEK_END, &err), -1);
    ExpectReport(err, L"ofio_Seek", 1,
                 L"Invalid seek to offset -5004 from 5003 in file \"" + name + L"\"");
    EXPECT_EQ(ofio_Seek(f, 0, 7, &err), -1);
    ExpectReport(err, L"ofio_Seek", 1, L"Invalid seek origin 7");
    EXPECT_EQ(ofio_Tell(f, &err), 5003);
    // The largest position is reachable, but nothing can be transferred there.
    ASSERT_EQ(ofio_Seek(f, INT64_MAX - 2, OFIO_SEEK_SET, &err), 0);
    EXPECT_EQ(ofio_WriteSeq(f, "abc", 3, &err), -1);
    ExpectReport(err, L"ofio_WriteSeq", 1,
                 L"3 bytes at offset 9223372036854775805 lie beyond the largest file offset "
                 L"in file \"" +
                     name + L"\"");
    EXPECT_EQ(ofio_Seek(f, 10, OFIO_SEEK_CUR, &err), -1);
    ASSERT_NE(err, nullptr);
    oerr_DeleteErrorReportEx(&err);
    EXPECT_EQ(ofio_FileClose(f, &err), 0);
}

TEST(FioStream, ShortReadIsAnErrorAndKeepsPosition) {
    TempDir dir;
    WriteRaw(dir.Narrow("ten"), "0123456789");
    std::wstring name = dir.Wide("ten");
    Oerr_ErrorReport *err = nullptr;
    Ofio_File *f = ofio_FileOpen(name.c_str(), L"rb", &err);
    ASSERT_NE(f, nullptr);
    char buf[16];
    std::memset(buf, '#', sizeof buf);
    ASSERT_EQ(ofio_Seek(f, 4, OFIO_SEEK_SET, &err), 0);
    EXPECT_EQ(ofio_ReadSeq(f, buf, 16, &err), -1);
    ExpectReport(err, L"ofio_ReadSeq", 3,
                 L"Unexpected end of file \"" + name + L"\": 6 of 16 bytes read at offset 4");
    EXPECT_EQ(ofio_Tell(f, &err), 4);
    EXPECT_EQ(ofio_ReadSeq(f, buf, 6, &err), 6);
    EXPECT_EQ(std::string(buf, 6), "456789");
    EXPECT_EQ(ofio_ReadSeq(f, buf, 1, &err), -1);
    ExpectReport(err, L"ofio_ReadSeq", 3,
                 L"Unexpected end of file \"" + name + L"\": 0 of 1 bytes read at offset 10");
    EXPECT_EQ(ofio_FileReadDirect(f, 100, buf, 2, &err), -1);
    ExpectReport(err, L"ofio_FileReadDirect", 3,
                 L"Unexpected end of file \"" + name + L"\": 0 of 2 bytes read at offset 100");
    EXPECT_EQ(ofio_ReadSeq(f, buf, -1, &err), -1);
    ExpectReport(err, L"ofio_ReadSeq", 1, L"Invalid buffer or byte count -1");
    EXPECT_EQ(ofio_FileClose(f, &err), 0);
}

TEST(FioStream, AccessIsCheckedByMode) {
    TempDir dir;
    WriteRaw(dir.Narrow("f"), "abc");
    std::wstring name = dir.Wide("f");
    Oerr_ErrorReport *err = nullptr;
    for (const wchar_t *mode : {L"r", L"rb"}) {
        Ofio_File *f = ofio_FileOpen(name.c_str(), mode, &err);
        ASSERT_NE(f, nullptr);
        EXPECT_EQ(ofio_FileIsReadOnly(f), OMSC_TRUE);
        EXPECT_EQ(ofio_WriteSeq(f, "x", 1, &err), -1);
        ExpectReport(err, L"ofio_WriteSeq", 4, L"File \"" + name + L"\" is open read-only");
        EXPECT_EQ(ofio_FileWriteDirect(f, 0, "x", 1, &err), -1);
        ExpectReport(err, L"ofio_FileWriteDirect", 4, L"File \"" + name + L"\" is open read-only");
        EXPECT_EQ(ofio_FileClose(f, &err), 0);
    }
    for (const wchar_t *mode : {L"r+", L"r+b", L"rb+"}) {
        Ofio_File *f = ofio_FileOpen(name.c_str(), mode, &err);
        ASSERT_NE(f, nullptr);
        EXPECT_EQ(ofio_FileIsReadOnly(f), OMSC_FALSE);
        EXPECT_EQ(ofio_WriteSeq(f, "X", 1, &err), 1);
        EXPECT_EQ(ofio_FileClose(f, &err), 0);
    }
    EXPECT_EQ(ReadRaw(dir.Narrow("f")), "Xbc");
    Ofio_File *w = ofio_FileOpen(name.c_str(), L"w", &err);
    ASSERT_NE(w, nullptr);
    char c;
    EXPECT_EQ(ofio_ReadSeq(w, &c, 1, &err), -1);
    ExpectReport(err, L"ofio_ReadSeq", 4, L"File \"" + name + L"\" is not open for reading");
    EXPECT_EQ(ofio_Fgetc(w, &err), OFIO_ERROR);
    ExpectReport(err, L"ofio_Fgetc", 4, L"File \"" + name + L"\" is not open for reading");
    EXPECT_EQ(ofio_FileClose(w, &err), 0);
    EXPECT_EQ(ReadRaw(dir.Narrow("f")), "");
}

TEST(FioStream, AppendWritesAtTheEnd) {
    TempDir dir;
    WriteRaw(dir.Narrow("log"), "one\n");
    std::wstring name = dir.Wide("log");
    Oerr_ErrorReport *err = nullptr;
    Ofio_File *f = ofio_FileOpen(name.c_str(), L"a+", &err);
    ASSERT_NE(f, nullptr);
    ASSERT_EQ(ofio_Seek(f, 0, OFIO_SEEK_SET, &err), 0);
    EXPECT_EQ(ofio_WriteSeq(f, "two\n", 4, &err), 4);
    EXPECT_EQ(ofio_Tell(f, &err), 8);
    ASSERT_EQ(ofio_Seek(f, 0, OFIO_SEEK_SET, &err), 0);
    char buf[4];
    EXPECT_EQ(ofio_ReadSeq(f, buf, 4, &err), 4);
    EXPECT_EQ(std::string(buf, 4), "one\n");
    EXPECT_EQ(ofio_FileClose(f, &err), 0);
    EXPECT_EQ(ReadRaw(dir.Narrow("log")), "one\ntwo\n");
}

// Mixed small and large reads and writes at random places, checked against a model of the
// file after every read and at the end: any fault in buffer coherence shows here.
TEST(FioStream, RandomMixedAccessMatchesModel) {
    TempDir dir;
    std::wstring name = dir.Wide("model.bin");
    for (size_t bufferSize : {size_t{0}, size_t{64}, orvik::fio::kDefaultBufferSize}) {
        Oerr_ErrorReport *err = nullptr;
        Ofio_File *f = orvik::fio::OpenStream(name.c_str(), L"w+b", bufferSize, &err, L"test");
        ASSERT_NE(f, nullptr);
        std::vector<unsigned char> model;
        std::mt19937 rng(static_cast<unsigned>(bufferSize) + 17);
        int64_t pos = 0;
        for (int step = 0; step < 4000; ++step) {
            int op = static_cast<int>(rng() % 6);
            size_t n = rng() % 8 == 0 ? 1 + rng() % 150000 : 1 + rng() % 200;
            int64_t at = static_cast<int64_t>(rng() % (model.size() + 300));
            std::vector<unsigned char> data(n);
            for (auto &b : data) b = static_cast<unsigned char>(rng());
            if (op == 0 || op == 1) {
                // write, sequential or direct
                int64_t where = op == 0 ? pos : at;
                if (op == 0) {
                    ASSERT_EQ(ofio_WriteSeq(f, data.data(), static_cast<long>(n), &err),
                              static_cast<long>(n));
                    pos += static_cast<int64_t>(n);
                } else {
                    ASSERT_EQ(ofio_FileWriteDirect(f, at, data.data(), static_cast<long>(n), &err),
                              static_cast<long>(n));
                }
                if (model.size() < where + n) model.resize(where + n);
                std::memcpy(model.data() + where, data.data(), n);
            } else if (op == 2 || op == 3) {
                int64_t where = op == 2 ? pos : at;
                bool fits = static_cast<size_t>(where) + n <= model.size();
                std::vector<unsigned char> got(n);
                long r = op == 2
                             ? ofio_ReadSeq(f, got.data(), static_cast<long>(n), &err)
                             : ofio_FileReadDirect(f, at, got.data(), static_cast<long>(n), &err);
                if (fits) {
                    ASSERT_EQ(r, static_cast<long>(n)) << "step " << step;
                    ASSERT_EQ(std::memcmp(got.data(), model.data() + where, n), 0)
                        << "step " << step << " buffer " << bufferSize;
                    if (op == 2) pos += static_cast<int64_t>(n);
                } else {
                    ASSERT_EQ(r, -1);
                    ASSERT_NE(err, nullptr);
                    EXPECT_EQ(err->number, 3);
                    oerr_DeleteErrorReportEx(&err);
                }
            } else if (op == 4) {
                ASSERT_EQ(ofio_Seek(f, at, OFIO_SEEK_SET, &err), 0);
                pos = at;
                int c = ofio_Fgetc(f, &err);
                if (static_cast<size_t>(pos) < model.size()) {
                    ASSERT_EQ(c, model[pos]);
                    ++pos;
                } else {
                    ASSERT_EQ(c, OFIO_EOF);
                    ASSERT_EQ(err, nullptr);
                }
            } else {
                if (rng() % 4 == 0) {
                    ASSERT_EQ(ofio_Flush(f, &err), 0);
                }
                ASSERT_EQ(ofio_FileSizeGetByHandle(f, &err), static_cast<int64_t>(model.size()));
            }
            ASSERT_EQ(ofio_Tell(f, &err), pos);
        }
        ASSERT_EQ(ofio_FileClose(f, &err), 0);
        std::string raw = ReadRaw(dir.Narrow("model.bin"));
        ASSERT_EQ(raw.size(), model.size());
        EXPECT_EQ(std::memcmp(raw.data(), model.data(), model.size()), 0);
    }
}

TEST(FioStream, NullHandlesAndCloseOfNull) {
    Oerr_ErrorReport *err = nullptr;
    EXPECT_EQ(ofio_FileClose(nullptr, &err), 0);
    EXPECT_EQ(err, nullptr);
    char c;
    EXPECT_EQ(ofio_ReadSeq(nullptr, &c, 1, &err), -1);
    ExpectReport(err, L"ofio_ReadSeq", 1, L"Invalid file handle");
    EXPECT_EQ(ofio_Tell(nullptr, &err), -1);
    ExpectReport(err, L"ofio_Tell", 1, L"Invalid file handle");
    EXPECT_EQ(ofio_FileSizeGetByHandle(nullptr, &err), -1);
    ExpectReport(err, L"ofio_FileSizeGetByHandle", 1, L"Invalid file handle");
    EXPECT_EQ(ofio_FileSizeGetByName(L"/nonexistent/ofio/x", &err), -1);
    ExpectReport(err, L"ofio_FileSizeGetByName", 2,
                 L"Cannot measure file \"/nonexistent/ofio/x\": " +
                     SystemReason(L"No such file or directory"));
}

TEST(FioStream, ExhaustedHeapOnOpenIsReportedAndBuffersAreOptional) {
    TempDir dir;
    std::wstring name = dir.Wide("heap.bin");
    Oerr_ErrorReport *err = nullptr;
    {
        orvik::core::testing::ScopedAllocationFailure fail(1);
        EXPECT_EQ(ofio_FileOpen(name.c_str(), L"w+b", &err), nullptr);
    }
    ExpectReport(err, L"ofio_FileOpen", 5, L"Out of memory");
    // Without buffers the stream still works, one system call per transfer.
    orvik::core::testing::ScopedAllocationFailure fail(2, true);
    Ofio_File *f = ofio_FileOpen(name.c_str(), L"w+b", &err);
    ASSERT_NE(f, nullptr);
    EXPECT_EQ(ofio_WriteSeq(f, "abc", 3, &err), 3);
    EXPECT_EQ(ofio_FileReadDirect(f, 1, nullptr, 0, &err), 0);
    ASSERT_EQ(ofio_Seek(f, 0, OFIO_SEEK_SET, &err), 0);
    EXPECT_EQ(ofio_Fgetc(f, &err), 'a');
    EXPECT_EQ(ofio_Fgetc(f, &err), 'b');
    EXPECT_EQ(ofio_FileClose(f, &err), 0);
    EXPECT_EQ(err, nullptr);
}

} // namespace

namespace {

// Writes that overlap, extend or end where the buffered range begins join the buffer; the
// file on disk always shows the result of a prefix of the writes, never a later one alone.
TEST(FioStream, WritesJoiningTheBufferKeepTheirOrderOnDisk) {
    TempDir dir;
    const std::wstring name = dir.Wide("join.bin");
    Oerr_ErrorReport *err = nullptr;
    Ofio_File *f = orvik::fio::OpenStream(name.c_str(), L"w+b", 64, &err, L"test");
    ASSERT_NE(f, nullptr);
    std::vector<std::string> prefixes{""};
    auto write = [&](int64_t at, std::size_t n, char fill) {
        const std::string bytes(n, fill);
        ASSERT_EQ(ofio_FileWriteDirect(f, at, bytes.data(), static_cast<long>(n), &err),
                  static_cast<long>(n));
        std::string next = prefixes.back();
        if (next.size() < static_cast<std::size_t>(at) + n) next.resize(at + n, '\0');
        next.replace(static_cast<std::size_t>(at), n, bytes);
        prefixes.push_back(next);
        const std::string disk = ReadRaw(dir.Narrow("join.bin"));
        bool isPrefix = false;
        for (const std::string &p : prefixes) isPrefix = isPrefix || p == disk;
        EXPECT_TRUE(isPrefix) << "after writing " << n << " at " << at;
    };
    write(100, 20, 'a'); // buffered
    write(105, 5, 'b');  // inside
    write(115, 15, 'c'); // overlapping the end and extending it
    write(130, 4, 'd');  // right after
    write(90, 10, 'e');  // ending where the buffer begins
    write(80, 20, 'f');  // overlapping the start: written out first
    write(60, 20, 'g');  // ends at the buffer: joins it
    write(40, 20, 'h');  // would not fit in 64 bytes: written out first
    write(10, 4, 'i');   // elsewhere
    ASSERT_EQ(ofio_Flush(f, &err), 0);
    EXPECT_EQ(ReadRaw(dir.Narrow("join.bin")), prefixes.back());
    std::string got(prefixes.back().size(), '\0');
    ASSERT_EQ(ofio_FileReadDirect(f, 0, got.data(), static_cast<long>(got.size()), &err),
              static_cast<long>(got.size()));
    EXPECT_EQ(got, prefixes.back());
    ASSERT_EQ(ofio_FileClose(f, &err), 0);
}

} // namespace
