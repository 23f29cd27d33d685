// Stacks and stack arrays: sizes, contiguity, copies, views, deletion and whole-stack sets.
#include <cstring>
#include <vector>

#include <gtest/gtest.h>

#include <orvik/ogda.h>

#include "tests/gda/gda_test_util.hpp"

namespace {

TEST(BaseDataStackSize, DataSizeAndMaxElements) {
    ReportHolder err;
    EXPECT_EQ(ogda_BaseDataStackDataSize(2, 3, 5, OGDA_U8, Ogda_Raster, err), 48);
    EXPECT_EQ(ogda_BaseDataStackDataSize(2, 3, 5, OGDA_U8, Ogda_Table, err), 32);
    EXPECT_EQ(ogda_BaseDataStackDataSize(3, 1, 1, OGDA_C128, Ogda_Scalar, err), 48);
    EXPECT_EQ(ogda_BaseDataStackDataSize(1, 3, 3, OGDA_S16, Ogda_Matrix, err), 24);
    EXPECT_EQ(ogda_BaseDataStackMaxElements(48, 2, OGDA_U8, Ogda_Raster, err), 24);
    EXPECT_EQ(ogda_BaseDataStackMaxElements(100, 3, OGDA_F32, Ogda_Table, err), 8); // 33 -> 32 -> 8
    EXPECT_EQ(err.get(), nullptr);
    EXPECT_EQ(ogda_BaseDataStackDataSize(0, 3, 5, OGDA_U8, Ogda_Raster, err), 0);
    ExpectReport(err.get(), L"ogda_BaseDataStackDataSize", 1, L"Args");
    EXPECT_EQ(ogda_BaseDataStackDataSize(1, 3, 5, OGDA_U8, static_cast<Ogda_ObjectType>(4), err),
              0);
    ExpectReport(err.get(), L"ogda_BaseDataStackDataSize", 1, L"Args");
    EXPECT_EQ(ogda_BaseDataStackDataSize(4, 32768, 32768, OGDA_U8, Ogda_Raster, err), 0);
    ExpectReport(err.get(), L"ogda_BaseDataStackDataSize", 1, L"Args");
    EXPECT_EQ(
        ogda_BaseDataStackMaxElements(10, 1, OGDA_STRING, static_cast<Ogda_ObjectType>(-1), err),
        0);
    ExpectReport(err.get(), L"ogda_BaseDataStackMaxElements", 1, L"Args");
}

TEST(BaseDataStack, ContiguousLayersShareOneAlignedBlock) {
    ReportHolder err;
    Ogda_BaseDataStack *s =
        ogda_BaseDataStackCreateContiguous(3, 3, 5, OGDA_U8, Ogda_Raster, nullptr, err);
    ASSERT_NE(s, nullptr);
    EXPECT_EQ(s->count, 3);
    EXPECT_EQ(s->layersShared, 0);
    EXPECT_NE(s->ownsBlock, 0);
    ExpectBlockSize(s->layers[0]->data, 72);
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(s->layers[i]->derivedFlag, 1);
        EXPECT_EQ(static_cast<unsigned char *>(s->layers[i]->dataStart) -
                      static_cast<unsigned char *>(s->layers[0]->dataStart),
                  24 * i);
    }
    EXPECT_EQ(ogda_BaseDataStackIsContiguous(s), OMSC_TRUE);
    // A layer of another shape breaks contiguity.
    s->layers[2]->numcolumns = 4;
    EXPECT_EQ(ogda_BaseDataStackIsContiguous(s), OMSC_FALSE);
    s->layers[2]->numcolumns = 5;
    ogda_BaseDataStackDelete(s, err); // frees the block it allocated (leak check)

    alignas(8) unsigned char block[2 * 16];
    s = ogda_BaseDataStackCreateContiguous(2, 3, 5, OGDA_U8, Ogda_Table, block, err);
    ASSERT_NE(s, nullptr);
    EXPECT_EQ(s->ownsBlock, 0);
    EXPECT_EQ(s->layers[1]->data, block + 16);
    ogda_BaseDataStackDelete(s, err); // must not free the caller's block

    EXPECT_EQ(ogda_BaseDataStackCreateContiguous(2, 0, 5, OGDA_U8, Ogda_Table, nullptr, err),
              nullptr);
    ExpectReport(err.get(), L"ogda_BaseDataStackCreateContiguous", 1, L"Args");
}

TEST(BaseDataStack, ContiguityRules) {
    ReportHolder err;
    EXPECT_EQ(ogda_BaseDataStackIsContiguous(nullptr), OMSC_FALSE);
    double d[12] = {};
    Ogda_BaseData *a = ogda_BaseDataCreate(2, 2, OGDA_F64, Ogda_Raster, d, err);
    Ogda_BaseData *b = ogda_BaseDataCreate(2, 2, OGDA_F64, Ogda_Raster, d + 4, err);
    Ogda_BaseData *c = ogda_BaseDataCreate(2, 2, OGDA_F64, Ogda_Raster, d + 9, err);
    Ogda_BaseData *layers[] = {a, b, c};
    Ogda_BaseDataStack *s = ogda_BaseDataStackPtrCreate(0, nullptr, err);
    EXPECT_EQ(ogda_BaseDataStackIsContiguous(s), OMSC_FALSE);
    ogda_BaseDataStackDelete(s, err);
    s = ogda_BaseDataStackPtrCreate(1, layers + 2, err);
    EXPECT_EQ(ogda_BaseDataStackIsContiguous(s), OMSC_TRUE);
    ogda_BaseDataStackDelete(s, err);
    s = ogda_BaseDataStackPtrCreate(3, layers, err);
    EXPECT_EQ(s->layersShared, 1);
    EXPECT_EQ(ogda_BaseDataStackIsContiguous(s), OMSC_FALSE); // 32 then 40 bytes apart
    c->data = c->dataStart = d + 8;
    EXPECT_EQ(ogda_BaseDataStackIsContiguous(s), OMSC_TRUE);
    c->datatype = OGDA_S32;
    EXPECT_EQ(ogda_BaseDataStackIsContiguous(s), OMSC_FALSE);
    ogda_BaseDataStackDelete(s, err); // shared: the layers stay
    for (Ogda_BaseData *l : layers) ogda_BaseDataDelete(l, err);
}

TEST(BaseDataStack, CreateCopyDerivedSetAndZero) {
    ReportHolder err;
    Ogda_BaseDataStack *s = ogda_BaseDataStackCreate(2, 2, 3, OGDA_S16, Ogda_Raster, err);
    ASSERT_NE(s, nullptr);
    EXPECT_EQ(s->ownsBlock, 0);
    const int16_t seven = 7;
    ASSERT_EQ(ogda_BaseDataStackSetScalar(s, &seven, err), s);
    static_cast<int16_t *>(s->layers[1]->data)[4] = -9;

    Ogda_BaseDataStack *copy = ogda_BaseDataStackCopy(s, nullptr, err);
    ASSERT_NE(copy, nullptr);
    EXPECT_EQ(static_cast<int16_t *>(copy->layers[1]->data)[4], -9);
    EXPECT_EQ(static_cast<int16_t *>(copy->layers[0]->data)[5], 7);

    Ogda_BaseDataStack *f = ogda_BaseDataStackCreate(2, 2, 3, OGDA_F32, Ogda_Raster, err);
    ASSERT_EQ(ogda_BaseDataStackCopy(s, f, err), f);
    EXPECT_EQ(static_cast<float *>(f->layers[1]->data)[4], -9.0f);
    Ogda_BaseDataStack *one = ogda_BaseDataStackCreate(1, 2, 3, OGDA_F32, Ogda_Raster, err);
    EXPECT_EQ(ogda_BaseDataStackCopy(s, one, err), nullptr);
    ExpectReport(err.get(), L"ogda_BaseDataStackCopy", 2, L"Layer count mismatch: 2 and 1");

    Ogda_BaseDataStack *views = ogda_BaseDataStackDerived(s, 1, 1, 1, 2, err);
    ASSERT_NE(views, nullptr);
    EXPECT_EQ(views->layers[1]->derivedFlag, 1);
    EXPECT_EQ(static_cast<int16_t *>(views->layers[1]->data)[0], -9);
    EXPECT_EQ(ogda_BaseDataStackDerived(s, 1, 1, 2, 2, err), nullptr);
    ExpectReport(err.get(), L"ogda_BaseDataStackDerived", 2, L"ogda_BaseDataDerived failed");

    ASSERT_EQ(ogda_BaseDataStackSetZero(views, err), views);
    EXPECT_EQ(static_cast<int16_t *>(s->layers[1]->data)[3], 7);
    EXPECT_EQ(static_cast<int16_t *>(s->layers[1]->data)[4], 0);
    EXPECT_EQ(static_cast<int16_t *>(s->layers[1]->data)[5], 0);

    Ogda_BaseDataStack *fromLayer = ogda_BaseDataStackDerivedFromDataLayer(s->layers[0], err);
    ASSERT_NE(fromLayer, nullptr);
    EXPECT_EQ(fromLayer->count, 1);
    EXPECT_EQ(fromLayer->layers[0]->data, s->layers[0]->data);
    EXPECT_EQ(fromLayer->layers[0]->derivedFlag, 1);

    for (Ogda_BaseDataStack *x : {fromLayer, views, one, f, copy, s})
        ogda_BaseDataStackDelete(x, err);
}

TEST(BaseDataStack, StringLayersAndFailedCreation) {
    ReportHolder err;
    Ogda_BaseDataStack *s = ogda_BaseDataStackCreate(2, 1, 2, OGDA_STRING, Ogda_Raster, err);
    const wchar_t *w = L"w";
    ASSERT_EQ(ogda_BaseDataStackSetScalar(s, &w, err), s);
    Ogda_BaseDataStack *copy = ogda_BaseDataStackCopy(s, nullptr, err);
    ASSERT_EQ(ogda_BaseDataStackSetZero(s, err), s);
    EXPECT_EQ(static_cast<wchar_t **>(s->layers[1]->data)[1], nullptr);
    EXPECT_STREQ(static_cast<wchar_t **>(copy->layers[1]->data)[1], L"w");
    ogda_BaseDataStackDelete(copy, err);
    ogda_BaseDataStackDelete(s, err);

    // Every allocation of a creation failing in turn: a clean report and no leak.
    for (long n = 1;; ++n) {
        Ogda_BaseDataStack *t;
        {
            orvik::core::testing::ScopedAllocationFailure fail(n);
            t = ogda_BaseDataStackCreate(3, 2, 2, OGDA_U8, Ogda_Raster, err);
        }
        if (t) {
            ogda_BaseDataStackDelete(t, err);
            EXPECT_GT(n, 7); // record, array, 3 x (record + block)
            break;
        }
        ASSERT_NE(err.get(), nullptr);
        EXPECT_STREQ(err.get()->function, L"ogda_BaseDataStackCreate");
    }
    for (long n = 1; n <= 4; ++n) {
        orvik::core::testing::ScopedAllocationFailure fail(n);
        EXPECT_EQ(ogda_BaseDataStackCreateContiguous(3, 2, 2, OGDA_U8, Ogda_Raster, nullptr, err),
                  nullptr)
            << n;
        EXPECT_NE(err.get(), nullptr);
    }
}

TEST(BaseDataStack, PrintListsEveryLayer) {
    ReportHolder err;
    Ogda_BaseDataStack *s = ogda_BaseDataStackCreate(2, 1, 1, OGDA_S32, Ogda_Scalar, err);
    const int32_t v = -4;
    ogda_BaseDataStackSetScalar(s, &v, err);
    testing::internal::CaptureStdout();
    ogda_BaseDataStackPrint(s, err);
    const std::string out = testing::internal::GetCapturedStdout();
    EXPECT_EQ(out.rfind(" ----------------- BaseDataStack ------------------- \n"
                        "            ==============  BaseData ===============\n",
                        0),
              0u);
    size_t count = 0;
    for (size_t p = 0; (p = out.find("-4 \n", p)) != std::string::npos; ++p) ++count;
    EXPECT_EQ(count, 2u);
    ogda_BaseDataStackDelete(s, err);
}

TEST(BaseDataStackArray, EachMemberFollowsTheStackOperation) {
    ReportHolder err;
    Ogda_BaseDataStackArray *a =
        ogda_BaseDataStackArrayCreate(2, 3, 2, 2, OGDA_U16, Ogda_Raster, err);
    ASSERT_NE(a, nullptr);
    EXPECT_EQ(a->count, 2);
    EXPECT_EQ(a->stacks[1]->count, 3);
    const uint16_t v = 500;
    ASSERT_EQ(ogda_BaseDataStackArraySetScalar(a, &v, err), a);
    Ogda_BaseDataStackArray *c = ogda_BaseDataStackArrayCopy(a, nullptr, err);
    ASSERT_NE(c, nullptr);
    EXPECT_EQ(static_cast<uint16_t *>(c->stacks[1]->layers[2]->data)[3], 500);
    Ogda_BaseDataStackArray *d = ogda_BaseDataStackArrayDerived(a, 1, 1, 1, 1, err);
    ASSERT_NE(d, nullptr);
    EXPECT_EQ(d->stacks[0]->layers[0]->data,
              static_cast<uint16_t *>(a->stacks[0]->layers[0]->data) + 3);
    Ogda_BaseDataStackArray *other =
        ogda_BaseDataStackArrayCreate(1, 3, 2, 2, OGDA_U16, Ogda_Raster, err);
    EXPECT_EQ(ogda_BaseDataStackArrayCopy(a, other, err), nullptr);
    ExpectReport(err.get(), L"ogda_BaseDataStackArrayCopy", 2, L"Stack count mismatch: 2 and 1");
    for (Ogda_BaseDataStackArray *x : {a, c, d, other}) ogda_BaseDataStackArrayDelete(x, err);
}

} // namespace
