// Vectored transfers: many pieces (more than one system call takes), empty ones, pieces that
// meet buffered bytes, the end of the file, and the write-stopping seam.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include <orvik/ofio.h>

#include "fio/stream_handle.hpp"
#include "fio/write_seam.hpp"
#include "fio_test_util.hpp"

namespace {

using orvik::port::fs::Piece;

// `count` pieces of sizes 0, 1, 2, ... 6 over one buffer of distinct bytes.
struct Pieces {
    std::string bytes;
    std::vector<Piece> list;
    explicit Pieces(std::size_t count, char seed) {
        std::size_t total = 0;
        for (std::size_t i = 0; i < count; ++i) total += i % 7;
        bytes.resize(total);
        for (std::size_t i = 0; i < total; ++i) bytes[i] = static_cast<char>(seed + i * 7 % 251);
        std::size_t at = 0;
        for (std::size_t i = 0; i < count; ++i) {
            list.push_back({bytes.data() + at, i % 7});
            at += i % 7;
        }
    }
};

TEST(FioPieces, ManyPiecesRoundTripAfterBufferedBytes) {
    TempDir dir;
    const std::wstring name = dir.Wide("v.bin");
    Oerr_ErrorReport *err = nullptr;
    Ofio_File *f = orvik::fio::OpenStream(name.c_str(), L"w+b", 4096, &err, L"test");
    ASSERT_NE(f, nullptr);
    // A small buffered write before and overlapping the vectored one: it must land first.
    const std::string head(64, 'h');
    ASSERT_EQ(ofio_FileWriteDirect(f, 0, head.data(), 64, &err), 64);
    Pieces out(5000, 'a'); // several calls of IOV_MAX pieces
    ASSERT_TRUE(f->WritePieces(32, out.list.data(), out.list.size(), &err, L"test"));
    EXPECT_EQ(ReadRaw(dir.Narrow("v.bin")), head.substr(0, 32) + out.bytes);

    Pieces in(5000, 'z');
    ASSERT_TRUE(f->ReadPieces(32, in.list.data(), in.list.size(), &err, L"test"));
    EXPECT_EQ(in.bytes, out.bytes);
    // Past the end: a report naming how much was there.
    Pieces more(10, 'q');
    EXPECT_FALSE(f->ReadPieces(static_cast<int64_t>(32 + out.bytes.size()) - 5, more.list.data(),
                               more.list.size(), &err, L"test"));
    ASSERT_NE(err, nullptr);
    EXPECT_NE(std::wstring(err->message).find(L"5 of 24 bytes"), std::wstring::npos)
        << err->message;
    oerr_DeleteErrorReportEx(&err);
    ASSERT_EQ(ofio_FileClose(f, &err), 0);
}

TEST(FioPieces, AVectoredWriteIsOneWriteForTheSeam) {
    TempDir dir;
    const std::wstring name = dir.Wide("s.bin");
    Oerr_ErrorReport *err = nullptr;
    Ofio_File *f = orvik::fio::OpenStream(name.c_str(), L"w+b", 0, &err, L"test");
    ASSERT_NE(f, nullptr);
    Pieces out(3000, 'b');
    {
        orvik::fio::testing::ScopedWriteStop stop(1);
        ASSERT_TRUE(f->WritePieces(0, out.list.data(), out.list.size(), &err, L"test"));
        ASSERT_TRUE(f->WritePieces(0, out.list.data(), 10, &err, L"test"));
        EXPECT_EQ(orvik::fio::testing::WritesCounted(), 2);
    }
    EXPECT_EQ(ReadRaw(dir.Narrow("s.bin")), out.bytes);
    ASSERT_EQ(ofio_FileClose(f, &err), 0);
    // Read-only streams refuse vectored writes.
    f = ofio_FileOpen(name.c_str(), L"r", &err);
    ASSERT_NE(f, nullptr);
    EXPECT_FALSE(f->WritePieces(0, out.list.data(), 3, &err, L"test"));
    EXPECT_NE(err, nullptr);
    oerr_DeleteErrorReportEx(&err);
    ASSERT_EQ(ofio_FileClose(f, &err), 0);
}

} // namespace
