// Small matrix routines (LU decomposition, division, inversion) for f32, f64, c64 and c128,
// and the geometry module's matrix create, copy and delete.
#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <cstring>
#include <vector>

#include <orvik/ofga.h>
#include <orvik/ogda.h>

#include "core/heap_seam.hpp"

namespace {

using Z = std::complex<double>;

// Checks the head record and releases the chain.
void ExpectMatrixReport(Oerr_ErrorReport *&err, const wchar_t *function, int number,
                        const wchar_t *message) {
    ASSERT_NE(err, nullptr) << "expected a report from " << function;
    EXPECT_STREQ(err->function, function);
    EXPECT_EQ(err->number, number);
    EXPECT_EQ(err->kind, OERR_KIND_ERROR);
    EXPECT_STREQ(err->message, message);
    oerr_DeleteErrorReportEx(&err);
}

struct Deleter {
    void operator()(Ogda_BaseData *o) const { ogda_BaseDataDelete(o, nullptr); }
};
using Object = std::unique_ptr<Ogda_BaseData, Deleter>;

// Element (r, c) of a matrix lies at data + c * lineBytes + r * numbytes; of any other object
// type at data + r * lineBytes + c * numbytes.
unsigned char *At(const Ogda_BaseData *o, int r, int c) {
    auto *base = static_cast<unsigned char *>(o->data);
    return o->objecttype == Ogda_Matrix ? base + c * o->lineBytes + r * o->numbytes
                                        : base + r * o->lineBytes + c * o->numbytes;
}

template <class T> void Write(unsigned char *p, T v) { std::memcpy(p, &v, sizeof v); }
template <class T> T ReadAs(const unsigned char *p) {
    T v;
    std::memcpy(&v, p, sizeof v);
    return v;
}

void Put(Ogda_BaseData *o, int r, int c, Z v) {
    unsigned char *p = At(o, r, c);
    switch (o->datatype) {
    case OGDA_S32:
        return Write(p, static_cast<int32_t>(v.real()));
    case OGDA_F32:
        return Write(p, static_cast<float>(v.real()));
    case OGDA_F64:
        return Write(p, v.real());
    case OGDA_C64:
        return Write(p, std::complex<float>(v));
    case OGDA_C128:
        return Write(p, v);
    default:
        FAIL() << "no test writer for pixel type " << o->datatype;
    }
}

Z Get(const Ogda_BaseData *o, int r, int c) {
    const unsigned char *p = At(o, r, c);
    switch (o->datatype) {
    case OGDA_F32:
        return ReadAs<float>(p);
    case OGDA_F64:
        return ReadAs<double>(p);
    case OGDA_C64:
        return Z(ReadAs<std::complex<float>>(p));
    default:
        return ReadAs<Z>(p);
    }
}

using Rows = std::vector<std::vector<Z>>;

Object Make(Ogda_PixelType type, const Rows &rows, Ogda_ObjectType objecttype = Ogda_Matrix) {
    Oerr_ErrorReport *err = nullptr;
    Object o(ogda_BaseDataCreate(static_cast<int32_t>(rows.size()),
                                 static_cast<int32_t>(rows[0].size()), type, objecttype, nullptr,
                                 &err));
    EXPECT_EQ(err, nullptr);
    for (size_t r = 0; r < rows.size(); ++r) {
        for (size_t c = 0; c < rows[r].size(); ++c) {
            Put(o.get(), static_cast<int>(r), static_cast<int>(c), rows[r][c]);
        }
    }
    return o;
}

Rows Read(const Ogda_BaseData *o) {
    Rows rows(o->numrows, std::vector<Z>(o->numcolumns));
    for (int r = 0; r < o->numrows; ++r) {
        for (int c = 0; c < o->numcolumns; ++c) {
            rows[r][c] = Get(o, r, c);
        }
    }
    return rows;
}

void ExpectNear(const Rows &actual, const Rows &expected, double tolerance) {
    ASSERT_EQ(actual.size(), expected.size());
    for (size_t r = 0; r < actual.size(); ++r) {
        ASSERT_EQ(actual[r].size(), expected[r].size());
        for (size_t c = 0; c < actual[r].size(); ++c) {
            EXPECT_NEAR(std::abs(actual[r][c] - expected[r][c]), 0, tolerance)
                << "(" << r << "," << c << ") " << actual[r][c] << " vs " << expected[r][c];
        }
    }
}

template <Ogda_PixelType P> struct Kind {
    static constexpr Ogda_PixelType type = P;
    static constexpr double tolerance = P == OGDA_F32 || P == OGDA_C64 ? 2e-6 : 1e-13;
};
using Kinds = ::testing::Types<Kind<OGDA_F32>, Kind<OGDA_F64>, Kind<OGDA_C64>, Kind<OGDA_C128>>;

template <class K> class MatrixRoutines : public ::testing::Test {};
TYPED_TEST_SUITE(MatrixRoutines, Kinds);

TYPED_TEST(MatrixRoutines, LUPivotsOnTheLargestMagnitude) {
    Object a = Make(TypeParam::type, {{1, 2}, {3, 4}});
    int32_t pivots[2] = {-1, -1};
    int32_t sign = 0;
    Oerr_ErrorReport *err = nullptr;
    ASSERT_EQ(ogda_MatrixLUDecomposition(a.get(), pivots, &sign, &err), a.get());
    EXPECT_EQ(err, nullptr);
    EXPECT_EQ(pivots[0], 1);
    EXPECT_EQ(pivots[1], 0);
    EXPECT_EQ(sign, -1);
    ExpectNear(Read(a.get()), {{3, 4}, {1.0 / 3, 2.0 / 3}}, TypeParam::tolerance);
}

TYPED_TEST(MatrixRoutines, LUFactorsReproduceThePermutedMatrix) {
    const Rows original = {{2, 1, 1, 0}, {4, -6, 0, 1}, {-2, 7, 2, 5}, {1, 1, 1, 1}};
    Object a = Make(TypeParam::type, original);
    int32_t pivots[4];
    int32_t sign = 0;
    Oerr_ErrorReport *err = nullptr;
    ASSERT_NE(ogda_MatrixLUDecomposition(a.get(), pivots, &sign, &err), nullptr);
    const Rows lu = Read(a.get());
    Rows product(4, std::vector<Z>(4));
    Z det = static_cast<double>(sign);
    for (int i = 0; i < 4; ++i) {
        det *= lu[i][i];
        for (int j = 0; j < 4; ++j) {
            for (int k = 0; k <= std::min(i, j); ++k) {
                product[i][j] += (k == i ? Z(1) : lu[i][k]) * lu[k][j];
            }
        }
        for (int j = 0; j < i; ++j) {
            EXPECT_LE(std::abs(lu[i][j]), 1.0); // partial pivoting keeps multipliers <= 1
        }
    }
    Rows permuted;
    for (int i = 0; i < 4; ++i) {
        permuted.push_back(original[pivots[i]]);
    }
    ExpectNear(product, permuted, 8 * TypeParam::tolerance);
    EXPECT_NEAR(std::abs(det - Z(19)), 0, 64 * TypeParam::tolerance);
}

TYPED_TEST(MatrixRoutines, InvertsIntoNewOrGivenMatrix) {
    const Rows tridiagonal = {{2, -1, 0}, {-1, 2, -1}, {0, -1, 2}};
    const Rows inverse = {{0.75, 0.5, 0.25}, {0.5, 1, 0.5}, {0.25, 0.5, 0.75}};
    Object a = Make(TypeParam::type, tridiagonal);
    Oerr_ErrorReport *err = nullptr;
    Object inv(ogda_MatrixInvert(a.get(), nullptr, &err));
    ASSERT_NE(inv, nullptr);
    EXPECT_EQ(inv->objecttype, Ogda_Matrix);
    EXPECT_EQ(inv->datatype, TypeParam::type);
    ExpectNear(Read(inv.get()), inverse, TypeParam::tolerance);
    ExpectNear(Read(a.get()), tridiagonal, 0); // input untouched

    // In place, and through a view whose lines are longer than its column.
    ASSERT_EQ(ogda_MatrixInvert(a.get(), a.get(), &err), a.get());
    ExpectNear(Read(a.get()), inverse, TypeParam::tolerance);
    Object big = Make(TypeParam::type, {{4, 7, 9}, {2, 6, 9}, {9, 9, 9}});
    Object view(ogda_BaseDataDerived(big.get(), 0, 0, 2, 2, &err));
    ASSERT_NE(view, nullptr);
    Object viewInverse(ogda_MatrixInvert(view.get(), nullptr, &err));
    ASSERT_NE(viewInverse, nullptr);
    ExpectNear(Read(viewInverse.get()), {{0.6, -0.7}, {-0.2, 0.4}}, TypeParam::tolerance);
}

TYPED_TEST(MatrixRoutines, DivideSolvesForEveryColumn) {
    const Rows a = {{3, 2, -1}, {2, -2, 4}, {-1, 0.5, -1}};
    const Rows x = {{1, 2}, {-2, 0}, {-2, 0.5}};
    Rows b(3, std::vector<Z>(2));
    for (int r = 0; r < 3; ++r) {
        for (int c = 0; c < 2; ++c) {
            for (int k = 0; k < 3; ++k) {
                b[r][c] += a[r][k] * x[k][c];
            }
        }
    }
    Object ma = Make(TypeParam::type, a);
    Object mb = Make(TypeParam::type, b);
    Oerr_ErrorReport *err = nullptr;
    Object mx(ogda_MatrixDivide(ma.get(), mb.get(), nullptr, &err));
    ASSERT_NE(mx, nullptr);
    EXPECT_EQ(mx->objecttype, Ogda_Matrix);
    ExpectNear(Read(mx.get()), x, 4 * TypeParam::tolerance);

    // One right-hand side as a table, solved into itself.
    Object column = Make(TypeParam::type, {{b[0][0]}, {b[1][0]}, {b[2][0]}}, Ogda_Table);
    ASSERT_EQ(ogda_MatrixDivide(ma.get(), column.get(), column.get(), &err), column.get());
    ExpectNear(Read(column.get()), {{1}, {-2}, {-2}}, 4 * TypeParam::tolerance);
}

TYPED_TEST(MatrixRoutines, SingularMatricesAreReportedAndLeftAlone) {
    const Rows cases[] = {{{1, 2}, {2, 4}}, {{1, 2, 3}, {4, 5, 6}, {7, 8, 9}}, {{0, 0}, {0, 0}}};
    for (const Rows &rows : cases) {
        Object a = Make(TypeParam::type, rows);
        Object b = Make(TypeParam::type, Rows(rows.size(), std::vector<Z>{1}));
        int32_t pivots[3];
        Oerr_ErrorReport *err = nullptr;
        EXPECT_EQ(ogda_MatrixLUDecomposition(a.get(), pivots, nullptr, &err), nullptr);
        ExpectMatrixReport(err, L"ogda_MatrixLUDecomposition", 6, L"The matrix is singular");
        ExpectNear(Read(a.get()), rows, 0);
        EXPECT_EQ(ogda_MatrixInvert(a.get(), nullptr, &err), nullptr);
        ExpectMatrixReport(err, L"ogda_MatrixInvert", 6, L"The matrix is singular");
        EXPECT_EQ(ogda_MatrixDivide(a.get(), b.get(), b.get(), &err), nullptr);
        ExpectMatrixReport(err, L"ogda_MatrixDivide", 6, L"The matrix is singular");
        ExpectNear(Read(b.get()), Rows(rows.size(), std::vector<Z>{1}), 0);
    }
}

TYPED_TEST(MatrixRoutines, ShapeAndTypeMismatchesAreReported) {
    Object wide = Make(TypeParam::type, {{1, 2, 3}, {4, 5, 6}});
    int32_t pivots[3];
    Oerr_ErrorReport *err = nullptr;
    EXPECT_EQ(ogda_MatrixLUDecomposition(wide.get(), pivots, nullptr, &err), nullptr);
    ExpectMatrixReport(err, L"ogda_MatrixLUDecomposition", 4, L"The matrix is not square (2 x 3)");
    EXPECT_EQ(ogda_MatrixInvert(wide.get(), nullptr, &err), nullptr);
    ExpectMatrixReport(err, L"ogda_MatrixInvert", 4, L"The matrix is not square (2 x 3)");

    Object a = Make(TypeParam::type, {{2, 0}, {0, 2}});
    const Ogda_PixelType other = TypeParam::type == OGDA_F64 ? OGDA_F32 : OGDA_F64;
    Object otherType = Make(other, {{1}, {1}});
    EXPECT_EQ(ogda_MatrixDivide(a.get(), otherType.get(), nullptr, &err), nullptr);
    ExpectMatrixReport(err, L"ogda_MatrixDivide", 3,
                       L"The data type is not matched between the input and output data");
    Object threeRows = Make(TypeParam::type, {{1}, {1}, {1}});
    EXPECT_EQ(ogda_MatrixDivide(a.get(), threeRows.get(), nullptr, &err), nullptr);
    ExpectMatrixReport(err, L"ogda_MatrixDivide", 4,
                       L"The data size is not matched between the input and output data");
    Object b = Make(TypeParam::type, {{1}, {1}});
    Object tableX = Make(TypeParam::type, {{0}, {0}}, Ogda_Table);
    EXPECT_EQ(ogda_MatrixDivide(a.get(), b.get(), tableX.get(), &err), nullptr);
    ExpectMatrixReport(err, L"ogda_MatrixDivide", 2,
                       L"The object type is not matched between the input and output data");

    Object smaller = Make(TypeParam::type, {{0}});
    EXPECT_EQ(ogda_MatrixInvert(a.get(), smaller.get(), &err), nullptr);
    ExpectMatrixReport(err, L"ogda_MatrixInvert", 4,
                       L"The data size is not matched between the input and output data");
    Object otherInverse = Make(other, {{0, 0}, {0, 0}});
    EXPECT_EQ(ogda_MatrixInvert(a.get(), otherInverse.get(), &err), nullptr);
    ExpectMatrixReport(err, L"ogda_MatrixInvert", 3,
                       L"The data type is not matched between the input and output data");
}

TEST(MatrixRoutines, ComplexValuesWithPivoting) {
    const Rows a = {{0, Z(1, 1)}, {2, 3}};
    const Rows inverse = {{Z(-0.75, 0.75), 0.5}, {Z(0.5, -0.5), 0}};
    for (Ogda_PixelType type : {OGDA_C64, OGDA_C128}) {
        Object m = Make(type, a);
        Oerr_ErrorReport *err = nullptr;
        Object inv(ogda_MatrixInvert(m.get(), nullptr, &err));
        ASSERT_NE(inv, nullptr);
        ExpectNear(Read(inv.get()), inverse, 1e-7);
        // Dividing by a solves back to the columns of the identity.
        Object e = Make(type, {{0}, {1}});
        Object x(ogda_MatrixDivide(m.get(), e.get(), nullptr, &err));
        ASSERT_NE(x, nullptr);
        ExpectNear(Read(x.get()), {{0.5}, {0}}, 1e-7);
    }
}

TEST(MatrixRoutines, RejectsWhatIsNotAUsableMatrix) {
    Oerr_ErrorReport *err = nullptr;
    int32_t pivots[2];
    EXPECT_EQ(ogda_MatrixLUDecomposition(nullptr, pivots, nullptr, &err), nullptr);
    ExpectMatrixReport(err, L"ogda_MatrixLUDecomposition", 1, L"Null matrix");
    Object a = Make(OGDA_F64, {{1, 0}, {0, 1}});
    EXPECT_EQ(ogda_MatrixLUDecomposition(a.get(), nullptr, nullptr, &err), nullptr);
    ExpectMatrixReport(err, L"ogda_MatrixLUDecomposition", 1, L"Null pivot array");
    EXPECT_EQ(ogda_MatrixDivide(a.get(), nullptr, nullptr, &err), nullptr);
    ExpectMatrixReport(err, L"ogda_MatrixDivide", 1, L"Null right-hand side");

    Object integers = Make(OGDA_S32, {{1, 0}, {0, 1}});
    EXPECT_EQ(ogda_MatrixInvert(integers.get(), nullptr, &err), nullptr);
    ExpectMatrixReport(err, L"ogda_MatrixInvert", 3,
                       L"Pixel type 8 is not supported (f32, f64, c64 and c128 only)");
    Object raster = Make(OGDA_F64, {{1, 0}, {0, 1}}, Ogda_Raster);
    EXPECT_EQ(ogda_MatrixInvert(raster.get(), nullptr, &err), nullptr);
    ExpectMatrixReport(err, L"ogda_MatrixInvert", 2, L"The object is not a matrix");

    Object nan = Make(OGDA_F64, {{1, 0}, {0, std::nan("")}});
    EXPECT_EQ(ogda_MatrixInvert(nan.get(), nullptr, &err), nullptr);
    ExpectMatrixReport(err, L"ogda_MatrixInvert", 7,
                       L"The matrix holds a value that is not finite");

    // The order is checked before anything is read or allocated.
    double cell = 0;
    Ogda_BaseData huge{};
    huge.numrows = huge.numcolumns = 50000;
    huge.datatype = OGDA_F64;
    huge.objecttype = Ogda_Matrix;
    huge.data = huge.dataStart = &cell;
    EXPECT_EQ(ogda_MatrixInvert(&huge, nullptr, &err), nullptr);
    ExpectMatrixReport(err, L"ogda_MatrixInvert", 4,
                       L"The matrix is too large (50000 x 50000, at most 2048)");
}

TEST(MatrixRoutines, FailedResultCreationIsWrapped) {
    Object a = Make(OGDA_F64, {{2, 0}, {0, 4}});
    Oerr_ErrorReport *err = nullptr;
    {
        orvik::core::testing::ScopedAllocationFailure fail(1);
        EXPECT_EQ(ogda_MatrixInvert(a.get(), nullptr, &err), nullptr);
    }
    ASSERT_NE(err, nullptr);
    ASSERT_NE(err->next, nullptr);
    EXPECT_STREQ(err->next->function, L"ogda_BaseDataCreate");
    EXPECT_EQ(err->next->number, OERR_NUMBER_OUT_OF_MEMORY);
    ExpectMatrixReport(err, L"ogda_MatrixInvert", 8, L"ogda_BaseDataCreate failed");
}

TEST(GeometryMatrix, CreateGivesAZeroColumnMajorMatrix) {
    Oerr_ErrorReport *err = nullptr;
    Object m(ofga_MatrixCreate(3, 2, OGDA_F64, &err));
    ASSERT_NE(m, nullptr);
    EXPECT_EQ(m->objecttype, Ogda_Matrix);
    EXPECT_EQ(m->lineBytes, 24);
    EXPECT_EQ(m->derivedFlag, 0);
    ExpectNear(Read(m.get()), Rows(3, std::vector<Z>(2)), 0);

    EXPECT_EQ(ofga_MatrixCreate(0, 2, OGDA_F64, &err), nullptr);
    ExpectMatrixReport(err, L"ofga_MatrixCreate", 1, L"Bad nRows or nColumns (0 x 2)");
    EXPECT_EQ(ofga_MatrixCreate(2, 2, OGDA_STRING, &err), nullptr);
    ExpectMatrixReport(err, L"ofga_MatrixCreate", 2, L"Pixel type 13 is not a numeric pixel type");
    EXPECT_EQ(ofga_MatrixCreate(65536, 65536, OGDA_F64, &err), nullptr);
    ASSERT_NE(err, nullptr);
    ASSERT_NE(err->next, nullptr);
    EXPECT_STREQ(err->next->function, L"ogda_BaseDataCreate");
    ExpectMatrixReport(err, L"ofga_MatrixCreate", 3, L"ogda_BaseDataCreate failed");
}

TEST(GeometryMatrix, CopyKeepsShapeAndConvertsType) {
    Object source = Make(OGDA_F64, {{1.5, -2}, {3, 4.25}, {5, 6}});
    Oerr_ErrorReport *err = nullptr;
    Object copy(ofga_MatrixCopy(source.get(), nullptr, &err));
    ASSERT_NE(copy, nullptr);
    EXPECT_NE(copy->data, source->data);
    EXPECT_EQ(copy->datatype, OGDA_F64);
    ExpectNear(Read(copy.get()), Read(source.get()), 0);

    Object single(ofga_MatrixCreate(3, 2, OGDA_F32, &err));
    EXPECT_EQ(ofga_MatrixCopy(source.get(), single.get(), &err), single.get());
    ExpectNear(Read(single.get()), Read(source.get()), 0);

    Object wrongShape(ofga_MatrixCreate(2, 3, OGDA_F64, &err));
    EXPECT_EQ(ofga_MatrixCopy(source.get(), wrongShape.get(), &err), nullptr);
    ExpectMatrixReport(err, L"ofga_MatrixCopy", 3,
                       L"The data size is not matched between the input and output data");
    Object table = Make(OGDA_F64, {{1}, {2}, {3}}, Ogda_Table);
    EXPECT_EQ(ofga_MatrixCopy(table.get(), nullptr, &err), nullptr);
    ExpectMatrixReport(err, L"ofga_MatrixCopy", 2,
                       L"The object type is not matched between the input and output data");
    EXPECT_EQ(ofga_MatrixCopy(nullptr, nullptr, &err), nullptr);
    ExpectMatrixReport(err, L"ofga_MatrixCopy", 1, L"Null source matrix");
}

TEST(GeometryMatrix, DeleteReleasesOwnersAndViews) {
    Oerr_ErrorReport *err = nullptr;
    Ogda_BaseData *m = ofga_MatrixCreate(4, 4, OGDA_C128, &err);
    Ogda_BaseData *view = ogda_BaseDataDerived(m, 1, 1, 2, 2, &err);
    ofga_MatrixDelete(view, &err);
    EXPECT_EQ(err, nullptr);
    ofga_MatrixDelete(m, &err);
    EXPECT_EQ(err, nullptr);
    ofga_MatrixDelete(nullptr, &err);
    EXPECT_EQ(err, nullptr);
}

} // namespace
