// The module's four object designs and osta_Init. The designs are built together, at the first
// request, into one process-wide dictionary inside the thread-unsafe section (the built-in
// design mechanism of mif/); every fetch hands out a copy that the caller owns.
#include <orvik/osta.h>

#include "core/guard.hpp"
#include "stats/osta_designs.hpp"
#include "stats/report.hpp"

using orvik::core::Guarded;
using orvik::core::SetError;
using namespace orvik::stats;

namespace {

const Omif_ItemDescription kStatisticsItems[] = {OMIF_FIELD(OMIF_ITEM_DOUBLE, L"minimum", 1),
                                                 OMIF_FIELD(OMIF_ITEM_DOUBLE, L"maximum", 1),
                                                 OMIF_FIELD(OMIF_ITEM_DOUBLE, L"mean", 1),
                                                 OMIF_FIELD(OMIF_ITEM_DOUBLE, L"median", 1),
                                                 OMIF_FIELD(OMIF_ITEM_DOUBLE, L"mode", 1),
                                                 OMIF_FIELD(OMIF_ITEM_DOUBLE, L"stddev", 1),
                                                 OMIF_TABLE_END};
const Omif_ItemDescription kCovarianceItems[] = {OMIF_FIELD(OMIF_ITEM_BASEDATA, L"covariance", 1),
                                                 OMIF_TABLE_END};
const Omif_ItemDescription kExcludedValuesItems[] = {
    OMIF_FIELD_PTR(OMIF_ITEM_BASEDATA, L"valueBD", 1), OMIF_TABLE_END};
const Omif_ItemDescription kSkipFactorsItems[] = {OMIF_FIELD(OMIF_ITEM_LONG, L"skipFactorX", 1),
                                                  OMIF_FIELD(OMIF_ITEM_LONG, L"skipFactorY", 1),
                                                  OMIF_TABLE_END};

const Omif_DesignTable kDesigns[] = {{L"Osta_Statistics", kStatisticsItems},
                                     {L"Osta_Covariance", kCovarianceItems},
                                     {L"Osta_ExcludedValues", kExcludedValuesItems},
                                     {L"Osta_SkipFactors", kSkipFactorsItems},
                                     {nullptr, nullptr}};

Omif_BuiltinDesigns g_designs = OMIF_BUILTIN_DESIGNS(kDesigns, nullptr);

// The module dictionary, built on first use; null with "Dictionary create fail" over the
// builder's report.
const Omif_Dictionary *ModuleDictionary(const wchar_t *function, Oerr_ErrorReport **err) {
    Oerr_ErrorReport *inner = nullptr;
    const Omif_Dictionary *d = omif_BuiltinDictionaryGet(&g_designs, &inner);
    if (!d) SetError(err, function, kDesignDictionaryFailed, inner, L"Dictionary create fail");
    return d;
}

Omif_Design *Fetch(const wchar_t *function, const wchar_t *name, Oerr_ErrorReport **err) {
    if (err) *err = nullptr;
    return Guarded<Omif_Design *>(err, function, nullptr, [&]() -> Omif_Design * {
        const Omif_Dictionary *d = ModuleDictionary(function, err);
        if (!d) return nullptr;
        Oerr_ErrorReport *inner = nullptr;
        const Omif_Design *shared = omif_DictionarySearchByName(d, name, &inner);
        Omif_Design *copy = shared ? omif_DesignCopy(shared, &inner) : nullptr;
        if (!copy) SetError(err, function, kDesignCopyFailed, inner, L"Design create failed");
        return copy;
    });
}

} // namespace

namespace orvik::stats {

const Omif_Design *SharedDesign(const wchar_t *name, const wchar_t *function,
                                Oerr_ErrorReport **err) {
    const Omif_Dictionary *d = ModuleDictionary(function, err);
    if (!d) return nullptr;
    Oerr_ErrorReport *inner = nullptr;
    const Omif_Design *shared = omif_DictionarySearchByName(d, name, &inner);
    if (!shared) SetError(err, function, kDesignCopyFailed, inner, L"Design create failed");
    return shared;
}

} // namespace orvik::stats

extern "C" {

ORVIK_API Omif_Design *osta_StatisticsDesignFetch(Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    return Fetch(L"osta_StatisticsDesignFetch", L"Osta_Statistics", err);
}
ORVIK_API Omif_Design *osta_CovarianceDesignFetch(Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    return Fetch(L"osta_CovarianceDesignFetch", L"Osta_Covariance", err);
}
ORVIK_API Omif_Design *osta_ExcludedValuesDesignFetch(Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    return Fetch(L"osta_ExcludedValuesDesignFetch", L"Osta_ExcludedValues", err);
}
ORVIK_API Omif_Design *osta_SkipFactorsDesignFetch(Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    return Fetch(L"osta_SkipFactorsDesignFetch", L"Osta_SkipFactors", err);
}

ORVIK_API Omsc_Boolean osta_Init(const void *toolkit, Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    constexpr const wchar_t *kFn = L"osta_Init";
    if (err) *err = nullptr;
    return Guarded<Omsc_Boolean>(err, kFn, OMSC_FALSE, [&] {
        if (!toolkit) {
            SetError(err, kFn, kInitNoToolkit, nullptr, L"Toolkit has not been initialized");
            return OMSC_FALSE;
        }
        return ModuleDictionary(kFn, err) ? OMSC_TRUE : OMSC_FALSE;
    });
}

} // extern "C"
