// Helpers every command shares: text conversion, one-line error reports, opening files,
// starting the library, the progress bar and the --json switch.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <stdexcept>
#include <string>

#include <CLI/CLI.hpp>

#include <orvik/oerr.h>
#include <orvik/ohfa.h>

namespace orvik_tool {

// Exit statuses: 0 success, 1 a check that found problems, 2 bad input or a failure.
enum ExitStatus { kOk = 0, kProblems = 1, kFailed = 2 };

// A failure that ends the command: main prints "orvik: <message>" and exits with `status`.
class Failure : public std::runtime_error {
  public:
    explicit Failure(const std::string &message, int status = kFailed)
        : std::runtime_error(message), m_status(status) {}
    int Status() const { return m_status; }

  private:
    int m_status;
};

std::wstring Wide(const std::string &text);
std::string Narrow(const wchar_t *text);

// The chain in brief form on one line: the messages from the outermost record inwards,
// joined by ": " (a record without a message is named by its function and number).
std::string BriefReport(const Oerr_ErrorReport *report);

// An owned report chain, passed where the library wants Oerr_ErrorReport **.
class Report {
  public:
    Report() = default;
    Report(const Report &) = delete;
    Report &operator=(const Report &) = delete;
    ~Report() { oerr_DeleteErrorReportEx(&m_report); }
    operator Oerr_ErrorReport **() { return &m_report; }
    explicit operator bool() const { return m_report != nullptr; }
    const Oerr_ErrorReport *get() const { return m_report; }
    // Throws Failure("<what>: <brief report>") when a report is held.
    void ThrowIfSet(const std::string &what);

  private:
    Oerr_ErrorReport *m_report = nullptr;
};

// Starts the toolkit and the HFA and statistics modules once per process.
void StartLibrary();

// An open HFA file, closed at the end of the scope. Missing files and files that are not
// HFA files are refused with their own messages before the library is asked.
class HfaFile {
  public:
    HfaFile(const std::string &path, bool update);
    // Creates (or truncates) a file.
    static HfaFile Create(const std::string &path);
    HfaFile(HfaFile &&other) noexcept : m_file(other.m_file), m_path(std::move(other.m_path)) {
        other.m_file = nullptr;
    }
    HfaFile(const HfaFile &) = delete;
    HfaFile &operator=(const HfaFile &) = delete;
    ~HfaFile();
    Ohfa_File *get() const { return m_file; }
    const std::string &Path() const { return m_path; }
    // Closes now, reporting a failure of the final flush.
    void Close();

  private:
    HfaFile() = default;
    Ohfa_File *m_file = nullptr;
    std::string m_path;
};

// Moves the current entry to `node` or fails with "Node not found: <node>".
Ohfa_Entry SeekNode(Ohfa_File *file, const std::string &node);

// Text of a fixed 8-bit item (zero-terminated within its size).
std::string FixedText(const char *text, std::size_t size);

// A stored time as "YYYY-MM-DD HH:MM:SS" UTC ("unknown" when it is no time).
std::string TimeText(double seconds);

// A progress bar on standard error, shown only when standard error is a terminal and the
// work has already taken a second.
class Progress {
  public:
    explicit Progress(std::string label);
    ~Progress();
    void Update(double done, double total);

  private:
    std::string m_label;
    bool m_terminal;
    bool m_shown = false;
    std::chrono::steady_clock::time_point m_start;
};

// Adds --json to a command and tells whether it was given.
struct JsonFlag {
    bool on = false;
    void AddTo(CLI::App *app) { app->add_flag("--json", on, "Print the result as JSON"); }
};

// Adds a command whose only arguments are FILE and --json; `run(file, json)` does the work.
void AddFileCommand(CLI::App &app, const std::string &name, const std::string &description,
                    std::function<void(const std::string &, bool)> run);

// The commands, one file each.
void AddLs(CLI::App &app);
void AddDump(CLI::App &app);
void AddDict(CLI::App &app);
void AddFree(CLI::App &app);
void AddCheck(CLI::App &app);
void AddRepack(CLI::App &app);
void AddImport(CLI::App &app);
void AddExport(CLI::App &app);
void AddQuicklook(CLI::App &app);
void AddStats(CLI::App &app);
void AddPrefs(CLI::App &app);
void AddDemo(CLI::App &app);

} // namespace orvik_tool
