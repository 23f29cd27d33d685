// Internal test seam: simulate the death of the process between two writes. Off by default;
// not exported. While it is armed, every write of a stream (ofio_WriteSeq,
// ofio_FileWriteDirect, ofio_Fprintf, ...) is counted; the first `n` go through and every
// later one is dropped silently, as if the process had died right after write n. Nothing is
// reported, so the code under test runs on and its later writes are lost too; the test then
// disarms the seam and inspects the file that a crash at that point would have left.
// Writes to the null device are not counted. A write is one call; the stream's own buffering
// cannot reorder calls (it holds one contiguous run and is written out before any other), so
// a prefix of the calls is exactly what can reach the disk.
#pragma once

namespace orvik::fio::testing {

// Arms the seam: writes after the n-th (counted from now) are dropped. n < 0 disarms it
// and lets every write through again.
void StopWritesAfter(long n);
void ClearWriteStop();
// Writes counted since the last StopWritesAfter / ClearWriteStop (dropped ones included).
long WritesCounted();

// Whether the next write may go through; counts it. Called by the stream for every write.
bool WriteAllowed();

class ScopedWriteStop {
  public:
    explicit ScopedWriteStop(long n) { StopWritesAfter(n); }
    ~ScopedWriteStop() { ClearWriteStop(); }
    ScopedWriteStop(const ScopedWriteStop &) = delete;
    ScopedWriteStop &operator=(const ScopedWriteStop &) = delete;
};

} // namespace orvik::fio::testing
