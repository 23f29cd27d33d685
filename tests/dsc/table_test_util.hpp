// Test helpers for descriptor tables and the statistics stored with layers: a fresh HFA file
// with layer entries, owning holders for tables and columns, table builders.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>
#include <cwchar>

#include <orvik/odsc.h>

#include "hfa/hfa_test_util.hpp"

namespace dsc_test {

struct Closer {
    void operator()(Odsc_Table *t) const { EXPECT_EQ(odsc_TableClose(t, nullptr), 0); }
    void operator()(Odsc_Column *c) const { EXPECT_EQ(odsc_ColumnClose(c, nullptr), 0); }
    void operator()(Ogda_BaseData *d) const { ogda_BaseDataDelete(d, nullptr); }
};
using TablePtr = std::unique_ptr<Odsc_Table, Closer>;
using ColumnPtr = std::unique_ptr<Odsc_Column, Closer>;
using DataPtr = std::unique_ptr<Ogda_BaseData, Closer>;

// A file "layers.hfa" with the entries /Layer_1 and /Layer_1/Sub, and /Layer_2.
class LayerFileTest : public hfa_test::HfaTest {
  protected:
    void SetUp() override {
        HfaTest::SetUp();
        m_file = ohfa_FileCreate(FileName().c_str(), 0, nullptr);
        ASSERT_NE(m_file, nullptr);
        AddEntry(L"/", L"Layer_1");
        AddEntry(L"/Layer_1", L"Sub");
        AddEntry(L"/", L"Layer_2");
    }
    void TearDown() override {
        if (m_file) {
            EXPECT_EQ(ohfa_FileClose(m_file, nullptr), 0);
        }
    }
    std::wstring FileName() const { return Name("layers.hfa"); }
    void AddEntry(const wchar_t *parent, const wchar_t *name) {
        ASSERT_EQ(ohfa_EntrySeek(m_file, OHFA_SEEK_PATH, parent, nullptr), 1);
        ASSERT_EQ(ohfa_EntryWrite(m_file, OHFA_WRITE_LAST_CHILD, name, L"Layer", nullptr), 0);
    }
    // Closes and opens the file again (read-only when asked).
    void Reopen(bool readOnly = false) {
        ASSERT_EQ(ohfa_FileClose(m_file, nullptr), 0);
        m_file = ohfa_FileOpen(FileName().c_str(), readOnly ? L"r" : L"r+", 0, nullptr);
        ASSERT_NE(m_file, nullptr);
    }

    Ohfa_File *m_file = nullptr;
};

inline DataPtr Reals(const std::vector<double> &v) {
    DataPtr t(ogda_BaseDataCreate(static_cast<int32_t>(v.size()), 1, OGDA_F64, Ogda_Table, nullptr,
                                  nullptr));
    std::copy(v.begin(), v.end(), static_cast<double *>(t->data));
    return t;
}

inline DataPtr Strings(const std::vector<std::wstring> &v) {
    DataPtr t(ogda_BaseDataCreate(static_cast<int32_t>(v.size()), 1, OGDA_STRING, Ogda_Table,
                                  nullptr, nullptr));
    auto **elements = static_cast<wchar_t **>(t->data);
    for (size_t i = 0; i < v.size(); ++i) {
        if (v[i].empty()) continue;
        elements[i] = static_cast<wchar_t *>(omsc_HeapMalloc((v[i].size() + 1) * sizeof(wchar_t)));
        std::wmemcpy(elements[i], v[i].c_str(), v[i].size() + 1);
    }
    return t;
}

inline std::vector<double> RealsOf(const Ogda_BaseData *t) {
    std::vector<double> out;
    for (int32_t i = 0; i < t->numrows; ++i) {
        double v = 0;
        switch (t->datatype) {
        case OGDA_F64:
            v = static_cast<const double *>(t->data)[i];
            break;
        case OGDA_S32:
            v = static_cast<const int32_t *>(t->data)[i];
            break;
        default:
            ADD_FAILURE() << "unexpected pixel type";
        }
        out.push_back(v);
    }
    return out;
}

inline std::vector<std::wstring> StringsOf(const Ogda_BaseData *t) {
    std::vector<std::wstring> out;
    for (int32_t i = 0; i < t->numrows; ++i) {
        const wchar_t *s = static_cast<wchar_t *const *>(t->data)[i];
        out.emplace_back(s ? s : L"");
    }
    return out;
}

} // namespace dsc_test
