// Internal: checks and the value-to-bin arithmetic of bin functions, shared by the exported
// functions and by the statistics module's histogram loops (which inline the linear case).
// Pure functions over caller records; thread-safe.
#pragma once

#include <cmath>
#include <cstdint>

#include <orvik/odsc.h>

namespace orvik::dsc {

// A function whose fields agree with its kind (count, limits, table shape). Does not re-check
// that explicit or unique limits ascend; creation does, and copies keep them.
bool IsValidBinFunction(const Odsc_BinFunction *f);

inline const double *Limits(const Odsc_BinFunction *f) {
    return static_cast<const double *>(f->binLimits->data);
}

// Bin of `value` under a linear kind, given lo, the number of bins and bins per unit (all as
// in the record). Values beyond either end clamp; NaN must be screened by the caller.
inline int32_t LinearBin(double value, double lo, int32_t numBins, double scale) {
    const double x = (value - lo) * scale;
    if (!(x >= 0)) return 0;
    if (x >= numBins) return numBins - 1;
    return static_cast<int32_t>(x);
}

// Bins per unit of a linear kind.
inline double LinearScale(const Odsc_BinFunction *f) {
    return f->numBins / (f->maxLimit - f->minLimit);
}

// Any kind; -1 for no bin. Requires a valid function.
int32_t ValueToBin(const Odsc_BinFunction *f, double value);

} // namespace orvik::dsc
