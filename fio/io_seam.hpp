// Internal test seam: make a chosen read or write of the file layer fail. Off by default; not
// exported. While it is armed, every transfer of a stream to or from the system (reads that
// reach the system, writes of the write buffer and direct writes) is counted, and the n-th
// one fails as a faulty disk would make it fail:
// - NoSpace: a full disk: the write stores nothing and fails with the system's "no space"
//   code, and so does every later write (reads still work);
// - ShortWrite: a full disk met half-way through a write that grows the file: the write
//   stores its bytes in order up to half of the new ones and fails with "no space" (a write
//   inside the file needs no new space and goes through);
// - IoError: the transfer moves nothing and fails with the system's I/O error code, once.
// A read counted as the n-th fails with the I/O error code whatever the fault. Unlike the
// write-stopping seam the failure is reported, so the code under test sees it and must
// answer with a report.
#pragma once

#include <cstddef>
#include <cstdint>

#include "fio/os.hpp"

namespace orvik::fio::testing {

enum class IoFault { NoSpace, ShortWrite, IoError };

// Arms the seam: the n-th transfer (1-based, counted from now) fails with `fault`. n < 1
// disarms it.
void FailNthTransfer(long n, IoFault fault);
void ClearTransferFailure();
// Transfers counted since the last FailNthTransfer / ClearTransferFailure.
long TransfersCounted();
// Whether a transfer has been failed since the seam was armed.
bool TransferFailed();

// The system transfers of the stream, through the seam.
os::Code ReadAt(os::Handle handle, void *buffer, std::size_t count, std::int64_t position,
                std::size_t &done);
os::Code WriteAt(os::Handle handle, const void *buffer, std::size_t count, std::int64_t position,
                 std::size_t &done);

// The vectored forms: one transfer when the seam is off; while it is armed, one per piece, so
// that a fault can land inside a vectored transfer as it can on a real disk.
os::Code ReadAtV(os::Handle handle, const os::Piece *pieces, std::size_t count,
                 std::int64_t position, std::size_t &done);
os::Code WriteAtV(os::Handle handle, const os::Piece *pieces, std::size_t count,
                  std::int64_t position, std::size_t &done);

class ScopedTransferFailure {
  public:
    ScopedTransferFailure(long n, IoFault fault) { FailNthTransfer(n, fault); }
    ~ScopedTransferFailure() { ClearTransferFailure(); }
    ScopedTransferFailure(const ScopedTransferFailure &) = delete;
    ScopedTransferFailure &operator=(const ScopedTransferFailure &) = delete;
};

} // namespace orvik::fio::testing
