// Arrays read into the caller's memory: small records (converted in memory) and large ones
// (converted from the stream), types that need a conversion step, the room check, designs
// that are no plain array, damaged counts, and ohfa_ObjectRead filling an array it holds.
#include <vector>

#include "hfa_test_util.hpp"

namespace {

using namespace hfa_test;

struct Counted {
    OMIF_COUNTED_POINTER_OF(void) values;
};

class HfaArrayRead : public HfaTest {
  protected:
    void SetUp() override {
        HfaTest::SetUp();
        m_file = ohfa_FileCreate(Name("a.hfa").c_str(), 0, nullptr);
        ASSERT_NE(m_file, nullptr);
    }
    void TearDown() override {
        for (Omif_Design *d : m_designs) omif_DesignDestroy(d, nullptr);
        if (m_file) {
            EXPECT_EQ(ohfa_FileClose(m_file, nullptr), 0);
        }
    }
    const Omif_Design *Design(const wchar_t *name, int type) {
        Omif_Design *d = omif_DesignCreateX(name, nullptr, type, L"values", 0, OMIF_COUNTED_POINTER,
                                            OMIF_ITEM_END);
        EXPECT_NE(d, nullptr);
        m_designs.push_back(d);
        return d;
    }
    template <class T>
    void Write(const wchar_t *name, const Omif_Design *design, std::vector<T> &v) {
        Counted c{};
        c.values.count = static_cast<int32_t>(v.size());
        c.values.data = v.data();
        Report err;
        ASSERT_EQ(
            ohfa_ObjectWrite(m_file, L"/", name, nullptr, OHFA_WRITE_LAST_CHILD, &c, design, &err),
            0)
            << err.Message();
    }
    Ohfa_File *m_file = nullptr;
    std::vector<Omif_Design *> m_designs;
};

TEST_F(HfaArrayRead, SmallAndLargeArraysLandInTheCallersMemory) {
    const Omif_Design *floats = Design(L"Floats", OMIF_ITEM_FLOAT);
    for (std::size_t n : {std::size_t{5}, std::size_t{600000}}) { // 20 bytes; 2.4 MB, streamed
        std::vector<float> v(n);
        for (std::size_t i = 0; i < n; ++i) v[i] = static_cast<float>(i) * 0.5f;
        const std::wstring name = L"F" + std::to_wstring(n);
        Write(name.c_str(), floats, v);
        std::vector<float> got(n + 3, -1.0f);
        Report err;
        EXPECT_EQ(ohfa_ObjectArrayRead(m_file, (L"/" + name).c_str(), OHFA_SEEK_PATH, floats,
                                       got.data(), static_cast<long>(got.size()), &err),
                  static_cast<long>(n))
            << err.Message();
        EXPECT_TRUE(std::equal(v.begin(), v.end(), got.begin()));
        EXPECT_EQ(got[n], -1.0f); // nothing beyond the stored elements is touched
    }
}

TEST_F(HfaArrayRead, ElementsThatNeedConvertingAreConvertedInPlace) {
    // 4-bit values, two to a file byte, one to a host byte (1.5 MB in the file: streamed).
    const Omif_Design *nibbles = Design(L"Nibbles", OMIF_ITEM_U4);
    std::vector<unsigned char> v(3000001);
    for (std::size_t i = 0; i < v.size(); ++i) v[i] = static_cast<unsigned char>(i * 7 % 16);
    Write(L"N", nibbles, v);
    std::vector<unsigned char> got(v.size());
    Report err;
    ASSERT_EQ(ohfa_ObjectArrayRead(m_file, L"/N", OHFA_SEEK_PATH, nibbles, got.data(),
                                   static_cast<long>(got.size()), &err),
              static_cast<long>(v.size()))
        << err.Message();
    EXPECT_EQ(got, v);
}

TEST_F(HfaArrayRead, RoomDesignAndAbsenceAreChecked) {
    const Omif_Design *doubles = Design(L"Doubles", OMIF_ITEM_DOUBLE);
    std::vector<double> v{1, 2, 3, 4};
    Write(L"D", doubles, v);
    std::vector<double> got(3, -7.0);
    Report err;
    EXPECT_EQ(ohfa_ObjectArrayRead(m_file, L"/D", OHFA_SEEK_PATH, doubles, got.data(), 3, &err),
              -1);
    EXPECT_EQ(err.Message(),
              L"Object /D holds 4 elements, more than the 3 the destination has room for");
    EXPECT_EQ(got, std::vector<double>(3, -7.0));
    EXPECT_EQ(ohfa_ObjectArrayRead(m_file, L"/None", OHFA_SEEK_PATH, doubles, got.data(), 3, &err),
              -1);
    EXPECT_TRUE(err.Has(L"Object read failure!"));
    Omif_Design *pair =
        omif_DesignCreateX(L"Pair", nullptr, OMIF_ITEM_DOUBLE, L"a", 1, OMIF_DIRECT,
                           OMIF_ITEM_DOUBLE, L"b", 0, OMIF_COUNTED_POINTER, OMIF_ITEM_END);
    m_designs.push_back(pair);
    EXPECT_EQ(ohfa_ObjectArrayRead(m_file, L"/D", OHFA_SEEK_PATH, pair, got.data(), 3, &err), -1);
    EXPECT_EQ(err.get()->number, 8);
    EXPECT_EQ(ohfa_ObjectArrayRead(m_file, L"/D", OHFA_SEEK_PATH, doubles, nullptr, 3, &err), -1);
    // An entry without data holds no elements.
    ASSERT_EQ(ohfa_EntrySeek(m_file, OHFA_SEEK_ROOT, nullptr, &err), 1);
    ASSERT_EQ(ohfa_EntryWrite(m_file, OHFA_WRITE_LAST_CHILD, L"Empty", L"Doubles", &err), 0);
    EXPECT_EQ(ohfa_ObjectArrayRead(m_file, L"/Empty", OHFA_SEEK_PATH, doubles, nullptr, 0, &err), 0)
        << err.Message();
}

TEST_F(HfaArrayRead, DamagedCountsAreRefused) {
    const Omif_Design *floats = Design(L"Floats", OMIF_ITEM_FLOAT);
    std::vector<float> v(400000, 2.0f), w(10, 3.0f); // the first streamed, then a neighbour
    Write(L"Big", floats, v);
    Write(L"Next", floats, w);
    Ohfa_Entry e{};
    ASSERT_EQ(ohfa_EntrySeek(m_file, OHFA_SEEK_PATH, L"/Big", nullptr), 1);
    ohfa_EntryCurrentGet(m_file, &e, nullptr);
    // One element more than the block holds: the neighbour's bytes would follow.
    const unsigned char more[4] = {0x81, 0x1a, 0x06, 0x00}; // 400001
    ASSERT_EQ(ohfa_FileMIFDataWrite(m_file, e.data, 4, more, nullptr), 4);
    std::vector<float> got(400001);
    Report err;
    EXPECT_EQ(
        ohfa_ObjectArrayRead(m_file, L"/Big", OHFA_SEEK_PATH, floats, got.data(), 400001, &err),
        -1);
    EXPECT_TRUE(err);
    Counted c{};
    EXPECT_EQ(ohfa_ObjectRead(m_file, L"/Big", OHFA_SEEK_PATH, &c, floats, &err), nullptr);
    EXPECT_TRUE(err);
    omif_ObjectItemsFree(&c, floats, nullptr);
}

TEST_F(HfaArrayRead, ObjectReadFillsAnArrayTheRecordHoldsOfTheStoredCount) {
    const Omif_Design *floats = Design(L"Floats", OMIF_ITEM_FLOAT);
    std::vector<float> v(300000);
    for (std::size_t i = 0; i < v.size(); ++i) v[i] = static_cast<float>(i);
    Write(L"G", floats, v);
    Counted c{};
    c.values.count = static_cast<int32_t>(v.size());
    c.values.data = omsc_HeapMalloc(static_cast<int32_t>(v.size() * sizeof(float)));
    void *held = c.values.data;
    Report err;
    ASSERT_EQ(ohfa_ObjectRead(m_file, L"/G", OHFA_SEEK_PATH, &c, floats, &err), &c)
        << err.Message();
    EXPECT_EQ(c.values.data, held);
    EXPECT_EQ(std::memcmp(held, v.data(), v.size() * sizeof(float)), 0);
    omif_ObjectItemsFree(&c, floats, nullptr);
}

} // namespace
