// Objects: typed records stored as the data blocks of entries - written with the size rules
// (a smaller object keeps its block and its slack, a larger one moves), read back in host
// or file form, and deleted with their entries. Every operation runs inside the file's
// guard. Write order: the data is written before the entry that names it, so a crash never
// leaves an entry pointing at bytes that were not yet written (see docs/hfa-entries.md).
#include <chrono>
#include <cstring>
#include <vector>

#include "core/guard.hpp"
#include "hfa/designs.hpp"
#include "hfa/entry.hpp"
#include "hfa/file.hpp"
#include "mif/dictionary.hpp"
#include "mif/item_types.hpp"
#include "hfa/report.hpp"

using orvik::core::Guarded;
using orvik::core::SetError;
using namespace orvik::hfa;

namespace {

double Now() {
    return std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch())
        .count();
}

// Leaves the guard after an operation; a failed write-back fails an operation that
// succeeded and is printed after one that failed.
template <class R>
R Finish(GuardScope &guard, R result, bool ok, Oerr_ErrorReport **err, const wchar_t *fn,
         R failure) {
    Oerr_ErrorReport *late = nullptr;
    const bool released = guard.Leave(&late);
    if (!ok) {
        PrintAndDelete(late);
        return failure;
    }
    if (released) return result;
    *err = late;
    SetError(err, fn, kObjectFreeListFailed, *err, L"freeListCacheFlush failed");
    return failure;
}

// Chooses the data block of the current entry for `size` bytes. `keep` says whether the
// current block may be kept. A block that is given up is returned only after the entry
// names its successor (FreeOldBlock), so the new data can never land on the old bytes.
uint32_t DataPosition(Ohfa_File *file, long writePosition, int64_t size, bool keep,
                      Oerr_ErrorReport **err, const wchar_t *fn) {
    const Ohfa_Entry &current = file->entry.record;
    if (writePosition == 0 && current.data != 0 && keep) return current.data;
    if (size == 0) return 0;
    const uint32_t position = TakeSpace(file, size, err, L"ohfa_NextFreePos");
    if (position == 0) SetError(err, fn, kObjectNoSpace, *err, L"ohfa_NextFreePos failed");
    return position;
}

// Returns the block an entry no longer names. A failure only leaks it and is printed.
void FreeOldBlock(Ohfa_File *file, uint32_t data, int32_t size) {
    if (data == 0 || size <= 0) return;
    Oerr_ErrorReport *freeErr = nullptr;
    if (!GiveSpace(file, data, size, &freeErr, L"ohfa_FreeSpace")) {
        Oerr_ErrorReport *wrapped =
            oerr_CreateErrorReport(nullptr, kObjectOldBlockKept, OERR_KIND_PLAIN, freeErr,
                                   L"The old data block stays unused");
        PrintAndDelete(wrapped);
    }
}

// A design only this handle knows would make an entry of that type damage after a crash:
// the stored dictionary takes it before any entry names it (unless flushes are told not to
// write the dictionary).
bool StoreDictionary(Ohfa_File *file, Oerr_ErrorReport **err, const wchar_t *fn) {
    if (!file->dictionaryModified || file->readOnly || (file->optionFlags & kFlagNotFlushedOnWrite))
        return true;
    if (!WriteDictionary(file, err)) {
        SetError(err, fn, kObjectDictionaryFailed, *err, L"ohfa_DictionaryWrite failed");
        return false;
    }
    file->dictionaryModified = false;
    return true;
}

// Raw data carries no design: a type the library itself defines (a standard MIF record or a
// fixed HFA record) joins the file's dictionary like the design of an object; any other type
// must already be there (ohfa_FileDictionaryAddDesign) for the file to describe its data.
bool AddKnownDesign(Ohfa_File *file, const wchar_t *type, Oerr_ErrorReport **err) {
    if (!type || orvik::mif::FindDesign(file->dictionary, type)) return true;
    Oerr_ErrorReport *missing = nullptr;
    const Omif_Design *known = omif_StandardDesignFetch(type, &missing);
    oerr_DeleteErrorReportEx(&missing);
    if (!known) known = FixedDesign(type, &missing);
    oerr_DeleteErrorReportEx(&missing);
    return !known || ohfa_FileDictionaryAddDesign(file, known, err) != nullptr;
}

// The common body of the two writers: seek, write the entry, place and write the data
// (through `writeData`), then point the entry at it.
template <class WriteData>
bool WriteObject(Ohfa_File *file, const wchar_t *nodePath, const wchar_t *name, const wchar_t *type,
                 long writePosition, int64_t size, bool rawRule, WriteData &&writeData,
                 Oerr_ErrorReport **err, const wchar_t *fn) {
    if (nodePath) {
        const long found = SeekEntry(file, OHFA_SEEK_PATH, nodePath, err, fn);
        if (found <= 0) {
            if (rawRule && found == 0)
                SetError(err, fn, kObjectSeekFailed, nullptr, L"nodePath %s not found", nodePath);
            else
                SetError(err, fn, kObjectSeekFailed, *err, L"ohfa_EntrySeek failed");
            return false;
        }
    }
    if (ohfa_EntryWrite(file, writePosition, name, type, err) != 0) {
        SetError(err, fn, kObjectEntryWriteFailed, *err, L"ohfa_EntryWrite failed");
        return false;
    }
    const Ohfa_Entry &current = file->entry.record;
    // Objects keep a block that is large enough; raw data only a block of the same size.
    const bool keep = rawRule ? size == current.dataSize : size <= current.dataSize;
    const uint32_t position = DataPosition(file, writePosition, size, keep, err, fn);
    if (size > 0 && position == 0) return false;
    if (size > 0 && !writeData(position)) return false;
    const uint32_t oldData = writePosition == 0 && position != current.data ? current.data : 0;
    const int32_t oldSize = current.dataSize;
    Ohfa_Entry rec = current;
    rec.data = position;
    rec.dataSize = static_cast<int32_t>(size);
    rec.modTime = Now();
    if (!WriteEntry(file, file->entry.position, rec, err, fn)) {
        SetError(err, fn, kObjectEntryUpdateFailed, *err, L"ohfa_EntryWrite failed");
        return false;
    }
    file->entry.record = rec;
    FreeOldBlock(file, oldData, oldSize);
    return true;
}

// Seeks for a reader; 1 found, 0 not found, -1 failed (reported with `failMessage`).
long ReaderSeek(Ohfa_File *file, const wchar_t *name, long method, Oerr_ErrorReport **err,
                const wchar_t *fn, const wchar_t *failMessage) {
    const long r = SeekEntry(file, method, name, err, fn);
    if (r < 0) SetError(err, fn, kObjectReaderSeekFailed, *err, L"%s", failMessage);
    return r;
}

// Reads the found entry's data into a host record.
bool ReadData(Ohfa_File *file, long method, void *object, const Omif_Design *design,
              Oerr_ErrorReport **err, const wchar_t *fn) {
    const Ohfa_Entry &e = file->entry.record;
    if (!object || e.dataSize == 0) return true;
    // Method 18 reads where the stream stands: right after the entry record.
    const long position = method == 18 ? -1 : static_cast<long>(e.data);
    if (ohfa_FileHostDataRead(file, position, design, e.dataSize, object, err) == e.dataSize)
        return true;
    SetError(err, fn, kObjectDataFailed, *err, L"ohfa_FileHostDataRead failed");
    return false;
}

} // namespace

extern "C" {

ORVIK_API long ohfa_ObjectWrite(Ohfa_File *file, const wchar_t *nodePath, const wchar_t *name,
                                const wchar_t *typeName, long writePosition, const void *object,
                                const Omif_Design *design, Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    static const wchar_t *const kFn = L"ohfa_ObjectWrite";
    if (err) *err = nullptr;
    return Guarded<long>(err, kFn, -1, [&]() -> long {
        if (!CheckFile(file, kFn, err)) return -1;
        if (!design || !object) {
            SetError(err, kFn, kObjectBadArgument, nullptr, L"Invalid object or design");
            return -1;
        }
        GuardScope guard(file);
        file->flushGuard = kGuardPending;
        const long size = omif_ObjectSize(object, design, err);
        bool ok = size >= 0;
        if (!ok) SetError(err, kFn, kObjectSizeFailed, *err, L"omif_ObjectSize failed");
        // The file stays self-describing: the design goes into its dictionary.
        ok = ok && ohfa_FileDictionaryAddDesign(file, design, err) != nullptr &&
             StoreDictionary(file, err, kFn);
        ok = ok &&
             WriteObject(
                 file, nodePath, name, typeName ? typeName : design->name, writePosition, size,
                 false,
                 [&](uint32_t at) {
                     if (ohfa_FileHostDataWrite(file, at, design, size, object, err) == size)
                         return true;
                     SetError(err, kFn, kObjectDataFailed, *err, L"ohfa_FileHostDataWrite failed");
                     return false;
                 },
                 err, kFn);
        return Finish<long>(guard, 0, ok, err, kFn, -1);
    });
}

ORVIK_API long ohfa_ObjectDataWrite(Ohfa_File *file, const wchar_t *nodePath, const wchar_t *name,
                                    const wchar_t *typeName, long writePosition, long count,
                                    const void *bytes, Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    static const wchar_t *const kFn = L"ohfa_ObjectDataWrite";
    if (err) *err = nullptr;
    return Guarded<long>(err, kFn, -1, [&]() -> long {
        if (!CheckFile(file, kFn, err)) return -1;
        if (count < 0 || (count > 0 && !bytes)) {
            SetError(err, kFn, kObjectBadArgument, nullptr, L"Invalid byte count %ld", count);
            return -1;
        }
        GuardScope guard(file);
        file->flushGuard = kGuardPending;
        const bool ok =
            AddKnownDesign(file, typeName, err) && StoreDictionary(file, err, kFn) &&
            WriteObject(
                file, nodePath, name, typeName, writePosition, count, true,
                [&](uint32_t at) {
                    if (ohfa_FileMIFDataWrite(file, at, count, bytes, err) == count) return true;
                    SetError(err, kFn, kObjectDataFailed, *err, L"ohfa_FileMIFDataWrite failed");
                    return false;
                },
                err, kFn);
        return Finish<long>(guard, 0, ok, err, kFn, -1);
    });
}

ORVIK_API void *ohfa_ObjectRead(Ohfa_File *file, const wchar_t *name, long seekMethod, void *object,
                                const Omif_Design *design, Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    static const wchar_t *const kFn = L"ohfa_ObjectRead";
    if (err) *err = nullptr;
    return Guarded<void *>(err, kFn, nullptr, [&]() -> void * {
        if (!CheckFile(file, kFn, err)) return nullptr;
        GuardScope guard(file);
        const long found = ReaderSeek(file, name, seekMethod, err, kFn, L"ObjectSeek failed");
        if (found == 0) SetError(err, kFn, kObjectReadFailed, nullptr, L"Object read failure!");
        const bool ok = found > 0 && ReadData(file, seekMethod, object, design, err, kFn);
        return Finish<void *>(guard, object, ok, err, kFn, nullptr);
    });
}

ORVIK_API void *ohfa_ObjectReadIfPresent(Ohfa_File *file, const wchar_t *name, long seekMethod,
                                         void *object, const Omif_Design *design,
                                         Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    static const wchar_t *const kFn = L"ohfa_ObjectReadIfPresent";
    if (err) *err = nullptr;
    return Guarded<void *>(err, kFn, nullptr, [&]() -> void * {
        if (!CheckFile(file, kFn, err)) return nullptr;
        if (!object) {
            SetError(err, kFn, kObjectNoObject, nullptr, L"NULL omifobjectin parameter");
            return nullptr;
        }
        GuardScope guard(file);
        const long found = ReaderSeek(file, name, seekMethod, err, kFn, L"ObjectSeek failed");
        if (found == 0) return Finish<void *>(guard, nullptr, true, err, kFn, nullptr);
        const bool ok = found > 0 && ReadData(file, seekMethod, object, design, err, kFn);
        return Finish<void *>(guard, object, ok, err, kFn, nullptr);
    });
}

ORVIK_API long ohfa_ObjectArrayRead(Ohfa_File *file, const wchar_t *name, long seekMethod,
                                    const Omif_Design *design, void *destination, long capacity,
                                    Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    static const wchar_t *const kFn = L"ohfa_ObjectArrayRead";
    if (err) *err = nullptr;
    return Guarded<long>(err, kFn, -1, [&]() -> long {
        if (!CheckFile(file, kFn, err)) return -1;
        const Omif_Item *item = design ? design->items : nullptr;
        if (!item || item->next || !item->indirect || item->pointerKind != OMIF_POINTER_COUNTED ||
            item->type == OMIF_ITEM_OBJECT || item->type == OMIF_ITEM_INLINE_OBJECT ||
            item->type == OMIF_ITEM_BASEDATA || capacity < 0 || (capacity > 0 && !destination)) {
            SetError(err, kFn, kObjectNotAnArray, nullptr,
                     L"Design %s is not one counted array of plain elements (or no destination "
                     L"for %ld elements)",
                     design && design->name ? design->name : L"(null)", capacity);
            return -1;
        }
        GuardScope guard(file);
        const long found = ReaderSeek(file, name, seekMethod, err, kFn, L"ObjectSeek failed");
        if (found == 0) SetError(err, kFn, kObjectReadFailed, nullptr, L"Object read failure!");
        if (found <= 0) return Finish<long>(guard, -1, false, err, kFn, -1);
        const Ohfa_Entry e = file->entry.record;
        if (e.dataSize == 0) return Finish<long>(guard, 0, true, err, kFn, -1);
        // The stored count first: the destination must have room before anything is read.
        unsigned char words[4];
        const int64_t at = seekMethod == 18 ? ofio_Tell(file->stream, err) : int64_t{e.data};
        bool ok = e.dataSize >= 8 && at >= 0 && ReadAt(file, at, words, 4, err, kFn);
        if (!ok) {
            SetError(err, kFn, kObjectDataFailed, e.dataSize >= 8 ? *err : nullptr,
                     L"ohfa_FileHostDataRead failed");
            return Finish<long>(guard, -1, false, err, kFn, -1);
        }
        const uint32_t count = uint32_t{words[0]} | uint32_t{words[1]} << 8 |
                               uint32_t{words[2]} << 16 | uint32_t{words[3]} << 24;
        if (count > static_cast<uint64_t>(capacity)) {
            SetError(err, kFn, kObjectArrayTooLarge, nullptr,
                     L"Object %s holds %lu elements, more than the %ld the destination has room "
                     L"for",
                     name ? name : L"(current)", static_cast<unsigned long>(count), capacity);
            return Finish<long>(guard, -1, false, err, kFn, -1);
        }
        // A record that holds the caller's memory as its array, of the stored count: the
        // conversion fills it in place. The record never owns it, so it is only detached.
        std::vector<unsigned char> record(static_cast<std::size_t>(design->hostSize), 0);
        const orvik::mif::CountedPointerHost borrowed{static_cast<int32_t>(count),
                                                      count ? destination : nullptr};
        std::memcpy(record.data() + item->offset, &borrowed, sizeof borrowed);
        ok = ohfa_FileHostDataRead(file, seekMethod == 18 ? -1 : static_cast<long>(e.data), design,
                                   e.dataSize, record.data(), err) == e.dataSize;
        orvik::mif::CountedPointerHost after{};
        std::memcpy(&after, record.data() + item->offset, sizeof after);
        if (after.data && after.data != destination) omsc_HeapFree(after.data);
        if (!ok) SetError(err, kFn, kObjectDataFailed, *err, L"ohfa_FileHostDataRead failed");
        return Finish<long>(guard, static_cast<long>(count), ok, err, kFn, -1);
    });
}

ORVIK_API void *ohfa_ObjectDataReadIfPresent(Ohfa_File *file, const wchar_t *name, long seekMethod,
                                             long *count, Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    static const wchar_t *const kFn = L"ohfa_ObjectDataReadIfPresent";
    if (err) *err = nullptr;
    if (count) *count = 0;
    return Guarded<void *>(err, kFn, nullptr, [&]() -> void * {
        if (!CheckFile(file, kFn, err)) return nullptr;
        GuardScope guard(file);
        const long found = ReaderSeek(file, name, seekMethod, err, kFn, L"ObjectSeek failed");
        if (found <= 0) return Finish<void *>(guard, nullptr, found == 0, err, kFn, nullptr);
        const Ohfa_Entry &e = file->entry.record;
        if (e.dataSize <= 0 || e.data == 0)
            return Finish<void *>(guard, nullptr, true, err, kFn, nullptr);
        // The size is checked against the file before the block is allocated.
        if (int64_t{e.data} + e.dataSize > file->fileEnd) {
            SetError(err, kFn, kObjectDataFailed, nullptr, L"ohfa_FileMIFDataRead failed");
            return Finish<void *>(guard, nullptr, false, err, kFn, nullptr);
        }
        void *bytes = omsc_HeapMalloc(e.dataSize);
        if (!bytes) {
            orvik::core::SetOutOfMemory(err, kFn);
            return Finish<void *>(guard, nullptr, false, err, kFn, nullptr);
        }
        if (ohfa_FileMIFDataRead(file, e.data, e.dataSize, bytes, err) != e.dataSize) {
            omsc_HeapFree(bytes);
            SetError(err, kFn, kObjectDataFailed, *err, L"ohfa_FileMIFDataRead failed");
            return Finish<void *>(guard, nullptr, false, err, kFn, nullptr);
        }
        if (count) *count = e.dataSize;
        return Finish<void *>(guard, bytes, true, err, kFn, nullptr);
    });
}

ORVIK_API long ohfa_ObjectDelete(Ohfa_File *file, const wchar_t *name, long seekMethod,
                                 Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    static const wchar_t *const kFn = L"ohfa_ObjectDelete";
    if (err) *err = nullptr;
    return Guarded<long>(err, kFn, -1, [&]() -> long {
        if (!CheckFile(file, kFn, err)) return -1;
        GuardScope guard(file);
        const long found = ReaderSeek(file, name, seekMethod, err, kFn, L"ObjectSeek failure!");
        if (found <= 0) return Finish<long>(guard, 0, found == 0, err, kFn, -1);
        bool ok = ohfa_EntryDelete(file, err) == 0;
        if (!ok) SetError(err, kFn, kObjectDeleteFailed, *err, L"EntryDelete failure!");
        return Finish<long>(guard, 0, ok, err, kFn, -1);
    });
}

} // extern "C"
