// Exported character, line and formatted access to streams, and the callback shapes that
// the encoders and decoders use.
#include <climits>
#include <cstdarg>
#include <string>

#include <orvik/ofio.h>

#include "core/guard.hpp"
#include "fio/report.hpp"
#include "fio/stream_handle.hpp"
#include "core/format.hpp"
#include "core/utf8.hpp"

using orvik::core::Guarded;
using orvik::core::SetError;
using namespace orvik::fio;

namespace {

// Length of a UTF-8 sequence from its first byte; 0 for a byte that cannot start one.
int SequenceLength(int lead) {
    if (lead < 0x80) return 1;
    if (lead >= 0xC2 && lead <= 0xDF) return 2;
    if (lead >= 0xE0 && lead <= 0xEF) return 3;
    if (lead >= 0xF0 && lead <= 0xF4) return 4;
    return 0;
}

// Reads one line into buffer (see ofio_Fgets). False on failure; `any` tells whether a
// character was stored.
bool ReadLine(Ofio_File *file, wchar_t *buffer, long count, bool &any, Oerr_ErrorReport **err,
              const wchar_t *fn) {
    long stored = 0;
    any = false;
    while (stored < count - 1) {
        int64_t start = file->Position();
        int lead = file->GetByte(err, fn);
        if (lead == OFIO_ERROR) return false;
        if (lead == OFIO_EOF) break;
        int length = SequenceLength(lead);
        std::string bytes(1, static_cast<char>(lead));
        for (int i = 1; i < length; ++i) {
            int c = file->GetByte(err, fn);
            if (c == OFIO_ERROR) return false;
            if (c == OFIO_EOF) break;
            bytes.push_back(static_cast<char>(c));
        }
        std::wstring wide;
        if (length == 0 || !orvik::text::Utf8ToWide(bytes, wide).ok) {
            file->Unread(static_cast<std::size_t>(file->Position() - start));
            SetError(err, fn, kBadText, nullptr,
                     L"Invalid UTF-8 text in file \"%s\" at offset %lld", file->Name().c_str(),
                     static_cast<long long>(start));
            return false;
        }
        if (static_cast<long>(wide.size()) > count - 1 - stored) {
            // A character that needs two units (UTF-16) does not fit: leave it for later.
            file->Unread(bytes.size());
            break;
        }
        for (wchar_t w : wide) buffer[stored++] = w;
        any = true;
        if (lead == '\n') break;
    }
    buffer[stored] = L'\0';
    return true;
}

} // namespace

extern "C" {

ORVIK_API int ofio_Fgetc(Ofio_File *file, Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    if (err) *err = nullptr;
    // Decoders read whole dictionaries this way: keep the buffered case cheap.
    if (file) {
        int c = file->BufferedByte();
        if (c >= 0) return c;
    }
    return Guarded<int>(err, L"ofio_Fgetc", OFIO_ERROR, [&] {
        if (!CheckHandle(file, err, L"ofio_Fgetc")) return static_cast<int>(OFIO_ERROR);
        return file->GetByte(err, L"ofio_Fgetc");
    });
}

ORVIK_API int ofio_FileReaderFunc(void *context, Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    return ofio_Fgetc(static_cast<Ofio_File *>(context), err);
}

ORVIK_API wchar_t *ofio_Fgets(wchar_t *buffer, long count, Ofio_File *file, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT {
    if (err) *err = nullptr;
    return Guarded<wchar_t *>(err, L"ofio_Fgets", nullptr, [&]() -> wchar_t * {
        if (!CheckHandle(file, err, L"ofio_Fgets")) return nullptr;
        if (!buffer || count < 1) {
            SetError(err, L"ofio_Fgets", kBadArgument, nullptr,
                     L"Invalid line buffer of %ld characters", count);
            return nullptr;
        }
        buffer[0] = L'\0';
        if (count == 1) {
            // Room for nothing but the end mark: look one byte ahead so that the end of the
            // file still ends a reading loop.
            const int c = file->GetByte(err, L"ofio_Fgets");
            if (c == OFIO_ERROR || c == OFIO_EOF) return nullptr;
            file->Unread(1);
            return buffer;
        }
        bool any = false;
        if (!ReadLine(file, buffer, count, any, err, L"ofio_Fgets")) return nullptr;
        return any ? buffer : nullptr;
    });
}

} // extern "C"

namespace {

int FormattedWrite(void *context, const wchar_t *format, long *count, va_list args,
                   const wchar_t *fn) {
    auto *file = static_cast<Ofio_File *>(context);
    if (!file) return -1;
    Oerr_ErrorReport *report = nullptr;
    int result = Guarded<int>(&report, fn, -1, [&] {
        if (!format) {
            SetError(&report, fn, kBadArgument, nullptr, L"Missing format");
            return -1;
        }
        std::wstring text = orvik::text::FormatV(format, args);
        std::string bytes;
        if (!orvik::text::WideToUtf8(text, bytes).ok) {
            SetError(&report, fn, kBadText, nullptr,
                     L"Text for file \"%s\" cannot be converted to UTF-8", file->Name().c_str());
            return -1;
        }
        if (text.size() > static_cast<std::size_t>(INT_MAX)) {
            SetError(&report, fn, kBadArgument, nullptr, L"Formatted text too long");
            return -1;
        }
        if (!file->WriteNext(bytes.data(), bytes.size(), &report, fn)) return -1;
        if (count) *count += static_cast<long>(text.size());
        return static_cast<int>(text.size());
    });
    if (result < 0) file->KeepError(report);
    return result;
}

} // namespace

extern "C" {

ORVIK_API int ofio_VFprintf(void *context, const wchar_t *format, long *count, va_list args)
    ORVIK_NOEXCEPT {
    return FormattedWrite(context, format, count, args, L"ofio_VFprintf");
}

ORVIK_API int ofio_Fprintf(void *context, const wchar_t *format, long *count, ...) ORVIK_NOEXCEPT {
    va_list args;
    va_start(args, count);
    int result = FormattedWrite(context, format, count, args, L"ofio_Fprintf");
    va_end(args);
    return result;
}

ORVIK_API Oerr_ErrorReport *ofio_FileErrorTake(Ofio_File *file) ORVIK_NOEXCEPT {
    return file ? file->TakeError() : nullptr;
}

} // extern "C"
