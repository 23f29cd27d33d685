// Statistics, covariance, excluded values and skip factors stored with a layer: the writers,
// the readers (with the upward search of the statistics reader) and the time stamps.
#include <cstring>
#include <string>

#include <orvik/ofnp.h>
#include <orvik/osta.h>

#include "core/guard.hpp"
#include "stats/report_slot.hpp"
#include "stats/layer_objects.hpp"
#include "stats/osta_designs.hpp"
#include "stats/report.hpp"

using namespace orvik::stats;
using orvik::core::SetError;

namespace {

bool CheckArgs(const Ohfa_File *file, const wchar_t *node, const void *record, const wchar_t *fn,
               Oerr_ErrorReport **err) {
    if (file && node && record) return true;
    SetError(err, fn, kLayerBadArgument, nullptr, L"Invalid file, node or record");
    return false;
}

long WriteChecked(const LayerObject &kind, Ohfa_File *file, const wchar_t *node, const void *record,
                  const wchar_t *fn, Oerr_ErrorReport **err) {
    return WithReport<long>(err, fn, -1, [&](Oerr_ErrorReport **e) -> long {
        if (!CheckArgs(file, node, record, fn, e)) return -1;
        return WriteLayerObject(kind, file, node, record, fn, e);
    });
}

bool IsSquareMatrix(const Ogda_BaseData *m) {
    return m && m->data && m->objecttype == Ogda_Matrix && m->numrows >= 1 &&
           m->numrows == m->numcolumns && m->datatype == OGDA_F64;
}

// Frees what the object reader allocated inside a temporary record.
void FreeItems(void *record, const wchar_t *designName) {
    Oerr_ErrorReport *e = nullptr;
    const Omif_Design *d = SharedDesign(designName, L"osta", &e);
    if (d) omif_ObjectItemsFree(record, d, nullptr);
    oerr_DeleteErrorReportEx(&e);
}

Osta_Covariance *ReadCovariance(Ohfa_File *file, const wchar_t *node, Osta_Covariance *covariance,
                                const wchar_t *fn, Oerr_ErrorReport **e) {
    if (!file || !node) {
        SetError(e, fn, kLayerBadArgument, nullptr, L"Invalid file or node");
        return nullptr;
    }
    // Read into a record of its own: the caller's keeps its matrix until the read succeeded.
    Osta_Covariance read{};
    const int found = ReadLayerObject(kCovarianceObject, file, node, &read, fn, e);
    Osta_Covariance *out = nullptr;
    if (found > 0 && !IsSquareMatrix(&read.covariance)) {
        SetError(e, fn, kLayerBadRecord, nullptr, L"Covariance of %s is not a square matrix", node);
    } else if (found > 0) {
        out = osta_CovarianceCopy(&read, covariance, e);
        if (!out) SetError(e, fn, kLayerCreateFailed, *e, L"osta_CovarianceCopy failed");
    }
    FreeItems(&read, L"Osta_Covariance");
    return out;
}

Omsc_Boolean AreExcluded(Ohfa_File *file, const wchar_t *node, Osta_ExcludedValues **values,
                         const wchar_t *fn, Oerr_ErrorReport **err) {
    if (values) *values = nullptr;
    return WithReport<Omsc_Boolean>(err, fn, OMSC_FALSE, [&](Oerr_ErrorReport **e) {
        if (!file || !node) {
            SetError(e, fn, kLayerBadArgument, nullptr, L"Invalid file or node");
            return OMSC_FALSE;
        }
        Osta_ExcludedValues read{};
        const int found = ReadLayerObject(kExcludedValuesObject, file, node, &read, fn, e);
        const bool any = found > 0 && read.valueBD && read.valueBD->numelements > 0;
        bool ok = found >= 0;
        if (ok && any && values) {
            *values = osta_ExcludedValuesCreate(read.valueBD, e);
            if (!*values) {
                SetError(e, fn, kLayerCreateFailed, *e, L"osta_ExcludedValuesCreate failed");
                ok = false;
            }
        }
        FreeItems(&read, L"Osta_ExcludedValues");
        return ok && any ? OMSC_TRUE : OMSC_FALSE;
    });
}

// Opens a file by name for one call and closes it again.
template <class R, class F>
R WithFile(const wchar_t *fileName, const wchar_t *mode, const wchar_t *fn, R failure,
           Oerr_ErrorReport **e, F &&body) {
    Ohfa_File *file = fileName ? ohfa_FileOpen(fileName, mode, 0, e) : nullptr;
    if (!file) {
        SetError(e, fn, kLayerOpenFailed, *e, L"Cannot open %s", fileName ? fileName : L"(null)");
        return failure;
    }
    R r = body(file);
    Oerr_ErrorReport *closeErr = nullptr;
    if (ohfa_FileClose(file, &closeErr) != 0) {
        if (*e) {
            oerr_DeleteErrorReportEx(&closeErr);
        } else {
            SetError(e, fn, kLayerCloseFailed, closeErr, L"Cannot close %s", fileName);
            return failure;
        }
    }
    return r;
}

} // namespace

extern "C" {

// ---- Statistics ------------------------------------------------------------------------

ORVIK_API long osta_StatisticsWrite(Ohfa_File *file, const wchar_t *node,
                                    const Osta_Statistics *statistics, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT {
    return WriteChecked(kStatisticsObject, file, node, statistics, L"osta_StatisticsWrite", err);
}

ORVIK_API Osta_Statistics *osta_StatisticsRead(Ohfa_File *file, const wchar_t *node,
                                               Osta_Statistics *statistics, Omsc_Boolean searchUp,
                                               Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    constexpr const wchar_t *kFn = L"osta_StatisticsRead";
    return WithReport<Osta_Statistics *>(
        err, kFn, nullptr, [&](Oerr_ErrorReport **e) -> Osta_Statistics * {
            if (!file || !node) {
                SetError(e, kFn, kLayerBadArgument, nullptr, L"Invalid file or node");
                return nullptr;
            }
            Osta_Statistics *out = statistics;
            if (!out) {
                out = osta_StatisticsCreate(e);
                if (!out) {
                    SetError(e, kFn, kLayerCreateFailed, *e, L"osta_StatisticsCreate failed");
                    return nullptr;
                }
            }
            auto fail = [&]() -> Osta_Statistics * {
                if (out != statistics) osta_StatisticsDelete(out);
                return nullptr;
            };
            int found = ReadLayerObject(kStatisticsObject, file, node, out, kFn, e);
            if (found < 0) return fail();
            if (found == 0 && searchUp) {
                // Statistics are inherited from the nearest ancestor that has them; the root
                // itself is not asked.
                wchar_t *path = ofnp_NodePathGet(node, OFNP_PART_PATH, e);
                if (!path) {
                    SetError(e, kFn, kLayerNoMemory, *e, L"No memory");
                    return fail();
                }
                while (found == 0) {
                    wchar_t *parent = ofnp_NodePathGet(path, OFNP_PART_PARENT, e);
                    omsc_HeapFree(path);
                    path = parent;
                    if (!parent) {
                        SetError(e, kFn, kLayerParent, *e, L"ofnp_NodePathGet failed");
                        return fail();
                    }
                    if (std::wcscmp(parent, OFNP_ROOT) == 0) break;
                    found = ReadLayerObject(kStatisticsObject, file, parent, out, kFn, e);
                }
                omsc_HeapFree(path);
                if (found < 0) return fail();
            }
            return found > 0 ? out : fail();
        });
}

ORVIK_API double osta_StatisticsGetTimeStamp(Ohfa_File *file, const wchar_t *node,
                                             Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    constexpr const wchar_t *kFn = L"osta_StatisticsGetTimeStamp";
    return WithReport<double>(err, kFn, -1, [&](Oerr_ErrorReport **e) {
        return EntryTime(file, node, kStatisticsObject.entryName, kFn, e);
    });
}

// ---- Covariance ------------------------------------------------------------------------

ORVIK_API long osta_CovarianceWrite(Ohfa_File *file, const wchar_t *node,
                                    const Osta_Covariance *covariance, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT {
    constexpr const wchar_t *kFn = L"osta_CovarianceWrite";
    if (covariance && !IsSquareMatrix(&covariance->covariance)) {
        if (err) *err = nullptr;
        SetError(err, kFn, kLayerBadArgument, nullptr, L"Covariance is not a square matrix");
        return -1;
    }
    return WriteChecked(kCovarianceObject, file, node, covariance, kFn, err);
}

ORVIK_API long osta_CovarianceWriteByName(const wchar_t *fileName, const wchar_t *node,
                                          const Osta_Covariance *covariance, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT {
    constexpr const wchar_t *kFn = L"osta_CovarianceWriteByName";
    return WithReport<long>(err, kFn, -1, [&](Oerr_ErrorReport **e) {
        return WithFile<long>(fileName, L"r+", kFn, -1, e, [&](Ohfa_File *file) -> long {
            if (osta_CovarianceWrite(file, node, covariance, e) == 0) return 0;
            SetError(e, kFn, kLayerCreateFailed, *e, L"osta_CovarianceWrite failed");
            return -1;
        });
    });
}

ORVIK_API Osta_Covariance *osta_CovarianceRead(Ohfa_File *file, const wchar_t *node,
                                               Osta_Covariance *covariance, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT {
    constexpr const wchar_t *kFn = L"osta_CovarianceRead";
    return WithReport<Osta_Covariance *>(err, kFn, nullptr, [&](Oerr_ErrorReport **e) {
        return ReadCovariance(file, node, covariance, kFn, e);
    });
}

ORVIK_API Osta_Covariance *osta_CovarianceReadByName(const wchar_t *fileName, const wchar_t *node,
                                                     Osta_Covariance *covariance,
                                                     Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    constexpr const wchar_t *kFn = L"osta_CovarianceReadByName";
    return WithReport<Osta_Covariance *>(err, kFn, nullptr, [&](Oerr_ErrorReport **e) {
        return WithFile<Osta_Covariance *>(fileName, L"r", kFn, nullptr, e, [&](Ohfa_File *f) {
            return ReadCovariance(f, node, covariance, kFn, e);
        });
    });
}

ORVIK_API double osta_CovarianceGetTimeStamp(Ohfa_File *file, const wchar_t *node,
                                             Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    constexpr const wchar_t *kFn = L"osta_CovarianceGetTimeStamp";
    return WithReport<double>(err, kFn, -1, [&](Oerr_ErrorReport **e) {
        return EntryTime(file, node, kCovarianceObject.entryName, kFn, e);
    });
}

// ---- Excluded values and skip factors ----------------------------------------------------
// The statistics, histogram and covariance of a layer are computed from the same samples, so
// the three forms of each writer and reader share one entry.

ORVIK_API long osta_StatisticsWriteExcludedValues(Ohfa_File *file, const wchar_t *node,
                                                  const Osta_ExcludedValues *excluded,
                                                  Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    return WriteChecked(kExcludedValuesObject, file, node, excluded,
                        L"osta_StatisticsWriteExcludedValues", err);
}
ORVIK_API long osta_HistogramWriteExcludedValues(Ohfa_File *file, const wchar_t *node,
                                                 const Osta_ExcludedValues *excluded,
                                                 Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    return WriteChecked(kExcludedValuesObject, file, node, excluded,
                        L"osta_HistogramWriteExcludedValues", err);
}
ORVIK_API long osta_CovarianceWriteExcludedValues(Ohfa_File *file, const wchar_t *node,
                                                  const Osta_ExcludedValues *excluded,
                                                  Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    return WriteChecked(kExcludedValuesObject, file, node, excluded,
                        L"osta_CovarianceWriteExcludedValues", err);
}

ORVIK_API Omsc_Boolean osta_StatisticsAreValuesExcluded(Ohfa_File *file, const wchar_t *node,
                                                        Osta_ExcludedValues **values,
                                                        Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    return AreExcluded(file, node, values, L"osta_StatisticsAreValuesExcluded", err);
}
ORVIK_API Omsc_Boolean osta_HistogramAreValuesExcluded(Ohfa_File *file, const wchar_t *node,
                                                       Osta_ExcludedValues **values,
                                                       Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    return AreExcluded(file, node, values, L"osta_HistogramAreValuesExcluded", err);
}
ORVIK_API Omsc_Boolean osta_CovarianceAreValuesExcluded(Ohfa_File *file, const wchar_t *node,
                                                        Osta_ExcludedValues **values,
                                                        Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    return AreExcluded(file, node, values, L"osta_CovarianceAreValuesExcluded", err);
}

ORVIK_API long osta_StatisticsWriteSkipFactors(Ohfa_File *file, const wchar_t *node,
                                               const Osta_SkipFactors *skip, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT {
    return WriteChecked(kSkipFactorsObject, file, node, skip, L"osta_StatisticsWriteSkipFactors",
                        err);
}
ORVIK_API long osta_HistogramWriteSkipFactors(Ohfa_File *file, const wchar_t *node,
                                              const Osta_SkipFactors *skip, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT {
    return WriteChecked(kSkipFactorsObject, file, node, skip, L"osta_HistogramWriteSkipFactors",
                        err);
}
ORVIK_API long osta_CovarianceWriteSkipFactors(Ohfa_File *file, const wchar_t *node,
                                               const Osta_SkipFactors *skip, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT {
    return WriteChecked(kSkipFactorsObject, file, node, skip, L"osta_CovarianceWriteSkipFactors",
                        err);
}

ORVIK_API Osta_SkipFactors *osta_StatisticsGetSkipFactors(Ohfa_File *file, const wchar_t *node,
                                                          Osta_SkipFactors *skip,
                                                          Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    constexpr const wchar_t *kFn = L"osta_StatisticsGetSkipFactors";
    return WithReport<Osta_SkipFactors *>(
        err, kFn, nullptr, [&](Oerr_ErrorReport **e) -> Osta_SkipFactors * {
            if (!file || !node) {
                SetError(e, kFn, kLayerBadArgument, nullptr, L"Invalid file or node");
                return nullptr;
            }
            Osta_SkipFactors read{};
            const int found = ReadLayerObject(kSkipFactorsObject, file, node, &read, kFn, e);
            if (found <= 0) return nullptr;
            if (read.skipFactorX < 1 || read.skipFactorY < 1) {
                SetError(e, kFn, kLayerBadRecord, nullptr, L"Bad skip factors %ld, %ld in %s",
                         long{read.skipFactorX}, long{read.skipFactorY}, node);
                return nullptr;
            }
            Osta_SkipFactors *out = osta_SkipFactorsCopy(&read, skip, e);
            if (!out) SetError(e, kFn, kLayerCreateFailed, *e, L"osta_SkipFactorsCopy failed");
            return out;
        });
}

} // extern "C"
