// Exported entry-tree functions: seeking, the current entry's links and path, saved
// positions, and writing entries at the four write positions. Write order (docs/hfa-format.md):
// a new record is written whole before any link names it.
#include <chrono>
#include <cstring>
#include <new>

#include "core/guard.hpp"
#include "hfa/block_index.hpp"
#include "hfa/companion.hpp"
#include "hfa/cache.hpp"
#include "hfa/designs.hpp"
#include "hfa/entry.hpp"
#include "hfa/file.hpp"
#include "hfa/link_journal.hpp"
#include "strings/node_path.hpp"
#include "core/utf8.hpp"
#include "hfa/report.hpp"

using orvik::core::Guarded;
using orvik::core::SetError;
using namespace orvik::hfa;

namespace orvik::hfa {

// Entry records kept in memory at most (about 180 bytes each).
constexpr std::size_t kMaxCachedRecords = std::size_t{1} << 18;

bool ReadEntry(Ohfa_File *file, uint32_t position, Ohfa_Entry &entry, Oerr_ErrorReport **err,
               const wchar_t *fn) {
    auto &records = file->entry.records;
    if (const Ohfa_Entry *hit = records.Find(position)) {
        entry = *hit;
        return true;
    }
    unsigned char bytes[kEntrySize];
    if (position < kTagSize || !ReadAt(file, position, bytes, kEntrySize, err, fn) ||
        !RecordFromBytes(kEntryDesign, bytes, kEntrySize, &entry, err, fn)) {
        SetError(err, fn, kEntryReadFailed, err ? *err : nullptr,
                 L"Cannot read entry at %lu of file %s", static_cast<unsigned long>(position),
                 file->name.c_str());
        return false;
    }
    entry.name[sizeof entry.name - 1] = 0;
    entry.type[sizeof entry.type - 1] = 0;
    records.Put(position, entry, kMaxCachedRecords);
    return true;
}

bool WriteEntry(Ohfa_File *file, uint32_t position, const Ohfa_Entry &entry, Oerr_ErrorReport **err,
                const wchar_t *fn) {
    unsigned char bytes[kEntrySize];
    if (RecordToBytes(kEntryDesign, &entry, bytes, kEntrySize, position, err, fn) &&
        WriteAt(file, position, bytes, kEntrySize, err, fn, position)) {
        // The record is on disk: from here the call succeeds, and a cache that cannot take
        // the record goes without it (callers undo their work on failure, and undoing a
        // write that happened would leave the file naming freed space).
        try {
            // As a reader would see it: the text items end inside their width.
            Ohfa_Entry &kept = file->entry.records.Put(position, entry, kMaxCachedRecords);
            kept.name[sizeof kept.name - 1] = 0;
            kept.type[sizeof kept.type - 1] = 0;
        } catch (const std::bad_alloc &) {
            file->entry.records.Overwritten(position, kEntrySize, -1);
        }
        return true;
    }
    SetError(err, fn, kEntryWriteFailed, *err, L"WriteCurrentEntry fail");
    return false;
}

bool CollectSubtree(Ohfa_File *file, uint32_t first,
                    std::vector<std::pair<uint32_t, Ohfa_Entry>> &out, Oerr_ErrorReport **err,
                    const wchar_t *fn) {
    std::vector<uint32_t> todo;
    if (first) todo.push_back(first);
    const int64_t bound = file->fileEnd / kEntrySize + 1;
    while (!todo.empty()) {
        if (static_cast<int64_t>(out.size()) > bound) {
            SetError(err, fn, kEntryNoChild, nullptr, L"Couldn't find child");
            return false;
        }
        const uint32_t at = todo.back();
        todo.pop_back();
        Ohfa_Entry e{};
        if (!ReadEntry(file, at, e, err, fn)) {
            SetError(err, fn, kEntryNoChild, *err, L"Couldn't find child");
            return false;
        }
        out.emplace_back(at, e);
        if (e.next) todo.push_back(e.next);
        if (e.child) todo.push_back(e.child);
    }
    return true;
}

} // namespace orvik::hfa

namespace {

constexpr int kMaxName = 63;

double Now() {
    return std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch())
        .count();
}

std::string NameOf(const Ohfa_Entry &e) {
    return std::string(e.name, strnlen(e.name, sizeof e.name));
}

// Copies a wide text into a fixed 8-bit item; false when it does not fit.
bool SetText(char *dst, std::size_t width, const wchar_t *text) {
    const std::string utf8 = orvik::text::WideToUtf8Lossy(text);
    if (utf8.size() >= width) return false;
    std::memset(dst, 0, width);
    std::memcpy(dst, utf8.data(), utf8.size());
    return true;
}

bool CheckEntryFile(Ohfa_File *file, const wchar_t *fn, Oerr_ErrorReport **err) {
    if (!CheckFile(file, fn, err)) return false;
    if (!file->entry.valid && SeekEntry(file, OHFA_SEEK_ROOT, nullptr, err, fn) < 0) return false;
    return true;
}

// Makes `position` with `record` the current entry below or beside the old one.
void Become(Ohfa_File *file, uint32_t position, const Ohfa_Entry &record, bool child) {
    EntryState &s = file->entry;
    const std::string name(record.name, strnlen(record.name, sizeof record.name));
    if (child)
        s.path.push_back(name);
    else if (!s.path.empty())
        s.path.back() = name;
    s.position = position;
    s.record = record;
}

// Writes a new entry after `at` (a sibling record) and links it in: the new record first,
// then the predecessor's next, then the successor's prev.
bool InsertAfter(Ohfa_File *file, uint32_t at, Ohfa_Entry &pred, Ohfa_Entry &fresh,
                 Oerr_ErrorReport **err, const wchar_t *fn, uint32_t &position) {
    position = TakeSpace(file, kEntrySize, err, L"ohfa_NextFreePos");
    if (position == 0) {
        SetError(err, fn, kEntryNoSpace, *err, L"ohfa_NextFreePos failed");
        return false;
    }
    fresh.prev = at;
    fresh.next = pred.next;
    fresh.parent = pred.parent;
    if (!WriteEntry(file, position, fresh, err, fn)) return false;
    const uint32_t successor = pred.next;
    Ohfa_Entry next{};
    if (successor && !ReadEntry(file, successor, next, err, fn)) return false;
    // Two links change: the pair is journalled first.
    if (successor &&
        !JournalBegin(file, {{at, kNextField, position}, {successor, kPrevField, position}}, err,
                      fn))
        return false;
    pred.next = position;
    if (!WriteEntry(file, at, pred, err, fn)) return false;
    if (successor) {
        next.prev = position;
        if (!WriteEntry(file, successor, next, err, fn) || !JournalEnd(file, err, fn)) return false;
    }
    return true;
}

long EntryWrite(Ohfa_File *file, long where, const wchar_t *name, const wchar_t *type,
                Oerr_ErrorReport **err, const wchar_t *fn) {
    Ohfa_Entry fresh{};
    if (name && !SetText(fresh.name, sizeof fresh.name, name)) {
        SetError(err, fn, kEntryNameTooLong, nullptr,
                 L"The length of OHFA entry name '%s' exceeds the %d character maximum", name,
                 kMaxName);
        return -1;
    }
    if (type && !SetText(fresh.type, sizeof fresh.type, type)) {
        SetError(err, fn, kEntryTypeTooLong, nullptr, L"Type name '%s' is too long", type);
        return -1;
    }
    if (!CheckWritable(file, fn, err)) return -1;
    if (!CheckEntryFile(file, fn, err)) return -1;
    EntryState &s = file->entry;
    const bool batch = (file->optionFlags & kFlagBatch) != 0;
    fresh.modTime = Now();
    switch (where) {
    case 0: {
        if (batch && name && s.position == file->batchStartNode) {
            SetError(err, fn, kEntryBatchRename, nullptr,
                     L"Cannot change the name of the noCache start node in batch mode");
            return -1;
        }
        Ohfa_Entry rec = s.record;
        if (name) std::memcpy(rec.name, fresh.name, sizeof rec.name);
        if (type) std::memcpy(rec.type, fresh.type, sizeof rec.type);
        rec.modTime = fresh.modTime;
        if (!WriteEntry(file, s.position, rec, err, fn)) return -1;
        if (name) IndexRename(s, rec.parent, s.position, NameOf(s.record), NameOf(rec));
        Become(file, s.position, rec, false);
        return 0;
    }
    case 1:
    case 2: {
        if (batch && where == 1) {
            SetError(err, fn, kEntryBatchInsert, nullptr,
                     L"Cannot write before an existing node in batch mode");
            return -1;
        }
        if (s.record.parent == 0) {
            SetError(err, fn, kEntryRootSibling, nullptr, L"The root entry cannot have siblings");
            return -1;
        }
        uint32_t at = s.position;
        Ohfa_Entry pred = s.record;
        if (where == 1) {
            // Before the current entry: after its predecessor, or as the parent's first child.
            if (pred.prev != 0) {
                at = pred.prev;
                if (!ReadEntry(file, at, pred, err, fn)) return -1;
            } else {
                Ohfa_Entry parent{};
                if (!ReadEntry(file, s.record.parent, parent, err, fn)) return -1;
                const uint32_t position = TakeSpace(file, kEntrySize, err, L"ohfa_NextFreePos");
                if (position == 0) {
                    SetError(err, fn, kEntryNoSpace, *err, L"ohfa_NextFreePos failed");
                    return -1;
                }
                fresh.parent = s.record.parent;
                fresh.next = s.position;
                if (!WriteEntry(file, position, fresh, err, fn)) return -1;
                if (!JournalBegin(file,
                                  {{s.record.parent, kChildField, position},
                                   {s.position, kPrevField, position}},
                                  err, fn))
                    return -1;
                parent.child = position;
                if (!WriteEntry(file, s.record.parent, parent, err, fn)) return -1;
                Ohfa_Entry old = s.record;
                old.prev = position;
                if (!WriteEntry(file, s.position, old, err, fn) || !JournalEnd(file, err, fn))
                    return -1;
                IndexInsert(s, fresh.parent, position, NameOf(fresh), 0);
                Become(file, position, fresh, false);
                return 0;
            }
        }
        uint32_t position = 0;
        if (!InsertAfter(file, at, pred, fresh, err, fn, position)) return -1;
        IndexInsert(s, fresh.parent, position, NameOf(fresh), at);
        Become(file, position, fresh, false);
        return 0;
    }
    case 3: {
        if (batch && s.record.child != 0) {
            SetError(err, fn, kEntryBatchOffspring, nullptr,
                     L"Cannot write additional offspring to a node in batch mode");
            return -1;
        }
        if (s.record.child != 0) {
            // The last child comes from the sibling name index: no walk of the list.
            if (SeekEntry(file, OHFA_SEEK_LAST_CHILD, nullptr, err, fn) <= 0) {
                SetError(err, fn, kMoveNoLast, err && *err ? *err : nullptr, L"Couldn't find last");
                return -1;
            }
            Ohfa_Entry pred = s.record;
            const uint32_t at = s.position;
            uint32_t position = 0;
            if (!InsertAfter(file, at, pred, fresh, err, fn, position)) return -1;
            IndexInsert(s, fresh.parent, position, NameOf(fresh), at);
            Become(file, position, fresh, false);
            return 0;
        }
        const uint32_t position = TakeSpace(file, kEntrySize, err, L"ohfa_NextFreePos");
        if (position == 0) {
            SetError(err, fn, kEntryNoSpace, *err, L"ohfa_NextFreePos failed");
            return -1;
        }
        fresh.parent = s.position;
        if (!WriteEntry(file, position, fresh, err, fn)) return -1;
        Ohfa_Entry parent = s.record;
        parent.child = position;
        if (!WriteEntry(file, s.position, parent, err, fn)) return -1;
        s.record = parent;
        IndexInsert(s, fresh.parent, position, NameOf(fresh), 0);
        Become(file, position, fresh, true);
        return 0;
    }
    default:
        SetError(err, fn, kEntryBadPosition, nullptr,
                 batch ? L"Invalid write position for batch write mode"
                       : L"Invalid write position %ld",
                 where);
        return -1;
    }
}

// Takes the record `rec` out of its sibling list: the predecessor's next (or the parent's
// child) first, then the successor's back link.
bool Unlink(Ohfa_File *file, const Ohfa_Entry &rec, Oerr_ErrorReport **err, const wchar_t *fn) {
    Ohfa_Entry link{}, next{};
    const uint32_t holder = rec.prev ? rec.prev : rec.parent;
    if (!ReadEntry(file, holder, link, err, fn)) return false;
    if (rec.next && !ReadEntry(file, rec.next, next, err, fn)) return false;
    // With a follower two links change: the pair is journalled first.
    if (rec.next && !JournalBegin(file,
                                  {{holder, rec.prev ? kNextField : kChildField, rec.next},
                                   {rec.next, kPrevField, rec.prev}},
                                  err, fn))
        return false;
    (rec.prev ? link.next : link.child) = rec.next;
    if (!WriteEntry(file, holder, link, err, fn)) return false;
    if (rec.next == 0) return true;
    next.prev = rec.prev;
    return WriteEntry(file, rec.next, next, err, fn) && JournalEnd(file, err, fn);
}

// Moves the current entry (with its subtree) to be the last child of the node `toPath`.
// Unlinked first, then linked in: a crash in between leaks the subtree, never makes it
// reachable twice. The entry table is dropped and filled again as entries are reached.
long EntryMove(Ohfa_File *file, const wchar_t *toPath, Oerr_ErrorReport **err, const wchar_t *fn) {
    if (!CheckWritable(file, fn, err) || !CheckEntryFile(file, fn, err)) return -1;
    EntryState &s = file->entry;
    const uint32_t at = s.position;
    Ohfa_Entry rec = s.record;
    const std::string name(rec.name, strnlen(rec.name, sizeof rec.name));
    if (!toPath || rec.parent == 0) {
        SetError(err, fn, kMoveBadPath, nullptr, L"Invalid 'move to' path");
        return -1;
    }
    // Only the current entry is put back on a refusal; the indexes stay valid (nothing written).
    const bool keptValid = s.valid;
    const Ohfa_Entry keptRecord = s.record;
    const std::vector<std::string> keptPath = s.path;
    auto restore = [&] {
        s.valid = keptValid;
        s.position = at;
        s.record = keptRecord;
        s.path = keptPath;
    };
    const long found = SeekEntry(file, OHFA_SEEK_PATH, toPath, err, fn);
    if (found <= 0) {
        restore();
        if (found == 0)
            SetError(err, fn, kMoveNotFound, nullptr, L"%s|Node not found", toPath);
        else
            SetError(err, fn, kMoveBadPath, *err, L"Invalid 'move to' path");
        return -1;
    }
    const uint32_t target = s.position;
    // Not into itself or its own subtree.
    for (uint32_t up = target, steps = 0; up != 0; ++steps) {
        Ohfa_Entry e{};
        if (up == at || steps > file->fileEnd / kEntrySize || !ReadEntry(file, up, e, err, fn)) {
            restore();
            SetError(err, fn, kMoveBadPath, err && *err ? *err : nullptr,
                     L"Invalid 'move to' path");
            return -1;
        }
        up = e.parent;
    }
    const std::wstring wideName = orvik::text::Utf8ToWideLossy(name);
    if (SeekEntry(file, OHFA_SEEK_CHILD_NAMED, wideName.c_str(), err, fn) != 0) {
        restore();
        SetError(
            err, fn, kMoveExists, nullptr, L"%s|Node already exists for file %s",
            ((std::wstring(toPath) == L"/" ? L"" : std::wstring(toPath)) + L"/" + wideName).c_str(),
            file->name.c_str());
        return -1;
    }
    if (!Unlink(file, rec, err, fn)) {
        restore();
        SetError(err, fn, kMoveWriteFailed, *err, L"ohfa_WriteCurrentEntry failed");
        return -1;
    }
    IndexRemove(s, rec.parent, at, name, rec.prev);
    // Link in as the target's last child: the moved record first, then the link to it.
    Ohfa_Entry parent{};
    if (!ReadEntry(file, target, parent, err, fn)) return -1;
    uint32_t last = parent.child;
    Ohfa_Entry lastRec{};
    for (int64_t steps = 0; last != 0; ++steps) {
        if (steps > file->fileEnd / kEntrySize || !ReadEntry(file, last, lastRec, err, fn)) {
            SetError(err, fn, kMoveNoLast, err && *err ? *err : nullptr, L"Couldn't find last");
            return -1;
        }
        if (lastRec.next == 0) break;
        last = lastRec.next;
    }
    rec.parent = target;
    rec.prev = last;
    rec.next = 0;
    if (!WriteEntry(file, at, rec, err, fn)) return -1;
    if (last) {
        lastRec.next = at;
        if (!WriteEntry(file, last, lastRec, err, fn)) return -1;
    } else {
        parent.child = at;
        if (!WriteEntry(file, target, parent, err, fn)) return -1;
    }
    IndexInsert(s, target, at, name, last);
    // The moved entry and its subtree keep their positions; only the moved one's parent and
    // path change, and the seek below records them.
    return SeekEntry(file, OHFA_SEEK_AT_FILE_POSITION, std::to_wstring(at).c_str(), err, fn) > 0
               ? 0
               : -1;
}

// Deletes the current entry with everything below it. Links are rewritten first, the space
// of the records and their data returned after (rule 6 of the write order). The previous
// sibling becomes current, else the next one, else the parent.
long EntryDelete(Ohfa_File *file, Oerr_ErrorReport **err, const wchar_t *fn) {
    if (!file->caching) {
        SetError(err, fn, kEntryDeleteUncached, nullptr,
                 L"Deletion not allowed while cache is not in use");
        return -1;
    }
    if (!CheckWritable(file, fn, err)) return -1;
    if (!CheckEntryFile(file, fn, err)) return -1;
    EntryState &s = file->entry;
    const uint32_t at = s.position;
    const Ohfa_Entry rec = s.record;
    if (rec.parent == 0) {
        SetError(err, fn, kEntryDeleteRoot, nullptr, L"The root entry cannot be deleted");
        return -1;
    }
    std::vector<std::pair<uint32_t, Ohfa_Entry>> gone;
    if (!CollectSubtree(file, rec.child, gone, err, fn)) return -1;
    gone.emplace_back(at, rec);
    // Block caches in the subtree own more than their data: their index and blocks go too.
    std::vector<std::pair<uint32_t, int64_t>> owned;
    for (const auto &[position, e] : gone) {
        if (e.data != 0 && std::strncmp(e.type, "Ohfa_BlockIndex", sizeof e.type) == 0) {
            BlockIndex index;
            std::wstring problem;
            Oerr_ErrorReport *loadErr = nullptr;
            if (!LoadBlockIndex(file, e.data, e.dataSize, -1, index, problem, &loadErr, fn)) {
                PrintAndDelete(loadErr); // a damaged index: its blocks leak, the delete goes on
                continue;
            }
            for (const BlockSlot &slot : index.slots)
                if (slot.at != 0)
                    owned.emplace_back(static_cast<uint32_t>(slot.at), int64_t{slot.size});
            continue;
        }
        if (std::strncmp(e.type, kCacheNodeType, sizeof e.type) != 0 || e.dataSize != 16 ||
            e.data == 0)
            continue;
        Oerr_ErrorReport *loadErr = nullptr;
        if (!CacheSpace(file, e.data, owned, &loadErr, fn))
            PrintAndDelete(loadErr); // a damaged store: its space leaks, the delete goes on
    }
    // Companion data files of the subtree go once nothing names them.
    std::vector<std::wstring> companions;
    for (const auto &[position, e] : gone) {
        CompanionRecord companion;
        unsigned char raw[kCompanionRecordSize];
        Oerr_ErrorReport *readErr = nullptr;
        if (std::strncmp(e.type, "Ohfa_Companion", sizeof e.type) != 0 ||
            e.dataSize != static_cast<int32_t>(kCompanionRecordSize))
            continue;
        if (ReadAt(file, e.data, raw, kCompanionRecordSize, &readErr, fn) &&
            CompanionFromBytes(raw, kCompanionRecordSize, companion) &&
            PlainCompanionName(companion))
            companions.push_back(CompanionPath(file, companion.fileName));
        PrintAndDelete(readErr);
    }
    if (!Unlink(file, rec, err, fn)) {
        SetError(err, fn, kEntryDeleteFailed, *err, L"Delete failed");
        return -1;
    }
    if (!companions.empty()) {
        // The unlink reaches the file before the companions go: a crash leaves at worst a
        // companion file that nothing names.
        Oerr_ErrorReport *late = nullptr;
        if (ofio_Flush(file->stream, &late) != 0) {
            PrintAndDelete(late);
            companions.clear();
        }
        for (const std::wstring &path : companions)
            if (ofio_FileExists(path.c_str(), nullptr) && ofio_FileRemove(path.c_str(), &late) != 0)
                PrintAndDelete(late); // only leaked space outside the file
    }
    IndexRemove(s, rec.parent, at, NameOf(rec), rec.prev);
    for (const auto &[position, e] : gone) {
        IndexForgetParent(s, position);
        Oerr_ErrorReport *freeErr = nullptr;
        if (!GiveSpace(file, position, kEntrySize, &freeErr, L"ohfa_FreeSpace") ||
            (e.data && e.dataSize > 0 &&
             !GiveSpace(file, e.data, e.dataSize, &freeErr, L"ohfa_FreeSpace")))
            PrintAndDelete(freeErr); // the space leaks; the tree is already consistent
    }
    for (const auto &[position, size] : owned) {
        Oerr_ErrorReport *freeErr = nullptr;
        if (!GiveSpace(file, position, size, &freeErr, L"ohfa_FreeSpace")) PrintAndDelete(freeErr);
    }
    // The new current entry.
    const uint32_t target = rec.prev ? rec.prev : rec.next ? rec.next : rec.parent;
    Ohfa_Entry now{};
    if (!ReadEntry(file, target, now, err, fn)) return -1;
    if (target == rec.parent) {
        if (!s.path.empty()) s.path.pop_back();
    } else if (!s.path.empty()) {
        s.path.back() = std::string(now.name, strnlen(now.name, sizeof now.name));
    }
    s.position = target;
    s.record = now;
    return 0;
}

} // namespace

extern "C" {

ORVIK_API long ohfa_EntryMove(Ohfa_File *file, const wchar_t *toPath, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT {
    static const wchar_t *const kFn = L"ohfa_EntryMove";
    if (err) *err = nullptr;
    return Guarded<long>(err, kFn, -1, [&]() -> long {
        if (!CheckFile(file, kFn, err)) return -1;
        GuardScope guard(file);
        if (EntryMove(file, toPath, err, kFn) < 0) return -1;
        file->flushGuard = kGuardPending;
        if (guard.Leave(err)) return 0;
        SetError(err, kFn, kEntryFreeListFailed, *err, L"freeListCacheFlush failed");
        return -1;
    });
}

ORVIK_API long ohfa_EntryDelete(Ohfa_File *file, Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    static const wchar_t *const kFn = L"ohfa_EntryDelete";
    if (err) *err = nullptr;
    return Guarded<long>(err, kFn, -1, [&]() -> long {
        if (!CheckFile(file, kFn, err)) return -1;
        GuardScope guard(file);
        if (EntryDelete(file, err, kFn) < 0) return -1;
        file->flushGuard = kGuardPending;
        if (guard.Leave(err)) return 0;
        SetError(err, kFn, kEntryFreeListFailed, *err, L"freeListCacheFlush failed");
        return -1;
    });
}

ORVIK_API long ohfa_EntrySeek(Ohfa_File *file, long method, const wchar_t *name,
                              Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    static const wchar_t *const kFn = L"ohfa_EntrySeek";
    if (err) *err = nullptr;
    return Guarded<long>(err, kFn, 0, [&]() -> long {
        if (!CheckFile(file, kFn, err)) return 0;
        const long r = SeekEntry(file, method, name, err, kFn);
        return r > 0 ? 1 : 0;
    });
}

ORVIK_API long ohfa_EntryWrite(Ohfa_File *file, long writePosition, const wchar_t *name,
                               const wchar_t *type, Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    static const wchar_t *const kFn = L"ohfa_EntryWrite";
    if (err) *err = nullptr;
    return Guarded<long>(err, kFn, -1, [&]() -> long {
        if (!CheckFile(file, kFn, err)) return -1;
        GuardScope guard(file);
        if (EntryWrite(file, writePosition, name, type, err, kFn) < 0) return -1;
        // Written: the free-list write-back runs when the outermost guard is left.
        file->flushGuard = kGuardPending;
        if (guard.Leave(err)) return 0;
        SetError(err, kFn, kEntryFreeListFailed, *err, L"freeListCacheFlush failed");
        return -1;
    });
}

ORVIK_API Omsc_Boolean ohfa_EntryCurrentHasNext(const Ohfa_File *file, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT {
    if (err) *err = nullptr;
    return file && file->entry.valid && file->entry.record.next ? OMSC_TRUE : OMSC_FALSE;
}

ORVIK_API Omsc_Boolean ohfa_EntryCurrentHasPrev(const Ohfa_File *file, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT {
    if (err) *err = nullptr;
    return file && file->entry.valid && file->entry.record.prev ? OMSC_TRUE : OMSC_FALSE;
}

ORVIK_API Omsc_Boolean ohfa_EntryCurrentHasChild(const Ohfa_File *file, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT {
    if (err) *err = nullptr;
    return file && file->entry.valid && file->entry.record.child ? OMSC_TRUE : OMSC_FALSE;
}

ORVIK_API wchar_t *ohfa_CurrentEntryPath(Ohfa_File *file, Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    static const wchar_t *const kFn = L"ohfa_CurrentEntryPath";
    if (err) *err = nullptr;
    return Guarded<wchar_t *>(err, kFn, nullptr, [&]() -> wchar_t * {
        if (!CheckEntryFile(file, kFn, err)) return nullptr;
        std::wstring path;
        for (const std::string &n : file->entry.path)
            path += L"/" + orvik::text::Utf8ToWideLossy(n);
        if (path.empty()) path = L"/";
        auto *out = static_cast<wchar_t *>(
            omsc_HeapMalloc(static_cast<int32_t>((path.size() + 1) * sizeof(wchar_t))));
        if (!out) {
            orvik::core::SetOutOfMemory(err, kFn);
            return nullptr;
        }
        std::wmemcpy(out, path.c_str(), path.size() + 1);
        return out;
    });
}

ORVIK_API long ohfa_EntryCurrentGet(Ohfa_File *file, Ohfa_Entry *entry, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT {
    static const wchar_t *const kFn = L"ohfa_EntryCurrentGet";
    if (err) *err = nullptr;
    return Guarded<long>(err, kFn, 0, [&]() -> long {
        if (!CheckEntryFile(file, kFn, err)) return 0;
        if (entry) *entry = file->entry.record;
        return static_cast<long>(file->entry.position);
    });
}

} // extern "C"
