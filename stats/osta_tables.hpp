// Internal: the per-bin tables of the statistics module (histogram counts, colour components,
// contrast values, class names) are Ogda_Table arrays of one pixel type; these helpers create,
// check and copy them. Thread-safe over caller records.
#pragma once

#include <cstdint>

#include <orvik/ogda.h>
#include <orvik/osta.h>

namespace orvik::stats {

// A table (n x 1, n >= 1) of `type` with its data.
bool IsBinTable(const Ogda_BaseData *t, Ogda_PixelType type);

// New table of nBins zero elements (null strings), 1 <= nBins <= ODSC_MAX_BINS. Null with a
// report of `function` on failure.
Ogda_BaseData *NewBinTable(int32_t nBins, Ogda_PixelType type, const wchar_t *function,
                           Oerr_ErrorReport **err);

// Copies `source` (a bin table of `type`) into `destination`, which is reshaped to it, or into
// a new table when null. Returns the copy, null with a report of `function` on failure.
Ogda_BaseData *CopyBinTable(const Ogda_BaseData *source, Ogda_BaseData *destination,
                            Ogda_PixelType type, const wchar_t *function, Oerr_ErrorReport **err);

// Sets every element to 0 (numeric types only).
void ClearBinTable(Ogda_BaseData *t);

// A valid bin function and an f64 bin table of its bin count.
bool IsValidHistogram(const Osta_Histogram *h);

} // namespace orvik::stats
