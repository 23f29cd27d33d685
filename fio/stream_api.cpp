// Exported stream functions: open, close, positioning, binary reads and writes, sizes.
#include <climits>
#include <new>

#include <orvik/ofio.h>

#include "core/guard.hpp"
#include "fio/path.hpp"
#include "fio/report.hpp"
#include "fio/stream.hpp"
#include "fio/stream_handle.hpp"

using orvik::core::Guarded;
using orvik::core::SetError;
using namespace orvik::fio;

namespace orvik::fio {

Ofio_File *NewStream(os::Handle handle, const OpenMode &mode, std::wstring name,
                     std::size_t bufferSize) {
    void *block = omsc_HeapMalloc(static_cast<int32_t>(sizeof(Ofio_File_)));
    if (!block) return nullptr;
    return new (block) Ofio_File_(handle, mode, std::move(name), bufferSize);
}

void DeleteStream(Ofio_File *file) {
    if (!file) return;
    file->~Ofio_File_();
    omsc_HeapFree(file);
}

bool CheckHandle(const Ofio_File *file, Oerr_ErrorReport **err, const wchar_t *fn) {
    if (file) return true;
    SetError(err, fn, kBadArgument, nullptr, L"Invalid file handle");
    return false;
}

bool CheckCount(long count, const void *buffer, Oerr_ErrorReport **err, const wchar_t *fn) {
    if (count < 0 || (count > 0 && !buffer)) {
        SetError(err, fn, kBadArgument, nullptr, L"Invalid buffer or byte count %ld", count);
        return false;
    }
    return true;
}

// Arguments of the positioned transfers: a handle, a non-negative position and a buffer that
// matches the count.
bool CheckDirectArgs(const Ofio_File *file, int64_t position, long count, const void *buffer,
                     Oerr_ErrorReport **err, const wchar_t *fn) {
    if (!CheckHandle(file, err, fn) || !CheckCount(count, buffer, err, fn)) return false;
    if (position < 0) {
        SetError(err, fn, kBadArgument, nullptr, L"Invalid file position %lld",
                 static_cast<long long>(position));
        return false;
    }
    return true;
}

Ofio_File *OpenStream(const wchar_t *name, const wchar_t *mode, std::size_t bufferSize,
                      Oerr_ErrorReport **err, const wchar_t *fn) {
    OpenMode parsed;
    std::string path;
    if (!CheckedSystemPath(name, path, err, fn)) return nullptr;
    if (!ParseMode(mode, parsed)) {
        SetError(err, fn, kBadArgument, nullptr, L"Invalid mode \"%s\" for file \"%s\"",
                 mode ? mode : L"(null)", name);
        return nullptr;
    }
    std::wstring wname(name);
    os::Handle handle = os::kInvalidHandle;
    os::Code code = os::Open(path, parsed.request, handle);
    if (code != 0) {
        ReportSystemError(err, fn, code, L"Cannot open file", &wname);
        return nullptr;
    }
    Ofio_File *file = NewStream(handle, parsed, std::move(wname), bufferSize);
    if (!file) {
        os::Close(handle);
        orvik::core::SetOutOfMemory(err, fn);
    }
    return file;
}

} // namespace orvik::fio

extern "C" {

ORVIK_API Ofio_File *ofio_FileOpen(const wchar_t *name, const wchar_t *mode, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT {
    if (err) *err = nullptr;
    return Guarded<Ofio_File *>(err, L"ofio_FileOpen", nullptr, [&] {
        return OpenStream(name, mode, kDefaultBufferSize, err, L"ofio_FileOpen");
    });
}

ORVIK_API Ofio_File *ofio_NullDeviceOpen(Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    if (err) *err = nullptr;
    return Guarded<Ofio_File *>(err, L"ofio_NullDeviceOpen", nullptr, [&]() -> Ofio_File * {
        OpenMode mode;
        ParseMode(L"w+", mode);
        Ofio_File *file = NewStream(os::kInvalidHandle, mode, L"(null device)", 0);
        if (!file) orvik::core::SetOutOfMemory(err, L"ofio_NullDeviceOpen");
        return file;
    });
}

ORVIK_API int ofio_FileClose(Ofio_File *file, Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    if (err) *err = nullptr;
    if (!file) return 0;
    int result = Guarded<int>(err, L"ofio_FileClose", -1,
                              [&] { return file->Close(err, L"ofio_FileClose") ? 0 : -1; });
    DeleteStream(file);
    return result;
}

ORVIK_API int ofio_Seek(Ofio_File *file, int64_t offset, int whence, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT {
    if (err) *err = nullptr;
    return Guarded<int>(err, L"ofio_Seek", -1, [&] {
        if (!CheckHandle(file, err, L"ofio_Seek")) return -1;
        return file->Seek(offset, whence, err, L"ofio_Seek") ? 0 : -1;
    });
}

ORVIK_API int64_t ofio_Tell(Ofio_File *file, Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    if (err) *err = nullptr;
    if (!CheckHandle(file, err, L"ofio_Tell")) return -1;
    return file->Position();
}

ORVIK_API long ofio_ReadSeq(Ofio_File *file, void *buffer, long count, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT {
    if (err) *err = nullptr;
    return Guarded<long>(err, L"ofio_ReadSeq", -1, [&] {
        if (!CheckHandle(file, err, L"ofio_ReadSeq") ||
            !CheckCount(count, buffer, err, L"ofio_ReadSeq")) {
            return -1L;
        }
        return file->ReadNext(buffer, static_cast<std::size_t>(count), err, L"ofio_ReadSeq") ? count
                                                                                             : -1L;
    });
}

ORVIK_API long ofio_FileReadDirect(Ofio_File *file, int64_t position, void *buffer, long count,
                                   Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    const wchar_t *fn = L"ofio_FileReadDirect";
    if (err) *err = nullptr;
    return Guarded<long>(err, fn, -1, [&] {
        if (!CheckDirectArgs(file, position, count, buffer, err, fn)) return -1L;
        return file->ReadExact(position, buffer, static_cast<std::size_t>(count), err, fn) ? count
                                                                                           : -1L;
    });
}

static long WriteSequential(Ofio_File *file, const void *buffer, long count, Oerr_ErrorReport **err,
                            const wchar_t *fn) {
    if (err) *err = nullptr;
    return Guarded<long>(err, fn, -1, [&] {
        if (!CheckHandle(file, err, fn) || !CheckCount(count, buffer, err, fn)) return -1L;
        return file->WriteNext(buffer, static_cast<std::size_t>(count), err, fn) ? count : -1L;
    });
}

ORVIK_API long ofio_WriteSeq(Ofio_File *file, const void *buffer, long count,
                             Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    return WriteSequential(file, buffer, count, err, L"ofio_WriteSeq");
}

ORVIK_API long ofio_FileWriteSequential(Ofio_File *file, const void *buffer, long count,
                                        Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    return WriteSequential(file, buffer, count, err, L"ofio_FileWriteSequential");
}

ORVIK_API long ofio_FileWriteDirect(Ofio_File *file, int64_t position, const void *buffer,
                                    long count, Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    const wchar_t *fn = L"ofio_FileWriteDirect";
    if (err) *err = nullptr;
    return Guarded<long>(err, fn, -1, [&] {
        if (!CheckDirectArgs(file, position, count, buffer, err, fn)) return -1L;
        return file->Write(position, buffer, static_cast<std::size_t>(count), err, fn) ? count
                                                                                       : -1L;
    });
}

ORVIK_API int ofio_Flush(Ofio_File *file, Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    if (err) *err = nullptr;
    return Guarded<int>(err, L"ofio_Flush", -1, [&] {
        if (!CheckHandle(file, err, L"ofio_Flush")) return -1;
        return file->Flush(err, L"ofio_Flush") ? 0 : -1;
    });
}

ORVIK_API int64_t ofio_FileSizeGetByHandle(Ofio_File *file, Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    const wchar_t *fn = L"ofio_FileSizeGetByHandle";
    if (err) *err = nullptr;
    return Guarded<int64_t>(err, fn, -1, [&]() -> int64_t {
        if (!CheckHandle(file, err, fn)) return -1;
        int64_t size = 0;
        return file->Size(size, err, fn) ? size : -1;
    });
}

ORVIK_API int64_t ofio_FileSizeGetByName(const wchar_t *name, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT {
    const wchar_t *fn = L"ofio_FileSizeGetByName";
    if (err) *err = nullptr;
    return Guarded<int64_t>(err, fn, -1, [&]() -> int64_t {
        std::string path;
        if (!CheckedSystemPath(name, path, err, fn)) return -1;
        int64_t size = 0;
        os::Code code = os::SizeOfPath(path, size);
        if (code != 0) {
            std::wstring wname(name);
            ReportSystemError(err, fn, code, L"Cannot measure file", &wname);
            return -1;
        }
        return size;
    });
}

ORVIK_API Omsc_Boolean ofio_FileIsReadOnly(const Ofio_File *file) ORVIK_NOEXCEPT {
    return file && file->ReadOnly() ? OMSC_TRUE : OMSC_FALSE;
}

ORVIK_API const wchar_t *ofio_FileNameGet(const Ofio_File *file) ORVIK_NOEXCEPT {
    return file ? file->Name().c_str() : nullptr;
}

} // extern "C"
