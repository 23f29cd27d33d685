// Whole-file reads through the file layer (see file_text.hpp).
#include "prefs/file_text.hpp"

#include <orvik/ofio.h>

#include "core/guard.hpp"
#include "prefs/report.hpp"

namespace orvik::prefs {

namespace {

constexpr const wchar_t *kFn = L"ReadWholeFile";

// The body of ReadWholeFile once the file is open.
bool ReadOpenFile(Ofio_File *file, const wchar_t *fileName, std::string &bytes,
                  Oerr_ErrorReport **err) {
    Oerr_ErrorReport *inner = nullptr;
    const int64_t size = ofio_FileSizeGetByHandle(file, &inner);
    if (size < 0) {
        orvik::core::SetError(err, kFn, kFileFailed, inner, L"Cannot read %s", fileName);
        return false;
    }
    if (size > kMaxFileBytes) {
        orvik::core::SetError(err, kFn, kFileFailed, nullptr, L"%s is too large", fileName);
        return false;
    }
    bytes.resize(static_cast<std::size_t>(size));
    if (size == 0 || ofio_ReadSeq(file, bytes.data(), static_cast<long>(size), &inner) == size)
        return true;
    orvik::core::SetError(err, kFn, kFileFailed, inner, L"Cannot read %s", fileName);
    return false;
}

} // namespace

bool ReadWholeFile(const wchar_t *fileName, std::string &bytes, Oerr_ErrorReport **err) {
    Oerr_ErrorReport *inner = nullptr;
    Ofio_File *file = ofio_FileOpen(fileName, L"rb", &inner);
    if (!file) {
        orvik::core::SetError(err, kFn, kFileFailed, inner, L"Cannot open %s", fileName);
        return false;
    }
    bool ok = false;
    try {
        ok = ReadOpenFile(file, fileName, bytes, err);
    } catch (...) {
        ofio_FileClose(file, nullptr); // the stream and its descriptor go on a throw too
        throw;
    }
    ofio_FileClose(file, nullptr);
    return ok;
}

} // namespace orvik::prefs
