// Allocation, free, deep copy and item access of MIF records.
#include <gtest/gtest.h>

#include <cstring>

#include <orvik/ogda.h>
#include <orvik/omif.h>

#include "core/heap_seam.hpp"
#include "object_test_util.hpp"

using namespace mif_test;

using ObjectOps = ShapeFixture;

TEST_F(ObjectOps, DeepCopyIsIndependentOfTheSource) {
    Shape *src = Sample();
    const Bytes before = ToFile(src, shape.get());
    void *dst = nullptr;
    void *srcP = src;
    Oerr_ErrorReport *err = nullptr;
    ASSERT_NE(omif_ObjectCopy(shape.get(), &dst, &srcP, &err), nullptr);
    ASSERT_EQ(err, nullptr);
    auto *copy = static_cast<Shape *>(dst);
    EXPECT_NE(copy->corners, src->corners);
    EXPECT_NE(copy->path.data, src->path.data);
    EXPECT_NE(copy->grid.data->data, src->grid.data->data);
    EXPECT_NE(copy->label.data, src->label.data);
    EXPECT_EQ(ToFile(copy, shape.get()), before);

    src->corners[0].x = 99;
    src->path.data[1].y = 99;
    static_cast<int16_t *>(src->grid.data->data)[0] = 99;
    src->label.data[0] = 'z';
    EXPECT_EQ(ToFile(copy, shape.get()), before);

    // Copying into an existing record replaces (and frees) what it held.
    void *again = copy;
    ASSERT_EQ(omif_ObjectCopy(shape.get(), &again, &srcP, &err), copy);
    EXPECT_EQ(ToFile(copy, shape.get()), ToFile(src, shape.get()));
    omif_ObjectFree(src, shape.get(), nullptr);
    omif_ObjectFree(copy, shape.get(), nullptr);
}

TEST_F(ObjectOps, CopyArgumentsAndAllocationFailures) {
    Shape *src = Sample();
    void *srcP = src;
    void *dst = nullptr;
    void *none = nullptr;
    Oerr_ErrorReport *err = nullptr;
    EXPECT_EQ(omif_ObjectCopy(nullptr, &dst, &srcP, &err), nullptr);
    EXPECT_EQ(Chain(err), std::vector<std::wstring>{L"omif_ObjectCopy: Missing design."});
    EXPECT_EQ(omif_ObjectCopy(shape.get(), nullptr, &srcP, &err), nullptr);
    EXPECT_EQ(Chain(err), std::vector<std::wstring>{L"omif_ObjectCopy: Bad dstObjectPP."});
    EXPECT_EQ(omif_ObjectCopy(shape.get(), &dst, &none, &err), nullptr);
    EXPECT_EQ(Chain(err), std::vector<std::wstring>{L"omif_ObjectCopy: Bad srcObjectPP."});

    bool done = false;
    for (long n = 1; n < 40 && !done; ++n) {
        dst = nullptr;
        {
            orvik::core::testing::ScopedAllocationFailure fail(n);
            omif_ObjectCopy(shape.get(), &dst, &srcP, &err);
        }
        done = err == nullptr;
        if (!done) {
            EXPECT_EQ(dst, nullptr);
            const std::vector<std::wstring> chain = Chain(err);
            ASSERT_GE(chain.size(), 1u);
            if (n > 1) {
                ASSERT_GE(chain.size(), 3u);
                EXPECT_EQ(chain[0], L"omif_ObjectCopy: omif_ObjectItemsCopy failed");
                EXPECT_EQ(chain[1], L"omif_ObjectItemsCopy: ObjectItemCopy failure");
                EXPECT_EQ(chain.back(), L"ObjectItemCopy: Out of memory");
            } else {
                EXPECT_EQ(chain.back(), L"omif_ObjectAllocate: No memory");
            }
        } else {
            EXPECT_EQ(ToFile(dst, shape.get()), ToFile(src, shape.get()));
            omif_ObjectFree(dst, shape.get(), nullptr);
        }
    }
    EXPECT_TRUE(done);
    omif_ObjectFree(src, shape.get(), nullptr);
}

TEST_F(ObjectOps, ItemValueGetAndSetByName) {
    Shape *s = Sample();
    Oerr_ErrorReport *err = nullptr;
    OMIF_COUNTED_POINTER_OF(Point) path;
    std::memset(&path, 0xAA, sizeof path);
    ASSERT_EQ(omif_ObjectItemValueGet(s, shape.get(), L"path", &path, &err), &path);
    ASSERT_EQ(path.count, 3);
    EXPECT_NE(path.data, s->path.data);
    EXPECT_EQ(path.data[2].y, 20);

    // The same pointer as the design's item name also finds it.
    const Omif_Item *origin = shape->items;
    Point p{};
    ASSERT_EQ(omif_ObjectItemValueGet(s, shape.get(), origin->name, &p, &err), &p);
    EXPECT_EQ(p.x, 1.5);

    path.data[0] = {-1, -2};
    ASSERT_EQ(omif_ObjectItemValueSet(s, shape.get(), L"path", &path, &err), s);
    EXPECT_NE(s->path.data, path.data);
    EXPECT_EQ(s->path.data[0].y, -2);
    omsc_HeapFree(path.data);

    OMIF_COUNTED_POINTER_OF(char) label{};
    ASSERT_EQ(omif_ObjectItemValueSet(s, shape.get(), L"label", &label, &err), s);
    EXPECT_EQ(s->label.count, 0);
    EXPECT_EQ(s->label.data, nullptr);

    EXPECT_EQ(omif_ObjectItemValueGet(s, shape.get(), L"nothing", &p, &err), nullptr);
    EXPECT_EQ(err, nullptr);
    EXPECT_EQ(omif_ObjectItemValueSet(s, shape.get(), nullptr, &p, &err), nullptr);
    EXPECT_EQ(Chain(err), std::vector<std::wstring>{L"omif_ObjectItemValueSet: Args!"});
    EXPECT_EQ(omif_ObjectItemValueGet(s, shape.get(), L"path", nullptr, &err), nullptr);
    EXPECT_EQ(Chain(err), std::vector<std::wstring>{L"omif_ObjectItemValueGet: Args!"});
    omif_ObjectFree(s, shape.get(), nullptr);
}

TEST_F(ObjectOps, AllocateFreeAndTheirOlderNames) {
    Oerr_ErrorReport *err = nullptr;
    EXPECT_EQ(omif_ObjectAllocate(nullptr, &err), nullptr);
    EXPECT_EQ(err, nullptr);
    void *o = omif_NewObject(shape.get(), &err);
    ASSERT_NE(o, nullptr);
    EXPECT_EQ(std::count(static_cast<unsigned char *>(o),
                         static_cast<unsigned char *>(o) + shape->hostSize, 0),
              shape->hostSize);
    {
        orvik::core::testing::ScopedAllocationFailure fail(1);
        EXPECT_EQ(omif_NewObject(shape.get(), &err), nullptr);
    }
    EXPECT_EQ(Chain(err), (std::vector<std::wstring>{L"omif_NewObject: omif_NewObject failure!",
                                                     L"omif_ObjectAllocate: No memory"}));
    EXPECT_EQ(omif_FreeObject(o, nullptr, &err), -1);
    EXPECT_EQ(Chain(err).front(), L"omif_FreeObject: omif_FreeObject failed");
    EXPECT_EQ(omif_FreeObject(o, shape.get(), &err), 0);

    Shape *s = Sample();
    EXPECT_EQ(omif_ObjectItemsFree(s, shape.get(), &err), 0);
    EXPECT_EQ(s->corners, nullptr);
    EXPECT_EQ(s->path.count, 0);
    EXPECT_EQ(s->grid.data, nullptr);
    EXPECT_EQ(s->origin.x, 1.5); // direct values stay
    omif_ObjectFree(s, shape.get(), nullptr);
}

TEST(ObjectOpsBaseData, CopyOfAViewOwnsATightBlock) {
    static const Omif_ItemDescription kItems[] = {
        {OMIF_ITEM_BASEDATA, L"grid", 1, 0, 0, NULL, NULL, NULL, NULL}, OMIF_TABLE_END};
    DesignPtr design = Make(L"OneGrid", kItems);
    Ogda_BaseData *parent = ogda_BaseDataCreate(3, 3, OGDA_U16, Ogda_Raster, nullptr, nullptr);
    for (int k = 0; k < 9; ++k) static_cast<uint16_t *>(parent->data)[k] = static_cast<uint16_t>(k);
    Ogda_BaseData *view = ogda_BaseDataDerived(parent, 1, 1, 2, 2, nullptr);
    ASSERT_NE(view, nullptr);
    Ogda_BaseData copy{};
    Oerr_ErrorReport *err = nullptr;
    ASSERT_EQ(omif_ObjectItemValueGet(view, design.get(), L"grid", &copy, &err), &copy);
    EXPECT_EQ(copy.derivedFlag, 0);
    EXPECT_EQ(copy.lineBytes, 4);
    const auto *v = static_cast<const uint16_t *>(copy.data);
    EXPECT_EQ(v[0], 4);
    EXPECT_EQ(v[1], 5);
    EXPECT_EQ(v[2], 7);
    EXPECT_EQ(v[3], 8);
    // The view and the copy write the same file form.
    EXPECT_EQ(ToFile(view, design.get()), ToFile(&copy, design.get()));
    omif_ObjectItemsFree(&copy, design.get(), nullptr);
    EXPECT_EQ(copy.data, nullptr);
    ogda_BaseDataDelete(view, nullptr);
    ogda_BaseDataDelete(parent, nullptr);
}
