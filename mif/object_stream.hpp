// Internal: where the file form of records comes from and goes to - a stream of the file
// layer or a caller's memory buffer. The record converters see one interface; the memory
// path lends pointers into the buffer, the stream path stages bytes in a scratch block, so
// both produce and consume identical bytes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include <orvik/ofio.h>
#include <orvik/omif.h>

namespace orvik::mif {

// Largest block moved through the scratch area at once.
inline constexpr std::size_t kChunkBytes = 64 * 1024;

class ByteSource {
  public:
    ByteSource(Ofio_File *stream, Omif_Buffer *buffer) : m_stream(stream), m_buffer(buffer) {}

    // Bytes left to read; -1 when the stream cannot tell (with a report under `function`).
    int64_t Remaining(const wchar_t *function, Oerr_ErrorReport **err);
    // Reads exactly n bytes into dst; reports under `function` on failure.
    bool Read(void *dst, std::size_t n, const wchar_t *function, Oerr_ErrorReport **err);
    // Points at the next n (<= kChunkBytes) bytes and consumes them; null on failure.
    const unsigned char *Borrow(std::size_t n, const wchar_t *function, Oerr_ErrorReport **err);

  private:
    Ofio_File *m_stream;
    Omif_Buffer *m_buffer;
    int64_t m_end = -1; // stream size, measured once
    std::vector<unsigned char> m_scratch;
};

class ByteSink {
  public:
    ByteSink(Ofio_File *stream, Omif_Buffer *buffer, int64_t baseOffset)
        : m_stream(stream), m_buffer(buffer), m_baseOffset(baseOffset) {}

    // The file position of the next byte (what an offset word records); -1 on failure.
    int64_t Position(const wchar_t *function, Oerr_ErrorReport **err);
    bool Write(const void *src, std::size_t n, const wchar_t *function, Oerr_ErrorReport **err);
    // Room for the next n (<= kChunkBytes) bytes; fill it, then Commit the same n.
    unsigned char *Reserve(std::size_t n, const wchar_t *function, Oerr_ErrorReport **err);
    bool Commit(std::size_t n, const wchar_t *function, Oerr_ErrorReport **err);

  private:
    Ofio_File *m_stream;
    Omif_Buffer *m_buffer;
    int64_t m_baseOffset;
    std::vector<unsigned char> m_scratch;
};

} // namespace orvik::mif
