// Whole bands held in memory as raster BaseData, the georeferencing kept with an image, and
// the image files the tool reads and writes.
#pragma once

#include <functional>
#include <initializer_list>
#include <memory>
#include <string>
#include <vector>

#include <orvik/ogda.h>

namespace orvik_tool {

struct BaseDataDeleter {
    void operator()(Ogda_BaseData *d) const { ogda_BaseDataDelete(d, nullptr); }
};
using Band = std::unique_ptr<Ogda_BaseData, BaseDataDeleter>;

// A new rows x columns raster of `type` (throws Failure when memory runs out).
Band NewBand(int32_t rows, int32_t columns, Ogda_PixelType type);
// Bytes of one pixel of a numeric type (0 for the packed and string types).
int PixelBytes(Ogda_PixelType type);
inline unsigned char *RowOf(Ogda_BaseData *band, int32_t row) {
    return static_cast<unsigned char *>(band->data) +
           static_cast<std::size_t>(row) * band->lineBytes;
}
inline const unsigned char *RowOf(const Ogda_BaseData *band, int32_t row) {
    return static_cast<const unsigned char *>(band->data) +
           static_cast<std::size_t>(row) * band->lineBytes;
}

// Where the image lies on the ground: the upper-left corner of the upper-left pixel, the
// size of a pixel, and the EPSG code of the coordinate system (0: unknown).
struct MapInfo {
    bool present = false;
    double originX = 0, originY = 0, pixelWidth = 1, pixelHeight = 1;
    int32_t epsg = 0;
    bool projected = true; // false: a geographic (latitude/longitude) system
};

struct ImageData {
    int32_t width = 0, height = 0;
    std::vector<Band> bands;
    MapInfo map;
};

// TIFF and GeoTIFF through libtiff: stripped or tiled, contiguous or separate planes, 8 to
// 64-bit integer, real and complex samples. `progress` (0..1) is reported while reading.
ImageData ReadTiff(const std::string &path, const std::function<void(double)> &progress);
// Writes the bands as one TIFF (tiled 256 x 256, one sample per band) with `map` as GeoTIFF
// tags when present.
void WriteTiff(const std::string &path, const ImageData &image);

// PGM (one band) and PPM (three bands), 8 or 16-bit.
ImageData ReadPnm(const std::string &path);
void WritePnm(const std::string &path, const ImageData &image);

// Whether the file name ends in one of the extensions (case-insensitive, with the dot).
bool HasExtension(const std::string &path, std::initializer_list<const char *> extensions);

} // namespace orvik_tool
