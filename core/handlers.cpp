// The error-handler list: a doubly linked list, newest first. One lock is held for the whole
// walk of oerr_ErrorOccurred; it is recursive, so a handler may register or remove handlers
// (itself included) from inside its call. Records removed during a walk are unlinked at once
// but freed only when the outermost walk ends, so the walk can still step past them.
#include <mutex>

#include <orvik/oerr.h>
#include <orvik/othr.h>

namespace {

std::recursive_mutex &HandlerMutex() {
    static std::recursive_mutex mutex;
    return mutex;
}

Oerr_ErrorHandler *gHandlers = nullptr;
int gWalkDepth = 0;                    // nested walks by the thread holding the lock
Oerr_ErrorHandler *gRemoved = nullptr; // removed during a walk, chained through `previous`

bool IsListed(const Oerr_ErrorHandler *handle) {
    for (const Oerr_ErrorHandler *h = gHandlers; h; h = h->next) {
        if (h == handle) return true;
    }
    return false;
}

void FreeRemoved() {
    while (gRemoved) {
        Oerr_ErrorHandler *h = gRemoved;
        gRemoved = h->previous;
        omsc_HeapFree(h);
    }
}

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
    std::lock_guard<std::recursive_mutex> lock(HandlerMutex());
    h->next = gHandlers;
    h->previous = nullptr;
    if (gHandlers) gHandlers->previous = h;
    gHandlers = h;
    return h;
}

ORVIK_API void oerr_ErrorHandlerRemove(Oerr_ErrorHandler *handle) ORVIK_NOEXCEPT {
    if (!handle) return;
    std::lock_guard<std::recursive_mutex> lock(HandlerMutex());
    if (!IsListed(handle)) return;
    if (handle->previous)
        handle->previous->next = handle->next;
    else
        gHandlers = handle->next;
    if (handle->next) handle->next->previous = handle->previous;
    if (gWalkDepth == 0) {
        omsc_HeapFree(handle);
        return;
    }
    // A walk may stand on this record: keep `next` for it, stop the call, free later.
    handle->handler = nullptr;
    handle->previous = gRemoved;
    gRemoved = handle;
}

ORVIK_API void oerr_ErrorOccurred(int32_t argument) ORVIK_NOEXCEPT {
    std::lock_guard<std::recursive_mutex> lock(HandlerMutex());
    ++gWalkDepth;
    for (Oerr_ErrorHandler *h = gHandlers; h; h = h->next) {
        Oerr_ErrorHandlerFunction handler = h->handler;
        if (!handler) continue; // removed by an earlier handler of this walk
        if (!h->threadSafe) othr_ThreadUnsafeCodeEnter(0);
        try {
            handler(argument, h->clientData);
        } catch (...) {
        }
        if (!h->threadSafe) othr_ThreadUnsafeCodeExit();
    }
    if (--gWalkDepth == 0) FreeRemoved();
}

} // extern "C"
