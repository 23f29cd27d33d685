// Numbers and texts of MIF reports: the conventional "Out of memory" where a function names no
// allocation message of its own, and the failure points that share a number across steps.
#include <gtest/gtest.h>

#include <orvik/ogda.h>
#include <orvik/omif.h>

#include "core/heap_seam.hpp"
#include "object_test_util.hpp"

using namespace mif_test;
using orvik::core::testing::ScopedAllocationFailure;

namespace {

struct Record {
    int32_t number;
    std::wstring function;
    std::wstring message;
    bool operator==(const Record &) const = default;
};

// Every record of the chain, outermost first; releases the chain.
std::vector<Record> Records(Oerr_ErrorReport *&err) {
    std::vector<Record> out;
    for (const Oerr_ErrorReport *r = err; r; r = r->next)
        out.push_back({r->number, r->function ? r->function : L"", r->message ? r->message : L""});
    oerr_DeleteErrorReportEx(&err);
    return out;
}

void PrintTo(const Record &r, std::ostream *os) {
    *os << r.number << " " << std::string(r.function.begin(), r.function.end()) << ": "
        << std::string(r.message.begin(), r.message.end());
}

const Omif_ItemDescription kPairItems[] = {
    OMIF_FIELD(OMIF_ITEM_LONG, L"a", 1),
    OMIF_FIELD(OMIF_ITEM_LONG, L"b", 1),
    OMIF_TABLE_END,
};

const Omif_ItemDescription kGridItems[] = {
    {OMIF_ITEM_BASEDATA, L"grid", 1, 0, 0, NULL, NULL, NULL, NULL},
    OMIF_TABLE_END,
};

} // namespace

TEST(MifReports, CopyAndStringsRunOutOfMemoryConventionally) {
    DesignPtr pair = Make(L"Pair", kPairItems);
    int32_t src[2] = {1, 2};
    void *srcP = src;
    void *dst = nullptr;
    Oerr_ErrorReport *err = nullptr;
    {
        ScopedAllocationFailure fail(1);
        EXPECT_EQ(omif_ObjectCopy(pair.get(), &dst, &srcP, &err), nullptr);
    }
    // The allocator keeps its own documented text; the copy adds the conventional record.
    EXPECT_EQ(Records(err), (std::vector<Record>{{5, L"omif_ObjectCopy", L"Out of memory"},
                                                 {1, L"omif_ObjectAllocate", L"No memory"}}));

    Omif_String s{};
    {
        ScopedAllocationFailure fail(1);
        EXPECT_EQ(omif_OmifStringFromString(&s, L"text", &err), -1);
    }
    EXPECT_EQ(Records(err),
              (std::vector<Record>{{5, L"omif_OmifStringFromString", L"Out of memory"}}));
    ASSERT_EQ(omif_OmifStringFromString(&s, L"text", &err), 0);
    Omif_String copy{};
    {
        ScopedAllocationFailure fail(1);
        EXPECT_EQ(omif_OmifStringFromOmifString(&copy, &s, &err), -1);
    }
    EXPECT_EQ(Records(err),
              (std::vector<Record>{{5, L"omif_OmifStringFromOmifString", L"Out of memory"}}));
    omsc_HeapFree(s.string);
}

TEST(MifReports, WritingAnUnstorableBaseDataNamesEachStep) {
    DesignPtr grid = Make(L"Grid", kGridItems);
    Oerr_ErrorReport *err = nullptr;
    uint8_t pixel = 7;
    Ogda_BaseData bd = {1, 1, OGDA_U8, Ogda_Scalar, &pixel, &pixel, 1, 1, 1, 1, 0};
    bd.objecttype = static_cast<Ogda_ObjectType>(4);
    unsigned char bytes[64] = {};
    Omif_Buffer buffer{bytes, sizeof bytes, 0, 0};
    EXPECT_EQ(omif_ConvertToMIF(nullptr, &bd, grid.get(), &buffer, 0, &err), 0);
    const std::vector<Record> chain = Records(err);
    ASSERT_GE(chain.size(), 2u);
    EXPECT_EQ(chain.front(), (Record{3, L"omif_ConvertToMIF", L"omif_ObjectToMIF failed"}));
    EXPECT_EQ(chain.back(),
              (Record{6, L"omif_BaseDataToMIF", L"BaseData of object type 4 cannot be stored"}));
}
