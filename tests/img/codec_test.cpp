// Block codecs and predictors as pure functions: every codec and allowed predictor over every
// pixel type round-trips; incompressible blocks are stored without growth; damaged, truncated
// and oversized stored blocks and unknown codec numbers are refused, never decoded wrongly.
#include <gtest/gtest.h>

#include <random>

#include "hfa/block_index.hpp"
#include "img/codec.hpp"
#include "img/layer.hpp"

namespace {

using namespace orvik::img;

Oimg_LayerStorage Storage(int32_t codec, int32_t predictor, int32_t level = 0) {
    Oimg_LayerStorage s{};
    s.codec = codec;
    s.level = level;
    s.predictor = predictor;
    s.checksum = OIMG_CHECKSUM_XXH3;
    return s;
}

// A block of smooth terrain with a little noise: low bytes vary, high bytes change slowly.
std::vector<unsigned char> SmoothBlock(const BlockShape &shape, uint32_t seed) {
    std::vector<unsigned char> b(static_cast<std::size_t>(shape.blockBytes));
    std::mt19937 rng(seed);
    const int64_t rows = shape.blockBytes / shape.rowBytes;
    const int64_t perRow = shape.rowBytes / shape.scalarBytes;
    for (int64_t r = 0; r < rows; ++r)
        for (int64_t x = 0; x < perRow; ++x) {
            const uint64_t v = 1000 + 3 * r + 2 * x + rng() % 4;
            for (int k = 0; k < shape.scalarBytes; ++k)
                b[static_cast<std::size_t>((r * perRow + x) * shape.scalarBytes + k)] =
                    static_cast<unsigned char>(k < 8 ? v >> (8 * k) : 0);
        }
    return b;
}

std::vector<unsigned char> RandomBlock(std::size_t bytes, uint32_t seed) {
    std::vector<unsigned char> b(bytes);
    std::mt19937 rng(seed);
    for (auto &c : b) c = static_cast<unsigned char>(rng());
    return b;
}

BlockShape Shape(int type, int32_t side = 32) {
    Oimg_LayerInfo info{};
    info.width = info.height = 100;
    info.pixelType = type;
    info.blockWidth = info.blockHeight = side;
    info.cellBytes = type == OGDA_STRING ? 8 : 0;
    return ShapeOf(info, GeometryOf(info));
}

TEST(BlockCodec, EveryCodecAndPredictorRoundTripsOnEveryPixelType) {
    CodecContext context;
    for (int type = 0; type < OGDA_PIXEL_TYPE_COUNT; ++type) {
        const BlockShape shape = Shape(type);
        const std::vector<unsigned char> block = SmoothBlock(shape, static_cast<uint32_t>(type));
        for (int32_t codec = OIMG_CODEC_NONE; codec <= OIMG_CODEC_LZ4; ++codec)
            for (int32_t predictor = OIMG_PREDICTOR_NONE; predictor <= OIMG_PREDICTOR_SHUFFLE;
                 ++predictor) {
                Oimg_LayerStorage s = Storage(codec, predictor);
                std::wstring problem;
                const bool fits = SettleStorage(s, type, problem);
                const bool integer = type >= OGDA_U8 && type <= OGDA_S32 && type != OGDA_F32;
                if (predictor == OIMG_PREDICTOR_DIFFERENCE) {
                    ASSERT_EQ(fits, integer) << type;
                }
                if (predictor == OIMG_PREDICTOR_SHUFFLE) {
                    ASSERT_EQ(fits, type >= OGDA_U16 && type <= OGDA_C128) << type;
                }
                if (!fits) continue;
                std::vector<unsigned char> stored, back(block.size(), 0xEE);
                EncodeBlock(context, s, shape, block.data(), stored);
                ASSERT_LE(stored.size(), block.size());
                // Multi-byte scalars repeat their high bytes: every general codec shrinks them.
                if (codec > OIMG_CODEC_RUN_LENGTH && shape.scalarBytes >= 2) {
                    EXPECT_LT(stored.size(), block.size())
                        << "type " << type << " codec " << codec << " predictor " << predictor;
                }
                ASSERT_EQ(DecodeBlock(context, s, shape, stored.data(), stored.size(), back.data()),
                          DecodeStatus::kOk);
                ASSERT_EQ(back, block)
                    << "type " << type << " codec " << codec << " predictor " << predictor;
            }
    }
}

TEST(BlockCodec, PredictorsHelpSmoothImagery) {
    CodecContext context;
    const BlockShape shape = Shape(OGDA_U16, 64);
    const std::vector<unsigned char> block = SmoothBlock(shape, 7);
    std::size_t sizes[3];
    for (int32_t p = 0; p < 3; ++p) {
        std::vector<unsigned char> stored;
        EncodeBlock(context, Storage(OIMG_CODEC_DEFLATE, p, 6), shape, block.data(), stored);
        sizes[p] = stored.size();
    }
    EXPECT_LT(sizes[OIMG_PREDICTOR_DIFFERENCE], sizes[OIMG_PREDICTOR_NONE]);
    EXPECT_LT(sizes[OIMG_PREDICTOR_SHUFFLE], sizes[OIMG_PREDICTOR_NONE]);
}

TEST(BlockCodec, IncompressibleBlocksAreStoredWithoutGrowth) {
    CodecContext context;
    const BlockShape shape = Shape(OGDA_F32, 64);
    const auto block = RandomBlock(static_cast<std::size_t>(shape.blockBytes), 3);
    for (int32_t codec = OIMG_CODEC_RUN_LENGTH; codec <= OIMG_CODEC_LZ4; ++codec) {
        Oimg_LayerStorage s = Storage(codec, OIMG_PREDICTOR_SHUFFLE);
        std::wstring problem;
        ASSERT_TRUE(SettleStorage(s, OGDA_F32, problem));
        std::vector<unsigned char> stored, back(block.size());
        EncodeBlock(context, s, shape, block.data(), stored);
        EXPECT_EQ(stored, block) << codec; // kept as it is: the predictor is not applied
        ASSERT_EQ(DecodeBlock(context, s, shape, stored.data(), stored.size(), back.data()),
                  DecodeStatus::kOk);
        EXPECT_EQ(back, block);
    }
}

TEST(BlockCodec, BadStoredBlocksAreRefused) {
    CodecContext context;
    const BlockShape shape = Shape(OGDA_U16);
    std::vector<unsigned char> block(static_cast<std::size_t>(shape.blockBytes), 5);
    for (std::size_t i = 0; i < block.size(); i += 97) block[i] = static_cast<unsigned char>(i);
    std::vector<unsigned char> back(block.size());
    const std::vector<unsigned char> longer(block.size() + 1, 0);
    for (int32_t codec = OIMG_CODEC_RUN_LENGTH; codec <= OIMG_CODEC_LZ4; ++codec) {
        const Oimg_LayerStorage s = Storage(codec, OIMG_PREDICTOR_NONE, codec == 2 ? 6 : 0);
        std::vector<unsigned char> stored;
        EncodeBlock(context, s, shape, block.data(), stored);
        ASSERT_LT(stored.size(), block.size());
        EXPECT_EQ(DecodeBlock(context, s, shape, longer.data(), longer.size(), back.data()),
                  DecodeStatus::kTooLarge);
        // Truncated: the codec refuses, or it decodes short of the block.
        const DecodeStatus cut =
            DecodeBlock(context, s, shape, stored.data(), stored.size() / 2, back.data());
        EXPECT_TRUE(cut == DecodeStatus::kDamaged || cut == DecodeStatus::kWrongSize) << codec;
        EXPECT_EQ(DecodeBlock(context, s, shape, stored.data(), 0, back.data()) ==
                      DecodeStatus::kOk,
                  false);
    }
    // A deflate stream of a smaller block decodes to the wrong size.
    const BlockShape small = Shape(OGDA_U16, 16);
    std::vector<unsigned char> stored;
    EncodeBlock(context, Storage(OIMG_CODEC_ZSTD, 0, 3), small, block.data(), stored);
    EXPECT_EQ(DecodeBlock(context, Storage(OIMG_CODEC_ZSTD, 0, 3), shape, stored.data(),
                          stored.size(), back.data()),
              DecodeStatus::kWrongSize);
    EXPECT_EQ(DecodeBlock(context, Storage(9, 0), shape, stored.data(), stored.size(), back.data()),
              DecodeStatus::kUnknownCodec);
    EXPECT_EQ(DecodeBlock(context, Storage(OIMG_CODEC_NONE, 0), shape, stored.data(), stored.size(),
                          back.data()),
              DecodeStatus::kWrongSize);
}

TEST(BlockCodec, SettleRefusesWhatCannotServe) {
    std::wstring problem;
    Oimg_LayerStorage s = Storage(OIMG_CODEC_ZSTD, 0);
    ASSERT_TRUE(SettleStorage(s, OGDA_U8, problem));
    EXPECT_EQ(s.level, kDefaultZstdLevel);
    s = Storage(OIMG_CODEC_DEFLATE, 0, 13);
    EXPECT_FALSE(SettleStorage(s, OGDA_U8, problem));
    s = Storage(OIMG_CODEC_LZ4, 0, 2);
    EXPECT_FALSE(SettleStorage(s, OGDA_U8, problem));
    s = Storage(7, 0);
    EXPECT_FALSE(SettleStorage(s, OGDA_U8, problem));
    s = Storage(OIMG_CODEC_NONE, 0);
    s.checksum = 5;
    EXPECT_FALSE(SettleStorage(s, OGDA_U8, problem));
    EXPECT_EQ(problem, L"unknown checksum kind");
}

TEST(RunLength, RunsAndLiteralsAtTheirLimits) {
    std::vector<unsigned char> in;
    for (int i = 0; i < 300; ++i) in.push_back(7);             // runs of 130, 130, 40
    for (int i = 0; i < 200; ++i) in.push_back(i % 2 ? 1 : 2); // literals of 128, 72
    in.push_back(9);
    in.push_back(9); // a pair stays literal
    std::vector<unsigned char> out;
    RunLengthEncode(in.data(), in.size(), out);
    EXPECT_EQ(out.size(), 3u * 2 + 1 + 128 + 1 + 74);
    std::vector<unsigned char> back(in.size());
    ASSERT_EQ(RunLengthDecode(out.data(), out.size(), back.data(), back.size()),
              static_cast<int64_t>(in.size()));
    EXPECT_EQ(back, in);
    EXPECT_EQ(RunLengthDecode(out.data(), out.size(), back.data(), back.size() - 1), -1);
    EXPECT_EQ(RunLengthDecode(out.data(), out.size() - 1, back.data(), back.size()), -1);
}

TEST(BlockChecksum, FindsOneFlippedBit) {
    const auto block = RandomBlock(4096, 9);
    const uint64_t sum = BlockChecksum(OIMG_CHECKSUM_XXH3, block.data(), block.size());
    for (std::size_t bit : {0u, 13u, 4096u * 8 - 1}) {
        auto damaged = block;
        damaged[bit / 8] ^= static_cast<unsigned char>(1u << (bit % 8));
        EXPECT_NE(BlockChecksum(OIMG_CHECKSUM_XXH3, damaged.data(), damaged.size()), sum);
    }
    EXPECT_EQ(BlockChecksum(OIMG_CHECKSUM_NONE, block.data(), block.size()), 0u);
}

// The layer's sums (vector unit chosen at run time) are the ones the file check computes,
// at every length class of the hash: short, middle, long with and without a partial stripe.
TEST(BlockChecksum, AgreesWithTheFileCheckAtEveryLength) {
    const auto block = RandomBlock(300000, 4);
    for (std::size_t n : {0u, 1u, 16u, 129u, 240u, 241u, 1024u, 1031u, 131072u, 299999u})
        EXPECT_EQ(BlockChecksum(OIMG_CHECKSUM_XXH3, block.data(), n),
                  orvik::hfa::StoredChecksum(OIMG_CHECKSUM_XXH3, block.data(), n))
            << n;
}

} // namespace
