// The dictionary text form: conforming items, round trips, reference resolution, and the
// report of every kind of malformed text.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include <orvik/omif.h>

#include "core/heap_seam.hpp"
#include "mif_test_util.hpp"

using namespace mif_test;

namespace {

std::wstring RoundTrip(const std::wstring &text) {
    Report err;
    DictionaryPtr d(omif_DictionaryDecodeFromString(text.c_str(), &err));
    if (!d) return L"decode failed: " + err.Innermost();
    return Encode(d.get());
}

// The chain of a failed decode, outermost first.
std::vector<std::wstring> DecodeFailure(const std::wstring &text) {
    Report err;
    DictionaryPtr d(omif_DictionaryDecodeFromString(text.c_str(), &err));
    EXPECT_FALSE(d) << std::string(text.begin(), text.end());
    return err.Chain();
}

std::wstring Nested(int levels) {
    std::wstring open, close;
    for (int i = 0; i < levels; ++i) {
        open += L"1:x{";
        close = L"}D" + std::to_wstring(i) + L",i," + close;
    }
    return L"{" + open + L"1:lv," + close + L"}Top,.";
}

} // namespace

TEST(DictionaryText, ConformingItemsRoundTrip) {
    const wchar_t *items[] = {L"1:lnumrows,", L"1:e3:thematic,athematic,fft,layerType,",
                              L"1:oOmif_String,name,", L"0:pcstring,",
                              L"1:x{1:lvalue,}Inner,inner,"};
    for (const wchar_t *item : items) {
        const std::wstring text = L"{" + std::wstring(item) + L"}D,{0:pcstring,}Omif_String,.";
        EXPECT_EQ(RoundTrip(text), text);
    }
    Report err;
    DictionaryPtr d(omif_DictionaryDecodeFromString(
        L"{1:lnumrows,1:e3:thematic,athematic,fft,layerType,1:oOmif_String,name,0:pcstring,"
        L"1:x{1:lvalue,}Inner,inner,}Layer,{0:pcstring,}Omif_String,.",
        &err));
    ASSERT_TRUE(d) << err.Innermost();
    const Omif_Item *i = d->designs->items;
    EXPECT_EQ(i->type, OMIF_ITEM_LONG);
    EXPECT_EQ(i->count, 1);
    i = i->next;
    EXPECT_EQ(i->type, OMIF_ITEM_ENUM);
    EXPECT_STREQ(i->name, L"layerType");
    ASSERT_EQ(i->enumCount, 3);
    EXPECT_STREQ(i->enumNames[0], L"thematic");
    EXPECT_STREQ(i->enumNames[1], L"athematic");
    EXPECT_STREQ(i->enumNames[2], L"fft");
    i = i->next;
    EXPECT_EQ(i->type, OMIF_ITEM_OBJECT);
    EXPECT_EQ(i->design, d->designs->next);
    EXPECT_EQ(i->ownsDesign, 0);
    i = i->next;
    EXPECT_EQ(i->type, OMIF_ITEM_CHAR);
    EXPECT_EQ(i->indirect, 1);
    EXPECT_EQ(i->pointerKind, OMIF_POINTER_COUNTED);
    EXPECT_EQ(i->count, 0);
    i = i->next;
    EXPECT_EQ(i->type, OMIF_ITEM_INLINE_OBJECT);
    EXPECT_EQ(i->ownsDesign, 1);
    EXPECT_STREQ(i->design->name, L"Inner");
    EXPECT_EQ(d->count, 2); // inline designs are not listed
}

TEST(DictionaryText, EveryLetterAndPrefix) {
    const std::wstring text =
        L"{1:oR,o,2:e1:z,e,9:1a,3:2b,5:4c,1:Cd,4:ce,1:Sf,1:sg,1:Lh,1:li,1:fj,"
        L"1:dk,1:ml,1:Mm,1:bn,1:tp,1:iq,2:*lr,0:pds,1:*x{1:Cc,}X,x,0:poR,t,}All,"
        L"{1:lv,}R,.";
    EXPECT_EQ(RoundTrip(text), text);
    Report err;
    DictionaryPtr d(omif_DictionaryDecodeFromString(text.c_str(), &err));
    int32_t code = OMIF_ITEM_OBJECT;
    const Omif_Item *i = d->designs->items;
    for (; code <= OMIF_ITEM_TYPE_MAX; ++code, i = i->next) EXPECT_EQ(i->type, code);
}

TEST(DictionaryText, TimeStaysADouble) {
    Report err;
    DictionaryPtr d(omif_DictionaryDecodeFromString(L"{1:tmodTime,3:tmore,}T,.", &err));
    ASSERT_TRUE(d);
    EXPECT_EQ(d->designs->items->type, OMIF_ITEM_TIME);
    EXPECT_EQ(d->designs->items->elementSize, 8);
    EXPECT_EQ(d->designs->items->next->offset, 8);
    EXPECT_EQ(d->designs->hostSize, 32);
    EXPECT_EQ(d->designs->alignment, 8);
    EXPECT_EQ(Encode(d.get()), L"{1:tmodTime,3:tmore,}T,.");
}

TEST(DictionaryText, ReferencesResolveInAnyOrder) {
    // Forward, backward and self references; the text comes back unchanged.
    const std::wstring text = L"{1:oB,b,2:*oA,self,}A,{1:lv,1:*oA,back,}B,.";
    EXPECT_EQ(RoundTrip(text), text);
    Report err;
    DictionaryPtr d(omif_DictionaryDecodeFromString(text.c_str(), &err));
    const Omif_Design *a = d->designs, *b = a->next;
    EXPECT_EQ(ItemNamed(a, L"b")->design, b);
    EXPECT_EQ(ItemNamed(a, L"self")->design, a);
    EXPECT_EQ(ItemNamed(b, L"back")->design, a);
    EXPECT_EQ(b->hostSize, 16);
    EXPECT_EQ(a->hostSize, 24);
    EXPECT_EQ(ItemNamed(a, L"self")->elementSize, 24);
}

TEST(DictionaryText, RepeatedNamesKeepTheFirstDesign) {
    EXPECT_EQ(RoundTrip(L"{1:lv,}A,{1:dw,1:oA,a,}A,{1:oA,r,}B,."), L"{1:lv,}A,{1:oA,r,}B,.");
    // Text after the final "." is not read.
    EXPECT_EQ(RoundTrip(L"{1:lv,}A,.garbage{"), L"{1:lv,}A,.");
}

TEST(DictionaryText, LargeDictionaryRoundTripsByteForByte) {
    Report err;
    DictionaryPtr d(omif_DictionaryCreate(&err));
    const wchar_t *const names[] = {L"low", L"mid", L"high", nullptr};
    for (int i = 0; i < 500; ++i) {
        const std::wstring name = L"Design_" + std::to_wstring(i);
        Omif_Design *prev = i ? omif_DictionarySearchByName(
                                    d.get(), (L"Design_" + std::to_wstring(i - 1)).c_str(), &err)
                              : nullptr;
        DesignPtr x(omif_DesignCreateX(
            name.c_str(), &err, OMIF_ITEM_LONG, L"count", 1, OMIF_DIRECT, OMIF_ITEM_DOUBLE,
            L"values", i % 7, OMIF_COUNTED_POINTER, OMIF_ITEM_ENUM, L"level", 1, OMIF_DIRECT, names,
            OMIF_ITEM_CHAR, L"label", 32 + i, OMIF_DIRECT, OMIF_ITEM_TIME, L"when", 1, OMIF_DIRECT,
            prev ? OMIF_ITEM_OBJECT : OMIF_ITEM_END, L"previous", 1, OMIF_PLAIN_POINTER, prev,
            OMIF_ITEM_END));
        ASSERT_TRUE(x) << err.Innermost();
        ASSERT_NE(omif_DictionaryAddDesign(d.get(), x.get(), &err), nullptr);
    }
    const std::wstring text = Encode(d.get());
    EXPECT_EQ(omif_DictionaryEncodedLength(d.get(), &err), static_cast<long>(text.size()));
    EXPECT_GT(text.size(), 40000u);
    EXPECT_EQ(RoundTrip(text), text);
    DictionaryPtr back(omif_DictionaryDecodeFromString(text.c_str(), &err));
    ASSERT_TRUE(back);
    EXPECT_EQ(back->count, 500);
    for (const Omif_Design *a = d->designs, *b = back->designs; a || b; a = a->next, b = b->next) {
        ASSERT_TRUE(a && b);
        EXPECT_EQ(a->hostSize, b->hostSize);
        for (const Omif_Item *x = a->items, *y = b->items; x || y; x = x->next, y = y->next) {
            ASSERT_TRUE(x && y);
            EXPECT_EQ(x->offset, y->offset);
            EXPECT_EQ(x->elementSize, y->elementSize);
        }
    }
}

TEST(DictionaryText, CountWithALetterNamesTheLetter) {
    EXPECT_EQ(
        DecodeFailure(L"{12x:lv,}D,."),
        (std::vector<std::wstring>{L"omif_DictionaryDecodeFromString: omif_DictionaryDecode failed",
                                   L"omif_DictionaryDecode: omif_DecodeDesign failed",
                                   L"omif_DecodeDesign: omif_DecodeItem failed",
                                   L"omif_DecodeItem: omif_DecodeCount failed",
                                   L"omif_DecodeCount: Non-numeric character x (0x78) for count"}));
}

TEST(DictionaryText, EveryMalformedTextIsReported) {
    struct Case {
        std::wstring text;
        std::wstring innermost;
    };
    const Case cases[] = {
        {L"x", L"omif_DecodeDesign: Character x (0x78) does not start a design"},
        {L"{1:x(1:lv,}I,i,}D,.", L"omif_DecodeDesign: Character ( (0x28) does not start a design"},
        {L"{:lv,}D,.", L"omif_DecodeCount: Non-numeric character : (0x3a) for count"},
        {L"{-1:lv,}D,.", L"omif_DecodeCount: Non-numeric character - (0x2d) for count"},
        {L"{2147483648:*lv,}D,.", L"omif_DecodeCount: Count exceeds 2147483647"},
        {L"{99999999999999999999:lv,}D,.", L"omif_DecodeCount: Count exceeds 2147483647"},
        {L"{1:e32768:a,v,}D,.", L"omif_DecodeEnumCount: Count exceeds 32767"},
        {L"{1:e2a:x,y,v,}D,.", L"omif_DecodeEnumCount: Non-numeric character a (0x61) for count"},
        {L"{1:lv\x01w,}D,.", L"omif_DecodeName: Non-printable character \x01 (0x01) for name"},
        {L"{1:lv,}D\x7f,.", L"omif_DecodeName: Non-printable character \x7f (0x7f) for name"},
        {L"{1:lcaf\u00e9,}D,.", L"omif_DecodeName: Non-printable character \u00c3 (0xc3) for name"},
        {L"{1:qv,}D,.", L"omif_DecodeItem: Unknown item type q (0x71)"},
        {L"{1:*}D,.", L"omif_DecodeItem: Unknown item type } (0x7d)"},
        {L"{1:oNowhere,n,}D,.",
         L"omif_DictionaryDecode: Design Nowhere named by item n is not in the dictionary"},
        {L"{1:lv,1:x{1:oGone,g,}I,i,}D,.",
         L"omif_DictionaryDecode: Design Gone named by item g is not in the dictionary"},
        {L"", L"omif_DictionaryDecode: Unexpected end of dictionary text"},
        {L"{1:lv,}D,", L"omif_DictionaryDecode: Unexpected end of dictionary text"},
        {L"{1:", L"omif_DecodeItem: Unexpected end of dictionary text"},
        {L"{1:p", L"omif_DecodeItem: Unexpected end of dictionary text"},
        {L"{1:l", L"omif_DecodeName: Unexpected end of dictionary text"},
        {L"{1:lvalue", L"omif_DecodeName: Unexpected end of dictionary text"},
        {L"{12", L"omif_DecodeCount: Unexpected end of dictionary text"},
        {L"{1:e3:a,b", L"omif_DecodeName: Unexpected end of dictionary text"},
        {L"{1:lv,", L"omif_DecodeDesign: Unexpected end of dictionary text"},
        {L"{1:oA,a,}A,.", L"SetSizes: Design A contains itself (item a)"},
        {L"{2:oB,b,}A,{1:oA,a,}B,.", L"SetSizes: Design A contains itself (item a)"},
        {L"{2147483647:dv,}D,.",
         L"SetSizes: Design D is larger than 2147483647 bytes on this host (item v)"},
        {L"{1:l" + std::wstring(65536, L'n') + L",}D,.",
         L"omif_DecodeName: Name longer than 65535 characters"},
        {Nested(65), L"omif_DecodeDesign: Designs nested deeper than 64 levels"},
    };
    for (const Case &c : cases) {
        const auto chain = DecodeFailure(c.text);
        ASSERT_FALSE(chain.empty());
        EXPECT_EQ(chain.front(), L"omif_DictionaryDecodeFromString: omif_DictionaryDecode failed");
        EXPECT_EQ(chain.back(), c.innermost)
            << std::string(c.text.begin(), c.text.begin() + std::min<size_t>(c.text.size(), 40));
    }
    EXPECT_EQ(RoundTrip(Nested(64)), Nested(64));
    // A chain of designs, each holding the next one directly.
    std::wstring chain;
    for (int i = 0; i < 66; ++i)
        chain += L"{1:oD" + std::to_wstring(i + 1) + L",n,}D" + std::to_wstring(i) + L",";
    EXPECT_EQ(DecodeFailure(chain + L"{1:lv,}D66,.").back(),
              L"SetSizes: Design D65: objects nested deeper than 64 levels");
    // Through pointers the same chain is no nesting at all.
    std::wstring pointers;
    for (int i = 0; i < 66; ++i)
        pointers += L"{1:*oD" + std::to_wstring(i + 1) + L",n,}D" + std::to_wstring(i) + L",";
    pointers += L"{1:lv,}D66,.";
    EXPECT_EQ(RoundTrip(pointers), pointers);
    EXPECT_EQ(RoundTrip(L"{2147483647:*lv,}D,."), L"{2147483647:*lv,}D,.");
    Report err;
    EXPECT_EQ(omif_DictionaryDecodeFromString(nullptr, &err), nullptr);
    EXPECT_EQ(err.Chain(), std::vector<std::wstring>{
                               L"omif_DictionaryDecodeFromString: Missing dictionary string"});
}

TEST(DictionaryText, DecodeSurvivesEveryAllocationFailure) {
    const std::wstring text = L"{1:oB,b,1:e2:p,q,k,1:x{1:lv,}I,i,}A,{1:lv,}B,.";
    Report err;
    for (long n = 1;; ++n) {
        Omif_Dictionary *d;
        {
            orvik::core::testing::ScopedAllocationFailure fail(n);
            d = omif_DictionaryDecodeFromString(text.c_str(), &err);
        }
        if (d) {
            DictionaryPtr hold(d);
            EXPECT_EQ(Encode(d), text);
            break;
        }
        ASSERT_TRUE(err) << n;
    }
}

TEST(DictionaryText, EncoderRefusesWhatCannotBeReadBack) {
    Report err;
    DictionaryPtr d(omif_DictionaryDecodeFromString(L"{1:lv,}D,.", &err));
    Omif_Item *item = d->designs->items;
    wchar_t *saved = item->name;
    item->name = nullptr;
    EXPECT_EQ(omif_DictionaryEncodeToString(d.get(), &err), nullptr);
    EXPECT_EQ(err.Chain(),
              (std::vector<std::wstring>{L"omif_DictionaryEncodeToString: DictionaryEncode fail",
                                         L"omif_DictionaryEncode: omif_EncodeDesign fail",
                                         L"omif_EncodeDesign: omif_EncodeItem fail",
                                         L"omif_EncodeItem: No item name"}));
    EXPECT_EQ(omif_DictionaryEncodedLength(d.get(), &err), 0);
    EXPECT_EQ(err.Chain().front(), L"omif_DictionaryEncodedLength: DictionaryEncode fail");
    wchar_t comma[] = L"a,b";
    item->name = comma;
    EXPECT_EQ(omif_DictionaryEncodeToString(d.get(), &err), nullptr);
    EXPECT_EQ(err.Innermost(), L"omif_EncodeItem: Name a,b: character 0x2c cannot be written");
    item->name = saved;
    // Items whose type is not an item type are not written.
    item->type = 0;
    EXPECT_EQ(Encode(d.get()), L"{}D,.");
    item->type = OMIF_ITEM_LONG;
    wchar_t *designName = d->designs->name;
    d->designs->name = nullptr;
    EXPECT_EQ(omif_DictionaryEncodeToString(d.get(), &err), nullptr);
    EXPECT_EQ(err.Innermost(), L"omif_EncodeDesign: No design name");
    d->designs->name = designName;
    EXPECT_EQ(omif_DictionaryEncodeToString(nullptr, &err), nullptr);
    EXPECT_EQ(err.Innermost(), L"omif_DictionaryEncodeToString: Args");
    EXPECT_EQ(omif_DictionaryEncodedLength(nullptr, &err), 0);
    EXPECT_FALSE(err);
}
