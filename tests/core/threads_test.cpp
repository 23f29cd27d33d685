// Thread primitives: lazily created mutexes, the recursive thread-unsafe section, thread
// ids, thread-specific keys and sleep.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <set>
#include <thread>
#include <vector>

#include <orvik/othr.h>

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

// Waits (bounded) until `flag` is set; false on timeout.
bool WaitFor(const std::atomic<bool> &flag) {
    const auto deadline = Clock::now() + 10s;
    while (!flag.load()) {
        if (Clock::now() > deadline) return false;
        std::this_thread::sleep_for(1ms);
    }
    return true;
}

TEST(ThreadMutex, StateLivesInTheRecordAndDestroyFreesIt) {
    Othr_Mutex m = OTHR_MUTEX_INITIALIZER;
    othr_MutexLock(&m);
    EXPECT_NE(m.impl, nullptr); // held
    othr_MutexUnlock(&m);
    EXPECT_EQ(m.impl, nullptr); // free again, nothing allocated
    othr_MutexLock(&m);
    othr_MutexDestroy(&m); // returns even a held mutex to the free state
    EXPECT_EQ(m.impl, nullptr);
    othr_MutexDestroy(&m); // twice is harmless
    othr_MutexLock(&m);
    othr_MutexUnlock(&m);
    EXPECT_EQ(m.impl, nullptr);
}

TEST(ThreadMutex, ExcludesASecondThread) {
    Othr_Mutex m = OTHR_MUTEX_INITIALIZER;
    std::atomic<bool> started{false}, acquired{false};
    othr_MutexLock(&m);
    std::thread t([&] {
        started = true;
        othr_MutexLock(&m);
        acquired = true;
        othr_MutexUnlock(&m);
    });
    ASSERT_TRUE(WaitFor(started));
    std::this_thread::sleep_for(50ms);
    EXPECT_FALSE(acquired.load());
    othr_MutexUnlock(&m);
    t.join();
    EXPECT_TRUE(acquired.load());
    othr_MutexDestroy(&m);
}

TEST(ThreadMutex, ContendingThreadsLoseNoUpdate) {
    // All threads start on a fresh mutex at once, so the waiting path is taken often.
    for (int round = 0; round < 10; ++round) {
        Othr_Mutex m = OTHR_MUTEX_INITIALIZER;
        long counter = 0; // deliberately not atomic: only the mutex protects it
        std::atomic<int> ready{0};
        std::atomic<bool> go{false};
        const int kThreads = 4, kIncrements = 20000;
        std::vector<std::thread> threads;
        for (int i = 0; i < kThreads; ++i) {
            threads.emplace_back([&] {
                ++ready;
                while (!go.load()) std::this_thread::yield();
                for (int k = 0; k < kIncrements; ++k) {
                    othr_MutexLock(&m);
                    ++counter;
                    othr_MutexUnlock(&m);
                }
            });
        }
        while (ready.load() < kThreads) std::this_thread::yield();
        go = true;
        for (std::thread &t : threads) t.join();
        ASSERT_EQ(counter, kThreads * kIncrements);
        othr_MutexDestroy(&m);
    }
}

TEST(ThreadUnsafeSection, RecursiveForItsHolderAndClosedToOthers) {
    othr_ThreadUnsafeCodeEnter(0);
    othr_ThreadUnsafeCodeEnter(0); // same thread again: no deadlock
    std::atomic<bool> started{false}, entered{false};
    std::thread t([&] {
        started = true;
        othr_ThreadUnsafeCodeEnter(0);
        entered = true;
        othr_ThreadUnsafeCodeExit();
    });
    ASSERT_TRUE(WaitFor(started));
    std::this_thread::sleep_for(50ms);
    EXPECT_FALSE(entered.load());
    othr_ThreadUnsafeCodeExit(); // still held once
    std::this_thread::sleep_for(50ms);
    EXPECT_FALSE(entered.load());
    othr_ThreadUnsafeCodeExit();
    t.join();
    EXPECT_TRUE(entered.load());
}

TEST(ThreadSelf, DistinctPerThreadAndStable) {
    const Othr_ThreadId mine = othr_ThreadSelf();
    EXPECT_NE(mine, 0u);
    EXPECT_EQ(othr_ThreadSelf(), mine);
    const int kThreads = 4;
    std::vector<Othr_ThreadId> ids(kThreads);
    std::vector<char> stable(kThreads); // one byte per thread: no shared words
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i) {
        threads.emplace_back([&, i] {
            ids[i] = othr_ThreadSelf();
            std::this_thread::sleep_for(5ms);
            stable[i] = othr_ThreadSelf() == ids[i];
        });
    }
    for (std::thread &t : threads) t.join();
    std::set<Othr_ThreadId> distinct(ids.begin(), ids.end());
    distinct.insert(mine);
    EXPECT_EQ(distinct.size(), static_cast<std::size_t>(kThreads + 1));
    for (int i = 0; i < kThreads; ++i) EXPECT_TRUE(stable[i]) << i;
    EXPECT_EQ(othr_ThreadSelf(), mine);
}

TEST(ThreadKeys, ValuesArePerThreadAndNullUntilSet) {
    Oerr_ErrorReport *err = nullptr;
    Othr_Key a = 0, b = 0;
    ASSERT_EQ(othr_KeyCreate(&a, &err), 0);
    ASSERT_EQ(othr_KeyCreate(&b, &err), 0);
    EXPECT_EQ(err, nullptr);
    EXPECT_NE(a, 0u);
    EXPECT_NE(a, b);
    EXPECT_EQ(othr_KeyGetValue(a), nullptr);

    int mainValue = 1, otherValue = 2;
    ASSERT_EQ(othr_KeySetValue(a, &mainValue, &err), 0);
    void *seenBefore = &mainValue, *seenAfter = nullptr, *seenB = &mainValue;
    std::thread t([&] {
        Oerr_ErrorReport *terr = nullptr;
        seenBefore = othr_KeyGetValue(a);
        othr_KeySetValue(a, &otherValue, &terr);
        seenAfter = othr_KeyGetValue(a);
        seenB = othr_KeyGetValue(b);
    });
    t.join();
    EXPECT_EQ(seenBefore, nullptr);
    EXPECT_EQ(seenAfter, &otherValue);
    EXPECT_EQ(seenB, nullptr);
    EXPECT_EQ(othr_KeyGetValue(a), &mainValue);
    EXPECT_EQ(othr_KeyGetValue(b), nullptr);
    othr_KeySetValue(a, nullptr, &err);
    EXPECT_EQ(othr_KeyGetValue(a), nullptr);
    othr_KeyDelete(a);
    othr_KeyDelete(b);
}

std::atomic<int> gDestroyed{0};
std::atomic<void *> gDestroyedValue{nullptr};
void CountDestroy(void *value) {
    ++gDestroyed;
    gDestroyedValue = value;
}

TEST(ThreadKeys, CallbackRunsAtThreadExitForNonNullValues) {
    Oerr_ErrorReport *err = nullptr;
    Othr_Key k = 0;
    ASSERT_EQ(othr_KeyCreateWithCallback(&k, CountDestroy, &err), 0);
    gDestroyed = 0;
    int value = 5;
    std::thread([&] {
        Oerr_ErrorReport *terr = nullptr;
        othr_KeySetValue(k, &value, &terr);
        EXPECT_EQ(gDestroyed.load(), 0); // not before the thread ends
    }).join();
    EXPECT_EQ(gDestroyed.load(), 1);
    EXPECT_EQ(gDestroyedValue.load(), &value);

    std::thread([&] {
        Oerr_ErrorReport *terr = nullptr;
        othr_KeySetValue(k, &value, &terr);
        othr_KeySetValue(k, nullptr, &terr); // a null value is not passed on
    }).join();
    EXPECT_EQ(gDestroyed.load(), 1);

    // A key deleted before the thread ends no longer calls back.
    std::atomic<bool> valueSet{false}, keyDeleted{false};
    std::thread late([&] {
        Oerr_ErrorReport *terr = nullptr;
        othr_KeySetValue(k, &value, &terr);
        valueSet = true;
        WaitFor(keyDeleted);
    });
    ASSERT_TRUE(WaitFor(valueSet));
    othr_KeyDelete(k);
    keyDeleted = true;
    late.join();
    EXPECT_EQ(gDestroyed.load(), 1);
}

TEST(ThreadKeys, DeletedAndInvalidKeysAreReported) {
    Oerr_ErrorReport *err = nullptr;
    Othr_Key k = 0;
    ASSERT_EQ(othr_KeyCreate(&k, &err), 0);
    int value = 1;
    ASSERT_EQ(othr_KeySetValue(k, &value, &err), 0);
    othr_KeyDelete(k);
    EXPECT_EQ(othr_KeyGetValue(k), nullptr);
    EXPECT_EQ(othr_KeySetValue(k, &value, &err), -1);
    ASSERT_NE(err, nullptr);
    EXPECT_STREQ(err->function, L"othr_KeySetValue");
    EXPECT_EQ(err->number, 1);
    EXPECT_EQ(err->kind, 2);
    EXPECT_EQ(std::wstring(err->message), L"Unknown thread key " + std::to_wstring(k));
    oerr_DeleteErrorReportEx(&err);

    // Key numbers are never reused, so the deleted key's value cannot reappear.
    Othr_Key fresh = 0;
    ASSERT_EQ(othr_KeyCreate(&fresh, &err), 0);
    EXPECT_NE(fresh, k);
    EXPECT_EQ(othr_KeyGetValue(fresh), nullptr);
    othr_KeyDelete(fresh);

    EXPECT_EQ(othr_KeyGetValue(0), nullptr);
    EXPECT_EQ(othr_KeySetValue(0, &value, &err), -1);
    oerr_DeleteErrorReportEx(&err);
    EXPECT_EQ(othr_KeyCreate(nullptr, &err), -1);
    ASSERT_NE(err, nullptr);
    EXPECT_STREQ(err->function, L"othr_KeyCreate");
    EXPECT_STREQ(err->message, L"Invalid argument");
    oerr_DeleteErrorReportEx(&err);

    // *err is cleared on entry, whatever it held.
    err = reinterpret_cast<Oerr_ErrorReport *>(&value);
    ASSERT_EQ(othr_KeyCreateWithCallback(&fresh, nullptr, &err), 0);
    EXPECT_EQ(err, nullptr);
    othr_KeyDelete(fresh);
}

TEST(ThreadSleep, WaitsAtLeastTheGivenTime) {
    auto start = Clock::now();
    othr_ThreadSleep(60);
    EXPECT_GE(Clock::now() - start, 60ms);
    start = Clock::now();
    othr_ThreadSleep(0);
    othr_ThreadSleep(-5);
    EXPECT_LT(Clock::now() - start, 50ms); // no sleep at all
}

} // namespace
