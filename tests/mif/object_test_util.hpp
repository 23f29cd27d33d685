// Test helpers for MIF records: owned designs, report chains as text, buffer conversion.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include <orvik/oerr.h>
#include <orvik/ogda.h>
#include <orvik/omif.h>

#include "portable.hpp"

namespace mif_test {

struct DesignDeleter {
    void operator()(Omif_Design *d) const { omif_DesignDestroy(d, nullptr); }
};
using DesignPtr = std::unique_ptr<Omif_Design, DesignDeleter>;

inline DesignPtr Make(const wchar_t *name, const Omif_ItemDescription *table,
                      const Omif_Dictionary *dictionary = nullptr) {
    Oerr_ErrorReport *err = nullptr;
    Omif_Design *d = omif_DesignCreateFromTable(name, table, dictionary, &err);
    EXPECT_EQ(err, nullptr);
    oerr_DeleteErrorReportEx(&err);
    return DesignPtr(d);
}

// "function: message" of every record, outermost first; releases the chain.
inline std::vector<std::wstring> Chain(Oerr_ErrorReport *&err) {
    std::vector<std::wstring> out;
    for (Oerr_ErrorReport *r = err; r; r = r->next)
        out.push_back(std::wstring(r->function ? r->function : L"") + L": " +
                      (r->message ? r->message : L""));
    oerr_DeleteErrorReportEx(&err);
    return out;
}

using Bytes = std::vector<unsigned char>;

// File form of a record written into a buffer of exactly omif_ObjectSize bytes.
inline Bytes ToFile(const void *object, const Omif_Design *design, long baseOffset = 0) {
    Oerr_ErrorReport *err = nullptr;
    const long size = omif_ObjectSize(object, design, &err);
    EXPECT_EQ(err, nullptr);
    Bytes out(static_cast<std::size_t>(size > 0 ? size : 0));
    Omif_Buffer buffer{out.data(), size, 0, baseOffset};
    const long written = omif_ConvertToMIF(nullptr, object, design, &buffer, 0, &err);
    EXPECT_EQ(err, nullptr) << (err ? err->message : L"");
    oerr_DeleteErrorReportEx(&err);
    EXPECT_EQ(written, size);
    EXPECT_EQ(buffer.cursor, size);
    return out;
}

// Reads a record from bytes; returns the bytes consumed (the report is left in *err).
inline long FromFile(const Bytes &bytes, const Omif_Design *design, void *object,
                     Oerr_ErrorReport **err) {
    Omif_Buffer buffer{const_cast<unsigned char *>(bytes.data()), static_cast<long>(bytes.size()),
                       0, 0};
    return omif_ConvertToHost(nullptr, &buffer, design, object, err);
}

class TempFile {
  public:
    // The file is the only one in a folder of its own, created empty.
    TempFile()
        : m_folder(orvik_test::MakeTempFolder("omif-test-")), m_path(m_folder + "/object.bin") {
        std::ofstream(m_path, std::ios::binary);
    }
    ~TempFile() {
        std::error_code ec;
        std::filesystem::remove_all(m_folder, ec);
    }
    std::wstring Wide() const { return std::wstring(m_path.begin(), m_path.end()); }
    const std::string &Path() const { return m_path; }

  private:
    std::string m_folder;
    std::string m_path;
};

// A design with every kind of nesting: direct, plain-pointer, inline and counted objects,
// counted base data and counted text; Sample() builds a heap-owned record of it.
class ShapeFixture : public ::testing::Test {
  protected:
    void SetUp() override {
        static const Omif_ItemDescription kPoint[] = {OMIF_FIELD(OMIF_ITEM_DOUBLE, L"x", 1),
                                                      OMIF_FIELD(OMIF_ITEM_DOUBLE, L"y", 1),
                                                      OMIF_TABLE_END};
        static const Omif_ItemDescription kBox[] = {OMIF_FIELD(OMIF_ITEM_LONG, L"w", 1),
                                                    OMIF_FIELD(OMIF_ITEM_SHORT, L"h", 1),
                                                    OMIF_TABLE_END};
        static const Omif_ItemDescription kShape[] = {
            OMIF_FIELD_OBJECT(L"origin", 1, L"Point"),
            OMIF_FIELD_OBJECT_PTR(L"corners", 2, L"Point"),
            OMIF_FIELD_INLINE(L"box", 1, L"Box", kBox),
            OMIF_FIELD_OBJECT_COUNTED(L"path", L"Point"),
            {OMIF_ITEM_BASEDATA, L"grid", 1, 1, OMIF_POINTER_COUNTED, NULL, NULL, NULL, NULL},
            OMIF_FIELD_COUNTED(OMIF_ITEM_CHAR, L"label"),
            OMIF_TABLE_END};
        Oerr_ErrorReport *err = nullptr;
        dictionary = omif_DictionaryCreate(&err);
        DesignPtr point = Make(L"Point", kPoint);
        ASSERT_TRUE(omif_DictionaryAddDesign(dictionary, point.get(), &err));
        shape = Make(L"Shape", kShape, dictionary);
        ASSERT_TRUE(shape);
    }
    void TearDown() override {
        shape.reset();
        omif_DictionaryDestroy(dictionary, nullptr);
    }
    struct Point {
        double x, y;
    };
    struct Shape {
        Point origin;
        Point *corners;
        struct {
            int32_t w;
            int16_t h;
        } box;
        OMIF_COUNTED_POINTER_OF(Point) path;
        OMIF_COUNTED_POINTER_OF(Ogda_BaseData) grid;
        OMIF_COUNTED_POINTER_OF(char) label;
    };
    // A heap-owned sample record (free with omif_ObjectFree).
    Shape *Sample() {
        auto *s = static_cast<Shape *>(omif_ObjectAllocate(shape.get(), nullptr));
        s->origin = {1.5, -2.5};
        s->corners = static_cast<Point *>(omsc_HeapMalloc(2 * sizeof(Point)));
        s->corners[0] = {3, 4};
        s->corners[1] = {5, 6};
        s->box.w = 7;
        s->box.h = -8;
        s->path.count = 3;
        s->path.data = static_cast<Point *>(omsc_HeapMalloc(3 * sizeof(Point)));
        for (int i = 0; i < 3; ++i) s->path.data[i] = {double(i), double(10 * i)};
        s->grid.count = 1;
        s->grid.data = static_cast<Ogda_BaseData *>(omsc_HeapMalloc(sizeof(Ogda_BaseData)));
        Ogda_BaseData *bd = ogda_BaseDataCreate(2, 3, OGDA_S16, Ogda_Table, nullptr, nullptr);
        for (int k = 0; k < 6; ++k)
            static_cast<int16_t *>(bd->data)[k] = static_cast<int16_t>(k * 100 - 250);
        *s->grid.data = *bd;
        omsc_HeapFree(bd); // the record took over the block
        s->label.count = 4;
        s->label.data = static_cast<char *>(omsc_HeapMalloc(4));
        std::memcpy(s->label.data, "abc", 4);
        return s;
    }
    Omif_Dictionary *dictionary = nullptr;
    DesignPtr shape;
};

} // namespace mif_test
