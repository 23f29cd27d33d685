// The wide formatter with numbers a hostile caller chooses: "*" widths and precisions, and
// precisions on narrow UTF-8 strings.
#include <gtest/gtest.h>

#include <chrono>
#include <climits>
#include <cwchar>
#include <string>

#include <orvik/ostr.h>

#include "test_util.hpp"

namespace {

double SecondsSince(std::chrono::steady_clock::time_point start) {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// A "*" width once built the whole padded text (gigabytes) before cutting it to the buffer.
TEST(FormatStar, WidthIsCappedAndNeverBuiltBeyondTheBuffer) {
    const auto start = std::chrono::steady_clock::now();
    wchar_t d[8];
    EXPECT_EQ(ostr_Sprintf(d, 8, L"%*s", 1000000000, L"x"), d);
    EXPECT_STREQ(d, L"       ");
    EXPECT_EQ(ostr_Sprintf(d, 8, L"%*s|%*d", INT_MAX, L"x", INT_MAX, 5), d);
    EXPECT_STREQ(d, L"       ");
    EXPECT_LT(SecondsSince(start), 1.0);
    // Allocated: the width is cut to 100000, like a width written in digits.
    WStr all(ostr_Sprintf(nullptr, 0, L"%*s", INT_MAX, L"x"));
    ASSERT_NE(all.get(), nullptr);
    EXPECT_EQ(std::wcslen(all.get()), 100000u);
    EXPECT_EQ(all.get()[99999], L'x');
    WStr digits(ostr_Sprintf(nullptr, 0, L"%999999999s", L"x"));
    EXPECT_EQ(std::wcslen(digits.get()), 100000u);
    // Precision the same way; a negative "*" precision is no precision, as in C.
    WStr precise(ostr_Sprintf(nullptr, 0, L"%.*d", INT_MAX, 7));
    EXPECT_EQ(std::wcslen(precise.get()), 100000u);
    WStr none(ostr_Sprintf(nullptr, 0, L"%.*d|%.*s", -3, 42, -1, L"abc"));
    EXPECT_STREQ(none.get(), L"42|abc");
    // The text that does fit is exact.
    EXPECT_EQ(ostr_Sprintf(d, 8, L"%s%*d", L"ab", 4, 12), d);
    EXPECT_STREQ(d, L"ab  12");
}

// A negative "*" width means left alignment; INT_MIN once overflowed when negated.
TEST(FormatStar, NegativeWidthsAlignLeftWithoutOverflow) {
    WStr left(ostr_Sprintf(nullptr, 0, L"[%*d]", -5, 42));
    EXPECT_STREQ(left.get(), L"[42   ]");
    WStr lowest(ostr_Sprintf(nullptr, 0, L"[%*d]", INT_MIN, 42));
    ASSERT_NE(lowest.get(), nullptr);
    const std::wstring text(lowest.get());
    EXPECT_EQ(text.size(), 100002u);
    EXPECT_EQ(text.substr(0, 4), L"[42 ");
    EXPECT_EQ(text.back(), L']');
}

// A precision on a narrow string counts characters, not bytes.
TEST(FormatNarrow, PrecisionCountsCharacters) {
    WStr s(ostr_Sprintf(nullptr, 0, L"%.1S|%.2S|%.3hs|%.0S|%.9S", "\xc3\xa9z", "\xc3\xa9z",
                        "\xe2\x82\xac!", "abc", "\xf0\x9f\x98\x80x"));
    EXPECT_STREQ(s.get(), L"\u00e9|\u00e9z|\u20ac!||\U0001F600x");
    // Each byte of a broken sequence is one replaced character; nothing past the NUL is read.
    WStr broken(ostr_Sprintf(nullptr, 0, L"%.2S|%.5S", "\xe2\x82z", "\xe2"));
    EXPECT_STREQ(broken.get(), L"\ufffd\ufffd|\ufffd");
    // The precision bounds what is read: an unterminated buffer is fine.
    const char raw[3] = {'a', 'b', 'c'};
    WStr bounded(ostr_Sprintf(nullptr, 0, L"%.3S", raw));
    EXPECT_STREQ(bounded.get(), L"abc");
    WStr padded(ostr_Sprintf(nullptr, 0, L"[%4.1S]", "\xc3\xa9z"));
    EXPECT_STREQ(padded.get(), L"[   \u00e9]");
}

} // namespace
