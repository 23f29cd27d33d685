// String lists: conversion between the wide list and its narrow (UTF-8) form.
#include <climits>
#include <type_traits>

#include <orvik/otxt.h>

#include "core/guard.hpp"
#include "strings/string_list.hpp"
#include "strings/report.hpp"

using orvik::text::DeliverOrPrint;
using namespace orvik::strings;

namespace {

template <class To> void FreeEntries(To **entries, int32_t n) {
    for (int32_t i = 0; i < n; ++i) omsc_HeapFree(entries[i]);
    omsc_HeapFree(entries);
}

// Converts `count` entries into a new array of the same length. On failure everything made
// so far is freed and the failure is delivered under `function`.
template <class To, class From, class Convert>
To **ConvertEntries(From *const *entries, int32_t count, Convert convert, const wchar_t *function,
                    const wchar_t *conversionName, Oerr_ErrorReport **err) {
    if (count <= 0) return nullptr;
    const bool fits = static_cast<std::size_t>(count) <= INT32_MAX / sizeof(To *);
    auto **out = fits ? static_cast<To **>(omsc_HeapMalloc(
                            static_cast<int32_t>(static_cast<std::size_t>(count) * sizeof(To *))))
                      : nullptr;
    if (!out) {
        DeliverOrPrint(err, oerr_CreateErrorReport(function, OERR_NUMBER_OUT_OF_MEMORY,
                                                   OERR_KIND_ERROR, nullptr, L"Out of memory"));
        return nullptr;
    }
    for (int32_t i = 0; i < count; ++i) {
        if (!entries[i]) continue;
        Oerr_ErrorReport *convErr = nullptr;
        out[i] = convert(entries[i], &convErr);
        if (!out[i]) {
            FreeEntries(out, i);
            DeliverOrPrint(err, oerr_CreateErrorReport(function, kNarrowConversionFailed,
                                                       OERR_KIND_ERROR, convErr, L"%s failed",
                                                       conversionName));
            return nullptr;
        }
    }
    return out;
}

template <class ListOut, class ListIn, class Convert>
ListOut *ConvertList(const ListIn *list, Convert convert, const wchar_t *function,
                     const wchar_t *conversionName, bool keepCapacity, Oerr_ErrorReport **err) {
    if (err) *err = nullptr;
    if (!list) return nullptr;
    using To = std::remove_pointer_t<decltype(ListOut::strings)>;
    auto *out = static_cast<ListOut *>(omsc_HeapMalloc(sizeof(ListOut)));
    if (!out) {
        DeliverOrPrint(err, oerr_CreateErrorReport(function, OERR_NUMBER_OUT_OF_MEMORY,
                                                   OERR_KIND_ERROR, nullptr, L"Out of memory"));
        return nullptr;
    }
    const int32_t count = list->count > 0 ? list->count : 0;
    Oerr_ErrorReport *convErr = nullptr;
    out->strings = ConvertEntries<std::remove_pointer_t<To>>(list->strings, count, convert,
                                                             function, conversionName, &convErr);
    if (count > 0 && !out->strings) {
        omsc_HeapFree(out);
        DeliverOrPrint(err, convErr);
        return nullptr;
    }
    out->count = count;
    out->allocated = keepCapacity ? list->allocated : count;
    return out;
}

} // namespace

extern "C" {

// The narrow record deliberately repeats the wide list's capacity (see ostr.h).
ORVIK_API ostr_StringListA *ostr_StringListU2A(const ostr_StringList *list, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT {
    return ConvertList<ostr_StringListA>(list, otxt_Text_Unicode2Ascii, L"ostr_StringListU2A",
                                         L"otxt_Text_Unicode2Ascii", true, err);
}

// A wide list's capacity must describe its array, or appending would overrun it.
ORVIK_API ostr_StringList *ostr_StringListA2U(const ostr_StringListA *list, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT {
    return ConvertList<ostr_StringList>(list, otxt_Text_Ascii2Unicode, L"ostr_StringListA2U",
                                        L"otxt_Text_Ascii2Unicode", false, err);
}

ORVIK_API void ostr_StringListDeleteA(ostr_StringListA *list) ORVIK_NOEXCEPT {
    if (!list) return;
    if (list->strings) FreeEntries(list->strings, list->count > 0 ? list->count : 0);
    omsc_HeapFree(list);
}

} // extern "C"
