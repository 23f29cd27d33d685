// Dictionaries: list order, adding with copies of element designs, refusing known names,
// look-up, and the state left behind by failures.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include <orvik/omif.h>

#include "core/heap_seam.hpp"
#include "mif_test_util.hpp"

using namespace mif_test;

namespace {

DesignPtr Make(const wchar_t *name, Omif_Design *ref = nullptr) {
    Report err;
    if (ref)
        return DesignPtr(omif_DesignCreateX(name, &err, OMIF_ITEM_LONG, L"v", 1, OMIF_DIRECT,
                                            OMIF_ITEM_OBJECT, L"r", 1, OMIF_DIRECT, ref,
                                            OMIF_ITEM_END));
    return DesignPtr(
        omif_DesignCreateX(name, &err, OMIF_ITEM_LONG, L"v", 1, OMIF_DIRECT, OMIF_ITEM_END));
}

} // namespace

TEST(Dictionary, EmptyDictionaryIsADot) {
    Report err;
    DictionaryPtr d(omif_DictionaryCreate(&err));
    ASSERT_TRUE(d);
    EXPECT_EQ(d->count, 0);
    EXPECT_EQ(Encode(d.get()), L".");
    EXPECT_EQ(omif_DictionaryEncodedLength(d.get(), &err), 1);
    DictionaryPtr back(omif_DictionaryDecodeFromString(L".", &err));
    ASSERT_TRUE(back);
    EXPECT_EQ(back->designs, nullptr);
    EXPECT_EQ(back->count, 0);
}

TEST(Dictionary, DesignsStandInTheOrderTheyWereAdded) {
    // The order a file's header designs must keep.
    const wchar_t *names[] = {L"Ohfa_File", L"Ohfa_Entry", L"Ohfa_HeaderTag", L"Ohfa_FreeListNode",
                              L"Ohfa_Data"};
    Report err;
    DictionaryPtr d(omif_DictionaryCreate(&err));
    std::wstring want;
    for (const wchar_t *n : names) {
        DesignPtr x = Make(n);
        Omif_Design *own = omif_DictionaryAddDesign(d.get(), x.get(), &err);
        ASSERT_NE(own, nullptr);
        EXPECT_NE(own, x.get()); // the dictionary keeps its own copy
        want += L"{1:lv,}" + std::wstring(n) + L",";
    }
    EXPECT_EQ(Encode(d.get()), want + L".");
    EXPECT_EQ(d->count, 5);
    EXPECT_STREQ(omif_DictionarySearchByName(d.get(), L"Ohfa_HeaderTag", &err)->name,
                 L"Ohfa_HeaderTag");
}

TEST(Dictionary, AddingAKnownNameChangesNothing) {
    Report err;
    DictionaryPtr d(omif_DictionaryCreate(&err));
    DesignPtr a = Make(L"A");
    Omif_Design *first = omif_DictionaryAddDesign(d.get(), a.get(), &err);
    DesignPtr other(
        omif_DesignCreateX(L"A", &err, OMIF_ITEM_DOUBLE, L"w", 2, OMIF_DIRECT, OMIF_ITEM_END));
    EXPECT_EQ(omif_AddDesignToDictionary(d.get(), other.get(), &err), first);
    EXPECT_FALSE(err);
    EXPECT_EQ(d->count, 1);
    EXPECT_EQ(Encode(d.get()), L"{1:lv,}A,.");
    EXPECT_EQ(omif_DictionaryAddDesign(d.get(), first, &err), first);
}

TEST(Dictionary, ElementDesignsAreAddedAndReferencesPointIntoTheDictionary) {
    Report err;
    DesignPtr leaf = Make(L"Leaf");
    DesignPtr mid = Make(L"Mid", leaf.get());
    DesignPtr top(omif_DesignCreateX(L"Top", &err, OMIF_ITEM_OBJECT, L"m", 2, OMIF_PLAIN_POINTER,
                                     mid.get(), OMIF_ITEM_INLINE_OBJECT, L"in", 1, OMIF_DIRECT,
                                     leaf.get(), OMIF_ITEM_END));
    ASSERT_TRUE(top);
    DictionaryPtr d(omif_DictionaryCreate(&err));
    Omif_Design *own = omif_DictionaryAddDesign(d.get(), top.get(), &err);
    ASSERT_NE(own, nullptr);
    EXPECT_EQ(DesignNames(d.get()), (std::vector<std::wstring>{L"Top", L"Mid", L"Leaf"}));
    Omif_Design *ownMid = omif_FindDesignByName(d.get(), L"Mid", &err);
    Omif_Design *ownLeaf = omif_FindDesignByName(d.get(), L"Leaf", &err);
    EXPECT_EQ(ItemNamed(own, L"m")->design, ownMid);
    EXPECT_EQ(ItemNamed(ownMid, L"r")->design, ownLeaf);
    EXPECT_NE(ItemNamed(own, L"in")->design, ownLeaf); // inline designs stay owned by the item
    EXPECT_EQ(Encode(d.get()),
              L"{2:*oMid,m,1:x{1:lv,}Leaf,in,}Top,{1:lv,1:oLeaf,r,}Mid,{1:lv,}Leaf,.");
}

TEST(Dictionary, AddedDesignIsLaidOutWithTheDictionarysElementDesign) {
    Report err;
    DictionaryPtr d(omif_DictionaryDecodeFromString(L"{1:Mz,}Ref,.", &err));
    DesignPtr smallRef = Make(L"Ref");
    DesignPtr user = Make(L"User", smallRef.get());
    EXPECT_EQ(user->hostSize, 8);
    Omif_Design *own = omif_DictionaryAddDesign(d.get(), user.get(), &err);
    ASSERT_NE(own, nullptr);
    EXPECT_EQ(ItemNamed(own, L"r")->design, d->designs);
    EXPECT_EQ(ItemNamed(own, L"r")->offset, 8);
    EXPECT_EQ(own->hostSize, 24);
}

TEST(Dictionary, FailedAddLeavesTheDictionaryAsItWas) {
    Report err;
    // Every allocation of the add fails in turn; each failure undoes the whole add.
    DictionaryPtr d(omif_DictionaryCreate(&err));
    DesignPtr leaf = Make(L"Leaf");
    DesignPtr user = Make(L"User", leaf.get());
    ASSERT_NE(omif_DictionaryAddDesign(d.get(), leaf.get(), &err), nullptr);
    const std::wstring before = Encode(d.get());
    for (long n = 1;; ++n) {
        Omif_Design *own;
        {
            orvik::core::testing::ScopedAllocationFailure fail(n);
            own = omif_DictionaryAddDesign(d.get(), user.get(), &err);
        }
        if (own) break;
        ASSERT_TRUE(err);
        EXPECT_EQ(Encode(d.get()), before) << n;
        EXPECT_EQ(d->count, 1);
        EXPECT_EQ(omif_DictionarySearchByName(d.get(), L"User", nullptr), nullptr);
    }
    EXPECT_EQ(Encode(d.get()), L"{1:lv,}Leaf,{1:lv,1:oLeaf,r,}User,.");
}

TEST(Dictionary, SearchReportsMissingArgumentsButNotMissingNames) {
    Report err;
    DictionaryPtr d(omif_DictionaryDecodeFromString(L"{1:lv,}A,{1:lv,}B,.", &err));
    EXPECT_EQ(omif_DictionarySearchByName(d.get(), L"C", &err), nullptr);
    EXPECT_FALSE(err);
    EXPECT_EQ(omif_DictionarySearchByName(d.get(), L"B", &err), d->designs->next);
    EXPECT_EQ(omif_DictionarySearchByName(d.get(), nullptr, &err), nullptr);
    EXPECT_EQ(err.Innermost(), L"omif_DictionarySearchByName: NULL name");
    EXPECT_EQ(omif_DictionarySearchByName(nullptr, L"A", &err), nullptr);
    EXPECT_EQ(err.Innermost(), L"omif_DictionarySearchByName: NULL dictionary pointer");
    EXPECT_EQ(omif_DictionaryAddDesign(d.get(), nullptr, &err), nullptr);
    EXPECT_EQ(err.Innermost(), L"omif_DictionaryAddDesign: NULL design");
    Omif_Dictionary *gone = d.release();
    omif_DictionaryDelete(&gone, &err);
    EXPECT_EQ(gone, nullptr);
}
