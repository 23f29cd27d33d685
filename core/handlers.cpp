// The error-handler list: a doubly linked list, newest first, under its own mutex.
#include <orvik/oerr.h>
#include <orvik/othr.h>

namespace {
Othr_Mutex gHandlerMutex = OTHR_MUTEX_INITIALIZER;
Oerr_ErrorHandler *gHandlers = nullptr;
} // namespace

extern "C" {

ORVIK_API Oerr_ErrorHandler *oerr_ErrorHandlerRegister(Oerr_ErrorHandlerFunction handler,
                                                       void *clientData) ORVIK_NOEXCEPT {
    if (!handler) return nullptr;
    auto *h = static_cast<Oerr_ErrorHandler *>(omsc_HeapMalloc(sizeof(Oerr_ErrorHandler)));
    if (!h) return nullptr;
    h->handler = handler;
    h->threadSafe = 0;
    h->clientData = clientData;
    othr_MutexLock(&gHandlerMutex);
    h->next = gHandlers;
    if (gHandlers) gHandlers->previous = h;
    gHandlers = h;
    othr_MutexUnlock(&gHandlerMutex);
    return h;
}

ORVIK_API void oerr_ErrorHandlerRemove(Oerr_ErrorHandler *handle) ORVIK_NOEXCEPT {
    if (!handle) return;
    othr_MutexLock(&gHandlerMutex);
    Oerr_ErrorHandler *h = gHandlers;
    while (h && h != handle) h = h->next;
    if (h) {
        if (h->previous) h->previous->next = h->next;
        else gHandlers = h->next;
        if (h->next) h->next->previous = h->previous;
    }
    othr_MutexUnlock(&gHandlerMutex);
    if (h) omsc_HeapFree(h);
}

ORVIK_API void oerr_ErrorOccurred(int32_t argument) ORVIK_NOEXCEPT {
    othr_MutexLock(&gHandlerMutex);
    for (Oerr_ErrorHandler *h = gHandlers; h; h = h->next) {
        if (!h->threadSafe) othr_ThreadUnsafeCodeEnter(0);
        try {
            h->handler(argument, h->clientData);
        } catch (...) {
        }
        if (!h->threadSafe) othr_ThreadUnsafeCodeExit();
    }
    othr_MutexUnlock(&gHandlerMutex);
}

} // extern "C"
