// Conversion loops between the numeric pixel types. This is the hot path of every copy: each
// loop is a plain element-wise map over restrict pointers so that the compiler vectorises it.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC optimize("O3")
#endif

#include <cstring>
#include <utility>

#include "gda/convert_numeric.hpp"
#include "gda/pixel_values.hpp"

namespace orvik::gda {
namespace {

template <int S, int D, bool Round> void ConvertPixels(const void *source, void *destination, int32_t count) {
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
