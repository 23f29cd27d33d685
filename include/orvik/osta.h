/*
 * osta.h - statistics, covariance, histograms, colour, contrast and class-name tables of
 * raster layers, and their computation from raster data.
 *
 * Statistics, covariance, excluded values and skip factors are stored as objects under a
 * layer; their records are laid out exactly as their MIF designs ("Osta_Statistics",
 * "Osta_Covariance", "Osta_ExcludedValues", "Osta_SkipFactors"), so an object reader fills
 * them directly. Histograms and the colour, contrast and class-name tables are per-bin
 * columns of the layer's descriptor table (<orvik/odsc.h>).
 *
 * Every record comes from the library heap and belongs to the caller, who releases it with
 * the matching Delete. The four designs are built once, at first use, into one module
 * dictionary (inside the thread-unsafe section); the fetch functions hand out copies. Apart
 * from that no function keeps state: distinct records may be used from distinct threads.
 */
#ifndef ORVIK_OSTA_H
#define ORVIK_OSTA_H

#include <stdint.h>
#include <wchar.h>

#include <orvik/odsc.h>
#include <orvik/oerr.h>
#include <orvik/ogda.h>
#include <orvik/oimg.h>
#include <orvik/omif.h>
#include <orvik/omsc.h>

ORVIK_BEGIN_DECLS

/* ---- Records ------------------------------------------------------------------------- */

/* Design "Osta_Statistics": d minimum, d maximum, d mean, d median, d mode, d stddev. */
typedef struct Osta_Statistics_ {
    double minimum;
    double maximum;
    double mean;
    double median;
    double mode;
    double stddev;
} Osta_Statistics;

/* Design "Osta_Covariance": b covariance, an n x n f64 matrix for n layers. */
typedef struct Osta_Covariance_ {
    Ogda_BaseData covariance;
} Osta_Covariance;

/* Design "Osta_ExcludedValues": *b valueBD, a table of the values left out (held by
 * pointer; may be null for none). */
typedef struct Osta_ExcludedValues_ {
    Ogda_BaseData *valueBD;
} Osta_ExcludedValues;

/* Design "Osta_SkipFactors": l skipFactorX, l skipFactorY. Every skipFactorX-th column of
 * every skipFactorY-th row is sampled, starting with the first. */
typedef struct Osta_SkipFactors_ {
    int32_t skipFactorX;
    int32_t skipFactorY;
} Osta_SkipFactors;

/* Counts per bin: `table` is an f64 Ogda_Table of binFunction->numBins elements. Both
 * belong to the histogram. */
typedef struct Osta_Histogram_ {
    Odsc_BinFunction *binFunction;
    Ogda_BaseData *table;
} Osta_Histogram;

/* Colour components, in the order of the descriptor-table columns "Red", "Green", "Blue",
 * "Opacity". */
enum { OSTA_RED = 0, OSTA_GREEN = 1, OSTA_BLUE = 2, OSTA_OPACITY = 3 };
#define OSTA_MAX_COLOR_COMPONENTS 4

/* One colour component: an f64 Ogda_Table, one value in 0..1 per bin. */
typedef Ogda_BaseData Osta_ColorTable;
/* The components of a colour table in component order (at most four): red, green, blue and
 * optionally opacity. */
typedef Ogda_BaseDataStack Osta_ColorTableStack;
/* One f64 value per bin. */
typedef Ogda_BaseData Osta_ContrastTable;
/* One "string" element per bin (a null element is an empty name). */
typedef Ogda_BaseData Osta_ClassNames;

/* ---- Module -------------------------------------------------------------------------- */

/* Makes the module ready: builds the designs. `toolkit` is the start-up data of the toolkit;
 * without it the call fails with "Toolkit has not been initialized". */
ORVIK_API Omsc_Boolean osta_Init(const void *toolkit, Oerr_ErrorReport **err) ORVIK_NOEXCEPT;

/* Copies of the module's designs; the caller owns the copy (omif_DesignDestroy). */
ORVIK_API Omif_Design *osta_StatisticsDesignFetch(Oerr_ErrorReport **err) ORVIK_NOEXCEPT;
ORVIK_API Omif_Design *osta_CovarianceDesignFetch(Oerr_ErrorReport **err) ORVIK_NOEXCEPT;
ORVIK_API Omif_Design *osta_ExcludedValuesDesignFetch(Oerr_ErrorReport **err) ORVIK_NOEXCEPT;
ORVIK_API Omif_Design *osta_SkipFactorsDesignFetch(Oerr_ErrorReport **err) ORVIK_NOEXCEPT;

/* ---- Create, copy, delete ------------------------------------------------------------ */
/* A Copy writes into `destination` when it is given and returns it, else returns a new
 * record; on failure it returns null and leaves the destination as it was (or, for
 * tables, reshaped to the source). Deletes accept null. */

ORVIK_API Osta_Statistics *osta_StatisticsCreate(Oerr_ErrorReport **err) ORVIK_NOEXCEPT;
ORVIK_API Osta_Statistics *osta_StatisticsCopy(const Osta_Statistics *source,
                                               Osta_Statistics *destination, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT;
ORVIK_API void osta_StatisticsDelete(Osta_Statistics *statistics) ORVIK_NOEXCEPT;

/* An nLayers x nLayers zero f64 matrix, 1 <= nLayers <= OGDA_MATRIX_MAX_ORDER. */
ORVIK_API Osta_Covariance *osta_CovarianceCreate(int32_t nLayers, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT;
ORVIK_API Osta_Covariance *osta_CovarianceCopy(const Osta_Covariance *source,
                                               Osta_Covariance *destination, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT;
/* Destroy releases the matrix and leaves the record empty; Delete releases both. */
ORVIK_API void osta_CovarianceDestroy(Osta_Covariance *covariance, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT;
ORVIK_API void osta_CovarianceDelete(Osta_Covariance *covariance, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT;

/* `values` (a numeric table of any pixel type, or null for none) is copied as an f64 table. */
ORVIK_API Osta_ExcludedValues *osta_ExcludedValuesCreate(const Ogda_BaseData *values,
                                                         Oerr_ErrorReport **err) ORVIK_NOEXCEPT;
ORVIK_API Osta_ExcludedValues *osta_ExcludedValuesCopy(const Osta_ExcludedValues *source,
                                                       Osta_ExcludedValues *destination,
                                                       Oerr_ErrorReport **err) ORVIK_NOEXCEPT;
ORVIK_API void osta_ExcludedValuesDelete(Osta_ExcludedValues *excluded) ORVIK_NOEXCEPT;

/* Both factors must be at least 1. */
ORVIK_API Osta_SkipFactors *osta_SkipFactorsCreate(int32_t skipFactorX, int32_t skipFactorY,
                                                   Oerr_ErrorReport **err) ORVIK_NOEXCEPT;
ORVIK_API Osta_SkipFactors *osta_SkipFactorsCopy(const Osta_SkipFactors *source,
                                                 Osta_SkipFactors *destination,
                                                 Oerr_ErrorReport **err) ORVIK_NOEXCEPT;
ORVIK_API void osta_SkipFactorsDelete(Osta_SkipFactors *skipFactors) ORVIK_NOEXCEPT;

/* A histogram of zero counts over a copy of `binFunction`. The table takes the bin
 * function's bin count; an nBins that differs is adjusted, with the warning "Number of bins
 * adjusted to match passed in bin function". With a null bin function the bins are the
 * values 0..nBins-1 (a direct function). */
ORVIK_API Osta_Histogram *osta_HistogramCreate(const Odsc_BinFunction *binFunction, int32_t nBins,
                                               Oerr_ErrorReport **err) ORVIK_NOEXCEPT;
ORVIK_API Osta_Histogram *osta_HistogramCopy(const Osta_Histogram *source,
                                             Osta_Histogram *destination, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT;
ORVIK_API void osta_HistogramDelete(Osta_Histogram *histogram) ORVIK_NOEXCEPT;
/* Replaces the bin function by a copy of `binFunction` and resizes the table to its bin
 * count; the counts, which belonged to the old bins, are set to 0. On failure the histogram
 * is unchanged. */
ORVIK_API Osta_Histogram *osta_HistogramBinFunctionReplace(Osta_Histogram *histogram,
                                                           const Odsc_BinFunction *binFunction,
                                                           Oerr_ErrorReport **err) ORVIK_NOEXCEPT;
/* Re-bins `source` into the bins of `destination`: the destination's counts are cleared,
 * then the count of each source bin is added to the destination bin that holds the value
 * the source bin stands for (counts of source bins that fall into no destination bin are
 * dropped). Returns destination. */
ORVIK_API Osta_Histogram *osta_HistogramTranslate(const Osta_Histogram *source,
                                                  Osta_Histogram *destination,
                                                  Oerr_ErrorReport **err) ORVIK_NOEXCEPT;

/* nBins zero values (f64; "string" for class names). 1 <= nBins <= ODSC_MAX_BINS. */
ORVIK_API Osta_ColorTable *osta_ColorTableCreate(int32_t nBins, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT;
ORVIK_API Osta_ColorTable *osta_ColorTableCopy(const Osta_ColorTable *source,
                                               Osta_ColorTable *destination, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT;
ORVIK_API void osta_ColorTableDelete(Osta_ColorTable *table) ORVIK_NOEXCEPT;
/* nComponents (1 to OSTA_MAX_COLOR_COMPONENTS) tables of nBins zero values. */
ORVIK_API Osta_ColorTableStack *osta_ColorTableStackCreate(int32_t nComponents, int32_t nBins,
                                                           Oerr_ErrorReport **err) ORVIK_NOEXCEPT;
ORVIK_API Osta_ColorTableStack *osta_ColorTableStackCopy(const Osta_ColorTableStack *source,
                                                         Osta_ColorTableStack *destination,
                                                         Oerr_ErrorReport **err) ORVIK_NOEXCEPT;
ORVIK_API void osta_ColorTableStackDelete(Osta_ColorTableStack *stack) ORVIK_NOEXCEPT;
ORVIK_API Osta_ContrastTable *osta_ContrastTableCreate(int32_t nBins, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT;
ORVIK_API Osta_ContrastTable *osta_ContrastTableCopy(const Osta_ContrastTable *source,
                                                     Osta_ContrastTable *destination,
                                                     Oerr_ErrorReport **err) ORVIK_NOEXCEPT;
ORVIK_API void osta_ContrastTableDelete(Osta_ContrastTable *table) ORVIK_NOEXCEPT;
ORVIK_API Osta_ClassNames *osta_ClassNamesCreate(int32_t nBins, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT;
ORVIK_API Osta_ClassNames *osta_ClassNamesCopy(const Osta_ClassNames *source,
                                               Osta_ClassNames *destination, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT;
ORVIK_API void osta_ClassNamesDelete(Osta_ClassNames *names) ORVIK_NOEXCEPT;

/* ---- Records stored with a layer -----------------------------------------------------
 * `node` is the node path of the layer entry in `file` ("/Layer_1"). Each record is a child
 * entry of the layer: "Statistics", "Covariance", "Excluded_Values", "Skip_Factors", of the
 * type of its design. A writer overwrites an existing child in place (the layer keeps one)
 * and creates it otherwise; writers return 0, or -1. A reader finds the child by its type. */

ORVIK_API long osta_StatisticsWrite(Ohfa_File *file, const wchar_t *node,
                                    const Osta_Statistics *statistics, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT;
/* The layer's statistics into `statistics` (created when null). Without statistics of its own
 * and with `searchUp`, those of the nearest ancestor below the root; nothing found: null and
 * no report (a record created by the call is freed, a given one is left as it was). */
ORVIK_API Osta_Statistics *osta_StatisticsRead(Ohfa_File *file, const wchar_t *node,
                                               Osta_Statistics *statistics, Omsc_Boolean searchUp,
                                               Oerr_ErrorReport **err) ORVIK_NOEXCEPT;

/* The covariance must be a square f64 matrix. The ...ByName forms open the file by name for
 * the one call. Read: into `covariance` (created when null; a given one is replaced only when
 * the read succeeds); null without a report when the layer has none. */
ORVIK_API long osta_CovarianceWrite(Ohfa_File *file, const wchar_t *node,
                                    const Osta_Covariance *covariance, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT;
ORVIK_API long osta_CovarianceWriteByName(const wchar_t *fileName, const wchar_t *node,
                                          const Osta_Covariance *covariance, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT;
ORVIK_API Osta_Covariance *osta_CovarianceRead(Ohfa_File *file, const wchar_t *node,
                                               Osta_Covariance *covariance, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT;
ORVIK_API Osta_Covariance *osta_CovarianceReadByName(const wchar_t *fileName, const wchar_t *node,
                                                     Osta_Covariance *covariance,
                                                     Oerr_ErrorReport **err) ORVIK_NOEXCEPT;

/* Excluded values and skip factors: one entry each per layer, shared by the statistics,
 * histogram and covariance forms. AreValuesExcluded is true when the layer lists at least
 * one excluded value; with `values` non-null it then receives a new record of them. */
ORVIK_API long osta_StatisticsWriteExcludedValues(Ohfa_File *file, const wchar_t *node,
                                                  const Osta_ExcludedValues *excluded,
                                                  Oerr_ErrorReport **err) ORVIK_NOEXCEPT;
ORVIK_API long osta_HistogramWriteExcludedValues(Ohfa_File *file, const wchar_t *node,
                                                 const Osta_ExcludedValues *excluded,
                                                 Oerr_ErrorReport **err) ORVIK_NOEXCEPT;
ORVIK_API long osta_CovarianceWriteExcludedValues(Ohfa_File *file, const wchar_t *node,
                                                  const Osta_ExcludedValues *excluded,
                                                  Oerr_ErrorReport **err) ORVIK_NOEXCEPT;
ORVIK_API Omsc_Boolean osta_StatisticsAreValuesExcluded(Ohfa_File *file, const wchar_t *node,
                                                        Osta_ExcludedValues **values,
                                                        Oerr_ErrorReport **err) ORVIK_NOEXCEPT;
ORVIK_API Omsc_Boolean osta_HistogramAreValuesExcluded(Ohfa_File *file, const wchar_t *node,
                                                       Osta_ExcludedValues **values,
                                                       Oerr_ErrorReport **err) ORVIK_NOEXCEPT;
ORVIK_API Omsc_Boolean osta_CovarianceAreValuesExcluded(Ohfa_File *file, const wchar_t *node,
                                                        Osta_ExcludedValues **values,
                                                        Oerr_ErrorReport **err) ORVIK_NOEXCEPT;
ORVIK_API long osta_StatisticsWriteSkipFactors(Ohfa_File *file, const wchar_t *node,
                                               const Osta_SkipFactors *skip, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT;
ORVIK_API long osta_HistogramWriteSkipFactors(Ohfa_File *file, const wchar_t *node,
                                              const Osta_SkipFactors *skip, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT;
ORVIK_API long osta_CovarianceWriteSkipFactors(Ohfa_File *file, const wchar_t *node,
                                               const Osta_SkipFactors *skip, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT;
/* Into `skip` (created when null); null without a report when the layer has none. */
ORVIK_API Osta_SkipFactors *osta_StatisticsGetSkipFactors(Ohfa_File *file, const wchar_t *node,
                                                          Osta_SkipFactors *skip,
                                                          Oerr_ErrorReport **err) ORVIK_NOEXCEPT;

/* When the record was last written: the modification time of its entry (the histogram: of
 * the "Histogram" column of the layer's descriptor table), seconds since 1970-01-01 UTC; 0
 * when the layer has none; -1 on failure. */
ORVIK_API double osta_StatisticsGetTimeStamp(Ohfa_File *file, const wchar_t *node,
                                             Oerr_ErrorReport **err) ORVIK_NOEXCEPT;
ORVIK_API double osta_HistogramGetTimeStamp(Ohfa_File *file, const wchar_t *node,
                                            Oerr_ErrorReport **err) ORVIK_NOEXCEPT;
ORVIK_API double osta_CovarianceGetTimeStamp(Ohfa_File *file, const wchar_t *node,
                                             Oerr_ErrorReport **err) ORVIK_NOEXCEPT;

/* ---- Per-bin columns of a layer's descriptor table -----------------------------------
 * Columns: "Histogram" (real counts), "Red", "Green", "Blue", "Opacity" (component 0 to 3,
 * reals in 0..1), "Contrast" (reals), "Class_Names" (strings). The records hold one element
 * per bin: element b is bin b, and a transfer of bins startBin .. startBin + n - 1 moves those
 * elements to or from those rows. Writers: startBin >= 0 is checked first, then nBins (0 and
 * values below -1 are refused; -1 means to the end of the table); the column is created when
 * missing; they return the number of bins written, or -1. Readers: nBins >= 1; a null record
 * gets a new one of one element per table row. */

ORVIK_API long osta_HistogramWrite(Odsc_Table *table, const Osta_Histogram *histogram,
                                   int32_t startBin, int32_t nBins, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT;
/* A null histogram gets direct bins 0 .. rows-1. ...IfPresent: null without a report when the
 * table has no "Histogram" column. */
ORVIK_API Osta_Histogram *osta_HistogramRead(Odsc_Table *table, Osta_Histogram *histogram,
                                             int32_t startBin, int32_t nBins,
                                             Oerr_ErrorReport **err) ORVIK_NOEXCEPT;
ORVIK_API Osta_Histogram *osta_HistogramReadIfPresent(Odsc_Table *table, Osta_Histogram *histogram,
                                                      int32_t startBin, int32_t nBins,
                                                      Oerr_ErrorReport **err) ORVIK_NOEXCEPT;

/* Component 3 uses an existing "Overlay" column when the table has no "Opacity" column. */
ORVIK_API long osta_ColorTableWrite(Odsc_Table *table, const Osta_ColorTable *values,
                                    int32_t component, int32_t startBin, int32_t nBins,
                                    Oerr_ErrorReport **err) ORVIK_NOEXCEPT;
ORVIK_API Osta_ColorTable *osta_ColorTableRead(Odsc_Table *table, Osta_ColorTable *values,
                                               int32_t component, int32_t startBin, int32_t nBins,
                                               Oerr_ErrorReport **err) ORVIK_NOEXCEPT;
ORVIK_API Osta_ColorTable *osta_ColorTableReadIfPresent(Odsc_Table *table, Osta_ColorTable *values,
                                                        int32_t component, int32_t startBin,
                                                        int32_t nBins, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT;
/* Writes components 0 .. count-1 of a stack of 1 to 4 components. */
ORVIK_API long osta_ColorTableStackWrite(Odsc_Table *table, const Osta_ColorTableStack *stack,
                                         int32_t startBin, int32_t nBins, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT;
/* A null stack gets red, green, blue and, when the table has it, opacity; a given stack has
 * its count of components read. */
ORVIK_API Osta_ColorTableStack *osta_ColorTableStackRead(Odsc_Table *table,
                                                         Osta_ColorTableStack *stack,
                                                         int32_t startBin, int32_t nBins,
                                                         Oerr_ErrorReport **err) ORVIK_NOEXCEPT;

ORVIK_API long osta_ContrastTableWrite(Odsc_Table *table, const Osta_ContrastTable *values,
                                       int32_t startBin, int32_t nBins, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT;
ORVIK_API Osta_ContrastTable *osta_ContrastTableRead(Odsc_Table *table, Osta_ContrastTable *values,
                                                     int32_t startBin, int32_t nBins,
                                                     Oerr_ErrorReport **err) ORVIK_NOEXCEPT;
ORVIK_API long osta_ClassNamesWrite(Odsc_Table *table, const Osta_ClassNames *names,
                                    int32_t startBin, int32_t nBins, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT;
ORVIK_API Osta_ClassNames *osta_ClassNamesRead(Odsc_Table *table, Osta_ClassNames *names,
                                               int32_t startBin, int32_t nBins,
                                               Oerr_ErrorReport **err) ORVIK_NOEXCEPT;

/* ---- Computation from raster data ---------------------------------------------------- */

/*
 * Statistics of the elements of `data` (any numeric pixel type, any object type), sampled by
 * `skip` (null: every element) and leaving out the values listed in `excluded` (null: none)
 * and NaN or infinite values. Result in `statistics` (created when null). Standard deviation
 * divides by n - 1 (0 for a single value).
 * - Integer types up to 16 bits are counted in one pass into a histogram of every value;
 *   everything follows exactly from the counts (median: the lower middle value for an even
 *   count; mode: the smallest of the most frequent values).
 * - 32-bit integers and reals: a first pass gives the exact minimum, maximum, mean and
 *   deviation (blockwise two-pass sums merged pairwise); a second pass counts 65536 equal
 *   bins between minimum and maximum; a third collects the values of the median's bin and
 *   selects the exact median (the lower middle value). Only when that bin holds more than
 *   2^20 values is the median interpolated within it instead (error at most (maximum -
 *   minimum) / 65536). The mode is the centre of the fullest of 256 equal bins.
 * With `histogram` given, counts are also returned: *histogram null gets a new histogram
 * (integer types up to 16 bits: direct bins minimum..maximum; others: 256 linear bins
 * minimum..maximum); a given one keeps its bin function and has its counts replaced.
 * Fails when no value is left to count.
 */
ORVIK_API Osta_Statistics *
osta_StatisticsCompute(const Ogda_BaseData *data, const Osta_ExcludedValues *excluded,
                       const Osta_SkipFactors *skip, Osta_Statistics *statistics,
                       Osta_Histogram **histogram, Oerr_ErrorReport **err) ORVIK_NOEXCEPT;

/*
 * Covariance matrix of the layers of `layers` (all of one shape, numeric, not complex),
 * sampled by `skip`; an element position is used only when no layer holds an excluded
 * value, NaN or an infinity there. Divides by n - 1. Result in `covariance` (created when null; a
 * given one is resized to the layer count).
 */
ORVIK_API Osta_Covariance *osta_CovarianceCompute(const Ogda_BaseDataStack *layers,
                                                  const Osta_ExcludedValues *excluded,
                                                  const Osta_SkipFactors *skip,
                                                  Osta_Covariance *covariance,
                                                  Oerr_ErrorReport **err) ORVIK_NOEXCEPT;

/* ---- Computation from raster layers --------------------------------------------------- */

/*
 * Statistics of the pixels of a raster layer (oimg.h), as osta_StatisticsCompute computes them
 * over the layer held in memory (same methods, same results, same reports), but read one row
 * of blocks at a time, so memory stays a few blocks whatever the layer's size. The layer's
 * no-data value, when it has one, is left out like an excluded value; blocks never written
 * hold it (or 0 on a layer without one). Skip factors count rows and columns of the layer
 * from row 0, column 0. Pixel types: numeric, not complex. Blocks the handle holds unwritten
 * are read as they are in memory. Read failures are reported (7) with the rows concerned.
 */
ORVIK_API Osta_Statistics *
osta_LayerStatisticsCompute(Oimg_Layer *layer, const Osta_ExcludedValues *excluded,
                            const Osta_SkipFactors *skip, Osta_Statistics *statistics,
                            Osta_Histogram **histogram, Oerr_ErrorReport **err) ORVIK_NOEXCEPT;

/*
 * Covariance matrix of `count` raster layers (1 to OGDA_MATRIX_MAX_ORDER) of equal width and
 * height, numeric and not complex (pixel and block types may differ), as osta_CovarianceCompute
 * computes it over the layers held in memory, read one strip at a time. A position is used only
 * when no layer holds NaN, an infinity, an excluded value or its own no-data value there. Skip
 * factors count from row 0, column 0. Result in `covariance` (created when null; a given one is
 * replaced). Reports: 1 bad arguments, 2 a layer unfit or of another size, 3 bad skip factors,
 * 4 no position left, 5, 7 as above.
 */
ORVIK_API Osta_Covariance *osta_LayerCovarianceCompute(Oimg_Layer *const *layers, int32_t count,
                                                       const Osta_ExcludedValues *excluded,
                                                       const Osta_SkipFactors *skip,
                                                       Osta_Covariance *covariance,
                                                       Oerr_ErrorReport **err) ORVIK_NOEXCEPT;

/*
 * Computes the statistics and histogram of the layer at `layerPath` of `file` and stores them
 * with it: its "Statistics", "Excluded_Values" (those given, or none) and "Skip_Factors"
 * (those given, or 1, 1) entries, and the "Histogram" column of its descriptor table. When the
 * layer's table holds a bin function, the counts follow it; otherwise the histogram is the
 * data's own (as osta_StatisticsCompute makes it), the table is created or resized to its bins
 * and the bin function stored with it. `statistics` (may be null) receives the values. Opens
 * its own handle of the layer: blocks written through another handle must be flushed first.
 * Returns 0, or -1.
 */
ORVIK_API long osta_LayerStatisticsUpdate(Ohfa_File *file, const wchar_t *layerPath,
                                          const Osta_ExcludedValues *excluded,
                                          const Osta_SkipFactors *skip, Osta_Statistics *statistics,
                                          Oerr_ErrorReport **err) ORVIK_NOEXCEPT;

/*
 * As osta_LayerStatisticsUpdate (no excluded values, skip factors 1, 1), without reading the
 * layer: for a layer of an integer type up to 16 bits whose pixels the caller counted as it
 * wrote them. counts[i] is the number of pixels of value lo + i, lo being the least value of
 * the type (0 unsigned, -128 for s8, -32768 for s16); nCounts is 256 for types of 8 bits or
 * fewer and 65536 for 16 bits. The layer's no-data value is left out. The stored records equal
 * those osta_LayerStatisticsUpdate stores for the same pixels. Returns 0, or -1.
 */
ORVIK_API long osta_LayerStatisticsUpdateFromCounts(Ohfa_File *file, const wchar_t *layerPath,
                                                    const uint64_t *counts, int32_t nCounts,
                                                    Osta_Statistics *statistics,
                                                    Oerr_ErrorReport **err) ORVIK_NOEXCEPT;

ORVIK_END_DECLS

#endif /* ORVIK_OSTA_H */
