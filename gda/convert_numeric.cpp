// Conversion loops between the numeric pixel types. This is the hot path of every copy: each
// loop is a plain element-wise map over restrict pointers so that the compiler vectorises it.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC optimize("O3")
#endif

#include <cstring>
#include <utility>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "gda/convert_numeric.hpp"
#include "gda/pixel_values.hpp"

namespace orvik::gda {
namespace {

template <int S, int D, bool Round>
void ConvertPixels(const void *source, void *destination, int32_t count) {
    using ST = typename Pixel<S>::type;
    using DT = typename Pixel<D>::type;
    if (count <= 0) return;
    if constexpr (S == D) {
        // Same type: a plain move (views of one array may overlap).
        std::memmove(destination, source, static_cast<size_t>(count) * sizeof(ST));
    } else {
        const ST *__restrict in = static_cast<const ST *>(source);
        DT *__restrict out = static_cast<DT *>(destination);
        for (int32_t i = 0; i < count; ++i) out[i] = ConvertValue<S, D, Round>(in[i]);
    }
}

struct Table {
    Opxm_ConvertFunction f[kNumericTypeCount][kNumericTypeCount];
};

#if defined(__SSE2__)
// f64 to u8, the commonest display conversion: max/min keep the NaN rule (NaN -> 0) and the
// compiler's generic select sequence for it is several times longer.
template <>
void ConvertPixels<OGDA_F64, OGDA_U8, false>(const void *source, void *destination, int32_t count) {
    const double *in = static_cast<const double *>(source);
    auto *out = static_cast<uint8_t *>(destination);
    const __m128d lo = _mm_setzero_pd(), hi = _mm_set1_pd(255.0);
    auto four = [&](const double *p) {
        // MAXPD returns its second operand when the first is NaN.
        const __m128d a = _mm_min_pd(_mm_max_pd(_mm_loadu_pd(p), lo), hi);
        const __m128d b = _mm_min_pd(_mm_max_pd(_mm_loadu_pd(p + 2), lo), hi);
        return _mm_unpacklo_epi64(_mm_cvttpd_epi32(a), _mm_cvttpd_epi32(b));
    };
    int32_t i = 0;
    for (; i + 16 <= count; i += 16) {
        const __m128i w0 = _mm_packs_epi32(four(in + i), four(in + i + 4));
        const __m128i w1 = _mm_packs_epi32(four(in + i + 8), four(in + i + 12));
        _mm_storeu_si128(reinterpret_cast<__m128i *>(out + i), _mm_packus_epi16(w0, w1));
    }
    for (; i < count; ++i) out[i] = ConvertValue<OGDA_F64, OGDA_U8, false>(in[i]);
}
#endif

template <bool Round, int... I> constexpr Table MakeTable(std::integer_sequence<int, I...>) {
    Table t{};
    ((t.f[I / kNumericTypeCount][I % kNumericTypeCount] =
          &ConvertPixels<I / kNumericTypeCount, I % kNumericTypeCount, Round>),
     ...);
    return t;
}

constexpr Table kTruncating =
    MakeTable<false>(std::make_integer_sequence<int, kNumericTypeCount * kNumericTypeCount>{});
constexpr Table kRounding =
    MakeTable<true>(std::make_integer_sequence<int, kNumericTypeCount * kNumericTypeCount>{});

} // namespace

Opxm_ConvertFunction NumericConversion(int source, int destination, bool round) {
    return (round ? kRounding : kTruncating).f[source][destination];
}

} // namespace orvik::gda
