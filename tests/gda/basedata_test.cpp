// Pixel-type tables, creation, layout rules, derived views and deletion.
#include <cstring>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <orvik/ogda.h>

#include "tests/gda/gda_test_util.hpp"

namespace {

TEST(PixelTypes, TablesAndNames) {
    const int32_t *bits = omsc_AddressOf_ogda_NumBitsPerPixel();
    const int32_t *bytes = omsc_AddressOf_ogda_NumBytesPerPixel();
    const int32_t expectBits[] = {1, 2, 4, 8, 8, 16, 16, 32, 32, 32, 64, 64, 128, 32};
    const int32_t expectBytes[] = {1, 1, 1, 1, 1, 2, 2, 4, 4, 4, 8, 8, 16};
    for (int t = 0; t < OGDA_PIXEL_TYPE_COUNT; ++t) EXPECT_EQ(bits[t], expectBits[t]) << t;
    for (int t = 0; t < 13; ++t) EXPECT_EQ(bytes[t], expectBytes[t]) << t;
    EXPECT_EQ(bytes[OGDA_STRING], static_cast<int32_t>(sizeof(void *)));
    EXPECT_EQ(ogda_NumBytePerPixelFromType(OGDA_C128), 16);
    EXPECT_EQ(ogda_NumBytePerPixelFromType(static_cast<Ogda_PixelType>(14)), 0);

    const double *mn = omsc_AddressOf_ogda_IntegerMinValue();
    const double *mx = omsc_AddressOf_ogda_IntegerMaxValue();
    EXPECT_EQ(mx[OGDA_U4], 15.0);
    EXPECT_EQ(mn[OGDA_S8], -128.0);
    EXPECT_EQ(mx[OGDA_U32], 4294967295.0);
    EXPECT_EQ(mn[OGDA_S32], -2147483648.0);

    const wchar_t *const *names = omsc_AddressOf_ogda_PixelTypeName();
    EXPECT_STREQ(names[OGDA_C128], L"c128");
    for (int t = 0; t < OGDA_PIXEL_TYPE_COUNT; ++t) EXPECT_EQ(ogda_PixelTypeFromName(names[t]), t);
    EXPECT_EQ(ogda_PixelTypeFromName(L"U16"), OGDA_U16);
    EXPECT_EQ(ogda_PixelTypeFromName(L"STRING"), OGDA_STRING);
    EXPECT_EQ(ogda_PixelTypeFromName(L"u12"), OGDA_PIXEL_INVALID);
    EXPECT_EQ(ogda_PixelTypeFromName(L"u"), OGDA_PIXEL_INVALID);
    EXPECT_EQ(ogda_PixelTypeFromName(nullptr), OGDA_PIXEL_INVALID);
    EXPECT_STREQ(ogda_PixelNameFromType(OGDA_S16), L"s16");
    EXPECT_EQ(ogda_PixelNameFromType(static_cast<Ogda_PixelType>(14)), nullptr);
    EXPECT_EQ(ogda_PixelNameFromType(OGDA_PIXEL_INVALID), nullptr);
}

TEST(BaseDataCreate, RasterPaddingAndLineBytes) {
    ReportHolder err;
    Ogda_BaseData *o = ogda_BaseDataCreate(3, 5, OGDA_U8, Ogda_Raster, nullptr, err);
    ASSERT_NE(o, nullptr);
    EXPECT_EQ(err.get(), nullptr);
    EXPECT_EQ(o->lineBytes, 5);
    EXPECT_EQ(o->numelements, 15);
    EXPECT_EQ(o->numbytes, 1);
    EXPECT_EQ(o->derivedFlag, 0);
    EXPECT_EQ(o->tag, 0u);
    EXPECT_EQ(o->data, o->dataStart);
    ExpectBlockSize(o->data, 24); // 3 x 8, not 3 x 5
    ogda_BaseDataDelete(o, err);

    // Other object types are not padded.
    o = ogda_BaseDataCreate(3, 5, OGDA_U8, Ogda_Table, nullptr, err);
    ExpectBlockSize(o->data, 15);
    ogda_BaseDataDelete(o, err);
}

TEST(BaseDataCreate, MatrixIsColumnMajor) {
    ReportHolder err;
    Ogda_BaseData *m = ogda_BaseDataCreate(4, 3, OGDA_F64, Ogda_Matrix, nullptr, err);
    ASSERT_NE(m, nullptr);
    EXPECT_EQ(m->lineBytes, 32);
    double value = 7.5;
    ASSERT_NE(ogda_BaseDataSetScalar(m, &value, OGDA_REGION_ALL, 0, err), nullptr);
    // Set row 1 to 1, 2, 3 and find element (1,2) at 2 x 32 + 1 x 8.
    const double row[] = {1, 2, 3};
    ASSERT_NE(ogda_BaseDataSet(m, row, OGDA_REGION_ROW, 1, err), nullptr);
    double at;
    std::memcpy(&at, static_cast<unsigned char *>(m->data) + 2 * 32 + 1 * 8, sizeof at);
    EXPECT_EQ(at, 3.0);
    ogda_BaseDataDelete(m, err);
}

TEST(BaseDataCreate, LayoutOfEveryObjectType) {
    ReportHolder err;
    // 3 x 2 s16: a matrix line is a column (3 x 2 bytes), every other line a row (2 x 2 bytes).
    // (A scalar is 1 x 1 only.)
    const int32_t expectLineBytes[] = {4, 4, 6, 4};
    for (int ot = Ogda_Table; ot < OGDA_OBJECT_TYPE_COUNT; ++ot) {
        Ogda_BaseData *o =
            ogda_BaseDataCreate(3, 2, OGDA_S16, static_cast<Ogda_ObjectType>(ot), nullptr, err);
        ASSERT_NE(o, nullptr);
        EXPECT_EQ(o->lineBytes, expectLineBytes[ot]) << ot;
        ExpectBlockSize(o->data, ot == Ogda_Raster ? 24 : 12);
        const int16_t column[] = {10, 11, 12};
        ASSERT_EQ(ogda_BaseDataSet(o, column, OGDA_REGION_COLUMN, 1, err), o);
        const int16_t *p = static_cast<int16_t *>(o->data);
        const std::vector<int> expect = ot == Ogda_Matrix ? std::vector<int>{0, 0, 0, 10, 11, 12}
                                                          : std::vector<int>{0, 10, 0, 11, 0, 12};
        EXPECT_EQ(std::vector<int>(p, p + 6), expect) << ot;
        ogda_BaseDataDelete(o, err);
    }
}

TEST(BaseDataCreate, AdoptsCallerDataAndRejectsBadArguments) {
    ReportHolder err;
    int16_t block[6] = {};
    Ogda_BaseData *o = ogda_BaseDataCreate(2, 3, OGDA_S16, Ogda_Raster, block, err);
    ASSERT_NE(o, nullptr);
    EXPECT_EQ(o->data, block);
    EXPECT_EQ(o->dataStart, block);
    EXPECT_EQ(o->derivedFlag, 1);
    EXPECT_EQ(o->lineBytes, 6);
    ogda_BaseDataDelete(o, err); // must not free the caller's block

    EXPECT_EQ(ogda_BaseDataCreate(1, 1, static_cast<Ogda_PixelType>(14), Ogda_Scalar, nullptr, err),
              nullptr);
    ExpectReport(err.get(), L"ogda_BaseDataCreate", 3,
                 L"incoming datatype is not a valid OGDA datatype");
    EXPECT_EQ(ogda_BaseDataCreate(-1, 1, OGDA_U8, Ogda_Raster, nullptr, err), nullptr);
    ExpectReport(err.get(), L"ogda_BaseDataCreate", 4, L"Bad nRows or nColumns");
    // 65536 x 65536 bytes does not fit the heap's 32-bit sizes: refused, never attempted.
    EXPECT_EQ(ogda_BaseDataCreate(65536, 65536, OGDA_U8, Ogda_Raster, nullptr, err), nullptr);
    ExpectReport(err.get(), L"ogda_BaseDataCreate", 4, L"Bad nRows or nColumns");
}

TEST(BaseDataCreate, AllocationFailuresAreReported) {
    ReportHolder err;
    {
        orvik::core::testing::ScopedAllocationFailure fail(1);
        EXPECT_EQ(ogda_BaseDataCreate(2, 2, OGDA_U8, Ogda_Raster, nullptr, err), nullptr);
    }
    ExpectReport(err.get(), L"ogda_BaseDataCreate", 5,
                 L"calloc could not allocate space for Ogda_BaseData structure");
    {
        orvik::core::testing::ScopedAllocationFailure fail(2);
        EXPECT_EQ(ogda_BaseDataCreate(2, 2, OGDA_U8, Ogda_Raster, nullptr, err), nullptr);
    }
    ExpectReport(err.get(), L"ogda_BaseDataCreate", 5,
                 L"calloc could not allocate space for Ogda_BaseData data");
}

TEST(BaseDataReCreate, OnlyReshapesDerivedObjects) {
    ReportHolder err;
    float block[12] = {};
    Ogda_BaseData *o = ogda_BaseDataReCreate(nullptr, 2, 6, OGDA_F32, Ogda_Raster, block, err);
    ASSERT_NE(o, nullptr);
    EXPECT_EQ(o->derivedFlag, 1);
    EXPECT_EQ(ogda_BaseDataReCreate(o, 3, 4, OGDA_F32, Ogda_Matrix, nullptr, err), o);
    EXPECT_EQ(o->numrows, 3);
    EXPECT_EQ(o->numcolumns, 4);
    EXPECT_EQ(o->lineBytes, 12); // a matrix line is a column of 3 floats
    EXPECT_EQ(o->numelements, 12);
    EXPECT_EQ(o->data, block);
    EXPECT_EQ(ogda_BaseDataReCreate(o, 2, 2, OGDA_U16, Ogda_Raster, block + 4, err), o);
    EXPECT_EQ(o->data, block + 4);
    EXPECT_EQ(o->dataStart, block + 4);
    EXPECT_EQ(o->numbytes, 2);
    EXPECT_EQ(o->lineBytes, 4);

    EXPECT_EQ(ogda_BaseDataReCreate(o, 0, 2, OGDA_U16, Ogda_Raster, nullptr, err), o);
    ExpectReport(err.get(), L"ogda_BaseDataReCreate", 1, L"Bad nRows or nColumns");
    ogda_BaseDataDelete(o, err);

    Ogda_BaseData *owner = ogda_BaseDataReCreate(nullptr, 2, 2, OGDA_U8, Ogda_Raster, nullptr, err);
    ASSERT_NE(owner, nullptr);
    EXPECT_EQ(owner->derivedFlag, 0);
    EXPECT_EQ(ogda_BaseDataReCreate(owner, 1, 1, OGDA_U8, Ogda_Raster, nullptr, err), nullptr);
    ExpectReport(err.get(), L"ogda_BaseDataReCreate", 3, L"srcBaseData must be derived");
    ogda_BaseDataDelete(owner, err);

    EXPECT_EQ(ogda_BaseDataReCreate(nullptr, 1, 1, static_cast<Ogda_PixelType>(20), Ogda_Raster,
                                    nullptr, err),
              nullptr);
    ExpectReport(err.get(), L"ogda_BaseDataReCreate", 2, L"ogda_BaseDataCreate failed");
    ASSERT_NE(err.get()->next, nullptr);
    EXPECT_STREQ(err.get()->next->function, L"ogda_BaseDataCreate");
}

TEST(BaseDataDerive, WindowOffsetsFollowTheLayout) {
    ReportHolder err;
    for (Ogda_ObjectType ot : {Ogda_Raster, Ogda_Matrix}) {
        Ogda_BaseData *o = ogda_BaseDataCreate(3, 3, OGDA_S32, ot, nullptr, err);
        ASSERT_NE(o, nullptr);
        o->tag = 0xabcd;
        Ogda_BaseData *v = ogda_BaseDataDerived(o, 1, 1, 2, 2, err);
        ASSERT_NE(v, nullptr) << ot;
        EXPECT_EQ(v->derivedFlag, 1);
        EXPECT_EQ(v->lineBytes, 12);
        EXPECT_EQ(v->tag, 0xabcdu);
        EXPECT_EQ(v->numelements, 4);
        EXPECT_EQ(v->objecttype, ot);
        // (1,1) of a 3 x 3 s32 object lies 1 x 12 + 1 x 4 bytes in, for either layout.
        EXPECT_EQ(static_cast<unsigned char *>(v->data) - static_cast<unsigned char *>(o->data),
                  16);
        EXPECT_EQ(v->dataStart, v->data);
        Ogda_BaseData *w = ogda_BaseDataReDerive(o, v, 0, 2, 3, 1, err);
        EXPECT_EQ(w, v);
        const ptrdiff_t expect = ot == Ogda_Matrix ? 2 * 12 : 2 * 4;
        EXPECT_EQ(static_cast<unsigned char *>(v->data) - static_cast<unsigned char *>(o->data),
                  expect);
        ogda_BaseDataDelete(v, err);
        ogda_BaseDataDelete(o, err);
    }
}

TEST(BaseDataDerive, ChecksInOrder) {
    ReportHolder err;
    Ogda_BaseData *o = ogda_BaseDataCreate(3, 3, OGDA_U8, Ogda_Raster, nullptr, err);
    EXPECT_EQ(ogda_BaseDataDerived(o, 2, 2, 2, 2, err), nullptr);
    ExpectReport(err.get(), L"ogda_BaseDataDerived", 1, L"ogda_BaseDataReDerive failed");
    ExpectReport(err.get()->next, L"ogda_BaseDataReDerive", 4, L"srcBaseData is too small");

    Ogda_BaseData view{};
    EXPECT_EQ(ogda_BaseDataReDerive(nullptr, &view, 0, 0, 1, 1, err), &view);
    ExpectReport(err.get(), L"ogda_BaseDataReDerive", 1, L"Null srcBaseData");
    EXPECT_EQ(ogda_BaseDataReDerive(o, &view, -1, 0, 0, 1, err), &view);
    ExpectReport(err.get(), L"ogda_BaseDataReDerive", 2, L"Bad nRows or nColumns");
    EXPECT_EQ(ogda_BaseDataReDerive(o, &view, -1, 0, 1, 1, err), &view);
    ExpectReport(err.get(), L"ogda_BaseDataReDerive", 3, L"Bad rOffset or cOffset");
    EXPECT_EQ(ogda_BaseDataReDerive(o, &view, 0, 2, 1, 2, err), &view);
    ExpectReport(err.get(), L"ogda_BaseDataReDerive", 4, L"srcBaseData is too small");
    EXPECT_EQ(view.data, nullptr); // untouched on failure
    // An offset near INT32_MAX must not wrap around the bounds test.
    EXPECT_EQ(ogda_BaseDataReDerive(o, &view, 0x7fffffff, 0, 1, 1, err), &view);
    ExpectReport(err.get(), L"ogda_BaseDataReDerive", 4, L"srcBaseData is too small");
    ogda_BaseDataDelete(o, err);
}

TEST(BaseDataDelete, FreesStringsOfOwnersOnly) {
    ReportHolder err;
    Ogda_BaseData *o = ogda_BaseDataCreate(2, 2, OGDA_STRING, Ogda_Raster, nullptr, err);
    ASSERT_NE(o, nullptr);
    const wchar_t *text = L"tree";
    ASSERT_NE(ogda_BaseDataSetScalar(o, &text, OGDA_REGION_ALL, 0, err), nullptr);
    Ogda_BaseData *v = ogda_BaseDataDerived(o, 0, 0, 1, 1, err);
    ogda_BaseDataDelete(v, err); // a view frees nothing: the strings stay readable
    EXPECT_STREQ(static_cast<wchar_t **>(o->data)[3], L"tree");
    ogda_BaseDataDeleteContents(o, err);
    EXPECT_EQ(o->data, nullptr);
    EXPECT_EQ(o->dataStart, nullptr);
    ogda_BaseDataDelete(o, err); // LeakSanitizer checks that all four strings went
    ogda_BaseDataDelete(nullptr, err);
    EXPECT_EQ(err.get(), nullptr);
}

TEST(Window, CreateCopyDelete) {
    ReportHolder err;
    Ogda_Window *w = ogda_WindowCreate(1, 2, 3, 4, err);
    ASSERT_NE(w, nullptr);
    EXPECT_EQ(w->rOffset, 1);
    EXPECT_EQ(w->nColumns, 4);
    Ogda_Window *c = ogda_WindowCopy(w, nullptr, err);
    ASSERT_NE(c, nullptr);
    EXPECT_EQ(std::memcmp(c, w, sizeof *w), 0);
    Ogda_Window local{};
    EXPECT_EQ(ogda_WindowCopy(w, &local, err), &local);
    EXPECT_EQ(local.cOffset, 2);
    EXPECT_EQ(ogda_WindowCopy(nullptr, &local, err), nullptr);
    ExpectReport(err.get(), L"ogda_WindowCopy", 1, L"Null source window");
    ogda_WindowDelete(c);
    ogda_WindowDelete(w);
}

} // namespace
