// Exported temporary names: the temporary folder and files created exclusively.
#include <string>

#include <orvik/ofio.h>

#include "core/guard.hpp"
#include "core/heap_text.hpp"
#include "fio/path.hpp"
#include "fio/report.hpp"
#include "fio/stream_handle.hpp"

using orvik::core::Guarded;
using orvik::core::HeapDup;
using orvik::core::SetError;
using namespace orvik::fio;

namespace {

// Converts an optional part of a temporary name; null stands for "".
bool OptionalPart(const wchar_t *part, std::string &out, Oerr_ErrorReport **err,
                  const wchar_t *fn) {
    out.clear();
    if (!part || !*part) return true;
    if (!ToSystemPath(part, out) || out.find('/') != std::string::npos) {
        SetError(err, fn, kBadArgument, nullptr, L"Invalid part \"%s\" of a temporary name", part);
        return false;
    }
    return true;
}

// Creates the file; on success `handle` is open and `name` holds its wide name.
bool CreateTemporary(const wchar_t *directory, const wchar_t *prefix, const wchar_t *suffix,
                     os::Handle &handle, std::wstring &name, Oerr_ErrorReport **err,
                     const wchar_t *fn) {
    std::string folder, head, tail;
    if (directory && *directory) {
        if (!CheckedSystemPath(directory, folder, err, fn)) return false;
    } else {
        folder = os::TemporaryDirectory();
    }
    if (!OptionalPart(prefix, head, err, fn) || !OptionalPart(suffix, tail, err, fn)) {
        return false;
    }
    std::string path;
    os::Code code = os::CreateUnique(folder, head, tail, path, handle);
    if (code != 0) {
        std::wstring wfolder = FromSystemPath(folder);
        ReportSystemError(err, fn, code, L"Cannot create a temporary file in", &wfolder);
        return false;
    }
    name = FromSystemPath(path);
    return true;
}

} // namespace

extern "C" {

ORVIK_API wchar_t *ofio_TempDirGet(Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    if (err) *err = nullptr;
    return Guarded<wchar_t *>(err, L"ofio_TempDirGet", nullptr, [&] {
        wchar_t *dir = HeapDup(std::wstring_view(FromSystemPath(os::TemporaryDirectory())));
        if (!dir) orvik::core::SetOutOfMemory(err, L"ofio_TempDirGet");
        return dir;
    });
}

ORVIK_API wchar_t *ofio_TempFileCreate(const wchar_t *directory, const wchar_t *prefix,
                                       const wchar_t *suffix, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT {
    const wchar_t *fn = L"ofio_TempFileCreate";
    if (err) *err = nullptr;
    return Guarded<wchar_t *>(err, fn, nullptr, [&]() -> wchar_t * {
        os::Handle handle = os::kInvalidHandle;
        std::wstring name;
        if (!CreateTemporary(directory, prefix, suffix, handle, name, err, fn)) return nullptr;
        os::Close(handle);
        wchar_t *result = HeapDup(std::wstring_view(name));
        if (!result) {
            std::string path;
            ToSystemPath(name.c_str(), path);
            os::Remove(path);
            orvik::core::SetOutOfMemory(err, fn);
        }
        return result;
    });
}

ORVIK_API Ofio_File *ofio_TempFileOpen(const wchar_t *directory, const wchar_t *prefix,
                                       const wchar_t *suffix, wchar_t **name,
                                       Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    const wchar_t *fn = L"ofio_TempFileOpen";
    if (err) *err = nullptr;
    if (name) *name = nullptr;
    return Guarded<Ofio_File *>(err, fn, nullptr, [&]() -> Ofio_File * {
        if (!name) {
            SetError(err, fn, kBadArgument, nullptr, L"Missing name argument");
            return nullptr;
        }
        os::Handle handle = os::kInvalidHandle;
        std::wstring created;
        if (!CreateTemporary(directory, prefix, suffix, handle, created, err, fn)) {
            return nullptr;
        }
        OpenMode mode;
        ParseMode(L"w+b", mode);
        wchar_t *copy = HeapDup(std::wstring_view(created));
        Ofio_File *file = copy ? NewStream(handle, mode, created, kDefaultBufferSize) : nullptr;
        if (!file) {
            os::Close(handle);
            std::string path;
            ToSystemPath(created.c_str(), path);
            os::Remove(path);
            omsc_HeapFree(copy);
            orvik::core::SetOutOfMemory(err, fn);
            return nullptr;
        }
        *name = copy;
        return file;
    });
}

} // extern "C"
