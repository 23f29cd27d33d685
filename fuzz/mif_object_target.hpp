// The body of the MIF object fuzz target, shared with the replay test: arbitrary bytes are
// read as the file form of one of a set of designs that together use every item type. What
// is accepted must measure, write back to exactly its measured size and deep-copy to the same
// file form; what is refused must come with a report. Everything is freed (ASan checks).
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "fuzz/check.hpp"

#include <orvik/oerr.h>
#include <orvik/omif.h>

namespace mif_object_fuzz {

inline const wchar_t *const kEnumNames[] = {L"a", L"b", L"c", nullptr};

inline const Omif_ItemDescription kPoint[] = {OMIF_FIELD(OMIF_ITEM_DOUBLE, L"x", 1),
                                              OMIF_FIELD(OMIF_ITEM_SHORT, L"y", 1), OMIF_TABLE_END};

inline const Omif_ItemDescription kInline[] = {
    OMIF_FIELD_COUNTED(OMIF_ITEM_SHORT, L"shorts"),
    {OMIF_ITEM_BASEDATA, L"grid", 1, 0, 0, nullptr, nullptr, nullptr, nullptr},
    OMIF_TABLE_END};

inline const Omif_ItemDescription kScalars[] = {
    OMIF_FIELD(OMIF_ITEM_UCHAR, L"C", 1),   OMIF_FIELD(OMIF_ITEM_CHAR, L"c", 3),
    OMIF_FIELD(OMIF_ITEM_USHORT, L"S", 1),  OMIF_FIELD(OMIF_ITEM_SHORT, L"s", 2),
    OMIF_FIELD(OMIF_ITEM_ULONG, L"L", 1),   OMIF_FIELD(OMIF_ITEM_LONG, L"l", 1),
    OMIF_FIELD(OMIF_ITEM_S32, L"i", 1),     OMIF_FIELD(OMIF_ITEM_FLOAT, L"f", 1),
    OMIF_FIELD(OMIF_ITEM_DOUBLE, L"d", 2),  OMIF_FIELD(OMIF_ITEM_TIME, L"t", 1),
    OMIF_FIELD(OMIF_ITEM_COMPLEX, L"m", 1), OMIF_FIELD(OMIF_ITEM_DCOMPLEX, L"M", 1),
    OMIF_FIELD_ENUM(L"e", kEnumNames),      OMIF_FIELD(OMIF_ITEM_U1, L"u1", 9),
    OMIF_FIELD(OMIF_ITEM_U2, L"u2", 5),     OMIF_FIELD(OMIF_ITEM_U4, L"u4", 3),
    OMIF_FIELD(OMIF_ITEM_U1, L"none", 0),   OMIF_TABLE_END};

inline const Omif_ItemDescription kIndirect[] = {OMIF_FIELD_PTR(OMIF_ITEM_DOUBLE, L"pd", 3),
                                                 OMIF_FIELD_COUNTED(OMIF_ITEM_S32, L"ci"),
                                                 OMIF_FIELD_COUNTED(OMIF_ITEM_CHAR, L"text"),
                                                 OMIF_FIELD_COUNTED(OMIF_ITEM_U2, L"packed"),
                                                 OMIF_FIELD_COUNTED(OMIF_ITEM_ENUM, L"enums"),
                                                 OMIF_FIELD_COUNTED(OMIF_ITEM_DCOMPLEX, L"cplx"),
                                                 OMIF_TABLE_END};

inline const Omif_ItemDescription kObjects[] = {
    OMIF_FIELD_OBJECT(L"p", 1, L"Point"),
    OMIF_FIELD_OBJECT_PTR(L"pp", 2, L"Point"),
    OMIF_FIELD_OBJECT_COUNTED(L"cp", L"Point"),
    OMIF_FIELD_INLINE(L"in", 1, L"Inline", kInline),
    {OMIF_ITEM_BASEDATA, L"grids", 0, 1, OMIF_POINTER_COUNTED, nullptr, nullptr, nullptr, nullptr},
    OMIF_FIELD_OBJECT_COUNTED(L"scalars", L"Scalars"),
    OMIF_FIELD_OBJECT_COUNTED(L"indirect", L"Indirect"),
    OMIF_TABLE_END};

inline const Omif_DesignTable kDesigns[] = {{L"Point", kPoint},
                                            {L"Scalars", kScalars},
                                            {L"Indirect", kIndirect},
                                            {L"Objects", kObjects},
                                            {nullptr, nullptr}};

inline const Omif_Design *DesignOf(unsigned selector) {
    static Omif_BuiltinDesigns set = OMIF_BUILTIN_DESIGNS(kDesigns, nullptr);
    static const wchar_t *const kNames[] = {L"Point", L"Scalars", L"Indirect", L"Objects"};
    const Omif_Design *d = omif_BuiltinDesignFetch(&set, kNames[selector % 4], nullptr);
    FUZZ_CHECK(d != nullptr);
    return d;
}

inline std::vector<unsigned char> Write(const void *object, const Omif_Design *design) {
    Oerr_ErrorReport *err = nullptr;
    const long size = omif_ObjectSize(object, design, &err);
    FUZZ_CHECK(size >= 0 && err == nullptr);
    std::vector<unsigned char> out(static_cast<std::size_t>(size));
    Omif_Buffer buffer{out.data(), size, 0, 0};
    FUZZ_CHECK(omif_ConvertToMIF(nullptr, object, design, &buffer, 0, &err) == size);
    FUZZ_CHECK(err == nullptr && buffer.cursor == size);
    return out;
}

// First byte: the design; the rest: its file form.
inline int RunOne(const uint8_t *data, std::size_t size) {
    if (size < 1) return 0;
    const Omif_Design *design = DesignOf(data[0]);
    void *object = omif_ObjectAllocate(design, nullptr);
    FUZZ_CHECK(object != nullptr);
    Omif_Buffer input{const_cast<unsigned char *>(data + 1), static_cast<long>(size - 1), 0, 0};
    Oerr_ErrorReport *err = nullptr;
    long read = omif_ConvertToHost(nullptr, &input, design, object, &err);
    FUZZ_CHECK(read >= 0 && read <= input.size);
    if (!err) {
        // Reading again into the filled record reuses or replaces what it holds.
        FUZZ_CHECK(omif_ConvertToHostX(nullptr, &input, design, object, &err) >= 0);
        oerr_DeleteErrorReportEx(&err);
        input.cursor = 0;
        read = omif_ConvertToHost(nullptr, &input, design, object, &err);
    }
    if (err) {
        oerr_DeleteErrorReportEx(&err);
    } else {
        const std::vector<unsigned char> written = Write(object, design);
        void *copy = nullptr;
        void *source = object;
        FUZZ_CHECK(omif_ObjectCopy(design, &copy, &source, &err) == copy && err == nullptr);
        FUZZ_CHECK(Write(copy, design) == written);
        FUZZ_CHECK(omif_ObjectFree(copy, design, &err) == 0);
    }
    FUZZ_CHECK(omif_ObjectFree(object, design, &err) == 0);
    return 0;
}

} // namespace mif_object_fuzz
