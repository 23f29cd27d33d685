// Internal: block codecs, predictors and checksums of coded raster layers, as pure functions
// over one block in file form (docs/raster-layers.md, "Coded layers"). A codec context holds
// the compressors' working memory; one context serves one thread at a time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include <orvik/oimg.h>

#include "port/file_system.hpp"

namespace orvik::img {

// What the predictors need to know of a block: the width of one scalar in the file (a
// complex pixel is two scalars), the bytes of a block row and of the whole block.
struct BlockShape {
    int32_t scalarBytes = 1;
    int64_t rowBytes = 0;
    int64_t blockBytes = 0;
};

struct Geometry;
// The shape of a layer's blocks.
BlockShape ShapeOf(const Oimg_LayerInfo &info, const Geometry &geometry);

// Default levels when a storage record says 0.
constexpr int32_t kDefaultDeflateLevel = 6;
constexpr int32_t kDefaultZstdLevel = 3;

// Checks a storage record against a pixel type and fills in default levels; false with the
// reason in `problem` when the codec, level, predictor or checksum kind cannot serve it.
bool SettleStorage(Oimg_LayerStorage &storage, int32_t pixelType, std::wstring &problem);

// Working memory of the compressors, created on first use.
class CodecContext {
  public:
    CodecContext();
    ~CodecContext();
    CodecContext(const CodecContext &) = delete;
    CodecContext &operator=(const CodecContext &) = delete;
    struct Impl;
    Impl &impl() { return *m_impl; }

  private:
    std::unique_ptr<Impl> m_impl;
};

// Encodes `block` (shape.blockBytes) into `out`, whose size becomes the stored size. A block
// the codec cannot shrink is stored as it is (out.size() == blockBytes), so storing never
// grows a block.
void EncodeBlock(CodecContext &context, const Oimg_LayerStorage &storage, const BlockShape &shape,
                 const unsigned char *block, std::vector<unsigned char> &out);
// The same into `out` with room for shape.blockBytes; returns the stored size.
std::size_t EncodeBlockInto(CodecContext &context, const Oimg_LayerStorage &storage,
                            const BlockShape &shape, const unsigned char *block,
                            unsigned char *out);

enum class DecodeStatus {
    kOk,
    kTooLarge,     // stored size above the block size
    kUnknownCodec, // codec or predictor number not known
    kDamaged,      // the codec refused the bytes (truncated or corrupt)
    kWrongSize,    // decoded to a size other than the block's
};
// Decodes `storedBytes` bytes into `block` (shape.blockBytes). Never reads or writes outside
// the two buffers, whatever the stored bytes hold.
DecodeStatus DecodeBlock(CodecContext &context, const Oimg_LayerStorage &storage,
                         const BlockShape &shape, const unsigned char *stored,
                         std::size_t storedBytes, unsigned char *block);
const wchar_t *DecodeProblem(DecodeStatus status);

// The checksum of stored bytes of a block (0 for OIMG_CHECKSUM_NONE): the sum the block index
// keeps, computed with the widest vector unit the processor has.
uint64_t BlockChecksum(int32_t kind, const unsigned char *bytes, std::size_t count);
// Copies the bytes at `from` into `rows`, one row after another.
void CopyRows(const unsigned char *from, const port::fs::Piece *rows, std::size_t count);

// Predictors, in place over one block: Predict before encoding, Unpredict after decoding.
void Predict(int32_t predictor, const BlockShape &shape, unsigned char *block,
             std::vector<unsigned char> &scratch);
void Unpredict(int32_t predictor, const BlockShape &shape, unsigned char *block,
               std::vector<unsigned char> &scratch);
// Out of place, into a distinct block: the coders' path, which saves a copy per block.
void PredictInto(int32_t predictor, const BlockShape &shape, const unsigned char *in,
                 unsigned char *out);
void UnshuffleInto(const BlockShape &shape, const unsigned char *in, unsigned char *out);

// Run-length coding of bytes; RunLengthDecode returns the decoded size, or -1 when the
// input is malformed or would exceed `capacity`.
void RunLengthEncode(const unsigned char *in, std::size_t count, std::vector<unsigned char> &out);
int64_t RunLengthDecode(const unsigned char *in, std::size_t count, unsigned char *out,
                        std::size_t capacity);

} // namespace orvik::img
