// The block index of variable-size block stores: its design, loading with the checks that
// keep a damaged record from driving an allocation, slot writes and the stored-bytes checksum.
#include "hfa/block_index.hpp"

#include "core/guard.hpp"
#include "hfa/file.hpp"
#include "hfa/report.hpp"

#define XXH_INLINE_ALL
#include <xxhash.h>

using orvik::core::SetError;

namespace {

const Omif_ItemDescription kIndexItems[] = {
    OMIF_FIELD(OMIF_ITEM_LONG, L"checksum", 1), OMIF_FIELD(OMIF_ITEM_LONG, L"blockSize", 1),
    OMIF_FIELD_COUNTED(OMIF_ITEM_ULONG, L"slots"), OMIF_TABLE_END};
const Omif_DesignTable kDesigns[] = {{orvik::hfa::kBlockIndexDesign, kIndexItems},
                                     {orvik::hfa::kBlockIndex64Design, kIndexItems},
                                     {nullptr, nullptr}};
Omif_BuiltinDesigns g_designs = OMIF_BUILTIN_DESIGNS(kDesigns, nullptr);

uint32_t Word(const unsigned char *p) {
    return uint32_t{p[0]} | uint32_t{p[1]} << 8 | uint32_t{p[2]} << 16 | uint32_t{p[3]} << 24;
}
void PutWord(unsigned char *p, uint32_t v) {
    for (int i = 0; i < 4; ++i) p[i] = static_cast<unsigned char>(v >> (8 * i));
}

} // namespace

namespace orvik::hfa {

const Omif_Design *BlockIndexDesign(Oerr_ErrorReport **err) {
    return omif_BuiltinDesignFetch(&g_designs, kBlockIndexDesign, err);
}

const Omif_Design *BlockIndex64Design(Oerr_ErrorReport **err) {
    return omif_BuiltinDesignFetch(&g_designs, kBlockIndex64Design, err);
}

uint64_t StoredChecksum(int32_t kind, const void *bytes, std::size_t count) {
    return kind == 1 ? XXH3_64bits(bytes, count) : 0;
}

namespace {

// Both variants: `wide` selects the slot form and where written blocks must lie.
bool LoadIndex(Ohfa_File *file, uint32_t at, int32_t size, int64_t blocks, bool wide,
               int64_t dataStart, int64_t dataEnd, BlockIndex &index, std::wstring &problem,
               Oerr_ErrorReport **err, const wchar_t *fn) {
    problem.clear();
    index.wide = wide;
    if (size < static_cast<int32_t>(kBlockIndexHeader) || at < kTagSize ||
        int64_t{at} + size > file->fileEnd) {
        problem = L"its record of " + std::to_wstring(size) + L" bytes at " + std::to_wstring(at) +
                  L" cannot hold an index inside the file";
        return false;
    }
    unsigned char head[kBlockIndexHeader];
    if (!ReadAt(file, at, head, kBlockIndexHeader, err, fn)) return false;
    index.checksum = static_cast<int32_t>(Word(head));
    index.blockBytes = static_cast<int32_t>(Word(head + 4));
    const uint32_t words = Word(head + 8);
    const uint32_t perSlot = index.WordsPerSlot();
    const int64_t count = words / perSlot;
    const int64_t slotBytes = index.SlotBytes();
    if (index.checksum < 0 || index.checksum > 1 || index.blockBytes <= 0 || words % perSlot != 0 ||
        (blocks >= 0 && count != blocks) ||
        int64_t{kBlockIndexHeader} + count * slotBytes != int64_t{size}) {
        problem = L"its header disagrees (checksum kind " + std::to_wstring(index.checksum) +
                  L", block size " + std::to_wstring(index.blockBytes) + L", " +
                  std::to_wstring(words) + L" slot words in " + std::to_wstring(size) +
                  L" bytes, " + std::to_wstring(blocks) + L" blocks expected)";
        return false;
    }
    index.slotsAt = at + kBlockIndexHeader;
    std::vector<unsigned char> raw(static_cast<std::size_t>(count * slotBytes));
    if (count > 0 &&
        !ReadAt(file, index.slotsAt, raw.data(), static_cast<long>(raw.size()), err, fn))
        return false;
    index.slots.assign(static_cast<std::size_t>(count), BlockSlot{});
    for (int64_t b = 0; b < count; ++b) {
        const unsigned char *p = raw.data() + b * slotBytes;
        BlockSlot &s = index.slots[static_cast<std::size_t>(b)];
        if (wide) {
            s.at = uint64_t{Word(p)} | uint64_t{Word(p + 4)} << 32;
            p += 4;
        } else {
            s.at = Word(p);
        }
        s.size = Word(p + 4);
        s.sum = uint64_t{Word(p + 8)} | uint64_t{Word(p + 12)} << 32;
        const bool never = s.at == 0 && s.size == 0 && s.sum == 0;
        // Compared as unsigned so that a position beyond 2^63 cannot wrap into range.
        if (!never && (s.at < static_cast<uint64_t>(dataStart) || s.size == 0 ||
                       s.size > static_cast<uint32_t>(index.blockBytes) ||
                       s.at > static_cast<uint64_t>(dataEnd) ||
                       s.size > static_cast<uint64_t>(dataEnd) - s.at)) {
            problem = L"block " + std::to_wstring(b) + L" of " + std::to_wstring(s.size) +
                      L" bytes at " + std::to_wstring(s.at) +
                      (wide ? L" lies outside the companion file or exceeds the block size"
                            : L" lies outside the file or exceeds the block size");
            return false;
        }
    }
    return true;
}

} // namespace

bool LoadBlockIndex(Ohfa_File *file, uint32_t at, int32_t size, int64_t blocks, BlockIndex &index,
                    std::wstring &problem, Oerr_ErrorReport **err, const wchar_t *fn) {
    return LoadIndex(file, at, size, blocks, false, kTagSize, file->fileEnd, index, problem, err,
                     fn);
}

bool LoadBlockIndex64(Ohfa_File *file, uint32_t at, int32_t size, int64_t blocks, int64_t dataStart,
                      int64_t dataEnd, BlockIndex &index, std::wstring &problem,
                      Oerr_ErrorReport **err, const wchar_t *fn) {
    return LoadIndex(file, at, size, blocks, true, dataStart, dataEnd, index, problem, err, fn);
}

bool WriteBlockSlots(Ohfa_File *file, const BlockIndex &index, int32_t first, int32_t last,
                     Oerr_ErrorReport **err, const wchar_t *fn) {
    if (first > last) return true;
    const uint32_t slotBytes = index.SlotBytes();
    std::vector<unsigned char> raw(static_cast<std::size_t>(last - first + 1) * slotBytes);
    for (int32_t b = first; b <= last; ++b) {
        const BlockSlot &s = index.slots[static_cast<std::size_t>(b)];
        unsigned char *p = raw.data() + static_cast<std::size_t>(b - first) * slotBytes;
        PutWord(p, static_cast<uint32_t>(s.at));
        if (index.wide) PutWord(p += 4, static_cast<uint32_t>(s.at >> 32));
        PutWord(p + 4, s.size);
        PutWord(p + 8, static_cast<uint32_t>(s.sum));
        PutWord(p + 12, static_cast<uint32_t>(s.sum >> 32));
    }
    if (WriteAt(file, int64_t{index.slotsAt} + int64_t{first} * slotBytes, raw.data(),
                static_cast<long>(raw.size()), err, fn))
        return true;
    SetError(err, fn, kCacheStoreWriteFailed, *err, L"Cannot write the block index");
    return false;
}

} // namespace orvik::hfa
