// Whole-file reads through the file layer (see file_text.hpp).
#include "prefs/file_text.hpp"

#include <orvik/ofio.h>

#include "core/guard.hpp"
#include "prefs/report.hpp"

namespace orvik::prefs {

bool ReadWholeFile(const wchar_t *fileName, std::string &bytes, Oerr_ErrorReport **err) {
    const wchar_t *fn = L"ReadWholeFile";
    Oerr_ErrorReport *inner = nullptr;
    Ofio_File *file = ofio_FileOpen(fileName, L"rb", &inner);
    if (!file) {
        orvik::core::SetError(err, fn, kFileFailed, inner, L"Cannot open %s", fileName);
        return false;
    }
    bool ok = false;
    const int64_t size = ofio_FileSizeGetByHandle(file, &inner);
    if (size < 0) {
        orvik::core::SetError(err, fn, kFileFailed, inner, L"Cannot read %s", fileName);
    } else if (size > kMaxFileBytes) {
        orvik::core::SetError(err, fn, kFileFailed, nullptr, L"%s is too large", fileName);
    } else {
        bytes.resize(static_cast<std::size_t>(size));
        if (size == 0 ||
            ofio_ReadSeq(file, bytes.data(), static_cast<long>(size), &inner) == size) {
            ok = true;
        } else {
            orvik::core::SetError(err, fn, kFileFailed, inner, L"Cannot read %s", fileName);
        }
    }
    ofio_FileClose(file, nullptr);
    return ok;
}

} // namespace orvik::prefs
