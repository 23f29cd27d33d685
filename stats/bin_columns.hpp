// Internal: the per-bin columns of a layer's descriptor table that the statistics records are
// stored in — their names, their messages, and the rules shared by every column writer
// (checking the start bin and bin count, choosing the colour column). The file-backed
// readers and writers are built on these. Thread-safe (constant data, pure functions).
#pragma once

#include <cstdint>

#include <orvik/oerr.h>
#include <orvik/odsc.h>

namespace orvik::stats {

// Everything that differs between the histogram, colour, contrast and class-name columns. A
// "%d" takes a long, a "%s" the column name.
struct BinColumn {
    const wchar_t *name;     // column name (colour: the red column; see ColorColumnName)
    Odsc_ColumnType type;    // value type of a column the writer creates
    const wchar_t *badStart; // start bin below 0
    const wchar_t *badCount; // bin count 0 or below -1
    const wchar_t *cannotOpen;
    const wchar_t *cannotCreate;
    const wchar_t *cannotWrite;
    const wchar_t *cannotClose;
    const wchar_t *wrongType; // existing column of another value type (null: none checked)
};

extern const BinColumn kHistogramColumn;
extern const BinColumn kColorColumn;
extern const BinColumn kContrastColumn;
extern const BinColumn kClassNamesColumn;

// Warning of the histogram writer for an existing integer column.
extern const wchar_t *const kIntegerHistogramWarning;

// Rows a writer transfers from `startBin` in a table of `rowCount` rows: `nBins`, or with
// nBins == -1 the rest of the table. The start bin is checked first, then the count; a
// failure is one report of `function` (1 start, 2 count) and the result -1.
int32_t ResolveBinRows(const BinColumn &column, const wchar_t *function, int32_t startBin,
                       int32_t nBins, int32_t rowCount, Oerr_ErrorReport **err);

// Column of colour component 0 to 3 ("Red", "Green", "Blue", "Opacity"); null for another
// component. An opacity column absent while an "Overlay" column exists gives "Overlay": tables
// written before the component had its present name keep being used.
const wchar_t *ColorColumnName(int32_t component, bool opacityExists, bool overlayExists);

} // namespace orvik::stats
