// Create, copy and delete of the object records: statistics, covariance, excluded values and
// skip factors.
#include <cstring>

#include <orvik/ofga.h>
#include <orvik/osta.h>

#include "core/guard.hpp"
#include "stats/report.hpp"

using orvik::core::Guarded;
using orvik::core::SetError;
using orvik::core::SetOutOfMemory;
using namespace orvik::stats;

namespace {

template <class T> T *NewRecord(const wchar_t *function, Oerr_ErrorReport **err) {
    auto *r = static_cast<T *>(omsc_HeapMalloc(sizeof(T)));
    if (!r) SetOutOfMemory(err, function);
    return r;
}

// Plain records (no owned blocks) copy as bytes.
template <class T>
T *CopyPlain(const T *source, T *destination, const wchar_t *function, Oerr_ErrorReport **err) {
    if (err) *err = nullptr;
    if (!source) {
        SetError(err, function, kRecordNoSource, nullptr, L"NULL source");
        return nullptr;
    }
    T *out = destination ? destination : NewRecord<T>(function, err);
    if (out && out != source) std::memcpy(out, source, sizeof(T));
    return out;
}

// Moves a heap matrix record into the embedded one (which must be empty) and frees the shell.
void AdoptMatrix(Osta_Covariance *c, Ogda_BaseData *matrix) {
    c->covariance = *matrix;
    omsc_HeapFree(matrix);
}

bool IsNumericTable(const Ogda_BaseData *t) {
    return t && t->objecttype == Ogda_Table && t->data && t->numelements >= 1 &&
           t->datatype >= OGDA_U1 && t->datatype <= OGDA_F64;
}

// The excluded values as a new f64 table.
Ogda_BaseData *CopyValues(const Ogda_BaseData *values, const wchar_t *function,
                          Oerr_ErrorReport **err) {
    if (!IsNumericTable(values)) {
        SetError(err, function, kExcludedNotNumeric, nullptr,
                 L"Excluded values must be a numeric table");
        return nullptr;
    }
    Oerr_ErrorReport *inner = nullptr;
    Ogda_BaseData *t =
        ogda_BaseDataCreate(values->numelements, 1, OGDA_F64, Ogda_Table, nullptr, &inner);
    if (t && !ogda_BaseDataCopy(values, t, &inner)) {
        ogda_BaseDataDelete(t, nullptr);
        t = nullptr;
    }
    if (!t) SetError(err, function, kExcludedCopyFailed, inner, L"Cannot copy the excluded values");
    return t;
}

} // namespace

extern "C" {

// ---- Statistics ----------------------------------------------------------------------

ORVIK_API Osta_Statistics *osta_StatisticsCreate(Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    if (err) *err = nullptr;
    return NewRecord<Osta_Statistics>(L"osta_StatisticsCreate", err);
}

ORVIK_API Osta_Statistics *osta_StatisticsCopy(const Osta_Statistics *source,
                                               Osta_Statistics *destination, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT {
    return CopyPlain(source, destination, L"osta_StatisticsCopy", err);
}

ORVIK_API void osta_StatisticsDelete(Osta_Statistics *statistics) ORVIK_NOEXCEPT {
    omsc_HeapFree(statistics);
}

// ---- Skip factors --------------------------------------------------------------------

ORVIK_API Osta_SkipFactors *osta_SkipFactorsCreate(int32_t skipFactorX, int32_t skipFactorY,
                                                   Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    constexpr const wchar_t *kFn = L"osta_SkipFactorsCreate";
    if (err) *err = nullptr;
    if (skipFactorX < 1 || skipFactorY < 1) {
        SetError(err, kFn, kRecordBadArgument, nullptr,
                 L"Bad skip factors %ld, %ld (1 or more allowed)", long{skipFactorX},
                 long{skipFactorY});
        return nullptr;
    }
    Osta_SkipFactors *s = NewRecord<Osta_SkipFactors>(kFn, err);
    if (s) *s = {skipFactorX, skipFactorY};
    return s;
}

ORVIK_API Osta_SkipFactors *osta_SkipFactorsCopy(const Osta_SkipFactors *source,
                                                 Osta_SkipFactors *destination,
                                                 Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    return CopyPlain(source, destination, L"osta_SkipFactorsCopy", err);
}

ORVIK_API void osta_SkipFactorsDelete(Osta_SkipFactors *skipFactors) ORVIK_NOEXCEPT {
    omsc_HeapFree(skipFactors);
}

// ---- Covariance ----------------------------------------------------------------------

ORVIK_API Osta_Covariance *osta_CovarianceCreate(int32_t nLayers, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT {
    constexpr const wchar_t *kFn = L"osta_CovarianceCreate";
    if (err) *err = nullptr;
    return Guarded<Osta_Covariance *>(err, kFn, nullptr, [&]() -> Osta_Covariance * {
        if (nLayers < 1 || nLayers > OGDA_MATRIX_MAX_ORDER) {
            SetError(err, kFn, kRecordBadArgument, nullptr,
                     L"Bad number of layers %ld (1 to %ld allowed)", long{nLayers},
                     long{OGDA_MATRIX_MAX_ORDER});
            return nullptr;
        }
        Oerr_ErrorReport *inner = nullptr;
        Ogda_BaseData *m = ofga_MatrixCreate(nLayers, nLayers, OGDA_F64, &inner);
        if (!m) {
            SetError(err, kFn, kCovarianceMatrixFailed, inner,
                     L"Error reported by function ofga_MatrixCreate");
            return nullptr;
        }
        Osta_Covariance *c = NewRecord<Osta_Covariance>(kFn, err);
        if (!c) {
            ofga_MatrixDelete(m, nullptr);
            return nullptr;
        }
        AdoptMatrix(c, m);
        return c;
    });
}

ORVIK_API Osta_Covariance *osta_CovarianceCopy(const Osta_Covariance *source,
                                               Osta_Covariance *destination, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT {
    constexpr const wchar_t *kFn = L"osta_CovarianceCopy";
    if (err) *err = nullptr;
    return Guarded<Osta_Covariance *>(err, kFn, nullptr, [&]() -> Osta_Covariance * {
        if (!source) {
            SetError(err, kFn, kRecordNoSource, nullptr, L"NULL source");
            return nullptr;
        }
        if (source == destination) return destination;
        Oerr_ErrorReport *inner = nullptr;
        Ogda_BaseData *m = ofga_MatrixCopy(&source->covariance, nullptr, &inner);
        if (!m) {
            SetError(err, kFn, kCovarianceMatrixFailed, inner,
                     L"Error reported by function ofga_MatrixCopy");
            return nullptr;
        }
        Osta_Covariance *out = destination ? destination : NewRecord<Osta_Covariance>(kFn, err);
        if (!out) {
            ofga_MatrixDelete(m, nullptr);
            return nullptr;
        }
        if (destination) ogda_BaseDataDeleteContents(&destination->covariance, nullptr);
        AdoptMatrix(out, m);
        return out;
    });
}

ORVIK_API void osta_CovarianceDestroy(Osta_Covariance *covariance, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT {
    if (err) *err = nullptr;
    if (!covariance) return;
    ogda_BaseDataDeleteContents(&covariance->covariance, nullptr);
    std::memset(covariance, 0, sizeof *covariance);
}

ORVIK_API void osta_CovarianceDelete(Osta_Covariance *covariance, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT {
    osta_CovarianceDestroy(covariance, err);
    omsc_HeapFree(covariance);
}

// ---- Excluded values -----------------------------------------------------------------

ORVIK_API Osta_ExcludedValues *osta_ExcludedValuesCreate(const Ogda_BaseData *values,
                                                         Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    constexpr const wchar_t *kFn = L"osta_ExcludedValuesCreate";
    if (err) *err = nullptr;
    return Guarded<Osta_ExcludedValues *>(err, kFn, nullptr, [&]() -> Osta_ExcludedValues * {
        Ogda_BaseData *t = values ? CopyValues(values, kFn, err) : nullptr;
        if (values && !t) return nullptr;
        Osta_ExcludedValues *e = NewRecord<Osta_ExcludedValues>(kFn, err);
        if (!e) {
            ogda_BaseDataDelete(t, nullptr);
            return nullptr;
        }
        e->valueBD = t;
        return e;
    });
}

ORVIK_API Osta_ExcludedValues *osta_ExcludedValuesCopy(const Osta_ExcludedValues *source,
                                                       Osta_ExcludedValues *destination,
                                                       Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    constexpr const wchar_t *kFn = L"osta_ExcludedValuesCopy";
    if (err) *err = nullptr;
    return Guarded<Osta_ExcludedValues *>(err, kFn, nullptr, [&]() -> Osta_ExcludedValues * {
        if (!source) {
            SetError(err, kFn, kRecordNoSource, nullptr, L"NULL source");
            return nullptr;
        }
        if (source == destination) return destination;
        Ogda_BaseData *t = source->valueBD ? CopyValues(source->valueBD, kFn, err) : nullptr;
        if (source->valueBD && !t) return nullptr;
        Osta_ExcludedValues *out =
            destination ? destination : NewRecord<Osta_ExcludedValues>(kFn, err);
        if (!out) {
            ogda_BaseDataDelete(t, nullptr);
            return nullptr;
        }
        if (destination) ogda_BaseDataDelete(destination->valueBD, nullptr);
        out->valueBD = t;
        return out;
    });
}

ORVIK_API void osta_ExcludedValuesDelete(Osta_ExcludedValues *excluded) ORVIK_NOEXCEPT {
    if (!excluded) return;
    ogda_BaseDataDelete(excluded->valueBD, nullptr);
    omsc_HeapFree(excluded);
}

} // extern "C"
