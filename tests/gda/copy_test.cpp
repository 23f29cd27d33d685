// Copy and CopyExt: overlap extents, whole-block and line-by-line paths, conversion, errors.
#include <cstring>
#include <vector>

#include <gtest/gtest.h>

#include <orvik/ogda.h>

#include "tests/gda/gda_test_util.hpp"

namespace {

template <class T> T &At(const Ogda_BaseData *o, int r, int c) {
    auto *base = static_cast<unsigned char *>(o->data);
    return *reinterpret_cast<T *>(o->objecttype == Ogda_Matrix
                                      ? base + c * o->lineBytes + r * o->numbytes
                                      : base + r * o->lineBytes + c * o->numbytes);
}

TEST(BaseDataCopy, TableOverlapConvertsExactlyTheShorterLength) {
    ReportHolder err;
    int16_t src[10] = {-5, 300, 7, 255, 9, 9, 9, 9, 9, 9};
    uint8_t dst[5] = {0, 0, 0, 0, 0xee};
    Ogda_BaseData *s = ogda_BaseDataCreate(10, 1, OGDA_S16, Ogda_Table, src, err);
    Ogda_BaseData *d = ogda_BaseDataCreate(4, 1, OGDA_U8, Ogda_Table, dst, err);
    s->tag = 77;
    EXPECT_EQ(ogda_BaseDataCopy(s, d, err), d);
    EXPECT_EQ(err.get(), nullptr);
    EXPECT_EQ(std::vector<int>(dst, dst + 5), (std::vector<int>{0, 255, 7, 255, 0xee}));
    EXPECT_EQ(d->tag, 77u);
    ogda_BaseDataDelete(s, err);
    ogda_BaseDataDelete(d, err);
}

TEST(BaseDataCopy, NullDestinationIsCreatedLikeTheSource) {
    ReportHolder err;
    Ogda_BaseData *s = ogda_BaseDataCreate(3, 5, OGDA_F32, Ogda_Raster, nullptr, err);
    for (int r = 0; r < 3; ++r)
        for (int c = 0; c < 5; ++c) At<float>(s, r, c) = r * 10.0f + c;
    s->tag = 5;
    Ogda_BaseData *d = ogda_BaseDataCopy(s, nullptr, err);
    ASSERT_NE(d, nullptr);
    EXPECT_EQ(d->derivedFlag, 0);
    EXPECT_EQ(d->datatype, OGDA_F32);
    EXPECT_EQ(d->objecttype, Ogda_Raster);
    EXPECT_EQ(d->tag, 5u);
    EXPECT_EQ(std::memcmp(d->data, s->data, 15 * sizeof(float)), 0);
    ogda_BaseDataDelete(d, err);
    ogda_BaseDataDelete(s, err);
}

TEST(BaseDataCopy, IntoAViewGoesLineByLineAndLeavesTheRestAlone) {
    ReportHolder err;
    Ogda_BaseData *big = ogda_BaseDataCreate(4, 6, OGDA_U16, Ogda_Raster, nullptr, err);
    const uint16_t fill = 0xffff;
    ogda_BaseDataSetScalar(big, &fill, OGDA_REGION_ALL, 0, err);
    Ogda_BaseData *view = ogda_BaseDataDerived(big, 1, 2, 2, 3, err);
    Ogda_BaseData *s = ogda_BaseDataCreate(3, 3, OGDA_F64, Ogda_Raster, nullptr, err);
    for (int r = 0; r < 3; ++r)
        for (int c = 0; c < 3; ++c) At<double>(s, r, c) = 100.0 * r + c + 0.75;
    ASSERT_EQ(ogda_BaseDataCopy(s, view, err), view);
    // The 2 x 3 overlap lands at rows 1-2, columns 2-4 of the big array, truncated.
    for (int r = 0; r < 4; ++r)
        for (int c = 0; c < 6; ++c) {
            const bool inside = r >= 1 && r <= 2 && c >= 2 && c <= 4;
            EXPECT_EQ(At<uint16_t>(big, r, c), inside ? 100 * (r - 1) + (c - 2) : 0xffff)
                << r << "," << c;
        }
    ogda_BaseDataDelete(s, err);
    ogda_BaseDataDelete(view, err);
    ogda_BaseDataDelete(big, err);
}

TEST(BaseDataCopy, MatrixOverlapFollowsColumns) {
    ReportHolder err;
    Ogda_BaseData *s = ogda_BaseDataCreate(3, 2, OGDA_S32, Ogda_Matrix, nullptr, err);
    Ogda_BaseData *d = ogda_BaseDataCreate(2, 3, OGDA_S32, Ogda_Matrix, nullptr, err);
    for (int r = 0; r < 3; ++r)
        for (int c = 0; c < 2; ++c) At<int32_t>(s, r, c) = 10 * r + c + 1;
    ASSERT_EQ(ogda_BaseDataCopy(s, d, err), d);
    const int32_t *m = static_cast<int32_t *>(d->data);
    // Column-major 2 x 3: (0,0) (1,0) (0,1) (1,1) (0,2) (1,2); column 2 is outside the overlap.
    EXPECT_EQ(std::vector<int32_t>(m, m + 6), (std::vector<int32_t>{1, 11, 2, 12, 0, 0}));
    ogda_BaseDataDelete(s, err);
    ogda_BaseDataDelete(d, err);
}

TEST(BaseDataCopy, StringsAreDuplicatedAndReplaced) {
    ReportHolder err;
    Ogda_BaseData *s = ogda_BaseDataCreate(1, 2, OGDA_STRING, Ogda_Raster, nullptr, err);
    const wchar_t *texts[] = {L"alpha", L"beta"};
    ogda_BaseDataSet(s, texts, OGDA_REGION_ALL, 0, err);
    Ogda_BaseData *d = ogda_BaseDataCopy(s, nullptr, err);
    ASSERT_NE(d, nullptr);
    EXPECT_STREQ(static_cast<wchar_t **>(d->data)[1], L"beta");
    EXPECT_NE(static_cast<wchar_t **>(d->data)[1], static_cast<wchar_t **>(s->data)[1]);
    // Copying again replaces (frees) the destination's strings; numbers become text.
    Ogda_BaseData *n = ogda_BaseDataCreate(1, 2, OGDA_S8, Ogda_Raster, nullptr, err);
    const int8_t values[] = {-3, 4};
    ogda_BaseDataSet(n, values, OGDA_REGION_ALL, 0, err);
    ASSERT_EQ(ogda_BaseDataCopy(n, d, err), d);
    EXPECT_STREQ(static_cast<wchar_t **>(d->data)[0], L"-3");
    ogda_BaseDataDelete(n, err);
    ogda_BaseDataDelete(d, err);
    ogda_BaseDataDelete(s, err);
}

TEST(BaseDataCopy, Errors) {
    ReportHolder err;
    EXPECT_EQ(ogda_BaseDataCopy(nullptr, nullptr, err), nullptr);
    ExpectReport(err.get(), L"ogda_BaseDataCopy", 1, L"source BaseData is NULL !");
    Ogda_BaseData *s = ogda_BaseDataCreate(2, 2, OGDA_U8, Ogda_Raster, nullptr, err);
    Ogda_BaseData *d = ogda_BaseDataCreate(2, 2, OGDA_U8, Ogda_Matrix, nullptr, err);
    EXPECT_EQ(ogda_BaseDataCopy(s, d, err), nullptr);
    ExpectReport(err.get(), L"ogda_BaseDataCopy", 3,
                 L"the object type is not the same for input and output");
    {
        orvik::core::testing::ScopedAllocationFailure fail(2);
        EXPECT_EQ(ogda_BaseDataCopy(s, nullptr, err), nullptr);
    }
    ExpectReport(err.get(), L"ogda_BaseDataCopy", 2, L"ogda_BaseDataCreate failed");
    ExpectReport(err.get()->next, L"ogda_BaseDataCreate", 5,
                 L"calloc could not allocate space for Ogda_BaseData data");
    ogda_BaseDataDelete(s, err);
    ogda_BaseDataDelete(d, err);
}

TEST(BaseDataCopyExt, WindowToWindowWithRounding) {
    ReportHolder err;
    Ogda_BaseData *s = ogda_BaseDataCreate(3, 4, OGDA_F32, Ogda_Raster, nullptr, err);
    for (int r = 0; r < 3; ++r)
        for (int c = 0; c < 4; ++c) At<float>(s, r, c) = 10.0f * r + c + 0.5f;
    Ogda_BaseData *d = ogda_BaseDataCreate(4, 4, OGDA_S16, Ogda_Raster, nullptr, err);
    ASSERT_EQ(ogda_BaseDataCopyExt(s, 1, 2, d, 2, 0, 2, 2, OMSC_TRUE, err), d);
    EXPECT_EQ(At<int16_t>(d, 2, 0), 13); // 12.5 rounds half away from zero
    EXPECT_EQ(At<int16_t>(d, 2, 1), 14);
    EXPECT_EQ(At<int16_t>(d, 3, 0), 23);
    EXPECT_EQ(At<int16_t>(d, 3, 1), 24);
    EXPECT_EQ(At<int16_t>(d, 2, 2), 0);
    EXPECT_EQ(At<int16_t>(d, 1, 0), 0);
    ASSERT_EQ(ogda_BaseDataCopyExt(s, 1, 2, d, 0, 0, 1, 1, OMSC_FALSE, err), d);
    EXPECT_EQ(At<int16_t>(d, 0, 0), 12);

    Ogda_BaseData *fresh = ogda_BaseDataCopyExt(s, 0, 1, nullptr, 0, 0, 3, 2, OMSC_FALSE, err);
    ASSERT_NE(fresh, nullptr);
    EXPECT_EQ(fresh->numrows, 3);
    EXPECT_EQ(fresh->numcolumns, 2);
    EXPECT_EQ(fresh->datatype, OGDA_F32);
    EXPECT_EQ(At<float>(fresh, 2, 1), 22.5f);
    ogda_BaseDataDelete(fresh, err);

    EXPECT_EQ(ogda_BaseDataCopyExt(s, 2, 0, d, 0, 0, 2, 1, OMSC_FALSE, err), nullptr);
    ExpectReport(err.get(), L"ogda_BaseDataCopyExt", 4, L"source window exceeds source BaseData");
    EXPECT_EQ(ogda_BaseDataCopyExt(s, 0, 0, d, 3, 3, 2, 1, OMSC_FALSE, err), nullptr);
    ExpectReport(err.get(), L"ogda_BaseDataCopyExt", 7,
                 L"destination window exceeds destination BaseData");
    EXPECT_EQ(ogda_BaseDataCopyExt(s, 0, 0, nullptr, 1, 0, 1, 1, OMSC_FALSE, err), nullptr);
    ExpectReport(err.get(), L"ogda_BaseDataCopyExt", 3, L"Bad row or column offset");
    EXPECT_EQ(ogda_BaseDataCopyExt(s, 0, 0, d, 0, 0, 0, 1, OMSC_FALSE, err), nullptr);
    ExpectReport(err.get(), L"ogda_BaseDataCopyExt", 2, L"Bad nRows or nColumns");
    ogda_BaseDataDelete(s, err);
    ogda_BaseDataDelete(d, err);
}

TEST(BaseDataCopyExt, MatrixWindow) {
    ReportHolder err;
    Ogda_BaseData *s = ogda_BaseDataCreate(3, 3, OGDA_F64, Ogda_Matrix, nullptr, err);
    for (int r = 0; r < 3; ++r)
        for (int c = 0; c < 3; ++c) At<double>(s, r, c) = 10.0 * r + c;
    Ogda_BaseData *d = ogda_BaseDataCreate(2, 2, OGDA_C128, Ogda_Matrix, nullptr, err);
    ASSERT_EQ(ogda_BaseDataCopyExt(s, 1, 1, d, 0, 0, 2, 2, OMSC_FALSE, err), d);
    const double *m = static_cast<double *>(d->data);
    EXPECT_EQ(std::vector<double>(m, m + 8), (std::vector<double>{11, 0, 21, 0, 12, 0, 22, 0}));
    ogda_BaseDataDelete(s, err);
    ogda_BaseDataDelete(d, err);
}

} // namespace
