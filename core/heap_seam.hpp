// Internal test seam: make a chosen heap allocation fail. Off by default; not exported.
// Used by tests to sweep every allocation of an operation (fail the 1st, the 2nd, ...).
#pragma once

namespace orvik::core::testing {

// From now on, the n-th allocation (1-based; omsc_HeapMalloc and growing omsc_HeapRealloc)
// fails. With `sticky`, every allocation after it fails as well. n < 1 switches the seam off.
void FailNthAllocation(long n, bool sticky = false);
void ClearAllocationFailure();
// Allocations counted since the last FailNthAllocation / ClearAllocationFailure.
long AllocationsCounted();
// Counts one allocation made outside the library heap (a test program's operator new) and
// says whether the seam fails it, so that one count covers both kinds.
bool AllocationFailsNow();

// RAII form for tests.
class ScopedAllocationFailure {
  public:
    explicit ScopedAllocationFailure(long n, bool sticky = false) { FailNthAllocation(n, sticky); }
    ~ScopedAllocationFailure() { ClearAllocationFailure(); }
    ScopedAllocationFailure(const ScopedAllocationFailure &) = delete;
    ScopedAllocationFailure &operator=(const ScopedAllocationFailure &) = delete;
};

} // namespace orvik::core::testing
