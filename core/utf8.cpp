// UTF-8 <-> wide text conversion, strict and lossy.
#include "core/utf8.hpp"

#include <cstdint>

namespace orvik::text {
namespace {

constexpr char32_t kReplacement = 0xFFFD;

// Decodes one code point at in[i]; returns the number of bytes used, or 0 when invalid
// (overlong forms, surrogates, values above 0x10FFFF and truncated sequences are invalid).
std::size_t DecodeOne(std::string_view in, std::size_t i, char32_t &cp) {
    const auto b0 = static_cast<unsigned char>(in[i]);
    if (b0 < 0x80) {
        cp = b0;
        return 1;
    }
    std::size_t len;
    char32_t min;
    if ((b0 & 0xE0) == 0xC0) {
        len = 2, cp = b0 & 0x1F, min = 0x80;
    } else if ((b0 & 0xF0) == 0xE0) {
        len = 3, cp = b0 & 0x0F, min = 0x800;
    } else if ((b0 & 0xF8) == 0xF0) {
        len = 4, cp = b0 & 0x07, min = 0x10000;
    } else {
        return 0;
    }
    if (i + len > in.size()) return 0;
    for (std::size_t k = 1; k < len; ++k) {
        const auto b = static_cast<unsigned char>(in[i + k]);
        if ((b & 0xC0) != 0x80) return 0;
        cp = (cp << 6) | (b & 0x3F);
    }
    if (cp < min || cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF)) return 0;
    return len;
}

void AppendWide(std::wstring &out, char32_t cp) {
    if constexpr (sizeof(wchar_t) == 2) {
        if (cp >= 0x10000) {
            cp -= 0x10000;
            out.push_back(static_cast<wchar_t>(0xD800 + (cp >> 10)));
            out.push_back(static_cast<wchar_t>(0xDC00 + (cp & 0x3FF)));
            return;
        }
    }
    out.push_back(static_cast<wchar_t>(cp));
}

void AppendUtf8(std::string &out, char32_t cp) {
    if (cp < 0x80) {
        out.push_back(static_cast<char>(cp));
    } else if (cp < 0x800) {
        out.push_back(static_cast<char>(0xC0 | (cp >> 6)));
        out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
    } else if (cp < 0x10000) {
        out.push_back(static_cast<char>(0xE0 | (cp >> 12)));
        out.push_back(static_cast<char>(0x80 | ((cp >> 6) & 0x3F)));
        out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
    } else {
        out.push_back(static_cast<char>(0xF0 | (cp >> 18)));
        out.push_back(static_cast<char>(0x80 | ((cp >> 12) & 0x3F)));
        out.push_back(static_cast<char>(0x80 | ((cp >> 6) & 0x3F)));
        out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
    }
}

// Reads one code point from wide text; returns units used, 0 when invalid.
std::size_t ReadWide(std::wstring_view in, std::size_t i, char32_t &cp) {
    const auto u = static_cast<std::uint32_t>(in[i]);
    if constexpr (sizeof(wchar_t) == 2) {
        if (u >= 0xD800 && u <= 0xDBFF) {
            if (i + 1 >= in.size()) return 0;
            const auto lo = static_cast<std::uint32_t>(in[i + 1]);
            if (lo < 0xDC00 || lo > 0xDFFF) return 0;
            cp = 0x10000 + ((u - 0xD800) << 10) + (lo - 0xDC00);
            return 2;
        }
    }
    if ((u >= 0xD800 && u <= 0xDFFF) || u > 0x10FFFF) return 0;
    cp = u;
    return 1;
}

} // namespace

ConvertResult Utf8ToWide(std::string_view in, std::wstring &out) {
    out.clear();
    out.reserve(in.size());
    for (std::size_t i = 0; i < in.size();) {
        char32_t cp;
        const std::size_t n = DecodeOne(in, i, cp);
        if (n == 0) return {false, i};
        AppendWide(out, cp);
        i += n;
    }
    return {true, std::string::npos};
}

ConvertResult WideToUtf8(std::wstring_view in, std::string &out) {
    out.clear();
    out.reserve(in.size());
    for (std::size_t i = 0; i < in.size();) {
        char32_t cp;
        const std::size_t n = ReadWide(in, i, cp);
        if (n == 0) return {false, i};
        AppendUtf8(out, cp);
        i += n;
    }
    return {true, std::string::npos};
}

std::wstring Utf8ToWideLossy(std::string_view in) {
    std::wstring out;
    out.reserve(in.size());
    for (std::size_t i = 0; i < in.size();) {
        char32_t cp;
        const std::size_t n = DecodeOne(in, i, cp);
        AppendWide(out, n ? cp : kReplacement);
        i += n ? n : 1;
    }
    return out;
}

std::string WideToUtf8Lossy(std::wstring_view in) {
    std::string out;
    out.reserve(in.size());
    for (std::size_t i = 0; i < in.size();) {
        char32_t cp;
        const std::size_t n = ReadWide(in, i, cp);
        AppendUtf8(out, n ? cp : kReplacement);
        i += n ? n : 1;
    }
    return out;
}

std::size_t UnitsOfCharacters(std::wstring_view text, std::size_t characters) {
    std::size_t units = 0;
    for (std::size_t n = 0; n < characters && units < text.size(); ++n) {
        const auto u = static_cast<std::uint32_t>(text[units]);
        const bool pair = sizeof(wchar_t) == 2 && u >= 0xD800 && u <= 0xDBFF &&
                          units + 1 < text.size() &&
                          static_cast<std::uint32_t>(text[units + 1]) >= 0xDC00 &&
                          static_cast<std::uint32_t>(text[units + 1]) <= 0xDFFF;
        units += pair ? 2 : 1;
    }
    return units;
}

} // namespace orvik::text
