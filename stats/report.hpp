// Internal: report numbers of the statistics, histogram, colour-table and lookup-table
// functions. Numbers count a function's failure points in order, so each group belongs to one
// function or to a family that checks alike. An exhausted heap is 5 "Out of memory"
// (core/guard.hpp SetOutOfMemory).
#pragma once

#include <orvik/oerr.h>

namespace orvik::stats {

enum ReportNumber : long {
    // osta_Init and the design fetches
    kInitNoToolkit = 1,
    kDesignDictionaryFailed = 1,
    kDesignCopyFailed = 2,
    // osta_ record creation and copies (statistics, skip factors, covariance, excluded values)
    kRecordNoSource = 1,
    kRecordBadArgument = 1, // skip factors below 1, a bad number of layers
    kExcludedNotNumeric = 1,
    kExcludedCopyFailed = 2,
    kCovarianceMatrixFailed = 2,
    // osta_ histograms (osta_HistogramCreate, ...Copy, ...BinFunctionReplace, ...Translate)
    kHistogramNotHistogram = 1,
    kHistogramBinFunctionCopyFailed = 1,
    kHistogramCopyBinFunctionFailed = 2,
    kHistogramBinsAdjusted = 2, // warning
    kHistogramBinFunctionCreateFailed = 3,
    kHistogramReallocateFailed = 3,
    // osta_ per-bin tables (colour, contrast, class names) and their stacks
    kTableBadArgument = 1,
    kTableCallFailed = 2, // the call named in the message
    kTableCopyFailed = 3,
    // Rows of descriptor-table columns (under the calling function's name)
    kColumnBadStart = 1,
    kColumnBadCount = 2,
    // osta_StatisticsCompute, osta_CovarianceCompute
    kComputeBadInput = 1,
    kComputeBadSkipFactors = 2,
    kComputeBadHistogram = 3,
    kComputeNoValues = 4,
    kComputeCreateFailed = 5,
    kComputeHistogramFailed = 6,
    kComputeReadFailed = 7, // statistics of a raster layer: its pixels
    kCovarianceBadLayer = 2,
    // osta_LayerStatisticsUpdate
    kUpdateBadArgument = 1,
    kUpdateOpenFailed = 2,
    kUpdateComputeFailed = 3,
    kUpdateWriteFailed = 4,
    kUpdateTableFailed = 5,
    kCovarianceBadSkipFactors = 3,
    // ohst_ histograms
    kOhstBadArgument = 1,
    // ohst_ lookup tables: ohst_LUTCreate, ohst_LUTCopy, ohst_LUTClip, ohst_BreakPointsToTable,
    // ohst_TableToBreakPoints, the ramps, ohst_MapHistogramThruLUT
    kLutBadInMax = 1,
    kLutBadOutMax = 2,
    kLutBadBreakPointCount = 3,
    kLutNoBreakPoints = 2,
    kRampReversed = 2,
    kMapBadLut = 2,
    kMapBadDestination = 3,
    kMapCreateFailed = 4,
    // Records stored with a layer (statistics, covariance, excluded values, skip factors): the
    // shared steps of writers and readers, then the functions' own checks
    kLayerDesignFetch = 1,
    kLayerDictionary = 2,
    kLayerNoNode = 3,
    kLayerSeek = 4,
    kLayerPath = 5,
    kLayerWrite = 6,
    kLayerRead = 7,
    kLayerBadArgument = 8,
    kLayerCreateFailed = 9,
    kLayerNoMemory = 10,
    kLayerParent = 11,
    kLayerBadRecord = 12,
    kLayerOpenFailed = 13,
    kLayerCloseFailed = 14,
    // Per-bin columns: histogram, colour, contrast and class-name writers and readers (start
    // bin and bin count are kColumnBadStart and kColumnBadCount)
    kBinsCannotOpen = 3,
    kBinsCannotCreate = 4,
    kBinsCannotWrite = 5,
    kBinsCannotClose = 6,
    kBinsWrongType = 7,
    kBinsTooFewValues = 8,
    kBinsBadTable = 9,
    kBinsNoColumn = 10,
    kBinsCannotRead = 11,
    kBinsBadComponent = 12,
    kBinsBadStack = 13,
    kBinsComponentFailed = 14,
    kBinsBadHistogram = 15,
};

} // namespace orvik::stats
