// Internal: release and record-by-record copy of report chains, shared by the wide and
// narrow record forms (both have the same five fields in the same order).
#pragma once

#include <new>

#include <orvik/omsc.h>

namespace orvik::core {

template <class R> void DeleteChain(R *r) {
    while (r) {
        R *next = r->next;
        omsc_HeapFree(r->function);
        omsc_HeapFree(r->message);
        omsc_HeapFree(r);
        r = next;
    }
}

// Copies a chain in order; `convert(in, out)` maps one text (null stays null) and returns
// false when it cannot. On any failure, heap exhaustion included, the partial copy is
// released and null returned.
template <class To, class From, class Convert> To *CopyChain(const From *src, Convert convert) {
    To *head = nullptr;
    To **tail = &head;
    try {
        for (; src; src = src->next) {
            auto *r = static_cast<To *>(omsc_HeapMalloc(sizeof(To)));
            if (!r) break;
            *tail = r;
            tail = &r->next;
            r->number = src->number;
            r->kind = src->kind;
            if (!convert(src->function, r->function) || !convert(src->message, r->message)) break;
        }
    } catch (const std::bad_alloc &) {
    }
    if (src) {
        DeleteChain(head);
        return nullptr;
    }
    return head;
}

} // namespace orvik::core
