// Internal: the block index of a store of variable-size blocks (coded raster layers). The
// data of an entry of type "Ohfa_BlockIndex" (docs/hfa-format.md, "Block indexes"):
//
//   offset  width  item
//   0       4      checksum kind: 0 none, 1 XXH3-64 of the stored bytes
//   4       4      block size: bytes of one block decoded (no stored block is larger)
//   8       4      count of slot words (4 per block)
//   12      4      MIF offset word: the file position of byte 8
//   16      16 n   slots, one per block: position, stored size, checksum low and high words
//
// The 64-bit variant, type "Ohfa_BlockIndex64", names blocks in a companion data file of a
// raster layer (docs/hfa-format.md, "Companion data files"): the same header, then slots of 20
// bytes: position low and high words, stored size, checksum low and high words.
//
// A slot of position 0 names a block never written (size and checksum 0). A rewritten block
// always goes to new space: its bytes are written first, then its slot in one write, and its
// old space is freed last, so a crash between any two writes leaves either block whole.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include <orvik/ohfa.h>

namespace orvik::hfa {

inline constexpr const wchar_t *kBlockIndexDesign = L"Ohfa_BlockIndex";
// The same name as entry records store it.
inline constexpr const char *kBlockIndexType = "Ohfa_BlockIndex";
constexpr uint32_t kBlockIndexHeader = 16;
inline constexpr const wchar_t *kBlockIndex64Design = L"Ohfa_BlockIndex64";
constexpr uint32_t kSlotBytes = 16;
constexpr uint32_t kWideSlotBytes = 20;

struct BlockSlot {
    uint64_t at = 0;
    uint32_t size = 0;
    uint64_t sum = 0;
};

struct BlockIndex {
    int32_t checksum = 0;
    int32_t blockBytes = 0;
    uint32_t slotsAt = 0; // file position of slot 0
    bool wide = false;    // 64-bit positions in a companion data file
    std::vector<BlockSlot> slots;
    uint32_t SlotBytes() const { return wide ? kWideSlotBytes : kSlotBytes; }
    uint32_t WordsPerSlot() const { return SlotBytes() / 4; }
};

// Host form of the index record, for writing a new one.
struct BlockIndexRecord {
    int32_t checksum;
    int32_t blockBytes;
    OMIF_COUNTED_POINTER_OF(uint32_t) words;
};

const Omif_Design *BlockIndexDesign(Oerr_ErrorReport **err);
const Omif_Design *BlockIndex64Design(Oerr_ErrorReport **err);

// The checksum of `count` stored bytes (0 for kind 0).
uint64_t StoredChecksum(int32_t kind, const void *bytes, std::size_t count);

// Reads the index record at `at` (`size` bytes) and checks it before allocating: its sizes
// agree, the slot count is `blocks` (-1: any the record can hold), each written block lies
// inside the file and is no larger than the block size. False with the reason in `problem`,
// or with a report when a read fails.
bool LoadBlockIndex(Ohfa_File *file, uint32_t at, int32_t size, int64_t blocks, BlockIndex &index,
                    std::wstring &problem, Oerr_ErrorReport **err, const wchar_t *fn);
// The 64-bit variant: each written block must lie at or after `dataStart` and end at or
// before `dataEnd` of its companion file.
bool LoadBlockIndex64(Ohfa_File *file, uint32_t at, int32_t size, int64_t blocks, int64_t dataStart,
                      int64_t dataEnd, BlockIndex &index, std::wstring &problem,
                      Oerr_ErrorReport **err, const wchar_t *fn);

// Writes slots first..last of `index` in one write.
bool WriteBlockSlots(Ohfa_File *file, const BlockIndex &index, int32_t first, int32_t last,
                     Oerr_ErrorReport **err, const wchar_t *fn);

} // namespace orvik::hfa
