// Byte-exact element moves: little-endian scalars (and the byte-reversing path of big-endian
// hosts), 16-bit enumerations, packed 1/2/4-bit arrays with their rounding rule.
#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "mif/element_codec.hpp"

using namespace orvik::mif;

TEST(ElementCodec, PackedByteCountRule) {
    EXPECT_EQ(PackedBytes(0, 8), 1);
    EXPECT_EQ(PackedBytes(1, 8), 1);
    EXPECT_EQ(PackedBytes(8, 8), 1);
    EXPECT_EQ(PackedBytes(9, 8), 2);
    EXPECT_EQ(PackedBytes(4, 4), 1);
    EXPECT_EQ(PackedBytes(5, 4), 2);
    EXPECT_EQ(PackedBytes(3, 2), 2);
    EXPECT_EQ(PackedBytes(0, 2), 1);
}

TEST(ElementCodec, ScalarsAreLittleEndianInTheFile) {
    const std::uint32_t host32[] = {0x01020304u, 0xA0B0C0D0u};
    unsigned char file[8];
    ScalarsToFile<4>(host32, 2, file);
    const unsigned char want32[] = {4, 3, 2, 1, 0xD0, 0xC0, 0xB0, 0xA0};
    EXPECT_EQ(0, std::memcmp(file, want32, 8));

    const double d = 1.0; // 0x3FF0000000000000
    unsigned char fd[8];
    ScalarsToFile<8>(&d, 1, fd);
    const unsigned char wantd[] = {0, 0, 0, 0, 0, 0, 0xF0, 0x3F};
    EXPECT_EQ(0, std::memcmp(fd, wantd, 8));
    double back = 0;
    ScalarsToHost<8>(fd, 1, &back);
    EXPECT_EQ(back, 1.0);
}

TEST(ElementCodec, SwapPathReversesEveryScalar) {
    // The path a big-endian host takes, exercised directly.
    const unsigned char in[] = {1, 2, 3, 4, 5, 6, 7, 8};
    unsigned char out[8];
    ScalarsToFile<2, true>(in, 4, out);
    const unsigned char want2[] = {2, 1, 4, 3, 6, 5, 8, 7};
    EXPECT_EQ(0, std::memcmp(out, want2, 8));
    ScalarsToFile<4, true>(in, 2, out);
    const unsigned char want4[] = {4, 3, 2, 1, 8, 7, 6, 5};
    EXPECT_EQ(0, std::memcmp(out, want4, 8));
    ScalarsToHost<8, true>(in, 1, out);
    const unsigned char want8[] = {8, 7, 6, 5, 4, 3, 2, 1};
    EXPECT_EQ(0, std::memcmp(out, want8, 8));
}

TEST(ElementCodec, EnumsAreSixteenBitsInTheFile) {
    const std::uint32_t host[] = {0x0102u, 0xFFFF1234u};
    unsigned char file[4];
    EnumsToFile(host, 2, file);
    const unsigned char want[] = {0x02, 0x01, 0x34, 0x12};
    EXPECT_EQ(0, std::memcmp(file, want, 4));
    std::uint32_t back[2] = {0xDEADBEEFu, 0xDEADBEEFu};
    EnumsToHost(file, 2, back);
    EXPECT_EQ(back[0], 0x00000102u);
    EXPECT_EQ(back[1], 0x00001234u);
}

TEST(ElementCodec, PackedArraysLeastSignificantFirst) {
    // Nine 1-bit elements: 1,0,1,1,0,0,0,1 | 1 -> 0x8D, 0x01.
    const unsigned char bits1[] = {1, 0, 1, 1, 0, 0, 0, 1, 1};
    unsigned char file[2] = {0xFF, 0xFF};
    PackUnits(bits1, 9, 1, file);
    EXPECT_EQ(file[0], 0x8D);
    EXPECT_EQ(file[1], 0x01); // unused high bits are zero

    const unsigned char bits2[] = {3, 0, 1, 2, 1};
    PackUnits(bits2, 5, 2, file);
    EXPECT_EQ(file[0], 3 | (0 << 2) | (1 << 4) | (2 << 6));
    EXPECT_EQ(file[1], 0x01);

    const unsigned char bits4[] = {0xA, 0x5, 0xF};
    PackUnits(bits4, 3, 4, file);
    EXPECT_EQ(file[0], 0x5A); // low nibble first
    EXPECT_EQ(file[1], 0x0F);

    unsigned char empty = 0xFF;
    PackUnits(nullptr, 0, 1, &empty);
    EXPECT_EQ(empty, 0); // an empty packed array still writes its one byte
}

TEST(ElementCodec, PackedRoundTripsMaskHighBits) {
    for (int bits : {1, 2, 4}) {
        for (std::size_t n : {0u, 1u, 7u, 8u, 9u, 63u, 64u, 65u, 1000u}) {
            std::vector<unsigned char> host(n), back(n, 0xEE);
            for (std::size_t i = 0; i < n; ++i) host[i] = static_cast<unsigned char>(i * 37 + 11);
            std::vector<unsigned char> file(
                static_cast<std::size_t>(PackedBytes(static_cast<std::int64_t>(n), 8 / bits)),
                0xCC);
            PackUnits(host.data(), n, bits, file.data());
            UnpackUnits(file.data(), n, bits, back.data());
            for (std::size_t i = 0; i < n; ++i)
                ASSERT_EQ(back[i], host[i] & ((1 << bits) - 1))
                    << "bits " << bits << " n " << n << " i " << i;
        }
    }
}
