// String lists: deep copies (plain and quoted) and quoting in place.
#include "core/guard.hpp"
#include "core/heap_text.hpp"
#include "strings/string_list.hpp"
#include "strings/report.hpp"

using orvik::text::DeliverOrPrint;
using orvik::text::UsedCount;
using namespace orvik::strings;

namespace {

// Both copies report under this one name; callers match on it, so it is kept for both.
constexpr const wchar_t *kCopyName = L"ostr_StringListCopy";

template <class Dup>
ostr_StringList *CopyList(const ostr_StringList *source, ostr_StringList *destination,
                          Oerr_ErrorReport **err, Dup duplicate) {
    if (err) *err = nullptr;
    if (!source || source == destination) return destination;
    const int32_t sourceCount = UsedCount(source);
    const bool created = destination == nullptr;
    if (created) {
        Oerr_ErrorReport *createErr = nullptr;
        destination = ostr_StringListCreate(sourceCount, &createErr);
        if (!destination) {
            orvik::core::SetError(err, kCopyName, kCopyCreateFailed, createErr,
                                  L"Error reported by function ostr_StringListCreate");
            return nullptr;
        }
    } else if (UsedCount(destination) < sourceCount) {
        orvik::core::SetError(err, kCopyName, kCopyDestinationTooSmall, nullptr,
                              L"Destination string list too small");
        return nullptr;
    }
    bool exhausted = false;
    for (int32_t i = 0; i < UsedCount(destination); ++i) {
        omsc_HeapFree(destination->strings[i]);
        destination->strings[i] = nullptr;
        const wchar_t *entry = i < sourceCount ? source->strings[i] : nullptr;
        if (!entry) continue;
        destination->strings[i] = duplicate(entry);
        if (!destination->strings[i]) exhausted = true;
    }
    if (exhausted) {
        if (created) ostr_StringListDelete(destination, nullptr);
        orvik::core::SetOutOfMemory(err, kCopyName);
        return nullptr;
    }
    return destination;
}

} // namespace

extern "C" {

ORVIK_API ostr_StringList *ostr_StringListCopy(const ostr_StringList *source,
                                               ostr_StringList *destination, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT {
    return CopyList(source, destination, err,
                    [](const wchar_t *s) { return orvik::core::HeapDup(s); });
}

ORVIK_API ostr_StringList *ostr_StringListQuotedCopy(const ostr_StringList *source,
                                                     ostr_StringList *destination,
                                                     Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    return CopyList(source, destination, err, [](const wchar_t *s) {
        Oerr_ErrorReport *quoteErr = nullptr;
        wchar_t *quoted = ostr_StringQuotedCopy(s, &quoteErr);
        oerr_DeleteErrorReportEx(&quoteErr); // exhaustion is reported once, by the copy
        return quoted;
    });
}

ORVIK_API ostr_StringList *ostr_StringListQuote(ostr_StringList *list, Omsc_Boolean doubleQuote,
                                                Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    if (err) *err = nullptr;
    if (!list) return nullptr;
    Oerr_ErrorReport *last = nullptr;
    for (int32_t i = 0; i < UsedCount(list); ++i) {
        Oerr_ErrorReport *entryErr = nullptr;
        wchar_t *quoted = ostr_QuoteString(list->strings[i], doubleQuote, &entryErr);
        omsc_HeapFree(list->strings[i]);
        list->strings[i] = quoted;
        if (!entryErr) continue;
        if (err) {
            oerr_DeleteErrorReportEx(&last);
            last = entryErr;
        } else {
            DeliverOrPrint(nullptr, entryErr);
        }
    }
    if (err) *err = last;
    return list;
}

} // extern "C"
