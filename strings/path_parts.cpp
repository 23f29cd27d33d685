// File-name parts (local name, directory, extension, layer part) and their exported forms.
#include "strings/path_parts.hpp"

#include <algorithm>

#include <orvik/ostr.h>

#include "core/guard.hpp"
#include "core/heap_text.hpp"

namespace orvik::text {
namespace {

bool IsSeparator(wchar_t c) { return c == L'/' || c == L'\\'; }

// Last directory separator before the layer suffix, or npos.
std::size_t LastSeparator(std::wstring_view name) {
    const std::size_t end = LayerSuffixStart(name);
    for (std::size_t i = end; i > 0; --i)
        if (IsSeparator(name[i - 1])) return i - 1;
    return std::wstring_view::npos;
}

bool IsDriveLetter(wchar_t c) { return (c >= L'A' && c <= L'Z') || (c >= L'a' && c <= L'z'); }

} // namespace

std::size_t LayerSuffixStart(std::wstring_view name) {
    const std::size_t at = name.find(L"(:");
    return at == std::wstring_view::npos ? name.size() : at;
}

std::wstring_view FileNameLocalPart(std::wstring_view name) {
    const std::size_t sep = LastSeparator(name);
    return sep == std::wstring_view::npos ? name : name.substr(sep + 1);
}

std::wstring_view FileNameDirPart(std::wstring_view name) {
    const std::size_t sep = LastSeparator(name);
    if (sep == std::wstring_view::npos) return {};
    // Keep the separator of a root ("/", "c:/"): without it the text names something else.
    if (sep == 0) return name.substr(0, 1);
    if (sep == 2 && name[1] == L':' && IsDriveLetter(name[0])) return name.substr(0, 3);
    return name.substr(0, sep);
}

std::wstring_view FileNameExtension(std::wstring_view name) {
    std::wstring_view local = FileNameLocalPart(name);
    local = local.substr(0, LayerSuffixStart(local));
    const std::size_t dot = local.rfind(L'.');
    if (dot == std::wstring_view::npos || dot == 0) return {};
    return local.substr(dot + 1);
}

std::wstring FileNameLayerPart(std::wstring_view name) {
    std::wstring s(name);
    std::replace(s.begin(), s.end(), L'\\', L'/');
    if (!s.empty() && s.back() == L'/') return L"*";
    const std::size_t end = LayerSuffixStart(s);
    const std::size_t slash = s.rfind(L'/', end == 0 ? 0 : end - 1);
    if (slash == std::wstring::npos || slash >= end) return s;
    return s.substr(slash + 1);
}

} // namespace orvik::text

// ---- Exported wrappers.
namespace {

template <class F>
wchar_t *PathPart(const wchar_t *name, Oerr_ErrorReport **err, const wchar_t *function, F part) {
    if (err) *err = nullptr;
    return orvik::core::Guarded<wchar_t *>(err, function, nullptr, [&]() -> wchar_t * {
        if (!name) return nullptr;
        wchar_t *out = orvik::core::HeapDup(std::wstring_view(part(std::wstring_view(name))));
        if (!out) orvik::core::SetOutOfMemory(err, function);
        return out;
    });
}

} // namespace

extern "C" {

ORVIK_API wchar_t *ostr_FileNameLocalPart(const wchar_t *name, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT {
    return PathPart(name, err, L"ostr_FileNameLocalPart", orvik::text::FileNameLocalPart);
}

ORVIK_API wchar_t *ostr_FileNameDirPart(const wchar_t *name, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT {
    return PathPart(name, err, L"ostr_FileNameDirPart", orvik::text::FileNameDirPart);
}

ORVIK_API wchar_t *ostr_FileNameExtension(const wchar_t *name, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT {
    return PathPart(name, err, L"ostr_FileNameExtension", orvik::text::FileNameExtension);
}

ORVIK_API wchar_t *ostr_FileNameLayerPart(const wchar_t *name, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT {
    return PathPart(name, err, L"ostr_FileNameLayerPart", orvik::text::FileNameLayerPart);
}

} // extern "C"
