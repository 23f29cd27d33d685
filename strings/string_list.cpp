// String lists: creation, counting, appending, removal, truncation and deletion.
#include "strings/string_list.hpp"

#include <climits>
#include <cstdint>

#include "core/guard.hpp"
#include "core/heap_text.hpp"
#include "strings/report.hpp"

using orvik::text::DeliverOrPrint;
using orvik::text::EntriesEqual;
using orvik::text::UsedCount;
using namespace orvik::strings;

namespace orvik::text {

void DeliverOrPrint(Oerr_ErrorReport **err, Oerr_ErrorReport *report) {
    if (err) {
        *err = report;
        return;
    }
    if (report) {
        oerr_PrintErrorReport(report, OERR_REPORT_FULL);
        oerr_DeleteErrorReportEx(&report);
    }
}

} // namespace orvik::text

namespace {

// Appending to a full array adds exactly this many entries.
constexpr int32_t kGrowth = 16;
constexpr int32_t kMaxEntries = INT32_MAX / static_cast<int32_t>(sizeof(wchar_t *));

ostr_StringList *Append(ostr_StringList *list, const wchar_t *string, Oerr_ErrorReport **err) {
    static const wchar_t *const kName = L"ostr_StringListAppend";
    if (!list) {
        Oerr_ErrorReport *createErr = nullptr;
        list = ostr_StringListCreate(kGrowth, &createErr);
        if (!list) {
            DeliverOrPrint(err, oerr_CreateErrorReport(kName, kListCreateFailed, OERR_KIND_ERROR,
                                                       createErr, L"String List create failed"));
            return nullptr;
        }
        list->count = 0;
    }
    if (list->count >= list->allocated) {
        void *grown =
            list->allocated <= kMaxEntries - kGrowth
                ? omsc_HeapRealloc(list->strings, static_cast<int32_t>((list->allocated + kGrowth) *
                                                                       sizeof(wchar_t *)))
                : nullptr;
        if (!grown) {
            DeliverOrPrint(err,
                           oerr_CreateErrorReport(kName, kListGrowFailed, OERR_KIND_ERROR, nullptr,
                                                  L"Unable to add string to string list"));
            return list;
        }
        list->strings = static_cast<wchar_t **>(grown);
        for (int32_t i = list->allocated; i < list->allocated + kGrowth; ++i)
            list->strings[i] = nullptr;
        list->allocated += kGrowth;
    }
    // A copy that cannot be allocated leaves a null entry; the append itself still counts.
    list->strings[list->count++] = orvik::core::HeapDup(string);
    return list;
}

} // namespace

extern "C" {

ORVIK_API ostr_StringList *ostr_StringListCreate(long n, Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    if (err) *err = nullptr;
    static const wchar_t *const kName = L"ostr_StringListCreate";
    auto *list = static_cast<ostr_StringList *>(omsc_HeapMalloc(sizeof(ostr_StringList)));
    if (!list) {
        orvik::core::SetError(err, kName, kListRecordAllocation, nullptr,
                              L"Unable to allocate storage for string list");
        return nullptr;
    }
    if (n < 1) return list;
    void *array =
        n <= kMaxEntries ? omsc_HeapMalloc(static_cast<int32_t>(n * sizeof(wchar_t *))) : nullptr;
    if (!array) {
        omsc_HeapFree(list);
        orvik::core::SetError(err, kName, kListArrayAllocation, nullptr,
                              L"Unable to allocate storage for string list");
        return nullptr;
    }
    list->strings = static_cast<wchar_t **>(array);
    list->count = list->allocated = static_cast<int32_t>(n);
    return list;
}

ORVIK_API long ostr_StringListCount(const ostr_StringList *list) ORVIK_NOEXCEPT {
    return list ? list->count : 0;
}

ORVIK_API ostr_StringList *ostr_StringListAppend(ostr_StringList *list, const wchar_t *string,
                                                 Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    if (err) *err = nullptr;
    return Append(list, string, err);
}

ORVIK_API ostr_StringList *ostr_StringListAppendUniq(ostr_StringList *list, const wchar_t *string,
                                                     Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    if (err) *err = nullptr;
    for (int32_t i = 0; i < UsedCount(list); ++i)
        if (EntriesEqual(list->strings[i], string)) return list;
    return Append(list, string, err);
}

ORVIK_API Omsc_Boolean ostr_StringListRemoveItem(ostr_StringList *list, const wchar_t *string)
    ORVIK_NOEXCEPT {
    const int32_t n = UsedCount(list);
    for (int32_t i = 0; i < n; ++i) {
        if (!EntriesEqual(list->strings[i], string)) continue;
        omsc_HeapFree(list->strings[i]);
        for (int32_t j = i + 1; j < n; ++j) list->strings[j - 1] = list->strings[j];
        list->strings[n - 1] = nullptr;
        --list->count;
        return OMSC_TRUE;
    }
    return OMSC_FALSE;
}

ORVIK_API void ostr_StringListTruncate(ostr_StringList *list, long n) ORVIK_NOEXCEPT {
    if (!list) return;
    if (n < 0) n = 0;
    while (list->count > n) {
        --list->count;
        omsc_HeapFree(list->strings[list->count]);
        list->strings[list->count] = nullptr;
    }
}

ORVIK_API void ostr_StringListDelete(ostr_StringList *list, Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    if (err) *err = nullptr;
    if (!list) return;
    for (int32_t i = 0; i < UsedCount(list); ++i) omsc_HeapFree(list->strings[i]);
    omsc_HeapFree(list->strings);
    omsc_HeapFree(list);
}

} // extern "C"
