// Atomic file replacement (see atomic_file.hpp), over the file system calls of port/.
#include "prefs/atomic_file.hpp"

#include <atomic>
#include <string>

#include "core/guard.hpp"
#include "core/utf8.hpp"
#include "port/file_system.hpp"
#include "prefs/report.hpp"

namespace orvik::prefs {

namespace fs = orvik::port::fs;

namespace {

std::atomic<WriteFaultHook> gFault{nullptr};

bool Fail(Oerr_ErrorReport **err, const wchar_t *action, const std::wstring &path, fs::Code code) {
    orvik::core::SetError(err, L"WriteFileAtomically", kFileFailed, nullptr, L"%s %s: %S", action,
                          path.c_str(), fs::SystemReason(code).c_str());
    return false;
}

fs::Code WriteAll(fs::Handle handle, const char *data, std::size_t size, std::int64_t at) {
    std::size_t done = 0;
    return fs::WriteAt(handle, data, size, at, done);
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
    const std::size_t slash = target.find_last_of("/\\");
    const std::string folder =
        slash == std::string::npos ? "." : (slash == 0 ? "/" : target.substr(0, slash));
    const std::string leaf = slash == std::string::npos ? target : target.substr(slash + 1);
    std::string temp;
    fs::Handle handle = fs::kInvalidHandle;
    fs::Code code = fs::CreateUnique(folder, "." + leaf + ".", "", temp, handle);
    if (code != 0) return Fail(err, L"Cannot create a temporary file beside", path, code);

    const std::size_t half = bytes.size() / 2;
    code = WriteAll(handle, bytes.data(), half, 0);
    if (code == 0) {
        const WriteFaultHook hook = gFault.load();
        // A stop forced by the hook reads as a write the disk cut short.
        if (hook && !hook()) code = fs::FileTooLargeCode();
    }
    if (code == 0) {
        code = WriteAll(handle, bytes.data() + half, bytes.size() - half,
                        static_cast<std::int64_t>(half));
    }
    if (code == 0) code = fs::MakeReadableByAll(handle);
    if (code == 0) code = fs::FlushToDisk(handle);
    const fs::Code closed = fs::Close(handle);
    if (code == 0) code = closed;
    if (code == 0) code = fs::Rename(temp, target);
    if (code != 0) {
        fs::Remove(temp);
        return Fail(err, L"Cannot write", path, code);
    }
    // Make the rename itself durable; failing to sync the folder loses nothing written.
    fs::FlushFolder(folder);
    return true;
}

} // namespace orvik::prefs
