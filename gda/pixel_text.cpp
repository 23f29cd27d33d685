// The text form of one pixel value (std::to_chars / std::from_chars: locale-independent and
// identical to printf "%d" and "%.16g").
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <string>

#include "gda/layout.hpp"
#include "gda/pixel_text.hpp"
#include "gda/pixel_values.hpp"

namespace orvik::gda {
namespace {

constexpr int kRealDigits = 16;

template <class T> T Load(const void *p) {
    T v;
    std::memcpy(&v, p, sizeof v);
    return v;
}

char *FormatReal(double v, char *out, char *end) {
    return std::to_chars(out, end, v, std::chars_format::general, kRealDigits).ptr;
}

char *FormatComplex(double re, double im, char *out, char *end) {
    *out++ = '(';
    out = FormatReal(re, out, end);
    *out++ = ',';
    *out++ = ' ';
    out = FormatReal(im, out, end);
    *out++ = ')';
    return out;
}

const char *SkipBlanks(const char *p, const char *last) {
    while (p < last && (*p == ' ' || *p == '\t')) ++p;
    return p;
}

// from_chars takes no leading '+'.
const char *ParseReal(const char *first, const char *last, double &v) {
    if (first < last && *first == '+' && first + 1 < last && first[1] != '-') ++first;
    auto r = std::from_chars(first, last, v, std::chars_format::general);
    if (r.ec == std::errc::result_out_of_range) {
        // from_chars leaves the value unset; strtod gives the infinity or the underflowed
        // value the text stands for.
        std::string text(first, r.ptr);
        v = std::strtod(text.c_str(), nullptr);
        return r.ptr;
    }
    return r.ec == std::errc() ? r.ptr : nullptr;
}

template <int D> void StoreReal(double v, void *element, bool round) {
    auto out = round ? RealTo<D, true>(v) : RealTo<D, false>(v);
    std::memcpy(element, &out, sizeof out);
}

} // namespace

char *FormatNumericPixel(Ogda_PixelType type, const void *e, char *out) {
    char *end = out + kPixelTextMax;
    switch (type) {
    case OGDA_U1:
    case OGDA_U2:
    case OGDA_U4:
    case OGDA_U8:
        return std::to_chars(out, end, Load<uint8_t>(e)).ptr;
    case OGDA_S8:
        return std::to_chars(out, end, Load<int8_t>(e)).ptr;
    case OGDA_U16:
        return std::to_chars(out, end, Load<uint16_t>(e)).ptr;
    case OGDA_S16:
        return std::to_chars(out, end, Load<int16_t>(e)).ptr;
    case OGDA_U32:
        return std::to_chars(out, end, Load<uint32_t>(e)).ptr;
    case OGDA_S32:
        return std::to_chars(out, end, Load<int32_t>(e)).ptr;
    case OGDA_F32:
        return FormatReal(Load<float>(e), out, end);
    case OGDA_F64:
        return FormatReal(Load<double>(e), out, end);
    case OGDA_C64: {
        auto c = Load<Complex64>(e);
        return FormatComplex(c.re, c.im, out, end);
    }
    case OGDA_C128: {
        auto c = Load<Complex128>(e);
        return FormatComplex(c.re, c.im, out, end);
    }
    default:
        return out;
    }
}

bool ParseNumericPixel(Ogda_PixelType type, const char *first, const char *last, void *e,
                       bool round) {
    if (type == OGDA_C64 || type == OGDA_C128) {
        double re = 0, im = 0;
        const char *p = first;
        if (p < last && *p == '(') {
            p = ParseReal(SkipBlanks(p + 1, last), last, re);
            if (!p) return false;
            p = SkipBlanks(p, last);
            if (p >= last || *p != ',') return false;
            p = ParseReal(SkipBlanks(p + 1, last), last, im);
            if (!p) return false;
            p = SkipBlanks(p, last);
            if (p >= last || *p != ')') return false;
            ++p;
        } else {
            p = ParseReal(p, last, re);
            if (!p) return false;
        }
        if (p != last) return false;
        if (type == OGDA_C64) {
            const Complex64 c{DoubleToFloat(re), DoubleToFloat(im)};
            std::memcpy(e, &c, sizeof c);
        } else {
            const Complex128 c{re, im};
            std::memcpy(e, &c, sizeof c);
        }
        return true;
    }
    double v;
    const char *p = ParseReal(first, last, v);
    if (!p || p != last) return false;
    switch (type) {
    case OGDA_U1:
        StoreReal<OGDA_U1>(v, e, round);
        break;
    case OGDA_U2:
        StoreReal<OGDA_U2>(v, e, round);
        break;
    case OGDA_U4:
        StoreReal<OGDA_U4>(v, e, round);
        break;
    case OGDA_U8:
        StoreReal<OGDA_U8>(v, e, round);
        break;
    case OGDA_S8:
        StoreReal<OGDA_S8>(v, e, round);
        break;
    case OGDA_U16:
        StoreReal<OGDA_U16>(v, e, round);
        break;
    case OGDA_S16:
        StoreReal<OGDA_S16>(v, e, round);
        break;
    case OGDA_U32:
        StoreReal<OGDA_U32>(v, e, round);
        break;
    case OGDA_S32:
        StoreReal<OGDA_S32>(v, e, round);
        break;
    case OGDA_F32:
        StoreReal<OGDA_F32>(v, e, round);
        break;
    case OGDA_F64:
        StoreReal<OGDA_F64>(v, e, round);
        break;
    default:
        return false;
    }
    return true;
}

} // namespace orvik::gda
