// Atomic file replacement on POSIX systems (see atomic_file.hpp).
#include "prefs/atomic_file.hpp"

#include <atomic>
#include <cerrno>
#include <cstring>
#include <string>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "core/guard.hpp"
#include "prefs/report.hpp"
#include "core/utf8.hpp"

namespace orvik::prefs {

namespace {

std::atomic<WriteFaultHook> gFault{nullptr};

// Mode of preference files: the owner writes, everyone may read.
constexpr mode_t kFileMode = 0644;

bool Fail(Oerr_ErrorReport **err, const wchar_t *action, const std::wstring &path, int code) {
    orvik::core::SetError(err, L"WriteFileAtomically", kFileFailed, nullptr, L"%s %s: %S", action,
                          path.c_str(), std::strerror(code));
    return false;
}

bool WriteAll(int fd, const char *data, std::size_t size, int &code) {
    while (size > 0) {
        const ssize_t n = ::write(fd, data, size);
        if (n < 0) {
            if (errno == EINTR) continue;
            code = errno;
            return false;
        }
        data += n;
        size -= static_cast<std::size_t>(n);
    }
    return true;
}

} // namespace

void SetWriteFaultHook(WriteFaultHook hook) { gFault.store(hook); }

bool WriteFileAtomically(const std::wstring &path, const std::string &bytes,
                         Oerr_ErrorReport **err) {
    std::string target;
    if (!orvik::text::WideToUtf8(path, target).ok || target.empty()) {
        orvik::core::SetError(err, L"WriteFileAtomically", kBadArgument, nullptr,
                              L"Invalid file name");
        return false;
    }
    const std::size_t slash = target.rfind('/');
    const std::string folder =
        slash == std::string::npos ? "." : (slash == 0 ? "/" : target.substr(0, slash));
    const std::string leaf = slash == std::string::npos ? target : target.substr(slash + 1);
    std::string temp = folder + "/." + leaf + ".XXXXXX";
    const int fd = ::mkstemp(temp.data());
    if (fd < 0) return Fail(err, L"Cannot create a temporary file beside", path, errno);

    int code = 0;
    const std::size_t half = bytes.size() / 2;
    bool ok = WriteAll(fd, bytes.data(), half, code);
    if (ok) {
        const WriteFaultHook hook = gFault.load();
        if (hook && !hook()) {
            ok = false;
            code = ENOSPC;
        }
    }
    ok = ok && WriteAll(fd, bytes.data() + half, bytes.size() - half, code);
    if (ok && ::fchmod(fd, kFileMode) != 0) ok = false, code = errno;
    if (ok && ::fsync(fd) != 0) ok = false, code = errno;
    if (::close(fd) != 0 && ok) ok = false, code = errno;
    if (ok && ::rename(temp.c_str(), target.c_str()) != 0) ok = false, code = errno;
    if (!ok) {
        ::unlink(temp.c_str());
        return Fail(err, L"Cannot write", path, code);
    }
    // Make the rename itself durable; failing to sync the folder loses nothing written.
    const int dir = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY);
    if (dir >= 0) {
        ::fsync(dir);
        ::close(dir);
    }
    return true;
}

} // namespace orvik::prefs
