// Definition text: the clauses the parser hands over, the parameters built from them, the
// clauses dropped with a warning, platform defaults and the reports of malformed text.
#include <cstring>
#include <string>
#include <vector>

#include <orvik/olex.h>

#include "prefs_test_util.hpp"

namespace {

struct Recorded {
    Olex_ClauseKind kind;
    std::wstring text;
    int platform;
    int line, column;
    std::vector<std::wstring> list;
    std::vector<double> numbers;
};

long Record(void *data, const Olex_Clause *c, Oerr_ErrorReport **) {
    Recorded r{c->kind, c->text ? c->text : L"", c->platform, c->line, c->column, {}, {}};
    for (int i = 0; i < c->listCount; ++i) r.list.push_back(c->list[i]);
    for (int i = 0; i < c->count; ++i) r.numbers.push_back(c->numbers[i]);
    static_cast<std::vector<Recorded> *>(data)->push_back(r);
    return 0;
}

std::vector<Recorded> Clauses(const std::string &text, Oerr_ErrorReport **err) {
    std::vector<Recorded> out;
    olex_Parse(L"t.pdf", text.data(), text.size(), Record, &out, err);
    return out;
}

// Parses into a fresh list; the caller frees it.
Opmg_Category *Parse(const std::string &text) {
    Opmg_Category *list = nullptr;
    Oerr_ErrorReport *err = nullptr;
    EXPECT_EQ(opmg_ParseText(L"t.pdf", text.data(), text.size(), &list, &err), 0) << ChainText(err);
    oerr_DeleteErrorReportEx(&err);
    return list;
}

std::wstring ParseError(const std::string &text) {
    Opmg_Category *list = nullptr;
    Oerr_ErrorReport *err = nullptr;
    EXPECT_EQ(opmg_ParseText(L"t.pdf", text.data(), text.size(), &list, &err), -1);
    EXPECT_EQ(list, nullptr);
    std::wstring chain = ChainText(err);
    oerr_DeleteErrorReportEx(&err);
    return chain;
}

const Opmg_Parameter *Param(const Opmg_Category *list, const wchar_t *c, const wchar_t *n) {
    return opmg_CategoryListFindParameterInCategory(list, c, n, nullptr);
}

const char *const kEveryClause = R"(pdf "Viewer settings";
/* block comment */ // line comment
viewer {
  title : OPMG_STRING readonly nocheck newfile filename directory expand multiline
          maxlength 40 typedef "path" hideon {"a", "b"} showon {"c"} default "x";
  mode : OPMG_STRING enums {fast, "very slow"} default "very slow";
  flag : OPMG_STRING boolean default "Yes";
  zoom : OPMG_NUMBER min -1.5 max 1e3 default pc 2 unix 3;
  ink : OPMG_COLOR default 1,2,3,4;
  home : OPMG_STRING default expand "$PREFS_TEST_HOME/x";
}
)";

} // namespace

TEST(DefinitionParser, HandsOverEveryClauseInOrderWithPositions) {
    Oerr_ErrorReport *err = nullptr;
    const auto c = Clauses(kEveryClause, &err);
    ASSERT_EQ(err, nullptr) << ChainText(err);
    std::vector<Olex_ClauseKind> kinds;
    for (const auto &r : c) kinds.push_back(r.kind);
    const std::vector<Olex_ClauseKind> expected = {OLEX_PDF,
                                                   OLEX_CATEGORY_BEGIN,
                                                   OLEX_PARAMETER,
                                                   OLEX_READONLY,
                                                   OLEX_NOCHECK,
                                                   OLEX_NEWFILE,
                                                   OLEX_FILENAME,
                                                   OLEX_DIRECTORY,
                                                   OLEX_ENVEXPAND,
                                                   OLEX_MULTILINE,
                                                   OLEX_MAXLENGTH,
                                                   OLEX_TYPEDEF,
                                                   OLEX_HIDEON,
                                                   OLEX_SHOWON,
                                                   OLEX_DEFAULT_STRING,
                                                   OLEX_PARAMETER_END,
                                                   OLEX_PARAMETER,
                                                   OLEX_ENUMS,
                                                   OLEX_DEFAULT_STRING,
                                                   OLEX_PARAMETER_END,
                                                   OLEX_PARAMETER,
                                                   OLEX_BOOLEAN,
                                                   OLEX_DEFAULT_STRING,
                                                   OLEX_PARAMETER_END,
                                                   OLEX_PARAMETER,
                                                   OLEX_MINIMUM,
                                                   OLEX_MAXIMUM,
                                                   OLEX_DEFAULT_NUMBER,
                                                   OLEX_DEFAULT_NUMBER,
                                                   OLEX_PARAMETER_END,
                                                   OLEX_PARAMETER,
                                                   OLEX_DEFAULT_COLOR,
                                                   OLEX_PARAMETER_END,
                                                   OLEX_PARAMETER,
                                                   OLEX_DEFAULT_EXPANDED,
                                                   OLEX_PARAMETER_END,
                                                   OLEX_CATEGORY_END};
    EXPECT_EQ(kinds, expected);
    EXPECT_EQ(c[0].text, L"Viewer settings");
    EXPECT_EQ(c[1].text, L"viewer");
    EXPECT_EQ(c[1].line, 3);
    EXPECT_EQ(c[1].column, 1);
    EXPECT_EQ(c[2].text, L"title");
    EXPECT_EQ(c[2].line, 4);
    EXPECT_EQ(c[2].column, 3);
    EXPECT_EQ(c[10].numbers, std::vector<double>{40});
    EXPECT_EQ(c[12].list, (std::vector<std::wstring>{L"a", L"b"}));
    EXPECT_EQ(c[17].list, (std::vector<std::wstring>{L"fast", L"very slow"}));
    EXPECT_EQ(c[25].numbers, std::vector<double>{-1.5});
    EXPECT_EQ(c[26].numbers, std::vector<double>{1000});
    EXPECT_EQ(c[27].platform, OLEX_PLATFORM_PC);
    EXPECT_EQ(c[28].platform, OLEX_PLATFORM_UNIX);
    EXPECT_EQ(c[31].numbers, (std::vector<double>{1, 2, 3, 4}));
}

TEST(DefinitionParser, BuildsParametersWithTheirAttributesAndDefaults) {
    EnvScope env;
    env.Set("PREFS_TEST_HOME", "/home/u").Set("GIO_ARCH", "Linux");
    Opmg_Category *list = Parse(kEveryClause);
    ASSERT_NE(list, nullptr);
    const Opmg_Parameter *title = Param(list, L"viewer", L"title");
    ASSERT_NE(title, nullptr);
    EXPECT_EQ(title->type, OPMG_STRING);
    EXPECT_EQ(title->attributes,
              unsigned(OPMG_ATTR_READONLY | OPMG_ATTR_NOCHECK | OPMG_ATTR_NEWFILE |
                       OPMG_ATTR_FILENAME | OPMG_ATTR_DIRECTORY | OPMG_ATTR_ENVEXPAND |
                       OPMG_ATTR_MULTILINE | OPMG_ATTR_MAXLENGTH));
    EXPECT_EQ(title->maxLength, 40);
    EXPECT_STREQ(title->typedefName, L"path");
    ASSERT_EQ(title->hideOn->count, 2);
    EXPECT_STREQ(title->showOn->strings[0], L"c");
    EXPECT_STREQ(title->value.string, L"x");
    EXPECT_EQ(title->stored, OMSC_FALSE);

    const Opmg_Parameter *mode = Param(list, L"viewer", L"mode");
    EXPECT_EQ(mode->type, OPMG_ENUM);
    EXPECT_EQ(mode->declaredType, OPMG_STRING);
    EXPECT_STREQ(mode->enums->strings[1], L"very slow");
    EXPECT_STREQ(mode->value.string, L"very slow");
    EXPECT_EQ(Param(list, L"viewer", L"flag")->type, OPMG_BOOLEAN);

    const Opmg_Parameter *zoom = Param(list, L"viewer", L"zoom");
    EXPECT_EQ(zoom->minimum, -1.5);
    EXPECT_EQ(zoom->maximum, 1000);
    EXPECT_EQ(zoom->value.number, 3); // "Linux" is not a "Win" architecture: the unix default
    const Opmg_Parameter *ink = Param(list, L"viewer", L"ink");
    EXPECT_EQ(ink->value.color.count, 4);
    EXPECT_EQ(ink->value.color.alpha, 4);
    EXPECT_STREQ(Param(list, L"viewer", L"home")->value.string, L"/home/u/x");
    opmg_FreeCategoryList(list);
}

TEST(DefinitionParser, PlatformDefaultsFollowGioArch) {
#ifdef _WIN32
    const std::wstring kHostDefault = L"w";
#else
    const std::wstring kHostDefault = L"u";
#endif
    const std::string text = "c { p : OPMG_STRING default \"any\" default pc \"w\" unix \"u\"; }";
    for (const auto &[arch, expected] :
         std::vector<std::pair<std::optional<std::string>, std::wstring>>{
             {"Win32", L"w"},
             {"Windows", L"w"},
             {"Linux", L"u"},
             {"win32", L"u"},
             // unset: the host's own
             {std::nullopt, kHostDefault}}) {
        EnvScope env;
        env.Set("GIO_ARCH", arch);
        Opmg_Category *list = Parse(text);
        EXPECT_STREQ(Param(list, L"c", L"p")->value.string, expected.c_str())
            << arch.value_or("unset");
        opmg_FreeCategoryList(list);
    }
}

TEST(DefinitionParser, DropsClausesThatDoNotFitTheTypeWithTheirWarnings) {
    const std::string text = R"(c {
  n : OPMG_NUMBER expand maxlength 3 boolean enums {a} multiline default "s" default expand "e" default 1,2,3;
  s : OPMG_STRING min 1 max 2 default 4;
  k : OPMG_COLOR default 5;
})";
    WarningCollector w;
    Opmg_Category *list = Parse(text);
    ASSERT_NE(list, nullptr);
    const std::vector<std::wstring> expected = {
        L"Expand flag ignored on non-OPMG_STRING type parameter, n",
        L"Maximum length ignored on non-OPMG_STRING type parameter, n",
        L"Boolean declaration ignored for non-string type parameter, n",
        L"Enum declaration ignored for non-string type parameter, n",
        L"multiline attribute ignored on non-OPMG_STRING type parameter, n",
        L"Encountered a string default for a non-string preference.",
        L"Encountered an expanded string default for a non-string preference.",
        L"Encountered an RGB color default for a non-color preference.",
        L"Minimum value restriction ignored on non-OPMG_NUMBER type parameter, s",
        L"Maximum value restriction ignored on non-OPMG_NUMBER type parameter, s",
        L"Encountered a numeric default for a non-numeric preference.",
        L"Encountered a numeric default for a non-numeric preference.",
    };
    EXPECT_EQ(w.messages, expected);
    for (int kind : w.kinds) EXPECT_EQ(kind, OERR_KIND_WARNING);
    EXPECT_EQ(w.inner[0], L"t.pdf:2:19"); // the position of the dropped clause
    const Opmg_Parameter *n = Param(list, L"c", L"n");
    EXPECT_EQ(n->type, OPMG_NUMBER);
    EXPECT_EQ(n->attributes, 0u);
    EXPECT_EQ(n->enums, nullptr);
    const Opmg_Parameter *s = Param(list, L"c", L"s");
    EXPECT_EQ(s->attributes, 0u);
    EXPECT_STREQ(s->value.string, L"");
    EXPECT_EQ(Param(list, L"c", L"k")->value.color.count, 3);
    opmg_FreeCategoryList(list);
}

TEST(DefinitionParser, MalformedTextIsReportedWithFileLineAndColumn) {
    const std::wstring head = L"OPMG: Error return from olex_Parse! | ";
    EXPECT_EQ(ParseError("c {\n  p : OPMG_STRING maxlength \"x\";\n}"),
              head + L"t.pdf:2:29: syntax error, unexpected string, expecting number "
                     L"(Parsing a maximum string length restriction clause)");
    EXPECT_EQ(ParseError("c { p : OPMG_BLOB; }"),
              head + L"t.pdf:1:9: syntax error, unexpected name, expecting OPMG_STRING or "
                     L"OPMG_NUMBER or OPMG_COLOR (Parsing a parameter)");
    EXPECT_EQ(ParseError("c { p : OPMG_STRING enums {a,}; }"),
              head + L"t.pdf:1:30: syntax error, unexpected '}', expecting name or string "
                     L"(Name in list)");
    EXPECT_EQ(ParseError("c {\n p : OPMG_STRING default \"abc\n"),
              head + L"t.pdf:2:26: unterminated string (Parsing a parameter)");
    EXPECT_EQ(ParseError("/* open"), head + L"t.pdf:1:1: unterminated comment");
    EXPECT_EQ(ParseError("c { @ }"), head + L"t.pdf:1:5: invalid character");
    EXPECT_EQ(ParseError(std::string("c {\0}", 5)), head + L"t.pdf:1:4: NUL byte in text");
    EXPECT_EQ(ParseError("c { p : OPMG_NUMBER default 1e999; }"),
              head + L"t.pdf:1:29: number out of range (Parsing a parameter)");
    EXPECT_EQ(ParseError("c { p : OPMG_STRING maxlength 2.5; }"),
              head + L"t.pdf:1:21: clause refused | Maximum length of p must be a whole number "
                     L"from 0 to 2147483647");
    EXPECT_EQ(ParseError("c { p : OPMG_COLOR default 1,2,3.5; }"),
              head + L"t.pdf:1:28: clause refused | Colour components of p must be whole numbers");
    EXPECT_EQ(ParseError("c { p : OPMG_STRING default \"\xff\"; }"),
              head + L"t.pdf:1:29: string is not valid UTF-8 text (Parsing a parameter)");
    EXPECT_EQ(ParseError("c { p : OPMG_STRING default pc"),
              head + L"t.pdf:1:31: syntax error, unexpected end of file, expecting expand or "
                     L"number or string (PC string)");
}

TEST(DefinitionParser, LaterDefinitionsMergeIntoTheList) {
    Opmg_Category *list = Parse("a { x : OPMG_NUMBER default 1; y : OPMG_NUMBER; } b { }");
    Oerr_ErrorReport *err = nullptr;
    const std::string more = "a { x : OPMG_STRING default \"s\"; z : OPMG_NUMBER; } c { }";
    ASSERT_EQ(opmg_ParseText(L"u.pdf", more.data(), more.size(), &list, &err), 0);
    const Opmg_Category *a = opmg_MatchCategory(list, L"a");
    ASSERT_NE(a, nullptr);
    std::vector<std::wstring> names;
    for (const Opmg_Parameter *p = a->parameters; p; p = p->next) names.push_back(p->name);
    EXPECT_EQ(names, (std::vector<std::wstring>{L"x", L"y", L"z"}));
    EXPECT_EQ(a->parameters->type, OPMG_STRING); // replaced in place
    EXPECT_STREQ(opmg_ListTail(list)->name, L"c");
    // A failed parse leaves the list as it was.
    const std::string bad = "d { } a { x : ; }";
    EXPECT_EQ(opmg_ParseText(L"v.pdf", bad.data(), bad.size(), &list, &err), -1);
    oerr_DeleteErrorReportEx(&err);
    EXPECT_EQ(opmg_MatchCategory(list, L"d"), nullptr);
    opmg_FreeCategoryList(list);
}

TEST(DefinitionParser, AClauseFunctionCanStopTheParse) {
    auto refuse = [](void *, const Olex_Clause *c, Oerr_ErrorReport **err) -> long {
        if (c->kind != OLEX_PARAMETER) return 0;
        *err = oerr_CreateErrorReport(L"client", 1, OERR_KIND_ERROR, nullptr, L"no");
        return -1;
    };
    const std::string text = "c {\n p : OPMG_NUMBER; }";
    Oerr_ErrorReport *err = nullptr;
    EXPECT_EQ(olex_Parse(L"f", text.data(), text.size(), refuse, nullptr, &err), -1);
    EXPECT_EQ(ChainText(err), L"f:2:2: clause refused | no");
    oerr_DeleteErrorReportEx(&err);
}
