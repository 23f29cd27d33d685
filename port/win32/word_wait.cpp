// Word waits over WaitOnAddress: the system compares the word and sleeps in one step, so a wake
// that comes after the comparison is never lost.
#include "port/word_wait.hpp"

#include "port/win32/win32_text.hpp"

namespace orvik::port {

void WaitWhileWordIs(void *const *word, void *expected) noexcept {
    WaitOnAddress(const_cast<void **>(word), &expected, sizeof expected, INFINITE);
}

void WakeOneOnWord(void *const *word) noexcept { WakeByAddressSingle(const_cast<void **>(word)); }

} // namespace orvik::port
