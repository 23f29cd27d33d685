// Internal: whole-file reads for the preference module's parsers.
#pragma once

#include <string>

#include <orvik/oerr.h>

namespace orvik::prefs {

// Largest definition or preference file read (far beyond any real one; keeps a stray huge
// file from being pulled into memory).
constexpr long long kMaxFileBytes = 64ll << 20;

// Reads the file's bytes into `bytes`; false with a report on failure.
bool ReadWholeFile(const wchar_t *fileName, std::string &bytes, Oerr_ErrorReport **err);

} // namespace orvik::prefs
