// import and export: round trips through PGM/PPM and TIFF (8/16-bit, float, tiled, three
// bands, separate planes), the stored statistics and pyramids, and unsupported input.
#include <tiffio.h>

#include <cmath>
#include <cstring>

#include "fio/fio_test_util.hpp"
#include "pnm.hpp"
#include "tools/tool_test_util.hpp"

namespace {

// A deterministic sample value of band b at (row, column) for `bits` wide samples.
double Sample(int b, int row, int column, int bits, bool real) {
    if (real) return std::sin(row * 0.1 + b) * 1000.0 + column * 0.25;
    const uint64_t v = static_cast<uint64_t>(row) * 37 + column * 11 + b * 101;
    return static_cast<double>(v % (bits == 8 ? 256 : 65536));
}

struct TiffSpec {
    int width = 70, height = 45, bands = 1, bits = 8;
    uint16_t format = SAMPLEFORMAT_UINT;
    bool tiled = false, separate = false;
};

// Writes a TIFF with libtiff directly, so that the reader is tested against a file it did
// not write.
void MakeTiff(const std::string &path, const TiffSpec &s) {
    TIFF *t = TIFFOpen(path.c_str(), "w");
    ASSERT_NE(t, nullptr);
    TIFFSetField(t, TIFFTAG_IMAGEWIDTH, s.width);
    TIFFSetField(t, TIFFTAG_IMAGELENGTH, s.height);
    TIFFSetField(t, TIFFTAG_SAMPLESPERPIXEL, s.bands);
    TIFFSetField(t, TIFFTAG_BITSPERSAMPLE, s.bits);
    TIFFSetField(t, TIFFTAG_SAMPLEFORMAT, s.format);
    TIFFSetField(t, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISBLACK);
    TIFFSetField(t, TIFFTAG_PLANARCONFIG, s.separate ? PLANARCONFIG_SEPARATE : PLANARCONFIG_CONTIG);
    TIFFSetField(t, TIFFTAG_COMPRESSION, COMPRESSION_LZW);
    const bool real = s.format == SAMPLEFORMAT_IEEEFP;
    const int bytes = s.bits / 8;
    auto put = [&](unsigned char *p, double v) {
        if (real && s.bits == 32) {
            const float f = static_cast<float>(v);
            std::memcpy(p, &f, 4);
        } else if (bytes == 1) {
            *p = static_cast<uint8_t>(v);
        } else {
            const uint16_t u = static_cast<uint16_t>(v);
            std::memcpy(p, &u, 2);
        }
    };
    const int stride = s.separate ? 1 : s.bands;
    if (s.tiled) {
        TIFFSetField(t, TIFFTAG_TILEWIDTH, 32);
        TIFFSetField(t, TIFFTAG_TILELENGTH, 16);
        std::vector<unsigned char> tile(static_cast<std::size_t>(TIFFTileSize(t)));
        for (int plane = 0; plane < (s.separate ? s.bands : 1); ++plane)
            for (int y = 0; y < s.height; y += 16)
                for (int x = 0; x < s.width; x += 32) {
                    std::fill(tile.begin(), tile.end(), 0);
                    for (int r = 0; r < 16 && y + r < s.height; ++r)
                        for (int c = 0; c < 32 && x + c < s.width; ++c)
                            for (int b = 0; b < stride; ++b)
                                put(&tile[((r * 32 + c) * stride + b) * bytes],
                                    Sample(s.separate ? plane : b, y + r, x + c, s.bits, real));
                    ASSERT_GE(TIFFWriteTile(t, tile.data(), x, y, 0, plane), 0);
                }
    } else {
        TIFFSetField(t, TIFFTAG_ROWSPERSTRIP, 7);
        std::vector<unsigned char> line(static_cast<std::size_t>(TIFFScanlineSize(t)));
        for (int plane = 0; plane < (s.separate ? s.bands : 1); ++plane)
            for (int y = 0; y < s.height; ++y) {
                for (int c = 0; c < s.width; ++c)
                    for (int b = 0; b < stride; ++b)
                        put(&line[(c * stride + b) * bytes],
                            Sample(s.separate ? plane : b, y, c, s.bits, real));
                ASSERT_GE(TIFFWriteScanline(t, line.data(), y, plane), 0);
            }
    }
    TIFFClose(t);
}

class ImportExport : public tool_test::ToolTest {
  protected:
    // Imports, checks the layers' pixels against Sample, exports to TIFF, imports that again
    // and compares the two images' pixels.
    void RoundTrip(const TiffSpec &s, Ogda_PixelType type) {
        MakeTiff(Path("in.tif"), s);
        auto r = Orvik({"import", Path("in.tif"), Path("t.hfa")});
        ASSERT_EQ(r.status, 0) << r.err;
        ExpectPixels("/in", s, type);
        r = Orvik({"export", Path("t.hfa"), "/in", Path("out.tif")});
        ASSERT_EQ(r.status, 0) << r.err;
        r = Orvik({"import", Path("out.tif"), Path("t.hfa")});
        ASSERT_EQ(r.status, 0) << r.err;
        ExpectPixels("/out", s, type);
        EXPECT_EQ(Orvik({"check", Path("t.hfa")}).status, 0);
    }
    void ExpectPixels(const std::string &image, const TiffSpec &s, Ogda_PixelType type) {
        Ohfa_File *f = ohfa_FileOpen(Name("t.hfa").c_str(), L"r", 0, nullptr);
        ASSERT_NE(f, nullptr);
        for (int b = 0; b < s.bands; ++b) {
            const std::string path = image + "/Band_" + std::to_string(b + 1);
            const std::wstring wide(path.begin(), path.end());
            Oimg_Layer *layer = oimg_LayerOpen(f, wide.c_str(), nullptr);
            ASSERT_NE(layer, nullptr) << path;
            EXPECT_EQ(oimg_LayerInfoGet(layer)->pixelType, type);
            Ogda_BaseData *d =
                ogda_BaseDataCreate(s.height, s.width, OGDA_F64, Ogda_Raster, nullptr, nullptr);
            ASSERT_EQ(oimg_LayerRead(layer, d, nullptr), d);
            int wrong = 0;
            const bool real = s.format == SAMPLEFORMAT_IEEEFP;
            for (int y = 0; y < s.height; ++y)
                for (int x = 0; x < s.width; ++x) {
                    const double got = reinterpret_cast<const double *>(
                        static_cast<const unsigned char *>(d->data) + y * d->lineBytes)[x];
                    const double want = real ? static_cast<float>(Sample(b, y, x, s.bits, true))
                                             : Sample(b, y, x, s.bits, false);
                    wrong += got != want;
                }
            EXPECT_EQ(wrong, 0) << path;
            ogda_BaseDataDelete(d, nullptr);
            EXPECT_EQ(oimg_LayerOverviewCount(layer, nullptr), 1) << path; // 70 x 45 -> one level
            oimg_LayerClose(layer, nullptr);
            Osta_Statistics *st =
                osta_StatisticsRead(f, wide.c_str(), nullptr, OMSC_FALSE, nullptr);
            EXPECT_NE(st, nullptr) << path;
            osta_StatisticsDelete(st);
        }
        ohfa_FileClose(f, nullptr);
    }
};

TEST_F(ImportExport, Tiff8BitStripped) { RoundTrip({}, OGDA_U8); }
TEST_F(ImportExport, Tiff16BitTiled) {
    TiffSpec s;
    s.bits = 16;
    s.tiled = true;
    RoundTrip(s, OGDA_U16);
}
TEST_F(ImportExport, TiffFloat) {
    TiffSpec s;
    s.bits = 32;
    s.format = SAMPLEFORMAT_IEEEFP;
    RoundTrip(s, OGDA_F32);
}
TEST_F(ImportExport, TiffThreeBandsContiguousAndSeparate) {
    TiffSpec s;
    s.bands = 3;
    s.tiled = true;
    RoundTrip(s, OGDA_U8);
    TiffSpec p = s;
    p.separate = true;
    p.tiled = false;
    p.bits = 16;
    std::filesystem::remove(Path("t.hfa"));
    RoundTrip(p, OGDA_U16);
}

TEST_F(ImportExport, PgmAndPpmRoundTrip) {
    for (int channels : {1, 3})
        for (int maxValue : {255, 4095}) {
            orvik_pnm::Image img;
            img.width = 33;
            img.height = 21;
            img.channels = channels;
            img.maxValue = maxValue;
            for (int i = 0; i < 33 * 21 * channels; ++i)
                img.samples.push_back(static_cast<uint16_t>((i * 7919) % (maxValue + 1)));
            const std::string ext = channels == 1 ? ".pgm" : ".ppm";
            const auto bytes = orvik_pnm::Write(img);
            WriteRaw(Path("in" + ext), std::string(bytes.begin(), bytes.end()));
            std::filesystem::remove(Path("p.hfa"));
            auto r = Orvik({"import", Path("in" + ext), Path("p.hfa"), "--no-pyramids"});
            ASSERT_EQ(r.status, 0) << r.err;
            EXPECT_EQ(r.out.find("0 pyramid levels") != std::string::npos, true) << r.out;
            r = Orvik({"export", Path("p.hfa"), "/in", Path("out" + ext)});
            ASSERT_EQ(r.status, 0) << r.err;
            orvik_pnm::Image back;
            const std::string out = ReadRaw(Path("out" + ext));
            std::string why;
            ASSERT_TRUE(orvik_pnm::Parse(reinterpret_cast<const uint8_t *>(out.data()), out.size(),
                                         &back, &why))
                << why;
            EXPECT_EQ(back.samples, img.samples);
            EXPECT_EQ(back.channels, channels);
            EXPECT_EQ(back.Wide(), maxValue > 255);
        }
}

TEST_F(ImportExport, SingleBand8BitGetsHistogramAndGreyColourTable) {
    MakeTiff(Path("in.tif"), {});
    ASSERT_EQ(Orvik({"import", Path("in.tif"), Path("t.hfa"), "--layer", "grey"}).status, 0);
    Ohfa_File *f = ohfa_FileOpen(Name("t.hfa").c_str(), L"r", 0, nullptr);
    Odsc_Table *table = odsc_TableOpen(f, L"/in/grey", nullptr);
    ASSERT_NE(table, nullptr);
    EXPECT_EQ(odsc_TableGetNumRows(table), 256);
    Osta_Histogram *h = osta_HistogramRead(table, nullptr, 0, 256, nullptr);
    ASSERT_NE(h, nullptr);
    double total = 0;
    for (int i = 0; i < 256; ++i) total += static_cast<double *>(h->table->data)[i];
    EXPECT_EQ(total, 70.0 * 45.0);
    osta_HistogramDelete(h);
    Osta_ColorTableStack *c = osta_ColorTableStackRead(table, nullptr, 0, 256, nullptr);
    ASSERT_NE(c, nullptr);
    EXPECT_DOUBLE_EQ(static_cast<double *>(c->layers[1]->data)[255], 1.0);
    EXPECT_DOUBLE_EQ(static_cast<double *>(c->layers[2]->data)[51], 0.2);
    osta_ColorTableStackDelete(c);
    odsc_TableClose(table, nullptr);
    ohfa_FileClose(f, nullptr);
}

TEST_F(ImportExport, BadInput) {
    WriteRaw(Path("bad.tif"), "II*\0garbage that is not a tiff directory");
    WriteRaw(Path("bad.pgm"), "P5\n10 10\n255\nshort");
    WriteRaw(Path("x.bmp"), "BM");
    const std::string file = MakeSmallFile();
    for (const auto &args :
         std::vector<std::vector<std::string>>{{"import", Path("bad.tif"), Path("n.hfa")},
                                               {"import", Path("bad.pgm"), Path("n.hfa")},
                                               {"import", Path("x.bmp"), Path("n.hfa")},
                                               {"import", Path("missing.tif"), Path("n.hfa")},
                                               {"export", file, "/Notes", Path("o.tif")},
                                               {"export", file, "/Image", Path("o.png")},
                                               {"export", file, "/Nothing", Path("o.tif")}}) {
        const auto r = Orvik(args);
        EXPECT_EQ(r.status, 2) << args[1];
        EXPECT_EQ(std::count(r.err.begin(), r.err.end(), '\n'), 1) << r.err;
        EXPECT_EQ(r.err.rfind("orvik: ", 0), 0u) << r.err;
    }
    EXPECT_NE(Orvik({"import", Path("bad.pgm"), Path("n.hfa")}).err.find("truncated"),
              std::string::npos);
    // An image name that is taken is refused.
    MakeTiff(Path("Image.tif"), {});
    EXPECT_NE(Orvik({"import", Path("Image.tif"), file}).err.find("Node already exists: /Image"),
              std::string::npos);
}

} // namespace
