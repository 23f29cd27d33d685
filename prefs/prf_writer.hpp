// Internal: the preference file's text and its writing.
//
//   /*
//   ******************************************************
//   ** <file name> - This file is automatically created
//   **                 by the ORVIK Preferences Editor.
//   */
//   <blank lines>
//   category.name : "text";          string, boolean, enumeration
//   category.name : 12.500000;       number ("%f")
//   category.name : 1,2,3;           colour (or four components)
//   <blank line after each category that wrote entries>
//
// Only stored values (read from a file or put) are written.
#pragma once

#include <string>

#include <orvik/opmg.h>

namespace orvik::prefs {

std::wstring PreferenceText(const Opmg_Category *list, const std::wstring &fileName);

// Writes PreferenceText to `path` atomically, inside the thread-unsafe section.
bool WriteV8Preference(const Opmg_Category *list, const std::wstring &path, Oerr_ErrorReport **err);

} // namespace orvik::prefs
