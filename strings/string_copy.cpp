// Exported heap duplicates of single texts.
#include <orvik/ostr.h>

#include "core/guard.hpp"
#include "core/heap_text.hpp"

using orvik::core::SetOutOfMemory;

namespace {

template <class C> C *Copy(const C *text, Oerr_ErrorReport **err, const wchar_t *function) {
    if (err) *err = nullptr;
    if (!text) return nullptr;
    C *copy = orvik::core::HeapDup(text);
    if (!copy) SetOutOfMemory(err, function);
    return copy;
}

} // namespace

extern "C" {

ORVIK_API wchar_t *ostr_StringCopy(const wchar_t *text, Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    return Copy(text, err, L"ostr_StringCopy");
}

ORVIK_API char *ostr_StringCopyA(const char *text, Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    return Copy(text, err, L"ostr_StringCopyA");
}

} // extern "C"
