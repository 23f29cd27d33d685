// String lists: creation, growth, nulls, uniqueness, removal, truncation, copies, quoting,
// joins, both sorts and the narrow form.
#include <gtest/gtest.h>

#include <climits>
#include <string>

#include <orvik/ostr.h>

#include "core/heap_seam.hpp"
#include "test_util.hpp"

using orvik::core::testing::AllocationsCounted;
using orvik::core::testing::ClearAllocationFailure;
using orvik::core::testing::FailNthAllocation;
using orvik::core::testing::ScopedAllocationFailure;

namespace {

TEST(StringListCreate, NullEntriesAndEmptyForms) {
    Report r;
    ListPtr three(ostr_StringListCreate(3, r.Out()));
    ASSERT_TRUE(three);
    EXPECT_TRUE(r.Cleared());
    EXPECT_EQ(three->count, 3);
    EXPECT_EQ(three->allocated, 3);
    EXPECT_EQ(Entries(three.get()), (Texts{L"<null>", L"<null>", L"<null>"}));
    for (long n : {0L, -5L}) {
        ListPtr empty(ostr_StringListCreate(n, r.Out()));
        ASSERT_TRUE(empty);
        EXPECT_EQ(empty->count, 0);
        EXPECT_EQ(empty->allocated, 0);
        EXPECT_EQ(empty->strings, nullptr);
    }
    EXPECT_EQ(ostr_StringListCount(nullptr), 0);
    EXPECT_EQ(ostr_StringListCount(three.get()), 3);
}

TEST(StringListCreate, Failures) {
    Report r;
    EXPECT_EQ(ostr_StringListCreate(LONG_MAX, r.Out()), nullptr); // long is 32 bits on Windows
    EXPECT_EQ(r.Head(), L"ostr_StringListCreate/2/Unable to allocate storage for string list");
    {
        ScopedAllocationFailure fail(1);
        EXPECT_EQ(ostr_StringListCreate(4, r.Out()), nullptr);
    }
    EXPECT_EQ(r.Head(), L"ostr_StringListCreate/1/Unable to allocate storage for string list");
    {
        ScopedAllocationFailure fail(2);
        EXPECT_EQ(ostr_StringListCreate(4, r.Out()), nullptr);
    }
    EXPECT_EQ(r.Head(), L"ostr_StringListCreate/2/Unable to allocate storage for string list");
    EXPECT_EQ(r.Get()->kind, 2);
}

TEST(StringListGrowth, AppendAfterCreatedEntriesAndBySixteen) {
    Report r;
    ostr_StringList *l = ostr_StringListCreate(3, r.Out());
    EXPECT_EQ(ostr_StringListAppend(l, L"fourth", r.Out()), l);
    EXPECT_TRUE(r.Cleared());
    EXPECT_EQ(l->count, 4);
    EXPECT_EQ(l->allocated, 19);
    EXPECT_STREQ(l->strings[3], L"fourth");
    for (int32_t i = 4; i < 19; ++i) EXPECT_EQ(l->strings[i], nullptr);
    ostr_StringListDelete(l, r.Out());

    ostr_StringList *grown = nullptr;
    for (int i = 0; i < 16; ++i)
        grown = ostr_StringListAppend(grown, std::to_wstring(i).c_str(), r.Out());
    ASSERT_NE(grown, nullptr);
    EXPECT_EQ(grown->allocated, 16);
    grown = ostr_StringListAppend(grown, L"16", r.Out());
    EXPECT_EQ(grown->count, 17);
    EXPECT_EQ(grown->allocated, 32);
    EXPECT_STREQ(grown->strings[16], L"16");
    EXPECT_STREQ(grown->strings[0], L"0");
    for (int32_t i = 17; i < 32; ++i) EXPECT_EQ(grown->strings[i], nullptr);
    ostr_StringListDelete(grown, nullptr);
}

TEST(StringListGrowth, FailuresLeaveTheListAsItWas) {
    Report r;
    {
        ScopedAllocationFailure fail(1);
        EXPECT_EQ(ostr_StringListAppend(nullptr, L"a", r.Out()), nullptr);
    }
    EXPECT_EQ(r.Head(), L"ostr_StringListAppend/5220/String List create failed");
    ASSERT_NE(r.Next(), nullptr);
    EXPECT_EQ(r.Next()->number, 1);

    ListPtr full(ostr_StringListCreate(2, nullptr));
    const wchar_t *original = nullptr;
    {
        ScopedAllocationFailure fail(1);
        EXPECT_EQ(ostr_StringListAppend(full.get(), L"x", r.Out()), full.get());
        original = full->strings[0];
    }
    EXPECT_EQ(r.Head(), L"ostr_StringListAppend/5237/Unable to add string to string list");
    EXPECT_EQ(full->count, 2);
    EXPECT_EQ(full->allocated, 2);
    EXPECT_EQ(original, nullptr);

    // The array grows but the copy of the text cannot be made: a null entry, no report.
    ListPtr l(ostr_StringListCreate(0, nullptr));
    {
        ScopedAllocationFailure fail(2);
        EXPECT_EQ(ostr_StringListAppend(l.get(), L"lost", r.Out()), l.get());
    }
    EXPECT_TRUE(r.Cleared());
    EXPECT_EQ(Entries(l.get()), (Texts{L"<null>"}));
}

TEST(StringListGrowth, NullErrPrintsAndDeletesTheReport) {
    PrintedReports printed;
    ListPtr full(ostr_StringListCreate(1, nullptr));
    {
        ScopedAllocationFailure fail(1);
        EXPECT_EQ(ostr_StringListAppend(full.get(), L"x", nullptr), full.get());
    }
    EXPECT_EQ(printed.texts,
              (std::vector<std::wstring>{
                  L"ostr_StringListAppend/5237/Unable to add string to string list"}));
}

TEST(StringListNulls, NullStringsAreEntries) {
    Report r;
    ostr_StringList *l = ostr_StringListAppendUniq(nullptr, nullptr, r.Out());
    ASSERT_NE(l, nullptr);
    EXPECT_EQ(ostr_StringListAppendUniq(l, nullptr, r.Out()), l);
    EXPECT_EQ(ostr_StringListAppendUniq(l, L"", r.Out()), l);
    EXPECT_EQ(Entries(l), (Texts{L"<null>", L""}));
    EXPECT_TRUE(ostr_StringListRemoveItem(l, nullptr));
    EXPECT_EQ(Entries(l), (Texts{L""}));
    EXPECT_FALSE(ostr_StringListRemoveItem(l, nullptr));
    ostr_StringListDelete(l, r.Out());
    EXPECT_TRUE(r.Cleared());
    ostr_StringListDelete(nullptr, r.Out());
}

TEST(StringListUniqueness, EqualTextOrSamePointer) {
    ListPtr l = MakeList({L"Layer_1"});
    const std::wstring sameText = L"Layer_1";
    EXPECT_EQ(ostr_StringListAppendUniq(l.get(), sameText.c_str(), nullptr), l.get());
    EXPECT_EQ(ostr_StringListAppendUniq(l.get(), l->strings[0], nullptr), l.get());
    EXPECT_EQ(ostr_StringListAppendUniq(l.get(), L"layer_1", nullptr), l.get());
    EXPECT_EQ(Entries(l.get()), (Texts{L"Layer_1", L"layer_1"}));
}

TEST(StringListRemoval, FirstEqualEntryAndShift) {
    ListPtr l = MakeList({L"a", L"b", L"a", L"c"});
    EXPECT_TRUE(ostr_StringListRemoveItem(l.get(), L"a"));
    EXPECT_EQ(Entries(l.get()), (Texts{L"b", L"a", L"c"}));
    EXPECT_EQ(l->strings[3], nullptr);
    EXPECT_EQ(l->allocated, 16);
    EXPECT_TRUE(ostr_StringListRemoveItem(l.get(), L"c"));
    EXPECT_EQ(Entries(l.get()), (Texts{L"b", L"a"}));
    EXPECT_FALSE(ostr_StringListRemoveItem(l.get(), L"z"));
    EXPECT_FALSE(ostr_StringListRemoveItem(nullptr, L"a"));
    ListPtr empty(ostr_StringListCreate(0, nullptr));
    EXPECT_FALSE(ostr_StringListRemoveItem(empty.get(), nullptr));
}

TEST(StringListTruncate, KeepsPrefixAndCapacity) {
    ListPtr l = MakeList({L"a", L"b", L"c", L"d", L"e"});
    ostr_StringListTruncate(l.get(), 7);
    EXPECT_EQ(l->count, 5);
    ostr_StringListTruncate(l.get(), 2);
    EXPECT_EQ(Entries(l.get()), (Texts{L"a", L"b"}));
    EXPECT_EQ(l->strings[2], nullptr);
    EXPECT_EQ(l->strings[4], nullptr);
    EXPECT_EQ(l->allocated, 16);
    ostr_StringListTruncate(l.get(), -3);
    EXPECT_EQ(l->count, 0);
    EXPECT_EQ(l->strings[0], nullptr);
    ostr_StringListTruncate(nullptr, 1);
}

TEST(StringListCopy, IntoLargerSmallerAndNewDestinations) {
    Report r;
    ListPtr src = MakeList({L"x", nullptr});
    ListPtr dest = MakeList({L"old0", L"old1", L"old2", L"old3"});
    EXPECT_EQ(ostr_StringListCopy(src.get(), dest.get(), r.Out()), dest.get());
    EXPECT_TRUE(r.Cleared());
    EXPECT_EQ(Entries(dest.get()), (Texts{L"x", L"<null>", L"<null>", L"<null>"}));
    EXPECT_NE(dest->strings[0], src->strings[0]);

    ListPtr small = MakeList({L"keep"});
    EXPECT_EQ(ostr_StringListCopy(src.get(), small.get(), r.Out()), nullptr);
    EXPECT_EQ(r.Head(), L"ostr_StringListCopy/1/Destination string list too small");
    EXPECT_EQ(Entries(small.get()), (Texts{L"keep"}));

    ListPtr created(ostr_StringListCopy(src.get(), nullptr, r.Out()));
    ASSERT_TRUE(created);
    EXPECT_EQ(created->allocated, 2);
    EXPECT_EQ(Entries(created.get()), (Texts{L"x", L"<null>"}));

    EXPECT_EQ(ostr_StringListCopy(nullptr, small.get(), r.Out()), small.get());
    EXPECT_EQ(ostr_StringListCopy(src.get(), src.get(), r.Out()), src.get());
    EXPECT_EQ(Entries(src.get()), (Texts{L"x", L"<null>"}));
}

TEST(StringListCopy, Failures) {
    Report r;
    ListPtr src = MakeList({L"a", L"b"});
    {
        ScopedAllocationFailure fail(1);
        EXPECT_EQ(ostr_StringListCopy(src.get(), nullptr, r.Out()), nullptr);
    }
    EXPECT_EQ(r.Head(), L"ostr_StringListCopy/2/Error reported by function ostr_StringListCreate");
    ASSERT_NE(r.Next(), nullptr);
    EXPECT_STREQ(r.Next()->function, L"ostr_StringListCreate");
    // The copy of "a" fails; copying goes on and still copies "b".
    ListPtr dest = MakeList({L"p", L"q"});
    {
        ScopedAllocationFailure fail(1);
        EXPECT_EQ(ostr_StringListCopy(src.get(), dest.get(), r.Out()), nullptr);
    }
    EXPECT_EQ(r.Head(), L"ostr_StringListCopy/5/Out of memory");
    EXPECT_EQ(Entries(dest.get()), (Texts{L"<null>", L"b"}));
    // Every allocation of a copy into a new list failed in turn: a clean report or success.
    for (long n = 1;; ++n) {
        FailNthAllocation(n);
        ostr_StringList *out = ostr_StringListQuotedCopy(src.get(), nullptr, r.Out());
        const bool injected = AllocationsCounted() >= n;
        ClearAllocationFailure();
        if (!injected) {
            ASSERT_NE(out, nullptr);
            EXPECT_EQ(Entries(out), (Texts{L"\"a\"", L"\"b\""}));
            ostr_StringListDelete(out, nullptr);
            break;
        }
        EXPECT_EQ(out, nullptr) << n;
        EXPECT_FALSE(r.Cleared()) << n;
    }
}

TEST(StringListQuotedCopy, QuotesEveryEntryUnderTheCopyName) {
    Report r;
    ListPtr src = MakeList({L"it's", L"", nullptr, L"say \"no\""});
    ListPtr out(ostr_StringListQuotedCopy(src.get(), nullptr, r.Out()));
    ASSERT_TRUE(out);
    EXPECT_EQ(Entries(out.get()), (Texts{L"\"it's\"", L"\"\"", L"<null>", L"\"say \\\"no\\\"\""}));
}

TEST(StringListQuote, BothQuoteCharactersAndLastFailure) {
    Report r;
    ListPtr l = MakeList({L"it's", L"a\"b"});
    EXPECT_EQ(ostr_StringListQuote(l.get(), OMSC_FALSE, r.Out()), l.get());
    EXPECT_TRUE(r.Cleared());
    EXPECT_EQ(Entries(l.get()), (Texts{L"'it\\'s'", L"'a\"b'"}));

    // The first entry fails for want of memory, the third as empty: the last one is kept.
    ListPtr bad = MakeList({L"ab", L"cd", L""});
    {
        ScopedAllocationFailure fail(1);
        EXPECT_EQ(ostr_StringListQuote(bad.get(), OMSC_TRUE, r.Out()), bad.get());
    }
    EXPECT_EQ(r.Head(), L"ostr_QuoteString/1/Invalid argument!");
    EXPECT_EQ(r.Next(), nullptr);
    EXPECT_EQ(Entries(bad.get()), (Texts{L"<null>", L"\"cd\"", L"<null>"}));
    EXPECT_EQ(ostr_StringListQuote(nullptr, OMSC_TRUE, r.Out()), nullptr);
    EXPECT_TRUE(r.Cleared());

    PrintedReports printed;
    ListPtr withNull = MakeList({nullptr, L"x"});
    ostr_StringListQuote(withNull.get(), OMSC_FALSE, nullptr);
    EXPECT_EQ(printed.texts, (std::vector<std::wstring>{L"ostr_QuoteString/1/Invalid argument!"}));
    EXPECT_EQ(Entries(withNull.get()), (Texts{L"<null>", L"'x'"}));
}

std::wstring Join(const ostr_StringList *l, const wchar_t *delim) {
    Report r;
    WStr s(ostr_StringListToDelimString(l, delim, r.Out()));
    EXPECT_TRUE(r.Cleared());
    return s ? std::wstring(s.get()) : L"<null>";
}

TEST(StringListJoin, WithAndWithoutDelimiter) {
    ListPtr abc = MakeList({L"a", L"b", L"c"});
    EXPECT_EQ(Join(abc.get(), L", "), L"a, b, c");
    EXPECT_EQ(Join(abc.get(), L", ").size(), 7u);
    EXPECT_EQ(Join(abc.get(), nullptr), L"abc");
    ListPtr withNull = MakeList({L"a", nullptr, L"c"});
    EXPECT_EQ(Join(withNull.get(), L"-"), L"a--c");
    ListPtr empty(ostr_StringListCreate(0, nullptr));
    EXPECT_EQ(Join(empty.get(), L";"), L"");
    EXPECT_EQ(Join(nullptr, L";"), L"<null>");
    Report r;
    WStr all(ostr_StringListToString(abc.get(), r.Out()));
    EXPECT_STREQ(all.get(), L"abc");
}

TEST(StringListJoin, AllocationFailure) {
    ListPtr abc = MakeList({L"a", L"b"});
    Report r;
    {
        ScopedAllocationFailure fail(1);
        EXPECT_EQ(ostr_StringListToDelimString(abc.get(), L",", r.Out()), nullptr);
    }
    EXPECT_EQ(r.Head(), L"ostr_StringListToDelimString/8560/Could not allocate space for string");
    PrintedReports printed;
    {
        ScopedAllocationFailure fail(1);
        EXPECT_EQ(ostr_StringListToDelimString(abc.get(), L",", nullptr), nullptr);
    }
    EXPECT_TRUE(printed.texts.empty()); // dropped, not printed
}

TEST(StringListSort, OrdinalCaseSensitiveNullsFirst) {
    ListPtr l = MakeList({L"b", L"B", L"\u00e9", L"a", L"", nullptr, L"ab", L"z"});
    ostr_StringListSort(l.get());
    EXPECT_EQ(Entries(l.get()), (Texts{L"<null>", L"", L"B", L"a", L"ab", L"b", L"z", L"\u00e9"}));
}

TEST(StringListSort, ByNamePart) {
    ListPtr l = MakeList({L"c:/x/zeta.img", L"d:\\a\\alpha.img(:Layer_2)", L"beta", L"dir/",
                          nullptr, L"/q/gamma(:L/x)", L"/q/Gamma"});
    ostr_StringListSortByNamePart(l.get());
    EXPECT_EQ(Entries(l.get()),
              (Texts{L"<null>", L"dir/", L"/q/Gamma", L"d:\\a\\alpha.img(:Layer_2)", L"beta",
                     L"/q/gamma(:L/x)", L"c:/x/zeta.img"}));
    // Directories weigh nothing: the order is that of the last names alone.
    ListPtr dirs = MakeList({L"a/z/2", L"z/a/1", L"m\\3"});
    ostr_StringListSortByNamePart(dirs.get());
    EXPECT_EQ(Entries(dirs.get()), (Texts{L"z/a/1", L"a/z/2", L"m\\3"}));
}

TEST(StringListNarrow, RoundTripWithNonAscii) {
    Report r;
    ListPtr l = MakeList({L"Stra\u00dfe", nullptr, L"\u65e5\u672c", L"\U0001F600", L""});
    ostr_StringListA *narrow = ostr_StringListU2A(l.get(), r.Out());
    ASSERT_NE(narrow, nullptr);
    EXPECT_TRUE(r.Cleared());
    EXPECT_EQ(narrow->count, 5);
    EXPECT_EQ(narrow->allocated, 16); // the wide list's capacity, kept on purpose
    EXPECT_STREQ(narrow->strings[0], "Stra\xc3\x9f"
                                     "e");
    EXPECT_EQ(narrow->strings[1], nullptr);
    EXPECT_STREQ(narrow->strings[2], "\xe6\x97\xa5\xe6\x9c\xac");
    EXPECT_STREQ(narrow->strings[3], "\xf0\x9f\x98\x80");
    EXPECT_STREQ(narrow->strings[4], "");
    ListPtr back(ostr_StringListA2U(narrow, r.Out()));
    ASSERT_TRUE(back);
    EXPECT_EQ(Entries(back.get()), Entries(l.get()));
    EXPECT_EQ(back->allocated, 5);
    // The converted list can grow safely.
    ostr_StringListAppend(back.get(), L"more", r.Out());
    EXPECT_EQ(back->allocated, 21);
    ostr_StringListDeleteA(narrow);
    ostr_StringListDeleteA(nullptr);
    EXPECT_EQ(ostr_StringListU2A(nullptr, r.Out()), nullptr);
    EXPECT_TRUE(r.Cleared());
}

TEST(StringListNarrow, FailingConversions) {
    Report r;
    const wchar_t lone[] = {L'o', L'k', static_cast<wchar_t>(0xD800), 0};
    ListPtr l = MakeList({L"fine", lone});
    EXPECT_EQ(ostr_StringListU2A(l.get(), r.Out()), nullptr);
    EXPECT_EQ(r.Head(), L"ostr_StringListU2A/8475/otxt_Text_Unicode2Ascii failed");
    ASSERT_NE(r.Next(), nullptr);
    EXPECT_STREQ(r.Next()->function, L"otxt_Text_Unicode2Ascii");
    EXPECT_EQ(r.Next()->number, 1);

    char bad[] = "\xff";
    char good[] = "good";
    char *entries[] = {good, bad};
    ostr_StringListA narrow{2, entries, 2};
    EXPECT_EQ(ostr_StringListA2U(&narrow, r.Out()), nullptr);
    EXPECT_EQ(r.Head(), L"ostr_StringListA2U/8475/otxt_Text_Ascii2Unicode failed");

    PrintedReports printed;
    EXPECT_EQ(ostr_StringListU2A(l.get(), nullptr), nullptr);
    EXPECT_EQ(printed.texts, (std::vector<std::wstring>{
                                 L"ostr_StringListU2A/8475/otxt_Text_Unicode2Ascii failed"}));
}

TEST(StringListNarrow, EveryAllocationFailing) {
    Report r;
    ListPtr l = MakeList({L"a", L"\u00e9", L"c"});
    for (long n = 1;; ++n) {
        FailNthAllocation(n);
        ostr_StringListA *out = ostr_StringListU2A(l.get(), r.Out());
        const bool injected = AllocationsCounted() >= n;
        ClearAllocationFailure();
        if (!injected) {
            ASSERT_NE(out, nullptr);
            EXPECT_STREQ(out->strings[1], "\xc3\xa9");
            ostr_StringListDeleteA(out);
            break;
        }
        EXPECT_EQ(out, nullptr) << n;
        ASSERT_FALSE(r.Cleared()) << n;
        const int32_t number = r.Get()->number;
        EXPECT_TRUE(number == 5 || number == 8475) << n;
    }
}

} // namespace
