// Clamping the elements of a BaseData into a range, in place.
#include <cmath>
#include <cstring>

#include <orvik/ogda.h>

#include "core/guard.hpp"
#include "gda/layout.hpp"
#include "gda/pixel_values.hpp"
#include "gda/report.hpp"

using orvik::core::Guarded;
using orvik::core::SetError;
using namespace orvik::gda;

namespace {

template <class T> void ClampAll(Ogda_BaseData *o, T lo, T hi) {
    const int32_t lines = LineCount(o), length = LineLength(o);
    for (int32_t l = 0; l < lines; ++l) {
        T *p = reinterpret_cast<T *>(LineAt(o, l));
        for (int32_t e = 0; e < length; ++e) {
            // NaN compares false both ways and is kept.
            if (p[e] < lo)
                p[e] = lo;
            else if (p[e] > hi)
                p[e] = hi;
        }
    }
}

template <int T> bool ClipInteger(Ogda_BaseData *o, double minimum, double maximum) {
    using V = typename Pixel<T>::type;
    // Bounds move inward to the nearest values of the type.
    const double lo = std::fmax(std::ceil(minimum), static_cast<double>(Pixel<T>::lo));
    const double hi = std::fmin(std::floor(maximum), static_cast<double>(Pixel<T>::hi));
    if (lo > hi) return false;
    ClampAll<V>(o, static_cast<V>(lo), static_cast<V>(hi));
    return true;
}

} // namespace

extern "C" {

ORVIK_API Ogda_BaseData *ogda_BaseDataClip(Ogda_BaseData *object, double minimum, double maximum,
                                           Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    static const wchar_t *const fn = L"ogda_BaseDataClip";
    if (err) *err = nullptr;
    return Guarded<Ogda_BaseData *>(err, fn, nullptr, [&]() -> Ogda_BaseData * {
        if (!object || (!object->dataStart && object->numelements > 0)) {
            SetError(err, fn, kClipNoObject, nullptr, L"Null BaseData");
            return nullptr;
        }
        if (!(minimum <= maximum)) {
            SetError(err, fn, kClipBadRange, nullptr, L"Bad range");
            return nullptr;
        }
        bool ok = true;
        switch (object->datatype) {
        case OGDA_U1:
            ok = ClipInteger<OGDA_U1>(object, minimum, maximum);
            break;
        case OGDA_U2:
            ok = ClipInteger<OGDA_U2>(object, minimum, maximum);
            break;
        case OGDA_U4:
            ok = ClipInteger<OGDA_U4>(object, minimum, maximum);
            break;
        case OGDA_U8:
            ok = ClipInteger<OGDA_U8>(object, minimum, maximum);
            break;
        case OGDA_S8:
            ok = ClipInteger<OGDA_S8>(object, minimum, maximum);
            break;
        case OGDA_U16:
            ok = ClipInteger<OGDA_U16>(object, minimum, maximum);
            break;
        case OGDA_S16:
            ok = ClipInteger<OGDA_S16>(object, minimum, maximum);
            break;
        case OGDA_U32:
            ok = ClipInteger<OGDA_U32>(object, minimum, maximum);
            break;
        case OGDA_S32:
            ok = ClipInteger<OGDA_S32>(object, minimum, maximum);
            break;
        case OGDA_F32:
        case OGDA_C64:
            // A complex element is two floats; each part is clamped on its own.
            if (object->datatype == OGDA_C64) {
                Ogda_BaseData parts = *object;
                parts.numbytes = 4;
                if (parts.objecttype == Ogda_Matrix)
                    parts.numrows *= 2;
                else
                    parts.numcolumns *= 2;
                ClampAll<float>(&parts, DoubleToFloat(minimum), DoubleToFloat(maximum));
            } else {
                ClampAll<float>(object, DoubleToFloat(minimum), DoubleToFloat(maximum));
            }
            break;
        case OGDA_F64:
        case OGDA_C128:
            if (object->datatype == OGDA_C128) {
                Ogda_BaseData parts = *object;
                parts.numbytes = 8;
                if (parts.objecttype == Ogda_Matrix)
                    parts.numrows *= 2;
                else
                    parts.numcolumns *= 2;
                ClampAll<double>(&parts, minimum, maximum);
            } else {
                ClampAll<double>(object, minimum, maximum);
            }
            break;
        default:
            SetError(err, fn, kClipBadType, nullptr, L"Cannot clip %s data",
                     IsPixelType(object->datatype) ? ogda_PixelNameFromType(object->datatype)
                                                   : L"invalid");
            return nullptr;
        }
        if (!ok) {
            SetError(err, fn, kClipEmptyRange, nullptr, L"Range holds no %s value",
                     ogda_PixelNameFromType(object->datatype));
            return nullptr;
        }
        return object;
    });
}

} // extern "C"
