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

// The image imported row by row (statistics counted and pyramids built as the rows pass) holds
// what the layer read back gives: "/ref" is made here from the imported layers' pixels, with
// pyramids built from the stored layer and statistics computed by reading it.
class StreamedImport : public ImportExport {
  protected:
    void Check(const TiffSpec &s) {
        SCOPED_TRACE(std::to_string(s.bits) + "-bit, " + std::to_string(s.bands) + " band(s)" +
                     (s.tiled ? ", tiled" : "") + (s.separate ? ", separate" : ""));
        std::filesystem::remove(Path("t.hfa"));
        MakeTiff(Path("in.tif"), s);
        auto r = Orvik({"import", Path("in.tif"), Path("t.hfa")});
        ASSERT_EQ(r.status, 0) << r.err;
        Ohfa_File *f = ohfa_FileOpen(Name("t.hfa").c_str(), L"r+", 0, nullptr);
        ASSERT_NE(f, nullptr);
        ASSERT_EQ(oimg_ImageCreate(f, nullptr, L"ref", nullptr), 0);
        for (int b = 1; b <= s.bands; ++b) {
            Oimg_Layer *in = oimg_LayerOpen(f, Layer("in", b).c_str(), nullptr);
            ASSERT_NE(in, nullptr);
            Ogda_BaseData *d = oimg_LayerRead(in, nullptr, nullptr);
            Oimg_Layer *ref = oimg_LayerCreate(f, L"/ref", Layer("ref", b).substr(5).c_str(),
                                               oimg_LayerInfoGet(in), nullptr);
            ASSERT_NE(ref, nullptr);
            EXPECT_EQ(oimg_LayerWrite(ref, d, nullptr), 0);
            EXPECT_GT(oimg_LayerBuildOverviews(ref, nullptr), 0);
            ogda_BaseDataDelete(d, nullptr);
            oimg_LayerClose(ref, nullptr);
            oimg_LayerClose(in, nullptr);
        }
        ASSERT_EQ(ohfa_FileClose(f, nullptr), 0);
        r = Orvik({"stats", Path("t.hfa"), "/ref", "--compute"});
        ASSERT_EQ(r.status, 0) << r.err;
        f = ohfa_FileOpen(Name("t.hfa").c_str(), L"r", 0, nullptr);
        for (int b = 1; b <= s.bands; ++b) ExpectSame(f, Layer("in", b), Layer("ref", b));
        ohfa_FileClose(f, nullptr);
    }

    static std::wstring Layer(const std::string &image, int band) {
        const std::string p = "/" + image + "/Band_" + std::to_string(band);
        return std::wstring(p.begin(), p.end());
    }

    static std::vector<double> Values(const Ogda_BaseData *d) {
        if (!d) return {};
        const auto *p = static_cast<const double *>(d->data);
        return std::vector<double>(p, p + d->numelements);
    }

    void ExpectSame(Ohfa_File *f, const std::wstring &a, const std::wstring &b) {
        SCOPED_TRACE(std::string(a.begin(), a.end()));
        Osta_Statistics *sa = osta_StatisticsRead(f, a.c_str(), nullptr, OMSC_FALSE, nullptr);
        Osta_Statistics *sb = osta_StatisticsRead(f, b.c_str(), nullptr, OMSC_FALSE, nullptr);
        ASSERT_NE(sa, nullptr);
        ASSERT_NE(sb, nullptr);
        EXPECT_EQ(std::memcmp(sa, sb, sizeof *sa), 0);
        osta_StatisticsDelete(sa);
        osta_StatisticsDelete(sb);
        Odsc_Table *ta = odsc_TableOpen(f, a.c_str(), nullptr);
        Odsc_Table *tb = odsc_TableOpen(f, b.c_str(), nullptr);
        ASSERT_NE(ta, nullptr);
        ASSERT_NE(tb, nullptr);
        const int32_t rows = odsc_TableGetNumRows(ta);
        EXPECT_EQ(rows, odsc_TableGetNumRows(tb));
        Osta_Histogram *ha = osta_HistogramRead(ta, nullptr, 0, rows, nullptr);
        Osta_Histogram *hb = osta_HistogramRead(tb, nullptr, 0, rows, nullptr);
        ASSERT_NE(hb, nullptr);
        EXPECT_EQ(Values(ha->table), Values(hb->table));
        osta_HistogramDelete(ha);
        osta_HistogramDelete(hb);
        Odsc_BinFunction *ba = odsc_TableGetBinFunction(ta, nullptr);
        Odsc_BinFunction *bb = odsc_TableGetBinFunction(tb, nullptr);
        ASSERT_NE(bb, nullptr);
        EXPECT_EQ(ba->numBins, bb->numBins);
        EXPECT_EQ(ba->type, bb->type);
        EXPECT_EQ(ba->minLimit, bb->minLimit);
        EXPECT_EQ(ba->maxLimit, bb->maxLimit);
        odsc_BinFunctionDelete(ba);
        odsc_BinFunctionDelete(bb);
        for (int32_t c = 0; c < 3; ++c) {
            Osta_ColorTable *ca = osta_ColorTableReadIfPresent(ta, nullptr, c, 0, rows, nullptr);
            Osta_ColorTable *cb = osta_ColorTableReadIfPresent(tb, nullptr, c, 0, rows, nullptr);
            EXPECT_EQ(ca == nullptr, cb == nullptr);
            EXPECT_EQ(Values(ca), Values(cb));
            osta_ColorTableDelete(ca);
            osta_ColorTableDelete(cb);
        }
        odsc_TableClose(ta, nullptr);
        odsc_TableClose(tb, nullptr);
        Oimg_Layer *la = oimg_LayerOpen(f, a.c_str(), nullptr);
        Oimg_Layer *lb = oimg_LayerOpen(f, b.c_str(), nullptr);
        const long levels = oimg_LayerOverviewCount(la, nullptr);
        EXPECT_GT(levels, 0);
        EXPECT_EQ(levels, oimg_LayerOverviewCount(lb, nullptr));
        for (long k = 0, factor = 2; k < levels; ++k, factor *= 2) {
            Oimg_Layer *oa = oimg_LayerOverviewOpen(la, factor, nullptr);
            Oimg_Layer *ob = oimg_LayerOverviewOpen(lb, factor, nullptr);
            Ogda_BaseData *pa = oimg_LayerRead(oa, nullptr, nullptr);
            Ogda_BaseData *pb = oimg_LayerRead(ob, nullptr, nullptr);
            ASSERT_NE(pa, nullptr);
            ASSERT_NE(pb, nullptr);
            ASSERT_EQ(pa->numelements, pb->numelements);
            EXPECT_EQ(std::memcmp(pa->data, pb->data,
                                  static_cast<std::size_t>(pa->numrows) * pa->lineBytes),
                      0)
                << "overview " << factor;
            ogda_BaseDataDelete(pa, nullptr);
            ogda_BaseDataDelete(pb, nullptr);
            oimg_LayerClose(oa, nullptr);
            oimg_LayerClose(ob, nullptr);
        }
        oimg_LayerClose(la, nullptr);
        oimg_LayerClose(lb, nullptr);
    }
};

// Sizes that are multiples of neither the 64-pixel blocks nor the 7-row strips or 32 x 16
// tiles, so pieces straddle block rows and every pyramid level has a short edge.
TEST_F(StreamedImport, EqualsTheLayerReadBack) {
    TiffSpec s;
    s.width = 131;
    s.height = 97;
    Check(s); // u8, stripped: 256 direct bins and a grey colour table
    s.tiled = true;
    s.bits = 16;
    Check(s);
    s.tiled = false;
    s.bits = 32;
    s.format = SAMPLEFORMAT_IEEEFP;
    Check(s); // counted by reading back
    s = TiffSpec{};
    s.width = 131;
    s.height = 97;
    s.bands = 3;
    s.tiled = true;
    Check(s); // contiguous samples
    s.tiled = false;
    s.separate = true;
    s.bits = 16;
    Check(s);
}

// A TIFF whose strips end early fails cleanly and leaves neither a new file nor, in an
// existing file, a half-written image.
TEST_F(StreamedImport, ATruncatedImageLeavesNothingBehind) {
    TiffSpec s;
    s.width = 300;
    s.height = 200;
    MakeTiff(Path("in.tif"), s);
    std::filesystem::resize_file(Path("in.tif"), std::filesystem::file_size(Path("in.tif")) / 2);
    auto r = Orvik({"import", Path("in.tif"), Path("new.hfa")});
    EXPECT_EQ(r.status, 2) << r.out;
    EXPECT_FALSE(std::filesystem::exists(Path("new.hfa")));
    const std::string file = MakeSmallFile();
    r = Orvik({"import", Path("in.tif"), file});
    EXPECT_EQ(r.status, 2) << r.out;
    Ohfa_File *f = ohfa_FileOpen(Name("small.hfa").c_str(), L"r", 0, nullptr);
    ASSERT_NE(f, nullptr);
    EXPECT_EQ(ohfa_EntryPeek(f, OHFA_SEEK_PATH, L"/in", nullptr, nullptr), 0);
    ohfa_FileClose(f, nullptr);
    EXPECT_EQ(Orvik({"check", file}).status, 0);
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
