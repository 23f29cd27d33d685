// Exported node-path functions: parts, parsing, joining and combined file/node-path texts.
#include <orvik/ofnp.h>

#include "core/guard.hpp"
#include "core/heap_text.hpp"
#include "strings/node_path.hpp"
#include "strings/report.hpp"

using orvik::core::Guarded;
using orvik::core::SetError;
using orvik::core::SetOutOfMemory;
using orvik::fnp::Syntax;

namespace {

using Names = std::vector<std::wstring_view>;
using namespace orvik::strings;

// Opens a combined text's node path, "(:".
constexpr std::wstring_view kNodePathOpen = L"(:";

// Parses `text` into `names`, reporting a syntax error under `function`.
bool Parse(const wchar_t *function, const wchar_t *text, Names &names, Oerr_ErrorReport **err) {
    const Syntax s = text ? orvik::fnp::ParseNodePath(text, names) : Syntax::Empty;
    switch (s) {
    case Syntax::Ok:
        return true;
    case Syntax::Empty:
        SetError(err, function, kPathEmpty, nullptr, L"Null or empty node path");
        break;
    case Syntax::EmptyName:
    case Syntax::Separator:
        SetError(err, function, kPathEmptyName, nullptr, L"Empty name in node path %s", text);
        break;
    case Syntax::NameTooLong:
        SetError(err, function, kPathNameTooLong, nullptr,
                 L"Name longer than %ld characters in node path %s",
                 static_cast<long>(OFNP_NAME_MAX), text);
        break;
    }
    return false;
}

wchar_t *ToHeap(const wchar_t *function, std::wstring_view text, Oerr_ErrorReport **err) {
    wchar_t *out = orvik::core::HeapDup(text);
    if (!out) SetOutOfMemory(err, function);
    return out;
}

} // namespace

extern "C" {

ORVIK_API wchar_t *ofnp_NodePathGet(const wchar_t *nodePath, Ofnp_NodePathPart part,
                                    Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    if (err) *err = nullptr;
    static const wchar_t *const kName = L"ofnp_NodePathGet";
    return Guarded<wchar_t *>(err, kName, nullptr, [&]() -> wchar_t * {
        Names names;
        if (!Parse(kName, nodePath, names, err)) return nullptr;
        switch (part) {
        case OFNP_PART_PATH:
            return ToHeap(kName, orvik::fnp::JoinNames(names), err);
        case OFNP_PART_PARENT:
            if (names.empty()) {
                SetError(err, kName, kPathRootHasNoParent, nullptr, L"The root node has no parent");
                return nullptr;
            }
            names.pop_back();
            return ToHeap(kName, orvik::fnp::JoinNames(names), err);
        case OFNP_PART_NAME:
            return ToHeap(kName, names.empty() ? std::wstring_view() : names.back(), err);
        default:
            SetError(err, kName, kPathUnknownPart, nullptr, L"Unknown node path part %ld",
                     static_cast<long>(part));
            return nullptr;
        }
    });
}

ORVIK_API ostr_StringList *ofnp_NodePathParse(const wchar_t *nodePath, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT {
    if (err) *err = nullptr;
    static const wchar_t *const kName = L"ofnp_NodePathParse";
    return Guarded<ostr_StringList *>(err, kName, nullptr, [&]() -> ostr_StringList * {
        Names names;
        if (!Parse(kName, nodePath, names, err)) return nullptr;
        ostr_StringList *list = ostr_StringListCreate(static_cast<long>(names.size()), nullptr);
        bool complete = list != nullptr;
        for (std::size_t i = 0; complete && i < names.size(); ++i) {
            list->strings[i] = orvik::core::HeapDup(names[i]);
            complete = list->strings[i] != nullptr;
        }
        if (!complete) {
            ostr_StringListDelete(list, nullptr);
            SetOutOfMemory(err, kName);
            return nullptr;
        }
        return list;
    });
}

ORVIK_API wchar_t *ofnp_NodePathFromNames(const ostr_StringList *names, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT {
    if (err) *err = nullptr;
    static const wchar_t *const kName = L"ofnp_NodePathFromNames";
    return Guarded<wchar_t *>(err, kName, nullptr, [&]() -> wchar_t * {
        Names views;
        for (int32_t i = 0; names && i < names->count; ++i) {
            const wchar_t *n = names->strings[i];
            const Syntax s = orvik::fnp::CheckName(n ? n : L"");
            if (s == Syntax::NameTooLong) {
                SetError(err, kName, kPathNameTooLong, nullptr,
                         L"Name longer than %ld characters: %s", static_cast<long>(OFNP_NAME_MAX),
                         n);
                return nullptr;
            }
            if (s != Syntax::Ok) {
                SetError(err, kName, kPathBadName, nullptr,
                         L"Invalid name %ld in node path name list", static_cast<long>(i));
                return nullptr;
            }
            views.emplace_back(n);
        }
        return ToHeap(kName, orvik::fnp::JoinNames(views), err);
    });
}

ORVIK_API wchar_t *ofnp_NodePathJoin(const wchar_t *nodePath, const wchar_t *relative,
                                     Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    if (err) *err = nullptr;
    static const wchar_t *const kName = L"ofnp_NodePathJoin";
    return Guarded<wchar_t *>(err, kName, nullptr, [&]() -> wchar_t * {
        Names names;
        if (!Parse(kName, nodePath, names, err) || !Parse(kName, relative, names, err))
            return nullptr;
        return ToHeap(kName, orvik::fnp::JoinNames(names), err);
    });
}

ORVIK_API Omsc_Boolean ofnp_NodePathIsRoot(const wchar_t *nodePath) ORVIK_NOEXCEPT {
    try {
        Names names;
        return nodePath && orvik::fnp::ParseNodePath(nodePath, names) == Syntax::Ok && names.empty()
                   ? OMSC_TRUE
                   : OMSC_FALSE;
    } catch (...) {
        return OMSC_FALSE;
    }
}

ORVIK_API wchar_t *ofnp_FileNodePathMake(const wchar_t *fileName, const wchar_t *nodePath,
                                         Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    if (err) *err = nullptr;
    static const wchar_t *const kName = L"ofnp_FileNodePathMake";
    return Guarded<wchar_t *>(err, kName, nullptr, [&]() -> wchar_t * {
        if (!fileName || !*fileName) {
            SetError(err, kName, kPathNoFileName, nullptr, L"Null or empty file name");
            return nullptr;
        }
        if (!nodePath) return ToHeap(kName, fileName, err);
        Names names;
        if (!Parse(kName, nodePath, names, err)) return nullptr;
        std::wstring out(fileName);
        out.append(kNodePathOpen).append(orvik::fnp::JoinNames(names)).push_back(L')');
        return ToHeap(kName, out, err);
    });
}

ORVIK_API Omsc_Boolean ofnp_FileNodePathSplit(const wchar_t *text, wchar_t **fileName,
                                              wchar_t **nodePath, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT {
    if (err) *err = nullptr;
    if (fileName) *fileName = nullptr;
    if (nodePath) *nodePath = nullptr;
    static const wchar_t *const kName = L"ofnp_FileNodePathSplit";
    return Guarded<Omsc_Boolean>(err, kName, OMSC_FALSE, [&]() -> Omsc_Boolean {
        if (!text || !*text) {
            SetError(err, kName, kPathNoFileName, nullptr, L"Null or empty text");
            return OMSC_FALSE;
        }
        const std::wstring_view whole(text);
        const std::size_t open = whole.find(kNodePathOpen);
        std::wstring_view file = whole, node = OFNP_ROOT;
        if (open != std::wstring_view::npos) {
            if (whole.back() != L')') {
                SetError(err, kName, kPathUnclosed, nullptr, L"Missing ) after the node path in %s",
                         text);
                return OMSC_FALSE;
            }
            file = whole.substr(0, open);
            node = whole.substr(open + kNodePathOpen.size());
            node.remove_suffix(1);
        }
        if (file.empty()) {
            SetError(err, kName, kPathNoFileName, nullptr, L"No file name in %s", text);
            return OMSC_FALSE;
        }
        const std::wstring nodeText(node);
        Names names;
        if (!Parse(kName, nodeText.c_str(), names, err)) return OMSC_FALSE;
        wchar_t *fileOut = fileName ? ToHeap(kName, file, err) : nullptr;
        if (fileName && !fileOut) return OMSC_FALSE;
        wchar_t *nodeOut = nodePath ? ToHeap(kName, orvik::fnp::JoinNames(names), err) : nullptr;
        if (nodePath && !nodeOut) {
            omsc_HeapFree(fileOut);
            return OMSC_FALSE;
        }
        if (fileName) *fileName = fileOut;
        if (nodePath) *nodePath = nodeOut;
        return OMSC_TRUE;
    });
}

} // extern "C"
