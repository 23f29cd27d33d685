// Bin functions: creation with its checks, copy, delete, and the mapping between values and
// bins for the five kinds.
#include <algorithm>
#include <cmath>
#include <limits>

#include "core/guard.hpp"
#include "dsc/bin_function.hpp"
#include "dsc/report.hpp"

using orvik::core::Guarded;
using orvik::core::SetError;
using orvik::core::SetOutOfMemory;

namespace orvik::dsc {

namespace {

bool IsLimitsTable(const Ogda_BaseData *t, int64_t expected) {
    return t && t->datatype == OGDA_F64 && t->objecttype == Ogda_Table && t->data &&
           t->numcolumns == 1 && t->numelements == expected && expected >= 1;
}

// Index of the last edge not above `value` among n ascending edges (value >= edges[0]).
int32_t LastEdgeAtOrBelow(const double *edges, int32_t n, double value) {
    return static_cast<int32_t>(std::upper_bound(edges, edges + n, value) - edges) - 1;
}

} // namespace

bool IsValidBinFunction(const Odsc_BinFunction *f) {
    if (!f || f->numBins < 1 || f->numBins > ODSC_MAX_BINS) return false;
    switch (f->type) {
    case ODSC_BIN_DIRECT:
        return std::isfinite(f->minLimit) && f->minLimit == std::floor(f->minLimit) &&
               f->maxLimit == f->minLimit + (f->numBins - 1) && std::isfinite(f->maxLimit);
    case ODSC_BIN_LINEAR:
        return std::isfinite(f->minLimit) && std::isfinite(f->maxLimit) &&
               f->minLimit < f->maxLimit && std::isfinite(f->maxLimit - f->minLimit);
    case ODSC_BIN_LOGARITHMIC:
        return f->minLimit > 0 && std::isfinite(f->maxLimit) && f->minLimit < f->maxLimit;
    case ODSC_BIN_EXPLICIT:
        return IsLimitsTable(f->binLimits, int64_t{f->numBins} + 1);
    case ODSC_BIN_UNIQUE:
        return IsLimitsTable(f->binLimits, f->numBins);
    default:
        return false;
    }
}

int32_t ValueToBin(const Odsc_BinFunction *f, double value) {
    if (std::isnan(value)) return -1;
    const int32_t last = f->numBins - 1;
    switch (f->type) {
    case ODSC_BIN_DIRECT: {
        const double b = std::floor(value) - f->minLimit;
        return b <= 0 ? 0 : b >= last ? last : static_cast<int32_t>(b);
    }
    case ODSC_BIN_LINEAR:
        return LinearBin(value, f->minLimit, f->numBins, LinearScale(f));
    case ODSC_BIN_LOGARITHMIC: {
        // Non-positive values have no logarithm; they lie below minLimit > 0, so bin 0.
        if (value <= f->minLimit) return 0;
        const double span = std::log(f->maxLimit) - std::log(f->minLimit);
        return LinearBin(std::log(value), std::log(f->minLimit), f->numBins, f->numBins / span);
    }
    case ODSC_BIN_EXPLICIT: {
        const double *edges = Limits(f);
        if (value < edges[0]) return 0;
        return std::min(LastEdgeAtOrBelow(edges, f->numBins + 1, value), last);
    }
    case ODSC_BIN_UNIQUE: {
        const double *values = Limits(f);
        const double *hit = std::lower_bound(values, values + f->numBins, value);
        return hit != values + f->numBins && *hit == value ? static_cast<int32_t>(hit - values)
                                                           : -1;
    }
    default:
        return -1;
    }
}

} // namespace orvik::dsc

using namespace orvik::dsc;

namespace {

constexpr const wchar_t *kCreate = L"odsc_BinFunctionCreate";

// The limits as a new f64 table, checked to ascend strictly.
Ogda_BaseData *CopyLimits(const Ogda_BaseData *limits, Oerr_ErrorReport **err) {
    Oerr_ErrorReport *inner = nullptr;
    Ogda_BaseData *copy =
        ogda_BaseDataCreate(limits->numelements, 1, OGDA_F64, Ogda_Table, nullptr, &inner);
    if (copy && !ogda_BaseDataCopy(limits, copy, &inner)) {
        ogda_BaseDataDelete(copy, nullptr);
        copy = nullptr;
    }
    if (!copy) {
        SetError(err, kCreate, kCreateLimitsCopyFailed, inner, L"Cannot copy the bin limits");
        return nullptr;
    }
    const double *v = static_cast<const double *>(copy->data);
    for (int32_t i = 0; i < copy->numelements; ++i) {
        if (!std::isfinite(v[i]) || (i > 0 && !(v[i] > v[i - 1]))) {
            SetError(err, kCreate, kCreateLimitsNotAscending, nullptr,
                     L"Bin limit %ld (%g) is not finite or not above the one before it", long{i},
                     v[i]);
            ogda_BaseDataDelete(copy, nullptr);
            return nullptr;
        }
    }
    return copy;
}

} // namespace

extern "C" {

ORVIK_API Odsc_BinFunction *odsc_BinFunctionCreate(int32_t numBins, Odsc_BinFunctionType type,
                                                   double minLimit, double maxLimit,
                                                   const Ogda_BaseData *binLimits,
                                                   Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    if (err) *err = nullptr;
    return Guarded<Odsc_BinFunction *>(err, kCreate, nullptr, [&]() -> Odsc_BinFunction * {
        Odsc_BinFunction f{numBins, type, minLimit, maxLimit, nullptr};
        const bool listed = type == ODSC_BIN_EXPLICIT || type == ODSC_BIN_UNIQUE;
        if (type < ODSC_BIN_DIRECT || type > ODSC_BIN_UNIQUE) {
            SetError(err, kCreate, kCreateUnknownType, nullptr, L"Unknown bin function type %ld",
                     long{type});
            return nullptr;
        }
        if (listed) {
            if (!binLimits || binLimits->objecttype != Ogda_Table || !binLimits->data ||
                binLimits->datatype < OGDA_U1 || binLimits->datatype > OGDA_F64 ||
                binLimits->numelements < (type == ODSC_BIN_EXPLICIT ? 2 : 1) ||
                binLimits->numelements > ODSC_MAX_BINS) {
                SetError(err, kCreate, kCreateBadLimits, nullptr,
                         L"Bin limits must be a numeric table of 1 to %ld entries (2 or more "
                         L"edges for explicit bins)",
                         long{ODSC_MAX_BINS});
                return nullptr;
            }
            const int32_t n = binLimits->numelements - (type == ODSC_BIN_EXPLICIT ? 1 : 0);
            if (numBins != 0 && numBins != n) {
                SetError(err, kCreate, kCreateBadBins, nullptr,
                         L"Number of bins %ld does not match the %ld bins of the limits",
                         long{numBins}, long{n});
                return nullptr;
            }
            f.numBins = n;
        } else if (type == ODSC_BIN_DIRECT) {
            f.maxLimit = minLimit + (numBins - 1.0);
        }
        if (listed) {
            f.binLimits = CopyLimits(binLimits, err);
            if (!f.binLimits) return nullptr;
            const double *v = Limits(&f);
            f.minLimit = v[0];
            f.maxLimit = v[binLimits->numelements - 1];
        } else if (!IsValidBinFunction(&f)) {
            SetError(err, kCreate, kCreateBadBins, nullptr,
                     L"Bad bins: %ld bins from %g to %g do not suit the bin function type",
                     long{numBins}, minLimit, maxLimit);
            return nullptr;
        }
        auto *out = static_cast<Odsc_BinFunction *>(omsc_HeapMalloc(sizeof(Odsc_BinFunction)));
        if (!out) {
            ogda_BaseDataDelete(f.binLimits, nullptr);
            SetOutOfMemory(err, kCreate);
            return nullptr;
        }
        *out = f;
        return out;
    });
}

ORVIK_API Odsc_BinFunction *odsc_BinFunctionCopy(const Odsc_BinFunction *source,
                                                 Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    constexpr const wchar_t *kFn = L"odsc_BinFunctionCopy";
    if (err) *err = nullptr;
    return Guarded<Odsc_BinFunction *>(err, kFn, nullptr, [&]() -> Odsc_BinFunction * {
        if (!IsValidBinFunction(source)) {
            SetError(err, kFn, kCopyBadSource, nullptr, L"Bad source bin function");
            return nullptr;
        }
        Odsc_BinFunction f = *source;
        if (source->binLimits) {
            Oerr_ErrorReport *inner = nullptr;
            f.binLimits = ogda_BaseDataCopy(source->binLimits, nullptr, &inner);
            if (!f.binLimits) {
                SetError(err, kFn, kCopyLimitsFailed, inner, L"Cannot copy the bin limits");
                return nullptr;
            }
        }
        auto *out = static_cast<Odsc_BinFunction *>(omsc_HeapMalloc(sizeof(Odsc_BinFunction)));
        if (!out) {
            ogda_BaseDataDelete(f.binLimits, nullptr);
            SetOutOfMemory(err, kFn);
            return nullptr;
        }
        *out = f;
        return out;
    });
}

ORVIK_API void odsc_BinFunctionDelete(Odsc_BinFunction *binFunction) ORVIK_NOEXCEPT {
    if (!binFunction) return;
    ogda_BaseDataDelete(binFunction->binLimits, nullptr);
    omsc_HeapFree(binFunction);
}

ORVIK_API int32_t odsc_BinFunctionValueToBin(const Odsc_BinFunction *binFunction, double value)
    ORVIK_NOEXCEPT {
    return IsValidBinFunction(binFunction) ? ValueToBin(binFunction, value) : -1;
}

ORVIK_API Omsc_Boolean odsc_BinFunctionBinLimits(const Odsc_BinFunction *f, int32_t bin,
                                                 double *low, double *high) ORVIK_NOEXCEPT {
    if (!IsValidBinFunction(f) || bin < 0 || bin >= f->numBins || !low || !high) return OMSC_FALSE;
    switch (f->type) {
    case ODSC_BIN_DIRECT:
        *low = f->minLimit + bin - 0.5;
        *high = f->minLimit + bin + 0.5;
        break;
    case ODSC_BIN_LINEAR: {
        const double width = (f->maxLimit - f->minLimit) / f->numBins;
        *low = f->minLimit + bin * width;
        *high = bin == f->numBins - 1 ? f->maxLimit : f->minLimit + (bin + 1) * width;
        break;
    }
    case ODSC_BIN_LOGARITHMIC: {
        const double lo = std::log(f->minLimit);
        const double step = (std::log(f->maxLimit) - lo) / f->numBins;
        *low = bin == 0 ? f->minLimit : std::exp(lo + bin * step);
        *high = bin == f->numBins - 1 ? f->maxLimit : std::exp(lo + (bin + 1) * step);
        break;
    }
    case ODSC_BIN_EXPLICIT:
        *low = Limits(f)[bin];
        *high = Limits(f)[bin + 1];
        break;
    default:
        *low = *high = Limits(f)[bin];
        break;
    }
    return OMSC_TRUE;
}

ORVIK_API double odsc_BinFunctionBinToValue(const Odsc_BinFunction *f, int32_t bin) ORVIK_NOEXCEPT {
    double low, high;
    if (!odsc_BinFunctionBinLimits(f, bin, &low, &high))
        return std::numeric_limits<double>::quiet_NaN();
    switch (f->type) {
    case ODSC_BIN_DIRECT:
        return f->minLimit + bin;
    case ODSC_BIN_LOGARITHMIC:
        return std::sqrt(low) * std::sqrt(high);
    case ODSC_BIN_UNIQUE:
        return low;
    default:
        return low + (high - low) / 2;
    }
}

ORVIK_API int32_t odsc_BinFunctionGetNumBins(const Odsc_BinFunction *binFunction) ORVIK_NOEXCEPT {
    return IsValidBinFunction(binFunction) ? binFunction->numBins : 0;
}

ORVIK_API Ogda_PixelType odsc_ColumnTypePixelType(Odsc_ColumnType type) ORVIK_NOEXCEPT {
    switch (type) {
    case ODSC_COLUMN_INTEGER:
        return OGDA_S32;
    case ODSC_COLUMN_REAL:
        return OGDA_F64;
    case ODSC_COLUMN_STRING:
        return OGDA_STRING;
    default:
        return OGDA_PIXEL_INVALID;
    }
}

} // extern "C"
