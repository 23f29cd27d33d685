/*
 * othr.h - thread primitives: mutexes that need no set-up call, one process-wide recursive
 * "thread-unsafe section", thread ids, thread-specific keys and sleep.
 */
#ifndef ORVIK_OTHR_H
#define ORVIK_OTHR_H

#include <stdint.h>

#include <orvik/oerr.h>
#include <orvik/omsc.h>

ORVIK_BEGIN_DECLS

/* A mutex is usable as soon as it is zero-initialised (OTHR_MUTEX_INITIALIZER); the first
 * lock creates its implementation. Destroy releases it; the mutex may be locked again. */
typedef struct Othr_Mutex_ {
    void *impl;
} Othr_Mutex;
#define OTHR_MUTEX_INITIALIZER                                                                     \
    { 0 }

ORVIK_API void othr_MutexLock(Othr_Mutex *mutex) ORVIK_NOEXCEPT;
ORVIK_API void othr_MutexUnlock(Othr_Mutex *mutex) ORVIK_NOEXCEPT;
ORVIK_API void othr_MutexDestroy(Othr_Mutex *mutex) ORVIK_NOEXCEPT;

/* The thread-unsafe section is recursive: a thread may enter it again while inside.
 * The argument of Enter is reserved and must be 0. */
ORVIK_API void othr_ThreadUnsafeCodeEnter(long reserved) ORVIK_NOEXCEPT;
ORVIK_API void othr_ThreadUnsafeCodeExit(void) ORVIK_NOEXCEPT;

typedef uint64_t Othr_ThreadId;
ORVIK_API Othr_ThreadId othr_ThreadSelf(void) ORVIK_NOEXCEPT;

/* Thread-specific keys. A key's value is null in every thread until set. With a callback,
 * a thread's non-null value is passed to it when that thread ends. Returns 0, -1 on failure. */
typedef uint32_t Othr_Key;
typedef void (*Othr_KeyDestructor)(void *value);
ORVIK_API long othr_KeyCreate(Othr_Key *key, Oerr_ErrorReport **err) ORVIK_NOEXCEPT;
ORVIK_API long othr_KeyCreateWithCallback(Othr_Key *key, Othr_KeyDestructor destructor,
                                          Oerr_ErrorReport **err) ORVIK_NOEXCEPT;
ORVIK_API long othr_KeySetValue(Othr_Key key, void *value, Oerr_ErrorReport **err) ORVIK_NOEXCEPT;
ORVIK_API void *othr_KeyGetValue(Othr_Key key) ORVIK_NOEXCEPT;
ORVIK_API void othr_KeyDelete(Othr_Key key) ORVIK_NOEXCEPT;

ORVIK_API void othr_ThreadSleep(long milliseconds) ORVIK_NOEXCEPT;

ORVIK_END_DECLS

#endif /* ORVIK_OTHR_H */
