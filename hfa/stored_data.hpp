// Internal: a data block of an open file read whole and converted into a host record of
// its design (the integrity check and the listing both decode blocks this way).
#pragma once

#include <cstdint>

#include <orvik/ohfa.h>

namespace orvik::hfa {

// Owns one host record of a design; frees what the record holds and the record itself.
class HostRecord {
  public:
    HostRecord() = default;
    ~HostRecord() { Reset(); }
    HostRecord(const HostRecord &) = delete;
    HostRecord &operator=(const HostRecord &) = delete;
    const void *Get() const { return m_object; }
    const Omif_Design *Design() const { return m_design; }
    void Reset();
    void Adopt(void *object, const Omif_Design *design) {
        Reset();
        m_object = object;
        m_design = design;
    }

  private:
    void *m_object = nullptr;
    const Omif_Design *m_design = nullptr;
};

// Reads `size` bytes at `position` (checked against the file end before anything is
// allocated) and converts them with `design`. `consumed` gets the bytes the record took.
// False with a report under `fn` when the block cannot be read or does not decode.
bool DecodeDataBlock(Ohfa_File *file, uint32_t position, int32_t size, const Omif_Design *design,
                     HostRecord &out, long &consumed, Oerr_ErrorReport **err, const wchar_t *fn);

} // namespace orvik::hfa
