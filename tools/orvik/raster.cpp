#include "raster.hpp"

#include <algorithm>
#include <cctype>
#include <cstring>
#include <fstream>
#include <iterator>

#include "common.hpp"
#include "pnm.hpp"

namespace orvik_tool {

Band NewBand(int32_t rows, int32_t columns, Ogda_PixelType type) {
    Report err;
    Band band(ogda_BaseDataCreate(rows, columns, type, Ogda_Raster, nullptr, err));
    if (!band) {
        err.ThrowIfSet("Cannot hold a " + std::to_string(columns) + " x " + std::to_string(rows) +
                       " band");
        throw Failure("Cannot hold the band");
    }
    return band;
}

int PixelBytes(Ogda_PixelType type) {
    switch (type) {
    case OGDA_U8:
    case OGDA_S8:
        return 1;
    case OGDA_U16:
    case OGDA_S16:
        return 2;
    case OGDA_U32:
    case OGDA_S32:
    case OGDA_F32:
        return 4;
    case OGDA_F64:
    case OGDA_C64:
        return 8;
    case OGDA_C128:
        return 16;
    default:
        return 0;
    }
}

bool HasExtension(const std::string &path, std::initializer_list<const char *> extensions) {
    std::string lower = path;
    std::transform(lower.begin(), lower.end(), lower.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    for (const char *e : extensions) {
        const std::string ext(e);
        if (lower.size() > ext.size() &&
            lower.compare(lower.size() - ext.size(), ext.size(), ext) == 0)
            return true;
    }
    return false;
}

namespace {

class MemorySource final : public ImageSource {
  public:
    explicit MemorySource(ImageData image) : m_image(std::move(image)) {
        width = m_image.width;
        height = m_image.height;
        bands = static_cast<int32_t>(m_image.bands.size());
        type = m_image.bands.at(0)->datatype;
        map = m_image.map;
    }
    void Read(int32_t row, int32_t rows, const std::vector<unsigned char *> &out,
              std::size_t lineBytes) override {
        const std::size_t bytes = static_cast<std::size_t>(PixelBytes(type)) * width;
        for (std::size_t b = 0; b < m_image.bands.size(); ++b)
            for (int32_t r = 0; r < rows; ++r)
                std::memcpy(out[b] + r * lineBytes, RowOf(m_image.bands[b].get(), row + r), bytes);
    }

  private:
    ImageData m_image;
};

} // namespace

std::unique_ptr<ImageSource> SourceOf(ImageData image) {
    return std::make_unique<MemorySource>(std::move(image));
}

ImageData ReadPnm(const std::string &path) {
    std::ifstream in(path, std::ios::binary);
    if (!in) throw Failure("Cannot read " + path);
    const std::vector<uint8_t> bytes{std::istreambuf_iterator<char>(in),
                                     std::istreambuf_iterator<char>()};
    orvik_pnm::Image pnm;
    std::string why;
    if (!orvik_pnm::Parse(bytes.data(), bytes.size(), &pnm, &why))
        throw Failure("Unsupported image " + path + ": " + why);
    ImageData image;
    image.width = pnm.width;
    image.height = pnm.height;
    const Ogda_PixelType type = pnm.Wide() ? OGDA_U16 : OGDA_U8;
    for (int32_t c = 0; c < pnm.channels; ++c) {
        Band band = NewBand(pnm.height, pnm.width, type);
        for (int32_t r = 0; r < pnm.height; ++r) {
            const uint16_t *src =
                pnm.samples.data() + (static_cast<std::size_t>(r) * pnm.width) * pnm.channels + c;
            unsigned char *dst = RowOf(band.get(), r);
            for (int32_t x = 0; x < pnm.width; ++x) {
                const uint16_t v = src[static_cast<std::size_t>(x) * pnm.channels];
                if (type == OGDA_U8)
                    dst[x] = static_cast<uint8_t>(v);
                else
                    reinterpret_cast<uint16_t *>(dst)[x] = v;
            }
        }
        image.bands.push_back(std::move(band));
    }
    return image;
}

void WritePnm(const std::string &path, const ImageData &image) {
    const std::size_t n = image.bands.size();
    if (n != 1 && n != 3)
        throw Failure("PGM holds one band and PPM three; " + std::to_string(n) + " given");
    const Ogda_PixelType type = image.bands[0]->datatype;
    for (const Band &b : image.bands)
        if (b->datatype != type || (type != OGDA_U8 && type != OGDA_U16))
            throw Failure("PGM and PPM hold 8 or 16-bit unsigned data only");
    orvik_pnm::Image pnm;
    pnm.width = image.width;
    pnm.height = image.height;
    pnm.channels = static_cast<int32_t>(n);
    pnm.maxValue = type == OGDA_U8 ? 255 : 65535;
    pnm.samples.resize(static_cast<std::size_t>(image.width) * image.height * n);
    for (std::size_t c = 0; c < n; ++c)
        for (int32_t r = 0; r < image.height; ++r) {
            const unsigned char *src = RowOf(image.bands[c].get(), r);
            for (int32_t x = 0; x < image.width; ++x)
                pnm.samples[(static_cast<std::size_t>(r) * image.width + x) * n + c] =
                    type == OGDA_U8 ? src[x] : reinterpret_cast<const uint16_t *>(src)[x];
        }
    const std::vector<uint8_t> bytes = orvik_pnm::Write(pnm);
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char *>(bytes.data()),
              static_cast<std::streamsize>(bytes.size()));
    if (!out) throw Failure("Cannot write " + path);
}

} // namespace orvik_tool
