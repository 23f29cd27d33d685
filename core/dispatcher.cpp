// The process-wide dispatcher of printed reports and messages (two Boost.Signals2 signals,
// which are themselves thread-safe).
#include <orvik/oerr.h>

OerrDispatcher::OerrDispatcher()
    : m_reportSignal(new ReportSignal), m_messageSignal(new MessageSignal) {}

OerrDispatcher::OerrDispatcher(const OerrDispatcher &other) = default;
OerrDispatcher &OerrDispatcher::operator=(const OerrDispatcher &other) = default;

OerrDispatcher &OerrDispatcher::Instance() {
    // Never destroyed: reports may be printed from static destructors of client code.
    static OerrDispatcher *instance = new OerrDispatcher;
    return *instance;
}

OerrDispatcher::Connection OerrDispatcher::Connect(const ReportSignal::slot_type &listener) {
    return Connection(new ConnectionImpl(m_reportSignal->connect(listener)));
}

OerrDispatcher::Connection OerrDispatcher::Connect(const MessageSignal::slot_type &listener) {
    return Connection(new ConnectionImpl(m_messageSignal->connect(listener)));
}

void OerrDispatcher::Dispatch(const OerrErrorReport &report, Oerr_ErrorReportingMode mode) {
    (*m_reportSignal)(report, mode);
}

void OerrDispatcher::Dispatch(wchar_t *message, char *context) {
    (*m_messageSignal)(message, context);
}
