// Internal: the settling of the toolkit's environment variables at start-up (the table of
// variables, in order) and the pieces it is built from, exposed for the tests.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include <orvik/oerr.h>

namespace orvik::toolkit {

// Longest result of expanding one single path; a longer one is left out with a warning.
constexpr size_t kMaxSinglePathChars = 256;

// What the caller of start-up knows; each is only the default for an unset variable.
struct StartupArguments {
    std::optional<std::wstring> home;
    std::optional<std::wstring> arch;
    std::optional<std::wstring> archMode;
    bool verbose = false; // log every variable written
};

// The variables in the order they are settled.
const std::vector<std::wstring> &StartupVariables();

// Settles every variable of the table. Returns false with a report when a variable cannot
// be written.
bool SettleStartupVariables(const StartupArguments &args, Oerr_ErrorReport **err);

// "$GIO_ARCH" or "$GIO_ARCH-$GIO_ARCH_MODE" when a mode is given.
std::wstring ComposeArchm(const std::wstring &arch, const std::wstring &mode);

// Expands one single path; nothing when it still names an unset variable or when the result
// is longer than kMaxSinglePathChars (then with a warning naming `variable`).
std::optional<std::wstring> ExpandSinglePath(const std::wstring &variable,
                                             const std::wstring &text);

// The installation folder for an executable: the parent of the nearest folder named "bin"
// among the executable's folder and its parent, else the executable's folder.
std::wstring HomeFromExecutable(const std::wstring &executable);

// The machine-wide data folder: $GIO_GLOBAL_DATA when set, else the first folder of
// $XDG_DATA_DIRS (default "/usr/local/share"; on Windows the common application-data
// folder) with the maker and product folders.
std::wstring GlobalAppStore();

// The installation is present: GIO_HOME names a folder that holds an "etc" folder.
bool ToolkitInstalled();

} // namespace orvik::toolkit
