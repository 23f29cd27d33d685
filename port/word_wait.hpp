// Internal: sleeping until a pointer-sized word changes, the one blocking step of the library's
// mutexes. A futex on Linux (through std::atomic wait/notify), WaitOnAddress on Windows, where
// the standard library's own atomic wait can miss a wake-up that lands between its check of the
// word and its sleep, and a mutex would then hang for good.
#pragma once

namespace orvik::port {

// Sleeps while `*word` still holds `expected`; may also return without a change, so callers
// check the word again.
void WaitWhileWordIs(void *const *word, void *expected) noexcept;
// Wakes one thread sleeping on `word`, if any.
void WakeOneOnWord(void *const *word) noexcept;

} // namespace orvik::port
