// Record transfers at file positions (host form through MIF conversion, or raw file form),
// the file's dictionary, and small queries on an open file.
#include <vector>

#include "core/guard.hpp"
#include "hfa/file.hpp"
#include "mif/dictionary.hpp"
#include "hfa/report.hpp"

using orvik::core::Guarded;
using orvik::core::SetError;
using namespace orvik::hfa;

namespace {

// Records larger than this are converted into the stream instead of a copy in memory.
constexpr long kStreamedRecord = 1L << 20;

// The checks every positioned transfer makes before it allocates or moves anything: a
// position inside the 32-bit file (-1 only where allowed) and a size that the file can
// hold (reads are further checked against the file's end by ReadStart).
bool CheckTransfer(Ohfa_File *file, long position, long size, bool allowCurrent,
                   Oerr_ErrorReport **err, const wchar_t *fn) {
    if (!CheckFile(file, fn, err)) return false;
    if (size < 0 || size > kMaxFileSize || (position < 0 && !(allowCurrent && position == -1)) ||
        position > kMaxFileSize - size) {
        SetError(err, fn, kDataBadTransfer, nullptr,
                 L"Invalid position %ld or size %ld for file %s", position, size,
                 file->name.c_str());
        return false;
    }
    return true;
}

// Where a read of `size` bytes at `position` (-1: the stream position) starts; -1 with a
// report when it would not lie inside the file. Checked before anything is allocated.
int64_t ReadStart(Ohfa_File *file, long position, long size, Oerr_ErrorReport **err,
                  const wchar_t *fn) {
    int64_t at = position;
    if (position == -1 && (at = ofio_Tell(file->stream, err)) < 0) {
        SetError(err, fn, kDataReadFailed, *err, L"ofio_ReadSeq failed");
        return -1;
    }
    if (at > file->fileEnd - size) {
        SetError(err, fn, kDataReadFailed, nullptr, L"ofio_ReadSeq failed");
        return -1;
    }
    return at;
}

// Reads `size` bytes at `at`; the stream position then stands after them.
bool ReadBytes(Ohfa_File *file, int64_t at, long size, void *buffer, Oerr_ErrorReport **err,
               const wchar_t *fn) {
    if (!ReadAt(file, at, buffer, size, err, fn) ||
        ofio_Seek(file->stream, at + size, OFIO_SEEK_SET, err) != 0) {
        SetError(err, fn, kDataReadFailed, *err, L"ofio_ReadSeq failed");
        return false;
    }
    return true;
}

bool WriteBytes(Ohfa_File *file, long position, long size, const void *buffer,
                Oerr_ErrorReport **err, const wchar_t *fn) {
    if (!CheckWritable(file, fn, err)) return false;
    if (!WriteAt(file, position, buffer, size, err, fn)) {
        SetError(err, fn, kDataWriteFailed, *err, L"ofio_WriteSeq failed");
        return false;
    }
    return true;
}

} // namespace

extern "C" {

ORVIK_API long ohfa_FileHostDataWrite(Ohfa_File *file, long position, const Omif_Design *design,
                                      long size, const void *hostBuffer, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT {
    static const wchar_t *const kFn = L"ohfa_FileHostDataWrite";
    if (err) *err = nullptr;
    return Guarded<long>(err, kFn, -1, [&]() -> long {
        if (!CheckTransfer(file, position, size, false, err, kFn)) return -1;
        if (!design || !hostBuffer) {
            SetError(err, kFn, kDataDesignFailed, nullptr, L"Design fetch failed");
            return -1;
        }
        if (size > kStreamedRecord) {
            // Large records are converted straight into the stream, chunk by chunk: no copy
            // of the whole record in memory.
            if (!CheckWritable(file, kFn, err)) return -1;
            if (ofio_Seek(file->stream, position, OFIO_SEEK_SET, err) != 0 ||
                omif_ConvertToMIF(file->stream, hostBuffer, design, nullptr, 0, err) != size ||
                *err) {
                SetError(err, kFn, kDataEncodeFailed, *err, L"omif_ConvertToMIF failed");
                return -1;
            }
            NoteWritten(file, position, size);
            return size;
        }
        // Converted in memory first, so that the record reaches the file in one write.
        std::vector<unsigned char> bytes(static_cast<std::size_t>(size));
        Omif_Buffer buffer{bytes.data(), size, 0, position};
        const long written = omif_ConvertToMIF(nullptr, hostBuffer, design, &buffer, 0, err);
        if (*err || written != size) {
            SetError(err, kFn, kDataEncodeFailed, *err, L"omif_ConvertToMIF failed");
            return -1;
        }
        return WriteBytes(file, position, size, bytes.data(), err, kFn) ? size : -1;
    });
}

ORVIK_API long ohfa_FileHostDataRead(Ohfa_File *file, long position, const Omif_Design *design,
                                     long size, void *hostBuffer, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT {
    static const wchar_t *const kFn = L"ohfa_FileHostDataRead";
    if (err) *err = nullptr;
    return Guarded<long>(err, kFn, -1, [&]() -> long {
        if (!CheckTransfer(file, position, size, true, err, kFn)) return -1;
        if (!design || !hostBuffer) {
            SetError(err, kFn, kDataDesignFailed, nullptr, L"Design fetch failed");
            return -1;
        }
        const int64_t at = ReadStart(file, position, size, err, kFn);
        if (at < 0) return -1;
        if (size > kStreamedRecord) {
            // Large records are converted straight from the stream: arrays go from the file
            // into the record's own memory (the caller's, when it holds an array of the
            // stored count already), with no copy of the whole record in between.
            if (ofio_Seek(file->stream, at, OFIO_SEEK_SET, err) != 0) {
                SetError(err, kFn, kDataReadFailed, *err, L"ofio_ReadSeq failed");
                return -1;
            }
            const long used = omif_ConvertToHostX(file->stream, nullptr, design, hostBuffer, err);
            if (*err) {
                SetError(err, kFn, kDataDecodeFailed, *err, L"omif_ConvertToHostX failed");
                return -1;
            }
            if (used > size) {
                SetError(err, kFn, kDataDecodeFailed, nullptr,
                         L"A record of design %s takes %ld bytes, more than its block of %ld",
                         design->name ? design->name : L"(unnamed)", used, size);
                return -1;
            }
            if (ofio_Seek(file->stream, at + size, OFIO_SEEK_SET, err) != 0) {
                SetError(err, kFn, kDataReadFailed, *err, L"ofio_ReadSeq failed");
                return -1;
            }
            return size;
        }
        std::vector<unsigned char> bytes(static_cast<std::size_t>(size));
        if (!ReadBytes(file, at, size, bytes.data(), err, kFn)) return -1;
        Omif_Buffer buffer{bytes.data(), size, 0, static_cast<long>(at)};
        omif_ConvertToHostX(nullptr, &buffer, design, hostBuffer, err);
        if (*err) {
            SetError(err, kFn, kDataDecodeFailed, *err, L"omif_ConvertToHostX failed");
            return -1;
        }
        return size;
    });
}

ORVIK_API long ohfa_FileMIFDataWrite(Ohfa_File *file, long position, long size, const void *buffer,
                                     Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    static const wchar_t *const kFn = L"ohfa_FileMIFDataWrite";
    if (err) *err = nullptr;
    return Guarded<long>(err, kFn, -1, [&]() -> long {
        if (!CheckTransfer(file, position, size, false, err, kFn)) return -1;
        if (size > 0 && !buffer) {
            SetError(err, kFn, kDataNoBuffer, nullptr, L"Missing buffer");
            return -1;
        }
        return WriteBytes(file, position, size, buffer, err, kFn) ? size : -1;
    });
}

ORVIK_API long ohfa_FileMIFDataRead(Ohfa_File *file, long position, long size, void *buffer,
                                    Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    static const wchar_t *const kFn = L"ohfa_FileMIFDataRead";
    if (err) *err = nullptr;
    return Guarded<long>(err, kFn, -1, [&]() -> long {
        if (!CheckTransfer(file, position, size, true, err, kFn)) return -1;
        if (size > 0 && !buffer) {
            SetError(err, kFn, kDataNoBuffer, nullptr, L"Missing buffer");
            return -1;
        }
        const int64_t at = ReadStart(file, position, size, err, kFn);
        return at >= 0 && ReadBytes(file, at, size, buffer, err, kFn) ? size : -1;
    });
}

ORVIK_API long ohfa_FileSize(Ohfa_File *file, Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    static const wchar_t *const kFn = L"ohfa_FileSize";
    if (err) *err = nullptr;
    if (!CheckFile(file, kFn, err)) return -1;
    return static_cast<long>(file->fileEnd);
}

ORVIK_API Omsc_Boolean ohfa_FileIsNotFlushedOnWrite(const Ohfa_File *file) ORVIK_NOEXCEPT {
    return file && (file->optionFlags & kFlagNotFlushedOnWrite) ? OMSC_TRUE : OMSC_FALSE;
}

ORVIK_API const wchar_t *ohfa_FileNameGet(const Ohfa_File *file) ORVIK_NOEXCEPT {
    return file ? file->name.c_str() : nullptr;
}

ORVIK_API const Omif_Dictionary *ohfa_FileDictionaryGet(const Ohfa_File *file) ORVIK_NOEXCEPT {
    return file ? file->dictionary : nullptr;
}

ORVIK_API const Omif_Design *ohfa_FileDictionaryAddDesign(Ohfa_File *file,
                                                          const Omif_Design *design,
                                                          Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    static const wchar_t *const kFn = L"ohfa_FileDictionaryAddDesign";
    if (err) *err = nullptr;
    return Guarded<const Omif_Design *>(err, kFn, nullptr, [&]() -> const Omif_Design * {
        if (!CheckFile(file, kFn, err)) return nullptr;
        if (!design || !design->name) {
            SetError(err, kFn, kDataBadDesign, nullptr, L"Invalid design");
            return nullptr;
        }
        if (const Omif_Design *present = orvik::mif::FindDesign(file->dictionary, design->name))
            return present;
        const int32_t before = file->dictionary->count;
        const Omif_Design *added = orvik::mif::AddDesignCopy(file->dictionary, design, kFn, err);
        if (!added) return nullptr;
        if (file->dictionary->count != before) file->dictionaryModified = true;
        return added;
    });
}

} // extern "C"
