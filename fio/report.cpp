// The one place where system error codes become report text.
#include "fio/report.hpp"

#include "core/guard.hpp"
#include "fio/path.hpp"

namespace orvik::fio {

void ReportSystemError(Oerr_ErrorReport **err, const wchar_t *function, os::Code code,
                       const wchar_t *action, const std::wstring *name, const std::wstring &detail,
                       Oerr_ErrorReport *previous) {
    std::string reason = os::SystemReason(code);
    if (name) {
        core::SetError(err, function, kSystemFailure, previous, L"%s \"%s\"%s: %S", action,
                       name->c_str(), detail.c_str(), reason.c_str());
    } else {
        core::SetError(err, function, kSystemFailure, previous, L"%s%s: %S", action, detail.c_str(),
                       reason.c_str());
    }
}

bool CheckedSystemPath(const wchar_t *name, std::string &path, Oerr_ErrorReport **err,
                       const wchar_t *function) {
    if (!name || !*name) {
        core::SetError(err, function, kBadArgument, nullptr, L"Missing file name");
        return false;
    }
    if (!ToSystemPath(name, path)) {
        core::SetError(err, function, kBadText, nullptr,
                       L"File name \"%s\" cannot be converted to UTF-8", name);
        return false;
    }
    return true;
}

} // namespace orvik::fio
