// DefaultToolkitContext and DefaultToolkitContextUtil::InitToolkit: bringing up the sinks, the
// preference database, the toolkit flag and the plug-in layer. The start-up record and the
// once-only flags are process-wide; start-up itself is meant to run on one thread.
#include <orvik/oint.h>
#include <orvik/opmg.h>
#include <orvik/oplg.h>

#include <atomic>
#include <iostream>

#include "toolkit/report.hpp"
#include "toolkit/startup_paths.hpp"

namespace tk = orvik::toolkit;

namespace {

constexpr const wchar_t *kInitFn = L"DefaultToolkitContextUtil::InitToolkit";
constexpr const wchar_t *kNotInstalled = L"Vortane ToolKit is not installed";

std::atomic<bool> g_notInstalledLogged{false};

Oint_ToolkitData &Data() {
    static Oint_ToolkitData *data = new Oint_ToolkitData{};
    return *data;
}

void ErrorSink(const OerrErrorReport &report, Oerr_ErrorReportingMode) {
    DefaultToolkitContextUtil::Errors2ostream(std::cerr, report.Get());
}

void MessageSink(const wchar_t *message, char *) {
    DefaultToolkitContextUtil::Messages2ostream(std::cerr, message);
}

// The library's sinks for printed reports and messages, connected once per process.
void ConnectSinks() {
    static const bool connected = [] {
        OerrDispatcher &d = OerrDispatcher::Instance();
        d.Connect(OerrDispatcher::ReportSignal::slot_type(ErrorSink));
        d.Connect(OerrDispatcher::MessageSignal::slot_type(MessageSink));
        return true;
    }();
    (void)connected;
}

[[noreturn]] void Raise(long number, Oerr_ErrorReport *previous, const wchar_t *message) {
    Oerr_ErrorReport *r =
        oerr_CreateErrorReport(kInitFn, number, OERR_KIND_ERROR, previous, L"%s", message);
    throw OerrException("DefaultToolkitContextUtil::InitToolkit", __FILE__, r);
}

void Start(const wchar_t *home, const wchar_t *archMode, bool verbose) {
    Oerr_ErrorReport *err = nullptr;
    if (!DefaultToolkitContextUtil::InitOrvikToolkitPaths(home, archMode, verbose, &err))
        Raise(tk::kEnvironment, err, L"InitOrvikToolkitPaths failed");
}

} // namespace

const Oint_ToolkitData *DefaultToolkitContextUtil::InitToolkit(bool verbose) {
    Oint_ToolkitData &data = Data();
    ConnectSinks();
    Oerr_ErrorReport *err = nullptr;
    if (opmg_Init(&err) != 0) Raise(tk::kPluginFailed, err, L"opmg_Init failed");
    data.preferencesStarted = OMSC_TRUE;
    if (verbose) tk::Message(kInitFn, tk::kPlainMessage, L"%s", L"Preference database started");
    // The class and query configuration database is not part of this library: nothing to
    // start for it here.
    if (oint_InitToolkit(&err) != 0) Raise(tk::kPluginFailed, err, L"oint_InitToolkit failed");
    if (!tk::ToolkitInstalled()) {
        oint_DeInit(nullptr);
        data.toolkitStarted = OMSC_FALSE;
        if (!g_notInstalledLogged.exchange(true)) {
            Oerr_ErrorReport *r = oerr_CreateErrorReport(
                kInitFn, tk::kNotInstalled, OERR_KIND_ERROR, nullptr, L"%s", kNotInstalled);
            oerr_PrintErrorReport(r, OERR_REPORT_FULL);
            oerr_DeleteErrorReportEx(&r);
        }
        Raise(tk::kNotInstalled, nullptr, kNotInstalled);
    }
    data.toolkitStarted = OMSC_TRUE;
    if (oplg_Init(&err) != 0) Raise(tk::kPluginFailed, err, L"oplg_Init failed");
    if (oplg_PreferenceImplementationSet(&err) != 0)
        Raise(tk::kPluginFailed, err, L"oplg_PreferenceImplementationSet failed");
    data.pluginLayerStarted = OMSC_TRUE;
    if (verbose) tk::Message(kInitFn, tk::kPlainMessage, L"%s", L"Toolkit started");
    return &data;
}

DefaultToolkitContext::DefaultToolkitContext() : m_data(nullptr) {
    Start(nullptr, nullptr, false);
    m_data = DefaultToolkitContextUtil::InitToolkit(false);
}

DefaultToolkitContext::DefaultToolkitContext(const wchar_t *home, bool verbose) : m_data(nullptr) {
    Start(home, nullptr, verbose);
    m_data = DefaultToolkitContextUtil::InitToolkit(verbose);
}

DefaultToolkitContext::DefaultToolkitContext(const wchar_t *home, const wchar_t *archMode,
                                             bool verbose)
    : m_data(nullptr) {
    Start(home, archMode, verbose);
    m_data = DefaultToolkitContextUtil::InitToolkit(verbose);
}

DefaultToolkitContext::~DefaultToolkitContext() = default;
