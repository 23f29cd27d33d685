// Exported memory mapping of streams and the local-file-system query.
#include <orvik/ofio.h>

#include "core/guard.hpp"
#include "fio/report.hpp"
#include "fio/stream_handle.hpp"

using orvik::core::Guarded;
using orvik::core::SetError;
using namespace orvik::fio;

namespace {

void *MapStream(Ofio_File *file, int64_t *size, bool renew, Oerr_ErrorReport **err,
                const wchar_t *fn) {
    if (err) *err = nullptr;
    return Guarded<void *>(err, fn, nullptr, [&]() -> void * {
        if (!CheckHandle(file, err, fn)) return nullptr;
        if (renew && !file->IsMapped()) {
            SetError(err, fn, kBadArgument, nullptr, L"File \"%s\" is not mapped",
                     file->Name().c_str());
            return nullptr;
        }
        std::size_t length = 0;
        void *address = file->Map(length, err, fn);
        if (address && size) *size = static_cast<int64_t>(length);
        return address;
    });
}

} // namespace

extern "C" {

ORVIK_API void *ofio_FileMap(Ofio_File *file, int64_t *size, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT {
    return MapStream(file, size, false, err, L"ofio_FileMap");
}

ORVIK_API void *ofio_FileRemap(Ofio_File *file, int64_t *size, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT {
    return MapStream(file, size, true, err, L"ofio_FileRemap");
}

ORVIK_API int ofio_FileUnmap(Ofio_File *file, Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    if (err) *err = nullptr;
    return Guarded<int>(err, L"ofio_FileUnmap", -1, [&] {
        if (!CheckHandle(file, err, L"ofio_FileUnmap")) return -1;
        return file->Unmap(err, L"ofio_FileUnmap") ? 0 : -1;
    });
}

ORVIK_API int ofio_FileSystemIsLocal(Ofio_File *file, Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    if (err) *err = nullptr;
    return Guarded<int>(err, L"ofio_FileSystemIsLocal", -1, [&] {
        if (!CheckHandle(file, err, L"ofio_FileSystemIsLocal")) return -1;
        bool local = false;
        if (!file->IsLocal(local, err, L"ofio_FileSystemIsLocal")) return -1;
        return local ? 1 : 0;
    });
}

} // extern "C"
