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
};

} // namespace orvik::dsc
