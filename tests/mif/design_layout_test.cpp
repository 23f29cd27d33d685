// Host layout: every item's offset, size and padding, and the record's size and
// alignment, equal what the compiler gives the matching C struct.
#include <gtest/gtest.h>

#include <complex>
#include <cstddef>
#include <cstdint>

#include <orvik/ogda.h>
#include <orvik/omif.h>

#include "mif_test_util.hpp"

using namespace mif_test;

namespace {

struct Inner {
    uint8_t flag;
    double value;
    int16_t small;
};

struct Mixed {
    uint8_t c;
    int16_t s;
    int32_t l;
    double d;
    char text[5];
    uint32_t e;
    double *pd;
    OMIF_COUNTED_POINTER_OF(float) pf;
    Inner in;
    uint8_t bits[3];
    std::complex<float> m[2];
    Inner *pin;
    std::complex<double> big;
    Ogda_BaseData b;
    uint16_t tail;
};

struct Outer {
    int8_t a;
    Inner inline2[2];
    OMIF_COUNTED_POINTER_OF(Inner) many;
    float f;
};

const Omif_ItemDescription kInnerItems[] = {
    OMIF_FIELD(OMIF_ITEM_UCHAR, L"flag", 1),
    OMIF_FIELD(OMIF_ITEM_DOUBLE, L"value", 1),
    OMIF_FIELD(OMIF_ITEM_SHORT, L"small", 1),
    OMIF_TABLE_END,
};

const wchar_t *const kColours[] = {L"red", L"green", L"blue", nullptr};

const Omif_ItemDescription kMixedItems[] = {
    OMIF_FIELD(OMIF_ITEM_UCHAR, L"c", 1),       OMIF_FIELD(OMIF_ITEM_SHORT, L"s", 1),
    OMIF_FIELD(OMIF_ITEM_LONG, L"l", 1),        OMIF_FIELD(OMIF_ITEM_DOUBLE, L"d", 1),
    OMIF_FIELD(OMIF_ITEM_CHAR, L"text", 5),     OMIF_FIELD_ENUM(L"e", kColours),
    OMIF_FIELD_PTR(OMIF_ITEM_DOUBLE, L"pd", 4), OMIF_FIELD_COUNTED(OMIF_ITEM_FLOAT, L"pf"),
    OMIF_FIELD_OBJECT(L"in", 1, L"Inner"),      OMIF_FIELD(OMIF_ITEM_U1, L"bits", 3),
    OMIF_FIELD(OMIF_ITEM_COMPLEX, L"m", 2),     OMIF_FIELD_OBJECT_PTR(L"pin", 1, L"Inner"),
    OMIF_FIELD(OMIF_ITEM_DCOMPLEX, L"big", 1),  OMIF_FIELD(OMIF_ITEM_BASEDATA, L"b", 1),
    OMIF_FIELD(OMIF_ITEM_USHORT, L"tail", 1),   OMIF_TABLE_END,
};

struct Expect {
    const wchar_t *name;
    size_t offset;
    size_t size;
};

void CheckLayout(const Omif_Design *d, const Expect *expect, size_t n, size_t recordSize,
                 size_t recordAlign) {
    EXPECT_EQ(d->hostSize, static_cast<int32_t>(recordSize));
    EXPECT_EQ(d->alignment, static_cast<int32_t>(recordAlign));
    const Omif_Item *item = d->items;
    for (size_t i = 0; i < n; ++i, item = item->next) {
        ASSERT_NE(item, nullptr);
        SCOPED_TRACE(testing::Message() << "item " << i);
        EXPECT_STREQ(item->name, expect[i].name);
        EXPECT_EQ(item->offset, static_cast<int32_t>(expect[i].offset));
        EXPECT_EQ(item->hostSize, static_cast<int32_t>(expect[i].size));
        const size_t next = i + 1 < n ? expect[i + 1].offset : recordSize;
        EXPECT_EQ(item->padding, static_cast<int32_t>(next - expect[i].offset - expect[i].size));
    }
    EXPECT_EQ(item, nullptr);
}

#define FIELD(S, m)                                                                                \
    { L## #m, offsetof(S, m), sizeof(S::m) }

} // namespace

TEST(DesignLayout, MixedItemsMatchTheCStruct) {
    Report err;
    DictionaryPtr dict(omif_DictionaryCreate(&err));
    DesignPtr inner(omif_DesignCreateFromTable(L"Inner", kInnerItems, nullptr, &err));
    ASSERT_TRUE(inner) << err.Innermost();
    ASSERT_NE(omif_DictionaryAddDesign(dict.get(), inner.get(), &err), nullptr);
    DesignPtr mixed(omif_DesignCreateFromTable(L"Mixed", kMixedItems, dict.get(), &err));
    ASSERT_TRUE(mixed) << err.Innermost();

    const Expect innerWant[] = {FIELD(Inner, flag), FIELD(Inner, value), FIELD(Inner, small)};
    CheckLayout(inner.get(), innerWant, 3, sizeof(Inner), alignof(Inner));

    const Expect want[] = {FIELD(Mixed, c),    FIELD(Mixed, s),    FIELD(Mixed, l),
                           FIELD(Mixed, d),    FIELD(Mixed, text), FIELD(Mixed, e),
                           FIELD(Mixed, pd),   FIELD(Mixed, pf),   FIELD(Mixed, in),
                           FIELD(Mixed, bits), FIELD(Mixed, m),    FIELD(Mixed, pin),
                           FIELD(Mixed, big),  FIELD(Mixed, b),    FIELD(Mixed, tail)};
    CheckLayout(mixed.get(), want, 15, sizeof(Mixed), alignof(Mixed));

    // Element sizes: what one element of each item takes on the host.
    EXPECT_EQ(ItemNamed(mixed.get(), L"e")->elementSize, 4);
    EXPECT_EQ(ItemNamed(mixed.get(), L"pd")->elementSize, 8);
    EXPECT_EQ(ItemNamed(mixed.get(), L"pf")->elementSize, 4);
    EXPECT_EQ(ItemNamed(mixed.get(), L"in")->elementSize, static_cast<int32_t>(sizeof(Inner)));
    EXPECT_EQ(ItemNamed(mixed.get(), L"pin")->elementSize, static_cast<int32_t>(sizeof(Inner)));
    EXPECT_EQ(ItemNamed(mixed.get(), L"bits")->elementSize, 1);
    EXPECT_EQ(ItemNamed(mixed.get(), L"b")->elementSize,
              static_cast<int32_t>(sizeof(Ogda_BaseData)));
    EXPECT_EQ(ItemNamed(mixed.get(), L"pf")->count, 0);
    EXPECT_EQ(ItemNamed(mixed.get(), L"pf")->pointerKind, OMIF_POINTER_COUNTED);
}

TEST(DesignLayout, InlineAndCountedObjectsMatchTheCStruct) {
    const Omif_ItemDescription items[] = {
        OMIF_FIELD(OMIF_ITEM_CHAR, L"a", 1),
        OMIF_FIELD_INLINE(L"inline2", 2, L"Inner", kInnerItems),
        OMIF_FIELD_OBJECT_COUNTED(L"many", L"Inner"),
        OMIF_FIELD(OMIF_ITEM_FLOAT, L"f", 1),
        OMIF_TABLE_END,
    };
    Report err;
    DesignPtr inner(omif_DesignCreateFromTable(L"Inner", kInnerItems, nullptr, &err));
    DictionaryPtr dict(omif_DictionaryCreate(&err));
    omif_DictionaryAddDesign(dict.get(), inner.get(), &err);
    DesignPtr outer(omif_DesignCreateFromTable(L"Outer", items, dict.get(), &err));
    ASSERT_TRUE(outer) << err.Innermost();
    const Expect want[] = {FIELD(Outer, a), FIELD(Outer, inline2), FIELD(Outer, many),
                           FIELD(Outer, f)};
    CheckLayout(outer.get(), want, 4, sizeof(Outer), alignof(Outer));
    const Omif_Item *x = ItemNamed(outer.get(), L"inline2");
    EXPECT_EQ(x->ownsDesign, 1);
    EXPECT_STREQ(x->design->name, L"Inner");
    EXPECT_NE(x->design, inner.get());
}

TEST(DesignLayout, EmptyDesignAndZeroCountItems) {
    Report err;
    DesignPtr empty(omif_DesignCreateX(L"Empty", &err, OMIF_ITEM_END));
    ASSERT_TRUE(empty);
    EXPECT_EQ(empty->hostSize, 0);
    EXPECT_EQ(empty->alignment, 1);
    // A direct item of count 0 takes no room but still aligns what follows.
    DesignPtr d(omif_DesignCreateX(L"Z", &err, OMIF_ITEM_CHAR, L"c", 1, OMIF_DIRECT,
                                   OMIF_ITEM_DOUBLE, L"none", 0, OMIF_DIRECT, OMIF_ITEM_CHAR, L"k",
                                   1, OMIF_DIRECT, OMIF_ITEM_END));
    ASSERT_TRUE(d);
    EXPECT_EQ(ItemNamed(d.get(), L"none")->offset, 8);
    EXPECT_EQ(ItemNamed(d.get(), L"none")->hostSize, 0);
    EXPECT_EQ(ItemNamed(d.get(), L"c")->padding, 7);
    EXPECT_EQ(ItemNamed(d.get(), L"k")->offset, 8);
    EXPECT_EQ(d->hostSize, 16);
    EXPECT_EQ(ItemNamed(d.get(), L"k")->padding, 7);
}

TEST(DesignLayout, SelfReferenceThroughAPointerTakesItsOwnSize) {
    Report err;
    DictionaryPtr dict(
        omif_DictionaryDecodeFromString(L"{1:lvalue,1:*oNode,next,2:pdw,}Node,.", &err));
    ASSERT_TRUE(dict) << err.Innermost();
    const Omif_Design *node = dict->designs;
    EXPECT_EQ(node->hostSize, 32);
    EXPECT_EQ(ItemNamed(node, L"next")->offset, 8);
    EXPECT_EQ(ItemNamed(node, L"next")->elementSize, 32);
    EXPECT_EQ(ItemNamed(node, L"next")->design, node);
    EXPECT_EQ(ItemNamed(node, L"w")->offset, 16);
    EXPECT_EQ(ItemNamed(node, L"w")->hostSize, 16);
}

TEST(DesignLayout, RecordsBeyondTwoGigabytesAreRefused) {
    Report err;
    EXPECT_EQ(omif_DesignCreateX(L"Huge", &err, OMIF_ITEM_DOUBLE, L"v", 0x10000000, OMIF_DIRECT,
                                 OMIF_ITEM_END),
              nullptr);
    ASSERT_EQ(err.Chain().size(), 2u);
    EXPECT_EQ(err.Chain()[0], L"omif_DesignCreateX: SetSizes failed");
    EXPECT_EQ(err.Chain()[1],
              L"SetSizes: Design Huge is larger than 2147483647 bytes on this host (item v)");
    // Just below the limit is fine.
    DesignPtr big(omif_DesignCreateX(L"Big", &err, OMIF_ITEM_UCHAR, L"v", 0x7ffffff8, OMIF_DIRECT,
                                     OMIF_ITEM_END));
    ASSERT_TRUE(big);
    EXPECT_EQ(big->hostSize, 0x7ffffff8);
}
