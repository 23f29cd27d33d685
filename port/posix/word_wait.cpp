// Word waits over std::atomic wait/notify, which libstdc++ builds on the futex on Linux.
#include "port/word_wait.hpp"

#include <atomic>

namespace orvik::port {

void WaitWhileWordIs(void *const *word, void *expected) noexcept {
    std::atomic_ref<void *>(*const_cast<void **>(word)).wait(expected, std::memory_order_relaxed);
}

void WakeOneOnWord(void *const *word) noexcept {
    std::atomic_ref<void *>(*const_cast<void **>(word)).notify_one();
}

} // namespace orvik::port
