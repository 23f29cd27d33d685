// Per-bin tables: the shared helpers and the create/copy/delete functions of the colour,
// colour-stack, contrast and class-name records.
#include <cstring>

#include <orvik/osta.h>

#include "core/guard.hpp"
#include "stats/osta_tables.hpp"
#include "stats/report.hpp"

using orvik::core::Guarded;
using orvik::core::SetError;
using orvik::core::SetOutOfMemory;

namespace orvik::stats {

bool IsBinTable(const Ogda_BaseData *t, Ogda_PixelType type) {
    return t && t->datatype == type && t->objecttype == Ogda_Table && t->numcolumns == 1 &&
           t->numrows >= 1 && t->numrows <= ODSC_MAX_BINS && t->numelements == t->numrows &&
           t->data;
}

Ogda_BaseData *NewBinTable(int32_t nBins, Ogda_PixelType type, const wchar_t *function,
                           Oerr_ErrorReport **err) {
    if (nBins < 1 || nBins > ODSC_MAX_BINS) {
        SetError(err, function, kTableBadArgument, nullptr,
                 L"Bad number of bins %ld (1 to %ld allowed)", long{nBins}, long{ODSC_MAX_BINS});
        return nullptr;
    }
    Oerr_ErrorReport *inner = nullptr;
    Ogda_BaseData *t = ogda_BaseDataCreate(nBins, 1, type, Ogda_Table, nullptr, &inner);
    if (!t) {
        SetError(err, function, kTableCallFailed, inner, L"ogda_BaseDataCreate failed");
        return nullptr;
    }
    std::memset(t->data, 0, size_t(t->numbytes) * size_t(nBins));
    return t;
}

Ogda_BaseData *CopyBinTable(const Ogda_BaseData *source, Ogda_BaseData *destination,
                            Ogda_PixelType type, const wchar_t *function, Oerr_ErrorReport **err) {
    if (!IsBinTable(source, type) || (destination && !IsBinTable(destination, type))) {
        SetError(err, function, kTableBadArgument, nullptr, L"Bad source or destination table");
        return nullptr;
    }
    if (source == destination) return destination;
    Oerr_ErrorReport *inner = nullptr;
    if (destination && destination->numrows != source->numrows &&
        !ogda_BaseDataReallocate(destination, source->numrows, 1, &inner)) {
        SetError(err, function, kTableCallFailed, inner, L"ogda_BaseDataReallocate failed");
        return nullptr;
    }
    Ogda_BaseData *out = ogda_BaseDataCopy(source, destination, &inner);
    if (!out) SetError(err, function, kTableCopyFailed, inner, L"ogda_BaseDataCopy failed");
    return out;
}

void ClearBinTable(Ogda_BaseData *t) {
    std::memset(t->data, 0, size_t(t->numbytes) * size_t(t->numelements));
}

} // namespace orvik::stats

using namespace orvik::stats;

namespace {

Ogda_BaseData *Create(int32_t nBins, Ogda_PixelType type, const wchar_t *function,
                      Oerr_ErrorReport **err) {
    if (err) *err = nullptr;
    return Guarded<Ogda_BaseData *>(err, function, nullptr,
                                    [&] { return NewBinTable(nBins, type, function, err); });
}

Ogda_BaseData *Copy(const Ogda_BaseData *source, Ogda_BaseData *destination, Ogda_PixelType type,
                    const wchar_t *function, Oerr_ErrorReport **err) {
    if (err) *err = nullptr;
    return Guarded<Ogda_BaseData *>(err, function, nullptr, [&] {
        return CopyBinTable(source, destination, type, function, err);
    });
}

bool IsColorStack(const Ogda_BaseDataStack *s) {
    if (!s || s->count < 1 || s->count > OSTA_MAX_COLOR_COMPONENTS || !s->layers) return false;
    for (int32_t i = 0; i < s->count; ++i)
        if (!IsBinTable(s->layers[i], OGDA_F64) || s->layers[i]->numrows != s->layers[0]->numrows)
            return false;
    return true;
}

} // namespace

extern "C" {

ORVIK_API Osta_ColorTable *osta_ColorTableCreate(int32_t nBins, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT {
    return Create(nBins, OGDA_F64, L"osta_ColorTableCreate", err);
}
ORVIK_API Osta_ColorTable *osta_ColorTableCopy(const Osta_ColorTable *source,
                                               Osta_ColorTable *destination, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT {
    return Copy(source, destination, OGDA_F64, L"osta_ColorTableCopy", err);
}
ORVIK_API void osta_ColorTableDelete(Osta_ColorTable *table) ORVIK_NOEXCEPT {
    ogda_BaseDataDelete(table, nullptr);
}

ORVIK_API Osta_ContrastTable *osta_ContrastTableCreate(int32_t nBins, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT {
    return Create(nBins, OGDA_F64, L"osta_ContrastTableCreate", err);
}
ORVIK_API Osta_ContrastTable *osta_ContrastTableCopy(const Osta_ContrastTable *source,
                                                     Osta_ContrastTable *destination,
                                                     Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    return Copy(source, destination, OGDA_F64, L"osta_ContrastTableCopy", err);
}
ORVIK_API void osta_ContrastTableDelete(Osta_ContrastTable *table) ORVIK_NOEXCEPT {
    ogda_BaseDataDelete(table, nullptr);
}

ORVIK_API Osta_ClassNames *osta_ClassNamesCreate(int32_t nBins, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT {
    return Create(nBins, OGDA_STRING, L"osta_ClassNamesCreate", err);
}
ORVIK_API Osta_ClassNames *osta_ClassNamesCopy(const Osta_ClassNames *source,
                                               Osta_ClassNames *destination, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT {
    return Copy(source, destination, OGDA_STRING, L"osta_ClassNamesCopy", err);
}
ORVIK_API void osta_ClassNamesDelete(Osta_ClassNames *names) ORVIK_NOEXCEPT {
    ogda_BaseDataDelete(names, nullptr);
}

ORVIK_API Osta_ColorTableStack *osta_ColorTableStackCreate(int32_t nComponents, int32_t nBins,
                                                           Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    constexpr const wchar_t *kFn = L"osta_ColorTableStackCreate";
    if (err) *err = nullptr;
    return Guarded<Osta_ColorTableStack *>(err, kFn, nullptr, [&]() -> Osta_ColorTableStack * {
        if (nComponents < 1 || nComponents > OSTA_MAX_COLOR_COMPONENTS) {
            SetError(err, kFn, kTableBadArgument, nullptr,
                     L"Bad number of color components %ld (1 to 4 allowed)", long{nComponents});
            return nullptr;
        }
        Oerr_ErrorReport *inner = nullptr;
        Ogda_BaseDataStack *s =
            ogda_BaseDataStackCreate(nComponents, nBins, 1, OGDA_F64, Ogda_Table, &inner);
        if (!s) {
            SetError(err, kFn, kTableCallFailed, inner, L"ogda_BaseDataStackCreate failed");
            return nullptr;
        }
        for (int32_t i = 0; i < s->count; ++i) ClearBinTable(s->layers[i]);
        return s;
    });
}

ORVIK_API Osta_ColorTableStack *osta_ColorTableStackCopy(const Osta_ColorTableStack *source,
                                                         Osta_ColorTableStack *destination,
                                                         Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    constexpr const wchar_t *kFn = L"osta_ColorTableStackCopy";
    if (err) *err = nullptr;
    return Guarded<Osta_ColorTableStack *>(err, kFn, nullptr, [&]() -> Osta_ColorTableStack * {
        if (!IsColorStack(source) || (destination && !IsColorStack(destination))) {
            SetError(err, kFn, kTableBadArgument, nullptr,
                     L"Bad source or destination color table stack");
            return nullptr;
        }
        if (source == destination) return destination;
        // Built whole before the destination is touched, so a failure leaves it as it was.
        Oerr_ErrorReport *inner = nullptr;
        Ogda_BaseDataStack *copy = ogda_BaseDataStackCopy(source, nullptr, &inner);
        if (!copy) {
            SetError(err, kFn, kTableCallFailed, inner, L"ogda_BaseDataStackCopy failed");
            return nullptr;
        }
        if (!destination) return copy;
        Ogda_BaseDataStack old = *destination;
        *destination = *copy;
        *copy = old;
        ogda_BaseDataStackDelete(copy, nullptr);
        return destination;
    });
}

ORVIK_API void osta_ColorTableStackDelete(Osta_ColorTableStack *stack) ORVIK_NOEXCEPT {
    ogda_BaseDataStackDelete(stack, nullptr);
}

} // extern "C"
