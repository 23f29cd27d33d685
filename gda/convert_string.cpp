// Conversions to and from the "string" pixel type and the assembled conversion tables.
// A "string" destination element owns its text: its previous string is freed and replaced.
#include <cstring>
#include <string_view>
#include <utility>

#include <orvik/opxm.h>

#include "core/heap_text.hpp"
#include "gda/convert_numeric.hpp"
#include "gda/layout.hpp"
#include "gda/pixel_text.hpp"

namespace orvik::gda {
namespace {

wchar_t *LoadString(const void *elements, int32_t i) {
    wchar_t *s;
    std::memcpy(&s, static_cast<const unsigned char *>(elements) + i * sizeof s, sizeof s);
    return s;
}

void ReplaceString(void *elements, int32_t i, wchar_t *text) {
    auto *slot = static_cast<unsigned char *>(elements) + i * sizeof text;
    wchar_t *old;
    std::memcpy(&old, slot, sizeof old);
    if (old != text) omsc_HeapFree(old);
    std::memcpy(slot, &text, sizeof text);
}

// A failed allocation leaves the element null (an empty value): the table's functions have no
// way to report.
template <int S> void NumericToString(const void *source, void *destination, int32_t count) {
    const int32_t nb = BytesPerPixel(static_cast<Ogda_PixelType>(S));
    const auto *in = static_cast<const unsigned char *>(source);
    for (int32_t i = 0; i < count; ++i) {
        char text[kPixelTextMax];
        const char *end =
            FormatNumericPixel(static_cast<Ogda_PixelType>(S), in + int64_t{i} * nb, text);
        wchar_t wide[kPixelTextMax];
        size_t n = 0;
        for (const char *p = text; p < end; ++p) wide[n++] = static_cast<wchar_t>(*p);
        ReplaceString(destination, i, orvik::core::HeapDup(std::wstring_view(wide, n)));
    }
}

// Text that is not a number (or longer than any number) gives 0.
template <int D, bool Round>
void StringToNumeric(const void *source, void *destination, int32_t count) {
    const int32_t nb = BytesPerPixel(static_cast<Ogda_PixelType>(D));
    auto *out = static_cast<unsigned char *>(destination);
    for (int32_t i = 0; i < count; ++i) {
        unsigned char *element = out + int64_t{i} * nb;
        const wchar_t *text = LoadString(source, i);
        char narrow[kPixelTextMax * 2];
        size_t n = 0;
        bool ok = text != nullptr;
        if (ok) {
            while (*text == L' ' || *text == L'\t') ++text;
            for (; *text && ok; ++text) {
                if (n == sizeof narrow || static_cast<unsigned long>(*text) > 0x7f)
                    ok = false;
                else
                    narrow[n++] = static_cast<char>(*text);
            }
            while (n > 0 && (narrow[n - 1] == ' ' || narrow[n - 1] == '\t')) --n;
        }
        if (!ok ||
            !ParseNumericPixel(static_cast<Ogda_PixelType>(D), narrow, narrow + n, element, Round))
            std::memset(element, 0, static_cast<size_t>(nb));
    }
}

void StringToString(const void *source, void *destination, int32_t count) {
    for (int32_t i = 0; i < count; ++i) {
        const wchar_t *text = LoadString(source, i);
        wchar_t *old = LoadString(destination, i);
        if (text == old) continue; // converting an element onto itself
        ReplaceString(destination, i, text ? orvik::core::HeapDup(text) : nullptr);
    }
}

struct Table {
    Opxm_ConvertFunction f[OGDA_PIXEL_TYPE_COUNT][OGDA_PIXEL_TYPE_COUNT];
};

template <bool Round, int... I> Table MakeTable(std::integer_sequence<int, I...>) {
    Table t{};
    for (int s = 0; s < kNumericTypeCount; ++s)
        for (int d = 0; d < kNumericTypeCount; ++d) t.f[s][d] = NumericConversion(s, d, Round);
    ((t.f[I][OGDA_STRING] = &NumericToString<I>), ...);
    ((t.f[OGDA_STRING][I] = &StringToNumeric<I, Round>), ...);
    t.f[OGDA_STRING][OGDA_STRING] = &StringToString;
    return t;
}

const Table &Truncating() {
    static const Table t = MakeTable<false>(std::make_integer_sequence<int, kNumericTypeCount>{});
    return t;
}
const Table &Rounding() {
    static const Table t = MakeTable<true>(std::make_integer_sequence<int, kNumericTypeCount>{});
    return t;
}

} // namespace
} // namespace orvik::gda

extern "C" {

ORVIK_API const Opxm_ConvertRow *omsc_AddressOf_opxm_Convert(void) ORVIK_NOEXCEPT {
    return orvik::gda::Truncating().f;
}

ORVIK_API const Opxm_ConvertRow *omsc_AddressOf_opxm_ConvertRound(void) ORVIK_NOEXCEPT {
    return orvik::gda::Rounding().f;
}

} // extern "C"
