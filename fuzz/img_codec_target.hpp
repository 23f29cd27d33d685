// The body of the block-decoder fuzz target, shared with the replay test. The first four
// bytes choose the codec, predictor, pixel type and block side (any values, unknown numbers
// included); the rest are the stored bytes of one block. Decoding must refuse with a status
// or give a block that encodes and decodes back to itself; never a read or write outside the
// buffers (the sanitizers watch).
#pragma once

#include "fuzz/check.hpp"
#include "img/codec.hpp"
#include "img/layer.hpp"

namespace img_codec_fuzz {

inline int RunOne(const uint8_t *data, std::size_t size) {
    using namespace orvik::img;
    if (size < 4) return 0;
    Oimg_LayerStorage storage{};
    storage.codec = static_cast<int8_t>(data[0]);
    storage.predictor = static_cast<int8_t>(data[1]);
    storage.checksum = OIMG_CHECKSUM_XXH3;
    Oimg_LayerInfo info{};
    info.pixelType = data[2] % OGDA_PIXEL_TYPE_COUNT;
    info.blockWidth = info.blockHeight = 1 + data[3] % 64;
    info.width = info.height = info.blockWidth;
    info.cellBytes = info.pixelType == OGDA_STRING ? 4 : 0;
    const Geometry g = GeometryOf(info);
    FUZZ_CHECK(g.valid);
    const BlockShape shape = ShapeOf(info, g);
    static CodecContext context;
    std::vector<unsigned char> block(static_cast<std::size_t>(shape.blockBytes));
    const DecodeStatus status =
        DecodeBlock(context, storage, shape, data + 4, size - 4, block.data());
    FUZZ_CHECK(status != DecodeStatus::kOk || DecodeProblem(status) != nullptr);
    if (size - 4 > block.size()) FUZZ_CHECK(status == DecodeStatus::kTooLarge);
    if (status != DecodeStatus::kOk) return 0;
    // A decoded block is a block like any other: it survives a round trip when the storage
    // record is one a layer could hold (with its settled level).
    std::wstring problem;
    if (!SettleStorage(storage, info.pixelType, problem)) return 0;
    std::vector<unsigned char> stored, back(block.size());
    EncodeBlock(context, storage, shape, block.data(), stored);
    FUZZ_CHECK(stored.size() <= block.size());
    FUZZ_CHECK(DecodeBlock(context, storage, shape, stored.data(), stored.size(), back.data()) ==
               DecodeStatus::kOk);
    FUZZ_CHECK(back == block);
    return 0;
}

} // namespace img_codec_fuzz
