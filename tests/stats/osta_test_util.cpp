#include "osta_test_util.hpp"

namespace {
WarningCapture *g_active = nullptr;
bool g_installed = false;
} // namespace

// The dispatcher connects a listener per installation, so the alternative function is
// installed once per program and forwards to the capture that is alive.
WarningCapture::WarningCapture() {
    if (!g_installed) {
        oerr_SetAltErrorFunction(&WarningCapture::Alt, nullptr);
        g_installed = true;
    }
    g_active = this;
}

WarningCapture::~WarningCapture() { g_active = nullptr; }

void WarningCapture::Alt(void *, Oerr_ErrorReport *r, Oerr_ErrorReportingMode,
                         Oerr_ErrorReport **) {
    if (!g_active) return;
    for (; r; r = r->next)
        if (r->kind == OERR_KIND_WARNING)
            g_active->seen_.emplace_back(r->function ? r->function : L"",
                                         r->message ? r->message : L"");
}
