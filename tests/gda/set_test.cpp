// Region sets (numbers and strings), reallocation both ways, clipping and printing.
#include <cstring>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <orvik/ogda.h>

#include "tests/gda/gda_test_util.hpp"

namespace {

std::vector<int> Bytes(const Ogda_BaseData *o, int n) {
    const auto *p = static_cast<const uint8_t *>(o->data);
    return std::vector<int>(p, p + n);
}

std::wstring StringAt(const Ogda_BaseData *o, int i) {
    const wchar_t *s = static_cast<wchar_t **>(o->data)[i];
    return s ? s : L"<null>";
}

TEST(BaseDataSet, RegionsOnARaster) {
    ReportHolder err;
    Ogda_BaseData *o = ogda_BaseDataCreate(3, 3, OGDA_U8, Ogda_Raster, nullptr, err);
    const uint8_t one = 1, seq[] = {7, 8, 9};
    ASSERT_EQ(ogda_BaseDataSetScalar(o, &one, OGDA_REGION_ALL, 0, err), o);
    EXPECT_EQ(Bytes(o, 9), (std::vector<int>{1, 1, 1, 1, 1, 1, 1, 1, 1}));
    ASSERT_EQ(ogda_BaseDataSet(o, seq, OGDA_REGION_DIAGONAL, 0, err), o);
    EXPECT_EQ(Bytes(o, 9), (std::vector<int>{7, 1, 1, 1, 8, 1, 1, 1, 9}));
    ASSERT_EQ(ogda_BaseDataSet(o, seq, OGDA_REGION_ROW, 1, err), o);
    EXPECT_EQ(Bytes(o, 9), (std::vector<int>{7, 1, 1, 7, 8, 9, 1, 1, 9}));
    ASSERT_EQ(ogda_BaseDataSet(o, seq, OGDA_REGION_COLUMN, 2, err), o);
    EXPECT_EQ(Bytes(o, 9), (std::vector<int>{7, 1, 7, 7, 8, 8, 1, 1, 9}));
    // Increment 2 takes every other source value.
    const uint8_t wide[] = {1, 0, 2, 0, 3};
    ASSERT_EQ(ogda_BaseDataSetBoth(o, wide, OGDA_REGION_ROW, 0, 2, err), o);
    EXPECT_EQ(Bytes(o, 3), (std::vector<int>{1, 2, 3}));
    ogda_BaseDataDelete(o, err);
}

TEST(BaseDataSet, MatrixValuesRunDownColumns) {
    ReportHolder err;
    Ogda_BaseData *m = ogda_BaseDataCreate(2, 3, OGDA_S16, Ogda_Matrix, nullptr, err);
    const int16_t values[] = {1, 2, 3, 4, 5, 6};
    ASSERT_EQ(ogda_BaseDataSet(m, values, OGDA_REGION_ALL, 0, err), m);
    const int16_t row[] = {-1, -2, -3};
    ASSERT_EQ(ogda_BaseDataSet(m, row, OGDA_REGION_ROW, 1, err), m);
    const int16_t *p = static_cast<int16_t *>(m->data);
    EXPECT_EQ(std::vector<int>(p, p + 6), (std::vector<int>{1, -1, 3, -2, 5, -3}));
    ogda_BaseDataDelete(m, err);
}

TEST(BaseDataSet, WholeViewWithReplicationKeepsNeighbours) {
    ReportHolder err;
    Ogda_BaseData *o = ogda_BaseDataCreate(3, 4, OGDA_U8, Ogda_Raster, nullptr, err);
    Ogda_BaseData *v = ogda_BaseDataDerived(o, 1, 1, 2, 2, err);
    const uint8_t five = 5;
    ASSERT_EQ(ogda_BaseDataSetScalar(v, &five, OGDA_REGION_ALL, 0, err), v);
    EXPECT_EQ(Bytes(o, 12), (std::vector<int>{0, 0, 0, 0, 0, 5, 5, 0, 0, 5, 5, 0}));
    ogda_BaseDataDelete(v, err);
    ogda_BaseDataDelete(o, err);
}

TEST(BaseDataSet, StringRegionsCopyEachElement) {
    ReportHolder err;
    Ogda_BaseData *o = ogda_BaseDataCreate(2, 2, OGDA_STRING, Ogda_Raster, nullptr, err);
    const wchar_t *x = L"x";
    ASSERT_EQ(ogda_BaseDataSetScalar(o, &x, OGDA_REGION_ALL, 0, err), o);
    auto **s = static_cast<wchar_t **>(o->data);
    EXPECT_STREQ(s[3], L"x");
    EXPECT_NE(s[0], s[1]); // each element its own copy, even when replicated
    EXPECT_NE(s[0], x);
    const wchar_t *col[] = {L"top", L"bottom"};
    ASSERT_EQ(ogda_BaseDataSet(o, col, OGDA_REGION_COLUMN, 1, err), o);
    const wchar_t *diag[] = {nullptr, L"d"};
    ASSERT_EQ(ogda_BaseDataSet(o, diag, OGDA_REGION_DIAGONAL, 0, err), o);
    EXPECT_EQ(StringAt(o, 0), L"<null>");
    EXPECT_EQ(StringAt(o, 1), L"top");
    EXPECT_EQ(StringAt(o, 2), L"x");
    EXPECT_EQ(StringAt(o, 3), L"d");
    ogda_BaseDataDelete(o, err); // the replaced strings were freed on the way (leak check)
}

TEST(BaseDataSet, Errors) {
    ReportHolder err;
    Ogda_BaseData *o = ogda_BaseDataCreate(2, 3, OGDA_U8, Ogda_Raster, nullptr, err);
    const uint8_t v[3] = {};
    EXPECT_EQ(ogda_BaseDataSet(o, v, OGDA_REGION_DIAGONAL, 0, err), nullptr);
    ASSERT_NE(err.get(), nullptr);
    EXPECT_STREQ(err.get()->function, L"ogda_BaseDataSetBoth");
    EXPECT_EQ(err.get()->number, 2);
    EXPECT_EQ(ogda_BaseDataSet(o, v, OGDA_REGION_ROW, 2, err), nullptr);
    ExpectReport(err.get(), L"ogda_BaseDataSetBoth", 3, L"Bad index 2");
    EXPECT_EQ(ogda_BaseDataSet(o, v, OGDA_REGION_COLUMN, -1, err), nullptr);
    ExpectReport(err.get(), L"ogda_BaseDataSetBoth", 3, L"Bad index -1");
    EXPECT_EQ(ogda_BaseDataSet(o, v, 4, 0, err), nullptr);
    ExpectReport(err.get(), L"ogda_BaseDataSetBoth", 4, L"Bad region 4");
    EXPECT_EQ(ogda_BaseDataSet(o, nullptr, OGDA_REGION_ALL, 0, err), nullptr);
    ExpectReport(err.get(), L"ogda_BaseDataSetBoth", 1, L"Null BaseData or values");
    ogda_BaseDataDelete(o, err);
}

TEST(BaseDataReallocate, InPlaceKeepsPositionsAndZeroesNewElements) {
    ReportHolder err;
    Ogda_BaseData *o = ogda_BaseDataCreate(2, 3, OGDA_U8, Ogda_Raster, nullptr, err);
    const uint8_t v[] = {1, 2, 3, 4, 5, 6};
    ogda_BaseDataSet(o, v, OGDA_REGION_ALL, 0, err);
    o->tag = 3;
    ASSERT_EQ(ogda_BaseDataReallocate(o, 4, 3, err), o);
    EXPECT_EQ(o->numrows, 4);
    EXPECT_EQ(o->numelements, 12);
    EXPECT_EQ(o->lineBytes, 3);
    EXPECT_EQ(o->data, o->dataStart);
    EXPECT_EQ(o->tag, 3u);
    EXPECT_EQ(Bytes(o, 12), (std::vector<int>{1, 2, 3, 4, 5, 6, 0, 0, 0, 0, 0, 0}));
    ExpectBlockSize(o->data, 16); // 4 rows x 4 padded columns
    ASSERT_EQ(ogda_BaseDataReallocate(o, 1, 3, err), o);
    EXPECT_EQ(Bytes(o, 3), (std::vector<int>{1, 2, 3}));
    ogda_BaseDataDelete(o, err);
}

TEST(BaseDataReallocate, NewColumnCountCopiesTheOverlap) {
    ReportHolder err;
    Ogda_BaseData *o = ogda_BaseDataCreate(2, 3, OGDA_S32, Ogda_Raster, nullptr, err);
    const int32_t v[] = {1, 2, 3, 4, 5, 6};
    ogda_BaseDataSet(o, v, OGDA_REGION_ALL, 0, err);
    ASSERT_EQ(ogda_BaseDataReallocate(o, 3, 2, err), o);
    EXPECT_EQ(o->lineBytes, 8);
    EXPECT_EQ(o->derivedFlag, 0);
    const int32_t *p = static_cast<int32_t *>(o->data);
    EXPECT_EQ(std::vector<int32_t>(p, p + 6), (std::vector<int32_t>{1, 2, 4, 5, 0, 0}));

    Ogda_BaseData *m = ogda_BaseDataCreate(2, 2, OGDA_S32, Ogda_Matrix, nullptr, err);
    ogda_BaseDataSet(m, v, OGDA_REGION_ALL, 0, err);
    ASSERT_EQ(ogda_BaseDataReallocate(m, 2, 3, err), m); // same rows: in place
    p = static_cast<int32_t *>(m->data);
    EXPECT_EQ(std::vector<int32_t>(p, p + 6), (std::vector<int32_t>{1, 2, 3, 4, 0, 0}));
    ASSERT_EQ(ogda_BaseDataReallocate(m, 1, 3, err), m); // fewer rows: copied
    EXPECT_EQ(m->lineBytes, 4);
    p = static_cast<int32_t *>(m->data);
    EXPECT_EQ(std::vector<int32_t>(p, p + 3), (std::vector<int32_t>{1, 3, 0}));
    ogda_BaseDataDelete(m, err);
    ogda_BaseDataDelete(o, err);
}

TEST(BaseDataReallocate, StringsAreReleasedOrKept) {
    ReportHolder err;
    Ogda_BaseData *t = ogda_BaseDataCreate(4, 1, OGDA_STRING, Ogda_Table, nullptr, err);
    const wchar_t *v[] = {L"a", L"b", L"c", L"d"};
    ogda_BaseDataSet(t, v, OGDA_REGION_ALL, 0, err);
    ASSERT_EQ(ogda_BaseDataReallocate(t, 2, 1, err), t); // c and d are freed
    ASSERT_EQ(ogda_BaseDataReallocate(t, 5, 1, err), t); // the new tail is null, not stale
    EXPECT_EQ(StringAt(t, 1), L"b");
    EXPECT_EQ(StringAt(t, 2), L"<null>");
    EXPECT_EQ(StringAt(t, 4), L"<null>");

    Ogda_BaseData *r = ogda_BaseDataCreate(2, 2, OGDA_STRING, Ogda_Raster, nullptr, err);
    ogda_BaseDataSet(r, v, OGDA_REGION_ALL, 0, err);
    ASSERT_EQ(ogda_BaseDataReallocate(r, 2, 1, err), r); // copy path: old strings freed
    EXPECT_EQ(StringAt(r, 0), L"a");
    EXPECT_EQ(StringAt(r, 1), L"c");
    ogda_BaseDataDelete(r, err);
    ogda_BaseDataDelete(t, err);
}

TEST(BaseDataReallocate, RefusesViewsAndBadShapesAndSurvivesFailure) {
    ReportHolder err;
    EXPECT_EQ(ogda_BaseDataReallocate(nullptr, 2, 2, err), nullptr);
    EXPECT_EQ(err.get(), nullptr);
    Ogda_BaseData *o = ogda_BaseDataCreate(2, 2, OGDA_U8, Ogda_Raster, nullptr, err);
    Ogda_BaseData *v = ogda_BaseDataDerived(o, 0, 0, 1, 1, err);
    EXPECT_EQ(ogda_BaseDataReallocate(v, 3, 3, err), nullptr);
    ExpectReport(err.get(), L"ogda_BaseDataReallocate", 2, L"BaseData must own its data");
    EXPECT_EQ(ogda_BaseDataReallocate(o, 0, 3, err), nullptr);
    ExpectReport(err.get(), L"ogda_BaseDataReallocate", 1, L"Bad nRows or nColumns");
    const uint8_t v4[] = {1, 2, 3, 4};
    ogda_BaseDataSet(o, v4, OGDA_REGION_ALL, 0, err);
    for (long n = 1; n <= 2; ++n) {
        orvik::core::testing::ScopedAllocationFailure fail(n);
        EXPECT_EQ(ogda_BaseDataReallocate(o, 3, 3, err), nullptr);
        EXPECT_NE(err.get(), nullptr);
    }
    EXPECT_EQ(o->numcolumns, 2); // unchanged after the failures
    EXPECT_EQ(Bytes(o, 4), (std::vector<int>{1, 2, 3, 4}));
    ogda_BaseDataDelete(v, err);
    ogda_BaseDataDelete(o, err);
}

TEST(BaseDataStats, SignedValuesViewsAndTheByteFallback) {
    ReportHolder err;
    int16_t s16[] = {-5, 7, 0};
    Ogda_BaseData *o = ogda_BaseDataCreate(1, 3, OGDA_S16, Ogda_Raster, s16, err);
    double mn = 99, mx = 99;
    ogda_BaseDataStats(o, 3, 1, &mn, &mx);
    EXPECT_EQ(mn, -5);
    EXPECT_EQ(mx, 7);
    ogda_BaseDataStats(o, 3, 0, &mn, &mx); // no lines: the first element
    EXPECT_EQ(mn, -5);
    EXPECT_EQ(mx, -5);
    ogda_BaseDataDelete(o, err);

    // Lines follow lineBytes: a 2 x 2 view of a 3 x 4 u32 raster.
    uint32_t big[12] = {9, 9, 9, 9, 9, 4000000000u, 1, 9, 9, 2, 3, 9};
    Ogda_BaseData *whole = ogda_BaseDataCreate(3, 4, OGDA_U32, Ogda_Raster, big, err);
    Ogda_BaseData *v = ogda_BaseDataDerived(whole, 1, 1, 2, 2, err);
    ogda_BaseDataStats(v, 2, 2, &mn, &mx);
    EXPECT_EQ(mn, 1);
    EXPECT_EQ(mx, 4000000000.0);
    ogda_BaseDataDelete(v, err);
    ogda_BaseDataDelete(whole, err);

    // c64 (-1.0f, 2.0f): raw bytes 00 00 80 bf 00 00 00 40; the first 8 bytes are compared.
    float c[4] = {-1.0f, 2.0f, 0.0f, 0.0f};
    Ogda_BaseData *z = ogda_BaseDataCreate(1, 2, OGDA_C64, Ogda_Raster, c, err);
    ogda_BaseDataStats(z, 8, 1, &mn, &mx);
    EXPECT_EQ(mn, 0);
    EXPECT_EQ(mx, 0xbf);
    ogda_BaseDataStats(z, 2, 1, &mn, &mx); // 2 bytes only
    EXPECT_EQ(mx, 0);
    ogda_BaseDataDelete(z, err);

    double f[] = {2.5, -1e300, 7};
    Ogda_BaseData *d = ogda_BaseDataCreate(3, 1, OGDA_F64, Ogda_Table, f, err);
    ogda_BaseDataStats(d, 1, 3, &mn, &mx);
    EXPECT_EQ(mn, -1e300);
    EXPECT_EQ(mx, 7);
    // Counts beyond the shape stop at its edge.
    ogda_BaseDataStats(d, 50, 50, &mn, &mx);
    EXPECT_EQ(mx, 7);
    ogda_BaseDataDelete(d, err);
}

TEST(BaseDataClip, ClampsIntoTheRange) {
    ReportHolder err;
    int16_t s[] = {-300, -2, 0, 5, 400};
    Ogda_BaseData *o = ogda_BaseDataCreate(1, 5, OGDA_S16, Ogda_Raster, s, err);
    ASSERT_EQ(ogda_BaseDataClip(o, -1.5, 100.9, err), o);
    EXPECT_EQ(std::vector<int>(s, s + 5), (std::vector<int>{-1, -1, 0, 5, 100}));
    EXPECT_EQ(ogda_BaseDataClip(o, 0.2, 0.8, err), nullptr);
    ExpectReport(err.get(), L"ogda_BaseDataClip", 4, L"Range holds no s16 value");
    EXPECT_EQ(ogda_BaseDataClip(o, 3, 2, err), nullptr);
    ExpectReport(err.get(), L"ogda_BaseDataClip", 2, L"Bad range");
    ogda_BaseDataDelete(o, err);

    double c[] = {-5, 50, 0.5, 0.25, 1, 1, 9, 9};
    Ogda_BaseData *z = ogda_BaseDataCreate(2, 2, OGDA_C128, Ogda_Matrix, c, err);
    ASSERT_EQ(ogda_BaseDataClip(z, 0, 1, err), z);
    EXPECT_EQ(std::vector<double>(c, c + 8), (std::vector<double>{0, 1, 0.5, 0.25, 1, 1, 1, 1}));
    ogda_BaseDataDelete(z, err);

    Ogda_BaseData *t = ogda_BaseDataCreate(1, 1, OGDA_STRING, Ogda_Scalar, nullptr, err);
    EXPECT_EQ(ogda_BaseDataClip(t, 0, 1, err), nullptr);
    ExpectReport(err.get(), L"ogda_BaseDataClip", 3, L"Cannot clip string data");
    ogda_BaseDataDelete(t, err);
}

TEST(BaseDataPrint, BannerLabelsAndElements) {
    ReportHolder err;
    Ogda_BaseData *o = ogda_BaseDataCreate(2, 2, OGDA_C64, Ogda_Matrix, nullptr, err);
    const float v[] = {1, -1, 2, 0, 3, 0, 4, 0.5f};
    ogda_BaseDataSet(o, v, OGDA_REGION_ALL, 0, err);
    testing::internal::CaptureStdout();
    ogda_BaseDataPrint(o, err);
    const std::string out = testing::internal::GetCapturedStdout();
    EXPECT_EQ(out, "            ==============  BaseData ===============\n\n"
                   "     numelements = 4  \n"
                   "     numrows     = 2  \n"
                   "     numcolumns  = 2  \n"
                   "     numbytes    = 8  \n"
                   "     datatype    = 11  \n"
                   "     objecttype  = 2  \n"
                   "     derivedFlag  = 0  \n\n"
                   "(1.000000e+00, -1.000000e+00) (3.000000e+00, 0.000000e+00) \n"
                   "(2.000000e+00, 0.000000e+00) (4.000000e+00, 5.000000e-01) \n"
                   "\n");
    ogda_BaseDataDelete(o, err);
}

} // namespace
