// Category-list functions over caller-owned lists, and the copy of the default database's
// list.
#include <cwchar>

#include <orvik/opmg.h>

#include "core/guard.hpp"
#include "prefs/model.hpp"
#include "prefs/module.hpp"
#include "prefs/report.hpp"

using orvik::core::Guarded;
using orvik::core::SetError;
using namespace orvik::prefs;

namespace {

Opmg_Category *CopyMatching(const Opmg_Category *list, const wchar_t *pattern) {
    ListHolder copy;
    Opmg_Category **tail = &copy.list;
    for (const Opmg_Category *c = list; c; c = c->next) {
        if (pattern && !ostr_WildcardMatch(pattern, c->name)) continue;
        *tail = CopyCategory(*c);
        tail = &(*tail)->next;
    }
    return copy.Release();
}

} // namespace

extern "C" {

ORVIK_API Opmg_Category *opmg_GetCategoryList(Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    const wchar_t *fn = L"opmg_GetCategoryList";
    if (err) *err = nullptr;
    return Guarded<Opmg_Category *>(err, fn, nullptr, [&] {
        Module &m = TheModule();
        std::lock_guard<std::mutex> lock(m.mutex);
        return CopyMatching(m.database.list, nullptr);
    });
}

ORVIK_API Opmg_Category *opmg_FilterCategoryList(const Opmg_Category *list, const wchar_t *pattern,
                                                 Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    const wchar_t *fn = L"opmg_FilterCategoryList";
    if (err) *err = nullptr;
    return Guarded<Opmg_Category *>(err, fn, nullptr,
                                    [&] { return CopyMatching(list, pattern ? pattern : L"*"); });
}

ORVIK_API long opmg_CopyCategory(Opmg_Category **list, const wchar_t *from, const wchar_t *to,
                                 Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    const wchar_t *fn = L"opmg_CopyCategory";
    if (err) *err = nullptr;
    return Guarded<long>(err, fn, -1, [&]() -> long {
        const Opmg_Category *source = list ? FindCategory(*list, from) : nullptr;
        if (!source) {
            SetError(err, fn, kNotFound, nullptr, L"Nonexistent category %s",
                     from ? from : L"<Null>");
            return -1;
        }
        if (!to || !*to || FindCategory(*list, to)) {
            SetError(err, fn, kBadArgument, nullptr, L"Trouble copying %s to %s", from,
                     to ? to : L"<Null>");
            return -1;
        }
        Opmg_Category *copy = nullptr;
        try {
            copy = CopyCategory(*source, to);
        } catch (const std::bad_alloc &) {
            Oerr_ErrorReport *inner = nullptr;
            orvik::core::SetOutOfMemory(&inner, fn);
            SetError(err, fn, kOutOfMemory, inner, L"Trouble copying %s to %s", from, to);
            return -1;
        }
        Opmg_Category **tail = list;
        while (*tail) tail = &(*tail)->next;
        *tail = copy;
        return 0;
    });
}

ORVIK_API Omsc_Boolean opmg_RemoveCategory(Opmg_Category **list, const wchar_t *name)
    ORVIK_NOEXCEPT {
    if (!list) return OMSC_FALSE;
    for (Opmg_Category **at = list; *at; at = &(*at)->next) {
        if (name && (*at)->name && std::wcscmp((*at)->name, name) == 0) {
            Opmg_Category *gone = *at;
            *at = gone->next;
            FreeCategory(gone);
            return OMSC_TRUE;
        }
    }
    return OMSC_FALSE;
}

ORVIK_API Opmg_Category *opmg_MatchCategory(const Opmg_Category *list, const wchar_t *name)
    ORVIK_NOEXCEPT {
    return FindCategory(list, name);
}

ORVIK_API void opmg_FreeCategoryList(Opmg_Category *list) ORVIK_NOEXCEPT { FreeList(list); }

ORVIK_API void opmg_FreeCatList(Opmg_Category *category) ORVIK_NOEXCEPT { FreeCategory(category); }

ORVIK_API Opmg_Category *opmg_ListTail(const Opmg_Category *list) ORVIK_NOEXCEPT {
    if (!list) return nullptr;
    while (list->next) list = list->next;
    return const_cast<Opmg_Category *>(list);
}

ORVIK_API Opmg_Parameter *
opmg_CategoryListFindParameterInCategory(const Opmg_Category *list, const wchar_t *category,
                                         const wchar_t *name, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT {
    const wchar_t *fn = L"opmg_CategoryListFindParameterInCategory";
    if (err) *err = nullptr;
    Opmg_Parameter *p = FindParameter(FindCategory(list, category), name);
    if (!p) {
        SetError(err, fn, kNotFound, nullptr,
                 L"CategoryListFindParameterInCategory failed for %s.%s",
                 category ? category : L"<Null>", name ? name : L"<Null>");
    }
    return p;
}

} // extern "C"
