// Internal: moving a per-bin record (one element per bin) to and from its column of a layer's
// descriptor table, with the messages of each record kind. Used by one thread at a time per
// table, like the file.
#pragma once

#include <cstdint>

#include <orvik/osta.h>

#include "stats/bin_columns.hpp"
#include "stats/report.hpp"

namespace orvik::stats {

// The readers' messages of one record kind ("%s": the column name).
struct BinColumnReading {
    const wchar_t *badTable;
    const wchar_t *noColumn;
    const wchar_t *cannotOpen;
    const wchar_t *cannotRead;
};

extern const BinColumnReading kHistogramReading;
extern const BinColumnReading kColorReading;
extern const BinColumnReading kContrastReading;
extern const BinColumnReading kClassNamesReading;

// The column a colour component uses in this table; null with a report for a component
// outside 0..3.
const wchar_t *ColorColumnOf(Odsc_Table *table, int32_t component, const wchar_t *fn,
                             Oerr_ErrorReport **err);

// Writes bins startBin .. of `values` into the column `name` (created with the kind's type
// when missing). Returns the number of bins written, or -1.
long WriteBins(const BinColumn &kind, const wchar_t *name, Odsc_Table *table,
               const Ogda_BaseData *values, int32_t startBin, int32_t nBins, const wchar_t *fn,
               Oerr_ErrorReport **err);

// Checks a reader's arguments in their order: table, bin count, start bin.
bool CheckRead(const BinColumnReading &reading, const Odsc_Table *table, int32_t startBin,
               int32_t nBins, const wchar_t *fn, Oerr_ErrorReport **err);

// Reads bins startBin .. into `values` (an existing per-bin record). Returns 1, 0 when the
// column is missing (reported unless `ifPresent`), -1 on failure.
int ReadBins(const BinColumn &kind, const BinColumnReading &reading, const wchar_t *name,
             Odsc_Table *table, Ogda_BaseData *values, int32_t startBin, int32_t nBins,
             bool ifPresent, const wchar_t *fn, Oerr_ErrorReport **err);

} // namespace orvik::stats
