// The stream behind Ofio_File: positional I/O with a write-behind buffer and a read buffer
// that is used only for sequential reading (see stream.hpp for the design).
#include "fio/stream.hpp"

#include <algorithm>
#include <cstring>
#include <limits>

#include <orvik/omsc.h>

#include "core/guard.hpp"
#include "fio/report.hpp"
#include "core/format.hpp"
#include "fio/io_seam.hpp"
#include "fio/write_seam.hpp"

namespace orvik::fio {

using core::SetError;

bool ParseMode(const wchar_t *mode, OpenMode &out) {
    if (!mode || !*mode) return false;
    out = OpenMode{};
    wchar_t kind = mode[0];
    bool plus = false, exclusive = false;
    for (const wchar_t *p = mode + 1; *p; ++p) {
        switch (*p) {
        case L'+':
            if (plus) return false;
            plus = true;
            break;
        case L'b':
        case L't':
            break;
        case L'x':
            if (kind != L'w' || exclusive) return false;
            exclusive = true;
            break;
        default:
            return false;
        }
    }
    os::OpenRequest &r = out.request;
    switch (kind) {
    case L'r':
        r.access = plus ? os::Access::ReadWrite : os::Access::ReadOnly;
        break;
    case L'w':
        r.access = plus ? os::Access::ReadWrite : os::Access::WriteOnly;
        r.create = r.truncate = true;
        r.exclusive = exclusive;
        break;
    case L'a':
        r.access = plus ? os::Access::ReadWrite : os::Access::WriteOnly;
        r.create = true;
        out.append = true;
        break;
    default:
        return false;
    }
    out.readable = r.access != os::Access::WriteOnly;
    out.writable = r.access != os::Access::ReadOnly;
    out.readOnly = std::wcscmp(mode, L"r") == 0 || std::wcscmp(mode, L"rb") == 0;
    return true;
}

namespace {

// Whether [position, position + count) lies within the 64-bit offset range.
bool InRange(std::int64_t position, std::size_t count) {
    return position >= 0 &&
           count <= static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max() - position);
}

std::wstring Detail(const wchar_t *format, long long a, long long b, long long c) {
    return text::Format(format, a, b, c);
}

} // namespace

Stream::Stream(os::Handle handle, const OpenMode &mode, std::wstring name, std::size_t bufferSize)
    : m_handle(handle), m_mode(mode), m_name(std::move(name)), m_bufferSize(bufferSize) {}

Stream::~Stream() {
    // Close() is the normal way out; this only keeps an abandoned stream from leaking.
    if (m_map) os::Unmap(m_map, m_mapSize);
    if (m_handle != os::kInvalidHandle) os::Close(m_handle);
    omsc_HeapFree(m_writeBuffer);
    omsc_HeapFree(m_readBuffer);
    oerr_DeleteErrorReportEx(&m_keptError);
}

bool Stream::EnsureBuffer(char *&buffer) {
    if (!buffer && m_bufferSize > 0) {
        // Without a buffer the stream still works, one system call per transfer.
        buffer = static_cast<char *>(omsc_HeapMalloc(static_cast<int32_t>(m_bufferSize)));
    }
    return buffer != nullptr;
}

bool Stream::CheckReadable(Oerr_ErrorReport **err, const wchar_t *fn) const {
    if (m_mode.readable) return true;
    SetError(err, fn, kWrongAccess, nullptr, L"File \"%s\" is not open for reading",
             m_name.c_str());
    return false;
}

bool Stream::CheckWritable(Oerr_ErrorReport **err, const wchar_t *fn) const {
    if (!m_mode.writable) {
        SetError(err, fn, kWrongAccess, nullptr, L"File \"%s\" is open read-only", m_name.c_str());
        return false;
    }
    if (!m_writeFailed) return true;
    SetError(err, fn, kAfterFailedWrite, nullptr,
             L"File \"%s\" takes no more writes after a failed one", m_name.c_str());
    return false;
}

bool Stream::CheckRange(std::int64_t position, std::size_t count, Oerr_ErrorReport **err,
                        const wchar_t *fn) const {
    if (InRange(position, count)) return true;
    SetError(err, fn, kBadArgument, nullptr,
             L"%lld bytes at offset %lld lie beyond the largest file offset in file \"%s\"",
             static_cast<long long>(count), static_cast<long long>(position), m_name.c_str());
    return false;
}

// A run that grows the file goes to the system in two writes, the new bytes first: when
// the disk fills up part-way, the new space holds a torn run that nothing names yet and the
// old bytes are untouched, rather than old records updated to name new ones that never
// arrived (one write would store the old range first).
os::Code Stream::SystemWrite(const char *buffer, std::size_t count, std::int64_t position,
                             std::size_t &done) {
    done = 0;
    const std::int64_t end = position + static_cast<std::int64_t>(count);
    if (end > m_knownSize) {
        std::int64_t size = 0;
        if (os::SizeOf(m_handle, size) == 0) m_knownSize = std::max(m_knownSize, size);
    }
    os::Code code = 0;
    if (position < m_knownSize && end > m_knownSize) {
        const auto inside = static_cast<std::size_t>(m_knownSize - position);
        std::size_t tail = 0;
        code = testing::WriteAt(m_handle, buffer + inside, count - inside, m_knownSize, tail);
        if (code == 0) code = testing::WriteAt(m_handle, buffer, inside, position, done);
        if (code == 0) done = count;
    } else {
        code = testing::WriteAt(m_handle, buffer, count, position, done);
    }
    if (code == 0) m_knownSize = std::max(m_knownSize, end);
    return code;
}

bool Stream::FlushWrites(Oerr_ErrorReport **err, const wchar_t *fn) {
    if (m_writeLength == 0) return true;
    std::size_t done = 0;
    os::Code code = SystemWrite(m_writeBuffer, m_writeLength, m_writeStart, done);
    std::size_t length = m_writeLength;
    // The buffer is dropped even on failure: the loss is reported once, here.
    m_writeLength = 0;
    if (code == 0) return true;
    m_writeFailed = true;
    ReportSystemError(err, fn, code, L"Cannot write to file", &m_name,
                      Detail(L" (%lld of %lld bytes written at offset %lld)",
                             static_cast<long long>(done), static_cast<long long>(length),
                             static_cast<long long>(m_writeStart)));
    return false;
}

bool Stream::Flush(Oerr_ErrorReport **err, const wchar_t *fn) {
    m_readLength = 0;
    return FlushWrites(err, fn);
}

bool Stream::Close(Oerr_ErrorReport **err, const wchar_t *fn) {
    bool ok = IsNullDevice() || FlushWrites(err, fn);
    if (m_map) {
        os::Code code = os::Unmap(m_map, m_mapSize);
        m_map = nullptr;
        if (code != 0 && ok) {
            ReportSystemError(err, fn, code, L"Cannot unmap file", &m_name);
            ok = false;
        }
    }
    if (m_handle != os::kInvalidHandle) {
        os::Code code = os::Close(m_handle);
        m_handle = os::kInvalidHandle;
        if (code != 0 && ok) {
            ReportSystemError(err, fn, code, L"Cannot close file", &m_name);
            ok = false;
        }
    }
    return ok;
}

bool Stream::LockForWriting(Oerr_ErrorReport **err, const wchar_t *fn) {
    if (IsNullDevice()) return true;
    const os::Code code = os::LockForWriting(m_handle);
    if (code == 0 || os::IsLockUnsupported(code)) return true;
    if (os::IsLockHeld(code)) {
        core::SetError(err, fn, kLockHeld, nullptr,
                       L"File \"%s\" is already open for writing (another writer holds its lock)",
                       m_name.c_str());
    } else {
        ReportSystemError(err, fn, code, L"Cannot lock file", &m_name);
    }
    return false;
}

bool Stream::Resize(std::int64_t size, Oerr_ErrorReport **err, const wchar_t *fn) {
    if (IsNullDevice()) {
        m_nullSize = size;
        return true;
    }
    if (!FlushWrites(err, fn)) return false;
    m_readLength = 0;
    const os::Code code = os::Resize(m_handle, size);
    if (code != 0) {
        ReportSystemError(err, fn, code, L"Cannot resize file", &m_name);
        return false;
    }
    return true;
}

bool Stream::Size(std::int64_t &size, Oerr_ErrorReport **err, const wchar_t *fn) {
    if (IsNullDevice()) {
        size = m_nullSize;
        return true;
    }
    os::Code code = os::SizeOf(m_handle, size);
    if (code != 0) {
        ReportSystemError(err, fn, code, L"Cannot measure file", &m_name);
        return false;
    }
    if (m_writeLength > 0) {
        size =
            std::max<std::int64_t>(size, m_writeStart + static_cast<std::int64_t>(m_writeLength));
    }
    return true;
}

bool Stream::Seek(std::int64_t offset, int whence, Oerr_ErrorReport **err, const wchar_t *fn) {
    std::int64_t base;
    switch (whence) {
    case OFIO_SEEK_SET:
        base = 0;
        break;
    case OFIO_SEEK_CUR:
        base = m_pos;
        break;
    case OFIO_SEEK_END:
        if (!Size(base, err, fn)) return false;
        break;
    default:
        SetError(err, fn, kBadArgument, nullptr, L"Invalid seek origin %ld",
                 static_cast<long>(whence));
        return false;
    }
    std::int64_t target;
    if (__builtin_add_overflow(base, offset, &target) || target < 0) {
        SetError(err, fn, kBadArgument, nullptr,
                 L"Invalid seek to offset %lld from %lld in file \"%s\"",
                 static_cast<long long>(offset), static_cast<long long>(base), m_name.c_str());
        return false;
    }
    m_pos = target;
    return true;
}

bool Stream::SystemRead(std::int64_t position, char *buffer, std::size_t count, std::size_t &done,
                        Oerr_ErrorReport **err, const wchar_t *fn) {
    os::Code code = testing::ReadAt(m_handle, buffer, count, position, done);
    if (code == 0) return true;
    ReportSystemError(err, fn, code, L"Cannot read file", &m_name,
                      text::Format(L" (%lld bytes at offset %lld)", static_cast<long long>(count),
                                   static_cast<long long>(position)));
    return false;
}

bool Stream::ReadSome(std::int64_t position, void *buffer, std::size_t count, std::size_t &done,
                      Oerr_ErrorReport **err, const wchar_t *fn) {
    done = 0;
    if (!CheckReadable(err, fn) || !CheckRange(position, count, err, fn)) return false;
    if (count == 0 || IsNullDevice()) return true;
    auto *out = static_cast<char *>(buffer);

    // Buffered writes go to the system before any read, so that neither the bytes read nor
    // a read-buffer fill can miss them.
    if (!FlushWrites(err, fn)) return false;

    // A read that continues the previous one, or skips less than kReadAheadGap bytes after it,
    // is a forward walk (records of a structure laid out in order, with data between them):
    // it is served from a buffer fill.
    bool sequential = position >= m_lastReadEnd && position - m_lastReadEnd < kReadAheadGap;
    // Part already in the read buffer.
    if (m_readLength > 0 && position >= m_readStart &&
        position < m_readStart + static_cast<std::int64_t>(m_readLength)) {
        std::size_t offset = static_cast<std::size_t>(position - m_readStart);
        std::size_t n = std::min(count, m_readLength - offset);
        std::memcpy(out, m_readBuffer + offset, n);
        done = n;
        sequential = true;
    }
    if (done < count) {
        std::int64_t at = position + static_cast<std::int64_t>(done);
        std::size_t want = count - done;
        std::size_t got = 0;
        // While mapped, the caller may store into the view at any time: no read buffer then.
        if (sequential && !m_map && want < m_bufferSize && EnsureBuffer(m_readBuffer)) {
            m_readLength = 0;
            if (!SystemRead(at, m_readBuffer, m_bufferSize, got, err, fn)) return false;
            m_readStart = at;
            m_readLength = got;
            std::size_t n = std::min(want, got);
            std::memcpy(out + done, m_readBuffer, n);
            done += n;
        } else {
            if (!SystemRead(at, out + done, want, got, err, fn)) return false;
            done += got;
        }
    }
    m_lastReadEnd = position + static_cast<std::int64_t>(done);
    return true;
}

namespace {
// The report of a read that met the end of the file first; false.
bool ReportShortRead(Oerr_ErrorReport **err, const wchar_t *fn, const std::wstring &name,
                     std::int64_t position, std::size_t count, std::size_t done) {
    SetError(err, fn, kUnexpectedEnd, nullptr,
             L"Unexpected end of file \"%s\": %lld of %lld bytes read at offset %lld", name.c_str(),
             static_cast<long long>(done), static_cast<long long>(count),
             static_cast<long long>(position));
    return false;
}
} // namespace

bool Stream::ReadExact(std::int64_t position, void *buffer, std::size_t count,
                       Oerr_ErrorReport **err, const wchar_t *fn) {
    std::size_t done = 0;
    if (!ReadSome(position, buffer, count, done, err, fn)) return false;
    return done == count || ReportShortRead(err, fn, m_name, position, count, done);
}

bool Stream::ReadShared(std::int64_t position, void *buffer, std::size_t count,
                        Oerr_ErrorReport **err, const wchar_t *fn) {
    if (!m_mode.readOnly || IsNullDevice() || IsMapped())
        return ReadExact(position, buffer, count, err, fn);
    if (!CheckRange(position, count, err, fn)) return false;
    std::size_t done = 0;
    if (!SystemRead(position, static_cast<char *>(buffer), count, done, err, fn)) return false;
    return done == count || ReportShortRead(err, fn, m_name, position, count, done);
}

bool Stream::Write(std::int64_t position, const void *buffer, std::size_t count,
                   Oerr_ErrorReport **err, const wchar_t *fn) {
    if (!CheckWritable(err, fn) || !CheckRange(position, count, err, fn)) return false;
    if (count == 0) return true;
    std::int64_t end = position + static_cast<std::int64_t>(count);
    if (IsNullDevice()) {
        m_nullSize = std::max(m_nullSize, end);
        return true;
    }
    if (!testing::WriteAllowed()) return true; // a simulated crash: the write never happens
    // Keep the read buffer true to the file.
    if (m_readLength > 0 && position < m_readStart + static_cast<std::int64_t>(m_readLength) &&
        end > m_readStart) {
        m_readLength = 0;
    }
    if (m_writeLength > 0) {
        // Writes that touch the buffered range join it: one that starts inside it or right
        // after it (overwriting and extending), or one that ends right where it begins.
        // Later bytes replace earlier ones, so the buffer always holds the result of an
        // unbroken run of writes: the file never shows a later write without an earlier one.
        const std::int64_t bufEnd = m_writeStart + static_cast<std::int64_t>(m_writeLength);
        if (position >= m_writeStart && position <= bufEnd &&
            end - m_writeStart <= static_cast<std::int64_t>(m_bufferSize)) {
            std::memcpy(m_writeBuffer + (position - m_writeStart), buffer, count);
            m_writeLength = static_cast<std::size_t>(std::max(end, bufEnd) - m_writeStart);
            return true;
        }
        if (end == m_writeStart && m_writeLength + count <= m_bufferSize) {
            std::memmove(m_writeBuffer + count, m_writeBuffer, m_writeLength);
            std::memcpy(m_writeBuffer, buffer, count);
            m_writeStart = position;
            m_writeLength += count;
            return true;
        }
        if (!FlushWrites(err, fn)) return false;
    }
    if (count < m_bufferSize && EnsureBuffer(m_writeBuffer)) {
        if (m_writeLength == 0) m_writeStart = position;
        std::memcpy(m_writeBuffer + m_writeLength, buffer, count);
        m_writeLength += count;
        return true;
    }
    std::size_t done = 0;
    os::Code code = SystemWrite(static_cast<const char *>(buffer), count, position, done);
    if (code == 0) return true;
    m_writeFailed = true;
    ReportSystemError(err, fn, code, L"Cannot write to file", &m_name,
                      Detail(L" (%lld of %lld bytes written at offset %lld)",
                             static_cast<long long>(done), static_cast<long long>(count),
                             static_cast<long long>(position)));
    return false;
}

namespace {
std::size_t Total(const os::Piece *pieces, std::size_t count) {
    std::size_t total = 0;
    for (std::size_t i = 0; i < count; ++i) total += pieces[i].count;
    return total;
}
} // namespace

bool Stream::ReadPieces(std::int64_t position, const os::Piece *pieces, std::size_t count,
                        Oerr_ErrorReport **err, const wchar_t *fn) {
    const std::size_t total = Total(pieces, count);
    if (!CheckReadable(err, fn) || !CheckRange(position, total, err, fn)) return false;
    if (total == 0) return true;
    if (IsNullDevice()) {
        SetError(err, fn, kUnexpectedEnd, nullptr,
                 L"Unexpected end of file \"%s\": 0 of %lld bytes read at offset %lld",
                 m_name.c_str(), static_cast<long long>(total), static_cast<long long>(position));
        return false;
    }
    if (!m_mode.readOnly && !FlushWrites(err, fn)) return false;
    std::size_t done = 0;
    const os::Code code = testing::ReadAtV(m_handle, pieces, count, position, done);
    if (code != 0) {
        ReportSystemError(err, fn, code, L"Cannot read file", &m_name,
                          text::Format(L" (%lld bytes at offset %lld)",
                                       static_cast<long long>(total),
                                       static_cast<long long>(position)));
        return false;
    }
    if (done == total) {
        // Read-only streams may be read from several threads at once (ReadShared): leave
        // their state alone.
        if (!m_mode.readOnly) m_lastReadEnd = position + static_cast<std::int64_t>(total);
        return true;
    }
    SetError(err, fn, kUnexpectedEnd, nullptr,
             L"Unexpected end of file \"%s\": %lld of %lld bytes read at offset %lld",
             m_name.c_str(), static_cast<long long>(done), static_cast<long long>(total),
             static_cast<long long>(position));
    return false;
}

bool Stream::WritePieces(std::int64_t position, const os::Piece *pieces, std::size_t count,
                         Oerr_ErrorReport **err, const wchar_t *fn) {
    const std::size_t total = Total(pieces, count);
    if (!CheckWritable(err, fn) || !CheckRange(position, total, err, fn)) return false;
    if (total == 0) return true;
    const std::int64_t end = position + static_cast<std::int64_t>(total);
    if (IsNullDevice()) {
        m_nullSize = std::max(m_nullSize, end);
        return true;
    }
    if (!testing::WriteAllowed()) return true; // a simulated crash: the write never happens
    if (m_readLength > 0 && position < m_readStart + static_cast<std::int64_t>(m_readLength) &&
        end > m_readStart)
        m_readLength = 0;
    // Buffered bytes are earlier writes: they reach the system first.
    if (!FlushWrites(err, fn)) return false;
    std::size_t done = 0;
    const os::Code code = testing::WriteAtV(m_handle, pieces, count, position, done);
    if (code == 0) return true;
    m_writeFailed = true;
    ReportSystemError(err, fn, code, L"Cannot write to file", &m_name,
                      Detail(L" (%lld of %lld bytes written at offset %lld)",
                             static_cast<long long>(done), static_cast<long long>(total),
                             static_cast<long long>(position)));
    return false;
}

bool Stream::ReadNext(void *buffer, std::size_t count, Oerr_ErrorReport **err, const wchar_t *fn) {
    if (!ReadExact(m_pos, buffer, count, err, fn)) return false;
    m_pos += static_cast<std::int64_t>(count);
    return true;
}

bool Stream::WriteNext(const void *buffer, std::size_t count, Oerr_ErrorReport **err,
                       const wchar_t *fn) {
    if (m_mode.append && m_mode.writable && !Size(m_pos, err, fn)) return false;
    if (!Write(m_pos, buffer, count, err, fn)) return false;
    m_pos += static_cast<std::int64_t>(count);
    return true;
}

int Stream::GetByte(Oerr_ErrorReport **err, const wchar_t *fn) {
    if (m_mode.readable) {
        int c = BufferedByte();
        if (c >= 0) return c;
    }
    unsigned char c;
    std::size_t done = 0;
    if (!ReadSome(m_pos, &c, 1, done, err, fn)) return OFIO_ERROR;
    if (done == 0) return OFIO_EOF;
    ++m_pos;
    return c;
}

void *Stream::Map(std::size_t &size, Oerr_ErrorReport **err, const wchar_t *fn) {
    if (IsNullDevice()) {
        SetError(err, fn, kBadArgument, nullptr, L"The null device cannot be mapped");
        return nullptr;
    }
    if (!Flush(err, fn)) return nullptr;
    std::int64_t length = 0;
    if (!Size(length, err, fn)) return nullptr;
    if (length <= 0) {
        SetError(err, fn, kBadArgument, nullptr, L"Cannot map the empty file \"%s\"",
                 m_name.c_str());
        return nullptr;
    }
    if (static_cast<std::uint64_t>(length) > std::numeric_limits<std::size_t>::max()) {
        SetError(err, fn, kBadArgument, nullptr, L"File \"%s\" is too large to map",
                 m_name.c_str());
        return nullptr;
    }
    void *address = nullptr;
    os::Code code = os::Map(m_handle, static_cast<std::size_t>(length), m_mode.writable, address);
    if (code != 0) {
        ReportSystemError(err, fn, code, L"Cannot map file", &m_name);
        return nullptr;
    }
    if (m_map) {
        // The old view is replaced only once the new one exists.
        os::Unmap(m_map, m_mapSize);
    }
    m_map = address;
    m_mapSize = static_cast<std::size_t>(length);
    size = m_mapSize;
    return m_map;
}

bool Stream::Unmap(Oerr_ErrorReport **err, const wchar_t *fn) {
    if (!m_map) return true;
    os::Code code = os::Unmap(m_map, m_mapSize);
    m_map = nullptr;
    m_mapSize = 0;
    m_readLength = 0;
    if (code == 0) return true;
    ReportSystemError(err, fn, code, L"Cannot unmap file", &m_name);
    return false;
}

bool Stream::IsLocal(bool &local, Oerr_ErrorReport **err, const wchar_t *fn) {
    if (IsNullDevice()) {
        local = true;
        return true;
    }
    os::Code code = os::IsLocal(m_handle, local);
    if (code == 0) return true;
    ReportSystemError(err, fn, code, L"Cannot query the file system of", &m_name);
    return false;
}

void Stream::KeepError(Oerr_ErrorReport *report) {
    oerr_DeleteErrorReportEx(&m_keptError);
    m_keptError = report;
}

Oerr_ErrorReport *Stream::TakeError() {
    Oerr_ErrorReport *r = m_keptError;
    m_keptError = nullptr;
    return r;
}

} // namespace orvik::fio
