// Predictors over one block in file form (little-endian scalars). Differencing replaces each
// scalar of a block row by its difference from the one before, modulo 2^bits, so smooth rows
// become runs of small numbers; the byte shuffle gathers byte k of every scalar into one
// plane, so the slowly changing high bytes (exponents of floats) sit together.
#include <cstring>

#include "img/codec.hpp"

namespace orvik::img {
namespace {

template <int Bytes> uint32_t Load(const unsigned char *p) {
    uint32_t v = 0;
    for (int i = 0; i < Bytes; ++i) v |= uint32_t{p[i]} << (8 * i);
    return v;
}
template <int Bytes> void Store(unsigned char *p, uint32_t v) {
    for (int i = 0; i < Bytes; ++i) p[i] = static_cast<unsigned char>(v >> (8 * i));
}

// `in` may be `out`: each scalar is loaded before its place is stored.
template <int Bytes>
void DifferenceRow(const unsigned char *in, unsigned char *out, int64_t count) {
    uint32_t before = 0;
    for (int64_t x = 0; x < count; ++x) {
        const uint32_t v = Load<Bytes>(in + x * Bytes);
        Store<Bytes>(out + x * Bytes, v - before);
        before = v;
    }
}
template <int Bytes> void SumRow(unsigned char *row, int64_t count) {
    uint32_t sum = 0;
    for (int64_t x = 0; x < count; ++x) {
        unsigned char *p = row + x * Bytes;
        sum += Load<Bytes>(p);
        Store<Bytes>(p, sum);
    }
}

void Differences(const BlockShape &shape, const unsigned char *in, unsigned char *out) {
    const int64_t rows = shape.blockBytes / shape.rowBytes;
    const int64_t count = shape.rowBytes / shape.scalarBytes;
    for (int64_t r = 0; r < rows; ++r) {
        const int64_t at = r * shape.rowBytes;
        switch (shape.scalarBytes) {
        case 1:
            DifferenceRow<1>(in + at, out + at, count);
            break;
        case 2:
            DifferenceRow<2>(in + at, out + at, count);
            break;
        default:
            DifferenceRow<4>(in + at, out + at, count);
            break;
        }
    }
}

void Sums(const BlockShape &shape, unsigned char *block) {
    const int64_t rows = shape.blockBytes / shape.rowBytes;
    const int64_t count = shape.rowBytes / shape.scalarBytes;
    for (int64_t r = 0; r < rows; ++r) {
        unsigned char *row = block + r * shape.rowBytes;
        switch (shape.scalarBytes) {
        case 1:
            SumRow<1>(row, count);
            break;
        case 2:
            SumRow<2>(row, count);
            break;
        default:
            SumRow<4>(row, count);
            break;
        }
    }
}

template <std::size_t Width>
void ShuffleFixed(const unsigned char *in, unsigned char *out, std::size_t n) {
    for (std::size_t i = 0; i < n; ++i)
        for (std::size_t b = 0; b < Width; ++b) out[b * n + i] = in[i * Width + b];
}
template <std::size_t Width>
void UnshuffleFixed(const unsigned char *in, unsigned char *out, std::size_t n) {
    for (std::size_t i = 0; i < n; ++i)
        for (std::size_t b = 0; b < Width; ++b) out[i * Width + b] = in[b * n + i];
}

// Out of place: `in` and `out` are distinct blocks.
template <bool Forward>
void Shuffle(const BlockShape &shape, const unsigned char *in, unsigned char *out) {
    const std::size_t bytes = static_cast<std::size_t>(shape.blockBytes);
    const std::size_t width = static_cast<std::size_t>(shape.scalarBytes);
    const std::size_t n = bytes / width;
    switch (width) {
    case 2:
        Forward ? ShuffleFixed<2>(in, out, n) : UnshuffleFixed<2>(in, out, n);
        break;
    case 4:
        Forward ? ShuffleFixed<4>(in, out, n) : UnshuffleFixed<4>(in, out, n);
        break;
    case 8:
        Forward ? ShuffleFixed<8>(in, out, n) : UnshuffleFixed<8>(in, out, n);
        break;
    default:
        std::memcpy(out, in, bytes); // one-byte scalars: the shuffle is the identity
        break;
    }
}

} // namespace

void PredictInto(int32_t predictor, const BlockShape &shape, const unsigned char *in,
                 unsigned char *out) {
    if (predictor == OIMG_PREDICTOR_DIFFERENCE)
        Differences(shape, in, out);
    else if (predictor == OIMG_PREDICTOR_SHUFFLE)
        Shuffle<true>(shape, in, out);
    else
        std::memcpy(out, in, static_cast<std::size_t>(shape.blockBytes));
}

void UnshuffleInto(const BlockShape &shape, const unsigned char *in, unsigned char *out) {
    Shuffle<false>(shape, in, out);
}

void Predict(int32_t predictor, const BlockShape &shape, unsigned char *block,
             std::vector<unsigned char> &scratch) {
    if (predictor == OIMG_PREDICTOR_DIFFERENCE) Differences(shape, block, block);
    if (predictor != OIMG_PREDICTOR_SHUFFLE) return;
    scratch.assign(block, block + shape.blockBytes);
    Shuffle<true>(shape, scratch.data(), block);
}

void Unpredict(int32_t predictor, const BlockShape &shape, unsigned char *block,
               std::vector<unsigned char> &scratch) {
    if (predictor == OIMG_PREDICTOR_DIFFERENCE) Sums(shape, block);
    if (predictor != OIMG_PREDICTOR_SHUFFLE) return;
    scratch.assign(block, block + shape.blockBytes);
    Shuffle<false>(shape, scratch.data(), block);
}

} // namespace orvik::img
