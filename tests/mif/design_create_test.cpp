// Creating designs: the three argument forms, their refusals, built-in design sets, and
// destroy/copy/narrow-wide conversion.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdarg>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include <orvik/omif.h>

#include "core/heap_seam.hpp"
#include "mif_test_util.hpp"

using namespace mif_test;

namespace {

const wchar_t *const kLayerTypes[] = {L"thematic", L"athematic", L"fft", nullptr};

const Omif_ItemDescription kStringItems[] = {
    OMIF_FIELD_COUNTED(OMIF_ITEM_CHAR, L"string"),
    OMIF_TABLE_END,
};
const Omif_ItemDescription kLayerItems[] = {
    OMIF_FIELD(OMIF_ITEM_LONG, L"numrows", 1),
    OMIF_FIELD_ENUM(L"layerType", kLayerTypes),
    OMIF_FIELD_OBJECT(L"name", 1, L"Omif_String"),
    OMIF_TABLE_END,
};
const Omif_DesignTable kBaseTable[] = {{L"Omif_String", kStringItems}, {nullptr, nullptr}};
Omif_BuiltinDesigns g_base = OMIF_BUILTIN_DESIGNS(kBaseTable, nullptr);

const Omif_ItemDescription kTimeItems[] = {
    OMIF_FIELD(OMIF_ITEM_TIME, L"modTime", 1),
    OMIF_FIELD_OBJECT(L"label", 1, L"Omif_String"),
    OMIF_TABLE_END,
};
const Omif_DesignTable kLayerTable[] = {
    {L"Layer", kLayerItems}, {L"Stamp", kTimeItems}, {nullptr, nullptr}};
Omif_BuiltinDesigns g_layers = OMIF_BUILTIN_DESIGNS(kLayerTable, &g_base);

std::wstring Text(const Omif_Design *d) {
    Report err;
    DictionaryPtr dict(omif_DictionaryCreate(&err));
    omif_DictionaryAddDesign(dict.get(), d, &err);
    return Encode(dict.get());
}

} // namespace

TEST(DesignCreate, TableCountedArrayAndArgumentListsAgree) {
    Report err;
    DictionaryPtr dict(omif_DictionaryCreate(&err));
    DesignPtr str(omif_DesignCreateFromTable(L"Omif_String", kStringItems, nullptr, &err));
    ASSERT_TRUE(str);
    Omif_Design *own = omif_DictionaryAddDesign(dict.get(), str.get(), &err);
    ASSERT_NE(own, nullptr);

    DesignPtr fromTable(omif_DesignCreateFromTable(L"Layer", kLayerItems, dict.get(), &err));
    DesignPtr fromArray(omif_DesignCreate(L"Layer", kLayerItems, 3, dict.get(), &err));
    DesignPtr fromArgs(omif_DesignCreateX(
        L"Layer", &err, OMIF_ITEM_LONG, L"numrows", 1, OMIF_DIRECT, OMIF_ITEM_ENUM, L"layerType", 1,
        OMIF_DIRECT, kLayerTypes, OMIF_ITEM_OBJECT, L"name", 1, OMIF_DIRECT, own, OMIF_ITEM_END));
    ASSERT_TRUE(fromTable && fromArray && fromArgs) << err.Innermost();
    const std::wstring want =
        L"{1:lnumrows,1:e3:thematic,athematic,fft,layerType,1:oOmif_String,name,}Layer,"
        L"{0:pcstring,}Omif_String,.";
    EXPECT_EQ(Text(fromTable.get()), want);
    EXPECT_EQ(Text(fromArray.get()), want);
    EXPECT_EQ(Text(fromArgs.get()), want);
    const Omif_Item *e = ItemNamed(fromArgs.get(), L"layerType");
    ASSERT_EQ(e->enumCount, 3);
    EXPECT_STREQ(e->enumNames[0], L"thematic");
    EXPECT_STREQ(e->enumNames[2], L"fft");
    EXPECT_NE(e->enumNames[0], kLayerTypes[0]); // owned copies
    EXPECT_EQ(ItemNamed(fromTable.get(), L"name")->design, own);
    EXPECT_EQ(fromTable->hostSize, 24);
}

TEST(DesignCreate, PointerFormsFromArgumentLists) {
    Report err;
    DesignPtr d(omif_DesignCreateX(L"P", &err, OMIF_ITEM_DOUBLE, L"a", 3, OMIF_PLAIN_POINTER,
                                   OMIF_ITEM_SHORT, L"b", 0, OMIF_COUNTED_POINTER, OMIF_ITEM_END));
    ASSERT_TRUE(d);
    EXPECT_EQ(Text(d.get()), L"{3:*da,0:psb,}P,.");
    EXPECT_EQ(d->items->indirect, 1);
    EXPECT_EQ(d->items->pointerKind, OMIF_POINTER_PLAIN);
    EXPECT_EQ(d->items->next->pointerKind, OMIF_POINTER_COUNTED);
    EXPECT_EQ(d->hostSize, 24);
}

namespace {
Omif_Design *CreateThroughPointer(const wchar_t *name, Oerr_ErrorReport **err, ...) {
    va_list args;
    va_start(args, err);
    Omif_Design *d = omif_DesignCreateVAPtr(name, err, &args);
    va_end(args);
    return d;
}
} // namespace

TEST(DesignCreate, ArgumentListThroughAPointer) {
    Report err;
    DesignPtr inner(
        omif_DesignCreateX(L"In", &err, OMIF_ITEM_UCHAR, L"c", 3, OMIF_DIRECT, OMIF_ITEM_END));
    DesignPtr d(CreateThroughPointer(L"V", &err, OMIF_ITEM_INLINE_OBJECT, L"in", 2, OMIF_DIRECT,
                                     inner.get(), OMIF_ITEM_ENUM, L"e", 1, OMIF_PLAIN_POINTER,
                                     kLayerTypes, OMIF_ITEM_END));
    ASSERT_TRUE(d) << err.Innermost();
    EXPECT_EQ(Text(d.get()), L"{2:x{3:Cc,}In,in,1:*e3:thematic,athematic,fft,e,}V,{3:Cc,}In,.");
    EXPECT_EQ(d->hostSize, 16);
    EXPECT_EQ(omif_DesignCreateVAPtr(L"V", &err, nullptr), nullptr);
    EXPECT_EQ(err.Innermost(), L"omif_DesignCreateVAPtr: NULL argument list");
}

TEST(DesignCreate, RefusalsNameTheItem) {
    struct Case {
        std::vector<Omif_ItemDescription> items;
        const wchar_t *want;
    };
    const Omif_ItemDescription end = OMIF_TABLE_END;
    const Case cases[] = {
        {{OMIF_FIELD(20, L"bad", 1), end},
         L"omif_DesignCreateFromTable: Item bad of design D has unknown type 20"},
        {{OMIF_FIELD(OMIF_ITEM_LONG, nullptr, 1), end},
         L"omif_DesignCreateFromTable: Item 1 of design D has no name"},
        {{OMIF_FIELD(OMIF_ITEM_LONG, L"n", -1), end},
         L"omif_DesignCreateFromTable: Item n of design D: count -1, indirect 0, pointer kind 0"},
        {{{OMIF_ITEM_LONG, L"k", 1, 1, 7, nullptr, nullptr, nullptr, nullptr}, end},
         L"omif_DesignCreateFromTable: Item k of design D: count 1, indirect 1, pointer kind 7"},
        {{OMIF_FIELD_OBJECT(L"o", 1, L"Nowhere"), end},
         L"omif_DesignCreateFromTable: Item o of design D: element design Nowhere not found"},
        {{{OMIF_ITEM_INLINE_OBJECT, L"x", 1, 0, 0, nullptr, nullptr, nullptr, nullptr}, end},
         L"omif_DesignCreateFromTable: Item x of design D has no inline design"},
    };
    for (const Case &c : cases) {
        Report err;
        EXPECT_EQ(omif_DesignCreateFromTable(L"D", c.items.data(), nullptr, &err), nullptr);
        ASSERT_EQ(err.Chain().size(), 1u);
        EXPECT_EQ(err.Chain()[0], c.want);
        EXPECT_EQ(err.get()->kind, 2);
    }
    Report err;
    EXPECT_EQ(omif_DesignCreateFromTable(nullptr, kStringItems, nullptr, &err), nullptr);
    EXPECT_EQ(err.Innermost(), L"omif_DesignCreateFromTable: NULL design name");
    EXPECT_EQ(omif_DesignCreateX(L"F", &err, OMIF_ITEM_LONG, L"f", 1, 'q', OMIF_ITEM_END), nullptr);
    EXPECT_EQ(err.Innermost(),
              L"omif_DesignCreateX: Item f of design F: count 1, indirect -1, pointer kind 0");
    // A null error pointer is allowed.
    EXPECT_EQ(omif_DesignCreateFromTable(nullptr, kStringItems, nullptr, nullptr), nullptr);
}

TEST(DesignCreate, InlineTablesNestedTooDeeplyAreRefused) {
    // A table whose inline item uses the table itself never ends.
    static Omif_ItemDescription loop[2];
    loop[0] = OMIF_FIELD_INLINE(L"again", 1, L"Loop", loop);
    loop[1] = OMIF_TABLE_END;
    Report err;
    EXPECT_EQ(omif_DesignCreateFromTable(L"Loop", loop, nullptr, &err), nullptr);
    EXPECT_EQ(
        err.Innermost(),
        L"omif_DesignCreateFromTable: Design Loop: inline designs nested deeper than 64 levels");
}

TEST(DesignCreate, EveryAllocationFailureIsReportedAndLeaksNothing) {
    Report err;
    DictionaryPtr dict(omif_DictionaryCreate(&err));
    DesignPtr str(omif_DesignCreateFromTable(L"Omif_String", kStringItems, nullptr, &err));
    omif_DictionaryAddDesign(dict.get(), str.get(), &err);
    for (long n = 1;; ++n) {
        Omif_Design *d;
        {
            orvik::core::testing::ScopedAllocationFailure fail(n);
            d = omif_DesignCreateFromTable(L"Layer", kLayerItems, dict.get(), &err);
        }
        if (d) {
            EXPECT_EQ(
                Text(d),
                L"{1:lnumrows,1:e3:thematic,athematic,fft,layerType,1:oOmif_String,name,}Layer,"
                L"{0:pcstring,}Omif_String,.");
            omif_DesignDestroy(d, nullptr);
            EXPECT_GT(n, 5);
            break;
        }
        ASSERT_TRUE(err) << n;
        EXPECT_EQ(err.get()->number, 5);
    }
}

TEST(DesignCreate, BuiltinSetsAreCreatedOnceWithTheirBaseDesigns) {
    Report err;
    const Omif_Design *layer = omif_BuiltinDesignFetch(&g_layers, L"Layer", &err);
    ASSERT_NE(layer, nullptr) << err.Innermost();
    EXPECT_EQ(omif_BuiltinDesignFetch(&g_layers, L"Layer", &err), layer);
    const Omif_Dictionary *dict = omif_BuiltinDictionaryGet(&g_layers, &err);
    // The base design used by the set is copied into its dictionary, after the design
    // that first needed it.
    EXPECT_EQ(DesignNames(dict), (std::vector<std::wstring>{L"Omif_String", L"Layer", L"Stamp"}));
    EXPECT_EQ(ItemNamed(layer, L"name")->design,
              omif_DictionarySearchByName(dict, L"Omif_String", &err));
    EXPECT_NE(ItemNamed(layer, L"name")->design,
              omif_BuiltinDesignFetch(&g_base, L"Omif_String", &err));
    const Omif_Design *stamp = omif_BuiltinDesignFetch(&g_layers, L"Stamp", &err);
    EXPECT_EQ(stamp->items->type, OMIF_ITEM_TIME);
    EXPECT_EQ(omif_BuiltinDesignFetch(&g_layers, L"Nope", &err), nullptr);
    EXPECT_EQ(err.Innermost(), L"omif_BuiltinDesignFetch: No built-in design Nope");
}

TEST(DesignCreate, BuiltinSetCreatedOnceUnderConcurrentFirstUse) {
    static const Omif_ItemDescription items[] = {OMIF_FIELD(OMIF_ITEM_S32, L"v", 1),
                                                 OMIF_TABLE_END};
    static const Omif_DesignTable table[] = {{L"V", items}, {nullptr, nullptr}};
    static Omif_BuiltinDesigns set = OMIF_BUILTIN_DESIGNS(table, nullptr);
    std::vector<const Omif_Design *> seen(8);
    std::vector<std::thread> threads;
    for (size_t i = 0; i < seen.size(); ++i)
        threads.emplace_back([&, i] { seen[i] = omif_BuiltinDesignFetch(&set, L"V", nullptr); });
    for (auto &t : threads) t.join();
    for (auto *d : seen) EXPECT_EQ(d, seen[0]);
    ASSERT_NE(seen[0], nullptr);
}

TEST(DesignCreate, BuiltinSetWithAMissingReferenceFailsWithTheName) {
    static const Omif_ItemDescription items[] = {OMIF_FIELD_OBJECT(L"o", 1, L"Ghost"),
                                                 OMIF_TABLE_END};
    static const Omif_DesignTable table[] = {{L"G", items}, {nullptr, nullptr}};
    static Omif_BuiltinDesigns set = OMIF_BUILTIN_DESIGNS(table, &g_base);
    Report err;
    EXPECT_EQ(omif_BuiltinDesignFetch(&set, L"G", &err), nullptr);
    const auto chain = err.Chain();
    ASSERT_EQ(chain.size(), 3u);
    EXPECT_EQ(chain[0], L"omif_BuiltinDesignFetch: omif_BuiltinDictionaryGet failed");
    EXPECT_EQ(chain[1], L"omif_BuiltinDictionaryGet: Cannot create design G");
    EXPECT_EQ(chain[2], L"omif_BuiltinDesignFetch: No built-in design Ghost");
    EXPECT_EQ(set.dictionary, nullptr);
}

TEST(DesignCopy, DeepCopyKeepsReferencesAndOwnsInlineDesigns) {
    Report err;
    DictionaryPtr dict(omif_DictionaryDecodeFromString(
        L"{1:x{1:lvalue,1:oRef,r,}Inner,inner,1:oRef,ref,1:e2:a,b,k,}Outer,{1:dv,}Ref,.", &err));
    ASSERT_TRUE(dict) << err.Innermost();
    const Omif_Design *outer = dict->designs;
    DesignPtr copy(omif_DesignCopy(outer, &err));
    ASSERT_TRUE(copy);
    EXPECT_EQ(copy->next, nullptr);
    EXPECT_EQ(copy->hostSize, outer->hostSize);
    const Omif_Item *x = ItemNamed(copy.get(), L"inner");
    EXPECT_NE(x->design, ItemNamed(outer, L"inner")->design);
    EXPECT_EQ(x->ownsDesign, 1);
    EXPECT_EQ(x->design->items->next->design, dict->designs->next); // still the dictionary's Ref
    EXPECT_EQ(ItemNamed(copy.get(), L"ref")->design, dict->designs->next);
    EXPECT_NE(ItemNamed(copy.get(), L"k")->enumNames[1], ItemNamed(outer, L"k")->enumNames[1]);
    EXPECT_STREQ(ItemNamed(copy.get(), L"k")->enumNames[1], L"b");
    EXPECT_EQ(omif_DesignCopy(nullptr, &err), nullptr);
    EXPECT_EQ(err.Innermost(), L"omif_DesignCopy: NULL design");
}

TEST(DesignCopy, NarrowAndWideRoundTrip) {
    Report err;
    DictionaryPtr dict(omif_DictionaryDecodeFromString(
        L"{1:x{1:lvalue,}In,inner,2:*oRef,refs,1:e2:yes,no,answer,4:cname,}Outer,"
        L"{1:dv,1:*oRef,self,}Ref,.",
        &err));
    ASSERT_TRUE(dict) << err.Innermost();
    const Omif_Design *outer = dict->designs;
    DesignAPtr narrow(omif_DesignU2A(outer, &err));
    ASSERT_TRUE(narrow);
    EXPECT_STREQ(narrow->name, "Outer");
    EXPECT_STREQ(narrow->items->design->name, "In");
    const Omif_ItemA *refs = narrow->items->next;
    EXPECT_STREQ(refs->name, "refs");
    EXPECT_EQ(refs->ownsDesign, 1); // converted with the design
    EXPECT_STREQ(refs->design->name, "Ref");
    EXPECT_EQ(refs->design->items->next->design, refs->design); // the cycle is kept
    EXPECT_STREQ(refs->next->enumNames[1], "no");
    EXPECT_EQ(refs->next->enumCount, 2);

    DesignPtr wide(omif_DesignA2U(narrow.get(), &err));
    ASSERT_TRUE(wide) << err.Innermost();
    EXPECT_EQ(wide->hostSize, outer->hostSize);
    const Omif_Item *a = outer->items, *b = wide->items;
    for (; a && b; a = a->next, b = b->next) {
        EXPECT_STREQ(a->name, b->name);
        EXPECT_EQ(a->type, b->type);
        EXPECT_EQ(a->offset, b->offset);
        EXPECT_EQ(a->hostSize, b->hostSize);
        EXPECT_EQ(a->elementSize, b->elementSize);
        EXPECT_EQ(a->padding, b->padding);
    }
    EXPECT_EQ(a, b);
    // The wide copy adds to a dictionary exactly like the original.
    DictionaryPtr d2(omif_DictionaryCreate(&err));
    ASSERT_NE(omif_DictionaryAddDesign(d2.get(), wide.get(), &err), nullptr);
    EXPECT_EQ(Encode(d2.get()),
              L"{1:x{1:lvalue,}In,inner,2:*oRef,refs,1:e2:yes,no,answer,4:cname,}Outer,"
              L"{1:lvalue,}In,{1:dv,1:*oRef,self,}Ref,.");
}

TEST(DesignCopy, NarrowNamesThatAreNotUtf8AreRefused) {
    Report err;
    DictionaryPtr dict(omif_DictionaryDecodeFromString(L"{1:lv,}D,.", &err));
    DesignAPtr narrow(omif_DesignU2A(dict->designs, &err));
    omsc_HeapFree(narrow->items->name);
    narrow->items->name = static_cast<char *>(omsc_HeapMalloc(3));
    std::memcpy(narrow->items->name, "\xff\xfe", 3);
    EXPECT_EQ(omif_DesignA2U(narrow.get(), &err), nullptr);
    EXPECT_EQ(err.Innermost(), L"omif_DesignA2U: A name of the design cannot be converted");
}

TEST(DesignCopy, DestroyAndDeleteAcceptNull) {
    Report err;
    omif_DesignDestroy(nullptr, &err);
    omif_DesignDelete(nullptr, &err);
    Omif_Design *d = omif_DesignCreateX(L"D", &err, OMIF_ITEM_END);
    omif_DesignDelete(&d, &err);
    EXPECT_EQ(d, nullptr);
    EXPECT_FALSE(err);
}
