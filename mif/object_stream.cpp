// Byte sources and sinks of the record converters (see object_stream.hpp).
#include "mif/object_stream.hpp"

#include <algorithm>
#include <cstring>

#include "core/guard.hpp"
#include "mif/report.hpp"

using orvik::core::SetError;
using namespace orvik::mif;

namespace orvik::mif {
namespace {

// Single transfers of the file layer are kept below this, so `long` suffices everywhere.
constexpr std::size_t kLargestTransfer = std::size_t{1} << 30;

void ReportRead(const wchar_t *function, Oerr_ErrorReport **err) {
    SetError(err, function, kStepFailed, err ? *err : nullptr,
             L"Error reported by function ofio_ReadSeq");
}

void ReportWrite(const wchar_t *function, Oerr_ErrorReport **err) {
    SetError(err, function, kStepFailed, err ? *err : nullptr,
             L"Error reported by function ofio_FileWriteSequential");
}

} // namespace

int64_t ByteSource::Remaining(const wchar_t *function, Oerr_ErrorReport **err) {
    if (m_buffer) return m_buffer->size - m_buffer->cursor;
    if (m_end < 0) {
        m_end = ofio_FileSizeGetByHandle(m_stream, err);
        if (m_end < 0) {
            SetError(err, function, kStreamPositionFailed, err ? *err : nullptr,
                     L"Error reported by function ofio_FileSizeGetByHandle");
            return -1;
        }
    }
    const int64_t position = ofio_Tell(m_stream, err);
    if (position < 0) {
        SetError(err, function, kStreamPositionFailed, err ? *err : nullptr,
                 L"Error reported by function ofio_Tell");
        return -1;
    }
    return std::max<int64_t>(0, m_end - position);
}

bool ByteSource::Read(void *dst, std::size_t n, const wchar_t *function, Oerr_ErrorReport **err) {
    if (m_buffer) {
        if (m_buffer->cursor < 0 || m_buffer->cursor > m_buffer->size ||
            n > static_cast<std::size_t>(m_buffer->size - m_buffer->cursor)) {
            SetError(err, function, kStepFailed, nullptr, L"Read past the end of the buffer");
            return false;
        }
        if (n) std::memcpy(dst, m_buffer->data + m_buffer->cursor, n);
        m_buffer->cursor += static_cast<long>(n);
        return true;
    }
    auto *out = static_cast<unsigned char *>(dst);
    while (n > 0) {
        const std::size_t part = std::min(n, kLargestTransfer);
        if (ofio_ReadSeq(m_stream, out, static_cast<long>(part), err) < 0) {
            ReportRead(function, err);
            return false;
        }
        out += part;
        n -= part;
    }
    return true;
}

const unsigned char *ByteSource::Borrow(std::size_t n, const wchar_t *function,
                                        Oerr_ErrorReport **err) {
    if (m_buffer) {
        const long at = m_buffer->cursor;
        if (!Read(nullptr, 0, function, err)) return nullptr; // validates the cursor
        if (n > static_cast<std::size_t>(m_buffer->size - at)) {
            SetError(err, function, kStepFailed, nullptr, L"Read past the end of the buffer");
            return nullptr;
        }
        m_buffer->cursor += static_cast<long>(n);
        return m_buffer->data + at;
    }
    if (m_scratch.size() < n) m_scratch.resize(std::max(n, std::min(kChunkBytes, n * 4)));
    return Read(m_scratch.data(), n, function, err) ? m_scratch.data() : nullptr;
}

int64_t ByteSink::Position(const wchar_t *function, Oerr_ErrorReport **err) {
    if (m_buffer) return m_buffer->baseOffset + m_buffer->cursor;
    const int64_t position = ofio_Tell(m_stream, err);
    if (position < 0) {
        SetError(err, function, kStreamPositionFailed, err ? *err : nullptr,
                 L"Error reported by function ofio_Tell");
        return -1;
    }
    return position + m_baseOffset;
}

bool ByteSink::Write(const void *src, std::size_t n, const wchar_t *function,
                     Oerr_ErrorReport **err) {
    if (m_buffer) {
        unsigned char *room = Reserve(n, function, err);
        if (!room) return false;
        if (n) std::memcpy(room, src, n);
        return Commit(n, function, err);
    }
    const auto *in = static_cast<const unsigned char *>(src);
    while (n > 0) {
        const std::size_t part = std::min(n, kLargestTransfer);
        if (ofio_FileWriteSequential(m_stream, in, static_cast<long>(part), err) < 0) {
            ReportWrite(function, err);
            return false;
        }
        in += part;
        n -= part;
    }
    return true;
}

unsigned char *ByteSink::Reserve(std::size_t n, const wchar_t *function, Oerr_ErrorReport **err) {
    if (m_buffer) {
        if (m_buffer->cursor < 0 || m_buffer->cursor > m_buffer->size ||
            n > static_cast<std::size_t>(m_buffer->size - m_buffer->cursor)) {
            SetError(err, function, kStepFailed, nullptr, L"Write past the end of the buffer");
            return nullptr;
        }
        return m_buffer->data + m_buffer->cursor;
    }
    if (m_scratch.size() < n) m_scratch.resize(std::max(n, std::min(kChunkBytes, n * 4)));
    return m_scratch.data();
}

bool ByteSink::Commit(std::size_t n, const wchar_t *function, Oerr_ErrorReport **err) {
    if (m_buffer) {
        m_buffer->cursor += static_cast<long>(n);
        return true;
    }
    return Write(m_scratch.data(), n, function, err);
}

} // namespace orvik::mif
