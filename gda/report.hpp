// Internal: report numbers of the raster-data module. Numbers are failure points of one
// function, counted in the order its checks meet them, so each group below belongs to one
// function (or one family of functions that check alike). An exhausted heap is 5 "Out of
// memory" (core/guard.hpp SetOutOfMemory) unless the function names its own text.
#pragma once

#include <orvik/oerr.h>

namespace orvik::gda {

enum ReportNumber : long {
    // ogda_BaseDataCreate
    kCreateBadType = 3,
    kCreateBadShape = 4,
    // ogda_BaseDataReCreate
    kReCreateBadShape = 1,
    kReCreateCreateFailed = 2,
    kReCreateNotDerived = 3,
    kReCreateMismatch = 4,
    // ogda_BaseDataReDerive, ogda_BaseDataDerived
    kReDeriveNoSource = 1,
    kReDeriveBadShape = 2,
    kReDeriveBadOffset = 3,
    kReDeriveTooSmall = 4,
    kDerivedFailed = 1,
    // ogda_BaseDataCopy
    kCopyNoSource = 1,
    kCopyCreateFailed = 2,
    kCopyObjectTypeMismatch = 3,
    kCopyBadType = 4,
    // ogda_BaseDataCopyExt
    kCopyExtNoSource = 1,
    kCopyExtBadShape = 2,
    kCopyExtBadOffset = 3,
    kCopyExtSourceWindow = 4,
    kCopyExtCreateFailed = 5,
    kCopyExtObjectTypeMismatch = 6,
    kCopyExtDestinationWindow = 7,
    // ogda_BaseDataReallocate (out of memory is the conventional 5)
    kReallocateBadShape = 1,
    kReallocateNotOwner = 2,
    kReallocateCreateFailed = 3,
    kReallocateCopyFailed = 4,
    // ogda_BaseDataClip
    kClipNoObject = 1,
    kClipBadRange = 2,
    kClipBadType = 3,
    kClipEmptyRange = 4,
    // ogda_BaseDataSetBoth
    kSetNoArgument = 1,
    kSetNotSquare = 2, // a diagonal of a matrix that is not square
    kSetBadIndex = 3,
    kSetBadRegion = 4,
    // ogda_BaseDataPrint
    kPrintNoObject = 1,
    // ogda_WindowCopy
    kWindowNoSource = 1,
    // ogda_BaseDataStackCreate, ogda_BaseDataStackPtrCreate
    kStackNoSpace = 1,
    kStackLayerFailed = 2,
    kStackArgs = 3,
    kStackPtrNoSpace = 1,
    kStackPtrArgs = 2,
    // ogda_BaseDataStackCopy, ...Derived, ...DerivedFromDataLayer, ...Print, ...SetScalar,
    // ...SetZero
    kStackNoStack = 1, // null stack or layer argument
    kStackCountMismatch = 2,
    kStackCopyLayerFailed = 3,
    kStackLayerCallFailed = 2, // the per-layer call, named in the message
    // ogda_BaseDataStackCreateContiguous, ...DataSize, ...MaxElements
    kContiguousArgs = 1,
    kContiguousNoMemory = 2, // its own text "No memory"
    kContiguousLayerFailed = 3,
    // ogda_BaseDataStackArray...
    kStackArrayArgs = 1,
    kStackArrayCountMismatch = 2,
    kStackArrayCallFailed = 2, // the per-stack call, named in the message
    kStackArrayCopyFailed = 3,
    // ogda_CreateBaseDataStackFromAscii, ogda_BaseDataStackReadAscii
    kReadArgs = 1,
    kReadOpenFailed = 2,
    kReadFgetcFailed = 3,
    kReadSeekFailed = 4,
    kReadNoMemory = OERR_NUMBER_OUT_OF_MEMORY,
    kReadFgetsFailed = 6,
    kReadBadRecord = 7,
    kReadColumnMismatch = 8,
    kReadCreateFailed = 9,
    kReadBadSize = 10,
    // ogda_BaseDataStackWriteAscii
    kWriteArgs = 1,
    kWriteOpenFailed = 2,
    kWriteFailed = 3,
    kWriteUnreadableString = 4,
    // ofga_MatrixCreate, ofga_MatrixCopy, ofga_MatrixDelete
    kMatrixBadShape = 1,
    kMatrixBadType = 2,
    kMatrixCreateFailed = 3,
    kMatrixNoSource = 1,
    kMatrixObjectTypeMismatch = 2,
    kMatrixSizeMismatch = 3,
    kMatrixCopyFailed = 4,
    kMatrixDeleteFailed = 1,
    // Matrix algebra: argument checks (under the calling function's name), then the factoring
    kAlgebraNoData = 1, // null matrix, or one without data
    kAlgebraNotMatrix = 2,
    kAlgebraBadType = 3,
    kAlgebraBadOrder = 4, // not square, or too large
    kAlgebraNoOutputData = 1,
    kAlgebraObjectTypeMismatch = 2,
    kAlgebraTypeMismatch = 3,
    kAlgebraSizeMismatch = 4,
    kAlgebraNoPivots = 1,
    kAlgebraNoRightHandSide = 1,
    kAlgebraBadRightHandSide = 2,
    kAlgebraSingular = 6,
    kAlgebraNotFinite = 7,
    kAlgebraCreateFailed = 8,
};

} // namespace orvik::gda
