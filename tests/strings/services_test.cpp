// Single-string services: duplication, quoting, case-insensitive equality, wildcards,
// environment expansion and file-name parts.
#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <string>

#include <orvik/ostr.h>

#include "core/heap_seam.hpp"
#include "portable.hpp"
#include "test_util.hpp"

using orvik::core::testing::ScopedAllocationFailure;

namespace {

TEST(StringCopy, DuplicatesAndReportsExhaustion) {
    Report r;
    EXPECT_EQ(ostr_StringCopy(nullptr, r.Out()), nullptr);
    EXPECT_TRUE(r.Cleared());
    const wchar_t *src = L"Layer_1 \u00e9";
    WStr copy(ostr_StringCopy(src, r.Out()));
    EXPECT_TRUE(r.Cleared());
    ASSERT_NE(copy.get(), src);
    EXPECT_STREQ(copy.get(), src);
    {
        ScopedAllocationFailure fail(1);
        EXPECT_EQ(ostr_StringCopy(L"x", r.Out()), nullptr);
    }
    EXPECT_EQ(r.Head(), L"ostr_StringCopy/5/Out of memory");
    HeapPtr<char> narrow(ostr_StringCopyA("abc", r.Out()));
    EXPECT_STREQ(narrow.get(), "abc");
    WStr noReport(ostr_StringCopy(L"y", nullptr)); // a null err is tolerated
    EXPECT_STREQ(noReport.get(), L"y");
}

TEST(QuoteString, BothQuoteCharacters) {
    Report r;
    WStr single(ostr_QuoteString(L"it's", OMSC_FALSE, r.Out()));
    EXPECT_TRUE(r.Cleared());
    EXPECT_STREQ(single.get(), L"'it\\'s'");
    EXPECT_EQ(std::wcslen(single.get()), 7u);
    WStr dbl(ostr_QuoteString(L"it's", OMSC_TRUE, r.Out()));
    EXPECT_STREQ(dbl.get(), L"\"it's\"");
    EXPECT_EQ(std::wcslen(dbl.get()), 6u);
    // Any non-zero flag selects the double quote; backslashes are never doubled.
    WStr other(ostr_QuoteString(L"a\\\"b", static_cast<Omsc_Boolean>(7), r.Out()));
    EXPECT_STREQ(other.get(), L"\"a\\\\\"b\"");
    WStr allQuotes(ostr_QuoteString(L"''", OMSC_FALSE, r.Out()));
    EXPECT_STREQ(allQuotes.get(), L"'\\'\\''");
}

TEST(QuoteString, Failures) {
    Report r;
    EXPECT_EQ(ostr_QuoteString(nullptr, OMSC_TRUE, r.Out()), nullptr);
    EXPECT_EQ(r.Head(), L"ostr_QuoteString/1/Invalid argument!");
    EXPECT_EQ(r.Get()->kind, 2);
    EXPECT_EQ(ostr_QuoteString(L"", OMSC_TRUE, r.Out()), nullptr);
    EXPECT_EQ(r.Head(), L"ostr_QuoteString/1/Invalid argument!");
    {
        ScopedAllocationFailure fail(1);
        EXPECT_EQ(ostr_QuoteString(L"abc", OMSC_TRUE, r.Out()), nullptr);
    }
    EXPECT_EQ(r.Head(), L"ostr_QuoteString/2/Not enough memory!");
}

TEST(QuotedCopy, EmptyNullAndInnerQuotes) {
    Report r;
    EXPECT_EQ(ostr_StringQuotedCopy(nullptr, r.Out()), nullptr);
    EXPECT_TRUE(r.Cleared());
    WStr empty(ostr_StringQuotedCopy(L"", r.Out()));
    EXPECT_STREQ(empty.get(), L"\"\"");
    WStr inner(ostr_StringQuotedCopy(L"say \"hi\"", r.Out()));
    EXPECT_STREQ(inner.get(), L"\"say \\\"hi\\\"\"");
}

TEST(Eqic, FoldsCaseWithoutLocale) {
    EXPECT_TRUE(ostr_Eqic(L"U16", L"u16"));
    EXPECT_FALSE(ostr_Eqic(L"u16", L"u1"));
    EXPECT_FALSE(ostr_Eqic(L"u1", L"u16"));
    EXPECT_FALSE(ostr_Eqic(L"f32", L"f64"));
    EXPECT_TRUE(ostr_Eqic(nullptr, nullptr));
    EXPECT_FALSE(ostr_Eqic(nullptr, L""));
    EXPECT_FALSE(ostr_Eqic(L"", nullptr));
    EXPECT_TRUE(ostr_Eqic(L"", L""));
    // Latin-1, Latin Extended-A (both pairing directions), Greek, Cyrillic.
    EXPECT_TRUE(ostr_Eqic(L"\u00c4\u00d6\u00dc", L"\u00e4\u00f6\u00fc"));
    EXPECT_FALSE(ostr_Eqic(L"\u00d7", L"\u00f7")); // multiplication / division signs
    EXPECT_TRUE(ostr_Eqic(L"\u0141\u0104\u017d", L"\u0142\u0105\u017e"));
    EXPECT_TRUE(ostr_Eqic(L"\u0178", L"\u00ff"));
    EXPECT_FALSE(ostr_Eqic(L"\u0130", L"i"));
    EXPECT_TRUE(ostr_Eqic(L"\u0394\u03a9", L"\u03b4\u03c9"));
    EXPECT_TRUE(ostr_Eqic(L"\u0416\u0401", L"\u0436\u0451"));
    EXPECT_FALSE(ostr_Eqic(L"@", L"`")); // 0x40 / 0x60 differ by 32 but are not letters
    EXPECT_TRUE(ostr_EqicA("C128", "c128"));
    EXPECT_FALSE(ostr_EqicA("[", "{"));
}

struct WildCase {
    const wchar_t *pattern, *text;
    bool strict, loose;
};

TEST(Wildcard, Table) {
    const WildCase cases[] = {
        {L"*.dll", L"raster.dll", true, true},
        {L"*.dll", L"raster.dlk", false, false},
        {L"*.dll", L"RASTER.DLL", false, true},
        {L"*.dll", L"a.dll.bak", false, false},
        {L"*.pdf", L"dir/sub/x.pdf", true, true}, // "*" crosses "/"
        {L"?", L"", false, false},
        {L"?", L"a", true, true},
        {L"a?c", L"ac", false, false},
        {L"a?c", L"abc", true, true},
        {L"", L"", true, true},
        {L"", L"a", false, false},
        {L"*", L"", true, true},
        {L"abc**", L"abc", true, true},
        {L"a*b*c", L"axxbyyc", true, true},
        {L"a*b*c", L"axxbyycd", false, false},
        {L"a*bc", L"abcbc", true, true},
        {L"*ab", L"aab", true, true},
        {L"x\u00c9*", L"X\u00e9t\u00e9", false, true},
    };
    for (const auto &c : cases) {
        EXPECT_EQ(ostr_WildcardMatch(c.pattern, c.text), c.strict ? OMSC_TRUE : OMSC_FALSE)
            << testing::PrintToString(std::wstring(c.pattern)) << " / "
            << testing::PrintToString(std::wstring(c.text));
        EXPECT_EQ(ostr_WildcardMatchLoose(c.pattern, c.text), c.loose ? OMSC_TRUE : OMSC_FALSE)
            << testing::PrintToString(std::wstring(c.pattern));
    }
    EXPECT_FALSE(ostr_WildcardMatch(nullptr, L""));
    EXPECT_FALSE(ostr_WildcardMatch(L"*", nullptr));
    EXPECT_FALSE(ostr_WildcardMatchLoose(nullptr, nullptr));
}

TEST(Wildcard, ManyStarsStayFast) {
    const std::wstring text(20000, L'a');
    const auto start = std::chrono::steady_clock::now();
    EXPECT_FALSE(ostr_WildcardMatch(L"*a*a*a*a*a*a*a*a*b", text.c_str()));
    EXPECT_TRUE(ostr_WildcardMatch(L"*a*a*a*a*a*a*a*a*a", text.c_str()));
    const auto elapsed = std::chrono::steady_clock::now() - start;
    // A backtracking matcher needs astronomically long; the bounded one a few milliseconds.
    EXPECT_LT(std::chrono::duration_cast<std::chrono::milliseconds>(elapsed).count(), 2000);
}

class Environment : public ::testing::Test {
  protected:
    void SetUp() override {
        orvik_test::SetEnv("ORVIK_T_HOME", "/opt/orvik");
        orvik_test::SetEnv("ORVIK_T_ARCH", "Linux");
        orvik_test::SetEnv("ORVIK_T_EMPTY", "");
        orvik_test::SetEnv("ORVIK_T_SELF", "$ORVIK_T_HOME");
        orvik_test::SetEnv("ORVIK_T_UTF8", "caf\xc3\xa9");
        orvik_test::SetEnv("ORVIK_T_UNSET", nullptr);
    }
    void TearDown() override {
        for (const char *n : {"ORVIK_T_HOME", "ORVIK_T_ARCH", "ORVIK_T_EMPTY", "ORVIK_T_SELF",
                              "ORVIK_T_UTF8", "ORVIK_T_BAD"})
            orvik_test::SetEnv(n, nullptr);
    }
    std::wstring Eval(const wchar_t *text) {
        WStr out(ostr_StringEvaluate(text, report.Out()));
        EXPECT_TRUE(report.Cleared()) << testing::PrintToString(report.Head());
        return out ? std::wstring(out.get()) : L"<null>";
    }
    Report report;
};

TEST_F(Environment, SetVariables) {
    EXPECT_EQ(Eval(L"$ORVIK_T_HOME/usr/lib/$ORVIK_T_ARCH/RasterFormats"),
              L"/opt/orvik/usr/lib/Linux/RasterFormats");
    EXPECT_EQ(Eval(L"${ORVIK_T_HOME}bin;$ORVIK_T_ARCH"), L"/opt/orvikbin;Linux");
    // Windows drops a variable set to "", which then stays as written.
    EXPECT_EQ(Eval(L"[$ORVIK_T_EMPTY]"),
              orvik_test::KeepsEmptyVariables() ? L"[]" : L"[$ORVIK_T_EMPTY]");
    EXPECT_EQ(Eval(L"$ORVIK_T_SELF/x"), L"$ORVIK_T_HOME/x"); // values are not expanded again
    EXPECT_EQ(Eval(L"$ORVIK_T_UTF8!"), L"caf\u00e9!");
    EXPECT_EQ(Eval(L"no references"), L"no references");
    EXPECT_EQ(Eval(L""), L"");
}

TEST_F(Environment, UnsetAndMalformedReferencesStayAsWritten) {
    EXPECT_EQ(Eval(L"$ORVIK_T_UNSET/lib"), L"$ORVIK_T_UNSET/lib");
    EXPECT_EQ(Eval(L"a${ORVIK_T_UNSET}b"), L"a${ORVIK_T_UNSET}b");
    EXPECT_EQ(Eval(L"cost: 5$"), L"cost: 5$");
    EXPECT_EQ(Eval(L"$5 and $-"), L"$5 and $-");
    EXPECT_EQ(Eval(L"${} ${ORVIK_T_HOME"), L"${} ${ORVIK_T_HOME");
    EXPECT_EQ(Eval(L"$$ORVIK_T_ARCH"), L"$Linux");
}

TEST_F(Environment, NullUnconvertibleAndExhaustion) {
    EXPECT_EQ(ostr_StringEvaluate(nullptr, report.Out()), nullptr);
    EXPECT_TRUE(report.Cleared());
    orvik_test::SetUnconvertibleEnv("ORVIK_T_BAD", "bad");
    EXPECT_EQ(ostr_StringEvaluate(L"x$ORVIK_T_BAD", report.Out()), nullptr);
    EXPECT_EQ(report.Head(), L"ostr_StringEvaluate/1/Environment variable ORVIK_T_BAD holds "
                             L"text that cannot be converted");
    {
        ScopedAllocationFailure fail(1);
        EXPECT_EQ(ostr_StringEvaluate(L"$ORVIK_T_HOME", report.Out()), nullptr);
    }
    EXPECT_EQ(report.Head(), L"ostr_StringEvaluate/5/Out of memory");
}

struct PartCase {
    const wchar_t *name, *local, *dir, *ext, *layer;
};

std::wstring Part(wchar_t *(*fn)(const wchar_t *, Oerr_ErrorReport **), const wchar_t *name) {
    Report r;
    WStr out(fn(name, r.Out()));
    EXPECT_TRUE(r.Cleared());
    return out ? std::wstring(out.get()) : L"<null>";
}

TEST(FileNameParts, Table) {
    const PartCase cases[] = {
        {L"c:/data/image.img", L"image.img", L"c:/data", L"img", L"image.img"},
        {L"c:\\data\\image.img(:Layer_1)", L"image.img(:Layer_1)", L"c:\\data", L"img",
         L"image.img(:Layer_1)"},
        {L"/d/f.hfa(:a/b.c)", L"f.hfa(:a/b.c)", L"/d", L"hfa", L"f.hfa(:a/b.c)"},
        {L"plain", L"plain", L"", L"", L"plain"},
        {L"/f", L"f", L"/", L"", L"f"},
        {L"c:/f.x", L"f.x", L"c:/", L"x", L"f.x"},
        {L"c:f.x", L"c:f.x", L"", L"x", L"c:f.x"},
        {L"dir/", L"", L"dir", L"", L"*"},
        {L"dir\\", L"", L"dir", L"", L"*"},
        {L"a.b/c", L"c", L"a.b", L"", L"c"},
        {L"d/.profile", L".profile", L"d", L"", L".profile"},
        {L"d/archive.tar.gz", L"archive.tar.gz", L"d", L"gz", L"archive.tar.gz"},
        {L"d/name.", L"name.", L"d", L"", L"name."},
        {L"(:x/y)", L"(:x/y)", L"", L"", L"(:x/y)"},
        {L"", L"", L"", L"", L""},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(testing::PrintToString(std::wstring(c.name)));
        EXPECT_EQ(Part(ostr_FileNameLocalPart, c.name), c.local);
        EXPECT_EQ(Part(ostr_FileNameDirPart, c.name), c.dir);
        EXPECT_EQ(Part(ostr_FileNameExtension, c.name), c.ext);
        EXPECT_EQ(Part(ostr_FileNameLayerPart, c.name), c.layer);
    }
}

TEST(FileNameParts, NullAndExhaustion) {
    Report r;
    EXPECT_EQ(ostr_FileNameLocalPart(nullptr, r.Out()), nullptr);
    EXPECT_TRUE(r.Cleared());
    ScopedAllocationFailure fail(1);
    EXPECT_EQ(ostr_FileNameDirPart(L"a/b", r.Out()), nullptr);
    EXPECT_EQ(r.Head(), L"ostr_FileNameDirPart/5/Out of memory");
}

} // namespace
