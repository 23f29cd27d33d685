// The ASCII text form of stacks: exact text, round trips for every pixel type, derived
// dimensions and malformed files.
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <vector>
#include <fstream>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

#include <orvik/ogda.h>

#include "tests/gda/gda_test_util.hpp"

namespace {

class AsciiForm : public ::testing::Test {
  protected:
    void SetUp() override {
        m_path = ::testing::TempDir() + "gda_ascii_" +
                 ::testing::UnitTest::GetInstance()->current_test_info()->name() + ".txt";
        m_wide = std::wstring(m_path.begin(), m_path.end());
    }
    void TearDown() override { std::remove(m_path.c_str()); }
    std::string ReadText() const {
        std::ifstream in(m_path, std::ios::binary);
        std::stringstream s;
        s << in.rdbuf();
        return s.str();
    }
    void WriteText(const std::string &text) const {
        std::ofstream out(m_path, std::ios::binary);
        out << text;
    }
    const wchar_t *name() const { return m_wide.c_str(); }

    std::string m_path;
    std::wstring m_wide;
};

TEST_F(AsciiForm, ExactTextInterleavesLayersPerColumn) {
    ReportHolder err;
    Ogda_BaseDataStack *s = ogda_BaseDataStackCreate(2, 2, 2, OGDA_F64, Ogda_Raster, err);
    const double a[] = {0.1, 1e20, -2.5, 1.0 / 3.0}, b[] = {1, 2, 3, 4};
    ogda_BaseDataSet(s->layers[0], a, OGDA_REGION_ALL, 0, err);
    ogda_BaseDataSet(s->layers[1], b, OGDA_REGION_ALL, 0, err);
    ASSERT_EQ(ogda_BaseDataStackWriteAscii(s, name(), err), OMSC_TRUE);
    EXPECT_EQ(ReadText(), "0.1 1 1e+20 2\n-2.5 3 0.3333333333333333 4\n");
    ogda_BaseDataStackDelete(s, err);
}

TEST_F(AsciiForm, ExactTextOfIntegersComplexAndStrings) {
    ReportHolder err;
    Ogda_BaseDataStack *s = ogda_BaseDataStackCreate(1, 1, 3, OGDA_C64, Ogda_Raster, err);
    const float c[] = {1.5f, -2, 0.1f, 0, 0, 1e-5f};
    ogda_BaseDataSet(s->layers[0], c, OGDA_REGION_ALL, 0, err);
    ASSERT_EQ(ogda_BaseDataStackWriteAscii(s, name(), err), OMSC_TRUE);
    EXPECT_EQ(ReadText(), "(1.5, -2) (0.1000000014901161, 0) (0, 9.999999747378752e-06)\n");
    ogda_BaseDataStackDelete(s, err);

    s = ogda_BaseDataStackCreate(1, 1, 3, OGDA_U32, Ogda_Raster, err);
    const uint32_t u[] = {4294967295u, 0, 17};
    ogda_BaseDataSet(s->layers[0], u, OGDA_REGION_ALL, 0, err);
    ASSERT_EQ(ogda_BaseDataStackWriteAscii(s, name(), err), OMSC_TRUE);
    EXPECT_EQ(ReadText(), "4294967295 0 17\n");
    ogda_BaseDataStackDelete(s, err);

    s = ogda_BaseDataStackCreate(1, 1, 2, OGDA_STRING, Ogda_Raster, err);
    const wchar_t *t[] = {L"gr\u00fcn", L"x"};
    ogda_BaseDataSet(s->layers[0], t, OGDA_REGION_ALL, 0, err);
    ASSERT_EQ(ogda_BaseDataStackWriteAscii(s, name(), err), OMSC_TRUE);
    EXPECT_EQ(ReadText(), "gr\xc3\xbcn x\n");
    ogda_BaseDataStackDelete(s, err);
}

// Fills layer l, element i with a value of the type's range that differs per element.
void FillPattern(Ogda_BaseDataStack *s) {
    for (int l = 0; l < s->count; ++l) {
        Ogda_BaseData *o = s->layers[l];
        const double *hi = omsc_AddressOf_ogda_IntegerMaxValue();
        const double *lo = omsc_AddressOf_ogda_IntegerMinValue();
        for (int i = 0; i < o->numelements; ++i) {
            auto *e = static_cast<unsigned char *>(o->data) + i * o->numbytes;
            const double k = i + 10 * l;
            switch (o->datatype) {
            case OGDA_U1:
            case OGDA_U2:
            case OGDA_U4:
            case OGDA_U8:
                *e = static_cast<uint8_t>(i % 2 ? hi[o->datatype]
                                                : std::fmod(k, hi[o->datatype] + 1));
                break;
            case OGDA_S8:
                *reinterpret_cast<int8_t *>(e) = static_cast<int8_t>(i % 2 ? lo[OGDA_S8] : k);
                break;
            case OGDA_U16:
                *reinterpret_cast<uint16_t *>(e) = static_cast<uint16_t>(i % 2 ? 65535 : k);
                break;
            case OGDA_S16:
                *reinterpret_cast<int16_t *>(e) = static_cast<int16_t>(i % 2 ? -32768 : -k);
                break;
            case OGDA_U32:
                *reinterpret_cast<uint32_t *>(e) = i % 2 ? 4294967295u : static_cast<uint32_t>(k);
                break;
            case OGDA_S32:
                *reinterpret_cast<int32_t *>(e) = i % 2 ? INT32_MIN : static_cast<int32_t>(-k);
                break;
            case OGDA_F32:
                *reinterpret_cast<float *>(e) = static_cast<float>(k / 7.0) * (i % 2 ? -1e30f : 1);
                break;
            case OGDA_F64:
                *reinterpret_cast<double *>(e) = k / 7.0 * (i % 2 ? -1e300 : 1e-300);
                break;
            case OGDA_C64: {
                float v[2] = {static_cast<float>(k / 3), static_cast<float>(-k * 1e20)};
                std::memcpy(e, v, 8);
                break;
            }
            case OGDA_C128: {
                double v[2] = {k / 3, -k / 1e200};
                std::memcpy(e, v, 16);
                break;
            }
            case OGDA_STRING: {
                std::wstring text =
                    L"v" + std::to_wstring(i) + L"_" + std::to_wstring(l) + L"\u00e9";
                wchar_t *copy = static_cast<wchar_t *>(
                    omsc_HeapMalloc(static_cast<int32_t>((text.size() + 1) * sizeof(wchar_t))));
                std::wmemcpy(copy, text.c_str(), text.size() + 1);
                std::memcpy(e, &copy, sizeof copy);
                break;
            }
            default:
                FAIL() << "no sample values for pixel type " << o->datatype;
            }
        }
    }
}

// "%.16g" keeps 16 significant digits: a double comes back as the nearest double to its text.
double ThroughText(double v) {
    char text[64];
    std::snprintf(text, sizeof text, "%.16g", v);
    return std::strtod(text, nullptr);
}

void ExpectSameStacks(const Ogda_BaseDataStack *a, const Ogda_BaseDataStack *b) {
    ASSERT_EQ(a->count, b->count);
    for (int l = 0; l < a->count; ++l) {
        const Ogda_BaseData *x = a->layers[l], *y = b->layers[l];
        ASSERT_EQ(x->numrows, y->numrows);
        ASSERT_EQ(x->numcolumns, y->numcolumns);
        ASSERT_EQ(x->datatype, y->datatype);
        if (x->datatype == OGDA_F64 || x->datatype == OGDA_C128) {
            const int n = x->numelements * (x->datatype == OGDA_C128 ? 2 : 1);
            int rounded = 0;
            for (int i = 0; i < n; ++i) {
                const double v = static_cast<double *>(x->data)[i];
                EXPECT_EQ(ThroughText(v), static_cast<double *>(y->data)[i]) << i;
                rounded += ThroughText(v) != v;
            }
            EXPECT_GT(rounded, 0); // the pattern does exercise the 16-digit rounding
        } else if (x->datatype == OGDA_STRING) {
            for (int i = 0; i < x->numelements; ++i)
                EXPECT_STREQ(static_cast<wchar_t **>(x->data)[i],
                             static_cast<wchar_t **>(y->data)[i]);
        } else {
            EXPECT_EQ(
                std::memcmp(x->data, y->data, static_cast<size_t>(x->numelements) * x->numbytes), 0)
                << "type " << x->datatype << " layer " << l;
        }
    }
}

TEST_F(AsciiForm, RoundTripOfEveryPixelType) {
    for (int t = 0; t < OGDA_PIXEL_TYPE_COUNT; ++t) {
        ReportHolder err;
        const auto type = static_cast<Ogda_PixelType>(t);
        Ogda_BaseDataStack *s = ogda_BaseDataStackCreate(3, 4, 5, type, Ogda_Raster, err);
        FillPattern(s);
        ASSERT_EQ(ogda_BaseDataStackWriteAscii(s, name(), err), OMSC_TRUE) << t;
        // Rows from the line count, columns from the first line's 15 values / 3 layers.
        Ogda_BaseDataStack *r =
            ogda_CreateBaseDataStackFromAscii(Ogda_Raster, type, 0, 0, 3, name(), err);
        ASSERT_NE(r, nullptr) << t;
        ExpectSameStacks(s, r);
        // Layers from the 15 values / 5 columns.
        Ogda_BaseDataStack *q =
            ogda_CreateBaseDataStackFromAscii(Ogda_Raster, type, 4, 5, 0, name(), err);
        ASSERT_NE(q, nullptr) << t;
        EXPECT_EQ(q->count, 3);
        // Into an existing stack.
        ASSERT_EQ(ogda_BaseDataStackSetZero(q, err), q);
        ASSERT_EQ(ogda_BaseDataStackReadAscii(q, name(), err), q);
        ExpectSameStacks(s, q);
        for (Ogda_BaseDataStack *x : {s, r, q}) ogda_BaseDataStackDelete(x, err);
    }
}

TEST_F(AsciiForm, TablesTakeOneColumnAndCrLfIsAccepted) {
    ReportHolder err;
    WriteText("1 -2\r\n3 4\r\n5 6");
    Ogda_BaseDataStack *s =
        ogda_CreateBaseDataStackFromAscii(Ogda_Table, OGDA_S8, 0, 7, 0, name(), err);
    ASSERT_NE(s, nullptr);
    EXPECT_EQ(s->count, 2);
    EXPECT_EQ(s->layers[1]->numrows, 3);
    EXPECT_EQ(s->layers[1]->numcolumns, 1);
    const int8_t *l1 = static_cast<int8_t *>(s->layers[1]->data);
    EXPECT_EQ(std::vector<int>(l1, l1 + 3), (std::vector<int>{-2, 4, 6}));
    ogda_BaseDataStackDelete(s, err);
}

TEST_F(AsciiForm, MalformedFiles) {
    ReportHolder err;
    const wchar_t *fn = L"ogda_CreateBaseDataStackFromAscii";
    EXPECT_EQ(ogda_CreateBaseDataStackFromAscii(Ogda_Raster, OGDA_U8, 0, 0, 1,
                                                L"/nonexistent/x.txt", err),
              nullptr);
    ExpectReport(err.get(), fn, 2, L"Error opening file");
    EXPECT_NE(err.get()->next, nullptr); // the file layer's reason

    struct Case {
        const char *text;
        int32_t rows, columns, layers;
        long number;
        const wchar_t *message;
    } cases[] = {
        {"", 0, 0, 1, 7, L"Error reading ASCII record"},
        {"   \n1 2\n", 0, 0, 1, 7, L"Error reading ASCII record"},
        {"1 2 3\n4 5 6\n", 0, 0, 2, 8, L"ASCII file column count mismatch"},
        {"1 2 3\n4 5 6\n", 0, 2, 0, 8, L"ASCII file column count mismatch"},
        {"1 2 3\n4 5 6\n", 0, 2, 2, 8, L"ASCII file column count mismatch"},
        {"1 2 3\n4 5\n", 0, 0, 1, 7, L"Error reading ASCII record"},
        {"1 2 3\n4 5 6 7\n", 0, 0, 1, 7, L"Error reading ASCII record"},
        {"1 2 3\n4 x 6\n", 0, 0, 1, 7, L"Error reading ASCII record"},
        {"1 2 3\n4 5 6\n", 3, 0, 1, 7, L"Error reading ASCII record"},
        {"1 2 3\n4 5\xc3\xa9 6\n", 0, 0, 1, 7, L"Error reading ASCII record"},
        {"1 2 3\n4 5 6\n\n", 0, 0, 1, 7, L"Error reading ASCII record"},
        {"1 2 3\n4 \xff 6\n", 0, 0, 1, 6, L"ofio_Fgets failed"},
    };
    for (const Case &c : cases) {
        WriteText(c.text);
        EXPECT_EQ(ogda_CreateBaseDataStackFromAscii(Ogda_Raster, OGDA_S16, c.rows, c.columns,
                                                    c.layers, name(), err),
                  nullptr)
            << c.text;
        ExpectReport(err.get(), fn, c.number, c.message);
    }
    // A string stack that fails half way leaves nothing behind (leak check).
    WriteText("a b\nc\n");
    EXPECT_EQ(ogda_CreateBaseDataStackFromAscii(Ogda_Raster, OGDA_STRING, 0, 0, 1, name(), err),
              nullptr);
    ExpectReport(err.get(), fn, 7, L"Error reading ASCII record");

    EXPECT_EQ(ogda_CreateBaseDataStackFromAscii(Ogda_Raster, static_cast<Ogda_PixelType>(14), 0, 0,
                                                1, name(), err),
              nullptr);
    ExpectReport(err.get(), fn, 1, L"Args");
    // Every allocation failing in turn: a report each time, until the read succeeds.
    WriteText("a (1, 2)\nb c\n");
    long total;
    {
        orvik::core::testing::ScopedAllocationFailure count(1000000);
        ogda_BaseDataStackDelete(
            ogda_CreateBaseDataStackFromAscii(Ogda_Raster, OGDA_STRING, 0, 0, 1, name(), err), err);
        total = orvik::core::testing::AllocationsCounted();
    }
    EXPECT_GT(total, 8);
    int failures = 0;
    for (long n = 1; n <= total; ++n) {
        Ogda_BaseDataStack *s;
        {
            orvik::core::testing::ScopedAllocationFailure fail(n);
            s = ogda_CreateBaseDataStackFromAscii(Ogda_Raster, OGDA_STRING, 0, 0, 1, name(), err);
        }
        if (s) {
            // Only the stream's optional buffers may fail without failing the read.
            EXPECT_STREQ(static_cast<wchar_t **>(s->layers[0]->data)[1], L"(1, 2)");
            ogda_BaseDataStackDelete(s, err);
        } else {
            EXPECT_NE(err.get(), nullptr) << n;
            ++failures;
        }
    }
    EXPECT_GE(failures, total - 2);
}

TEST_F(AsciiForm, ReadIntoAnExistingStackAndWriteErrors) {
    ReportHolder err;
    Ogda_BaseDataStack *s = ogda_BaseDataStackCreate(1, 2, 2, OGDA_F32, Ogda_Raster, err);
    WriteText("1 2\n3\n");
    EXPECT_EQ(ogda_BaseDataStackReadAscii(s, name(), err), nullptr);
    ExpectReport(err.get(), L"ogda_BaseDataStackReadAscii", 7, L"Error reading ASCII record");
    WriteText("1 2\n3 4.5\nignored\n");
    EXPECT_EQ(ogda_BaseDataStackReadAscii(s, name(), err), s);
    EXPECT_EQ(static_cast<float *>(s->layers[0]->data)[3], 4.5f);

    EXPECT_EQ(ogda_BaseDataStackWriteAscii(s, L"/nonexistent/dir/x.txt", err), OMSC_FALSE);
    ExpectReport(err.get(), L"ogda_BaseDataStackWriteAscii", 2, L"Error opening file");
    EXPECT_EQ(ogda_BaseDataStackWriteAscii(nullptr, name(), err), OMSC_FALSE);
    ExpectReport(err.get(), L"ogda_BaseDataStackWriteAscii", 1, L"Args");
    ogda_BaseDataStackDelete(s, err);
}

// A shape taken from a small file must not ask for memory the file cannot fill: the line
// count times the first line's values once drove a read into the out-of-memory killer.
TEST_F(AsciiForm, DerivedShapesAreBoundedByTheText) {
    ReportHolder err;
    const wchar_t *fn = L"ogda_CreateBaseDataStackFromAscii";
    std::string text;
    for (int i = 0; i < 200000; ++i) text += "1 ";
    text += "\n" + std::string(20000, '\n');
    WriteText(text);
    // All derived: one layer of one column, so 200000 values on a line is a mismatch.
    EXPECT_EQ(ogda_CreateBaseDataStackFromAscii(Ogda_Table, OGDA_F64, 0, 0, 0, name(), err),
              nullptr);
    ExpectReport(err.get(), fn, 8, L"ASCII file column count mismatch");
    // Layers from the first line, rows from the line count: 200000 x 20001 values.
    {
        orvik::core::testing::ScopedAllocationFailure count(1000000);
        EXPECT_EQ(ogda_CreateBaseDataStackFromAscii(Ogda_Raster, OGDA_F64, 0, 1, 0, name(), err),
                  nullptr);
        EXPECT_LT(orvik::core::testing::AllocationsCounted(), 40); // refused before the layers
    }
    ExpectReport(err.get(), fn, 7, L"Error reading ASCII record");
    EXPECT_EQ(ogda_CreateBaseDataStackFromAscii(Ogda_Matrix, OGDA_U8, 0, 1, 0, name(), err),
              nullptr);
    ExpectReport(err.get(), fn, 7, L"Error reading ASCII record");
    // A row count given by the caller is held to the same bound.
    WriteText("1\n");
    EXPECT_EQ(ogda_CreateBaseDataStackFromAscii(Ogda_Table, OGDA_F64, INT32_MAX, 1, 1, name(), err),
              nullptr);
    ExpectReport(err.get(), fn, 7, L"Error reading ASCII record");
    WriteText("1 2\n");
    EXPECT_EQ(ogda_CreateBaseDataStackFromAscii(Ogda_Matrix, OGDA_U8, 1000000, 2, 1, name(), err),
              nullptr);
    ExpectReport(err.get(), fn, 7, L"Error reading ASCII record");
    // The tightest text that fills a shape still reads: one character and one separator each.
    WriteText("1 2\n3 4");
    Ogda_BaseDataStack *s =
        ogda_CreateBaseDataStackFromAscii(Ogda_Raster, OGDA_U8, 2, 2, 1, name(), err);
    ASSERT_NE(s, nullptr);
    EXPECT_EQ(static_cast<uint8_t *>(s->layers[0]->data)[3], 4);
    ogda_BaseDataStackDelete(s, err);
}

TEST_F(AsciiForm, AllDerivedTableShapeIsOneLayer) {
    ReportHolder err;
    WriteText("1 2 3\n4 5 6\n");
    EXPECT_EQ(ogda_CreateBaseDataStackFromAscii(Ogda_Table, OGDA_S32, 0, 0, 0, name(), err),
              nullptr);
    ExpectReport(err.get(), L"ogda_CreateBaseDataStackFromAscii", 8,
                 L"ASCII file column count mismatch");
    WriteText("1\n4\n");
    Ogda_BaseDataStack *s =
        ogda_CreateBaseDataStackFromAscii(Ogda_Table, OGDA_S32, 0, 0, 0, name(), err);
    ASSERT_NE(s, nullptr);
    EXPECT_EQ(s->count, 1);
    EXPECT_EQ(s->layers[0]->numrows, 2);
    EXPECT_EQ(s->layers[0]->numcolumns, 1);
    ogda_BaseDataStackDelete(s, err);
}

// A NUL byte once ended the text of its chunk, so the rest of the line and its newline
// vanished and two lines merged into one row.
TEST_F(AsciiForm, NulBytesAreRefusedWithTheirLine) {
    ReportHolder err;
    struct Case {
        std::string text;
        int32_t rows, columns, layers;
        long line;
    } cases[] = {
        {std::string("5\0\n7\n", 5), 1, 1, 1, 1},
        {std::string("\0\n1 2\n", 6), 1, 0, 1, 1},
        {std::string("1 2\n3\0 4\n", 9), 0, 0, 2, 2},
        {std::string("1 2\n3 4\0", 8), 2, 1, 2, 2},
    };
    for (const Case &c : cases) {
        WriteText(c.text);
        EXPECT_EQ(ogda_CreateBaseDataStackFromAscii(Ogda_Table, OGDA_S32, c.rows, c.columns,
                                                    c.layers, name(), err),
                  nullptr);
        ExpectReport(err.get(), L"ogda_CreateBaseDataStackFromAscii", 7,
                     L"Error reading ASCII record");
        ASSERT_NE(err.get()->next, nullptr);
        EXPECT_EQ(std::wstring(err.get()->next->message),
                  L"NUL character in line " + std::to_wstring(c.line));
    }
    Ogda_BaseDataStack *s = ogda_BaseDataStackCreate(1, 2, 2, OGDA_S32, Ogda_Raster, err);
    WriteText(std::string("1\0 2\n3 4\n", 9));
    EXPECT_EQ(ogda_BaseDataStackReadAscii(s, name(), err), nullptr);
    ExpectReport(err.get(), L"ogda_BaseDataStackReadAscii", 7, L"Error reading ASCII record");
    ASSERT_NE(err.get()->next, nullptr);
    EXPECT_STREQ(err.get()->next->message, L"NUL character in line 1");
    ogda_BaseDataStackDelete(s, err);
}

TEST_F(AsciiForm, ScalarsAreOneByOne) {
    ReportHolder err;
    EXPECT_EQ(ogda_BaseDataCreate(2, 1, OGDA_S32, Ogda_Scalar, nullptr, err), nullptr);
    ExpectReport(err.get(), L"ogda_BaseDataCreate", 4, L"Bad nRows or nColumns");
    EXPECT_EQ(ogda_BaseDataCreate(0, 0, OGDA_S32, Ogda_Scalar, nullptr, err), nullptr);
    Ogda_BaseData *one = ogda_BaseDataCreate(1, 1, OGDA_S32, Ogda_Scalar, nullptr, err);
    ASSERT_NE(one, nullptr);
    EXPECT_EQ(ogda_BaseDataReallocate(one, 3, 1, err), nullptr);
    EXPECT_NE(err.get(), nullptr);
    ogda_BaseDataDelete(one, err);
    // The reader takes one row (one line) for a scalar unless told otherwise; more is refused.
    WriteText("7 8\n9 10\n");
    Ogda_BaseDataStack *s =
        ogda_CreateBaseDataStackFromAscii(Ogda_Scalar, OGDA_S32, 0, 0, 2, name(), err);
    ASSERT_NE(s, nullptr);
    EXPECT_EQ(s->count, 2);
    EXPECT_EQ(s->layers[1]->numrows, 1);
    EXPECT_EQ(*static_cast<int32_t *>(s->layers[1]->data), 8);
    ogda_BaseDataStackDelete(s, err);
    EXPECT_EQ(ogda_CreateBaseDataStackFromAscii(Ogda_Scalar, OGDA_S32, 2, 0, 2, name(), err),
              nullptr);
    ExpectReport(err.get(), L"ogda_CreateBaseDataStackFromAscii", 9,
                 L"ogda_BaseDataStackCreate failed");
}

// Strings that would not come back as themselves are refused before the file is touched.
TEST_F(AsciiForm, StringsThatWouldNotReadBackAreRefused) {
    ReportHolder err;
    for (const wchar_t *bad :
         {L"a b", L"a\tb", L"line\n", L"(x", L"", static_cast<const wchar_t *>(nullptr)}) {
        Ogda_BaseDataStack *s = ogda_BaseDataStackCreate(1, 1, 2, OGDA_STRING, Ogda_Raster, err);
        const wchar_t *t[] = {L"ok", bad};
        ogda_BaseDataSet(s->layers[0], t, OGDA_REGION_ALL, 0, err);
        WriteText("untouched");
        EXPECT_EQ(ogda_BaseDataStackWriteAscii(s, name(), err), OMSC_FALSE);
        ExpectReport(err.get(), L"ogda_BaseDataStackWriteAscii", 4,
                     L"String at row 0, column 1, layer 0 would not read back (null, empty, "
                     L"blanks, leading \"(\" or not UTF-8)");
        EXPECT_EQ(ReadText(), "untouched");
        ogda_BaseDataStackDelete(s, err);
    }
    // Anything else comes back unchanged, brackets and all.
    Ogda_BaseDataStack *s = ogda_BaseDataStackCreate(1, 1, 3, OGDA_STRING, Ogda_Raster, err);
    const wchar_t *t[] = {L"x(1,", L"a)b", L"\u20ac\U0001F600"};
    ogda_BaseDataSet(s->layers[0], t, OGDA_REGION_ALL, 0, err);
    ASSERT_EQ(ogda_BaseDataStackWriteAscii(s, name(), err), OMSC_TRUE);
    Ogda_BaseDataStack *r =
        ogda_CreateBaseDataStackFromAscii(Ogda_Raster, OGDA_STRING, 0, 0, 1, name(), err);
    ASSERT_NE(r, nullptr);
    ExpectSameStacks(s, r);
    ogda_BaseDataStackDelete(s, err);
    ogda_BaseDataStackDelete(r, err);
}

} // namespace
