// Internal: the link journal. Inserting an entry before another one, or taking one out of
// the middle of a sibling list, changes two links in two records (a forward link and the
// follower's back link); a crash between the two writes would leave them disagreeing. Before
// such a pair is written, the pair itself is recorded in the bytes between the header tag
// and a header at 64 (which the format reserves and leaves as they fall); it is cleared when
// both writes are done. Opening the file for update completes a recorded pair, so a crash
// at any point leaves links that agree once the file is opened again (docs/hfa-check.md).
#pragma once

#include <cstdint>
#include <initializer_list>

#include <orvik/oerr.h>

struct Ohfa_File_;

namespace orvik::hfa {

// One 32-bit link item of an entry record: the record's position, the item's offset in the
// record (0 next, 4 prev, 12 child) and the value it gets.
struct LinkWrite {
    uint32_t position;
    uint32_t field;
    uint32_t value;
};
constexpr uint32_t kNextField = 0, kPrevField = 4, kChildField = 12;

// Records the writes about to be made (at most two). Files whose header does not lie at 64
// have no journal space: nothing is written and the call succeeds.
bool JournalBegin(Ohfa_File_ *file, std::initializer_list<LinkWrite> writes, Oerr_ErrorReport **err,
                  const wchar_t *fn);
// Clears the record once the writes are done.
bool JournalEnd(Ohfa_File_ *file, Oerr_ErrorReport **err, const wchar_t *fn);
// At open for update: makes a recorded pair's writes (again) and clears the record. A record
// naming places outside the file is only cleared.
bool JournalComplete(Ohfa_File_ *file, Oerr_ErrorReport **err, const wchar_t *fn);
// Whether a recorded pair waits for completion (the integrity check reports it).
bool JournalPending(Ohfa_File_ *file);

} // namespace orvik::hfa
