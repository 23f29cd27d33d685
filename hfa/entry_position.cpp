// Saving and restoring the current entry (positions and raw file positions), peeking at the
// entry a seek would reach, and listing the entries below a node.
#include <memory>
#include <cwchar>

#include "core/guard.hpp"
#include "hfa/entry.hpp"
#include "hfa/file.hpp"
#include "core/utf8.hpp"
#include "hfa/report.hpp"

using orvik::core::Guarded;
using orvik::core::SetError;
using namespace orvik::hfa;

// A caller-owned snapshot of the current entry: its file position and node path.
struct Ohfa_EntryPosition_ {
    uint32_t position;
    wchar_t *path; // library heap
};

namespace orvik::hfa {

std::wstring CurrentPath(const EntryState &s) {
    std::wstring path;
    for (const std::string &n : s.path) path += L"/" + orvik::text::Utf8ToWideLossy(n);
    return path.empty() ? L"/" : path;
}

bool WalkBelow(Ohfa_File *file, const wchar_t *startNode, bool withStart,
               const std::function<bool()> &visit, Oerr_ErrorReport **err, const wchar_t *fn) {
    const wchar_t *start = startNode ? startNode : L"/";
    if (SeekEntry(file, OHFA_SEEK_PATH, start, err, fn) <= 0) {
        SetError(err, fn, kListNoStart, *err, L"Could not find starting node \"%s\"", start);
        return false;
    }
    if (withStart && !visit()) return false;
    // Preorder below the start node, bounded like every walk of the tree.
    const std::size_t depth = file->entry.path.size();
    const int64_t bound = file->fileEnd / kEntrySize + 1;
    long r = SeekEntry(file, OHFA_SEEK_CHILD, nullptr, err, fn);
    for (int64_t steps = 0; r > 0 && steps <= bound; ++steps) {
        if (!visit()) return false;
        r = SeekEntry(file, OHFA_SEEK_CHILD, nullptr, err, fn);
        while (r == 0) {
            r = SeekEntry(file, OHFA_SEEK_NEXT, nullptr, err, fn);
            if (r != 0 || file->entry.path.size() <= depth + 1) break;
            r = SeekEntry(file, OHFA_SEEK_PARENT, nullptr, err, fn);
            if (r > 0)
                r = 0;
            else
                break;
        }
    }
    if (r > 0)
        SetError(err, fn, kListEndless, nullptr, L"The entry tree below %s does not end", start);
    return r == 0;
}

} // namespace orvik::hfa

namespace {

wchar_t *HeapCopy(const std::wstring &text) {
    auto *out = static_cast<wchar_t *>(
        omsc_HeapMalloc(static_cast<int32_t>((text.size() + 1) * sizeof(wchar_t))));
    if (out) std::wmemcpy(out, text.c_str(), text.size() + 1);
    return out;
}

// Makes sure there is a current entry (the root when none was reached yet).
bool HaveCurrent(Ohfa_File *file, Oerr_ErrorReport **err, const wchar_t *fn) {
    return file->entry.valid || SeekEntry(file, OHFA_SEEK_ROOT, nullptr, err, fn) > 0;
}

} // namespace

extern "C" {

ORVIK_API Ohfa_EntryPosition *ohfa_EntryPositionGet(Ohfa_File *file, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT {
    static const wchar_t *const kFn = L"ohfa_EntryPositionGet";
    if (err) *err = nullptr;
    return Guarded<Ohfa_EntryPosition *>(err, kFn, nullptr, [&]() -> Ohfa_EntryPosition * {
        if (!file) {
            SetError(err, kFn, kPositionNoFile, nullptr, L"Null file parameter");
            return nullptr;
        }
        if (!HaveCurrent(file, err, kFn)) return nullptr;
        const std::wstring current = CurrentPath(file->entry); // may throw: nothing held yet
        auto *p = static_cast<Ohfa_EntryPosition *>(omsc_HeapMalloc(sizeof(Ohfa_EntryPosition)));
        wchar_t *path = HeapCopy(current);
        if (!p || !path) {
            omsc_HeapFree(p);
            omsc_HeapFree(path);
            orvik::core::SetOutOfMemory(err, kFn);
            return nullptr;
        }
        p->position = file->entry.position;
        p->path = path;
        return p;
    });
}

ORVIK_API long ohfa_EntryPositionSet(Ohfa_File *file, const Ohfa_EntryPosition *position,
                                     Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    static const wchar_t *const kFn = L"ohfa_EntryPositionSet";
    if (err) *err = nullptr;
    return Guarded<long>(err, kFn, -1, [&]() -> long {
        if (!file) {
            SetError(err, kFn, kPositionNoFile, nullptr, L"Null file parameter");
            return -1;
        }
        if (!position || !position->path) {
            SetError(err, kFn, kPositionNoPosition, nullptr, L"Null position parameter");
            return -1;
        }
        // By path, so that a position survives entries moving around it.
        const long r = SeekEntry(file, OHFA_SEEK_PATH, position->path, err, kFn);
        if (r < 0) {
            SetError(err, kFn, kPositionNotFound, *err, L"Cannot find entry position");
            return -1;
        }
        if (r == 0) {
            SetError(err, kFn, kPositionNoEntry, nullptr, L"Couldn't find entry %s",
                     position->path);
            return -1;
        }
        return 0;
    });
}

ORVIK_API void ohfa_EntryPositionFree(Ohfa_EntryPosition *position) ORVIK_NOEXCEPT {
    if (!position) return;
    omsc_HeapFree(position->path);
    omsc_HeapFree(position);
}

ORVIK_API uint32_t ohfa_EntryGetCurrentPosition(Ohfa_File *file, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT {
    static const wchar_t *const kFn = L"ohfa_EntryGetCurrentPosition";
    if (err) *err = nullptr;
    return Guarded<uint32_t>(err, kFn, 0, [&]() -> uint32_t {
        if (!CheckFile(file, kFn, err) || !HaveCurrent(file, err, kFn)) return 0;
        return file->entry.position;
    });
}

ORVIK_API long ohfa_EntrySetCurrentPosition(Ohfa_File *file, uint32_t position,
                                            Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    static const wchar_t *const kFn = L"ohfa_EntrySetCurrentPosition";
    if (err) *err = nullptr;
    return Guarded<long>(err, kFn, -1, [&]() -> long {
        if (!CheckFile(file, kFn, err)) return -1;
        return SeekEntry(file, OHFA_SEEK_AT_FILE_POSITION, std::to_wstring(position).c_str(), err,
                         kFn) > 0
                   ? 0
                   : -1;
    });
}

ORVIK_API long ohfa_EntryPeek(Ohfa_File *file, long method, const wchar_t *name, Ohfa_Entry *entry,
                              Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    static const wchar_t *const kFn = L"ohfa_EntryPeek";
    if (err) *err = nullptr;
    return Guarded<long>(err, kFn, -1, [&]() -> long {
        if (!CheckFile(file, kFn, err)) return -1;
        Ohfa_EntryPosition *saved = ohfa_EntryPositionGet(file, err);
        if (!saved) {
            SetError(err, kFn, kPeekPositionFailed, *err, L"ohfa_EntryPositionGet failed");
            return -1;
        }
        // The position is restored and freed on every way out, a throw included.
        auto restore = [&] {
            Oerr_ErrorReport *restoreErr = nullptr;
            if (ohfa_EntryPositionSet(file, saved, &restoreErr) != 0) PrintAndDelete(restoreErr);
            ohfa_EntryPositionFree(saved);
        };
        long found = 0;
        try {
            found = SeekEntry(file, method, name, err, kFn);
        } catch (...) {
            restore();
            throw;
        }
        if (found > 0 && entry) *entry = file->entry.record;
        restore();
        return found > 0 ? 1 : found;
    });
}

ORVIK_API ostr_StringList *ohfa_ObjectList(Ohfa_File *file, const wchar_t *startNode,
                                           Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    static const wchar_t *const kFn = L"ohfa_ObjectList";
    if (err) *err = nullptr;
    return Guarded<ostr_StringList *>(err, kFn, nullptr, [&]() -> ostr_StringList * {
        if (!CheckFile(file, kFn, err)) return nullptr;
        // Freed on every way out but success, a throw included.
        std::unique_ptr<ostr_StringList, void (*)(ostr_StringList *)> list(
            ostr_StringListCreate(0, err),
            [](ostr_StringList *l) { ostr_StringListDelete(l, nullptr); });
        if (!list) return nullptr;
        const bool ok = WalkBelow(
            file, startNode, false,
            [&] {
                return ostr_StringListAppend(list.get(), CurrentPath(file->entry).c_str(), err) &&
                       !*err;
            },
            err, kFn);
        return ok ? list.release() : nullptr;
    });
}

} // extern "C"
