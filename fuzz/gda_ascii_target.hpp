// The body of the BaseData ASCII fuzz target, shared with the replay test. The first six
// bytes choose the object type, pixel type and the three size arguments (small, negative or
// huge); the rest is the file. Whatever is read must write, and what is written must read
// back equal, through both entry points; every failure comes with a report and every
// success without one.
#pragma once

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <fstream>
#include <string>

#include <orvik/oerr.h>
#include <orvik/ogda.h>

#include "fuzz/check.hpp"
#include "fuzz/scratch.hpp"
#include "gda/layout.hpp"

namespace gda_ascii_fuzz {

// A call's result and its report agree; the report is dropped.
inline void CheckOutcome(bool ok, Oerr_ErrorReport *&err) {
    FUZZ_CHECK(ok == (err == nullptr));
    oerr_DeleteErrorReportEx(&err);
}

inline std::wstring TempName(const char *leaf) {
    const std::string name = orvik_fuzz::ScratchFolder() + "/gda_" + leaf;
    return std::wstring(name.begin(), name.end());
}

inline std::string Narrow(const std::wstring &w) { return std::string(w.begin(), w.end()); }

inline bool SameReal(double a, double b) { return (std::isnan(a) && std::isnan(b)) || a == b; }

// "%.16g" keeps 16 digits: a double comes back as the nearest double to its text.
inline double ThroughText(double v) {
    char text[64];
    std::snprintf(text, sizeof text, "%.16g", v);
    return std::strtod(text, nullptr);
}

inline bool SameElement(Ogda_PixelType type, const unsigned char *a, const unsigned char *b) {
    switch (type) {
    case OGDA_F32:
    case OGDA_C64: {
        float x[2] = {}, y[2] = {};
        const size_t n = type == OGDA_F32 ? 4 : 8;
        std::memcpy(x, a, n);
        std::memcpy(y, b, n);
        return SameReal(x[0], y[0]) && SameReal(x[1], y[1]);
    }
    case OGDA_F64:
    case OGDA_C128: {
        double x[2] = {}, y[2] = {};
        const size_t n = type == OGDA_F64 ? 8 : 16;
        std::memcpy(x, a, n);
        std::memcpy(y, b, n);
        return SameReal(ThroughText(x[0]), y[0]) && SameReal(ThroughText(x[1]), y[1]);
    }
    case OGDA_STRING: {
        const wchar_t *x, *y;
        std::memcpy(&x, a, sizeof x);
        std::memcpy(&y, b, sizeof y);
        return x && y && std::wcscmp(x, y) == 0;
    }
    default:
        return std::memcmp(a, b, static_cast<size_t>(orvik::gda::BytesPerPixel(type))) == 0;
    }
}

inline void CheckSame(const Ogda_BaseDataStack *a, const Ogda_BaseDataStack *b) {
    FUZZ_CHECK(a->count == b->count);
    for (int32_t l = 0; l < a->count; ++l) {
        const Ogda_BaseData *x = a->layers[l], *y = b->layers[l];
        FUZZ_CHECK(x->numrows == y->numrows && x->numcolumns == y->numcolumns &&
                   x->datatype == y->datatype);
        for (int32_t r = 0; r < x->numrows; ++r)
            for (int32_t c = 0; c < x->numcolumns; ++c)
                FUZZ_CHECK(SameElement(x->datatype, orvik::gda::ElementAt(x, r, c),
                                       orvik::gda::ElementAt(y, r, c)));
    }
}

inline int32_t SizeArgument(uint8_t value, bool huge) {
    const auto small = static_cast<int32_t>(static_cast<int8_t>(value));
    return huge ? small * (1 << 23) : small;
}

inline int RunOne(const uint8_t *data, size_t size) {
    if (size < 6) return 0;
    const auto objecttype = static_cast<Ogda_ObjectType>(data[0] % OGDA_OBJECT_TYPE_COUNT);
    const auto datatype = static_cast<Ogda_PixelType>(data[1] % OGDA_PIXEL_TYPE_COUNT);
    const int32_t nrows = SizeArgument(data[2], data[5] & 1),
                  ncolumns = SizeArgument(data[3], data[5] & 2),
                  nlayers = SizeArgument(data[4], data[5] & 4);
    const std::wstring input = TempName("in"), output = TempName("out");
    {
        std::ofstream out(Narrow(input), std::ios::binary | std::ios::trunc);
        out.write(reinterpret_cast<const char *>(data + 6), static_cast<std::streamsize>(size - 6));
    }
    Oerr_ErrorReport *err = nullptr;
    Ogda_BaseDataStack *s = ogda_CreateBaseDataStackFromAscii(objecttype, datatype, nrows, ncolumns,
                                                              nlayers, input.c_str(), &err);
    CheckOutcome(s != nullptr, err);
    if (s) {
        const Ogda_BaseData *first = s->layers[0];
        FUZZ_CHECK(s->count >= 1 && first->datatype == datatype && first->objecttype == objecttype);
        FUZZ_CHECK(objecttype != Ogda_Scalar || (first->numrows == 1 && first->numcolumns == 1));
        FUZZ_CHECK(objecttype != Ogda_Table || first->numcolumns == 1);
        const bool written = ogda_BaseDataStackWriteAscii(s, output.c_str(), &err) == OMSC_TRUE;
        FUZZ_CHECK(written || datatype == OGDA_STRING); // only strings may not read back
        CheckOutcome(written, err);
        if (written) {
            Ogda_BaseDataStack *t = ogda_CreateBaseDataStackFromAscii(
                objecttype, datatype, first->numrows, first->numcolumns, s->count, output.c_str(),
                &err);
            FUZZ_CHECK(t != nullptr);
            CheckOutcome(true, err);
            CheckSame(s, t);
            FUZZ_CHECK(ogda_BaseDataStackSetZero(t, &err) == t);
            FUZZ_CHECK(ogda_BaseDataStackReadAscii(t, output.c_str(), &err) == t);
            CheckOutcome(true, err);
            CheckSame(s, t);
            ogda_BaseDataStackDelete(t, nullptr);
        }
        ogda_BaseDataStackDelete(s, nullptr);
    }
    // The same text read into a small existing stack of the chosen types.
    Ogda_BaseDataStack *e = ogda_BaseDataStackCreate(
        (data[4] & 3) + 1, objecttype == Ogda_Scalar ? 1 : (data[2] & 3) + 1,
        objecttype <= Ogda_Table ? 1 : (data[3] & 3) + 1, datatype, objecttype, &err);
    FUZZ_CHECK(e != nullptr);
    CheckOutcome(ogda_BaseDataStackReadAscii(e, input.c_str(), &err) == e, err);
    ogda_BaseDataStackDelete(e, nullptr);
    std::remove(Narrow(input).c_str());
    std::remove(Narrow(output).c_str());
    return 0;
}

} // namespace gda_ascii_fuzz
