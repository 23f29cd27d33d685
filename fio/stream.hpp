// Internal: the stream behind Ofio_File. One object per open file (or null device); not
// thread-safe, one thread at a time.
//
// I/O design (measured in bench/fio.cpp, explained in docs/fio.md): every transfer is
// positional (pread/pwrite) at the stream's logical position, so seeking costs no system
// call. Two small buffers sit in front of the system:
// - a write buffer collects small writes that touch its range (continue, overlap, or end where
//   it begins) and is written out when
//   a write lands elsewhere, a read needs it, on flush and on close;
// - a read buffer is filled only when a small read continues the previous one (text and
//   character reading, sequential record reads); a small read anywhere else goes straight
//   to the system for exactly the bytes asked, so scattered record reads never drag in a
//   whole buffer.
// Transfers of at least one buffer's size bypass both buffers.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include <orvik/ofio.h>

#include "fio/os.hpp"

namespace orvik::fio {

// Default size of each of the two buffers (see docs/fio.md for the measurements).
constexpr std::size_t kDefaultBufferSize = 64 * 1024;
// A small read starting at most this far after the end of the previous one fills the read
// buffer (a forward walk); farther away it goes straight to the system.
constexpr std::int64_t kReadAheadGap = 1024;

struct OpenMode {
    os::OpenRequest request;
    bool readable = false;
    bool writable = false;
    bool append = false;
    bool readOnly = false; // "r" or "rb" exactly
};

// Parses a stream mode text; false when it is not one.
bool ParseMode(const wchar_t *mode, OpenMode &out);

class Stream {
  public:
    // Takes over `handle` (kInvalidHandle makes a null device).
    Stream(os::Handle handle, const OpenMode &mode, std::wstring name, std::size_t bufferSize);
    ~Stream();
    Stream(const Stream &) = delete;
    Stream &operator=(const Stream &) = delete;

    // Each reports under `fn` and returns false on failure.
    bool Close(Oerr_ErrorReport **err, const wchar_t *fn);
    bool Flush(Oerr_ErrorReport **err, const wchar_t *fn);
    bool Seek(std::int64_t offset, int whence, Oerr_ErrorReport **err, const wchar_t *fn);
    std::int64_t Position() const { return m_pos; }

    // Exactly `count` bytes at `position`, else a report (short read included).
    bool ReadExact(std::int64_t position, void *buffer, std::size_t count, Oerr_ErrorReport **err,
                   const wchar_t *fn);
    // ReadExact for a read-only stream that touches no buffer and no position: one
    // positional system read, so several threads may call it at once (other streams: ReadExact).
    bool ReadShared(std::int64_t position, void *buffer, std::size_t count, Oerr_ErrorReport **err,
                    const wchar_t *fn);
    // Up to `count` bytes; `done` < count only at the end of the file.
    bool ReadSome(std::int64_t position, void *buffer, std::size_t count, std::size_t &done,
                  Oerr_ErrorReport **err, const wchar_t *fn);
    bool Write(std::int64_t position, const void *buffer, std::size_t count, Oerr_ErrorReport **err,
               const wchar_t *fn);
    // Vectored forms: the pieces lie one after another from `position` on. Both go to the
    // system in as few calls as it allows, past both buffers (pending buffered writes go out
    // first); a write counts as one write for the write-stopping seam.
    bool ReadPieces(std::int64_t position, const os::Piece *pieces, std::size_t count,
                    Oerr_ErrorReport **err, const wchar_t *fn);
    bool WritePieces(std::int64_t position, const os::Piece *pieces, std::size_t count,
                     Oerr_ErrorReport **err, const wchar_t *fn);
    // Sequential forms at the stream position (the end in append mode); they advance it.
    bool ReadNext(void *buffer, std::size_t count, Oerr_ErrorReport **err, const wchar_t *fn);
    bool WriteNext(const void *buffer, std::size_t count, Oerr_ErrorReport **err,
                   const wchar_t *fn);
    // Next byte, OFIO_EOF or OFIO_ERROR.
    int GetByte(Oerr_ErrorReport **err, const wchar_t *fn);
    // The next byte when it can be taken from the read buffer, else -1 (then use GetByte).
    int BufferedByte() {
        if (m_readLength == 0 || m_writeLength != 0 || m_pos < m_readStart ||
            m_pos >= m_readStart + static_cast<std::int64_t>(m_readLength)) {
            return -1;
        }
        int c = static_cast<unsigned char>(m_readBuffer[m_pos - m_readStart]);
        m_lastReadEnd = ++m_pos;
        return c;
    }
    void Unread(std::size_t count) { m_pos -= static_cast<std::int64_t>(count); }

    bool Size(std::int64_t &size, Oerr_ErrorReport **err, const wchar_t *fn);
    // Takes the advisory writer's lock of the file (docs/fio.md, "Writer's lock"); refused
    // when another open holds it. A file system without locks is no failure.
    bool LockForWriting(Oerr_ErrorReport **err, const wchar_t *fn);
    // Cuts or extends the file to `size` bytes; buffered data goes out first.
    bool Resize(std::int64_t size, Oerr_ErrorReport **err, const wchar_t *fn);

    // Whole-file mapping; Map also renews an existing one (after growth).
    void *Map(std::size_t &size, Oerr_ErrorReport **err, const wchar_t *fn);
    bool Unmap(Oerr_ErrorReport **err, const wchar_t *fn);
    bool IsLocal(bool &local, Oerr_ErrorReport **err, const wchar_t *fn);

    bool IsMapped() const { return m_map != nullptr; }
    bool IsNullDevice() const { return m_handle == os::kInvalidHandle; }
    bool ReadOnly() const { return m_mode.readOnly; }
    const std::wstring &Name() const { return m_name; }

    // Report of the last failed callback-shaped call (see ofio_FileErrorTake).
    void KeepError(Oerr_ErrorReport *report);
    Oerr_ErrorReport *TakeError();

  private:
    bool FlushWrites(Oerr_ErrorReport **err, const wchar_t *fn);
    bool EnsureBuffer(char *&buffer);
    bool CheckReadable(Oerr_ErrorReport **err, const wchar_t *fn) const;
    bool CheckWritable(Oerr_ErrorReport **err, const wchar_t *fn) const;
    bool CheckRange(std::int64_t position, std::size_t count, Oerr_ErrorReport **err,
                    const wchar_t *fn) const;
    bool SystemRead(std::int64_t position, char *buffer, std::size_t count, std::size_t &done,
                    Oerr_ErrorReport **err, const wchar_t *fn);
    os::Code SystemWrite(const char *buffer, std::size_t count, std::int64_t position,
                         std::size_t &done);

    os::Handle m_handle;
    OpenMode m_mode;
    std::wstring m_name;
    std::size_t m_bufferSize;
    std::int64_t m_pos = 0;
    std::int64_t m_nullSize = 0; // bytes "written" to a null device

    char *m_writeBuffer = nullptr;
    std::int64_t m_writeStart = 0;
    std::size_t m_writeLength = 0;
    // Set when a write to the system failed: later writes are refused, so that what reaches
    // the file is always a prefix of the writes made (what a crash would leave), never a
    // later write without the earlier one it may depend on.
    bool m_writeFailed = false;
    // At most the size of the file on the system (learnt when a write may grow it).
    std::int64_t m_knownSize = 0;

    char *m_readBuffer = nullptr;
    std::int64_t m_readStart = 0;
    std::size_t m_readLength = 0;
    std::int64_t m_lastReadEnd = 0; // a read starting here counts as sequential

    void *m_map = nullptr;
    std::size_t m_mapSize = 0;

    Oerr_ErrorReport *m_keptError = nullptr;
};

} // namespace orvik::fio

// The exported handle is the stream itself.
struct Ofio_File_ : orvik::fio::Stream {
    using orvik::fio::Stream::Stream;
};
