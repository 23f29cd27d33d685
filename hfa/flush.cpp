// Flushing an open HFA file: the flush guard, the dictionary's placement, the header
// rewrite and the deferred write-back of the free-list cache. Write order: docs/hfa-format.md.
#include <string>

#include "core/guard.hpp"
#include "hfa/file.hpp"
#include "mif/codec.hpp"
#include "hfa/report.hpp"

using orvik::core::Guarded;
using orvik::core::SetError;

namespace orvik::hfa {

namespace {

constexpr const wchar_t *kDictWriteFn = L"ohfa_DictionaryWrite";

// What the guard's release does after an operation: the growth of the file is written. The
// free-list cache is written back by a flush (ohfa_FileFlush, the last close): until then the
// disk names no free space at all (rule 1 of free_list.hpp), so a crash only leaks it. The
// stream itself is flushed by a flush too: until then its buffer holds an unbroken run of the
// latest writes, in order, so a crash leaves the file as some earlier point of the write
// order left it.
bool ReleasePending(Ohfa_File *file, Oerr_ErrorReport **err) {
    return SettleEnd(file, err, L"ohfa_NextFreePos");
}

} // namespace

GuardScope::GuardScope(Ohfa_File *file) : m_file(file), m_outermost(false) {
    if (file->flushGuard > 0xFFFFFFFEu) {
        // Only a damaged record gets here; write back what is pending and start afresh.
        Oerr_ErrorReport *e = nullptr;
        if (!ReleasePending(file, &e)) PrintAndDelete(e);
        file->flushGuard = kGuardInside;
        m_outermost = true;
    } else if (file->flushGuard == kGuardIdle) {
        file->flushGuard = kGuardInside;
        m_outermost = true;
    }
}

bool GuardScope::Leave(Oerr_ErrorReport **err) {
    if (m_left || !m_outermost) return true;
    m_left = true;
    const bool pending = m_file->flushGuard == kGuardPending;
    m_file->flushGuard = kGuardIdle;
    return !pending || ReleasePending(m_file, err);
}

GuardScope::~GuardScope() {
    Oerr_ErrorReport *e = nullptr;
    if (!Leave(&e)) PrintAndDelete(e);
}

bool DeleteDictionaryBlock(Ohfa_File *file, uint32_t position, int64_t length,
                           Oerr_ErrorReport **err, const wchar_t *fn) {
    if (GiveSpace(file, position, length, err, L"ohfa_FreeSpace")) return true;
    SetError(err, fn, kDictionaryStepFailed, *err, L"ohfa_FreeSpace failed");
    return false;
}

bool WriteDictionary(Ohfa_File *file, Oerr_ErrorReport **err) {
    const wchar_t *fn = kDictWriteFn;
    mif::StringSink sink;
    if (mif::EncodeDictionary(file->dictionary, sink, err) < 0) {
        SetError(err, fn, kDictionaryStepFailed, *err, L"omif_DictionaryEncodedLength failed");
        return false;
    }
    const std::string &text = sink.Text();
    const int64_t length = static_cast<int64_t>(text.size());
    const uint32_t oldPos = file->dictionaryPos;
    const int64_t oldLength = file->dictionaryLength;
    // In place only when the remainder is empty or can hold a free-list node: a dictionary
    // 1 to 7 bytes shorter moves, deliberately.
    const bool inPlace = oldPos != 0 && (length == oldLength || length + kNodeSize <= oldLength);
    uint32_t position = oldPos;
    if (!inPlace) {
        position = TakeSpace(file, length, err, L"ohfa_NextFreePos");
        if (position == 0) {
            SetError(err, fn, kDictionaryNoSpace, *err, L"ohfa_NextFreePos failed");
            return false;
        }
    }
    // One write: the text on disk is the old one or the new one (see "Write order").
    if (!WriteAt(file, position, text.data(), static_cast<long>(length), err, fn)) {
        SetError(err, fn, kDictionaryEncodeFailed, *err, L"omif_EncodeDictionary fail");
        return false;
    }
    file->dictionaryPos = position;
    file->dictionaryLength = static_cast<uint32_t>(length);
    file->header.dictionaryPtr = position;
    if (inPlace) {
        if (length < oldLength &&
            !DeleteDictionaryBlock(file, position + static_cast<uint32_t>(length),
                                   oldLength - length, err, fn)) {
            SetError(err, fn, kDictionaryFreeTailFailed, *err,
                     L"Troubling freeing up old dictionary xtra space");
            return false;
        }
        return true;
    }
    // The header must name the new text before the old block may join the free list.
    if (!HeaderReWrite(file, err, fn)) {
        SetError(err, fn, kDictionaryHeaderFailed, *err, L"Header rewrite failed");
        return false;
    }
    if (oldPos != 0 && !DeleteDictionaryBlock(file, oldPos, oldLength, err, fn)) {
        SetError(err, fn, kDictionaryFreeOldFailed, *err, L"Troubling freeing up old dictionary");
        return false;
    }
    return true;
}

bool FlushFile(Ohfa_File *file, Oerr_ErrorReport **err, const wchar_t *fn) {
    GuardScope guard(file);
    const uint32_t notFlushed = file->optionFlags & kFlagNotFlushedOnWrite;
    file->optionFlags &= ~kFlagNotFlushedOnWrite;
    bool ok = true;
    // The free-list cache reaches the stream before the stream is flushed.
    if (!file->readOnly &&
        (!SettleEnd(file, err, L"ohfa_NextFreePos") || !FlushFreeList(file, err))) {
        SetError(err, fn, kFlushFreeListFailed, *err, L"freeListCacheFlush failed");
        ok = false;
    }
    if (ok && ofio_Flush(file->stream, err) != 0) {
        SetError(err, fn, kFlushStreamFailed, *err, L"File flush failed");
        ok = false;
    }
    if (ok && !file->readOnly) file->flushGuard = kGuardPending;
    if (ok && file->dictionaryModified && !file->readOnly && notFlushed == 0) {
        if (!WriteDictionary(file, err)) {
            SetError(err, fn, kFlushDictionaryFailed, *err, L"ohfa_DictionaryWrite failed");
            ok = false;
        } else {
            file->dictionaryModified = false;
        }
        // The dictionary's old block joined the free list: written back like the rest.
        if (ok && !FlushFreeList(file, err)) {
            SetError(err, fn, kFlushFreeListFailed, *err, L"freeListCacheFlush failed");
            ok = false;
        }
        if (ok && ofio_Flush(file->stream, err) != 0) {
            SetError(err, fn, kFlushStreamFailed, *err, L"File flush failed");
            ok = false;
        }
    }
    file->optionFlags |= notFlushed;
    if (!ok) return false;
    if (!guard.Leave(err)) {
        SetError(err, fn, kFlushFreeListFailed, *err, L"freeListCacheFlush failed");
        return false;
    }
    if (guard.Outermost() && file->changed) {
        file->changed = false;
        NotifyChanged(file);
    }
    return true;
}

} // namespace orvik::hfa

using namespace orvik::hfa;

extern "C" {

ORVIK_API long ohfa_FileFlush(Ohfa_File *file, Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    static const wchar_t *const kFn = L"ohfa_FileFlush";
    if (err) *err = nullptr;
    return Guarded<long>(err, kFn, -1, [&]() -> long {
        if (!file) {
            SetError(err, kFn, kFlushBadHandle, nullptr, L"Invalid file handle!");
            return -1;
        }
        return FlushFile(file, err, kFn) ? 0 : -1;
    });
}

ORVIK_API long ohfa_DictionaryWrite(Ohfa_File *file, Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    if (err) *err = nullptr;
    return Guarded<long>(err, kDictWriteFn, -1, [&]() -> long {
        if (!CheckFile(file, kDictWriteFn, err)) return -1;
        if (!CheckWritable(file, kDictWriteFn, err)) return -1;
        GuardScope guard(file);
        if (!WriteDictionary(file, err)) return -1;
        file->dictionaryModified = false;
        file->flushGuard = kGuardPending;
        return guard.Leave(err) ? 0 : -1;
    });
}

ORVIK_API long ohfa_DictionaryDelete(Ohfa_File *file, uint32_t position, long length,
                                     Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    static const wchar_t *const kFn = L"ohfa_DictionaryDelete";
    if (err) *err = nullptr;
    return Guarded<long>(err, kFn, -1, [&]() -> long {
        if (!CheckFile(file, kFn, err)) return -1;
        if (position == file->dictionaryPos && position != 0) {
            SetError(err, kFn, kDictionaryInUse, nullptr, L"The dictionary at %lu is still in use",
                     static_cast<unsigned long>(position));
            return -1;
        }
        return DeleteDictionaryBlock(file, position, length, err, kFn) ? 0 : -1;
    });
}

} // extern "C"
