// The pixel conversion tables: every pair of numeric types at their extremes, both families,
// and the conversions to and from "string".
#include <cfloat>
#include <cmath>
#include <cstring>
#include <limits>
#include <vector>

#include <gtest/gtest.h>

#include <orvik/opxm.h>

#include "tests/gda/gda_test_util.hpp"

namespace {

const double kNaN = std::numeric_limits<double>::quiet_NaN();
const double kInf = HUGE_VAL;

bool IsInt(int t) { return t <= OGDA_S32; }
bool IsComplex(int t) { return t == OGDA_C64 || t == OGDA_C128; }

// Stores v (representable in type t) as one pixel; complex pixels get the imaginary part -v.
void Store(int t, double v, unsigned char *p) {
    switch (t) {
    case OGDA_U1:
    case OGDA_U2:
    case OGDA_U4:
    case OGDA_U8:
        *p = static_cast<uint8_t>(v);
        break;
    case OGDA_S8: {
        int8_t x = static_cast<int8_t>(v);
        std::memcpy(p, &x, 1);
        break;
    }
    case OGDA_U16: {
        uint16_t x = static_cast<uint16_t>(v);
        std::memcpy(p, &x, 2);
        break;
    }
    case OGDA_S16: {
        int16_t x = static_cast<int16_t>(v);
        std::memcpy(p, &x, 2);
        break;
    }
    case OGDA_U32: {
        uint32_t x = static_cast<uint32_t>(v);
        std::memcpy(p, &x, 4);
        break;
    }
    case OGDA_S32: {
        int32_t x = static_cast<int32_t>(v);
        std::memcpy(p, &x, 4);
        break;
    }
    case OGDA_F32: {
        float x = static_cast<float>(v);
        std::memcpy(p, &x, 4);
        break;
    }
    case OGDA_F64:
        std::memcpy(p, &v, 8);
        break;
    case OGDA_C64: {
        float x[2] = {static_cast<float>(v), static_cast<float>(-v)};
        std::memcpy(p, x, 8);
        break;
    }
    case OGDA_C128: {
        double x[2] = {v, -v};
        std::memcpy(p, x, 16);
        break;
    }
    }
}

// Reads one pixel as a double (the real part of a complex pixel; imaginary part into *im).
double Load(int t, const unsigned char *p, double *im = nullptr) {
    switch (t) {
    case OGDA_U1:
    case OGDA_U2:
    case OGDA_U4:
    case OGDA_U8:
        return *p;
    case OGDA_S8: {
        int8_t x;
        std::memcpy(&x, p, 1);
        return x;
    }
    case OGDA_U16: {
        uint16_t x;
        std::memcpy(&x, p, 2);
        return x;
    }
    case OGDA_S16: {
        int16_t x;
        std::memcpy(&x, p, 2);
        return x;
    }
    case OGDA_U32: {
        uint32_t x;
        std::memcpy(&x, p, 4);
        return x;
    }
    case OGDA_S32: {
        int32_t x;
        std::memcpy(&x, p, 4);
        return x;
    }
    case OGDA_F32: {
        float x;
        std::memcpy(&x, p, 4);
        return x;
    }
    case OGDA_F64: {
        double x;
        std::memcpy(&x, p, 8);
        return x;
    }
    case OGDA_C64: {
        float x[2];
        std::memcpy(x, p, 8);
        if (im) *im = x[1];
        return x[0];
    }
    case OGDA_C128: {
        double x[2];
        std::memcpy(x, p, 16);
        if (im) *im = x[1];
        return x[0];
    }
    }
    return 0;
}

std::vector<double> ExtremeValues(int t) {
    const double *lo = omsc_AddressOf_ogda_IntegerMinValue();
    const double *hi = omsc_AddressOf_ogda_IntegerMaxValue();
    if (IsInt(t)) return {lo[t], hi[t], 0, 1, std::floor((lo[t] + hi[t]) / 2)};
    std::vector<double> v = {0,     0.5,    -0.5,   1.5,     2.5,          -2.5,
                             255.7, -128.5, -129.9, 65535.5, 4294967295.4, -2147483648.6,
                             1e10,  -1e10,  3e38,   kInf,    -kInf,        kNaN};
    if (t == OGDA_F64 || t == OGDA_C128) {
        v.push_back(1e300);
        v.push_back(-1e300);
        v.push_back(0.1);
    }
    return v;
}

// What the documented rules give for real value v converted to type d.
double Expected(double v, int d, bool round) {
    if (IsInt(d)) {
        if (std::isnan(v)) return 0;
        const double lo = omsc_AddressOf_ogda_IntegerMinValue()[d];
        const double hi = omsc_AddressOf_ogda_IntegerMaxValue()[d];
        v = std::fmin(std::fmax(v, lo), hi);
        return round ? std::round(v) : std::trunc(v);
    }
    if (d == OGDA_F32 || d == OGDA_C64) {
        if (std::isfinite(v) && std::fabs(v) > FLT_MAX) return std::copysign(FLT_MAX, v);
        return static_cast<float>(v);
    }
    return v;
}

void ExpectSame(double expected, double actual, const char *what) {
    if (std::isnan(expected))
        EXPECT_TRUE(std::isnan(actual)) << what;
    else
        EXPECT_EQ(expected, actual) << what;
}

TEST(Convert, EveryNumericPairAtTheExtremes) {
    for (int roundIt = 0; roundIt < 2; ++roundIt) {
        const Opxm_ConvertRow *table =
            roundIt ? omsc_AddressOf_opxm_ConvertRound() : omsc_AddressOf_opxm_Convert();
        for (int s = 0; s < OGDA_STRING; ++s) {
            const std::vector<double> values = ExtremeValues(s);
            const int sb = ogda_NumBytePerPixelFromType(static_cast<Ogda_PixelType>(s));
            std::vector<unsigned char> in(values.size() * sb);
            for (size_t i = 0; i < values.size(); ++i) Store(s, values[i], &in[i * sb]);
            for (int d = 0; d < OGDA_STRING; ++d) {
                const int db = ogda_NumBytePerPixelFromType(static_cast<Ogda_PixelType>(d));
                // One guard element past the end must stay untouched.
                std::vector<unsigned char> out((values.size() + 1) * db, 0xa5);
                table[s][d](in.data(), out.data(), static_cast<int32_t>(values.size()));
                for (size_t i = 0; i < values.size(); ++i) {
                    double im = 0;
                    const double sourceValue = Load(s, &in[i * sb], &im);
                    double gotIm = 0;
                    const double got = Load(d, &out[i * db], &gotIm);
                    std::string what = std::to_string(s) + "->" + std::to_string(d) + " round " +
                                       std::to_string(roundIt) + " value " +
                                       std::to_string(sourceValue);
                    // Same-type entries copy the pixels bit for bit.
                    ExpectSame(s == d ? sourceValue : Expected(sourceValue, d, roundIt), got,
                               what.c_str());
                    if (IsComplex(d))
                        ExpectSame(IsComplex(s) ? (s == d ? im : Expected(im, d, roundIt)) : 0.0,
                                   gotIm, (what + " imaginary").c_str());
                }
                for (int b = 0; b < db; ++b) EXPECT_EQ(out[values.size() * db + b], 0xa5);
            }
        }
    }
}

TEST(Convert, NamedCases) {
    const Opxm_ConvertRow *trunc = omsc_AddressOf_opxm_Convert();
    const Opxm_ConvertRow *rnd = omsc_AddressOf_opxm_ConvertRound();
    const double in[] = {255.7, -0.9, 2.5, -2.5, kNaN, 1e9, 127.5};
    uint8_t u8[7];
    trunc[OGDA_F64][OGDA_U8](in, u8, 7);
    EXPECT_EQ(std::vector<int>(u8, u8 + 7), (std::vector<int>{255, 0, 2, 0, 0, 255, 127}));
    int8_t s8[7];
    rnd[OGDA_F64][OGDA_S8](in, s8, 7);
    EXPECT_EQ(std::vector<int>(s8, s8 + 7), (std::vector<int>{127, -1, 3, -3, 0, 127, 127}));
    trunc[OGDA_F64][OGDA_S8](in, s8, 7);
    EXPECT_EQ(std::vector<int>(s8, s8 + 7), (std::vector<int>{127, 0, 2, -2, 0, 127, 127}));

    const uint8_t small[] = {0, 1, 2, 3, 16, 255};
    uint8_t u4[6], u1[6];
    trunc[OGDA_U8][OGDA_U4](small, u4, 6);
    trunc[OGDA_U8][OGDA_U1](small, u1, 6);
    EXPECT_EQ(std::vector<int>(u4, u4 + 6), (std::vector<int>{0, 1, 2, 3, 15, 15}));
    EXPECT_EQ(std::vector<int>(u1, u1 + 6), (std::vector<int>{0, 1, 1, 1, 1, 1}));

    const uint32_t big[] = {4294967295u, 2147483648u, 5};
    int32_t s32[3];
    trunc[OGDA_U32][OGDA_S32](big, s32, 3);
    EXPECT_EQ(std::vector<int32_t>(s32, s32 + 3),
              (std::vector<int32_t>{2147483647, 2147483647, 5}));
    const int16_t neg[] = {-32768, -1, 300};
    uint8_t fromS16[3];
    trunc[OGDA_S16][OGDA_U8](neg, fromS16, 3);
    EXPECT_EQ(std::vector<int>(fromS16, fromS16 + 3), (std::vector<int>{0, 0, 255}));

    // f32 holds 4294967296 but not 4294967295: the bound is applied in double precision.
    const float hugeF = 4294967296.0f;
    uint32_t u32;
    trunc[OGDA_F32][OGDA_U32](&hugeF, &u32, 1);
    EXPECT_EQ(u32, 4294967295u);

    const float c64[] = {1.75f, -3.0f};
    int16_t fromComplex;
    rnd[OGDA_C64][OGDA_S16](c64, &fromComplex, 1);
    EXPECT_EQ(fromComplex, 2);

    // Long runs go through the vector path: every special value at every lane position.
    const double special[] = {kNaN,  -kInf, kInf,  -1e300, 1e300, -0.99, 254.99,
                              255.0, 255.5, 128.7, 0.0,    -0.0,  3.2};
    std::vector<double> run(53);
    for (size_t i = 0; i < run.size(); ++i) run[i] = special[i % 13];
    std::vector<uint8_t> got(run.size());
    trunc[OGDA_F64][OGDA_U8](run.data(), got.data(), static_cast<int32_t>(run.size()));
    const int expectSpecial[] = {0, 0, 255, 0, 255, 0, 254, 255, 255, 128, 0, 0, 3};
    for (size_t i = 0; i < run.size(); ++i) EXPECT_EQ(got[i], expectSpecial[i % 13]) << i;

    // A count of 0 or below touches nothing.
    uint8_t untouched = 9;
    trunc[OGDA_F64][OGDA_U8](in, &untouched, 0);
    trunc[OGDA_F64][OGDA_U8](in, &untouched, -3);
    EXPECT_EQ(untouched, 9);
}

TEST(Convert, NumbersToStrings) {
    const Opxm_ConvertRow *table = omsc_AddressOf_opxm_Convert();
    wchar_t *strings[4] = {};
    const uint32_t u32[] = {4294967295u, 0, 7, 12};
    table[OGDA_U32][OGDA_STRING](u32, strings, 4);
    EXPECT_STREQ(strings[0], L"4294967295");
    EXPECT_STREQ(strings[3], L"12");
    const int8_t s8[] = {-128};
    table[OGDA_S8][OGDA_STRING](s8, strings, 1); // replaces (and frees) the previous text
    EXPECT_STREQ(strings[0], L"-128");
    const double f64[] = {0.1, 1e20, -2.5e-7, 1.0 / 3.0};
    table[OGDA_F64][OGDA_STRING](f64, strings, 4);
    EXPECT_STREQ(strings[0], L"0.1");
    EXPECT_STREQ(strings[1], L"1e+20");
    EXPECT_STREQ(strings[2], L"-2.5e-07");
    EXPECT_STREQ(strings[3], L"0.3333333333333333");
    const float f32[] = {0.1f};
    table[OGDA_F32][OGDA_STRING](f32, strings, 1);
    EXPECT_STREQ(strings[0], L"0.1000000014901161");
    const double c128[] = {1.5, -2};
    table[OGDA_C128][OGDA_STRING](c128, strings, 1);
    EXPECT_STREQ(strings[0], L"(1.5, -2)");
    for (wchar_t *s : strings) omsc_HeapFree(s);
}

TEST(Convert, StringsToNumbersAndStrings) {
    const Opxm_ConvertRow *trunc = omsc_AddressOf_opxm_Convert();
    const Opxm_ConvertRow *rnd = omsc_AddressOf_opxm_ConvertRound();
    const wchar_t *texts[] = {L"  42 ", L"abc", nullptr, L"300", L"2.5", L"-7.9", L"+3", L"1e999"};
    uint8_t u8[8];
    trunc[OGDA_STRING][OGDA_U8](texts, u8, 8);
    EXPECT_EQ(std::vector<int>(u8, u8 + 8), (std::vector<int>{42, 0, 0, 255, 2, 0, 3, 255}));
    int16_t s16[8];
    rnd[OGDA_STRING][OGDA_S16](texts, s16, 8);
    EXPECT_EQ(std::vector<int>(s16, s16 + 8), (std::vector<int>{42, 0, 0, 300, 3, -8, 3, 32767}));
    double f64[8];
    trunc[OGDA_STRING][OGDA_F64](texts, f64, 8);
    EXPECT_EQ(f64[5], -7.9);
    EXPECT_EQ(f64[7], kInf);

    const wchar_t *complexTexts[] = {L"(1.5, -2)", L"(3,4)", L"7", L"(1, 2", L"\u00e9"};
    double c128[10];
    trunc[OGDA_STRING][OGDA_C128](complexTexts, c128, 5);
    EXPECT_EQ(std::vector<double>(c128, c128 + 10),
              (std::vector<double>{1.5, -2, 3, 4, 7, 0, 0, 0, 0, 0}));

    wchar_t *copies[3] = {};
    const wchar_t *sources[] = {L"one", nullptr, L"three"};
    trunc[OGDA_STRING][OGDA_STRING](sources, copies, 3);
    EXPECT_STREQ(copies[0], L"one");
    EXPECT_NE(copies[0], sources[0]); // each element owns its own copy
    EXPECT_EQ(copies[1], nullptr);
    EXPECT_STREQ(copies[2], L"three");
    // Converting onto itself keeps the strings alive.
    trunc[OGDA_STRING][OGDA_STRING](copies, copies, 3);
    EXPECT_STREQ(copies[2], L"three");
    for (wchar_t *s : copies) omsc_HeapFree(s);
}

} // namespace
