// Internal: report numbers of the string, text and node-path services. Each group belongs to
// one function or to a family that checks alike; numbers count a function's failure points,
// except where the interface fixes a larger number.
#pragma once

#include <orvik/oerr.h>

namespace orvik::strings {

enum ReportNumber : long {
    // ostr_StringListCreate, ostr_StringListAppend (numbers and texts fixed by the interface)
    kListRecordAllocation = 1,
    kListArrayAllocation = 2,
    kListCreateFailed = 5220,
    kListGrowFailed = 5237,
    // ostr_StringListCopy
    kCopyDestinationTooSmall = 1,
    kCopyCreateFailed = 2,
    // ostr_StringListToDelimString
    kJoinAllocation = 8560,
    // ostr_StringListU2A, ostr_StringListA2U
    kNarrowConversionFailed = 8475,
    // ostr_QuoteString
    kQuoteBadArgument = 1,
    kQuoteAllocation = 2,
    // ostr_StringEvaluate
    kEvaluateBadEnvironment = 1,
    // otxt_Text_Unicode2Ascii, otxt_Text_Ascii2Unicode
    kTextUnconvertible = 1,
    // Node paths: parsing (under the calling function's name), then the ofnp_ functions
    kPathEmpty = 1,
    kPathEmptyName = 2,
    kPathNameTooLong = 3,
    kPathUnknownPart = 1,
    kPathRootHasNoParent = 4,
    kPathBadName = 2,
    kPathNoFileName = 1,
    kPathUnclosed = 6,
};

} // namespace orvik::strings
