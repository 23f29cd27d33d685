// String lists: sorting by whole text and by name part. Null entries sort first.
#include <algorithm>
#include <cwchar>
#include <new>
#include <string_view>
#include <utility>
#include <vector>

#include "strings/path_parts.hpp"
#include "strings/string_list.hpp"

using orvik::text::UsedCount;

namespace {

// Name-part keys are limited to what a 512-character buffer holds.
constexpr std::size_t kNamePartLimit = 511;

struct EntryLess {
    bool operator()(const wchar_t *a, const wchar_t *b) const {
        if (!a || !b) return !a && b;
        return std::wcscmp(a, b) < 0;
    }
};

// The sort key of an entry: its layer part cut at the layer suffix. That text never contains
// a separator, so it is a piece of the entry itself (or "*") and needs no copy.
struct NamePartKey {
    const wchar_t *data; // null for a null entry
    std::size_t size;
};

NamePartKey KeyOf(const wchar_t *entry) {
    if (!entry) return {nullptr, 0};
    const std::wstring_view name(entry);
    if (!name.empty() && (name.back() == L'/' || name.back() == L'\\')) return {L"*", 1};
    std::wstring_view key = orvik::text::FileNameLocalPart(name);
    key = key.substr(0, orvik::text::LayerSuffixStart(key));
    return {key.data(), std::min(key.size(), kNamePartLimit)};
}

bool KeyLess(const NamePartKey &a, const NamePartKey &b) {
    if (!a.data || !b.data) return !a.data && b.data;
    const int c = std::wmemcmp(a.data, b.data, std::min(a.size, b.size));
    return c != 0 ? c < 0 : a.size < b.size;
}

} // namespace

extern "C" {

ORVIK_API void ostr_StringListSort(ostr_StringList *list) ORVIK_NOEXCEPT {
    if (!list) return;
    std::sort(list->strings, list->strings + UsedCount(list), EntryLess{});
}

ORVIK_API void ostr_StringListSortByNamePart(ostr_StringList *list) ORVIK_NOEXCEPT {
    if (!list) return;
    wchar_t **begin = list->strings, **end = begin + UsedCount(list);
    try {
        std::vector<std::pair<NamePartKey, wchar_t *>> keyed;
        keyed.reserve(static_cast<std::size_t>(end - begin));
        for (wchar_t **p = begin; p != end; ++p) keyed.emplace_back(KeyOf(*p), *p);
        std::sort(keyed.begin(), keyed.end(),
                  [](const auto &a, const auto &b) { return KeyLess(a.first, b.first); });
        for (std::size_t i = 0; i < keyed.size(); ++i) begin[i] = keyed[i].second;
    } catch (const std::bad_alloc &) {
        // No room for the key table: derive the keys inside every comparison instead.
        std::sort(begin, end,
                  [](const wchar_t *a, const wchar_t *b) { return KeyLess(KeyOf(a), KeyOf(b)); });
    }
}

} // extern "C"
