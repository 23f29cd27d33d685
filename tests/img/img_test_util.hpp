// Test helpers for raster layers: a scratch file per test, typed pixel values computed
// from (row, column) without the library, and BaseData fill and compare helpers.
#pragma once

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <cstring>
#include <cwchar>
#include <memory>
#include <string>

#include <orvik/ogda.h>
#include <orvik/oimg.h>
#include <orvik/oint.h>

#include "hfa/hfa_test_util.hpp"

namespace img_test {

using hfa_test::Report;

// Every message of the chain, outermost first, joined by " | ".
inline std::string Text(const Report &report) {
    std::string out;
    for (auto *r = report.get(); r; r = r->next) {
        const std::wstring m = r->message ? r->message : L"";
        out += std::string(m.begin(), m.end()) + " | ";
    }
    return out;
}

struct BaseDataDeleter {
    void operator()(Ogda_BaseData *d) const { ogda_BaseDataDelete(d, nullptr); }
};
using Data = std::unique_ptr<Ogda_BaseData, BaseDataDeleter>;

inline Data Raster(int32_t rows, int32_t columns, int type) {
    return Data(ogda_BaseDataCreate(rows, columns, static_cast<Ogda_PixelType>(type), Ogda_Raster,
                                    nullptr, nullptr));
}

class ImgTest : public hfa_test::HfaTest {
  protected:
    // A new file holding the image "/Image"; caching per option 4.
    Ohfa_File *NewFile(const std::string &leaf, int caching = 1) {
        Report err;
        Ohfa_File *f = ohfa_FileCreateWithOptions(Name(leaf).c_str(), 0, &err,
                                                  OHFA_OPTION_BLOCK_CACHE, caching, 0);
        EXPECT_NE(f, nullptr) << Text(err);
        EXPECT_EQ(oimg_ImageCreate(f, nullptr, L"Image", &err), 0) << Text(err);
        return f;
    }
};

inline Oimg_LayerInfo Info(int32_t width, int32_t height, int type, int32_t bw = 0,
                           int32_t bh = 0) {
    Oimg_LayerInfo i{};
    i.width = width;
    i.height = height;
    i.pixelType = type;
    i.blockWidth = bw;
    i.blockHeight = bh;
    i.layerKind = OIMG_CONTINUOUS;
    return i;
}

// The test's value of pixel (r, c) of a layer of type t: inside the type's range, exact in
// the type, different between neighbours. Complex types: the real part (imaginary: -r).
inline double Value(int t, int r, int c) {
    switch (t) {
    case OGDA_U1:
        return (r * 3 + c) % 2;
    case OGDA_U2:
        return (r * 3 + c) % 4;
    case OGDA_U4:
        return (r * 5 + c) % 16;
    case OGDA_U8:
        return (r * 7 + c * 13) % 256;
    case OGDA_S8:
        return (r * 7 + c * 13) % 256 - 128;
    case OGDA_U16:
        return (r * 257 + c * 3) % 65536;
    case OGDA_S16:
        return (r * 257 + c * 3) % 65536 - 32768;
    case OGDA_U32:
        return 3000000000.0 + r * 100003 + c;
    case OGDA_S32:
        return -1000000000.0 - r * 100003 - c;
    case OGDA_F32:
        return r * 0.5 + c * 0.25;
    default:
        return r / 3.0 + c;
    }
}

inline std::wstring TextValue(int r, int c) {
    return (r + c) % 5 == 0 ? L"" : L"p" + std::to_wstring(r) + L"\u00e9" + std::to_wstring(c);
}

template <class T> void Store(unsigned char *at, T v) { std::memcpy(at, &v, sizeof v); }

// Sets element (r, c) of `d` to the value of layer pixel (r + r0, c + c0).
inline void SetPixel(Ogda_BaseData *d, int r, int c, int r0, int c0) {
    unsigned char *at = static_cast<unsigned char *>(d->data) + int64_t{r} * d->lineBytes +
                        int64_t{c} * d->numbytes;
    const int t = d->datatype, R = r + r0, C = c + c0;
    const double v = Value(t, R, C);
    switch (t) {
    case OGDA_U1:
    case OGDA_U2:
    case OGDA_U4:
    case OGDA_U8:
        return Store(at, static_cast<uint8_t>(v));
    case OGDA_S8:
        return Store(at, static_cast<int8_t>(v));
    case OGDA_U16:
        return Store(at, static_cast<uint16_t>(v));
    case OGDA_S16:
        return Store(at, static_cast<int16_t>(v));
    case OGDA_U32:
        return Store(at, static_cast<uint32_t>(v));
    case OGDA_S32:
        return Store(at, static_cast<int32_t>(v));
    case OGDA_F32:
        return Store(at, static_cast<float>(v));
    case OGDA_F64:
        return Store(at, v);
    case OGDA_C64:
        Store(at, static_cast<float>(v));
        return Store(at + 4, static_cast<float>(-R));
    case OGDA_C128:
        Store(at, v);
        return Store(at + 8, static_cast<double>(-R));
    default: {
        const std::wstring s = TextValue(R, C);
        wchar_t *old;
        std::memcpy(&old, at, sizeof old);
        omsc_HeapFree(old);
        wchar_t *text = nullptr;
        if (!s.empty()) {
            text = static_cast<wchar_t *>(
                omsc_HeapMalloc(static_cast<int32_t>((s.size() + 1) * sizeof(wchar_t))));
            std::wmemcpy(text, s.c_str(), s.size() + 1);
        }
        return Store(at, text);
    }
    }
}

inline void Fill(Ogda_BaseData *d, int r0, int c0) {
    for (int r = 0; r < d->numrows; ++r)
        for (int c = 0; c < d->numcolumns; ++c) SetPixel(d, r, c, r0, c0);
}

// Whether `d` holds the pixels at (r0, c0) exactly; reports the first difference.
inline ::testing::AssertionResult Holds(const Ogda_BaseData *d, int r0, int c0) {
    Data expect = Raster(d->numrows, d->numcolumns, d->datatype);
    Fill(expect.get(), r0, c0);
    for (int r = 0; r < d->numrows; ++r)
        for (int c = 0; c < d->numcolumns; ++c) {
            const auto *a = static_cast<const unsigned char *>(d->data) +
                            int64_t{r} * d->lineBytes + int64_t{c} * d->numbytes;
            const auto *b = static_cast<const unsigned char *>(expect->data) +
                            int64_t{r} * expect->lineBytes + int64_t{c} * d->numbytes;
            bool same;
            if (d->datatype == OGDA_STRING) {
                const wchar_t *x, *y;
                std::memcpy(&x, a, sizeof x);
                std::memcpy(&y, b, sizeof y);
                same = std::wstring(x ? x : L"") == std::wstring(y ? y : L"");
            } else {
                same = std::memcmp(a, b, static_cast<std::size_t>(d->numbytes)) == 0;
            }
            if (!same)
                return ::testing::AssertionFailure()
                       << "pixel (" << r + r0 << ", " << c + c0 << ") differs";
        }
    return ::testing::AssertionSuccess();
}

} // namespace img_test
