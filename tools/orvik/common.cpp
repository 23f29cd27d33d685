#include "common.hpp"

#include "storage_option.hpp"

#include <cmath>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <unistd.h>

#include <orvik/oint.h>
#include <orvik/omsc.h>
#include <orvik/osta.h>
#include <orvik/otxt.h>

namespace orvik_tool {

std::wstring Wide(const std::string &text) {
    Oerr_ErrorReport *err = nullptr;
    wchar_t *w = otxt_Text_Ascii2Unicode(text.c_str(), &err);
    if (!w) {
        oerr_DeleteErrorReportEx(&err);
        throw Failure("Not valid UTF-8: " + text);
    }
    std::wstring out(w);
    omsc_HeapFree(w);
    return out;
}

std::string Narrow(const wchar_t *text) {
    if (!text) return {};
    Oerr_ErrorReport *err = nullptr;
    char *n = otxt_Text_Unicode2Ascii(text, &err);
    if (!n) {
        oerr_DeleteErrorReportEx(&err);
        return "?";
    }
    std::string out(n);
    omsc_HeapFree(n);
    return out;
}

std::string BriefReport(const Oerr_ErrorReport *report) {
    std::string out;
    for (const Oerr_ErrorReport *r = report; r; r = r->next) {
        std::string part = r->message && *r->message ? Narrow(r->message)
                                                     : Narrow(r->function) + " failed (" +
                                                           std::to_string(r->number) + ")";
        for (char &c : part)
            if (c == '\n' || c == '\r') c = ' ';
        if (!out.empty()) out += ": ";
        out += part;
    }
    return out;
}

void Report::ThrowIfSet(const std::string &what) {
    if (!m_report) return;
    const std::string brief = BriefReport(m_report);
    oerr_DeleteErrorReportEx(&m_report);
    throw Failure(what + ": " + brief);
}

void StartLibrary() {
    static bool started = false;
    if (started) return;
    Report err;
    if (oint_InitToolkit(err) != 0) err.ThrowIfSet("Cannot start the toolkit");
    if (ohfa_Init(err) != 0) err.ThrowIfSet("Cannot start the HFA module");
    static const int toolkit = 1;
    if (!osta_Init(&toolkit, err)) err.ThrowIfSet("Cannot start the statistics module");
    started = true;
}

HfaFile::HfaFile(const std::string &path, bool update) : m_path(path) {
    StartLibrary();
    std::error_code ec;
    if (!std::filesystem::exists(path, ec)) throw Failure("No such file: " + path);
    if (std::filesystem::is_directory(path, ec)) throw Failure("Is a directory: " + path);
    const std::wstring name = Wide(path);
    Report err;
    if (ohfa_IsHFAFile(name.c_str(), err) <= 0) {
        err.ThrowIfSet("Cannot read " + path);
        throw Failure("Not an HFA file: " + path);
    }
    m_file = ohfa_FileOpen(name.c_str(), update ? L"r+" : L"r", 0, err);
    if (!m_file) {
        err.ThrowIfSet("Cannot open " + path);
        throw Failure("Cannot open " + path);
    }
    UseAllCores(m_file);
}

HfaFile HfaFile::Create(const std::string &path) {
    StartLibrary();
    HfaFile f;
    f.m_path = path;
    Report err;
    f.m_file = ohfa_FileCreate(Wide(path).c_str(), 0, err);
    if (!f.m_file) {
        err.ThrowIfSet("Cannot create " + path);
        throw Failure("Cannot create " + path);
    }
    UseAllCores(f.m_file);
    return f;
}

HfaFile::~HfaFile() {
    if (m_file) ohfa_FileClose(m_file, nullptr);
}

void HfaFile::Close() {
    if (!m_file) return;
    Report err;
    const long rc = ohfa_FileClose(m_file, err);
    m_file = nullptr;
    if (rc != 0) err.ThrowIfSet("Cannot close " + m_path);
}

Ohfa_Entry SeekNode(Ohfa_File *file, const std::string &node) {
    Report err;
    const std::wstring path = Wide(node);
    const long found = ohfa_EntrySeek(file, OHFA_SEEK_PATH, path.c_str(), err);
    err.ThrowIfSet("Cannot look up " + node);
    if (!found) throw Failure("Node not found: " + node);
    Ohfa_Entry entry{};
    if (ohfa_EntryCurrentGet(file, &entry, err) == 0) err.ThrowIfSet("Cannot read " + node);
    return entry;
}

std::string FixedText(const char *text, std::size_t size) {
    std::size_t n = 0;
    while (n < size && text[n]) ++n;
    return std::string(text, n);
}

std::string TimeText(double seconds) {
    if (!std::isfinite(seconds) || seconds < 0 || seconds > 253402300799.0) return "unknown";
    const std::time_t t = static_cast<std::time_t>(seconds);
    std::tm tm{};
    gmtime_r(&t, &tm);
    char buf[32];
    std::strftime(buf, sizeof buf, "%Y-%m-%d %H:%M:%S", &tm);
    return buf;
}

Progress::Progress(std::string label)
    : m_label(std::move(label)), m_terminal(isatty(fileno(stderr)) != 0),
      m_start(std::chrono::steady_clock::now()) {}

Progress::~Progress() {
    if (m_shown) std::fputc('\n', stderr);
}

void Progress::Update(double done, double total) {
    if (!m_terminal || total <= 0) return;
    if (!m_shown && std::chrono::steady_clock::now() - m_start < std::chrono::seconds(1)) return;
    m_shown = true;
    const double f = std::min(1.0, std::max(0.0, done / total));
    const int width = 40, filled = static_cast<int>(f * width);
    std::fprintf(stderr, "\r%-12s [%s%s] %3d%%", m_label.c_str(), std::string(filled, '#').c_str(),
                 std::string(width - filled, ' ').c_str(), static_cast<int>(f * 100));
    std::fflush(stderr);
}

void AddFileCommand(CLI::App &app, const std::string &name, const std::string &description,
                    std::function<void(const std::string &, bool)> run) {
    auto *cmd = app.add_subcommand(name, description);
    struct Args {
        std::string file;
        JsonFlag json;
    };
    auto args = std::make_shared<Args>();
    cmd->add_option("FILE", args->file, "HFA file")->required();
    args->json.AddTo(cmd);
    cmd->callback([args, run] { run(args->file, args->json.on); });
}

} // namespace orvik_tool
