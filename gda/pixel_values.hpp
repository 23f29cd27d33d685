// Internal: the C++ storage type of every pixel type and the value rules of conversion
// between numeric pixel types (see docs/basedata.md). Header-only so that the conversion loops
// inline the rules and vectorise.
#pragma once

#include <cfloat>
#include <cmath>
#include <cstdint>
#include <limits>
#include <type_traits>

#include <orvik/ogda.h>

namespace orvik::gda {

struct Complex64 {
    float re, im;
};
struct Complex128 {
    double re, im;
};

template <int T> struct Pixel;
template <> struct Pixel<OGDA_U1> {
    using type = uint8_t;
    static constexpr int64_t lo = 0, hi = 1;
};
template <> struct Pixel<OGDA_U2> {
    using type = uint8_t;
    static constexpr int64_t lo = 0, hi = 3;
};
template <> struct Pixel<OGDA_U4> {
    using type = uint8_t;
    static constexpr int64_t lo = 0, hi = 15;
};
template <> struct Pixel<OGDA_U8> {
    using type = uint8_t;
    static constexpr int64_t lo = 0, hi = 255;
};
template <> struct Pixel<OGDA_S8> {
    using type = int8_t;
    static constexpr int64_t lo = -128, hi = 127;
};
template <> struct Pixel<OGDA_U16> {
    using type = uint16_t;
    static constexpr int64_t lo = 0, hi = 65535;
};
template <> struct Pixel<OGDA_S16> {
    using type = int16_t;
    static constexpr int64_t lo = -32768, hi = 32767;
};
template <> struct Pixel<OGDA_U32> {
    using type = uint32_t;
    static constexpr int64_t lo = 0, hi = 4294967295LL;
};
template <> struct Pixel<OGDA_S32> {
    using type = int32_t;
    static constexpr int64_t lo = INT32_MIN, hi = INT32_MAX;
};
template <> struct Pixel<OGDA_F32> { using type = float; };
template <> struct Pixel<OGDA_F64> { using type = double; };
template <> struct Pixel<OGDA_C64> { using type = Complex64; };
template <> struct Pixel<OGDA_C128> { using type = Complex128; };

constexpr bool IsIntegerType(int t) { return t <= OGDA_S32; }
constexpr bool IsComplexType(int t) { return t == OGDA_C64 || t == OGDA_C128; }

// Integer to integer: saturate at the destination's bounds (a no-op the compiler drops when
// the source range already fits).
template <int D, class S> inline typename Pixel<D>::type IntegerTo(S v) {
    using DT = typename Pixel<D>::type;
    constexpr int64_t lo = Pixel<D>::lo, hi = Pixel<D>::hi;
    if constexpr (std::numeric_limits<S>::min() >= lo && std::numeric_limits<S>::max() <= hi) {
        return static_cast<DT>(v);
    } else {
        int64_t x = v;
        x = x < lo ? lo : x;
        x = x > hi ? hi : x;
        return static_cast<DT>(x);
    }
}

// Real to integer: NaN gives 0; the value is clamped to the destination's bounds (integers, so
// clamping commutes with truncation and rounding), then truncated toward zero or rounded half
// away from zero. The work type is float only where float holds the bounds exactly.
template <int D, bool Round, class S> inline typename Pixel<D>::type RealToInteger(S v) {
    using DT = typename Pixel<D>::type;
    using W = std::conditional_t<(sizeof(S) == 4 && Pixel<D>::hi <= 65535), float, double>;
    constexpr W lo = static_cast<W>(Pixel<D>::lo), hi = static_cast<W>(Pixel<D>::hi);
    W x = static_cast<W>(v);
    // Written so that they map onto max/min instructions: a NaN compares false and becomes
    // the lower bound, which must then be 0.
    if constexpr (lo < 0) x = x == x ? x : W(0);
    x = x > lo ? x : lo;
    x = x < hi ? x : hi;
    if constexpr (Round) x = std::round(x);
    if constexpr (Pixel<D>::hi <= INT32_MAX) {
        return static_cast<DT>(static_cast<int32_t>(x));
    } else {
        return static_cast<DT>(static_cast<int64_t>(x));
    }
}

// f64 to f32: finite values beyond the float range stop at the largest float; infinities and
// NaN carry over.
inline float DoubleToFloat(double v) {
    if (v > FLT_MAX && v != HUGE_VAL) return FLT_MAX;
    if (v < -FLT_MAX && v != -HUGE_VAL) return -FLT_MAX;
    return static_cast<float>(v);
}

// One real (integer, float or double) to a real destination type.
template <int D, bool Round, class S> inline typename Pixel<D>::type RealTo(S v) {
    using DT = typename Pixel<D>::type;
    if constexpr (IsIntegerType(D)) {
        if constexpr (std::is_integral_v<S>) {
            return IntegerTo<D>(v);
        } else {
            return RealToInteger<D, Round>(v);
        }
    } else if constexpr (std::is_same_v<DT, float> && std::is_same_v<S, double>) {
        return DoubleToFloat(v);
    } else {
        return static_cast<DT>(v);
    }
}

// Any numeric pixel to any numeric pixel type: complex to real keeps the real part, real to
// complex sets the imaginary part to 0.
template <int S, int D, bool Round>
inline typename Pixel<D>::type ConvertValue(typename Pixel<S>::type v) {
    if constexpr (IsComplexType(D)) {
        using Part = decltype(typename Pixel<D>::type{}.re);
        constexpr int partType = std::is_same_v<Part, float> ? OGDA_F32 : OGDA_F64;
        if constexpr (IsComplexType(S)) {
            return {RealTo<partType, Round>(v.re), RealTo<partType, Round>(v.im)};
        } else {
            return {RealTo<partType, Round>(v), Part(0)};
        }
    } else if constexpr (IsComplexType(S)) {
        return RealTo<D, Round>(v.re);
    } else {
        return RealTo<D, Round>(v);
    }
}

} // namespace orvik::gda
