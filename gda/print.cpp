// Printing a BaseData to standard output.
#include <cstdio>
#include <cstring>
#include <string>

#include <orvik/ogda.h>

#include "core/guard.hpp"
#include "gda/layout.hpp"
#include "gda/pixel_values.hpp"
#include "core/utf8.hpp"
#include "gda/report.hpp"

using orvik::core::SetError;
using namespace orvik::gda;

namespace {

template <class T> T Load(const unsigned char *p) {
    T v;
    std::memcpy(&v, p, sizeof v);
    return v;
}

void PrintElement(Ogda_PixelType type, const unsigned char *e) {
    switch (type) {
    case OGDA_U1:
    case OGDA_U2:
    case OGDA_U4:
    case OGDA_U8:
        std::printf("%d ", Load<uint8_t>(e));
        break;
    case OGDA_S8:
        std::printf("%d ", Load<int8_t>(e));
        break;
    case OGDA_U16:
        std::printf("%d ", Load<uint16_t>(e));
        break;
    case OGDA_S16:
        std::printf("%d ", Load<int16_t>(e));
        break;
    case OGDA_U32:
        std::printf("%u ", Load<uint32_t>(e));
        break;
    case OGDA_S32:
        std::printf("%d ", Load<int32_t>(e));
        break;
    case OGDA_F32:
        std::printf("%e ", static_cast<double>(Load<float>(e)));
        break;
    case OGDA_F64:
        std::printf("%e ", Load<double>(e));
        break;
    case OGDA_C64: {
        auto c = Load<Complex64>(e);
        std::printf("(%e, %e) ", static_cast<double>(c.re), static_cast<double>(c.im));
        break;
    }
    case OGDA_C128: {
        auto c = Load<Complex128>(e);
        std::printf("(%e, %e) ", c.re, c.im);
        break;
    }
    case OGDA_STRING: {
        const wchar_t *s = Load<const wchar_t *>(e);
        std::printf("%s ", s ? orvik::text::WideToUtf8Lossy(s).c_str() : "(null)");
        break;
    }
    default:
        break;
    }
}

} // namespace

extern "C" {

ORVIK_API void ogda_BaseDataPrint(const Ogda_BaseData *object, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT {
    if (err) *err = nullptr;
    if (!object) {
        SetError(err, L"ogda_BaseDataPrint", kPrintNoObject, nullptr, L"Null BaseData");
        return;
    }
    orvik::core::GuardedVoid(err, L"ogda_BaseDataPrint", [&] {
        std::printf("            ==============  BaseData ===============\n\n");
        std::printf("     numelements = %ld  \n", static_cast<long>(object->numelements));
        std::printf("     numrows     = %ld  \n", static_cast<long>(object->numrows));
        std::printf("     numcolumns  = %ld  \n", static_cast<long>(object->numcolumns));
        std::printf("     numbytes    = %ld  \n", static_cast<long>(object->numbytes));
        std::printf("     datatype    = %d  \n", static_cast<int>(object->datatype));
        std::printf("     objecttype  = %d  \n", static_cast<int>(object->objecttype));
        std::printf("     derivedFlag  = %d  \n\n", static_cast<int>(object->derivedFlag));
        // Elements row by row whatever the layout, one text line per row.
        if (object->data && IsPixelType(object->datatype)) {
            for (int32_t r = 0; r < object->numrows; ++r) {
                for (int32_t c = 0; c < object->numcolumns; ++c)
                    PrintElement(object->datatype, ElementAt(object, r, c));
                std::printf("\n");
            }
        }
        std::printf("\n");
    });
}

} // extern "C"
