// Whole bands held in memory as raster BaseData, the georeferencing kept with an image, and
// the image files the tool reads and writes.
#pragma once

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

// An image read a few rows at a time, every band at once, so that it never needs to be held
// whole.
class ImageSource {
  public:
    virtual ~ImageSource() = default;
    int32_t width = 0, height = 0;
    int32_t bands = 0;
    Ogda_PixelType type = OGDA_U8;
    MapInfo map;
    // Rows row .. row + rows - 1 of band b into out[b], rows lineBytes apart. Rows are asked
    // for in order, top to bottom (throws Failure).
    virtual void Read(int32_t row, int32_t rows, const std::vector<unsigned char *> &out,
                      std::size_t lineBytes) = 0;
};

// TIFF and GeoTIFF through libtiff: stripped or tiled, contiguous or separate planes, 8 to
// 64-bit integer, real and complex samples (throws Failure).
std::unique_ptr<ImageSource> OpenTiff(const std::string &path);
// An image already in memory as a source.
std::unique_ptr<ImageSource> SourceOf(ImageData image);
// Writes the bands as one TIFF (tiled 256 x 256, one sample per band) with `map` as GeoTIFF
// tags when present.
void WriteTiff(const std::string &path, const ImageData &image);

// PGM (one band) and PPM (three bands), 8 or 16-bit.
ImageData ReadPnm(const std::string &path);
void WritePnm(const std::string &path, const ImageData &image);

// Whether the file name ends in one of the extensions (case-insensitive, with the dot).
bool HasExtension(const std::string &path, std::initializer_list<const char *> extensions);

} // namespace orvik_tool
