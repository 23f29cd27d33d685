// TIFF and GeoTIFF files through libtiff (the geokeys through libgeotiff).
#include <cstdarg>
#include <cstring>

#include <geo_normalize.h>
#include <geotiffio.h>
#include <geovalues.h>
#include <tiffio.h>
#include <xtiffio.h>

#include "common.hpp"
#include "raster.hpp"

namespace orvik_tool {
namespace {

// libtiff's complaints become the text of the failure instead of lines on standard error.
std::string &LastTiffError() {
    static std::string text;
    return text;
}
void OnTiffError(const char *module, const char *format, va_list args) {
    char buf[512];
    std::vsnprintf(buf, sizeof buf, format, args);
    LastTiffError() = std::string(module ? module : "libtiff") + ": " + buf;
}
void OnTiffWarning(const char *, const char *, va_list) {}

void QuietTiff() {
    TIFFSetErrorHandler(OnTiffError);
    TIFFSetWarningHandler(OnTiffWarning);
    LastTiffError().clear();
}

class TiffFile {
  public:
    TiffFile(const std::string &path, const char *mode) : m_tif(XTIFFOpen(path.c_str(), mode)) {}
    ~TiffFile() {
        if (m_tif) XTIFFClose(m_tif);
    }
    TiffFile(const TiffFile &) = delete;
    TiffFile &operator=(const TiffFile &) = delete;
    TIFF *get() const { return m_tif; }
    // Closing writes the directory; its failure is the write's failure.
    void Close() {
        TIFF *t = m_tif;
        m_tif = nullptr;
        XTIFFClose(t);
    }

  private:
    TIFF *m_tif;
};

Ogda_PixelType TypeOf(uint16_t format, uint16_t bits) {
    switch (format) {
    case SAMPLEFORMAT_UINT:
        return bits == 8    ? OGDA_U8
               : bits == 16 ? OGDA_U16
               : bits == 32 ? OGDA_U32
                            : OGDA_PIXEL_INVALID;
    case SAMPLEFORMAT_INT:
        return bits == 8    ? OGDA_S8
               : bits == 16 ? OGDA_S16
               : bits == 32 ? OGDA_S32
                            : OGDA_PIXEL_INVALID;
    case SAMPLEFORMAT_IEEEFP:
        return bits == 32 ? OGDA_F32 : bits == 64 ? OGDA_F64 : OGDA_PIXEL_INVALID;
    case SAMPLEFORMAT_COMPLEXIEEEFP:
        return bits == 64 ? OGDA_C64 : bits == 128 ? OGDA_C128 : OGDA_PIXEL_INVALID;
    default:
        return OGDA_PIXEL_INVALID;
    }
}

void FormatOf(Ogda_PixelType type, uint16_t *format, uint16_t *bits) {
    *bits = static_cast<uint16_t>(PixelBytes(type) * 8);
    switch (type) {
    case OGDA_S8:
    case OGDA_S16:
    case OGDA_S32:
        *format = SAMPLEFORMAT_INT;
        break;
    case OGDA_F32:
    case OGDA_F64:
        *format = SAMPLEFORMAT_IEEEFP;
        break;
    case OGDA_C64:
    case OGDA_C128:
        *format = SAMPLEFORMAT_COMPLEXIEEEFP;
        break;
    default:
        *format = SAMPLEFORMAT_UINT;
    }
}

// Copies rows x columns pixels of one sample of decoded TIFF rows (`stride` samples per pixel,
// `sourceLine` bytes apart) to rows `lineBytes` apart.
void Scatter(const unsigned char *source, std::size_t sourceLine, int stride, int sample, int bytes,
             unsigned char *out, std::size_t lineBytes, int32_t rows, int32_t columns) {
    for (int32_t r = 0; r < rows; ++r) {
        const unsigned char *src =
            source + r * sourceLine + static_cast<std::size_t>(sample) * bytes;
        unsigned char *dst = out + r * lineBytes;
        if (stride == 1) {
            std::memcpy(dst, src, static_cast<std::size_t>(columns) * bytes);
            continue;
        }
        for (int32_t c = 0; c < columns; ++c)
            std::memcpy(dst + static_cast<std::size_t>(c) * bytes,
                        src + static_cast<std::size_t>(c) * stride * bytes, bytes);
    }
}

MapInfo ReadMapInfo(TIFF *tif) {
    MapInfo map;
    uint16_t count = 0;
    double *tie = nullptr, *scale = nullptr;
    if (TIFFGetField(tif, TIFFTAG_GEOTIEPOINTS, &count, &tie) && count >= 6 &&
        TIFFGetField(tif, TIFFTAG_GEOPIXELSCALE, &count, &scale) && count >= 2) {
        map.present = true;
        map.pixelWidth = scale[0];
        map.pixelHeight = scale[1];
        map.originX = tie[3] - tie[0] * scale[0];
        map.originY = tie[4] + tie[1] * scale[1];
    }
    if (GTIF *gt = GTIFNew(tif)) {
        unsigned short model = 0, code = 0;
        if (GTIFKeyGet(gt, GTModelTypeGeoKey, &model, 0, 1) == 1)
            map.projected = model != ModelTypeGeographic;
        if (GTIFKeyGet(gt, map.projected ? ProjectedCSTypeGeoKey : GeographicTypeGeoKey, &code, 0,
                       1) == 1 &&
            code != KvUserDefined)
            map.epsg = code;
        GTIFFree(gt);
    }
    return map;
}

void WriteMapInfo(TIFF *tif, const MapInfo &map) {
    double tie[6] = {0, 0, 0, map.originX, map.originY, 0};
    double scale[3] = {map.pixelWidth, map.pixelHeight, 0};
    TIFFSetField(tif, TIFFTAG_GEOTIEPOINTS, 6, tie);
    TIFFSetField(tif, TIFFTAG_GEOPIXELSCALE, 3, scale);
    GTIF *gt = GTIFNew(tif);
    if (!gt) throw Failure("Cannot write the georeferencing");
    GTIFKeySet(gt, GTModelTypeGeoKey, TYPE_SHORT, 1,
               map.projected ? ModelTypeProjected : ModelTypeGeographic);
    GTIFKeySet(gt, GTRasterTypeGeoKey, TYPE_SHORT, 1, RasterPixelIsArea);
    if (map.epsg > 0 && map.epsg < 65535)
        GTIFKeySet(gt, map.projected ? ProjectedCSTypeGeoKey : GeographicTypeGeoKey, TYPE_SHORT, 1,
                   map.epsg);
    GTIFWriteKeys(gt);
    GTIFFree(gt);
}

std::string Why() { return LastTiffError().empty() ? "not a TIFF file" : LastTiffError(); }

// A TIFF read one strip or one row of tiles (a piece) at a time; the last piece of each plane
// is kept, since the rows asked for need not start or end with a piece.
class TiffSource final : public ImageSource {
  public:
    explicit TiffSource(const std::string &path) : m_path(path), m_file(path, "r") {
        TIFF *tif = m_file.get();
        if (!tif) throw Failure("Unsupported image " + path + ": " + Why());
        uint32_t w = 0, h = 0;
        uint16_t spp = 1, bits = 1, format = SAMPLEFORMAT_UINT, planar = PLANARCONFIG_CONTIG;
        TIFFGetField(tif, TIFFTAG_IMAGEWIDTH, &w);
        TIFFGetField(tif, TIFFTAG_IMAGELENGTH, &h);
        TIFFGetFieldDefaulted(tif, TIFFTAG_SAMPLESPERPIXEL, &spp);
        TIFFGetFieldDefaulted(tif, TIFFTAG_BITSPERSAMPLE, &bits);
        TIFFGetFieldDefaulted(tif, TIFFTAG_SAMPLEFORMAT, &format);
        TIFFGetFieldDefaulted(tif, TIFFTAG_PLANARCONFIG, &planar);
        type = TypeOf(format, bits);
        if (type == OGDA_PIXEL_INVALID)
            throw Failure("Unsupported image " + path + ": " + std::to_string(bits) +
                          "-bit samples of format " + std::to_string(format));
        if (w < 1 || h < 1 || w > 0x7FFFFFFF || h > 0x7FFFFFFF || spp < 1)
            throw Failure("Unsupported image " + path + ": size " + std::to_string(w) + " x " +
                          std::to_string(h) + " x " + std::to_string(spp));
        width = static_cast<int32_t>(w);
        height = static_cast<int32_t>(h);
        bands = spp;
        m_bytes = PixelBytes(type);
        const bool separate = planar == PLANARCONFIG_SEPARATE && spp > 1;
        m_stride = separate ? 1 : spp;
        m_planes = separate ? spp : 1;
        m_line = static_cast<std::size_t>(w) * m_stride * m_bytes;
        uint64_t pieceBytes = 0;
        if (TIFFIsTiled(tif)) {
            TIFFGetField(tif, TIFFTAG_TILEWIDTH, &m_tileWidth);
            TIFFGetField(tif, TIFFTAG_TILELENGTH, &m_pieceRows);
            const tmsize_t size = TIFFTileSize(tif);
            if (m_tileWidth == 0 || m_pieceRows == 0 || size <= 0 ||
                static_cast<uint64_t>(size) <
                    static_cast<uint64_t>(m_tileWidth) * m_pieceRows * m_stride * m_bytes)
                throw Failure("Unsupported image " + path + ": bad tile layout");
            m_tile.resize(static_cast<std::size_t>(size));
            pieceBytes = static_cast<uint64_t>(m_line) * std::min(m_pieceRows, h);
        } else {
            m_pieceRows = h;
            TIFFGetFieldDefaulted(tif, TIFFTAG_ROWSPERSTRIP, &m_pieceRows);
            m_pieceRows = std::max<uint32_t>(1, std::min(m_pieceRows, h));
            const tmsize_t size = TIFFStripSize(tif);
            if (size <= 0 ||
                static_cast<uint64_t>(size) < static_cast<uint64_t>(m_line) * m_pieceRows)
                throw Failure("Unsupported image " + path + ": bad strip layout");
            pieceBytes = static_cast<uint64_t>(size);
        }
        m_pieceBytes = static_cast<std::size_t>(pieceBytes);
        m_pieces.resize(m_planes);
        m_cached.assign(m_planes, -1);
        map = ReadMapInfo(tif);
    }

    void Read(int32_t row, int32_t rows, const std::vector<unsigned char *> &out,
              std::size_t lineBytes) override {
        const auto pieceRows = static_cast<int32_t>(m_pieceRows);
        for (int p = 0; p < m_planes; ++p)
            for (int32_t y = row; y < row + rows;) {
                const int32_t piece = y / pieceRows, top = piece * pieceRows;
                const int32_t held = std::min(pieceRows, height - top);
                const int32_t end = std::min(top + held, row + rows);
                unsigned char *first = out[m_planes > 1 ? p : 0] + (y - row) * lineBytes;
                // A whole strip of one sample goes straight where it belongs.
                if (m_tileWidth == 0 && m_stride == 1 && y == top && end == top + held &&
                    lineBytes == m_line) {
                    DecodeStrip(p, piece, first, m_line * held);
                } else {
                    const unsigned char *source = Load(p, piece) + (y - top) * m_line;
                    for (int s = 0; s < m_stride; ++s)
                        Scatter(source, m_line, m_stride, s, m_bytes,
                                out[m_planes > 1 ? p : s] + (y - row) * lineBytes, lineBytes,
                                end - y, width);
                }
                y = end;
            }
    }

  private:
    void DecodeStrip(int plane, int32_t piece, unsigned char *into, std::size_t bytes) {
        TIFF *tif = m_file.get();
        const uint32_t strip = TIFFComputeStrip(tif, static_cast<uint32_t>(piece) * m_pieceRows,
                                                static_cast<uint16_t>(plane));
        if (TIFFReadEncodedStrip(tif, strip, into, static_cast<tmsize_t>(bytes)) <
            static_cast<tmsize_t>(bytes))
            throw Failure("Cannot read " + m_path + ": " + Why());
    }

    // The decoded piece of `plane`, whole rows of the image.
    const unsigned char *Load(int plane, int32_t piece) {
        std::vector<unsigned char> &buf = m_pieces[plane];
        if (m_cached[plane] == piece) return buf.data();
        m_cached[plane] = -1;
        buf.resize(m_pieceBytes);
        const auto top = static_cast<uint32_t>(piece) * m_pieceRows;
        const int32_t held = std::min(static_cast<int32_t>(m_pieceRows), height - int32_t(top));
        if (m_tileWidth == 0) {
            DecodeStrip(plane, piece, buf.data(), m_line * held);
        } else {
            const std::size_t tileLine = static_cast<std::size_t>(m_tileWidth) * m_stride * m_bytes;
            for (uint32_t x = 0; x < static_cast<uint32_t>(width); x += m_tileWidth) {
                if (TIFFReadTile(m_file.get(), m_tile.data(), x, top, 0,
                                 static_cast<uint16_t>(plane)) < 0)
                    throw Failure("Cannot read " + m_path + ": " + Why());
                const std::size_t columns = std::min<uint32_t>(m_tileWidth, width - x);
                for (int32_t r = 0; r < held; ++r)
                    std::memcpy(buf.data() + r * m_line + x * m_stride * m_bytes,
                                m_tile.data() + r * tileLine, columns * m_stride * m_bytes);
            }
        }
        m_cached[plane] = piece;
        return buf.data();
    }

    std::string m_path;
    TiffFile m_file;
    int m_bytes = 1, m_stride = 1, m_planes = 1;
    std::size_t m_line = 0;       // bytes of one decoded image row of a plane
    uint32_t m_pieceRows = 1;     // rows per strip or per tile
    uint32_t m_tileWidth = 0;     // 0: stripped
    std::size_t m_pieceBytes = 0; // bytes of a decoded piece
    std::vector<unsigned char> m_tile;
    std::vector<std::vector<unsigned char>> m_pieces;
    std::vector<int32_t> m_cached; // piece each plane's buffer holds, -1 none
};

} // namespace

std::unique_ptr<ImageSource> OpenTiff(const std::string &path) {
    QuietTiff();
    return std::make_unique<TiffSource>(path);
}

void WriteTiff(const std::string &path, const ImageData &image) {
    QuietTiff();
    if (image.bands.empty()) throw Failure("Nothing to write");
    const Ogda_PixelType type = image.bands[0]->datatype;
    for (const Band &b : image.bands)
        if (b->datatype != type) throw Failure("The layers of one TIFF must share a pixel type");
    const int bytes = PixelBytes(type);
    if (bytes == 0) throw Failure("No TIFF sample format for this pixel type");
    TiffFile file(path, "w");
    TIFF *tif = file.get();
    if (!tif) throw Failure("Cannot create " + path + ": " + Why());
    uint16_t format = 0, bits = 0;
    FormatOf(type, &format, &bits);
    const auto spp = static_cast<uint16_t>(image.bands.size());
    constexpr uint32_t kTile = 256;
    TIFFSetField(tif, TIFFTAG_IMAGEWIDTH, static_cast<uint32_t>(image.width));
    TIFFSetField(tif, TIFFTAG_IMAGELENGTH, static_cast<uint32_t>(image.height));
    TIFFSetField(tif, TIFFTAG_SAMPLESPERPIXEL, spp);
    TIFFSetField(tif, TIFFTAG_BITSPERSAMPLE, bits);
    TIFFSetField(tif, TIFFTAG_SAMPLEFORMAT, format);
    TIFFSetField(tif, TIFFTAG_PLANARCONFIG, PLANARCONFIG_SEPARATE);
    TIFFSetField(tif, TIFFTAG_COMPRESSION, COMPRESSION_NONE);
    const bool rgb = spp == 3 && type == OGDA_U8;
    TIFFSetField(tif, TIFFTAG_PHOTOMETRIC, rgb ? PHOTOMETRIC_RGB : PHOTOMETRIC_MINISBLACK);
    if (!rgb && spp > 1) {
        std::vector<uint16_t> extra(spp - 1, EXTRASAMPLE_UNSPECIFIED);
        TIFFSetField(tif, TIFFTAG_EXTRASAMPLES, static_cast<uint16_t>(spp - 1), extra.data());
    }
    TIFFSetField(tif, TIFFTAG_TILEWIDTH, kTile);
    TIFFSetField(tif, TIFFTAG_TILELENGTH, kTile);
    if (image.map.present) WriteMapInfo(tif, image.map);
    std::vector<unsigned char> tile(static_cast<std::size_t>(kTile) * kTile * bytes);
    for (uint16_t s = 0; s < spp; ++s)
        for (int32_t y = 0; y < image.height; y += kTile)
            for (int32_t x = 0; x < image.width; x += kTile) {
                std::fill(tile.begin(), tile.end(), 0);
                const int32_t rows = std::min<int32_t>(kTile, image.height - y);
                const int32_t cols = std::min<int32_t>(kTile, image.width - x);
                for (int32_t r = 0; r < rows; ++r)
                    std::memcpy(tile.data() + static_cast<std::size_t>(r) * kTile * bytes,
                                RowOf(image.bands[s].get(), y + r) +
                                    static_cast<std::size_t>(x) * bytes,
                                static_cast<std::size_t>(cols) * bytes);
                if (TIFFWriteTile(tif, tile.data(), static_cast<uint32_t>(x),
                                  static_cast<uint32_t>(y), 0, s) < 0)
                    throw Failure("Cannot write " + path + ": " + Why());
            }
    file.Close();
    if (!LastTiffError().empty()) throw Failure("Cannot write " + path + ": " + Why());
}

} // namespace orvik_tool
