// Text outside the Basic Multilingual Plane through every wide/narrow boundary. wchar_t holds
// one code point on Linux and a surrogate pair on Windows, so each case states what it expects
// in code points and checks the units the host uses.
#include <gtest/gtest.h>

#include <cstring>
#include <cwchar>
#include <string>

#include <orvik/ostr.h>
#include <orvik/otxt.h>

#include "test_util.hpp"

namespace {

constexpr bool kUtf16 = sizeof(wchar_t) == 2;

using CStr = HeapPtr<char>;

// "a", U+1F600, "b", U+10348 in UTF-8.
const char kNarrow[] = "a\xF0\x9F\x98\x80"
                       "b\xF0\x90\x8D\x88";
const wchar_t kWide[] = L"a\U0001F600b\U00010348";

TEST(WideText, CharactersOutsideTheBmpConvertBothWays) {
    // Two units per character with 16-bit wchar_t, one with 32-bit.
    EXPECT_EQ(std::wcslen(kWide), kUtf16 ? 6u : 4u);
    if (kUtf16) {
        EXPECT_EQ(static_cast<unsigned>(kWide[1]), 0xD83Du);
        EXPECT_EQ(static_cast<unsigned>(kWide[2]), 0xDE00u);
    }
    Report r;
    CStr narrow(otxt_Text_Unicode2Ascii(kWide, r.Out()));
    ASSERT_NE(narrow, nullptr) << r.Head();
    EXPECT_STREQ(narrow.get(), kNarrow);
    WStr wide(otxt_Text_Ascii2Unicode(kNarrow, r.Out()));
    ASSERT_NE(wide, nullptr) << r.Head();
    EXPECT_STREQ(wide.get(), kWide);
    // The last code point there is.
    WStr last(otxt_Text_Ascii2Unicode("\xF4\x8F\xBF\xBF", r.Out()));
    ASSERT_NE(last, nullptr);
    EXPECT_STREQ(last.get(), L"\U0010FFFF");
}

TEST(WideText, UnpairedOrMisorderedSurrogatesAndCodedSurrogatesFail) {
    const wchar_t high[] = {L'x', static_cast<wchar_t>(0xD83D), L'y', 0};
    const wchar_t low[] = {static_cast<wchar_t>(0xDE00), 0};
    const wchar_t reversed[] = {static_cast<wchar_t>(0xDE00), static_cast<wchar_t>(0xD83D), 0};
    const wchar_t trailingHigh[] = {L'z', static_cast<wchar_t>(0xD83D), 0};
    for (const wchar_t *text : {high, low, reversed, trailingHigh}) {
        Report r;
        EXPECT_EQ(otxt_Text_Unicode2Ascii(text, r.Out()), nullptr);
        ASSERT_NE(r.Get(), nullptr);
        EXPECT_EQ(r.Get()->number, 1);
    }
    // UTF-8 that encodes a surrogate (as CESU-8 does for a pair), or a value past U+10FFFF.
    for (const char *text : {"\xED\xA0\xBD\xED\xB8\x80", "\xED\xA0\xBD", "\xF4\x90\x80\x80"}) {
        Report r;
        EXPECT_EQ(otxt_Text_Ascii2Unicode(text, r.Out()), nullptr) << text;
        ASSERT_NE(r.Get(), nullptr);
        EXPECT_EQ(r.Get()->number, 1);
    }
}

TEST(WideText, FormatterCarriesPairsWholeInEveryStringConversion) {
    WStr s(ostr_Sprintf(nullptr, 0, L"[%s|%S|%ls|%hs]", kWide, kNarrow, kWide, kNarrow));
    ASSERT_NE(s, nullptr);
    EXPECT_EQ(std::wstring(s.get()),
              L"[" + std::wstring(kWide) + L"|" + kWide + L"|" + kWide + L"|" + kWide + L"]");
    // A narrow string broken inside a four-byte sequence prints U+FFFD per byte, never half
    // of a pair.
    WStr broken(ostr_Sprintf(nullptr, 0, L"%S", "\xF0\x9F\x98"));
    ASSERT_NE(broken, nullptr);
    EXPECT_STREQ(broken.get(), L"\uFFFD\uFFFD\uFFFD");
    // A destination that is full stops the text; what stands there is still terminated.
    wchar_t d[4];
    EXPECT_EQ(ostr_Sprintf(d, 4, L"%s", kWide), d);
    EXPECT_EQ(d[3], L'\0');
    EXPECT_EQ(std::wmemcmp(d, kWide, 3), 0);
}

} // namespace
