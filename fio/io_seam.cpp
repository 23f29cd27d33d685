// The I/O fault test seam (see io_seam.hpp). When it is off a transfer costs one relaxed load
// more than the system call.
#include "fio/io_seam.hpp"

#include <atomic>

namespace orvik::fio::testing {

namespace {
std::atomic<long> g_failAt{0}; // 0: off
std::atomic<int> g_fault{0};
std::atomic<long> g_count{0};
std::atomic<bool> g_failed{false};

IoFault Fault() { return static_cast<IoFault>(g_fault.load(std::memory_order_relaxed)); }

// Counts a transfer; true when it is to fail.
bool Counted(bool write) {
    const long at = g_failAt.load(std::memory_order_relaxed);
    if (at <= 0) return false;
    const long n = g_count.fetch_add(1, std::memory_order_relaxed) + 1;
    // A full disk stays full.
    const bool fails = n == at || (n > at && write && Fault() == IoFault::NoSpace);
    if (fails) g_failed.store(true, std::memory_order_relaxed);
    return fails;
}
} // namespace

void FailNthTransfer(long n, IoFault fault) {
    g_count.store(0, std::memory_order_relaxed);
    g_failed.store(false, std::memory_order_relaxed);
    g_fault.store(static_cast<int>(fault), std::memory_order_relaxed);
    g_failAt.store(n < 1 ? 0 : n, std::memory_order_relaxed);
}

void ClearTransferFailure() { FailNthTransfer(0, IoFault::IoError); }

long TransfersCounted() { return g_count.load(std::memory_order_relaxed); }

bool TransferFailed() { return g_failed.load(std::memory_order_relaxed); }

os::Code ReadAt(os::Handle handle, void *buffer, std::size_t count, std::int64_t position,
                std::size_t &done) {
    if (Counted(false)) {
        done = 0;
        return os::IoErrorCode();
    }
    return os::ReadAt(handle, buffer, count, position, done);
}

os::Code WriteAt(os::Handle handle, const void *buffer, std::size_t count, std::int64_t position,
                 std::size_t &done) {
    if (!Counted(true)) return os::WriteAt(handle, buffer, count, position, done);
    done = 0;
    switch (Fault()) {
    case IoFault::NoSpace:
        return os::NoSpaceCode();
    case IoFault::ShortWrite: {
        // Overwriting takes no new space: a write inside the file goes through whole. One
        // that grows the file stores its bytes in order until the disk fills, half-way
        // through the new bytes.
        std::int64_t size = 0;
        os::SizeOf(handle, size);
        const std::int64_t end = position + static_cast<std::int64_t>(count);
        if (end <= size) return os::WriteAt(handle, buffer, count, position, done);
        const std::size_t inside = position < size ? static_cast<std::size_t>(size - position) : 0;
        const os::Code code =
            os::WriteAt(handle, buffer, inside + (count - inside) / 2, position, done);
        return code != 0 ? code : os::NoSpaceCode();
    }
    case IoFault::IoError:
        break;
    }
    return os::IoErrorCode();
}

namespace {
template <class Transfer>
os::Code PieceByPiece(const os::Piece *pieces, std::size_t count, std::int64_t position,
                      std::size_t &done, Transfer &&transfer) {
    done = 0;
    for (std::size_t i = 0; i < count; ++i) {
        std::size_t moved = 0;
        const os::Code code =
            transfer(pieces[i], position + static_cast<std::int64_t>(done), moved);
        done += moved;
        if (code != 0 || moved < pieces[i].count) return code;
    }
    return 0;
}
} // namespace

os::Code ReadAtV(os::Handle handle, const os::Piece *pieces, std::size_t count,
                 std::int64_t position, std::size_t &done) {
    if (g_failAt.load(std::memory_order_relaxed) <= 0)
        return os::ReadAtV(handle, pieces, count, position, done);
    return PieceByPiece(pieces, count, position, done,
                        [&](const os::Piece &p, std::int64_t at, std::size_t &moved) {
                            return ReadAt(handle, p.bytes, p.count, at, moved);
                        });
}

os::Code WriteAtV(os::Handle handle, const os::Piece *pieces, std::size_t count,
                  std::int64_t position, std::size_t &done) {
    if (g_failAt.load(std::memory_order_relaxed) <= 0)
        return os::WriteAtV(handle, pieces, count, position, done);
    return PieceByPiece(pieces, count, position, done,
                        [&](const os::Piece &p, std::int64_t at, std::size_t &moved) {
                            return WriteAt(handle, p.bytes, p.count, at, moved);
                        });
}

} // namespace orvik::fio::testing
