// Conversion of records between host and file form: exact file bytes per item type,
// indirect items and their offset words, nested records, base data, streams versus buffers,
// corrupt and truncated input.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <fstream>
#include <iterator>

#include <orvik/ofio.h>
#include <orvik/ogda.h>
#include <orvik/omif.h>

#include "core/heap_seam.hpp"
#include "mif/object_internal.hpp"
#include "object_test_util.hpp"

using namespace mif_test;

namespace {

const wchar_t *const kColours[] = {L"red", L"green", NULL};

const Omif_ItemDescription kAllItems[] = {
    OMIF_FIELD(OMIF_ITEM_UCHAR, L"C", 1),   OMIF_FIELD(OMIF_ITEM_CHAR, L"c", 1),
    OMIF_FIELD(OMIF_ITEM_USHORT, L"S", 1),  OMIF_FIELD(OMIF_ITEM_SHORT, L"s", 1),
    OMIF_FIELD(OMIF_ITEM_ULONG, L"L", 1),   OMIF_FIELD(OMIF_ITEM_LONG, L"l", 1),
    OMIF_FIELD(OMIF_ITEM_S32, L"i", 1),     OMIF_FIELD(OMIF_ITEM_FLOAT, L"f", 1),
    OMIF_FIELD(OMIF_ITEM_DOUBLE, L"d", 1),  OMIF_FIELD(OMIF_ITEM_TIME, L"t", 1),
    OMIF_FIELD(OMIF_ITEM_COMPLEX, L"m", 1), OMIF_FIELD(OMIF_ITEM_DCOMPLEX, L"M", 1),
    OMIF_FIELD_ENUM(L"e", kColours),        OMIF_TABLE_END,
};
struct All {
    uint8_t C;
    char c;
    uint16_t S;
    int16_t s;
    uint32_t L;
    int32_t l;
    int32_t i;
    float f;
    double d;
    double t;
    float m[2];
    double M[2];
    uint32_t e;
};

const Omif_ItemDescription kPackedItems[] = {
    OMIF_FIELD(OMIF_ITEM_U1, L"a", 9),
    OMIF_FIELD(OMIF_ITEM_U1, L"z", 0),
    OMIF_FIELD(OMIF_ITEM_U2, L"b", 5),
    OMIF_FIELD(OMIF_ITEM_U4, L"n", 3),
    OMIF_TABLE_END,
};

const Omif_ItemDescription kIndirectItems[] = {
    OMIF_FIELD_COUNTED(OMIF_ITEM_DOUBLE, L"vals"),
    OMIF_FIELD_PTR(OMIF_ITEM_SHORT, L"shorts", 3),
    OMIF_FIELD_COUNTED(OMIF_ITEM_S32, L"empty"),
    OMIF_TABLE_END,
};
struct Indirect {
    OMIF_COUNTED_POINTER_OF(double) vals;
    int16_t *shorts;
    OMIF_COUNTED_POINTER_OF(int32_t) empty;
};

const Omif_ItemDescription kBaseItems[] = {
    {OMIF_ITEM_BASEDATA, L"grid", 1, 0, 0, NULL, NULL, NULL, NULL},
    OMIF_TABLE_END,
};
struct WithBase {
    Ogda_BaseData grid;
};

Bytes Hex(std::initializer_list<int> values) {
    Bytes b;
    for (int v : values) b.push_back(static_cast<unsigned char>(v));
    return b;
}

// The file bytes as a byte-reversing build writes them: each numeric scalar of the given
// widths (in order, 1 for single bytes) reversed. Identity on an ordinary build.
Bytes AsWritten(Bytes bytes, std::initializer_list<int> widths) {
    if (!orvik::mif::ConversionSwapsBytes()) return bytes;
    std::size_t at = 0;
    for (int w : widths) {
        std::reverse(bytes.begin() + static_cast<std::ptrdiff_t>(at),
                     bytes.begin() + static_cast<std::ptrdiff_t>(at + w));
        at += static_cast<std::size_t>(w);
    }
    return bytes;
}

// Tests of exact element bytes that are written for little-endian moves only.
#define SKIP_WHEN_SWAPPING()                                                                       \
    if (orvik::mif::ConversionSwapsBytes()) GTEST_SKIP() << "byte-reversing build"

Bytes Concat(std::initializer_list<Bytes> parts) {
    Bytes out;
    for (const Bytes &p : parts) out.insert(out.end(), p.begin(), p.end());
    return out;
}

} // namespace

TEST(MifObjectConvert, EveryScalarTypeHasItsExactLittleEndianBytes) {
    DesignPtr design = Make(L"All", kAllItems);
    ASSERT_TRUE(design);
    ASSERT_EQ(design->hostSize, static_cast<int32_t>(sizeof(All)));
    ASSERT_EQ(omif_ObjectSize(nullptr, design.get(), nullptr), 64);

    All a{};
    a.C = 0xAB;
    a.c = 'x';
    a.S = 0x1234;
    a.s = -2;
    a.L = 0x89ABCDEFu;
    a.l = -1;
    a.i = 0x01020304;
    a.f = 1.0f;
    a.d = 1.0;
    a.t = 2.0;
    a.m[0] = 1.0f;
    a.m[1] = -2.0f;
    a.M[0] = 0.5;
    a.M[1] = 1.0;
    a.e = 0xFFFF0102u; // only the low 16 bits are stored
    const Bytes expected =
        Hex({0xAB, 0x78, 0x34, 0x12, 0xFE, 0xFF, 0xEF, 0xCD, 0xAB, 0x89, 0xFF, 0xFF, 0xFF,
             0xFF, 0x04, 0x03, 0x02, 0x01, 0x00, 0x00, 0x80, 0x3F, 0,    0,    0,    0,
             0,    0,    0xF0, 0x3F, 0,    0,    0,    0,    0,    0,    0x00, 0x40, 0x00,
             0x00, 0x80, 0x3F, 0x00, 0x00, 0x00, 0xC0, 0,    0,    0,    0,    0,    0,
             0xE0, 0x3F, 0,    0,    0,    0,    0,    0,    0xF0, 0x3F, 0x02, 0x01});
    // Under byte reversal every scalar is mirrored except the enumeration, which is stored
    // arithmetically.
    const Bytes written = AsWritten(expected, {1, 1, 2, 2, 4, 4, 4, 4, 8, 8, 4, 4, 8, 8, 1, 1});
    EXPECT_EQ(ToFile(&a, design.get()), written);

    All back;
    std::memset(&back, 0xEE, sizeof back);
    Oerr_ErrorReport *err = nullptr;
    EXPECT_EQ(FromFile(written, design.get(), &back, &err), 64);
    ASSERT_EQ(err, nullptr);
    EXPECT_EQ(back.e, 0x00000102u);
    back.e = a.e;
    EXPECT_EQ(std::memcmp(&back.C, &a.C, 2), 0);
    EXPECT_EQ(back.S, a.S);
    EXPECT_EQ(back.s, a.s);
    EXPECT_EQ(back.L, a.L);
    EXPECT_EQ(back.l, a.l);
    EXPECT_EQ(back.i, a.i);
    EXPECT_EQ(back.f, a.f);
    EXPECT_EQ(back.t, 2.0);
    EXPECT_EQ(back.m[1], -2.0f);
    EXPECT_EQ(back.M[0], 0.5);
}

TEST(MifObjectConvert, PackedArraysUseTheDeliberateByteRule) {
    DesignPtr design = Make(L"Packed", kPackedItems);
    ASSERT_TRUE(design);
    unsigned char host[17] = {1,         0, 1, 1, 0, 0,           0, 1,  3,
                              /* b */ 3, 0, 1, 2, 3, /* n */ 0xF, 1, 0xA};
    // 9 one-bit elements take 2 bytes, 0 take 1, 5 two-bit take 2, 3 four-bit take 2; the
    // element 3 in a one-bit item keeps only its low bit.
    const Bytes expected = Hex({0x8D, 0x01, 0x00, 0x93, 0x03, 0x1F, 0x0A});
    EXPECT_EQ(omif_ObjectSize(host, design.get(), nullptr), 7);
    EXPECT_EQ(ToFile(host, design.get()), expected);
    unsigned char back[17];
    std::memset(back, 0x77, sizeof back);
    Oerr_ErrorReport *err = nullptr;
    EXPECT_EQ(FromFile(expected, design.get(), back, &err), 7);
    ASSERT_EQ(err, nullptr);
    host[8] = 1;
    EXPECT_EQ(std::memcmp(back, host, sizeof host), 0);
}

TEST(MifObjectConvert, IndirectItemsWriteCountOffsetAndElements) {
    SKIP_WHEN_SWAPPING();
    DesignPtr design = Make(L"Indirect", kIndirectItems);
    ASSERT_TRUE(design);
    ASSERT_EQ(design->hostSize, static_cast<int32_t>(sizeof(Indirect)));
    double vals[2] = {1.0, -1.0};
    int16_t shorts[3] = {1, 2, -1};
    Indirect rec{};
    rec.vals.count = 2;
    rec.vals.data = vals;
    rec.shorts = shorts;
    const Bytes expected = Concat({
        Hex({2, 0, 0, 0, 0xE8, 0x03, 0, 0}), // count 2, offset 1000 + 0
        Hex({0, 0, 0, 0, 0, 0, 0xF0, 0x3F, 0, 0, 0, 0, 0, 0, 0xF0, 0xBF}),
        Hex({3, 0, 0, 0, 0x00, 0x04, 0, 0}), // offset 1000 + 24
        Hex({1, 0, 2, 0, 0xFF, 0xFF}),
        Hex({0, 0, 0, 0, 0x0E, 0x04, 0, 0}), // count 0, offset 1000 + 38
    });
    EXPECT_EQ(ToFile(&rec, design.get(), 1000), expected);

    Indirect back{};
    Oerr_ErrorReport *err = nullptr;
    EXPECT_EQ(FromFile(expected, design.get(), &back, &err), 46);
    ASSERT_EQ(err, nullptr);
    ASSERT_EQ(back.vals.count, 2);
    EXPECT_EQ(back.vals.data[1], -1.0);
    ASSERT_NE(back.shorts, nullptr);
    EXPECT_EQ(back.shorts[2], -1);
    EXPECT_EQ(back.empty.count, 0);
    EXPECT_EQ(back.empty.data, nullptr);

    // Reading a shorter counted array replaces the block; a zero count frees it.
    const Bytes shorter = Concat({Hex({1, 0, 0, 0, 9, 9, 9, 9, 0, 0, 0, 0, 0, 0, 0x08, 0x40}),
                                  Hex({0, 0, 0, 0, 0, 0, 0, 0}), Hex({0, 0, 0, 0, 0, 0, 0, 0})});
    EXPECT_EQ(FromFile(shorter, design.get(), &back, &err), 32);
    ASSERT_EQ(err, nullptr);
    ASSERT_EQ(back.vals.count, 1);
    EXPECT_EQ(back.vals.data[0], 3.0);
    EXPECT_EQ(back.shorts, nullptr);
    EXPECT_EQ(omif_ObjectItemsFree(&back, design.get(), &err), 0);
    EXPECT_EQ(back.vals.data, nullptr);
}

TEST(MifObjectConvert, PlainPointerCountAboveTheDesignCountIsRefused) {
    DesignPtr design = Make(L"Indirect", kIndirectItems);
    const Bytes bytes = Concat({Hex({0, 0, 0, 0, 0, 0, 0, 0}), Hex({4, 0, 0, 0, 0, 0, 0, 0}),
                                Hex({1, 0, 2, 0, 3, 0, 4, 0}), Hex({0, 0, 0, 0, 0, 0, 0, 0})});
    Indirect back{};
    Oerr_ErrorReport *err = nullptr;
    FromFile(bytes, design.get(), &back, &err);
    EXPECT_EQ(Chain(err), (std::vector<std::wstring>{
                              L"omif_ConvertToHost: omif_MIFtoObject failed",
                              L"omif_MIFtoObject: Item shorts holds 3 elements, not 4"}));
    omif_ObjectItemsFree(&back, design.get(), nullptr);
}

using NestedRecords = ShapeFixture;

TEST_F(NestedRecords, LayoutMatchesTheStructAndRoundTrips) {
    SKIP_WHEN_SWAPPING();
    ASSERT_EQ(shape->hostSize, static_cast<int32_t>(sizeof(Shape)));
    Shape *s = Sample();
    const Bytes bytes = ToFile(s, shape.get());
    // origin 16, corners 8 + 32, box 4 + 2, path 8 + 48, grid 8 + 12 + 12, label 8 + 4.
    ASSERT_EQ(bytes.size(), 162u);
    EXPECT_EQ(Bytes(bytes.begin() + 16, bytes.begin() + 24), Hex({2, 0, 0, 0, 16, 0, 0, 0}));
    EXPECT_EQ(Bytes(bytes.begin() + 56, bytes.begin() + 62), Hex({7, 0, 0, 0, 0xF8, 0xFF}));
    EXPECT_EQ(Bytes(bytes.begin() + 126, bytes.begin() + 138),
              Hex({2, 0, 0, 0, 3, 0, 0, 0, 6, 0, 1, 0}) /* 2 x 3 s16, table layout */);
    EXPECT_EQ(Bytes(bytes.end() - 4, bytes.end()), Hex({'a', 'b', 'c', 0}));

    auto *back = static_cast<Shape *>(omif_ObjectAllocate(shape.get(), nullptr));
    Oerr_ErrorReport *err = nullptr;
    EXPECT_EQ(FromFile(bytes, shape.get(), back, &err), 162);
    ASSERT_EQ(err, nullptr);
    EXPECT_EQ(back->origin.y, -2.5);
    EXPECT_EQ(back->corners[1].x, 5);
    EXPECT_EQ(back->box.h, -8);
    ASSERT_EQ(back->path.count, 3);
    EXPECT_EQ(back->path.data[2].y, 20);
    ASSERT_EQ(back->grid.count, 1);
    EXPECT_EQ(back->grid.data->numrows, 2);
    EXPECT_EQ(static_cast<int16_t *>(back->grid.data->data)[5], 250);
    EXPECT_STREQ(back->label.data, "abc");
    EXPECT_EQ(ToFile(back, shape.get()), bytes);
    omif_ObjectFree(s, shape.get(), nullptr);
    omif_ObjectFree(back, shape.get(), nullptr);
}

TEST_F(NestedRecords, StreamAndBufferGiveTheSameBytesAndOffsets) {
    Shape *s = Sample();
    const Bytes viaBuffer = ToFile(s, shape.get(), 5);
    TempFile file;
    Oerr_ErrorReport *err = nullptr;
    Ofio_File *stream = ofio_FileOpen(file.Wide().c_str(), L"w+", &err);
    ASSERT_NE(stream, nullptr);
    ASSERT_EQ(ofio_WriteSeq(stream, "head", 4, &err), 4);
    // Stream position 4 plus base offset 1: the same offset words as the buffer at base 5.
    EXPECT_EQ(omif_ConvertToMIF(stream, s, shape.get(), nullptr, 1, &err),
              static_cast<long>(viaBuffer.size()));
    ASSERT_EQ(err, nullptr);
    ASSERT_EQ(ofio_Flush(stream, &err), 0);
    std::ifstream in(file.Path(), std::ios::binary);
    const std::string raw((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    EXPECT_EQ(Bytes(raw.begin() + 4, raw.end()), viaBuffer);

    ASSERT_EQ(ofio_Seek(stream, 4, OFIO_SEEK_SET, &err), 0);
    auto *back = static_cast<Shape *>(omif_ObjectAllocate(shape.get(), nullptr));
    EXPECT_EQ(omif_ConvertToHost(stream, nullptr, shape.get(), back, &err),
              static_cast<long>(viaBuffer.size()));
    ASSERT_EQ(err, nullptr);
    EXPECT_EQ(ToFile(back, shape.get(), 5), viaBuffer);
    ofio_FileClose(stream, nullptr);
    omif_ObjectFree(s, shape.get(), nullptr);
    omif_ObjectFree(back, shape.get(), nullptr);
}

TEST_F(NestedRecords, BufferCursorRulesOfHostAndHostX) {
    Shape *s = Sample();
    const Bytes one = ToFile(s, shape.get());
    Bytes two = Concat({one, one});
    Omif_Buffer buffer{two.data(), static_cast<long>(two.size()), 0, 0};
    auto *back = static_cast<Shape *>(omif_ObjectAllocate(shape.get(), nullptr));
    Oerr_ErrorReport *err = nullptr;
    EXPECT_EQ(omif_ConvertToHostX(nullptr, &buffer, shape.get(), back, &err), 162);
    EXPECT_EQ(buffer.cursor, 162);
    EXPECT_EQ(omif_ConvertToHostX(nullptr, &buffer, shape.get(), back, &err), 162);
    EXPECT_EQ(buffer.cursor, 324);
    EXPECT_EQ(omif_ConvertToHost(nullptr, &buffer, shape.get(), back, &err), 162);
    EXPECT_EQ(buffer.cursor, 162);
    ASSERT_EQ(err, nullptr);
    omif_ObjectFree(s, shape.get(), nullptr);
    omif_ObjectFree(back, shape.get(), nullptr);
}

TEST_F(NestedRecords, TruncationAtEveryByteFailsCleanly) {
    Shape *s = Sample();
    const Bytes full = ToFile(s, shape.get());
    for (std::size_t n = 0; n < full.size(); ++n) {
        Bytes cut(full.begin(), full.begin() + static_cast<std::ptrdiff_t>(n));
        auto *back = static_cast<Shape *>(omif_ObjectAllocate(shape.get(), nullptr));
        Oerr_ErrorReport *err = nullptr;
        const long got = FromFile(cut, shape.get(), back, &err);
        EXPECT_LE(got, static_cast<long>(n));
        ASSERT_NE(err, nullptr) << "length " << n;
        EXPECT_STREQ(err->message, L"omif_MIFtoObject failed");
        oerr_DeleteErrorReportEx(&err);
        omif_ObjectFree(back, shape.get(), nullptr);
    }
    omif_ObjectFree(s, shape.get(), nullptr);
}

TEST_F(NestedRecords, AllocationFailuresAreReportedAndLeaveAFreeableRecord) {
    Shape *s = Sample();
    const Bytes full = ToFile(s, shape.get());
    bool succeeded = false;
    for (long n = 1; n < 50 && !succeeded; ++n) {
        auto *back = static_cast<Shape *>(omif_ObjectAllocate(shape.get(), nullptr));
        Oerr_ErrorReport *err = nullptr;
        {
            orvik::core::testing::ScopedAllocationFailure fail(n);
            FromFile(full, shape.get(), back, &err);
        }
        succeeded = err == nullptr;
        if (!succeeded) {
            const std::vector<std::wstring> chain = Chain(err);
            EXPECT_EQ(chain.front(), L"omif_ConvertToHost: omif_MIFtoObject failed");
            EXPECT_TRUE(chain.back().ends_with(L"No memory") ||
                        chain.back().ends_with(L"Out of memory"))
                << chain.back();
        } else {
            EXPECT_EQ(ToFile(back, shape.get()), full);
        }
        omif_ObjectFree(back, shape.get(), nullptr);
    }
    EXPECT_TRUE(succeeded);
    omif_ObjectFree(s, shape.get(), nullptr);
}

TEST_F(NestedRecords, ObjectSizeEqualsBytesWritten) {
    Shape *s = Sample();
    Oerr_ErrorReport *err = nullptr;
    EXPECT_EQ(omif_ObjectSize(s, shape.get(), &err), 162);
    s->path.count = 1;
    s->label.count = 0;
    omsc_HeapFree(s->label.data);
    s->label.data = nullptr;
    EXPECT_EQ(omif_ObjectSize(s, shape.get(), &err), 162 - 32 - 4);
    EXPECT_EQ(ToFile(s, shape.get()).size(), 126u);
    // Without a record: empty indirect items.
    EXPECT_EQ(omif_ObjectSize(nullptr, shape.get(), &err), 16 + 8 + 6 + 8 + 8 + 8);
    s->path.count = 3;
    omif_ObjectFree(s, shape.get(), nullptr);
}

TEST(MifObjectConvert, BaseDataOfEveryPixelTypeAndBothLayouts) {
    DesignPtr design = Make(L"WithBase", kBaseItems);
    ASSERT_EQ(design->hostSize, static_cast<int32_t>(sizeof(WithBase)));
    const int32_t bytesPer[13] = {1, 1, 1, 1, 1, 2, 2, 4, 4, 4, 8, 8, 16};
    const int32_t masks[3] = {1, 3, 15};
    for (int type = 0; type < 13; ++type) {
        for (Ogda_ObjectType layout : {Ogda_Raster, Ogda_Matrix}) {
            SCOPED_TRACE(testing::Message() << "type " << type << " layout " << layout);
            WithBase rec{};
            Ogda_BaseData *bd = ogda_BaseDataCreate(3, 5, static_cast<Ogda_PixelType>(type), layout,
                                                    nullptr, nullptr);
            ASSERT_NE(bd, nullptr);
            auto *raw = static_cast<unsigned char *>(bd->data);
            for (int k = 0; k < 15 * bytesPer[type]; ++k)
                raw[k] =
                    static_cast<unsigned char>(type < 3 ? (k * 7 + 1) & masks[type] : k * 13 + 5);
            rec.grid = *bd;
            const Bytes bytes = ToFile(&rec, design.get());
            const std::size_t lines = layout == Ogda_Matrix ? 5 : 3;
            const std::size_t length = layout == Ogda_Matrix ? 3 : 5;
            const std::size_t lineFile = type < 3 ? (length - 1) / (8u >> type) + 1 : 0;
            const std::size_t expected = 12 + (type < 3 ? lines * lineFile : 15 * bytesPer[type]);
            ASSERT_EQ(bytes.size(), expected);
            EXPECT_EQ(Bytes(bytes.begin(), bytes.begin() + 12),
                      Hex({3, 0, 0, 0, 5, 0, 0, 0, type, 0, static_cast<int>(layout), 0}));
            if (type >= 3 && (bytesPer[type] == 1 || !orvik::mif::ConversionSwapsBytes())) {
                EXPECT_EQ(std::memcmp(bytes.data() + 12, raw, bytes.size() - 12), 0);
            }

            WithBase back{};
            Oerr_ErrorReport *err = nullptr;
            EXPECT_EQ(FromFile(bytes, design.get(), &back, &err), static_cast<long>(bytes.size()));
            ASSERT_EQ(err, nullptr);
            EXPECT_EQ(back.grid.numrows, 3);
            EXPECT_EQ(back.grid.numcolumns, 5);
            EXPECT_EQ(back.grid.datatype, type);
            EXPECT_EQ(back.grid.objecttype, layout);
            EXPECT_EQ(back.grid.derivedFlag, 0);
            EXPECT_EQ(back.grid.lineBytes, bytesPer[type] * (layout == Ogda_Matrix ? 3 : 5));
            EXPECT_EQ(
                std::memcmp(back.grid.data, raw, static_cast<std::size_t>(15 * bytesPer[type])), 0);
            // A second read reuses the block of the same shape.
            void *block = back.grid.data;
            EXPECT_EQ(FromFile(bytes, design.get(), &back, &err), static_cast<long>(bytes.size()));
            EXPECT_EQ(back.grid.data, block);
            omif_ObjectItemsFree(&back, design.get(), nullptr);
            ogda_BaseDataDelete(bd, nullptr);
        }
    }
}

TEST(MifObjectConvert, PackedBaseDataLinesStartOnAByte) {
    SKIP_WHEN_SWAPPING();
    DesignPtr design = Make(L"WithBase", kBaseItems);
    WithBase rec{};
    Ogda_BaseData *bd = ogda_BaseDataCreate(3, 2, OGDA_U4, Ogda_Matrix, nullptr, nullptr);
    const unsigned char values[6] = {1, 2, 3, 4, 5, 6}; // column 0 then column 1
    std::memcpy(bd->data, values, 6);
    rec.grid = *bd;
    EXPECT_EQ(ToFile(&rec, design.get()),
              Hex({3, 0, 0, 0, 2, 0, 0, 0, 2, 0, 2, 0, 0x21, 0x03, 0x54, 0x06}));
    ogda_BaseDataDelete(bd, nullptr);

    bd = ogda_BaseDataCreate(2, 3, OGDA_U8, Ogda_Raster, nullptr, nullptr);
    std::memcpy(bd->data, values, 6);
    rec.grid = *bd;
    EXPECT_EQ(ToFile(&rec, design.get()),
              Hex({2, 0, 0, 0, 3, 0, 0, 0, 3, 0, 3, 0, 1, 2, 3, 4, 5, 6}));
    ogda_BaseDataDelete(bd, nullptr);
}

TEST(MifObjectConvert, BaseDataOfAnUnknownObjectTypeIsNotWritten) {
    DesignPtr design = Make(L"WithBase", kBaseItems);
    Ogda_BaseData *bd = ogda_BaseDataCreate(1, 1, OGDA_U8, Ogda_Scalar, nullptr, nullptr);
    ASSERT_NE(bd, nullptr);
    WithBase rec{};
    rec.grid = *bd;
    rec.grid.objecttype = static_cast<Ogda_ObjectType>(4);
    unsigned char out[64] = {};
    Omif_Buffer buffer{out, sizeof out, 0, 0};
    Oerr_ErrorReport *err = nullptr;
    omif_ConvertToMIF(nullptr, &rec, design.get(), &buffer, 0, &err);
    const std::vector<std::wstring> chain = Chain(err);
    ASSERT_FALSE(chain.empty());
    EXPECT_EQ(chain.back(), L"omif_BaseDataToMIF: BaseData of object type 4 cannot be stored");
    ogda_BaseDataDelete(bd, nullptr);
}

TEST(MifObjectConvert, CorruptCountsAndBaseDataHeadersAreReported) {
    DesignPtr indirect = Make(L"Indirect", kIndirectItems);
    DesignPtr withBase = Make(L"WithBase", kBaseItems);
    struct Case {
        const Omif_Design *design;
        Bytes bytes;
        std::wstring innermost;
    };
    const Case cases[] = {
        {indirect.get(), Hex({0xFF, 0xFF, 0xFF, 0x7F, 0, 0, 0, 0, 1, 2, 3}),
         L"omif_MIFtoObject: Item vals: 2147483647 elements need more bytes than remain (3)"},
        {indirect.get(), Hex({0, 0, 0, 0x80, 0, 0, 0, 0}),
         L"omif_MIFtoObject: Item vals has the bad count 2147483648"},
        {withBase.get(), Hex({1, 0, 0, 0, 1, 0, 0, 0, 13, 0, 0, 0, 0, 0, 0, 0}),
         L"omif_MIFtoBaseData: Unknown BaseData pixel type 13"},
        {withBase.get(), Hex({0, 0, 1, 0, 0, 0, 1, 0, 3, 0, 0, 0}),
         L"omif_MIFtoBaseData: BaseData of 65536 x 65536 pixels is too large"},
        {withBase.get(), Hex({0xFF, 0xFF, 0xFF, 0x7F, 0xFF, 0xFF, 0xFF, 0x7F, 12, 0, 0, 0}),
         L"omif_MIFtoBaseData: BaseData of 2147483647 x 2147483647 pixels is too large"},
        {withBase.get(), Hex({0, 0, 0, 0, 0, 0, 0, 0x60, 9, 0, 0, 0}),
         L"omif_MIFtoBaseData: BaseData of 0 x 1610612736 pixels is too large"},
        {withBase.get(), Hex({0xFF, 0xFF, 0xFF, 0xFF, 1, 0, 0, 0, 3, 0, 0, 0}),
         L"omif_MIFtoBaseData: Bad BaseData dimensions -1 x 1"},
        // Layout words 0..3 name the object types; anything above is refused, not stored.
        {withBase.get(), Hex({1, 0, 0, 0, 1, 0, 0, 0, 3, 0, 4, 0, 7}),
         L"omif_MIFtoBaseData: Unknown BaseData layout 4"},
        {withBase.get(), Hex({1, 0, 0, 0, 1, 0, 0, 0, 3, 0, 0xFF, 0xFF, 7}),
         L"omif_MIFtoBaseData: Unknown BaseData layout 65535"},
        {withBase.get(), Hex({0, 1, 0, 0, 0, 1, 0, 0, 3, 0, 0, 0, 1, 2}),
         L"omif_MIFtoBaseData: BaseData of 256 x 256 pixels needs more bytes than remain (2)"},
    };
    for (const Case &c : cases) {
        unsigned char host[64] = {};
        Oerr_ErrorReport *err = nullptr;
        FromFile(c.bytes, c.design, host, &err);
        // Nothing was allocated or attached for the refused count or header.
        EXPECT_EQ(std::count(host, host + sizeof host, 0), static_cast<long>(sizeof host));
        const std::vector<std::wstring> chain = Chain(err);
        ASSERT_FALSE(chain.empty());
        EXPECT_EQ(chain.back(), c.innermost);
        EXPECT_EQ(chain.front(), L"omif_ConvertToHost: omif_MIFtoObject failed");
        omif_ObjectItemsFree(host, c.design, nullptr);
    }
}

TEST(MifObjectConvert, FailingStreamAndBufferStepsNameTheirConverter) {
    static const Omif_ItemDescription kTwo[] = {
        OMIF_FIELD(OMIF_ITEM_LONG, L"a", 1), OMIF_FIELD(OMIF_ITEM_SHORT, L"b", 2), OMIF_TABLE_END};
    DesignPtr design = Make(L"Two", kTwo);
    TempFile file;
    {
        std::ofstream out(file.Path(), std::ios::binary);
        out.write("\x01\x00\x00\x00\x02\x00", 6); // b is cut short
    }
    Oerr_ErrorReport *err = nullptr;
    Ofio_File *stream = ofio_FileOpen(file.Wide().c_str(), L"r", &err);
    ASSERT_NE(stream, nullptr);
    unsigned char host[8] = {};
    EXPECT_EQ(omif_ConvertToHost(stream, nullptr, design.get(), host, &err), 4);
    std::vector<std::wstring> chain = Chain(err);
    ASSERT_GE(chain.size(), 4u);
    EXPECT_EQ(chain[0], L"omif_ConvertToHost: omif_MIFtoObject failed");
    EXPECT_EQ(chain[1], L"omif_MIFtoObject: omif_MIFtoShort failed");
    EXPECT_EQ(chain[2], L"omif_MIFtoShort: Error reported by function ofio_ReadSeq");
    EXPECT_TRUE(chain[3].starts_with(L"ofio_ReadSeq:"));

    // Writing to a read-only stream.
    const int32_t value[2] = {5, 0};
    EXPECT_EQ(omif_ConvertToMIF(stream, value, design.get(), nullptr, 0, &err), 0);
    chain = Chain(err);
    ASSERT_GE(chain.size(), 3u);
    EXPECT_EQ(chain[0], L"omif_ConvertToMIF: omif_ObjectToMIF failed");
    EXPECT_EQ(chain[1], L"omif_ObjectToMIF: omif_LongToMIF failed");
    EXPECT_EQ(chain[2], L"omif_LongToMIF: Error reported by function ofio_FileWriteSequential");
    ofio_FileClose(stream, nullptr);

    // A buffer too small for the record.
    unsigned char small[5];
    Omif_Buffer buffer{small, 5, 0, 0};
    EXPECT_EQ(omif_ConvertToMIF(nullptr, value, design.get(), &buffer, 0, &err), 4);
    chain = Chain(err);
    EXPECT_EQ(chain.back(), L"omif_ShortToMIF: Write past the end of the buffer");

    EXPECT_EQ(omif_ConvertToMIF(nullptr, nullptr, design.get(), &buffer, 0, &err), 0);
    EXPECT_EQ(Chain(err), std::vector<std::wstring>{L"omif_ConvertToMIF: Invalid object"});
    EXPECT_EQ(omif_ConvertToHostX(nullptr, &buffer, nullptr, host, &err), 0);
    EXPECT_EQ(Chain(err),
              std::vector<std::wstring>{L"omif_ConvertToHostX: Invalid object or design!"});
}

TEST(MifObjectConvert, ImmediateFlushPutsTheRecordInTheFile) {
    DesignPtr design = Make(L"All", kAllItems);
    TempFile file;
    Oerr_ErrorReport *err = nullptr;
    Ofio_File *stream = ofio_FileOpen(file.Wide().c_str(), L"w", &err);
    ASSERT_NE(stream, nullptr);
    All a{};
    a.d = 4.0;
    omif_StreamImmediateFlushEnable();
    EXPECT_EQ(omif_ConvertToMIF(stream, &a, design.get(), nullptr, 0, &err), 64);
    omif_StreamImmediateFlushDisable();
    ASSERT_EQ(err, nullptr);
    std::ifstream in(file.Path(), std::ios::binary);
    const std::string raw((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    EXPECT_EQ(raw.size(), 64u);
    ofio_FileClose(stream, nullptr);
}
