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

// Copies a rows x columns piece of one sample of a decoded strip or tile into the band.
// `stride` is the samples per pixel of the piece (1 for separate planes).
void Scatter(const unsigned char *piece, int32_t pieceWidth, int stride, int sample, int bytes,
             Ogda_BaseData *band, int32_t row0, int32_t col0, int32_t rows, int32_t columns) {
    for (int32_t r = 0; r < rows; ++r) {
        const unsigned char *src =
            piece + (static_cast<std::size_t>(r) * pieceWidth * stride + sample) * bytes;
        unsigned char *dst = RowOf(band, row0 + r) + static_cast<std::size_t>(col0) * bytes;
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

} // namespace

ImageData ReadTiff(const std::string &path, const std::function<void(double)> &progress) {
    QuietTiff();
    TiffFile file(path, "r");
    TIFF *tif = file.get();
    if (!tif) throw Failure("Unsupported image " + path + ": " + Why());
    uint32_t width = 0, height = 0;
    uint16_t spp = 1, bits = 1, format = SAMPLEFORMAT_UINT, planar = PLANARCONFIG_CONTIG;
    TIFFGetField(tif, TIFFTAG_IMAGEWIDTH, &width);
    TIFFGetField(tif, TIFFTAG_IMAGELENGTH, &height);
    TIFFGetFieldDefaulted(tif, TIFFTAG_SAMPLESPERPIXEL, &spp);
    TIFFGetFieldDefaulted(tif, TIFFTAG_BITSPERSAMPLE, &bits);
    TIFFGetFieldDefaulted(tif, TIFFTAG_SAMPLEFORMAT, &format);
    TIFFGetFieldDefaulted(tif, TIFFTAG_PLANARCONFIG, &planar);
    const Ogda_PixelType type = TypeOf(format, bits);
    if (type == OGDA_PIXEL_INVALID)
        throw Failure("Unsupported image " + path + ": " + std::to_string(bits) +
                      "-bit samples of format " + std::to_string(format));
    if (width < 1 || height < 1 || width > 0x7FFFFFFF || height > 0x7FFFFFFF || spp < 1)
        throw Failure("Unsupported image " + path + ": size " + std::to_string(width) + " x " +
                      std::to_string(height) + " x " + std::to_string(spp));
    ImageData image;
    image.width = static_cast<int32_t>(width);
    image.height = static_cast<int32_t>(height);
    for (uint16_t s = 0; s < spp; ++s)
        image.bands.push_back(NewBand(image.height, image.width, type));
    const int bytes = PixelBytes(type);
    const bool separate = planar == PLANARCONFIG_SEPARATE && spp > 1;
    const int stride = separate ? 1 : spp;
    const int planes = separate ? spp : 1;
    if (TIFFIsTiled(tif)) {
        uint32_t tw = 0, th = 0;
        TIFFGetField(tif, TIFFTAG_TILEWIDTH, &tw);
        TIFFGetField(tif, TIFFTAG_TILELENGTH, &th);
        const tmsize_t size = TIFFTileSize(tif);
        if (tw == 0 || th == 0 || size <= 0 ||
            static_cast<uint64_t>(size) < static_cast<uint64_t>(tw) * th * stride * bytes)
            throw Failure("Unsupported image " + path + ": bad tile layout");
        std::vector<unsigned char> buf(static_cast<std::size_t>(size));
        for (uint32_t y = 0; y < height; y += th) {
            for (uint32_t x = 0; x < width; x += tw)
                for (int p = 0; p < planes; ++p) {
                    if (TIFFReadTile(tif, buf.data(), x, y, 0, static_cast<uint16_t>(p)) < 0)
                        throw Failure("Cannot read " + path + ": " + Why());
                    const int32_t rows = static_cast<int32_t>(std::min(th, height - y));
                    const int32_t cols = static_cast<int32_t>(std::min(tw, width - x));
                    for (int s = 0; s < (separate ? 1 : spp); ++s)
                        Scatter(buf.data(), static_cast<int32_t>(tw), stride, s, bytes,
                                image.bands[separate ? p : s].get(), static_cast<int32_t>(y),
                                static_cast<int32_t>(x), rows, cols);
                }
            progress(static_cast<double>(y + th) / height);
        }
    } else {
        uint32_t rps = height;
        TIFFGetFieldDefaulted(tif, TIFFTAG_ROWSPERSTRIP, &rps);
        rps = std::max<uint32_t>(1, std::min(rps, height));
        const tmsize_t size = TIFFStripSize(tif);
        if (size <= 0 ||
            static_cast<uint64_t>(size) < static_cast<uint64_t>(width) * rps * stride * bytes)
            throw Failure("Unsupported image " + path + ": bad strip layout");
        std::vector<unsigned char> buf(static_cast<std::size_t>(size));
        for (uint32_t y = 0; y < height; y += rps) {
            for (int p = 0; p < planes; ++p) {
                const uint32_t strip = TIFFComputeStrip(tif, y, static_cast<uint16_t>(p));
                if (TIFFReadEncodedStrip(tif, strip, buf.data(), size) < 0)
                    throw Failure("Cannot read " + path + ": " + Why());
                const int32_t rows = static_cast<int32_t>(std::min(rps, height - y));
                for (int s = 0; s < (separate ? 1 : spp); ++s)
                    Scatter(buf.data(), image.width, stride, s, bytes,
                            image.bands[separate ? p : s].get(), static_cast<int32_t>(y), 0, rows,
                            image.width);
            }
            progress(static_cast<double>(y + rps) / height);
        }
    }
    image.map = ReadMapInfo(tif);
    return image;
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
