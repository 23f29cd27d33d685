// Tile geometry of a layer record and the codec between block rows in file form and host
// pixels. Sub-byte pixels are packed least significant first as MIF packs them; numeric
// pixels are little-endian scalars (byte-reversed on a big-endian host); "string" pixels are
// zero-padded UTF-8 cells.
#include <cstring>
#include <string_view>

#include "core/heap_text.hpp"
#include "core/utf8.hpp"
#include "img/layer.hpp"
#include "mif/element_codec.hpp"

namespace orvik::img {
namespace {

constexpr int64_t kMax32 = 0x7FFFFFFF;

int32_t PerByte(int32_t type) {
    switch (type) {
    case OGDA_U1:
        return 8;
    case OGDA_U2:
        return 4;
    case OGDA_U4:
        return 2;
    default:
        return 0;
    }
}

// Width of one scalar of a numeric type (a complex pixel is two).
std::size_t ScalarWidth(int32_t type) {
    switch (type) {
    case OGDA_C64:
        return 4;
    case OGDA_C128:
        return 8;
    default:
        return static_cast<std::size_t>(
            ogda_NumBytePerPixelFromType(static_cast<Ogda_PixelType>(type)));
    }
}

void ToHost(const unsigned char *file, std::size_t bytes, std::size_t width, unsigned char *host) {
    switch (width) {
    case 2:
        mif::ScalarsToHost<2>(file, bytes / 2, host);
        break;
    case 4:
        mif::ScalarsToHost<4>(file, bytes / 4, host);
        break;
    case 8:
        mif::ScalarsToHost<8>(file, bytes / 8, host);
        break;
    default:
        std::memcpy(host, file, bytes);
    }
}

void ToFile(const unsigned char *host, std::size_t bytes, std::size_t width, unsigned char *file) {
    switch (width) {
    case 2:
        mif::ScalarsToFile<2>(host, bytes / 2, file);
        break;
    case 4:
        mif::ScalarsToFile<4>(host, bytes / 4, file);
        break;
    case 8:
        mif::ScalarsToFile<8>(host, bytes / 8, file);
        break;
    default:
        std::memcpy(file, host, bytes);
    }
}

} // namespace

Geometry GeometryOf(const Oimg_LayerInfo &info) {
    Geometry g;
    const int32_t t = info.pixelType;
    if (info.width < 1 || info.height < 1 || info.blockWidth < 1 || info.blockHeight < 1) {
        g.problem = L"width, height and block sizes must be at least 1";
        return g;
    }
    if (t < 0 || t >= OGDA_PIXEL_TYPE_COUNT) {
        g.problem = L"unknown pixel type";
        return g;
    }
    if (info.layerKind != OIMG_THEMATIC && info.layerKind != OIMG_CONTINUOUS) {
        g.problem = L"unknown layer kind";
        return g;
    }
    const bool text = t == OGDA_STRING;
    if (text ? (info.cellBytes < 1 || info.cellBytes > kMaxCellBytes) : info.cellBytes != 0) {
        g.problem = L"cell size does not suit the pixel type";
        return g;
    }
    g.perByte = PerByte(t);
    g.hostBytes = ogda_NumBytePerPixelFromType(static_cast<Ogda_PixelType>(t));
    if (text) g.hostBytes = static_cast<int32_t>(sizeof(wchar_t *));
    g.fileBytes = text ? info.cellBytes : g.perByte ? 0 : g.hostBytes;
    g.rowBytes = g.perByte ? (int64_t{info.blockWidth} - 1) / g.perByte + 1
                           : int64_t{info.blockWidth} * g.fileBytes;
    g.blockBytes = g.rowBytes * info.blockHeight;
    g.blocksAcross =
        static_cast<int32_t>((int64_t{info.width} + info.blockWidth - 1) / info.blockWidth);
    g.blocksDown =
        static_cast<int32_t>((int64_t{info.height} + info.blockHeight - 1) / info.blockHeight);
    g.blockCount = int64_t{g.blocksAcross} * g.blocksDown;
    if (g.blockBytes > kMax32 || g.blockCount > kMax32) {
        g.problem = L"block size overflows 32 bits";
        return g;
    }
    // Opening a layer allocates a few blocks and a block row in host form, whatever the file
    // holds, so their sizes are bounded.
    if (g.blockBytes > kMaxBlockBytes || info.blockWidth > kMaxBlockSide) {
        g.problem = L"blocks larger than 16 MiB or wider than 1048576 pixels";
        return g;
    }
    g.valid = true;
    return g;
}

void DecodeRow(const Oimg_LayerInfo &info, const Geometry &g, const unsigned char *row,
               int32_t first, int32_t count, unsigned char *host) {
    if (g.perByte) {
        const int bits = 8 / g.perByte;
        const unsigned mask = (1u << bits) - 1;
        for (int32_t i = 0; i < count; ++i) {
            const int32_t p = first + i;
            host[i] =
                static_cast<unsigned char>((row[p / g.perByte] >> ((p % g.perByte) * bits)) & mask);
        }
    } else if (info.pixelType == OGDA_STRING) {
        for (int32_t i = 0; i < count; ++i) {
            const char *cell =
                reinterpret_cast<const char *>(row) + int64_t{first + i} * g.fileBytes;
            const std::size_t n = strnlen(cell, static_cast<std::size_t>(g.fileBytes));
            wchar_t *text =
                n ? core::HeapDup(text::Utf8ToWideLossy(std::string_view(cell, n))) : nullptr;
            std::memcpy(host + i * sizeof text, &text, sizeof text);
        }
    } else {
        ToHost(row + int64_t{first} * g.fileBytes, static_cast<std::size_t>(count) * g.fileBytes,
               ScalarWidth(info.pixelType), host);
    }
}

bool EncodeRow(const Oimg_LayerInfo &info, const Geometry &g, const unsigned char *host,
               int32_t first, int32_t count, unsigned char *row) {
    if (g.perByte) {
        const int bits = 8 / g.perByte;
        const unsigned mask = (1u << bits) - 1;
        for (int32_t i = 0; i < count; ++i) {
            const int32_t p = first + i;
            const int shift = (p % g.perByte) * bits;
            unsigned char &byte = row[p / g.perByte];
            byte =
                static_cast<unsigned char>((byte & ~(mask << shift)) | ((host[i] & mask) << shift));
        }
        return true;
    }
    if (info.pixelType == OGDA_STRING) {
        for (int32_t i = 0; i < count; ++i) {
            const wchar_t *text;
            std::memcpy(&text, host + i * sizeof text, sizeof text);
            char *cell = reinterpret_cast<char *>(row) + int64_t{first + i} * g.fileBytes;
            const std::string utf8 = text ? text::WideToUtf8Lossy(text) : std::string();
            if (utf8.size() > static_cast<std::size_t>(g.fileBytes)) return false;
            std::memset(cell, 0, static_cast<std::size_t>(g.fileBytes));
            std::memcpy(cell, utf8.data(), utf8.size());
        }
        return true;
    }
    ToFile(host, static_cast<std::size_t>(count) * g.fileBytes, ScalarWidth(info.pixelType),
           row + int64_t{first} * g.fileBytes);
    return true;
}

void FreeStrings(unsigned char *host, int32_t count) {
    for (int32_t i = 0; i < count; ++i) {
        wchar_t *text;
        std::memcpy(&text, host + i * sizeof text, sizeof text);
        omsc_HeapFree(text);
        text = nullptr;
        std::memcpy(host + i * sizeof text, &text, sizeof text);
    }
}

} // namespace orvik::img
