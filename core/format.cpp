// The allocating wide formatter. Conversions are parsed here and each argument is formatted
// on its own, so the convention (%s wide, %S narrow UTF-8, %c wide character) is the same on
// every platform and independent of the C locale. Numbers go through the C library's snprintf.
#include "core/format.hpp"

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <cwchar>
#include <string_view>
#include <type_traits>

#include <orvik/ostr.h>

#include "core/guard.hpp"
#include "core/utf8.hpp"

namespace orvik::text {
namespace {

// A "%c" argument arrives as wint_t, promoted to int where wint_t is narrower (16 bits on
// Windows); reading it as wint_t there would be undefined.
using WideCharArgument = std::conditional_t<(sizeof(wint_t) < sizeof(int)), int, wint_t>;

enum class Length { None, hh, h, l, ll, L, j, z, t };

// Widths and precisions beyond this are cut to it, whether written as digits or passed
// for "*": a caller's number must not decide how much memory one conversion takes.
constexpr int kMaxWidth = 100000;

int CappedStar(int value) {
    const long long magnitude = value < 0 ? -static_cast<long long>(value) : value;
    return magnitude > kMaxWidth ? kMaxWidth : static_cast<int>(magnitude);
}

struct Spec {
    std::string flags;
    int width = -1;
    int precision = -1;
    Length length = Length::None;
    bool leftAlign = false;
};

void Pad(std::wstring &out, std::wstring_view body, const Spec &spec) {
    const std::size_t width = spec.width > 0 ? static_cast<std::size_t>(spec.width) : 0;
    const std::size_t fill = width > body.size() ? width - body.size() : 0;
    if (!spec.leftAlign) out.append(fill, L' ');
    out.append(body);
    if (spec.leftAlign) out.append(fill, L' ');
}

// Formats one numeric conversion through snprintf with the same flags, width and precision.
template <class T>
void AppendNumber(std::wstring &out, const Spec &spec, const char *lengthText, char conversion,
                  T value) {
    std::string fmt(1, '%');
    fmt.append(spec.flags);
    if (spec.leftAlign) fmt += '-';
    if (spec.width >= 0) fmt += std::to_string(spec.width);
    if (spec.precision >= 0) {
        fmt.push_back('.');
        fmt.append(std::to_string(spec.precision));
    }
    fmt += lengthText;
    fmt += conversion;
    char small[128];
    int n = std::snprintf(small, sizeof small, fmt.c_str(), value);
    if (n < 0) return;
    if (static_cast<std::size_t>(n) < sizeof small) {
        for (int i = 0; i < n; ++i) out.push_back(static_cast<unsigned char>(small[i]));
        return;
    }
    std::string big(static_cast<std::size_t>(n) + 1, '\0');
    std::snprintf(big.data(), big.size(), fmt.c_str(), value);
    for (int i = 0; i < n; ++i) out.push_back(static_cast<unsigned char>(big[i]));
}

void AppendInteger(std::wstring &out, const Spec &spec, char conv, va_list *ap) {
    const bool isSigned = conv == 'd' || conv == 'i';
    switch (spec.length) {
    case Length::l:
        if (isSigned)
            AppendNumber(out, spec, "l", conv, va_arg(*ap, long));
        else
            AppendNumber(out, spec, "l", conv, va_arg(*ap, unsigned long));
        break;
    case Length::ll:
        if (isSigned)
            AppendNumber(out, spec, "ll", conv, va_arg(*ap, long long));
        else
            AppendNumber(out, spec, "ll", conv, va_arg(*ap, unsigned long long));
        break;
    case Length::j:
        if (isSigned)
            AppendNumber(out, spec, "j", conv, va_arg(*ap, intmax_t));
        else
            AppendNumber(out, spec, "j", conv, va_arg(*ap, uintmax_t));
        break;
    case Length::z:
        if (isSigned)
            AppendNumber(out, spec, "z", conv, va_arg(*ap, ptrdiff_t));
        else
            AppendNumber(out, spec, "z", conv, va_arg(*ap, size_t));
        break;
    case Length::t:
        if (isSigned)
            AppendNumber(out, spec, "t", conv, va_arg(*ap, ptrdiff_t));
        else
            AppendNumber(out, spec, "t", conv, va_arg(*ap, size_t));
        break;
    case Length::hh:
        if (isSigned)
            AppendNumber(out, spec, "hh", conv, va_arg(*ap, int));
        else
            AppendNumber(out, spec, "hh", conv, va_arg(*ap, unsigned int));
        break;
    case Length::h:
        if (isSigned)
            AppendNumber(out, spec, "h", conv, va_arg(*ap, int));
        else
            AppendNumber(out, spec, "h", conv, va_arg(*ap, unsigned int));
        break;
    default:
        if (isSigned)
            AppendNumber(out, spec, "", conv, va_arg(*ap, int));
        else
            AppendNumber(out, spec, "", conv, va_arg(*ap, unsigned int));
        break;
    }
}

void AppendWideString(std::wstring &out, const Spec &spec, const wchar_t *s) {
    std::wstring_view body = s ? std::wstring_view(s) : std::wstring_view(L"(null)");
    if (spec.precision >= 0 && body.size() > static_cast<std::size_t>(spec.precision))
        body = body.substr(0, static_cast<std::size_t>(spec.precision));
    Pad(out, body, spec);
}

void AppendNarrowString(std::wstring &out, const Spec &spec, const char *s) {
    if (!s) {
        AppendWideString(out, spec, nullptr);
        return;
    }
    // A precision counts characters, as in C; no byte after the last character it admits is
    // read, so unterminated buffers may be printed.
    std::size_t n = 0;
    if (spec.precision >= 0) {
        for (int chars = 0; chars < spec.precision && s[n]; ++chars) {
            const auto lead = static_cast<unsigned char>(s[n]);
            const std::size_t length = lead < 0xC0 ? 1 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
            std::size_t i = 1;
            while (i < length && (static_cast<unsigned char>(s[n + i]) & 0xC0) == 0x80) ++i;
            n += i == length ? length : 1; // a broken sequence is one (replaced) character
        }
    } else {
        n = std::strlen(s);
    }
    const std::wstring wide = Utf8ToWideLossy(std::string_view(s, n));
    AppendWideString(out, spec, wide.c_str());
}

void AppendFormatImpl(std::wstring &out, const wchar_t *format, va_list *ap, std::size_t limit) {
    const wchar_t *p = format;
    while (*p && out.size() < limit) {
        if (*p != L'%') {
            const wchar_t *start = p;
            while (*p && *p != L'%') ++p;
            out.append(start, static_cast<std::size_t>(p - start));
            continue;
        }
        const wchar_t *convStart = p++;
        if (*p == L'%') {
            out.push_back(L'%');
            ++p;
            continue;
        }
        Spec spec;
        for (;; ++p) {
            if (*p == L'-')
                spec.leftAlign = true;
            else if (*p == L'+' || *p == L' ' || *p == L'#' || *p == L'0')
                spec.flags.push_back(static_cast<char>(*p));
            else
                break;
        }
        if (*p == L'*') {
            const int width = va_arg(*ap, int);
            if (width < 0) spec.leftAlign = true;
            spec.width = CappedStar(width);
            ++p;
        } else {
            while (*p >= L'0' && *p <= L'9') {
                spec.width = (spec.width < 0 ? 0 : spec.width) * 10 + (*p - L'0');
                if (spec.width > 100000) spec.width = 100000;
                ++p;
            }
        }
        if (*p == L'.') {
            ++p;
            spec.precision = 0;
            if (*p == L'*') {
                const int precision = va_arg(*ap, int);
                spec.precision = precision < 0 ? -1 : CappedStar(precision); // negative: none
                ++p;
            } else {
                while (*p >= L'0' && *p <= L'9') {
                    spec.precision = spec.precision * 10 + (*p - L'0');
                    if (spec.precision > 100000) spec.precision = 100000;
                    ++p;
                }
            }
        }
        switch (*p) {
        case L'h':
            spec.length = Length::h;
            if (*++p == L'h') spec.length = Length::hh, ++p;
            break;
        case L'l':
            spec.length = Length::l;
            if (*++p == L'l') spec.length = Length::ll, ++p;
            break;
        case L'L':
            spec.length = Length::L, ++p;
            break;
        case L'q':
            spec.length = Length::ll, ++p;
            break;
        case L'j':
            spec.length = Length::j, ++p;
            break;
        case L'z':
            spec.length = Length::z, ++p;
            break;
        case L't':
            spec.length = Length::t, ++p;
            break;
        default:
            break;
        }
        const wchar_t conv = *p;
        if (conv == 0) { // cut conversion at the end: keep its text
            out.append(convStart);
            break;
        }
        ++p;
        switch (conv) {
        case L'd':
        case L'i':
        case L'u':
        case L'o':
        case L'x':
        case L'X':
            AppendInteger(out, spec, static_cast<char>(conv), ap);
            break;
        case L'e':
        case L'E':
        case L'f':
        case L'F':
        case L'g':
        case L'G':
        case L'a':
        case L'A':
            if (spec.length == Length::L)
                AppendNumber(out, spec, "L", static_cast<char>(conv), va_arg(*ap, long double));
            else
                AppendNumber(out, spec, "", static_cast<char>(conv), va_arg(*ap, double));
            break;
        case L'p':
            AppendNumber(out, spec, "", 'p', va_arg(*ap, void *));
            break;
        case L's':
            if (spec.length == Length::h)
                AppendNarrowString(out, spec, va_arg(*ap, const char *));
            else
                AppendWideString(out, spec, va_arg(*ap, const wchar_t *));
            break;
        case L'S':
            if (spec.length == Length::l)
                AppendWideString(out, spec, va_arg(*ap, const wchar_t *));
            else
                AppendNarrowString(out, spec, va_arg(*ap, const char *));
            break;
        case L'c': {
            const wchar_t c =
                spec.length == Length::h
                    ? static_cast<wchar_t>(static_cast<unsigned char>(va_arg(*ap, int)))
                    : static_cast<wchar_t>(va_arg(*ap, WideCharArgument));
            Pad(out, std::wstring_view(&c, 1), spec);
            break;
        }
        case L'C': {
            const wchar_t c = static_cast<wchar_t>(static_cast<unsigned char>(va_arg(*ap, int)));
            Pad(out, std::wstring_view(&c, 1), spec);
            break;
        }
        default: // unknown conversions (and %n) are copied as text and consume nothing
            out.append(convStart, static_cast<std::size_t>(p - convStart));
            break;
        }
    }
}

} // namespace

void AppendFormatV(std::wstring &out, const wchar_t *format, va_list args, std::size_t limit) {
    if (!format) return;
    va_list ap;
    va_copy(ap, args);
    try {
        AppendFormatImpl(out, format, &ap,
                         limit > SIZE_MAX - out.size() ? SIZE_MAX : out.size() + limit);
    } catch (...) {
        va_end(ap);
        throw;
    }
    va_end(ap);
}

std::wstring Format(const wchar_t *format, ...) {
    va_list args;
    va_start(args, format);
    std::wstring out;
    try {
        AppendFormatV(out, format, args);
    } catch (...) {
        va_end(args);
        throw;
    }
    va_end(args);
    return out;
}

} // namespace orvik::text

extern "C" {

ORVIK_API wchar_t *ostr_Vsprintf(wchar_t *dest, size_t destCount, const wchar_t *format,
                                 va_list args) ORVIK_NOEXCEPT {
    if (!format || (dest && destCount == 0)) return nullptr;
    try {
        std::wstring text;
        // Into a buffer, what cannot fit is never built.
        orvik::text::AppendFormatV(text, format, args, dest ? destCount : SIZE_MAX);
        if (!dest) {
            if (text.size() >= static_cast<std::size_t>(INT32_MAX) / sizeof(wchar_t))
                return nullptr;
            auto *block = static_cast<wchar_t *>(
                omsc_HeapMalloc(static_cast<int32_t>((text.size() + 1) * sizeof(wchar_t))));
            if (block) std::wmemcpy(block, text.data(), text.size());
            return block;
        }
        const std::size_t n = text.size() < destCount ? text.size() : destCount - 1;
        std::wmemcpy(dest, text.data(), n);
        dest[n] = L'\0';
        return dest;
    } catch (...) {
        return nullptr;
    }
}

ORVIK_API wchar_t *ostr_Sprintf(wchar_t *dest, size_t destCount, const wchar_t *format, ...)
    ORVIK_NOEXCEPT {
    va_list args;
    va_start(args, format);
    wchar_t *r = ostr_Vsprintf(dest, destCount, format, args);
    va_end(args);
    return r;
}

} // extern "C"
