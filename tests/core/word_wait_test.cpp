// The word waits under the library's mutexes: a sleeper must see every wake that follows a change
// of its word, including one that lands between its check of the word and its sleep.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <thread>

#include "port/word_wait.hpp"

namespace {

void *Value(std::uintptr_t v) { return reinterpret_cast<void *>(v); }

TEST(ThreadWordWait, ReturnsAtOnceWhenTheWordAlreadyDiffers) {
    void *word = Value(7);
    orvik::port::WaitWhileWordIs(&word, Value(1)); // would sleep for good if it compared wrongly
    orvik::port::WakeOneOnWord(&word);             // no sleeper: nothing happens
    EXPECT_EQ(word, Value(7));
}

TEST(ThreadWordWait, TwoThreadsHandingATurnBackAndForthNeverStall) {
    // Each hand-over is a change followed by a wake while the other thread is about to sleep, the
    // window in which a careless wait loses the wake and both threads then sleep for good.
    void *turn = Value(0);
    std::atomic<int> finished{0};
    const int kRounds = 10000;
    auto player = [&](std::uintptr_t mine, std::uintptr_t next) {
        std::atomic_ref<void *> word(turn);
        for (int i = 0; i < kRounds; ++i) {
            void *seen;
            while ((seen = word.load()) != Value(mine)) orvik::port::WaitWhileWordIs(&turn, seen);
            word.store(Value(next));
            orvik::port::WakeOneOnWord(&turn);
        }
        ++finished;
    };
    std::thread a(player, 0, 1), b(player, 1, 0);
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (finished.load() < 2 && std::chrono::steady_clock::now() < deadline)
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    EXPECT_EQ(finished.load(), 2) << "a wake-up was lost";
    // A stalled pair is freed by repeated wakes, so that the threads can be joined.
    while (finished.load() < 2) {
        orvik::port::WakeOneOnWord(&turn);
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    a.join();
    b.join();
}

} // namespace
