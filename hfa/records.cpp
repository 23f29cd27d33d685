// Fixed records in file form and the raw transfers of an open file. Every record is
// converted into a byte block first and written with one call, so that a record on disk is
// either old or new, never half of each (the unit of the crash-safety rules).
#include <algorithm>
#include <cstring>
#include <vector>

#include "core/guard.hpp"
#include "fio/stream.hpp"
#include "hfa/designs.hpp"
#include "hfa/file.hpp"
#include "hfa/report.hpp"

using orvik::core::SetError;
using namespace orvik::hfa;

namespace orvik::hfa {

bool RecordToBytes(const wchar_t *designName, const void *host, unsigned char *bytes, long size,
                   long baseOffset, Oerr_ErrorReport **err, const wchar_t *fn) {
    const Omif_Design *design = FixedDesign(designName, err);
    if (!design) {
        SetError(err, fn, kRecordDesignFailed, err ? *err : nullptr, L"OMIF_DESIGN_FETCH failed");
        return false;
    }
    Omif_Buffer buffer{bytes, size, 0, baseOffset};
    omif_ConvertToMIF(nullptr, host, design, &buffer, baseOffset, err);
    if (err && *err) {
        SetError(err, fn, kRecordEncodeFailed, *err, L"omif_ConvertToMIF failed");
        return false;
    }
    return true;
}

bool RecordFromBytes(const wchar_t *designName, const unsigned char *bytes, long size, void *host,
                     Oerr_ErrorReport **err, const wchar_t *fn) {
    const Omif_Design *design = FixedDesign(designName, err);
    if (!design) {
        SetError(err, fn, kRecordDesignFailed, err ? *err : nullptr, L"OMIF_DESIGN_FETCH failed");
        return false;
    }
    Omif_Buffer buffer{const_cast<unsigned char *>(bytes), size, 0, 0};
    omif_ConvertToHost(nullptr, &buffer, design, host, err);
    if (err && *err) {
        SetError(err, fn, kRecordDecodeFailed, *err, L"ConvertToHost failure");
        return false;
    }
    return true;
}

bool ReadTag(Ofio_File *stream, Ohfa_HeaderTag &tag, Oerr_ErrorReport **err, const wchar_t *fn) {
    unsigned char bytes[kTagSize];
    if (ofio_FileReadDirect(stream, 0, bytes, kTagSize, err) != kTagSize) {
        SetError(err, fn, kRecordSeekFailed, err ? *err : nullptr, L"Seek failure");
        return false;
    }
    return RecordFromBytes(kTagDesign, bytes, kTagSize, &tag, err, fn);
}

bool ReadHeader(Ofio_File *stream, uint32_t at, Ohfa_FileHeader &header, Oerr_ErrorReport **err,
                const wchar_t *fn) {
    unsigned char bytes[kHeaderSize];
    if (ofio_FileReadDirect(stream, at, bytes, kHeaderSize, err) != kHeaderSize) {
        SetError(err, fn, kRecordSeekFailed, err ? *err : nullptr, L"Seek failure");
        return false;
    }
    return RecordFromBytes(kHeaderDesign, bytes, kHeaderSize, &header, err, fn);
}

bool WriteTag(Ohfa_File *file, Oerr_ErrorReport **err, const wchar_t *fn) {
    Ohfa_HeaderTag tag{};
    std::memcpy(tag.label, kTagLabel, sizeof kTagLabel);
    tag.headerPtr = file->headerPtr;
    unsigned char bytes[kTagSize];
    return RecordToBytes(kTagDesign, &tag, bytes, kTagSize, 0, err, fn) &&
           WriteAt(file, 0, bytes, kTagSize, err, fn);
}

bool HeaderReWrite(Ohfa_File *file, Oerr_ErrorReport **err, const wchar_t *fn) {
    Ohfa_FileHeader header = file->header;
    header.freeList = file->freeList.HeadToWrite(file->header.freeList);
    unsigned char bytes[kHeaderSize];
    if (!RecordToBytes(kHeaderDesign, &header, bytes, kHeaderSize, file->headerPtr, err, fn) ||
        !WriteAt(file, file->headerPtr, bytes, kHeaderSize, err, fn))
        return false;
    file->freeList.SetDiskHead(header.freeList);
    return true;
}

bool WriteAt(Ohfa_File *file, int64_t position, const void *bytes, long count,
             Oerr_ErrorReport **err, const wchar_t *fn, int64_t keep) {
    if (position < 0 || position + count > kMaxFileSize) {
        SetError(err, fn, kRecordBeyondLimit, nullptr,
                 L"%ld bytes at %lld would carry file %s beyond the OHFA limit", count,
                 static_cast<long long>(position), file->name.c_str());
        return false;
    }
    if (ofio_FileWriteDirect(file->stream, position, bytes, count, err) != count) {
        SetError(err, fn, kRecordWriteFailed, err ? *err : nullptr, L"ofio_FileWriteDirect failed");
        return false;
    }
    NoteWritten(file, position, count, keep);
    return true;
}

namespace {
int64_t Total(const orvik::port::fs::Piece *pieces, std::size_t count) {
    int64_t total = 0;
    for (std::size_t i = 0; i < count; ++i) total += static_cast<int64_t>(pieces[i].count);
    return total;
}
} // namespace

bool WritePiecesAt(Ohfa_File *file, int64_t position, const orvik::port::fs::Piece *pieces,
                   std::size_t count, Oerr_ErrorReport **err, const wchar_t *fn) {
    const int64_t total = Total(pieces, count);
    if (position < 0 || position + total > kMaxFileSize) {
        SetError(err, fn, kRecordBeyondLimit, nullptr,
                 L"%lld bytes at %lld would carry file %s beyond the OHFA limit",
                 static_cast<long long>(total), static_cast<long long>(position),
                 file->name.c_str());
        return false;
    }
    if (!file->stream->WritePieces(position, pieces, count, err, L"ofio_FileWriteDirect")) {
        SetError(err, fn, kRecordWriteFailed, err ? *err : nullptr, L"ofio_FileWriteDirect failed");
        return false;
    }
    NoteWritten(file, position, total);
    return true;
}

bool ReadPiecesAt(Ohfa_File *file, int64_t position, const orvik::port::fs::Piece *pieces,
                  std::size_t count, Oerr_ErrorReport **err, const wchar_t *fn) {
    const int64_t total = Total(pieces, count);
    if (position < 0 || position > file->fileEnd - total) {
        SetError(err, fn, kRecordBeyondEnd, nullptr,
                 L"%lld bytes at %lld lie beyond the end (%lld) of file %s",
                 static_cast<long long>(total), static_cast<long long>(position),
                 static_cast<long long>(file->fileEnd), file->name.c_str());
        return false;
    }
    if (!file->stream->ReadPieces(position, pieces, count, err, L"ofio_FileReadDirect")) {
        SetError(err, fn, kRecordReadFailed, err ? *err : nullptr, L"ofio_FileReadDirect failed");
        return false;
    }
    return true;
}

void NoteWritten(Ohfa_File *file, int64_t position, int64_t count, int64_t keep) {
    if (position + count > file->fileEnd) file->fileEnd = position + count;
    if (position + count > file->writtenEnd) file->writtenEnd = position + count;
    file->changed = true;
    // Cached entry records that these bytes overlap are stale now.
    file->entry.records.Overwritten(position, count, keep);
}

bool SettleEnd(Ohfa_File *file, Oerr_ErrorReport **err, const wchar_t *fn) {
    static const unsigned char kZeros[4] = {0, 0, 0, 0};
    if (file->writtenEnd >= file->fileEnd) return true;
    const int64_t from = std::max(file->writtenEnd, file->fileEnd - 4);
    if (WriteAt(file, from, kZeros, static_cast<long>(file->fileEnd - from), err, fn)) return true;
    SetError(err, fn, kFreeExtendFailed, *err, L"ofio_FileWriteDirect failed");
    return false;
}

bool ReadAt(Ohfa_File *file, int64_t position, void *bytes, long count, Oerr_ErrorReport **err,
            const wchar_t *fn) {
    if (position < 0 || count < 0 || position > file->fileEnd - count) {
        SetError(err, fn, kRecordBeyondEnd, nullptr,
                 L"%ld bytes at %lld lie beyond the end (%lld) of file %s", count,
                 static_cast<long long>(position), static_cast<long long>(file->fileEnd),
                 file->name.c_str());
        return false;
    }
    // A read-only file is read without the stream's buffers, so that threads reading layers
    // of one open file at once share no state (docs/raster-layers.md, "Threads").
    if (file->readOnly) {
        if (file->stream->ReadShared(position, bytes, static_cast<std::size_t>(count), err,
                                     L"ofio_FileReadDirect"))
            return true;
        SetError(err, fn, kRecordReadFailed, err ? *err : nullptr, L"ofio_FileReadDirect failed");
        return false;
    }
    if (ofio_FileReadDirect(file->stream, position, bytes, count, err) != count) {
        SetError(err, fn, kRecordReadFailed, err ? *err : nullptr, L"ofio_FileReadDirect failed");
        return false;
    }
    return true;
}

} // namespace orvik::hfa
