// Internal: report numbers of the preference module and the helper that prints a warning on
// the spot (warnings never stop the operation that raised them).
#pragma once

#include <orvik/oerr.h>

namespace orvik::prefs {

enum ReportNumber : long {
    kBadArgument = 1,   // null or empty names, bad counts
    kMethodFailed = 2,  // an implementation method failed (its report is the previous one)
    kMissingMethod = 3, // no implementation, or one without the method
    kTypeMismatch = 4,  // the declared type differs from the one asked for
    kOutOfMemory = OERR_NUMBER_OUT_OF_MEMORY,
    kNotFound = 6,       // no such category or parameter
    kParseFailed = 7,    // definition or preference text is malformed
    kFileFailed = 8,     // reading or writing a file or registry key
    kDisabled = 9,       // changing the implementation is locked
    kUnknownMethod = 10, // unknown implementation key
    kBadValue = 11,      // a value outside what its clause allows
    // Warnings.
    kClauseDropped = 20, // a clause that does not fit the parameter's type
    kUndefinedEntry = 21,
    kUnknownCategory = 22,
    kLengthCut = 23,
    kDeprecated = 24,
    // The plain record naming a source position under a warning.
    kPosition = 0,
};

// Creates a warning record (kind 1) with `previous` as its inner record, prints it through the
// report dispatcher and deletes it.
template <class... Args>
void Warn(const wchar_t *function, long number, Oerr_ErrorReport *previous, const wchar_t *format,
          Args... args) {
    Oerr_ErrorReport *r =
        oerr_CreateErrorReport(function, number, OERR_KIND_WARNING, previous, format, args...);
    if (!r) return;
    oerr_PrintErrorReport(r, OERR_REPORT_FULL);
    oerr_DeleteErrorReportEx(&r);
}

// A plain record naming a source position, for the inner record of a warning.
inline Oerr_ErrorReport *Position(const wchar_t *file, long line, long column) {
    return oerr_CreateErrorReport(nullptr, kPosition, OERR_KIND_PLAIN, nullptr, L"%s:%ld:%ld", file,
                                  line, column);
}

} // namespace orvik::prefs
