/*
 * ohst.h - breakpoint lookup tables.
 *
 * A LUT maps every integer input value 0..inMax to an output value 0..outMax. It is edited as
 * a short list of breakpoints (input, output) sorted by input and turned into the full table
 * by ohst_BreakPointsToTable. Integer histograms over a value range are the data such curves
 * are fitted to (equalization) or pushed through (ohst_MapHistogramThruLUT).
 *
 * All records and arrays come from the library heap; the caller owns what a Create or Copy
 * returns and releases it with the matching Delete. No function keeps global state, so
 * distinct records may be used from distinct threads freely.
 */
#ifndef ORVIK_OHST_H
#define ORVIK_OHST_H

#include <stddef.h>
#include <stdint.h>

#include <orvik/oerr.h>
#include <orvik/omsc.h>

ORVIK_BEGIN_DECLS

/* Largest number of table entries, histogram bins or breakpoints any function accepts. */
#define OHST_MAX_ENTRIES (1 << 24)

typedef struct Ohst_BreakPoint_ {
    int32_t x; /* input value */
    int32_t y; /* output value */
} Ohst_BreakPoint;

/* `count` points in a heap array (null when empty), kept sorted by ascending x. */
typedef struct Ohst_BreakPointList_ {
    int32_t count;
    Ohst_BreakPoint *points;
} Ohst_BreakPointList;

/* The first two fields have the layout of an Ohst_BreakPointList; to edit a LUT's points
 * with the list functions, pass {nBreakPoints, breakPoints} and store the result back. */
typedef struct Ohst_LUT_ {
    int32_t nBreakPoints;
    Ohst_BreakPoint *breakPoints; /* nBreakPoints entries, ascending x */
    int32_t *table;               /* inMax + 1 entries, each within 0..outMax */
    int32_t inMax;
    int32_t outMax;
} Ohst_LUT;

/* One count per value minValue..maxValue inclusive. */
typedef struct Ohst_Histogram_ {
    int32_t minValue;
    int32_t maxValue;
    uint32_t *counts;
} Ohst_Histogram;

/* ---- Histograms ----------------------------------------------------------------------- */

/* New histogram of nBins zero counts over the values 0..nBins-1 (move minValue and maxValue
 * together to cover another range). 1 <= nBins <= OHST_MAX_ENTRIES. */
ORVIK_API Ohst_Histogram *ohst_HistogramCreate(int32_t nBins, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT;
/* Copies source into destination (created when null; its counts array is replaced when the
 * range differs). Returns destination; on failure null and destination is left unchanged. */
ORVIK_API Ohst_Histogram *ohst_HistogramCopy(const Ohst_Histogram *source,
                                             Ohst_Histogram *destination, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT;
ORVIK_API void ohst_HistogramDelete(Ohst_Histogram *histogram) ORVIK_NOEXCEPT;
/* Largest count; 0 for a null or malformed histogram. */
ORVIK_API uint32_t ohst_GetHistogramMaxCount(const Ohst_Histogram *histogram) ORVIK_NOEXCEPT;

/* ---- LUTs ------------------------------------------------------------------------------ */

/* New LUT with a zeroed table of inMax + 1 entries and nBreakPoints zeroed points. */
ORVIK_API Ohst_LUT *ohst_LUTCreate(int32_t inMax, int32_t outMax, int32_t nBreakPoints,
                                   Oerr_ErrorReport **err) ORVIK_NOEXCEPT;
/* Copies source into destination (created when null). On failure null, destination unchanged. */
ORVIK_API Ohst_LUT *ohst_LUTCopy(const Ohst_LUT *source, Ohst_LUT *destination,
                                 Oerr_ErrorReport **err) ORVIK_NOEXCEPT;
ORVIK_API void ohst_LUTDelete(Ohst_LUT *lut) ORVIK_NOEXCEPT;
/* Moves every breakpoint into the box 0..inMax x 0..outMax and drops the points that then
 * share an input value (see docs/breakpoints.md). Returns the new point count, -1 on failure.
 * The table is not recomputed. */
ORVIK_API int32_t ohst_LUTClip(Ohst_LUT *lut, Oerr_ErrorReport **err) ORVIK_NOEXCEPT;

/* ---- Breakpoint lists ------------------------------------------------------------------ */

/* Inserts (x, y) keeping the list sorted; an existing point with the same x gets the new y.
 * Returns the point's index, -1 for a malformed list or when the heap is exhausted. */
ORVIK_API int32_t ohst_BreakPointInsert(Ohst_BreakPointList *list, int32_t x, int32_t y)
    ORVIK_NOEXCEPT;
/* Removes the point at index. Returns the new count, -1 when index is outside the list. */
ORVIK_API int32_t ohst_BreakPointDelete(Ohst_BreakPointList *list, int32_t index) ORVIK_NOEXCEPT;
ORVIK_API void ohst_BreakPointSort(Ohst_BreakPointList *list) ORVIK_NOEXCEPT;
/* qsort-style comparison of two Ohst_BreakPoint by x: the difference a.x - b.x. */
ORVIK_API int ohst_BreakPointCompare(const void *a, const void *b) ORVIK_NOEXCEPT;
/* New array without the points whose x equals that of the point before them; its length goes
 * to *countOut. Null with a length of 0 for an empty list (or an exhausted heap). */
ORVIK_API Ohst_BreakPoint *ohst_BreakPointDeleteRedundants(const Ohst_BreakPointList *list,
                                                           int32_t *countOut) ORVIK_NOEXCEPT;
/* Index of the point nearest to (x, y) by Euclidean distance, the first one on a tie; -1 for
 * an empty list. The distance goes to *distance when it is not null. */
ORVIK_API int32_t ohst_FindNearestPoint(const Ohst_BreakPointList *list, int32_t x, int32_t y,
                                        double *distance) ORVIK_NOEXCEPT;

/* ---- Tables ---------------------------------------------------------------------------- */

/* Fills the table from the breakpoints (linear between points, clamped to 0..outMax). Each
 * entry is floor(slope * x + intercept + 0.5) in double precision: half up of the computed
 * value, so an exact half whose slope is inexact in binary may come out one lower (points
 * (0,255) and (244,0) give 127 at x = 122). Returns 0, or -1 with a report. */
ORVIK_API int32_t ohst_BreakPointsToTable(Ohst_LUT *lut, Oerr_ErrorReport **err) ORVIK_NOEXCEPT;
/* Replaces the breakpoints by a short list, found greedily, from which ohst_BreakPointsToTable
 * rebuilds the present table exactly. Returns the count, -1 on failure. */
ORVIK_API int32_t ohst_TableToBreakPoints(Ohst_LUT *lut, Oerr_ErrorReport **err) ORVIK_NOEXCEPT;
/* Fills the table with the ramp through (inLow, outLow) and (inHigh, outHigh): flat outside,
 * linear between; the breakpoints are left alone. inLow <= inHigh. Returns 0 or -1. */
ORVIK_API int32_t ohst_SetRamp(Ohst_LUT *lut, int32_t inLow, int32_t outLow, int32_t inHigh,
                               int32_t outHigh, Oerr_ErrorReport **err) ORVIK_NOEXCEPT;
/* Replaces the breakpoints by the ramp's two points, after which ohst_BreakPointsToTable writes
 * the table ohst_SetRamp writes (inLow == inHigh gives a step). Returns 2, or -1. */
ORVIK_API int32_t ohst_RampToBreakPoints(Ohst_LUT *lut, int32_t inLow, int32_t outLow,
                                         int32_t inHigh, int32_t outHigh, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT;

/* ---- Histograms and tables ------------------------------------------------------------- */

/* Fills the LUT's table so that the histogram's values spread evenly over nLevels output
 * levels (0 and outMax included when nLevels > 1). Returns 0, or -1 for a null or malformed
 * argument, nLevels < 1 or a histogram without counts; the table is then unchanged. */
ORVIK_API int32_t ohst_HistogramEqualize(const Ohst_Histogram *histogram, Ohst_LUT *lut,
                                         int32_t nLevels) ORVIK_NOEXCEPT;
/* Histogram of the LUT's output for data with the given histogram: each count moves to the
 * bin of its value's table entry (values outside 0..inMax use the nearest entry; sums
 * saturate). destination is created over 0..outMax when null; a given one keeps its range and
 * drops outputs outside it. Returns destination, null on failure. */
ORVIK_API Ohst_Histogram *ohst_MapHistogramThruLUT(const Ohst_Histogram *histogram,
                                                   const Ohst_LUT *lut, Ohst_Histogram *destination,
                                                   Oerr_ErrorReport **err) ORVIK_NOEXCEPT;

ORVIK_END_DECLS

#endif /* ORVIK_OHST_H */
