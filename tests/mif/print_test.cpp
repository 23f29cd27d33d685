// Printed listings of designs and of item values.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <string>

#include <orvik/omif.h>

#include "mif_test_util.hpp"

using namespace mif_test;

namespace {

class Capture {
  public:
    Capture() : m_file(std::tmpfile()) {}
    ~Capture() { std::fclose(m_file); }
    FILE *File() { return m_file; }
    std::string Text() {
        std::fflush(m_file);
        std::rewind(m_file);
        std::string out;
        char buf[512];
        size_t n;
        while ((n = std::fread(buf, 1, sizeof buf, m_file)) > 0) out.append(buf, n);
        return out;
    }

  private:
    FILE *m_file;
};

struct Point {
    int32_t x;
    int32_t y;
};

struct Record {
    char label[6];
    uint32_t kind;
    double values[10];
    OMIF_COUNTED_POINTER_OF(int16_t) shorts;
    Point *where;
    Point corner;
};

} // namespace

TEST(Print, DesignListingShowsOffsetsSizesAndPadding) {
    Report err;
    DictionaryPtr d(omif_DictionaryDecodeFromString(
        L"{6:clabel,1:e2:raw,cooked,kind,1:x{1:Cc,1:dv,}In,in,1:*oR,r,}Rec,{1:lv,}R,.", &err));
    Capture out;
    ASSERT_EQ(omif_FprintfDesign(out.File(), d->designs, &err), 0);
    EXPECT_EQ(out.Text(), "Design Rec: host size 40, alignment 8\n"
                          "    offset     size  padding  item\n"
                          "         0        6        2  6:c label\n"
                          "         8        4        4  1:e kind (raw, cooked)\n"
                          "        16       16        0  1:x in\n"
                          "    Design In: host size 16, alignment 8\n"
                          "        offset     size  padding  item\n"
                          "             0        1        7  1:C c\n"
                          "             8        8        0  1:d v\n"
                          "        32        8        0  1:*o r -> R\n");
    Capture all;
    ASSERT_EQ(omif_FprintfDictionary(all.File(), d.get(), &err), 0);
    const std::string text = all.Text();
    EXPECT_EQ(text.rfind("Dictionary of 2 designs\n  Design Rec: host size 40", 0), 0u);
    EXPECT_NE(text.find("  Design R: host size 4, alignment 4\n"), std::string::npos);
    EXPECT_EQ(omif_FprintfDesign(nullptr, d->designs, &err), -1);
    EXPECT_EQ(err.Innermost(), L"omif_FprintfDesign: Args");
}

TEST(Print, ItemValuesWithIndexMarksAndCut) {
    Report err;
    DictionaryPtr d(
        omif_DictionaryDecodeFromString(L"{6:clabel,1:e2:raw,cooked,kind,10:dvalues,0:psshorts,1:*"
                                        L"oPoint,where,1:oPoint,corner,}Rec,"
                                        L"{1:lx,1:ly,}Point,.",
                                        &err));
    ASSERT_TRUE(d) << err.Innermost();
    const Omif_Design *rec = d->designs;
    ASSERT_EQ(rec->hostSize, static_cast<int32_t>(sizeof(Record)));
    int16_t shorts[] = {-1, 2, 3};
    Record r = {"ab\"c", 1, {0.5, 1, 2, 3, 4, 5, 6, 7, 8, 9}, {3, shorts}, nullptr, {7, -8}};
    Capture out;
    for (const Omif_Item *i = rec->items; i; i = i->next)
        ASSERT_EQ(omif_FprintfItem(out.File(), &r, i, 2, 4, &err), 0);
    EXPECT_EQ(out.Text(), "  label = \"ab\\x22c\"\n"
                          "  kind = cooked\n"
                          "  values = [0] 0.5 [1] 1 [2] 2 [3] 3 ...\n"
                          "  shorts (count 3) = [0] -1 [1] 2 [2] 3\n"
                          "  where = NULL\n"
                          "  corner:\n"
                          "    [0]\n"
                          "      x = 7\n"
                          "      y = -8\n");
    r.kind = 9; // a value without a name prints as a number
    Capture kind;
    omif_FprintfItem(kind.File(), &r, rec->items->next, 0, 0, &err);
    EXPECT_EQ(kind.Text(), "kind = 9\n");
    EXPECT_EQ(omif_FprintfItem(kind.File(), nullptr, rec->items, 0, 0, &err), -1);
    EXPECT_EQ(err.Innermost(), L"omif_FprintfItem: Args");
}
