// Internal: report numbers of the start-up and plug-in modules, and the helpers that print a
// warning or a message on the spot (neither stops the operation that raised it).
#pragma once

#include <orvik/oerr.h>

#include "prefs/report.hpp"

namespace orvik::toolkit {

enum ReportNumber : long {
    kBadArgument = 1,   // null or empty names
    kLoadFailed = 2,    // the system loader refused a library
    kNoSymbol = 3,      // an exported symbol is missing
    kBadPlugin = 4,     // a library without the create and destroy entries
    kNotFound = 6,      // no such instance or library
    kSearchList = 7,    // the class search list could not be made
    kListFailed = 8,    // collecting the libraries of a class failed
    kPluginFailed = 9,  // a plug-in's create, destroy or configure entry failed
    kMeterFailed = 10,  // the meter refused its parameters or task name
    kTooLong = 11,      // a name does not fit its buffer
    kEnvironment = 12,  // reading or writing the environment failed
    kNotInstalled = 13, // start-up found no installation
    // Warnings and messages.
    kPlainMessage = 0, // a message without header (kind 0)
    kNoLibraries = 20, // a class without libraries
    kInstanceSkipped = 21,
    kListEmptied = 22,
    kBuilding = 23,
    kExpansionDropped = 24,
    kListEntryDropped = 25,
};

// Warnings print on the spot exactly as the preference module's do.
using orvik::prefs::Warn;

template <class... Args>
void Message(const wchar_t *function, long number, const wchar_t *format, Args... args) {
    Oerr_ErrorReport *r =
        oerr_CreateErrorReport(function, number, OERR_KIND_PLAIN, nullptr, format, args...);
    if (!r) return;
    oerr_PrintErrorReport(r, OERR_REPORT_FULL);
    oerr_DeleteErrorReportEx(&r);
}

} // namespace orvik::toolkit
