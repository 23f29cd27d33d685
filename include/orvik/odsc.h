/*
 * odsc.h - descriptor tables and bin functions.
 *
 * A descriptor table holds per-bin attributes of a raster layer (histogram counts, colour
 * components, contrast values, class names), one named column per attribute, one row per
 * bin. A bin function says which bin a pixel value falls into and which value a bin stands
 * for. A layer's table lives in its HFA file, under the entry "Descriptor_Table" of the
 * layer, one child entry per column (docs/descriptor-tables.md, docs/hfa-format.md).
 *
 * Bin function kinds (value v, numBins bins, bin b in 0..numBins-1):
 *   DIRECT       b = floor(v) - minLimit; bin b stands for minLimit + b. For integer data:
 *                one bin per value.
 *   LINEAR       numBins equal bins between minLimit and maxLimit; b stands for its centre.
 *   LOGARITHMIC  numBins bins equal in log(v) between minLimit > 0 and maxLimit; b stands for
 *                its geometric centre. Values <= 0 lie below every bin: they fall into bin 0
 *                like any other value below minLimit.
 *   EXPLICIT     binLimits holds numBins + 1 strictly ascending edges; bin b is
 *                [edge b, edge b+1), the last bin includes its upper edge; b stands for the
 *                middle of its edges.
 *   UNIQUE       binLimits holds numBins strictly ascending values; a value falls into the bin
 *                of an equal value and into no bin otherwise; b stands for its value.
 * Numeric kinds (all but UNIQUE) put values below the first bin into bin 0 and values above
 * the last into bin numBins-1, as a histogram's end bins collect outliers. NaN falls into no
 * bin.
 *
 * Records come from the library heap and belong to the caller; no function keeps state, so
 * distinct records may be used from distinct threads.
 */
#ifndef ORVIK_ODSC_H
#define ORVIK_ODSC_H

#include <stdint.h>
#include <wchar.h>

#include <orvik/oerr.h>
#include <orvik/ogda.h>
#include <orvik/ohfa.h>
#include <orvik/omsc.h>

ORVIK_BEGIN_DECLS

/* Largest number of bins of a bin function, and of rows of a descriptor table. */
#define ODSC_MAX_BINS (1 << 24)

/* ---- Bin functions ------------------------------------------------------------------- */

typedef enum Odsc_BinFunctionType_ {
    ODSC_BIN_DIRECT = 0,
    ODSC_BIN_LINEAR = 1,
    ODSC_BIN_LOGARITHMIC = 2,
    ODSC_BIN_EXPLICIT = 3,
    ODSC_BIN_UNIQUE = 4,
    ODSC_BIN_FORCE_32_BITS = 0x7fffffff
} Odsc_BinFunctionType;

typedef struct Odsc_BinFunction_ {
    int32_t numBins;
    Odsc_BinFunctionType type;
    double minLimit;          /* DIRECT: value of bin 0; LINEAR, LOGARITHMIC: low edge */
    double maxLimit;          /* DIRECT: value of the last bin; LINEAR, LOGARITHMIC: high edge */
    Ogda_BaseData *binLimits; /* EXPLICIT, UNIQUE: f64 table (owned); null otherwise */
} Odsc_BinFunction;

/* New bin function. DIRECT takes numBins and minLimit (maxLimit is set to minLimit +
 * numBins - 1; minLimit must be a whole number); LINEAR and LOGARITHMIC take numBins and
 * minLimit < maxLimit (both > 0 for LOGARITHMIC); EXPLICIT and UNIQUE take a table of limits
 * of any numeric pixel type (copied as f64) whose element count fixes numBins (edges: count
 * - 1 bins; values: count bins); numBins must be that number or 0. Null with a report on
 * failure. 1 <= numBins <= ODSC_MAX_BINS. */
ORVIK_API Odsc_BinFunction *odsc_BinFunctionCreate(int32_t numBins, Odsc_BinFunctionType type,
                                                   double minLimit, double maxLimit,
                                                   const Ogda_BaseData *binLimits,
                                                   Oerr_ErrorReport **err) ORVIK_NOEXCEPT;
/* Deep copy (the limits table too). Null with a report for a null or malformed source. */
ORVIK_API Odsc_BinFunction *odsc_BinFunctionCopy(const Odsc_BinFunction *source,
                                                 Oerr_ErrorReport **err) ORVIK_NOEXCEPT;
/* Releases the record and its limits; null does nothing. */
ORVIK_API void odsc_BinFunctionDelete(Odsc_BinFunction *binFunction) ORVIK_NOEXCEPT;

/* Bin of a value (see the kinds above); -1 when the value falls into no bin or the function
 * is null or malformed. */
ORVIK_API int32_t odsc_BinFunctionValueToBin(const Odsc_BinFunction *binFunction, double value)
    ORVIK_NOEXCEPT;
/* The value a bin stands for; NaN for a bin outside 0..numBins-1 or a null function. */
ORVIK_API double odsc_BinFunctionBinToValue(const Odsc_BinFunction *binFunction, int32_t bin)
    ORVIK_NOEXCEPT;
/* Lower and upper edge of a bin (DIRECT: v - 0.5 and v + 0.5; UNIQUE: the value twice).
 * Returns OMSC_FALSE for a bin outside 0..numBins-1 or a null function. */
ORVIK_API Omsc_Boolean odsc_BinFunctionBinLimits(const Odsc_BinFunction *binFunction, int32_t bin,
                                                 double *low, double *high) ORVIK_NOEXCEPT;
/* numBins, or 0 for a null or malformed function. */
ORVIK_API int32_t odsc_BinFunctionGetNumBins(const Odsc_BinFunction *binFunction) ORVIK_NOEXCEPT;

/* ---- Descriptor-table model ---------------------------------------------------------- */

/* Column value types and the pixel type their values travel in (one element per row). */
typedef enum Odsc_ColumnType_ {
    ODSC_COLUMN_INTEGER = 0, /* s32 */
    ODSC_COLUMN_REAL = 1,    /* f64; colour components are reals in 0..1 */
    ODSC_COLUMN_STRING = 2,  /* "string" */
    ODSC_COLUMN_FORCE_32_BITS = 0x7fffffff
} Odsc_ColumnType;

/* The pixel type of a column type's values; OGDA_PIXEL_INVALID for an unknown type. */
ORVIK_API Ogda_PixelType odsc_ColumnTypePixelType(Odsc_ColumnType type) ORVIK_NOEXCEPT;

/* ---- Descriptor tables in HFA files ----------------------------------------------------
 * A table handle names the table of one layer of an open file; a column handle one column
 * of an open table. Handles come from the library heap; the file must stay open while they
 * are used. Every transfer goes to the file at once (nothing is buffered in a handle).
 * A column can be open once at a time; a table with open columns is neither resized nor
 * closed. Rows are numbered from 0. */

typedef struct Odsc_Table_ Odsc_Table;
typedef struct Odsc_Column_ Odsc_Column;

/* Entry name of a layer's table, and the widest string a column holds (bytes of UTF-8,
 * terminator included). */
#define ODSC_TABLE_ENTRY_NAME L"Descriptor_Table"
#define ODSC_MAX_STRING_BYTES 65536

/* A new table of nRows rows (1 to ODSC_MAX_BINS) and no column under the layer entry
 * `layerPath` (a node path). Refused when the layer is missing or already has a table. */
ORVIK_API Odsc_Table *odsc_TableCreate(Ohfa_File *file, const wchar_t *layerPath, int32_t nRows,
                                       Oerr_ErrorReport **err) ORVIK_NOEXCEPT;
/* The layer's existing table; null with a report when there is none or it is damaged. */
ORVIK_API Odsc_Table *odsc_TableOpen(Ohfa_File *file, const wchar_t *layerPath,
                                     Oerr_ErrorReport **err) ORVIK_NOEXCEPT;
/* Whether the layer has a table entry (no report when it has none). */
ORVIK_API Omsc_Boolean odsc_TableExist(Ohfa_File *file, const wchar_t *layerPath,
                                       Oerr_ErrorReport **err) ORVIK_NOEXCEPT;
/* Rows of the table; -1 for a null or closed handle. */
ORVIK_API int32_t odsc_TableGetNumRows(const Odsc_Table *table) ORVIK_NOEXCEPT;
/* Gives every column nRows rows (1 to ODSC_MAX_BINS): rows kept keep their values, new rows
 * are 0 (empty strings). Returns table, null on failure. */
ORVIK_API Odsc_Table *odsc_TableResize(Odsc_Table *table, int32_t nRows, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT;
/* Stores the function that maps pixel values to the table's rows with the table; its bin
 * count must be the row count. Returns 0, or -1. */
ORVIK_API long odsc_TableSetBinFunction(Odsc_Table *table, const Odsc_BinFunction *binFunction,
                                        Oerr_ErrorReport **err) ORVIK_NOEXCEPT;
/* A copy of the stored bin function; null without a report when the table has none or one
 * whose bin count is no longer the row count (the table was resized). */
ORVIK_API Odsc_BinFunction *odsc_TableGetBinFunction(Odsc_Table *table, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT;
/* Releases the handle (null does nothing). Returns 0, or -1 while columns are open. */
ORVIK_API long odsc_TableClose(Odsc_Table *table, Oerr_ErrorReport **err) ORVIK_NOEXCEPT;

/* Whether the table has a column of that name. */
ORVIK_API Omsc_Boolean odsc_ColumnExist(Odsc_Table *table, const wchar_t *name,
                                        Oerr_ErrorReport **err) ORVIK_NOEXCEPT;
/* Opens an existing column (refused when missing, damaged or already open). */
ORVIK_API Odsc_Column *odsc_ColumnOpen(Odsc_Table *table, const wchar_t *name,
                                       Oerr_ErrorReport **err) ORVIK_NOEXCEPT;
/* Creates a column of zeros (empty strings) and opens it; refused when one of that name
 * exists. A name is 1 to 63 characters without "/". */
ORVIK_API Odsc_Column *odsc_ColumnCreate(Odsc_Table *table, const wchar_t *name,
                                         Odsc_ColumnType type, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT;
/* The column's value type; ODSC_COLUMN_FORCE_32_BITS for a null or closed handle. */
ORVIK_API Odsc_ColumnType odsc_ColumnGetType(const Odsc_Column *column) ORVIK_NOEXCEPT;
/* Reads rows startRow .. startRow + nRows - 1. Null `values` gets a new nRows x 1 table of the
 * column's pixel type; a given table (of at least nRows elements; numeric for numeric
 * columns, "string" for string columns) receives them in its first nRows elements, converted
 * to its type (truncating). Returns the values, null on failure. */
ORVIK_API Ogda_BaseData *odsc_ColumnRead(Odsc_Column *column, int32_t startRow, int32_t nRows,
                                         Ogda_BaseData *values, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT;
/* Writes the first nRows elements of `values` (a table, numeric for numeric columns -
 * converted, truncating for integers - or "string") to rows startRow ... A string wider than
 * the column widens the column. Returns nRows, or -1. */
ORVIK_API long odsc_ColumnWrite(Odsc_Column *column, int32_t startRow, int32_t nRows,
                                const Ogda_BaseData *values, Oerr_ErrorReport **err) ORVIK_NOEXCEPT;
/* Modification time of the column's entry (seconds since 1970), -1 on failure. Every write
 * renews it. */
ORVIK_API double odsc_ColumnGetModTime(Odsc_Column *column, Oerr_ErrorReport **err) ORVIK_NOEXCEPT;
/* Releases the handle (null does nothing). Returns 0, or -1. */
ORVIK_API long odsc_ColumnClose(Odsc_Column *column, Oerr_ErrorReport **err) ORVIK_NOEXCEPT;

ORVIK_END_DECLS

#endif /* ORVIK_ODSC_H */
