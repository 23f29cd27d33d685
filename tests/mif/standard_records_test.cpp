// The standard records: MIF strings, counted byte blocks, wrapped MIF objects.
#include <gtest/gtest.h>

#include <cstring>

#include <orvik/omif.h>

#include "core/heap_seam.hpp"
#include "mif/object_internal.hpp"
#include "object_test_util.hpp"

using namespace mif_test;

namespace {

const Omif_Design *Standard(const wchar_t *name) {
    Oerr_ErrorReport *err = nullptr;
    const Omif_Design *d = omif_StandardDesignFetch(name, &err);
    EXPECT_EQ(err, nullptr);
    oerr_DeleteErrorReportEx(&err);
    return d;
}

Omif_PTR Block(const char *text, int32_t count) {
    Omif_PTR p{count, static_cast<unsigned char *>(omsc_HeapMalloc(count))};
    std::memcpy(p.data, text, static_cast<std::size_t>(count));
    return p;
}

} // namespace

TEST(StandardRecords, DesignsMatchThePublicRecords) {
    EXPECT_EQ(Standard(L"Omif_String_Design")->hostSize, static_cast<int32_t>(sizeof(Omif_String)));
    EXPECT_EQ(Standard(L"PTR")->hostSize, static_cast<int32_t>(sizeof(Omif_PTR)));
    const Omif_Design *mo = Standard(L"Omif_MIFObject_Design");
    ASSERT_NE(mo, nullptr);
    EXPECT_EQ(mo->hostSize, static_cast<int32_t>(sizeof(Omif_MIFObject)));
    EXPECT_EQ(mo->items->next->offset, static_cast<int32_t>(offsetof(Omif_MIFObject, dictionary)));
    Oerr_ErrorReport *err = nullptr;
    EXPECT_EQ(omif_StandardDesignFetch(L"Nope", &err), nullptr);
    EXPECT_EQ(Chain(err).back(), L"omif_BuiltinDesignFetch: No built-in design Nope");
}

TEST(StandardRecords, OmifStringConversionsAndFileForm) {
    Oerr_ErrorReport *err = nullptr;
    Omif_String s{};
    ASSERT_EQ(omif_OmifStringFromString(&s, L"h\u00e9llo", &err), 0);
    ASSERT_EQ(s.count, 7); // six UTF-8 bytes and the terminator
    EXPECT_STREQ(s.string, "h\xc3\xa9llo");
    EXPECT_EQ(ToFile(&s, Standard(L"Omif_String_Design"), 16),
              (Bytes{7, 0, 0, 0, 16, 0, 0, 0, 'h', 0xC3, 0xA9, 'l', 'l', 'o', 0}));

    wchar_t *wide = omif_OmifStringToString(&s, &err);
    ASSERT_NE(wide, nullptr);
    EXPECT_STREQ(wide, L"h\u00e9llo");
    omsc_HeapFree(wide);

    Omif_String dup{};
    ASSERT_EQ(omif_OmifStringFromOmifString(&dup, &s, &err), 0);
    EXPECT_NE(dup.string, s.string);
    EXPECT_EQ(dup.count, 7);
    EXPECT_EQ(std::memcmp(dup.string, s.string, 7), 0);
    omsc_HeapFree(dup.string);
    omsc_HeapFree(s.string);

    for (const wchar_t *empty : {static_cast<const wchar_t *>(nullptr), L""}) {
        ASSERT_EQ(omif_OmifStringFromString(&s, empty, &err), 0);
        EXPECT_EQ(s.count, 0);
        EXPECT_EQ(s.string, nullptr);
    }
    EXPECT_EQ(omif_OmifStringToString(&s, &err), nullptr);
    EXPECT_EQ(err, nullptr);
    ASSERT_EQ(omif_OmifStringFromOmifString(&dup, &s, &err), 0);
    EXPECT_EQ(dup.string, nullptr);

    char bad[] = {'\xff', 0};
    const Omif_String invalid{2, bad};
    EXPECT_EQ(omif_OmifStringToString(&invalid, &err), nullptr);
    EXPECT_EQ(Chain(err),
              std::vector<std::wstring>{L"omif_OmifStringToString: Text is not valid UTF-8"});
}

TEST(StandardRecords, PTRCopyRulesAndHelpers) {
    Oerr_ErrorReport *err = nullptr;
    Omif_PTR dst{5, nullptr};
    const Omif_PTR empty{0, nullptr};
    ASSERT_EQ(omif_PTRCopyContents(&dst, &empty, &err), 0);
    EXPECT_EQ(dst.count, 0);

    unsigned char byte = 1;
    const Omif_PTR countWithoutData{3, nullptr};
    const Omif_PTR dataWithoutCount{0, &byte};
    EXPECT_EQ(omif_PTRCopyContents(&dst, &countWithoutData, &err), -1);
    EXPECT_EQ(Chain(err), std::vector<std::wstring>{L"omif_PTRCopyContents: Trouble"});
    EXPECT_EQ(omif_PTRCopyContents(&dst, &dataWithoutCount, &err), -1);
    EXPECT_EQ(Chain(err), std::vector<std::wstring>{L"omif_PTRCopyContents: Trouble"});

    Omif_PTR src = Block("abc", 3);
    {
        orvik::core::testing::ScopedAllocationFailure fail(1);
        EXPECT_EQ(omif_PTRCopyContents(&dst, &src, &err), -1);
    }
    EXPECT_EQ(Chain(err), std::vector<std::wstring>{L"omif_PTRCopyContents: omsc_New failed"});
    ASSERT_EQ(omif_PTRCopyContents(&dst, &src, &err), 0);
    EXPECT_NE(dst.data, src.data);
    EXPECT_EQ(omif_PTRIsSame(&dst, &src), OMSC_TRUE);
    dst.data[2] = 'x';
    EXPECT_EQ(omif_PTRIsSame(&dst, &src), OMSC_FALSE);
    EXPECT_EQ(omif_PTRIsSame(&empty, &empty), OMSC_TRUE);
    EXPECT_EQ(omif_PTRIsSame(&empty, &src), OMSC_FALSE);

    unsigned char *moved = src.data;
    omif_PTRTransferContents(&dst, &src); // frees dst's old block
    EXPECT_EQ(dst.data, moved);
    EXPECT_EQ(dst.count, 3);
    EXPECT_EQ(src.data, nullptr);
    EXPECT_EQ(src.count, 0);
    omif_PTRFreeContents(&dst);
    EXPECT_EQ(dst.data, nullptr);
    EXPECT_EQ(dst.count, 0);
}

TEST(StandardRecords, MIFObjectCarriesARecordAndReadsItBack) {
    static const Omif_ItemDescription kItems[] = {OMIF_FIELD(OMIF_ITEM_LONG, L"id", 1),
                                                  OMIF_FIELD_COUNTED(OMIF_ITEM_SHORT, L"values"),
                                                  OMIF_TABLE_END};
    DesignPtr design = Make(L"Sample", kItems);
    struct Sample {
        int32_t id;
        OMIF_COUNTED_POINTER_OF(int16_t) values;
    };
    int16_t values[2] = {-1, 2};
    const Sample rec{0x11223344, {2, values}};
    Oerr_ErrorReport *err = nullptr;

    Omif_MIFObject wrapped{};
    ASSERT_EQ(omif_MIFableObjectConvertToMIFObject(&rec, design.get(), &wrapped, &err), 16);
    ASSERT_EQ(err, nullptr);
    EXPECT_STREQ(reinterpret_cast<char *>(wrapped.typeName.data), "Sample");
    EXPECT_EQ(wrapped.typeName.count, 7);
    if (!orvik::mif::ConversionSwapsBytes()) {
        EXPECT_EQ(Bytes(wrapped.data.data, wrapped.data.data + 16),
                  (Bytes{0x44, 0x33, 0x22, 0x11, 2, 0, 0, 0, 4, 0, 0, 0, 0xFF, 0xFF, 2, 0}));
    }
    // The carried dictionary holds the design.
    std::wstring text(reinterpret_cast<char *>(wrapped.dictionary.data),
                      reinterpret_cast<char *>(wrapped.dictionary.data) + wrapped.dictionary.count -
                          1);
    Omif_Dictionary *dictionary = omif_DictionaryDecodeFromString(text.c_str(), &err);
    ASSERT_NE(dictionary, nullptr);
    const Omif_Design *carried = omif_DictionarySearchByName(dictionary, L"Sample", &err);
    ASSERT_NE(carried, nullptr);
    EXPECT_EQ(carried->hostSize, design->hostSize);
    omif_DictionaryDestroy(dictionary, nullptr);

    Sample back{};
    EXPECT_EQ(omif_MIFableObjectConvertFromMIFObject(&wrapped, design.get(), &back, &err), 16);
    ASSERT_EQ(err, nullptr);
    EXPECT_EQ(back.id, rec.id);
    ASSERT_EQ(back.values.count, 2);
    EXPECT_EQ(back.values.data[0], -1);
    omif_ObjectItemsFree(&back, design.get(), nullptr);

    DesignPtr other = Make(L"Other", kItems);
    EXPECT_EQ(omif_MIFableObjectConvertFromMIFObject(&wrapped, other.get(), &back, &err), -1);
    EXPECT_EQ(Chain(err), std::vector<std::wstring>{
                              L"omif_MIFableObjectConvertFromMIFObject: Design mismatch"});

    // Trailing bytes in a block are refused.
    Omif_PTR longer = Block("\x01\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x07", 13);
    EXPECT_EQ(omif_MIFableObjectConvertFromMIF(&longer, design.get(), &back, &err), -1);
    EXPECT_EQ(Chain(err).back(),
              L"omif_MIFableObjectConvertFromMIF: The block holds 1 bytes after the record");
    omif_PTRFreeContents(&longer);
    omif_ObjectItemsFree(&back, design.get(), nullptr);

    // Copy, compare, move, and the record's own file form through its design.
    auto *copy = static_cast<Omif_MIFObject *>(omsc_HeapMalloc(sizeof(Omif_MIFObject)));
    ASSERT_EQ(omif_MIFObjectCopyContents(copy, &wrapped, &err), 0);
    EXPECT_EQ(omif_MIFObjectIsSame(copy, &wrapped), OMSC_TRUE);
    copy->data.data[0] ^= 1;
    EXPECT_EQ(omif_MIFObjectIsSame(copy, &wrapped), OMSC_FALSE);
    const Bytes file = ToFile(&wrapped, Standard(L"Omif_MIFObject_Design"));
    EXPECT_EQ(file.size(), static_cast<std::size_t>(24 + 7 + wrapped.dictionary.count + 16));
    Omif_MIFObject moved{};
    omif_MIFObjectTransferContents(&moved, &wrapped);
    EXPECT_EQ(wrapped.data.data, nullptr);
    EXPECT_EQ(ToFile(&moved, Standard(L"Omif_MIFObject_Design")), file);
    omif_MIFObjectFreeContents(&moved);
    omif_MIFObjectFree(copy);
}
