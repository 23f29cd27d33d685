// Internal: the file layer's reports. System errors are turned into report text here and
// only here, so every message carries the system's reason and the file name the same way.
#pragma once

#include <string>

#include <orvik/oerr.h>

#include "fio/os.hpp"

namespace orvik::fio {

// Report numbers of the file layer, shared by all its functions.
enum ReportNumber : long {
    kBadArgument = 1,   // null handle, missing name, invalid mode or pattern
    kSystemFailure = 2, // the system refused; the message gives its reason
    kUnexpectedEnd = 3, // a read reached the end of the file first
    kWrongAccess = 4,   // reading a write-only stream, writing a read-only one
    kOutOfMemory = OERR_NUMBER_OUT_OF_MEMORY,
    kBadText = 6,          // text that cannot be converted (UTF-8 <-> wide)
    kNotFound = 7,         // a search found nothing
    kAfterFailedWrite = 8, // a write to a stream whose earlier write failed
    kLockHeld = 9,         // another open holds the writer's lock of the file
};

// Stores a kind-2 report "<action> "<name>"<detail>: <system reason>" (or
// "<action><detail>: <reason>" without a name), taking over `previous`.
void ReportSystemError(Oerr_ErrorReport **err, const wchar_t *function, os::Code code,
                       const wchar_t *action, const std::wstring *name,
                       const std::wstring &detail = std::wstring(),
                       Oerr_ErrorReport *previous = nullptr);

// Converts a caller's name to a system path; reports 1 "Missing file name" for a null or
// empty name and 6 for text without a UTF-8 form.
bool CheckedSystemPath(const wchar_t *name, std::string &path, Oerr_ErrorReport **err,
                       const wchar_t *function);

} // namespace orvik::fio
