// Exported operations on files and folders by name: existence, removal, moving, folder
// creation with parents.
#include <string>
#include <vector>

#include <orvik/ofio.h>

#include "core/guard.hpp"
#include "fio/io_seam.hpp"
#include "fio/path.hpp"
#include "fio/report.hpp"

using orvik::core::Guarded;
using orvik::core::SetError;
using namespace orvik::fio;

namespace {

// Bytes moved per step when a file is copied across file systems.
constexpr std::size_t kCopyBlock = 1 << 20;

bool QueryType(const wchar_t *name, os::EntryType &type, Oerr_ErrorReport **err,
               const wchar_t *fn) {
    std::string path;
    if (!CheckedSystemPath(name, path, err, fn)) return false;
    os::Code code = os::TypeOf(path, type);
    if (code == 0) return true;
    std::wstring wname(name);
    ReportSystemError(err, fn, code, L"Cannot examine", &wname);
    return false;
}

// Copies the file `from` to `to` (created or truncated) and removes `from`.
bool CopyAndRemove(const std::string &from, const std::string &to, const std::wstring &wfrom,
                   const std::wstring &wto, Oerr_ErrorReport **err, const wchar_t *fn) {
    os::Handle in = os::kInvalidHandle, out = os::kInvalidHandle;
    os::OpenRequest readReq;
    os::Code code = os::Open(from, readReq, in);
    if (code != 0) {
        ReportSystemError(err, fn, code, L"Cannot open file", &wfrom);
        return false;
    }
    os::OpenRequest writeReq;
    writeReq.access = os::Access::WriteOnly;
    writeReq.create = writeReq.truncate = true;
    code = os::Open(to, writeReq, out);
    if (code != 0) {
        os::Close(in);
        ReportSystemError(err, fn, code, L"Cannot create file", &wto);
        return false;
    }
    std::vector<char> block(kCopyBlock);
    std::int64_t at = 0;
    bool ok = true;
    for (;;) {
        std::size_t got = 0, put = 0;
        code = testing::ReadAt(in, block.data(), block.size(), at, got);
        if (code != 0) {
            ReportSystemError(err, fn, code, L"Cannot read file", &wfrom);
            ok = false;
            break;
        }
        if (got == 0) break;
        code = testing::WriteAt(out, block.data(), got, at, put);
        if (code != 0) {
            ReportSystemError(err, fn, code, L"Cannot write to file", &wto);
            ok = false;
            break;
        }
        at += static_cast<std::int64_t>(got);
    }
    os::Close(in);
    code = os::Close(out);
    if (ok && code != 0) {
        ReportSystemError(err, fn, code, L"Cannot close file", &wto);
        ok = false;
    }
    if (!ok) {
        os::Remove(to); // no half copy is left behind
        return false;
    }
    code = os::Remove(from);
    if (code != 0) {
        ReportSystemError(err, fn, code, L"Cannot remove file", &wfrom);
        return false;
    }
    return true;
}

// Creates `path` and missing parents. `path` has no trailing "/".
os::Code MakeDirectories(const std::string &path) {
    os::Code code = os::MakeDirectory(path);
    if (code == 0) return 0;
    if (os::IsAlreadyExists(code)) {
        os::EntryType type;
        os::Code typeCode = os::TypeOf(path, type);
        if (typeCode != 0) return typeCode;
        return type == os::EntryType::Directory ? 0 : code;
    }
    if (!os::IsMissing(code)) return code;
    std::size_t slash = path.find_last_of('/');
    if (slash == std::string::npos || slash == 0) return code;
    os::Code parent = MakeDirectories(path.substr(0, slash));
    if (parent != 0) return parent;
    code = os::MakeDirectory(path);
    return code == 0 || os::IsAlreadyExists(code) ? 0 : code;
}

} // namespace

extern "C" {

ORVIK_API Omsc_Boolean ofio_FileExists(const wchar_t *name, Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    if (err) *err = nullptr;
    return Guarded<Omsc_Boolean>(err, L"ofio_FileExists", OMSC_FALSE, [&] {
        os::EntryType type;
        if (!QueryType(name, type, err, L"ofio_FileExists")) return OMSC_FALSE;
        return type == os::EntryType::Missing ? OMSC_FALSE : OMSC_TRUE;
    });
}

ORVIK_API Omsc_Boolean ofio_IsDirectory(const wchar_t *name, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT {
    if (err) *err = nullptr;
    return Guarded<Omsc_Boolean>(err, L"ofio_IsDirectory", OMSC_FALSE, [&] {
        os::EntryType type;
        if (!QueryType(name, type, err, L"ofio_IsDirectory")) return OMSC_FALSE;
        return type == os::EntryType::Directory ? OMSC_TRUE : OMSC_FALSE;
    });
}

ORVIK_API int ofio_FileRemove(const wchar_t *name, Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    const wchar_t *fn = L"ofio_FileRemove";
    if (err) *err = nullptr;
    return Guarded<int>(err, fn, -1, [&] {
        std::string path;
        if (!CheckedSystemPath(name, path, err, fn)) return -1;
        os::Code code = os::Remove(path);
        if (code == 0) return 0;
        std::wstring wname(name);
        ReportSystemError(err, fn, code, L"Cannot remove file", &wname);
        return -1;
    });
}

ORVIK_API int ofio_FileMove(const wchar_t *from, const wchar_t *to, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT {
    const wchar_t *fn = L"ofio_FileMove";
    if (err) *err = nullptr;
    return Guarded<int>(err, fn, -1, [&] {
        std::string source, target;
        if (!CheckedSystemPath(from, source, err, fn) || !CheckedSystemPath(to, target, err, fn)) {
            return -1;
        }
        std::wstring wfrom(from), wto(to);
        os::Code code = os::Rename(source, target);
        if (code == 0) return 0;
        if (os::IsCrossDevice(code)) {
            os::EntryType type;
            if (os::TypeOf(source, type) == 0 && type == os::EntryType::File) {
                return CopyAndRemove(source, target, wfrom, wto, err, fn) ? 0 : -1;
            }
        }
        ReportSystemError(err, fn, code, L"Cannot move", &wfrom, L" to \"" + wto + L"\"");
        return -1;
    });
}

ORVIK_API int ofio_MaybeMakeDir(const wchar_t *name, Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    const wchar_t *fn = L"ofio_MaybeMakeDir";
    if (err) *err = nullptr;
    return Guarded<int>(err, fn, -1, [&] {
        std::string path;
        if (!CheckedSystemPath(name, path, err, fn)) return -1;
        while (path.size() > 1 && path.back() == '/') path.pop_back();
        os::Code code = MakeDirectories(path);
        if (code == 0) return 0;
        std::wstring wname(name);
        ReportSystemError(err, fn, code, L"Cannot create folder", &wname);
        return -1;
    });
}

} // extern "C"
