// Encoding and decoding one block: predictor, then codec; a block the codec cannot shrink is
// stored as it is, which a stored size equal to the block size marks. Checksums are XXH3-64
// of the stored bytes, so damage is found before any decoder sees the bytes.
#include <cstring>

#include <libdeflate.h>
#include <lz4.h>
#include <zstd.h>
// Checksums are the hot part of reading blocks stored as they are: on x86-64 the long-input
// loop is also built for AVX2 and chosen at run time (the sum is the same either way).
#if defined(__GNUC__) && defined(__x86_64__)
#include <immintrin.h>
#define XXH_DISPATCH_AVX2 1
#define XXH_TARGET_AVX2 __attribute__((target("avx2")))
#define ORVIK_XXH3_AVX2 1
#endif
#define XXH_INLINE_ALL
#include <xxhash.h>

#include "img/codec.hpp"
#include "img/layer.hpp"

namespace orvik::img {

struct CodecContext::Impl {
    libdeflate_compressor *deflater = nullptr;
    int deflaterLevel = 0;
    libdeflate_decompressor *inflater = nullptr;
    ZSTD_CCtx *zstdIn = nullptr;
    ZSTD_DCtx *zstdOut = nullptr;
    std::vector<unsigned char> predicted; // the block after its predictor
    std::vector<unsigned char> scratch;

    ~Impl() {
        if (deflater) libdeflate_free_compressor(deflater);
        if (inflater) libdeflate_free_decompressor(inflater);
        ZSTD_freeCCtx(zstdIn);
        ZSTD_freeDCtx(zstdOut);
    }
    libdeflate_compressor *Deflater(int level) {
        if (deflater && deflaterLevel != level) {
            libdeflate_free_compressor(deflater);
            deflater = nullptr;
        }
        if (!deflater && !(deflater = libdeflate_alloc_compressor(level))) throw std::bad_alloc();
        deflaterLevel = level;
        return deflater;
    }
    libdeflate_decompressor *Inflater() {
        if (!inflater && !(inflater = libdeflate_alloc_decompressor())) throw std::bad_alloc();
        return inflater;
    }
    ZSTD_CCtx *ZstdIn() {
        if (!zstdIn && !(zstdIn = ZSTD_createCCtx())) throw std::bad_alloc();
        return zstdIn;
    }
    ZSTD_DCtx *ZstdOut() {
        if (!zstdOut && !(zstdOut = ZSTD_createDCtx())) throw std::bad_alloc();
        return zstdOut;
    }
};

CodecContext::CodecContext() : m_impl(std::make_unique<Impl>()) {}
CodecContext::~CodecContext() = default;

namespace {

#if ORVIK_XXH3_AVX2
XXH_TARGET_AVX2 uint64_t Xxh3Avx2(const unsigned char *bytes, std::size_t count) {
    if (count <= XXH3_MIDSIZE_MAX) return XXH3_64bits(bytes, count);
    return XXH3_hashLong_64b_internal(bytes, count, XXH3_kSecret, sizeof(XXH3_kSecret),
                                      XXH3_accumulate_512_avx2, XXH3_scrambleAcc_avx2);
}
#endif

bool IntegerType(int32_t type) {
    return type == OGDA_U8 || type == OGDA_S8 || type == OGDA_U16 || type == OGDA_S16 ||
           type == OGDA_U32 || type == OGDA_S32;
}
bool MultiByteType(int32_t type) { return type >= OGDA_U16 && type <= OGDA_C128; }

// Compresses `count` bytes into at most `capacity`; 0 when they do not fit.
std::size_t Compress(CodecContext::Impl &c, const Oimg_LayerStorage &s, const unsigned char *in,
                     std::size_t count, unsigned char *out, std::size_t capacity) {
    switch (s.codec) {
    case OIMG_CODEC_DEFLATE:
        return libdeflate_deflate_compress(c.Deflater(s.level), in, count, out, capacity);
    case OIMG_CODEC_ZSTD: {
        const std::size_t n = ZSTD_compressCCtx(c.ZstdIn(), out, capacity, in, count, s.level);
        return ZSTD_isError(n) ? 0 : n;
    }
    case OIMG_CODEC_LZ4: {
        const int n =
            LZ4_compress_default(reinterpret_cast<const char *>(in), reinterpret_cast<char *>(out),
                                 static_cast<int>(count), static_cast<int>(capacity));
        return n > 0 ? static_cast<std::size_t>(n) : 0;
    }
    case OIMG_CODEC_RUN_LENGTH:
        RunLengthEncode(in, count, c.scratch);
        if (c.scratch.size() > capacity) return 0;
        std::memcpy(out, c.scratch.data(), c.scratch.size());
        return c.scratch.size();
    default:
        return 0;
    }
}

// Decompresses into exactly `capacity` bytes; the decoded size, or -1 when refused.
int64_t Decompress(CodecContext::Impl &c, int32_t codec, const unsigned char *in, std::size_t count,
                   unsigned char *out, std::size_t capacity) {
    switch (codec) {
    case OIMG_CODEC_DEFLATE: {
        std::size_t made = 0;
        const libdeflate_result r =
            libdeflate_deflate_decompress(c.Inflater(), in, count, out, capacity, &made);
        if (r == LIBDEFLATE_INSUFFICIENT_SPACE) return static_cast<int64_t>(capacity) + 1;
        return r == LIBDEFLATE_SUCCESS ? static_cast<int64_t>(made) : -1;
    }
    case OIMG_CODEC_ZSTD: {
        const std::size_t n = ZSTD_decompressDCtx(c.ZstdOut(), out, capacity, in, count);
        return ZSTD_isError(n) ? -1 : static_cast<int64_t>(n);
    }
    case OIMG_CODEC_LZ4: {
        const int n =
            LZ4_decompress_safe(reinterpret_cast<const char *>(in), reinterpret_cast<char *>(out),
                                static_cast<int>(count), static_cast<int>(capacity));
        return n < 0 ? -1 : n;
    }
    case OIMG_CODEC_RUN_LENGTH:
        return RunLengthDecode(in, count, out, capacity);
    default:
        return -1;
    }
}

} // namespace

BlockShape ShapeOf(const Oimg_LayerInfo &info, const Geometry &g) {
    BlockShape shape;
    shape.rowBytes = g.rowBytes;
    shape.blockBytes = g.blockBytes;
    if (info.pixelType == OGDA_C64 || info.pixelType == OGDA_C128)
        shape.scalarBytes = g.fileBytes / 2;
    else if (g.perByte == 0 && info.pixelType != OGDA_STRING)
        shape.scalarBytes = g.fileBytes;
    return shape;
}

bool SettleStorage(Oimg_LayerStorage &s, int32_t pixelType, std::wstring &problem) {
    problem.clear();
    switch (s.codec) {
    case OIMG_CODEC_NONE:
    case OIMG_CODEC_RUN_LENGTH:
    case OIMG_CODEC_LZ4:
        if (s.level != 0) problem = L"the codec takes no level";
        break;
    case OIMG_CODEC_DEFLATE:
        if (s.level == 0) s.level = kDefaultDeflateLevel;
        if (s.level < 1 || s.level > 12) problem = L"deflate levels are 1 to 12";
        break;
    case OIMG_CODEC_ZSTD:
        if (s.level == 0) s.level = kDefaultZstdLevel;
        if (s.level < 1 || s.level > ZSTD_maxCLevel()) problem = L"zstd levels are 1 to 22";
        break;
    default:
        problem = L"unknown codec";
    }
    if (!problem.empty()) return false;
    if (s.predictor == OIMG_PREDICTOR_DIFFERENCE && !IntegerType(pixelType))
        problem = L"differencing needs an integer type of 8 to 32 bits";
    else if (s.predictor == OIMG_PREDICTOR_SHUFFLE && !MultiByteType(pixelType))
        problem = L"the byte shuffle needs a type of two or more bytes";
    else if (s.predictor < OIMG_PREDICTOR_NONE || s.predictor > OIMG_PREDICTOR_SHUFFLE)
        problem = L"unknown predictor";
    else if (s.checksum != OIMG_CHECKSUM_NONE && s.checksum != OIMG_CHECKSUM_XXH3)
        problem = L"unknown checksum kind";
    return problem.empty();
}

std::size_t EncodeBlockInto(CodecContext &context, const Oimg_LayerStorage &storage,
                            const BlockShape &shape, const unsigned char *block,
                            unsigned char *out) {
    CodecContext::Impl &c = context.impl();
    const std::size_t bytes = static_cast<std::size_t>(shape.blockBytes);
    if (storage.codec == OIMG_CODEC_NONE || bytes < 2) {
        std::memcpy(out, block, bytes);
        return bytes;
    }
    const unsigned char *in = block;
    if (storage.predictor != OIMG_PREDICTOR_NONE) {
        c.predicted.resize(bytes);
        PredictInto(storage.predictor, shape, block, c.predicted.data());
        in = c.predicted.data();
    }
    // At most one byte less than the block: a stored size equal to the block size means
    // "stored as it is".
    const std::size_t n = Compress(c, storage, in, bytes, out, bytes - 1);
    if (n == 0) {
        std::memcpy(out, block, bytes);
        return bytes;
    }
    return n;
}

void EncodeBlock(CodecContext &context, const Oimg_LayerStorage &storage, const BlockShape &shape,
                 const unsigned char *block, std::vector<unsigned char> &out) {
    out.resize(static_cast<std::size_t>(shape.blockBytes));
    out.resize(EncodeBlockInto(context, storage, shape, block, out.data()));
}

DecodeStatus DecodeBlock(CodecContext &context, const Oimg_LayerStorage &storage,
                         const BlockShape &shape, const unsigned char *stored,
                         std::size_t storedBytes, unsigned char *block) {
    const std::size_t bytes = static_cast<std::size_t>(shape.blockBytes);
    if (storedBytes > bytes) return DecodeStatus::kTooLarge;
    if (storedBytes == bytes) {
        std::memcpy(block, stored, bytes);
        return DecodeStatus::kOk;
    }
    if (storage.codec == OIMG_CODEC_NONE) return DecodeStatus::kWrongSize;
    if (storage.codec < OIMG_CODEC_NONE || storage.codec > OIMG_CODEC_LZ4 ||
        storage.predictor < OIMG_PREDICTOR_NONE || storage.predictor > OIMG_PREDICTOR_SHUFFLE)
        return DecodeStatus::kUnknownCodec;
    CodecContext::Impl &c = context.impl();
    // A shuffled block is decoded beside the target and unshuffled into it.
    const bool shuffled = storage.predictor == OIMG_PREDICTOR_SHUFFLE;
    if (shuffled) c.predicted.resize(bytes);
    unsigned char *to = shuffled ? c.predicted.data() : block;
    const int64_t made = Decompress(c, storage.codec, stored, storedBytes, to, bytes);
    if (made < 0) return DecodeStatus::kDamaged;
    if (made != static_cast<int64_t>(bytes)) return DecodeStatus::kWrongSize;
    if (shuffled)
        UnshuffleInto(shape, to, block);
    else
        Unpredict(storage.predictor, shape, block, c.scratch);
    return DecodeStatus::kOk;
}

const wchar_t *DecodeProblem(DecodeStatus status) {
    switch (status) {
    case DecodeStatus::kOk:
        return L"sound";
    case DecodeStatus::kTooLarge:
        return L"its stored size exceeds the block size";
    case DecodeStatus::kUnknownCodec:
        return L"its codec or predictor is not known";
    case DecodeStatus::kDamaged:
        return L"the codec refused its bytes (truncated or damaged)";
    case DecodeStatus::kWrongSize:
        return L"it decodes to a size other than the block size";
    }
    return L"unknown";
}

uint64_t BlockChecksum(int32_t kind, const unsigned char *bytes, std::size_t count) {
    if (kind != OIMG_CHECKSUM_XXH3) return 0;
#if ORVIK_XXH3_AVX2
    static const bool wide = __builtin_cpu_supports("avx2");
    if (wide) return Xxh3Avx2(bytes, count);
#endif
    return XXH3_64bits(bytes, count);
}

void CopyRows(const unsigned char *from, const port::fs::Piece *rows, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
        std::memcpy(rows[i].bytes, from, rows[i].count);
        from += rows[i].count;
    }
}

} // namespace orvik::img
