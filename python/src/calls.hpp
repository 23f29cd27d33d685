// How the extension calls the library: the GIL is released around every call, the file's
// own lock is taken while the GIL is not held, and report chains become Python exceptions.
#pragma once

#include <pybind11/pybind11.h>

#include <memory>
#include <mutex>
#include <shared_mutex>
#include <string>
#include <utility>
#include <vector>

#include <orvik/oerr.h>
#include <orvik/ohfa.h>

namespace orvik_py {

namespace py = pybind11;

// One record of a chain, outermost first once collected.
struct ReportRecord {
    std::wstring function;
    long number = 0;
    long kind = 0;
    std::wstring message;
};

// A failed call: its chain, and whether the cause was the file itself (open, create, I/O).
struct ReportError {
    std::vector<ReportRecord> records;
    bool fileError = false;
};

// Copies a chain outermost first and releases it. Never needs the GIL.
std::vector<ReportRecord> TakeChain(Oerr_ErrorReport *&chain) noexcept;

// Installs the alternative error function that keeps printed reports of the calling thread
// (warnings inside successful calls) for the binding; they become Python warnings.
void InstallReportCollector();

// Hands the reports printed by the library during the last call of this thread to Python's
// warnings module. Needs the GIL.
void FlushWarnings();

// Raises orvik.Error (orvik.FileError when the cause is a file error) for `error`.
[[noreturn]] void Raise(ReportError error);

// Registers the translation of ReportError into the Python exception classes.
void RegisterTranslator();

// The lock of one open file handle. The library lets one thread at a time work on a file, so
// every call on a file or its layers holds it alone; window reads of a read-only file, which
// the library allows from several threads at once, hold it shared (so the file and its
// layers stay open meanwhile). Other files are not affected. Handles are shared between
// opens of the same name, so the lock belongs to the handle.
// `readOnly`: how the library handle was opened (a later open of the same name gets the
// first open's handle, whatever mode it asks for).
struct FileMutex : std::shared_mutex {
    bool readOnly = false;
};
std::shared_ptr<FileMutex> FileLock(Ohfa_File *file, bool readOnlyIfNew);
void ForgetFileLock(Ohfa_File *file);

// How a call holds its file's lock.
enum class Hold { Alone, Shared };

// Runs `body(&err)` without the GIL, holding `lock` when given. `failed(result)` says whether
// the call failed; on failure the chain is raised (as a file error when `fileError`).
template <class Body, class Failed>
auto Call(FileMutex *lock, Body &&body, Failed &&failed, bool fileError = false,
          Hold hold = Hold::Alone) {
    Oerr_ErrorReport *err = nullptr;
    using Result = decltype(body(&err));
    Result result{};
    bool bad = false;
    std::vector<ReportRecord> records;
    {
        py::gil_scoped_release nogil;
        if (lock && hold == Hold::Shared) {
            std::shared_lock<std::shared_mutex> held(*lock);
            result = body(&err);
        } else if (lock) {
            std::lock_guard<std::shared_mutex> held(*lock);
            result = body(&err);
        } else {
            result = body(&err);
        }
        bad = failed(result) || err != nullptr;
        if (err) records = TakeChain(err);
    }
    FlushWarnings();
    if (bad) Raise(ReportError{std::move(records), fileError});
    return result;
}

inline bool IsNull(const void *p) { return p == nullptr; }
inline bool IsNegative(long v) { return v < 0; }

} // namespace orvik_py
