// Descriptor tables in a real file: round trips of the three column types, resizing, string
// widening, argument checks and damaged records.
#include <cstring>

#include "dsc/table_store.hpp"
#include "table_test_util.hpp"

namespace {

using namespace dsc_test;
using hfa_test::Report;

class DscTable : public LayerFileTest {};

TEST_F(DscTable, ColumnsOfEveryTypeSurviveAReopen) {
    {
        TablePtr t(odsc_TableCreate(m_file, L"/Layer_1", 5, nullptr));
        ASSERT_NE(t, nullptr);
        ColumnPtr real(odsc_ColumnCreate(t.get(), L"Histogram", ODSC_COLUMN_REAL, nullptr));
        ColumnPtr ints(odsc_ColumnCreate(t.get(), L"Count", ODSC_COLUMN_INTEGER, nullptr));
        ColumnPtr names(odsc_ColumnCreate(t.get(), L"Class_Names", ODSC_COLUMN_STRING, nullptr));
        ASSERT_TRUE(real && ints && names);
        Report err;
        EXPECT_EQ(odsc_ColumnWrite(real.get(), 1, 3, Reals({0.25, -1e300, 3.5}).get(), &err), 3)
            << err.Message();
        // Reals into an integer column are truncated.
        EXPECT_EQ(
            odsc_ColumnWrite(ints.get(), 0, 5, Reals({1, 2.9, -3.9, 2147483647, 0}).get(), &err),
            5);
        EXPECT_EQ(odsc_ColumnWrite(names.get(), 0, 3,
                                   Strings({L"water", L"", L"for\u00eat \u6797"}).get(), &err),
                  3)
            << err.Message();
    }
    Reopen(true);
    TablePtr t(odsc_TableOpen(m_file, L"/Layer_1", nullptr));
    ASSERT_NE(t, nullptr);
    EXPECT_EQ(odsc_TableGetNumRows(t.get()), 5);
    EXPECT_TRUE(odsc_ColumnExist(t.get(), L"Histogram", nullptr));
    EXPECT_FALSE(odsc_ColumnExist(t.get(), L"Red", nullptr));
    ColumnPtr real(odsc_ColumnOpen(t.get(), L"Histogram", nullptr));
    ColumnPtr ints(odsc_ColumnOpen(t.get(), L"Count", nullptr));
    ColumnPtr names(odsc_ColumnOpen(t.get(), L"Class_Names", nullptr));
    ASSERT_TRUE(real && ints && names);
    EXPECT_EQ(odsc_ColumnGetType(ints.get()), ODSC_COLUMN_INTEGER);
    EXPECT_EQ(odsc_ColumnGetType(names.get()), ODSC_COLUMN_STRING);
    DataPtr r(odsc_ColumnRead(real.get(), 0, 5, nullptr, nullptr));
    ASSERT_NE(r, nullptr);
    EXPECT_EQ(r->datatype, OGDA_F64);
    EXPECT_EQ(RealsOf(r.get()), (std::vector<double>{0, 0.25, -1e300, 3.5, 0}));
    DataPtr i(odsc_ColumnRead(ints.get(), 0, 5, nullptr, nullptr));
    EXPECT_EQ(i->datatype, OGDA_S32);
    EXPECT_EQ(RealsOf(i.get()), (std::vector<double>{1, 2, -3, 2147483647, 0}));
    DataPtr s(odsc_ColumnRead(names.get(), 0, 5, nullptr, nullptr));
    EXPECT_EQ(StringsOf(s.get()),
              (std::vector<std::wstring>{L"water", L"", L"for\u00eat \u6797", L"", L""}));
    // A given table receives the rows in its own type.
    DataPtr into(ogda_BaseDataCreate(3, 1, OGDA_F64, Ogda_Table, nullptr, nullptr));
    EXPECT_EQ(odsc_ColumnRead(ints.get(), 2, 2, into.get(), nullptr), into.get());
    EXPECT_EQ(static_cast<double *>(into->data)[0], -3);
    EXPECT_EQ(static_cast<double *>(into->data)[1], 2147483647);
    // The design of every record is in the file's dictionary.
    const Omif_Dictionary *d = ohfa_FileDictionaryGet(m_file);
    EXPECT_NE(omif_DictionarySearchByName(d, L"Odsc_Table", nullptr), nullptr);
    EXPECT_NE(omif_DictionarySearchByName(d, L"Odsc_Column", nullptr), nullptr);
}

TEST_F(DscTable, ResizeKeepsRowsAndZeroesNewOnes) {
    {
        TablePtr t(odsc_TableCreate(m_file, L"/Layer_2", 3, nullptr));
        ColumnPtr c(odsc_ColumnCreate(t.get(), L"Contrast", ODSC_COLUMN_REAL, nullptr));
        ColumnPtr s(odsc_ColumnCreate(t.get(), L"Names", ODSC_COLUMN_STRING, nullptr));
        ASSERT_EQ(odsc_ColumnWrite(c.get(), 0, 3, Reals({1, 2, 3}).get(), nullptr), 3);
        ASSERT_EQ(odsc_ColumnWrite(s.get(), 0, 3, Strings({L"a", L"bb", L"ccc"}).get(), nullptr),
                  3);
        Report err;
        EXPECT_EQ(odsc_TableResize(t.get(), 6, &err), nullptr);
        EXPECT_EQ(err.Function(), L"odsc_TableResize");
        EXPECT_EQ(err.get()->number, 7); // columns still open
    }
    // Bytes in use: the file less its free space.
    auto used = [&] {
        return ohfa_FileSize(m_file, nullptr) - ohfa_FileFreeSpaceSize(m_file, nullptr);
    };
    const long usedBefore = used();
    {
        TablePtr t(odsc_TableOpen(m_file, L"/Layer_2", nullptr));
        Report err;
        ASSERT_EQ(odsc_TableResize(t.get(), 6, &err), t.get()) << err.Message();
        EXPECT_EQ(odsc_TableGetNumRows(t.get()), 6);
    }
    // The old blocks went back to the free list: the bytes in use grew by less than the new
    // blocks (6 reals and 6 strings of 4 bytes = 72).
    EXPECT_LT(used() - usedBefore, 72);
    Reopen();
    {
        TablePtr t(odsc_TableOpen(m_file, L"/Layer_2", nullptr));
        ASSERT_EQ(odsc_TableGetNumRows(t.get()), 6);
        ColumnPtr c(odsc_ColumnOpen(t.get(), L"Contrast", nullptr));
        ColumnPtr s(odsc_ColumnOpen(t.get(), L"Names", nullptr));
        DataPtr v(odsc_ColumnRead(c.get(), 0, 6, nullptr, nullptr));
        EXPECT_EQ(RealsOf(v.get()), (std::vector<double>{1, 2, 3, 0, 0, 0}));
        DataPtr n(odsc_ColumnRead(s.get(), 0, 6, nullptr, nullptr));
        EXPECT_EQ(StringsOf(n.get()),
                  (std::vector<std::wstring>{L"a", L"bb", L"ccc", L"", L"", L""}));
    }
    {
        TablePtr t(odsc_TableOpen(m_file, L"/Layer_2", nullptr));
        ASSERT_EQ(odsc_TableResize(t.get(), 2, nullptr), t.get());
        ColumnPtr c(odsc_ColumnOpen(t.get(), L"Contrast", nullptr));
        DataPtr v(odsc_ColumnRead(c.get(), 0, 2, nullptr, nullptr));
        EXPECT_EQ(RealsOf(v.get()), (std::vector<double>{1, 2}));
        Report err;
        EXPECT_EQ(odsc_ColumnRead(c.get(), 1, 2, nullptr, &err), nullptr);
        EXPECT_EQ(err.get()->number, 5);
    }
}

TEST_F(DscTable, LongerStringsWidenTheColumnAndKeepEveryRow) {
    TablePtr t(odsc_TableCreate(m_file, L"/Layer_1", 4, nullptr));
    ColumnPtr s(odsc_ColumnCreate(t.get(), L"Class_Names", ODSC_COLUMN_STRING, nullptr));
    ASSERT_EQ(odsc_ColumnWrite(s.get(), 0, 2, Strings({L"ab", L"cd"}).get(), nullptr), 2);
    const std::wstring longName(300, L'x');
    Report err;
    ASSERT_EQ(odsc_ColumnWrite(s.get(), 3, 1, Strings({longName}).get(), &err), 1) << err.Message();
    DataPtr n(odsc_ColumnRead(s.get(), 0, 4, nullptr, nullptr));
    EXPECT_EQ(StringsOf(n.get()), (std::vector<std::wstring>{L"ab", L"cd", L"", longName}));
    // A string that no column can hold is refused and changes nothing.
    EXPECT_EQ(odsc_ColumnWrite(s.get(), 0, 1, Strings({std::wstring(70000, L'y')}).get(), &err),
              -1);
    EXPECT_EQ(err.get()->number, 8);
    DataPtr again(odsc_ColumnRead(s.get(), 0, 1, nullptr, nullptr));
    EXPECT_EQ(StringsOf(again.get())[0], L"ab");
}

TEST_F(DscTable, WritesRenewTheColumnsModificationTime) {
    TablePtr t(odsc_TableCreate(m_file, L"/Layer_1", 2, nullptr));
    ColumnPtr c(odsc_ColumnCreate(t.get(), L"Red", ODSC_COLUMN_REAL, nullptr));
    const double created = odsc_ColumnGetModTime(c.get(), nullptr);
    EXPECT_GT(created, 1.6e9);
    // Force a visible change: age the entry by rewriting its time, then write data.
    ASSERT_EQ(ohfa_EntrySeek(m_file, OHFA_SEEK_PATH, L"/Layer_1/Descriptor_Table/Red", nullptr), 1);
    Ohfa_Entry e{};
    const long at = ohfa_EntryCurrentGet(m_file, &e, nullptr);
    e.modTime = 1000;
    ASSERT_EQ(ohfa_FileHostDataWrite(m_file, at, ohfa_DesignFetch(L"Ohfa_Entry", nullptr), 128, &e,
                                     nullptr),
              128);
    ASSERT_EQ(odsc_ColumnGetModTime(c.get(), nullptr), 1000);
    ASSERT_EQ(odsc_ColumnWrite(c.get(), 0, 2, Reals({0.5, 1}).get(), nullptr), 2);
    EXPECT_GE(odsc_ColumnGetModTime(c.get(), nullptr), created);
}

TEST_F(DscTable, BadArgumentsAreRefusedWithAReport) {
    Report err;
    EXPECT_EQ(odsc_TableOpen(m_file, L"/Layer_1", &err), nullptr);
    EXPECT_EQ(err.Message(), L"/Layer_1 has no descriptor table");
    EXPECT_FALSE(odsc_TableExist(m_file, L"/Layer_1", &err));
    EXPECT_FALSE(err);
    EXPECT_EQ(odsc_TableCreate(m_file, L"/Nowhere", 4, &err), nullptr);
    EXPECT_EQ(err.Message(), L"Cannot find /Nowhere");
    EXPECT_EQ(odsc_TableCreate(m_file, L"/Layer_1", 0, &err), nullptr);
    EXPECT_EQ(odsc_TableCreate(m_file, L"/Layer_1", ODSC_MAX_BINS + 1, &err), nullptr);
    EXPECT_EQ(odsc_TableCreate(nullptr, L"/Layer_1", 4, &err), nullptr);
    EXPECT_EQ(odsc_TableCreate(m_file, nullptr, 4, &err), nullptr);
    TablePtr t(odsc_TableCreate(m_file, L"/Layer_1", 4, &err));
    ASSERT_NE(t, nullptr);
    EXPECT_TRUE(odsc_TableExist(m_file, L"/Layer_1", nullptr));
    EXPECT_EQ(odsc_TableCreate(m_file, L"/Layer_1", 4, &err), nullptr);
    EXPECT_EQ(err.get()->number, 3);

    for (const wchar_t *bad : {static_cast<const wchar_t *>(nullptr), L"", L"a/b"}) {
        EXPECT_EQ(odsc_ColumnCreate(t.get(), bad, ODSC_COLUMN_REAL, &err), nullptr);
        EXPECT_EQ(err.get()->number, 1);
    }
    EXPECT_EQ(odsc_ColumnCreate(t.get(), std::wstring(64, L'n').c_str(), ODSC_COLUMN_REAL, &err),
              nullptr);
    EXPECT_EQ(odsc_ColumnCreate(t.get(), L"X", static_cast<Odsc_ColumnType>(7), &err), nullptr);
    EXPECT_EQ(odsc_ColumnOpen(t.get(), L"Missing", &err), nullptr);
    EXPECT_EQ(err.get()->number, 2);
    ColumnPtr c(odsc_ColumnCreate(t.get(), L"Red", ODSC_COLUMN_REAL, &err));
    ASSERT_NE(c, nullptr);
    EXPECT_EQ(odsc_ColumnCreate(t.get(), L"Red", ODSC_COLUMN_REAL, &err), nullptr);
    EXPECT_EQ(err.get()->number, 3);
    EXPECT_EQ(odsc_ColumnOpen(t.get(), L"Red", &err), nullptr);
    EXPECT_EQ(err.get()->number, 4);
    EXPECT_EQ(odsc_TableClose(t.get(), &err), -1);

    // Rows outside the table, and values that do not suit the column.
    for (auto [start, n] : {std::pair{-1, 1}, {0, 0}, {3, 2}, {0, 5}}) {
        EXPECT_EQ(odsc_ColumnWrite(c.get(), start, n, Reals({1, 2, 3, 4, 5}).get(), &err), -1);
        EXPECT_EQ(err.get()->number, 5);
    }
    EXPECT_EQ(odsc_ColumnWrite(c.get(), 0, 4, Reals({1, 2}).get(), &err), -1);
    EXPECT_EQ(err.get()->number, 6);
    EXPECT_EQ(odsc_ColumnWrite(c.get(), 0, 1, Strings({L"x"}).get(), &err), -1);
    EXPECT_EQ(odsc_ColumnWrite(c.get(), 0, 1, nullptr, &err), -1);
    DataPtr small(ogda_BaseDataCreate(1, 1, OGDA_F64, Ogda_Table, nullptr, nullptr));
    EXPECT_EQ(odsc_ColumnRead(c.get(), 0, 2, small.get(), &err), nullptr);
    EXPECT_EQ(err.get()->number, 6);
    EXPECT_EQ(odsc_ColumnRead(nullptr, 0, 1, nullptr, &err), nullptr);
    EXPECT_EQ(odsc_TableGetNumRows(nullptr), -1);
    EXPECT_EQ(odsc_ColumnGetType(nullptr), ODSC_COLUMN_FORCE_32_BITS);
}

// The column record bytes: numRows, columnDataPtr, dataType (16-bit), maxNumChars.
std::vector<unsigned char> ColumnBytes(int32_t rows, uint32_t at, int type, int32_t width) {
    std::vector<unsigned char> b(14);
    auto put = [&](size_t o, uint32_t v) {
        for (int i = 0; i < 4; ++i) b[o + i] = static_cast<unsigned char>(v >> (8 * i));
    };
    put(0, static_cast<uint32_t>(rows));
    put(4, at);
    b[8] = static_cast<unsigned char>(type);
    b[9] = static_cast<unsigned char>(type >> 8);
    put(10, static_cast<uint32_t>(width));
    return b;
}

TEST(DscRecords, UnsoundColumnRecordsAreRefused) {
    using orvik::dsc::DecodeColumnRecord;
    orvik::dsc::ColumnRecord r{};
    const int64_t fileSize = 10000;
    auto ok = [&](const std::vector<unsigned char> &b) {
        return DecodeColumnRecord(b.data(), static_cast<long>(b.size()), 8, fileSize, r);
    };
    EXPECT_TRUE(ok(ColumnBytes(8, 100, ODSC_COLUMN_REAL, 0)));
    EXPECT_EQ(r.columnDataPtr, 100u);
    EXPECT_TRUE(ok(ColumnBytes(10, 100, ODSC_COLUMN_INTEGER, 0))); // more rows than the table
    EXPECT_FALSE(ok(ColumnBytes(7, 100, ODSC_COLUMN_REAL, 0)));    // fewer
    EXPECT_FALSE(ok(ColumnBytes(-1, 100, ODSC_COLUMN_REAL, 0)));
    EXPECT_FALSE(ok(ColumnBytes(ODSC_MAX_BINS + 1, 100, ODSC_COLUMN_REAL, 0)));
    EXPECT_FALSE(ok(ColumnBytes(8, 0, ODSC_COLUMN_REAL, 0)));    // inside the header tag
    EXPECT_FALSE(ok(ColumnBytes(8, 9937, ODSC_COLUMN_REAL, 0))); // ends past the file
    EXPECT_TRUE(ok(ColumnBytes(8, 9936, ODSC_COLUMN_REAL, 0)));  // ends at the file's end
    EXPECT_FALSE(ok(ColumnBytes(8, 100, 3, 0)));                 // unknown type
    EXPECT_FALSE(ok(ColumnBytes(8, 100, ODSC_COLUMN_REAL, 4)));  // width on a number
    EXPECT_FALSE(ok(ColumnBytes(8, 100, ODSC_COLUMN_STRING, 0)));
    EXPECT_FALSE(ok(ColumnBytes(8, 100, ODSC_COLUMN_STRING, ODSC_MAX_STRING_BYTES + 1)));
    EXPECT_FALSE(ok(ColumnBytes(8, 100, ODSC_COLUMN_STRING, 1300))); // ends at 10500
    EXPECT_TRUE(ok(ColumnBytes(8, 100, ODSC_COLUMN_STRING, 1200)));
    auto shortRecord = ColumnBytes(8, 100, ODSC_COLUMN_REAL, 0);
    shortRecord.pop_back();
    EXPECT_FALSE(ok(shortRecord));
    EXPECT_FALSE(DecodeColumnRecord(nullptr, 14, 8, fileSize, r));

    orvik::dsc::TableRecord t{};
    const unsigned char zero[4] = {0, 0, 0, 0}, big[4] = {1, 0, 0, 1}, fine[4] = {0, 1, 0, 0};
    EXPECT_FALSE(orvik::dsc::DecodeTableRecord(zero, 4, t));
    EXPECT_FALSE(orvik::dsc::DecodeTableRecord(big, 4, t));
    EXPECT_FALSE(orvik::dsc::DecodeTableRecord(fine, 3, t));
    EXPECT_TRUE(orvik::dsc::DecodeTableRecord(fine, 4, t));
    EXPECT_EQ(t.numRows, 256);
}

TEST_F(DscTable, DamagedRecordsInAFileAreRefused) {
    {
        TablePtr t(odsc_TableCreate(m_file, L"/Layer_1", 4, nullptr));
        ColumnPtr c(odsc_ColumnCreate(t.get(), L"Red", ODSC_COLUMN_REAL, nullptr));
        ASSERT_NE(c, nullptr);
    }
    // A column record claiming a block far beyond the end of the file.
    const auto bad = ColumnBytes(4, 0x7FFF0000, ODSC_COLUMN_REAL, 0);
    ASSERT_EQ(ohfa_ObjectDataWrite(m_file, L"/Layer_1/Descriptor_Table/Red", nullptr, nullptr,
                                   OHFA_WRITE_CURRENT, 14, bad.data(), nullptr),
              0);
    Reopen(true);
    TablePtr t(odsc_TableOpen(m_file, L"/Layer_1", nullptr));
    ASSERT_NE(t, nullptr);
    Report err;
    EXPECT_EQ(odsc_ColumnOpen(t.get(), L"Red", &err), nullptr);
    EXPECT_EQ(err.Message(), L"Column \"Red\" is damaged");
    Reopen();
    // A table record of zero rows, and one of the wrong size.
    const unsigned char zero[4] = {0, 0, 0, 0};
    ASSERT_EQ(ohfa_ObjectDataWrite(m_file, L"/Layer_1/Descriptor_Table", nullptr, nullptr,
                                   OHFA_WRITE_CURRENT, 4, zero, nullptr),
              0);
    EXPECT_EQ(odsc_TableOpen(m_file, L"/Layer_1", &err), nullptr);
    EXPECT_EQ(err.Message(), L"Descriptor table /Layer_1/Descriptor_Table is damaged");
    ASSERT_EQ(ohfa_ObjectDataWrite(m_file, L"/Layer_1/Descriptor_Table", nullptr, nullptr,
                                   OHFA_WRITE_CURRENT, 2, zero, nullptr),
              0);
    EXPECT_EQ(odsc_TableOpen(m_file, L"/Layer_1", &err), nullptr);
    EXPECT_EQ(err.get()->number, 5);
}

} // namespace

namespace {

using namespace dsc_test;
using hfa_test::Report;

class DscBinFunction : public LayerFileTest {};

TEST_F(DscBinFunction, KeptWithTheTableUntilAResizeMakesItStale) {
    TablePtr t(odsc_TableCreate(m_file, L"/Layer_1", 3, nullptr));
    Report err;
    EXPECT_EQ(odsc_TableGetBinFunction(t.get(), &err), nullptr);
    EXPECT_FALSE(err);
    DataPtr edges = Reals({-1, 0.5, 2, 10});
    Odsc_BinFunction *f = odsc_BinFunctionCreate(3, ODSC_BIN_EXPLICIT, 0, 0, edges.get(), nullptr);
    ASSERT_NE(f, nullptr);
    ASSERT_EQ(odsc_TableSetBinFunction(t.get(), f, &err), 0) << err.Message();
    ASSERT_EQ(odsc_TableSetBinFunction(t.get(), f, &err), 0); // rewritten in place
    odsc_BinFunctionDelete(f);
    t.reset();
    Reopen(true);
    t.reset(odsc_TableOpen(m_file, L"/Layer_1", nullptr));
    Odsc_BinFunction *back = odsc_TableGetBinFunction(t.get(), &err);
    ASSERT_NE(back, nullptr) << err.Message();
    EXPECT_EQ(back->type, ODSC_BIN_EXPLICIT);
    EXPECT_EQ(RealsOf(back->binLimits), (std::vector<double>{-1, 0.5, 2, 10}));
    EXPECT_EQ(odsc_BinFunctionValueToBin(back, 1.0), 1);
    odsc_BinFunctionDelete(back);
    Reopen();
    t.reset(odsc_TableOpen(m_file, L"/Layer_1", nullptr));
    Odsc_BinFunction *wrong = odsc_BinFunctionCreate(4, ODSC_BIN_LINEAR, 0, 1, nullptr, nullptr);
    EXPECT_EQ(odsc_TableSetBinFunction(t.get(), wrong, &err), -1);
    EXPECT_EQ(err.Message(), L"A bin function of 4 bins for 3 rows");
    ASSERT_EQ(odsc_TableResize(t.get(), 4, nullptr), t.get());
    EXPECT_EQ(odsc_TableGetBinFunction(t.get(), &err), nullptr);
    EXPECT_FALSE(err);
    ASSERT_EQ(odsc_TableSetBinFunction(t.get(), wrong, &err), 0); // a larger record moves
    back = odsc_TableGetBinFunction(t.get(), &err);
    ASSERT_NE(back, nullptr);
    EXPECT_EQ(back->type, ODSC_BIN_LINEAR);
    EXPECT_EQ(back->numBins, 4);
    odsc_BinFunctionDelete(back);
    odsc_BinFunctionDelete(wrong);
}

TEST_F(DscBinFunction, LimitsOutOfOrderInTheFileAreRefused) {
    TablePtr t(odsc_TableCreate(m_file, L"/Layer_1", 2, nullptr));
    DataPtr edges = Reals({0, 1, 2});
    Odsc_BinFunction *f = odsc_BinFunctionCreate(2, ODSC_BIN_EXPLICIT, 0, 0, edges.get(), nullptr);
    ASSERT_EQ(odsc_TableSetBinFunction(t.get(), f, nullptr), 0);
    // The same record with its limits out of order, as a damaged file would hold it.
    static_cast<double *>(f->binLimits->data)[1] = 5;
    const Omif_Design *d =
        omif_DictionarySearchByName(ohfa_FileDictionaryGet(m_file), L"Odsc_BinFunction", nullptr);
    ASSERT_NE(d, nullptr);
    ASSERT_EQ(ohfa_ObjectWrite(m_file, L"/Layer_1/Descriptor_Table/#Bin_Function#", nullptr,
                               nullptr, OHFA_WRITE_CURRENT, f, d, nullptr),
              0);
    odsc_BinFunctionDelete(f);
    Report err;
    EXPECT_EQ(odsc_TableGetBinFunction(t.get(), &err), nullptr);
    EXPECT_EQ(err.Message(), L"The bin function of /Layer_1/Descriptor_Table is damaged");
}

} // namespace
