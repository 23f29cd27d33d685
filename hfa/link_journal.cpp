// The link journal: a pair of link writes recorded in the reserved bytes after the header
// tag before they are made, and completed at the next open for update after a crash.
#include "hfa/link_journal.hpp"

#include <cstring>

#include "core/guard.hpp"
#include "hfa/file.hpp"
#include "hfa/report.hpp"

using orvik::core::SetError;

namespace orvik::hfa {

namespace {

// Layout at offset 20: the mark "LNK1", the number of writes, then (position, field, value)
// per write, every word little-endian.
constexpr char kMark[4] = {'L', 'N', 'K', '1'};
constexpr uint32_t kMaxWrites = 2;
constexpr uint32_t kJournalSize = 8 + kMaxWrites * 12;
static_assert(kTagSize + kJournalSize <= kNewHeaderPtr, "the journal fits the reserved bytes");

bool HasSpace(const Ohfa_File *file) { return file->headerPtr == kNewHeaderPtr; }

void Put(unsigned char *p, uint32_t v) {
    for (int i = 0; i < 4; ++i) p[i] = static_cast<unsigned char>(v >> (8 * i));
}
uint32_t Get(const unsigned char *p) {
    return uint32_t{p[0]} | uint32_t{p[1]} << 8 | uint32_t{p[2]} << 16 | uint32_t{p[3]} << 24;
}

// Reads the record; false when there is none (or no space for one).
bool ReadJournal(Ohfa_File *file, unsigned char (&bytes)[kJournalSize]) {
    if (!HasSpace(file) || file->fileEnd < kNewHeaderPtr) return false;
    Oerr_ErrorReport *e = nullptr;
    const bool read = ReadAt(file, kTagSize, bytes, kJournalSize, &e, L"JournalRead");
    oerr_DeleteErrorReportEx(&e);
    return read && std::memcmp(bytes, kMark, sizeof kMark) == 0;
}

} // namespace

bool JournalBegin(Ohfa_File *file, std::initializer_list<LinkWrite> writes, Oerr_ErrorReport **err,
                  const wchar_t *fn) {
    if (!HasSpace(file) || writes.size() > kMaxWrites) return true;
    unsigned char bytes[kJournalSize] = {};
    std::memcpy(bytes, kMark, sizeof kMark);
    Put(bytes + 4, static_cast<uint32_t>(writes.size()));
    unsigned char *p = bytes + 8;
    for (const LinkWrite &w : writes) {
        Put(p, w.position);
        Put(p + 4, w.field);
        Put(p + 8, w.value);
        p += 12;
    }
    if (WriteAt(file, kTagSize, bytes, kJournalSize, err, fn)) return true;
    SetError(err, fn, kJournalWriteFailed, *err, L"Link journal write failed");
    return false;
}

bool JournalEnd(Ohfa_File *file, Oerr_ErrorReport **err, const wchar_t *fn) {
    if (!HasSpace(file)) return true;
    static const unsigned char kClear[4] = {0, 0, 0, 0};
    if (WriteAt(file, kTagSize, kClear, sizeof kClear, err, fn)) return true;
    SetError(err, fn, kJournalWriteFailed, *err, L"Link journal write failed");
    return false;
}

bool JournalPending(Ohfa_File *file) {
    unsigned char bytes[kJournalSize];
    return ReadJournal(file, bytes);
}

bool JournalComplete(Ohfa_File *file, Oerr_ErrorReport **err, const wchar_t *fn) {
    unsigned char bytes[kJournalSize];
    if (file->readOnly || !ReadJournal(file, bytes)) return true;
    const uint32_t count = Get(bytes + 4);
    bool sound = count >= 1 && count <= kMaxWrites;
    for (uint32_t i = 0; sound && i < count; ++i) {
        const unsigned char *p = bytes + 8 + 12 * i;
        const uint32_t position = Get(p), field = Get(p + 4), value = Get(p + 8);
        sound = position >= kTagSize && int64_t{position} + kEntrySize <= file->fileEnd &&
                (field == kNextField || field == kPrevField || field == kChildField) &&
                (value == 0 || (value >= kTagSize && int64_t{value} + kEntrySize <= file->fileEnd));
    }
    for (uint32_t i = 0; sound && i < count; ++i) {
        const unsigned char *p = bytes + 8 + 12 * i;
        if (!WriteAt(file, int64_t{Get(p)} + Get(p + 4), p + 8, 4, err, fn)) {
            SetError(err, fn, kJournalCompleteFailed, *err, L"Link journal completion failed");
            return false;
        }
    }
    if (!sound)
        Warn(fn, kJournalOutside, L"Link journal of file %s names places outside it",
             file->name.c_str());
    return JournalEnd(file, err, fn);
}

} // namespace orvik::hfa
