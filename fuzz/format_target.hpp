// The body of the formatter fuzz target, shared with the replay test. The bytes build one
// conversion at a time (flags, width, precision, length, conversion and its argument, with
// "*" widths and precisions) between literal texts; the library's result must equal the C
// library's swprintf wherever C defines the result, also when cut to a small destination.
// Conversions C leaves undefined (huge "*" values) must still succeed and stay bounded.
#pragma once

#include <clocale>
#include <cmath>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <string>

#include <orvik/omsc.h>
#include <orvik/ostr.h>

#include "fuzz/check.hpp"

namespace format_fuzz {

class Bytes {
  public:
    Bytes(const uint8_t *data, size_t size) : m_p(data), m_end(data + size) {}
    bool empty() const { return m_p == m_end; }
    uint8_t Next() { return m_p < m_end ? *m_p++ : 0; }
    template <class T> T Value() {
        T v{};
        unsigned char raw[sizeof(T)];
        for (unsigned char &b : raw) b = Next();
        std::memcpy(&v, raw, sizeof v);
        return v;
    }

  private:
    const uint8_t *m_p, *m_end;
};

// A character C and the library both print the same way: no NUL, no surrogate.
inline wchar_t SafeChar(uint32_t v) {
    v %= 0x10FFFF;
    if (v == 0 || (v >= 0xD800 && v <= 0xDFFF)) v = L'?';
    return static_cast<wchar_t>(v);
}

inline std::wstring WideText(Bytes &in) {
    std::wstring s;
    for (int n = in.Next() % 12; n > 0; --n) {
        const uint8_t b = in.Next();
        s.push_back(b < 0xC0 ? SafeChar(b) : SafeChar(in.Value<uint16_t>() * 17u));
    }
    return s;
}

// Valid UTF-8 (C converts it through the locale; invalid bytes are not compared).
inline std::string NarrowText(Bytes &in) {
    std::string s;
    for (wchar_t c : WideText(in)) {
        const auto v = static_cast<uint32_t>(c);
        if (v < 0x80)
            s += static_cast<char>(v);
        else if (v < 0x800)
            s += {static_cast<char>(0xC0 | v >> 6), static_cast<char>(0x80 | (v & 0x3F))};
        else if (v < 0x10000)
            s += {static_cast<char>(0xE0 | v >> 12), static_cast<char>(0x80 | ((v >> 6) & 0x3F)),
                  static_cast<char>(0x80 | (v & 0x3F))};
        else
            s +=
                {static_cast<char>(0xF0 | v >> 18), static_cast<char>(0x80 | ((v >> 12) & 0x3F)),
                 static_cast<char>(0x80 | ((v >> 6) & 0x3F)), static_cast<char>(0x80 | (v & 0x3F))};
    }
    return s;
}

// What C's swprintf gives (a generous buffer; the compared results are short).
template <class... A> std::wstring CFormat(const std::wstring &format, A... args) {
    std::wstring out(4096, L'\0');
    const int n = std::swprintf(out.data(), out.size(), format.c_str(), args...);
    FUZZ_CHECK(n >= 0);
    out.resize(static_cast<size_t>(n));
    return out;
}

template <class... A>
void Compare(const std::wstring &ours, const std::wstring &theirs, size_t cut, A... args) {
    const std::wstring expected = CFormat(theirs, args...);
    wchar_t *all = ostr_Sprintf(nullptr, 0, ours.c_str(), args...);
    FUZZ_CHECK(all != nullptr);
    FUZZ_CHECK(expected == all);
    omsc_HeapFree(all);
    // Cut to a destination of `cut` characters: the same text up to the last that fits.
    wchar_t small[40];
    FUZZ_CHECK(ostr_Sprintf(small, cut, ours.c_str(), args...) == small);
    FUZZ_CHECK(expected.compare(0, cut - 1, small) == 0);
}

// Our format and C's for one conversion: %s/%c are wide here and %ls/%lc in C; %S and %hs
// are narrow here and %s in C.
struct Conversion {
    std::wstring ours, theirs;
    void Add(const std::wstring &both) { ours += both, theirs += both; }
};

inline int RunOne(const uint8_t *data, size_t size) {
    static const bool locale = std::setlocale(LC_ALL, "C.UTF-8") != nullptr;
    if (!locale) return 0;
    Bytes in(data, size);
    while (!in.empty()) {
        Conversion f;
        const std::wstring before = WideText(in);
        std::wstring literal;
        for (wchar_t c : before) literal += c == L'%' ? L"%%" : std::wstring(1, c);
        f.Add(literal);
        f.Add(L"%");
        const uint8_t flags = in.Next();
        for (int i = 0; i < 5; ++i)
            if (flags & (1 << i)) f.Add(std::wstring(1, L"-+ #0"[i]));
        const uint8_t widthKind = in.Next() % 4, precisionKind = in.Next() % 4;
        int starWidth = 0, starPrecision = 0;
        if (widthKind == 1) f.Add(std::to_wstring(in.Next() % 40));
        if (widthKind >= 2) f.Add(L"*"), starWidth = static_cast<int8_t>(in.Next()) % 40;
        if (precisionKind == 1) f.Add(L"." + std::to_wstring(in.Next() % 40));
        if (precisionKind >= 2) f.Add(L".*"), starPrecision = static_cast<int8_t>(in.Next()) % 40;
        const uint8_t kind = in.Next() % 12;
        const size_t cut = 1 + in.Next() % 39;
        // Flags C leaves undefined for a conversion ('#' on d/s/c, '0' on s/c) are left out.
        auto numeric = [&](const wchar_t *length, wchar_t conv) {
            f.Add(length);
            f.Add(std::wstring(1, conv));
        };
        auto run = [&](auto value) {
            if (widthKind >= 2 && precisionKind >= 2)
                Compare(f.ours, f.theirs, cut, starWidth, starPrecision, value);
            else if (widthKind >= 2)
                Compare(f.ours, f.theirs, cut, starWidth, value);
            else if (precisionKind >= 2)
                Compare(f.ours, f.theirs, cut, starPrecision, value);
            else
                Compare(f.ours, f.theirs, cut, value);
        };
        const bool stringOrChar = kind >= 8;
        if ((flags & 0x08) && (kind <= 1 || stringOrChar)) continue; // '#'
        if ((flags & 0x10) && stringOrChar) continue;                // '0'
        switch (kind) {
        case 0:
            numeric(L"", L"di"[in.Next() & 1]), run(in.Value<int>());
            break;
        case 1:
            numeric(L"ll", L'd'), run(in.Value<long long>());
            break;
        case 2:
            numeric(L"", L"uoxX"[in.Next() & 3]), run(in.Value<unsigned>());
            break;
        case 3:
            numeric(L"l", L"uoxX"[in.Next() & 3]), run(in.Value<unsigned long>());
            break;
        case 4:
            numeric(L"hh", L'd'), run(static_cast<int>(in.Value<signed char>()));
            break;
        case 5:
            numeric(L"h", L'x'), run(static_cast<int>(in.Value<short>()));
            break;
        case 6:
        case 7: {
            numeric(L"", L"eEfFgGaA"[in.Next() & 7]);
            double v = in.Value<double>();
            if (std::isfinite(v) && std::fabs(v) > 1e30) v = 1e30; // keep "%f" short
            run(v);
            break;
        }
        case 8: {
            f.ours += L"s", f.theirs += L"ls";
            const std::wstring s = WideText(in);
            run(s.c_str());
            break;
        }
        case 9: {
            const bool h = in.Next() & 1;
            f.ours += h ? L"hs" : L"S", f.theirs += L"s";
            const std::string s = NarrowText(in);
            run(s.c_str());
            break;
        }
        case 10: {
            if (precisionKind != 0) continue; // a precision on %c is undefined in C
            f.ours += L"c", f.theirs += L"lc";
            run(static_cast<wint_t>(SafeChar(in.Value<uint32_t>())));
            break;
        }
        default: {
            // Values C does not bound: the library caps them and stays within the buffer.
            const int huge[] = {INT_MAX, INT_MIN, 1000000000, -1000000000};
            const int w = huge[in.Next() & 3], p = huge[in.Next() & 3];
            wchar_t small[16];
            FUZZ_CHECK(ostr_Sprintf(small, 16, L"%*.*d|%*s|%.*S", w, p, 1, w, L"x", p, "ab") ==
                       small);
            wchar_t *all = ostr_Sprintf(nullptr, 0, L"[%*d]", w, 7);
            FUZZ_CHECK(all != nullptr && std::wcslen(all) == 100002);
            omsc_HeapFree(all);
            break;
        }
        }
    }
    return 0;
}

} // namespace format_fuzz
