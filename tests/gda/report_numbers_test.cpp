// Reports of the raster-data functions: the number and text each failure point carries, and
// the conventional "Out of memory" where a function names no allocation message of its own.
#include <gtest/gtest.h>

#include <orvik/ofga.h>
#include <orvik/ogda.h>

#include "core/heap_seam.hpp"
#include "tests/gda/gda_test_util.hpp"

using orvik::core::testing::ScopedAllocationFailure;

TEST(GdaReports, ReallocateNumbersItsFailurePoints) {
    ReportHolder err;
    Ogda_BaseData *table = ogda_BaseDataCreate(2, 1, OGDA_U8, Ogda_Table, nullptr, err);
    {
        ScopedAllocationFailure fail(1); // growing in place
        EXPECT_EQ(ogda_BaseDataReallocate(table, 64, 1, err), nullptr);
    }
    ExpectReport(err.get(), L"ogda_BaseDataReallocate", 5, L"Out of memory");
    EXPECT_EQ(table->numrows, 2);

    Ogda_BaseData *raster = ogda_BaseDataCreate(2, 2, OGDA_U8, Ogda_Raster, nullptr, err);
    {
        ScopedAllocationFailure fail(1); // the new shape's object
        EXPECT_EQ(ogda_BaseDataReallocate(raster, 3, 3, err), nullptr);
    }
    ExpectReport(err.get(), L"ogda_BaseDataReallocate", 3, L"ogda_BaseDataCreate failed");
    ASSERT_NE(err.get()->next, nullptr);
    EXPECT_EQ(err.get()->next->number, 5);
    EXPECT_STREQ(err.get()->next->message,
                 L"calloc could not allocate space for Ogda_BaseData structure");
    ogda_BaseDataDelete(raster, err);
    ogda_BaseDataDelete(table, err);
}

TEST(GdaReports, StackCopiesAndStackArraysRunOutOfMemoryConventionally) {
    ReportHolder err;
    Ogda_BaseDataStack *s = ogda_BaseDataStackCreate(2, 1, 1, OGDA_U8, Ogda_Scalar, err);
    ASSERT_NE(s, nullptr);
    {
        ScopedAllocationFailure fail(1);
        EXPECT_EQ(ogda_BaseDataStackCopy(s, nullptr, err), nullptr);
    }
    ExpectReport(err.get(), L"ogda_BaseDataStackCopy", 5, L"Out of memory");
    {
        ScopedAllocationFailure fail(1);
        EXPECT_EQ(ogda_BaseDataStackArrayCreate(2, 1, 1, 1, OGDA_U8, Ogda_Scalar, err), nullptr);
    }
    ExpectReport(err.get(), L"ogda_BaseDataStackArrayCreate", 5, L"Out of memory");
    // The stack's own creation keeps its documented text and number.
    {
        ScopedAllocationFailure fail(1);
        EXPECT_EQ(ogda_BaseDataStackCreate(2, 1, 1, OGDA_U8, Ogda_Scalar, err), nullptr);
    }
    ExpectReport(err.get(), L"ogda_BaseDataStackCreate", 1, L"can't allocate space");
    ogda_BaseDataStackDelete(s, err);
}

TEST(GdaReports, MatrixChecksShareTheirNumbersAcrossFunctions) {
    ReportHolder err;
    Ogda_BaseData *m = ofga_MatrixCreate(2, 3, OGDA_F64, err);
    ASSERT_NE(m, nullptr);
    int32_t pivots[3] = {};
    int32_t sign = 0;
    EXPECT_EQ(ogda_MatrixLUDecomposition(m, pivots, &sign, err), nullptr);
    ExpectReport(err.get(), L"ogda_MatrixLUDecomposition", 4, L"The matrix is not square (2 x 3)");
    EXPECT_EQ(ogda_MatrixInvert(m, nullptr, err), nullptr);
    ExpectReport(err.get(), L"ogda_MatrixInvert", 4, L"The matrix is not square (2 x 3)");
    Ogda_BaseData *t = ogda_BaseDataCreate(2, 2, OGDA_F64, Ogda_Table, nullptr, err);
    EXPECT_EQ(ogda_MatrixInvert(t, nullptr, err), nullptr);
    ExpectReport(err.get(), L"ogda_MatrixInvert", 2, L"The object is not a matrix");
    ogda_BaseDataDelete(t, err);
    ofga_MatrixDelete(m, err);
}
