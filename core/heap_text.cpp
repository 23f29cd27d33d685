// Heap duplicates of narrow and wide texts.
#include "core/heap_text.hpp"

#include <climits>
#include <cstring>
#include <cwchar>

#include <orvik/omsc.h>

namespace orvik::core {
namespace {

template <class C> C *Dup(std::basic_string_view<C> text) {
    if (text.size() >= static_cast<std::size_t>(INT32_MAX) / sizeof(C)) return nullptr;
    auto *p =
        static_cast<C *>(omsc_HeapMalloc(static_cast<int32_t>((text.size() + 1) * sizeof(C))));
    if (p && !text.empty()) std::memcpy(p, text.data(), text.size() * sizeof(C));
    return p;
}

} // namespace

wchar_t *HeapDup(const wchar_t *text) { return text ? Dup(std::wstring_view(text)) : nullptr; }
char *HeapDup(const char *text) { return text ? Dup(std::string_view(text)) : nullptr; }
wchar_t *HeapDup(std::wstring_view text) { return Dup(text); }
char *HeapDup(std::string_view text) { return Dup(text); }

std::wstring TakeHeapText(wchar_t *text) {
    if (!text) return {};
    try {
        std::wstring out(text);
        omsc_HeapFree(text);
        return out;
    } catch (...) {
        omsc_HeapFree(text);
        throw;
    }
}

} // namespace orvik::core
