// DefaultToolkitContextUtil: the environment at start-up, folder checks and the default
// report sinks. Settling the environment is meant for start-up, before other threads run.
#include <orvik/oint.h>

#include <orvik/ofio.h>
#include <orvik/oplg.h>

#include "core/guard.hpp"
#include "toolkit/dynlib.hpp"
#include "toolkit/environment.hpp"
#include "toolkit/startup_paths.hpp"

namespace tk = orvik::toolkit;

namespace {

void WriteWide(std::ostream &out, const std::wstring &text) {
    std::string bytes;
    if (tk::ToUtf8(text, bytes))
        out << bytes;
    else
        out << '?'; // unpaired surrogates cannot be written as UTF-8
}

// `head` framed as the first line, the rest of `text` as continuation lines.
void WriteFramed(std::ostream &out, const wchar_t *text, const std::wstring &before,
                 const std::wstring &after) {
    std::wstring t = text ? text : L"";
    size_t nl = t.find(L'\n');
    WriteWide(out, before + t.substr(0, nl) + after);
    while (nl != std::wstring::npos) {
        size_t next = t.find(L'\n', nl + 1);
        std::wstring line = t.substr(nl + 1, next == std::wstring::npos ? next : next - nl - 1);
        if (!(line.empty() && next == std::wstring::npos)) WriteWide(out, L" >>>" + line + L"\n");
        nl = next;
    }
}

} // namespace

bool DefaultToolkitContextUtil::InitOrvikToolkitPaths(bool verbose, Oerr_ErrorReport **err) {
    return InitOrvikToolkitPaths(nullptr, nullptr, verbose, err);
}

bool DefaultToolkitContextUtil::InitOrvikToolkitPaths(const wchar_t *home, const wchar_t *archMode,
                                                      bool verbose, Oerr_ErrorReport **err) {
    if (err) *err = nullptr;
    return orvik::core::Guarded<bool>(err, L"DefaultToolkitContextUtil::InitOrvikToolkitPaths",
                                      false, [&] {
                                          tk::StartupArguments args;
                                          if (home) args.home = home;
                                          if (archMode) args.archMode = archMode;
                                          args.verbose = verbose;
                                          if (!tk::SettleStartupVariables(args, err)) return false;
                                          return oplg_EnvironmentSet(err) == 0;
                                      });
}

Omsc_Boolean DefaultToolkitContextUtil::IsDirectoryWriteable(const wchar_t *directory) {
    if (!directory || !*directory) return OMSC_FALSE;
    Oerr_ErrorReport *err = nullptr;
    wchar_t *name = ofio_TempFileCreate(directory, L"tmp", nullptr, &err);
    oerr_DeleteErrorReportEx(&err);
    if (!name) return OMSC_FALSE;
    ofio_FileRemove(name, &err);
    oerr_DeleteErrorReportEx(&err);
    omsc_HeapFree(name);
    return OMSC_TRUE;
}

Omsc_Boolean DefaultToolkitContextUtil::ComputeGlobalAppStore(std::wstring &result) {
    try {
        result = tk::GlobalAppStore();
        return OMSC_TRUE;
    } catch (...) {
        return OMSC_FALSE;
    }
}

void DefaultToolkitContextUtil::Errors2ostream(std::ostream &out, const Oerr_ErrorReport *report) {
    for (const Oerr_ErrorReport *r = report; r; r = r->next)
        WriteFramed(out, r->message, L" ***",
                    std::wstring(L" IN FUNCTION ") + (r->function ? r->function : L"") + L"***\n");
    out.flush();
}

void DefaultToolkitContextUtil::Messages2ostream(std::ostream &out, const wchar_t *message) {
    WriteFramed(out, message, L"", L"\n");
    out.flush();
}

std::wstring DefaultToolkitContextUtil::GIOHomeFromCmdLine() {
    return tk::HomeFromExecutable(tk::FromUtf8Lossy(tk::ExecutableFile()));
}
