// Setting the elements of a region (whole array, diagonal, one row, one column) from raw
// pixels of the object's own type.
#include <cstring>

#include <orvik/ogda.h>
#include <orvik/ostr.h>

#include "core/guard.hpp"
#include "gda/layout.hpp"
#include "gda/report.hpp"

using orvik::core::Guarded;
using orvik::core::SetError;
using orvik::core::SetOutOfMemory;
using namespace orvik::gda;

namespace {

// Writes one element from *source; false when a string copy cannot be allocated.
bool PutElement(unsigned char *element, const unsigned char *source, bool isString,
                int32_t numbytes) {
    if (!isString) {
        std::memcpy(element, source, static_cast<size_t>(numbytes));
        return true;
    }
    const wchar_t *text;
    std::memcpy(&text, source, sizeof text);
    wchar_t *copy = ostr_StringCopy(text, nullptr);
    if (text && !copy) return false;
    wchar_t *old;
    std::memcpy(&old, element, sizeof old);
    omsc_HeapFree(old);
    std::memcpy(element, &copy, sizeof copy);
    return true;
}

} // namespace

extern "C" {

ORVIK_API Ogda_BaseData *ogda_BaseDataSetBoth(Ogda_BaseData *object, const void *values,
                                              int32_t region, int32_t index, int32_t increment,
                                              Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    static const wchar_t *const fn = L"ogda_BaseDataSetBoth";
    if (err) *err = nullptr;
    return Guarded<Ogda_BaseData *>(err, fn, nullptr, [&]() -> Ogda_BaseData * {
        if (!object || !values || (!object->data && object->numelements > 0)) {
            SetError(err, fn, kSetNoArgument, nullptr, L"Null BaseData or values");
            return nullptr;
        }
        const int32_t nb = object->numbytes;
        const bool isString = object->datatype == OGDA_STRING;
        const int64_t step = int64_t{increment} * nb;
        const auto *src = static_cast<const unsigned char *>(values);
        auto put = [&](unsigned char *element) {
            if (!PutElement(element, src, isString, nb)) return false;
            src += step;
            return true;
        };
        auto outOfMemory = [&]() -> Ogda_BaseData * {
            SetOutOfMemory(err, fn);
            return nullptr;
        };
        switch (region) {
        case OGDA_REGION_ALL: {
            const int32_t lines = LineCount(object), length = LineLength(object);
            // A replicated numeric value is written once and the first line copied onwards.
            const bool replicate = increment == 0 && !isString;
            for (int32_t l = 0; l < lines; ++l) {
                unsigned char *line = LineAt(object, l);
                if (replicate && l > 0) {
                    std::memcpy(line, LineAt(object, 0), static_cast<size_t>(length) * nb);
                    continue;
                }
                for (int32_t e = 0; e < length; ++e) {
                    if (!put(line + int64_t{e} * nb)) return outOfMemory();
                }
            }
            return object;
        }
        case OGDA_REGION_DIAGONAL: {
            if (object->numrows != object->numcolumns) {
                SetError(err, fn, kSetNotSquare, nullptr, nullptr);
                return nullptr;
            }
            auto *element = static_cast<unsigned char *>(object->data);
            for (int32_t i = 0; i < object->numrows; ++i, element += object->lineBytes + nb) {
                if (!put(element)) return outOfMemory();
            }
            return object;
        }
        case OGDA_REGION_ROW:
        case OGDA_REGION_COLUMN: {
            const bool row = region == OGDA_REGION_ROW;
            if (index < 0 || index >= (row ? object->numrows : object->numcolumns)) {
                SetError(err, fn, kSetBadIndex, nullptr, L"Bad index %ld",
                         static_cast<long>(index));
                return nullptr;
            }
            const int32_t n = row ? object->numcolumns : object->numrows;
            for (int32_t i = 0; i < n; ++i) {
                if (!put(row ? ElementAt(object, index, i) : ElementAt(object, i, index)))
                    return outOfMemory();
            }
            return object;
        }
        default:
            SetError(err, fn, kSetBadRegion, nullptr, L"Bad region %ld", static_cast<long>(region));
            return nullptr;
        }
    });
}

ORVIK_API Ogda_BaseData *ogda_BaseDataSet(Ogda_BaseData *object, const void *values, int32_t region,
                                          int32_t index, Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    return ogda_BaseDataSetBoth(object, values, region, index, 1, err);
}

ORVIK_API Ogda_BaseData *ogda_BaseDataSetScalar(Ogda_BaseData *object, const void *value,
                                                int32_t region, int32_t index,
                                                Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    return ogda_BaseDataSetBoth(object, value, region, index, 0, err);
}

} // extern "C"
