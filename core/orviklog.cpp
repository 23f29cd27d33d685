// The logging base of the exception classes. Objects are not shared between threads.
#include <orvik/orviklog.h>

namespace OrvikLog {

namespace {

std::optional<std::string> Text(const char *text) {
    if (!text) return std::nullopt;
    return std::string(text);
}

const char *Get(const std::optional<std::string> &text) { return text ? text->c_str() : nullptr; }

} // namespace

Exception::Exception() : m_code(0) {}

Exception::Exception(const char *function, const char *file, long code)
    : m_function(Text(function)), m_file(Text(file)), m_code(code) {}

Exception::Exception(const Exception &other) = default;
Exception &Exception::operator=(const Exception &other) = default;
Exception::~Exception() = default;

const char *Exception::GetFunctionName() const { return Get(m_function); }
const char *Exception::GetFileName() const { return Get(m_file); }
long Exception::GetCode() const { return m_code; }
void Exception::SetFunctionName(const char *function) { m_function = Text(function); }
void Exception::SetFileName(const char *file) { m_file = Text(file); }
void Exception::SetCode(long code) { m_code = code; }
void Exception::SetMessage(const char *message) { m_message = Text(message); }
const char *Exception::get_What() { return Get(m_message); }

std::string Exception::FunctionNameOrUnknown() const {
    return m_function ? *m_function : std::string("Unknown function");
}

UnthrownException::UnthrownException() = default;

// The virtual base is initialised here only when UnthrownException is the most derived
// class; a further derived class passes the names to Exception itself.
UnthrownException::UnthrownException(const char *function, const char *file)
    : Exception(function, file) {}

UnthrownException::UnthrownException(const UnthrownException &other) : Exception(other) {}

UnthrownException &UnthrownException::operator=(const UnthrownException &other) {
    Exception::operator=(other);
    return *this;
}

UnthrownException::~UnthrownException() = default;

void UnthrownException::Check(long code) {
    if (!HasMessage()) return;
    SetCode(code);
    UnthrownException thrown(*this);
    Clear();
    throw thrown;
}

void UnthrownException::Clear() {
    SetMessage(nullptr);
    SetCode(0);
}

void UnthrownException::Log(long code) {
    SetCode(code);
    SetMessage((FunctionNameOrUnknown() + ":  unknown exception thrown").c_str());
}

void UnthrownException::Log(long code, const char *message) {
    SetCode(code);
    SetMessage(message ? message : "");
}

void UnthrownException::Log(long code, Exception &cause) {
    const char *what = cause.get_What();
    const std::string text =
        what ? std::string(what)
             : (cause.GetFunctionName() ? cause.GetFunctionName() : "Unknown function") +
                   std::string(" failed");
    SetCode(code);
    SetMessage(text.c_str());
}

void UnthrownException::Throw(long code, const char *message) {
    UnthrownException::Log(code, message);
    UnthrownException::Check(code);
}

} // namespace OrvikLog
