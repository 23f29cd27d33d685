// The pixel-type tables and name lookups. All tables are constant; safe from any thread.
#include <orvik/ogda.h>
#include <orvik/ostr.h>

#include "gda/layout.hpp"

namespace {

// Sub-byte types occupy a whole byte in memory; the bits give only their significant width.
constexpr int32_t kBitsPerPixel[OGDA_PIXEL_TYPE_COUNT] = {1,  2,  4,  8,  8,  16,  16,
                                                          32, 32, 32, 64, 64, 128, 32};
constexpr int32_t kBytesPerPixel[OGDA_PIXEL_TYPE_COUNT] = {
    1, 1, 1, 1, 1, 2, 2, 4, 4, 4, 8, 8, 16, static_cast<int32_t>(sizeof(wchar_t *))};
constexpr const wchar_t *kPixelTypeName[OGDA_PIXEL_TYPE_COUNT] = {
    L"u1",  L"u2",  L"u4",  L"u8",  L"s8",  L"u16",  L"s16",
    L"u32", L"s32", L"f32", L"f64", L"c64", L"c128", L"string"};
constexpr double kIntegerMin[OGDA_INTEGER_TYPE_COUNT] = {
    0, 0, 0, 0, -128, 0, -32768, 0, -2147483648.0};
constexpr double kIntegerMax[OGDA_INTEGER_TYPE_COUNT] = {
    1, 3, 15, 255, 127, 65535, 32767, 4294967295.0, 2147483647.0};

} // namespace

namespace orvik::gda {

int32_t BytesPerPixel(Ogda_PixelType type) { return kBytesPerPixel[type]; }

} // namespace orvik::gda

extern "C" {

ORVIK_API const int32_t *omsc_AddressOf_ogda_NumBitsPerPixel(void) ORVIK_NOEXCEPT {
    return kBitsPerPixel;
}
ORVIK_API const int32_t *omsc_AddressOf_ogda_NumBytesPerPixel(void) ORVIK_NOEXCEPT {
    return kBytesPerPixel;
}
ORVIK_API const wchar_t *const *omsc_AddressOf_ogda_PixelTypeName(void) ORVIK_NOEXCEPT {
    return kPixelTypeName;
}
ORVIK_API const double *omsc_AddressOf_ogda_IntegerMinValue(void) ORVIK_NOEXCEPT {
    return kIntegerMin;
}
ORVIK_API const double *omsc_AddressOf_ogda_IntegerMaxValue(void) ORVIK_NOEXCEPT {
    return kIntegerMax;
}

ORVIK_API Ogda_PixelType ogda_PixelTypeFromName(const wchar_t *name) ORVIK_NOEXCEPT {
    if (!name) return OGDA_PIXEL_INVALID;
    for (int32_t t = 0; t < OGDA_PIXEL_TYPE_COUNT; ++t) {
        if (ostr_Eqic(name, kPixelTypeName[t])) return static_cast<Ogda_PixelType>(t);
    }
    return OGDA_PIXEL_INVALID;
}

ORVIK_API const wchar_t *ogda_PixelNameFromType(Ogda_PixelType type) ORVIK_NOEXCEPT {
    return orvik::gda::IsPixelType(type) ? kPixelTypeName[type] : nullptr;
}

ORVIK_API int32_t ogda_NumBytePerPixelFromType(Ogda_PixelType type) ORVIK_NOEXCEPT {
    return orvik::gda::IsPixelType(type) ? kBytesPerPixel[type] : 0;
}

} // extern "C"
