// Internal: report numbers of the bin functions, one group per function, counted in the order
// each function's checks meet them. An exhausted heap is 5 "Out of memory" (SetOutOfMemory).
#pragma once

#include <orvik/oerr.h>

namespace orvik::dsc {

enum ReportNumber : long {
    // odsc_BinFunctionCreate
    kCreateUnknownType = 1,
    kCreateBadLimits = 2,
    kCreateBadBins = 3,
    kCreateLimitsCopyFailed = 4,
    kCreateLimitsNotAscending = 7,
    // odsc_BinFunctionCopy
    kCopyBadSource = 1,
    kCopyLimitsFailed = 2,
    // odsc_TableCreate, odsc_TableOpen, odsc_TableExist, odsc_TableResize, odsc_TableClose
    kTableBadArgument = 1,
    kTableNoLayer = 2,
    kTableExists = 3,
    kTableMissing = 4,
    kTableDamaged = 5,
    kTableWriteFailed = 6,
    kTableColumnsOpen = 7,
    kTableReadFailed = 8,
    kTableListFailed = 9,
    // odsc_Column* functions
    kColumnBadArgument = 1,
    kColumnMissing = 2,
    kColumnExists = 3,
    kColumnAlreadyOpen = 4,
    kColumnBadRows = 5,
    kColumnBadValues = 6,
    kColumnTransferFailed = 7,
    kColumnTooLong = 8,
    kColumnStampFailed = 9,
    // File steps shared by the table and column functions (under the calling function)
    kStoreDesignMissing = 20,
    kStoreReadFailed = 21,
    kStoreDamaged = 22,
    kStoreRecordWriteFailed = 23,
    kStoreTooLarge = 24,
    kStoreNoSpace = 25,
    kStoreDataReadFailed = 26,
    kStoreDataWriteFailed = 27,
    // odsc_TableSetBinFunction, odsc_TableGetBinFunction
    kBinFunctionBadArgument = 1,
    kBinFunctionWrongCount = 2,
    kBinFunctionWriteFailed = 3,
    kBinFunctionReadFailed = 4,
    kBinFunctionDamaged = 5,
};

} // namespace orvik::dsc
