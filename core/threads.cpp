// Thread primitives over the C++ standard library. All functions are thread-safe.
#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <mutex>
#include <new>
#include <thread>
#include <vector>

#include <orvik/othr.h>

#include "core/guard.hpp"
#include "port/word_wait.hpp"

namespace {

// The mutex lives in the record's own word, so locking never allocates and cannot fail:
// null free, State(1) held, State(2) held with waiters (waiters sleep on the word's value).
void *State(std::uintptr_t value) noexcept { return reinterpret_cast<void *>(value); }

void LockWord(void **address) noexcept {
    std::atomic_ref<void *> word(*address);
    void *const held = State(1), *const contended = State(2);
    void *state = nullptr;
    if (word.compare_exchange_strong(state, held, std::memory_order_acquire)) return;
    if (state != contended) state = word.exchange(contended, std::memory_order_acquire);
    while (state != nullptr) {
        orvik::port::WaitWhileWordIs(address, contended);
        state = word.exchange(contended, std::memory_order_acquire);
    }
}

void UnlockWord(void **address) noexcept {
    std::atomic_ref<void *> word(*address);
    if (word.exchange(nullptr, std::memory_order_release) == State(2))
        orvik::port::WakeOneOnWord(address);
}

std::recursive_mutex &UnsafeSection() {
    static std::recursive_mutex section;
    return section;
}

// Thread-specific keys: a process-wide table of destructors and, per thread, a vector of
// values indexed by key. A key number is never reused, so a stale value cannot be read
// through a new key.
struct KeyTable {
    std::mutex lock;
    std::vector<Othr_KeyDestructor> destructors; // index = key - 1
    std::vector<bool> live;
};

KeyTable &Keys() {
    // Never destroyed (threads may end after exit) and built in static storage, so that the
    // first use, which may be a plain look-up without a report, cannot fail.
    alignas(KeyTable) static unsigned char storage[sizeof(KeyTable)];
    static KeyTable *table = ::new (storage) KeyTable;
    return *table;
}

struct ThreadValues {
    std::vector<void *> values;
    ~ThreadValues() {
        // Destructors may set values again; a few passes, as POSIX does.
        for (int pass = 0; pass < 4; ++pass) {
            bool any = false;
            for (std::size_t i = 0; i < values.size(); ++i) {
                void *v = values[i];
                if (!v) continue;
                values[i] = nullptr;
                Othr_KeyDestructor d = nullptr;
                {
                    std::lock_guard<std::mutex> g(Keys().lock);
                    if (i < Keys().destructors.size() && Keys().live[i]) d = Keys().destructors[i];
                }
                if (d) {
                    d(v);
                    any = true;
                }
            }
            if (!any) break;
        }
    }
};

thread_local ThreadValues tlsValues;

long CreateKey(Othr_Key *key, Othr_KeyDestructor destructor, Oerr_ErrorReport **err,
               const wchar_t *name) {
    if (err) *err = nullptr;
    return orvik::core::Guarded<long>(err, name, -1, [&]() -> long {
        if (!key) {
            orvik::core::SetError(err, name, orvik::core::kKeyBadArgument, nullptr,
                                  L"Invalid argument");
            return -1;
        }
        KeyTable &t = Keys();
        std::lock_guard<std::mutex> g(t.lock);
        if (t.destructors.size() >= 0xFFFFFFFEu) {
            orvik::core::SetError(err, name, orvik::core::kKeysExhausted, nullptr,
                                  L"No more thread keys");
            return -1;
        }
        t.destructors.push_back(destructor);
        t.live.push_back(true);
        *key = static_cast<Othr_Key>(t.destructors.size());
        return 0;
    });
}

bool KeyIsLive(Othr_Key key) {
    KeyTable &t = Keys();
    std::lock_guard<std::mutex> g(t.lock);
    return key >= 1 && key <= t.live.size() && t.live[key - 1];
}

} // namespace

extern "C" {

ORVIK_API void othr_MutexLock(Othr_Mutex *mutex) ORVIK_NOEXCEPT { LockWord(&mutex->impl); }

ORVIK_API void othr_MutexUnlock(Othr_Mutex *mutex) ORVIK_NOEXCEPT { UnlockWord(&mutex->impl); }

// Nothing is held outside the record; destroying only returns it to the free state.
ORVIK_API void othr_MutexDestroy(Othr_Mutex *mutex) ORVIK_NOEXCEPT {
    std::atomic_ref<void *>(mutex->impl).store(nullptr, std::memory_order_release);
}

ORVIK_API void othr_ThreadUnsafeCodeEnter(long) ORVIK_NOEXCEPT { UnsafeSection().lock(); }

ORVIK_API void othr_ThreadUnsafeCodeExit(void) ORVIK_NOEXCEPT { UnsafeSection().unlock(); }

ORVIK_API Othr_ThreadId othr_ThreadSelf(void) ORVIK_NOEXCEPT {
    static std::atomic<Othr_ThreadId> next{1};
    thread_local Othr_ThreadId id = next.fetch_add(1);
    return id;
}

ORVIK_API long othr_KeyCreate(Othr_Key *key, Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    return CreateKey(key, nullptr, err, L"othr_KeyCreate");
}

ORVIK_API long othr_KeyCreateWithCallback(Othr_Key *key, Othr_KeyDestructor destructor,
                                          Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    return CreateKey(key, destructor, err, L"othr_KeyCreateWithCallback");
}

ORVIK_API long othr_KeySetValue(Othr_Key key, void *value, Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    if (err) *err = nullptr;
    static const wchar_t *const kName = L"othr_KeySetValue";
    return orvik::core::Guarded<long>(err, kName, -1, [&]() -> long {
        if (!KeyIsLive(key)) {
            orvik::core::SetError(err, kName, orvik::core::kKeyUnknown, nullptr,
                                  L"Unknown thread key %lu", static_cast<unsigned long>(key));
            return -1;
        }
        if (tlsValues.values.size() < key) tlsValues.values.resize(key, nullptr);
        tlsValues.values[key - 1] = value;
        return 0;
    });
}

ORVIK_API void *othr_KeyGetValue(Othr_Key key) ORVIK_NOEXCEPT {
    if (key == 0 || key > tlsValues.values.size() || !KeyIsLive(key)) return nullptr;
    return tlsValues.values[key - 1];
}

ORVIK_API void othr_KeyDelete(Othr_Key key) ORVIK_NOEXCEPT {
    KeyTable &t = Keys();
    std::lock_guard<std::mutex> g(t.lock);
    if (key >= 1 && key <= t.live.size()) t.live[key - 1] = false;
}

ORVIK_API void othr_ThreadSleep(long milliseconds) ORVIK_NOEXCEPT {
    if (milliseconds > 0) std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}

} // extern "C"
