// The write-stopping test seam (see write_seam.hpp). Counters are atomics so that the check
// costs one relaxed load when the seam is off.
#include "fio/write_seam.hpp"

#include <atomic>

namespace orvik::fio::testing {

namespace {
std::atomic<long> g_limit{-1}; // -1: off
std::atomic<long> g_count{0};
} // namespace

void StopWritesAfter(long n) {
    g_count.store(0, std::memory_order_relaxed);
    g_limit.store(n < 0 ? -1 : n, std::memory_order_relaxed);
}

void ClearWriteStop() { StopWritesAfter(-1); }

long WritesCounted() { return g_count.load(std::memory_order_relaxed); }

bool WriteAllowed() {
    const long limit = g_limit.load(std::memory_order_relaxed);
    const long n = g_count.fetch_add(1, std::memory_order_relaxed) + 1;
    return limit < 0 || n <= limit;
}

} // namespace orvik::fio::testing
