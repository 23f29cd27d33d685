// Copies of stores kept in companion data files: a new companion per copied store, its blocks
// appended and handed to the system before the copied index names them.
#include <cstring>

#include "core/guard.hpp"
#include "hfa/block_index.hpp"
#include "hfa/companion.hpp"
#include "hfa/file.hpp"
#include "hfa/report.hpp"

using orvik::core::SetError;

namespace orvik::hfa {
namespace {

void PutWord(unsigned char *p, uint32_t v) {
    for (int i = 0; i < 4; ++i) p[i] = static_cast<unsigned char>(v >> (8 * i));
}

} // namespace

bool CompanionCarry::Carry(Ohfa_File *src, Ohfa_File *dst, long parent, const Ohfa_Entry &e,
                           std::vector<unsigned char> &bytes, std::wstring &problem,
                           Oerr_ErrorReport **skipped, Oerr_ErrorReport **err, const wchar_t *fn) {
    problem.clear();
    const bool record = std::strncmp(e.type, "Ohfa_Companion", sizeof e.type) == 0;
    if (!record && std::strncmp(e.type, "Ohfa_BlockIndex64", sizeof e.type) != 0) return true;
    if (bytes.empty()) return true;
    if (record) {
        Pair pair;
        if (!CompanionFromBytes(bytes.data(), bytes.size(), pair.from)) {
            problem = L"its companion record is damaged";
            bytes.clear();
            return true;
        }
        if (!CreateCompanion(dst, pair.to, err, fn)) return false;
        CompanionToBytes(pair.to, bytes.data());
        m_pairs.emplace_back(parent, pair);
        return true;
    }
    const Pair *pair = nullptr;
    for (const auto &[p, found] : m_pairs)
        if (p == parent) pair = &found;
    if (!pair) {
        problem = L"its block index has no companion record before it";
        bytes.clear();
        return true;
    }
    const std::wstring where = L"the copy of " + src->name;
    std::unique_ptr<Companion> from = OpenCompanion(src, where, pair->from, skipped, fn);
    BlockIndex index;
    if (!from || !LoadBlockIndex64(src, e.data, e.dataSize, -1, kCompanionHeaderSize, from->end,
                                   index, problem, skipped, fn)) {
        if (problem.empty()) problem = L"its companion file cannot be read";
        bytes.clear();
        return true;
    }
    std::unique_ptr<Companion> to = OpenCompanion(dst, where, pair->to, err, fn);
    if (!to) return false;
    std::vector<unsigned char> block;
    for (std::size_t b = 0; b < index.slots.size(); ++b) {
        BlockSlot &slot = index.slots[b];
        if (slot.at == 0) continue;
        block.resize(slot.size);
        unsigned char *p = bytes.data() + kBlockIndexHeader + b * kWideSlotBytes;
        if (!ReadFromCompanion(*from, slot.at, block.data(), slot.size, skipped, fn)) {
            problem = L"block " + std::to_wstring(b) + L" cannot be read";
            std::memset(p, 0, kWideSlotBytes); // the copy names it never written
            continue;
        }
        uint64_t at = 0;
        if (!AppendToCompanion(*to, block.data(), slot.size, at, err, fn)) {
            SetError(err, fn, kCompanionFailed, *err, L"Cannot write companion file %s",
                     to->path.c_str());
            return false;
        }
        PutWord(p, static_cast<uint32_t>(at));
        PutWord(p + 4, static_cast<uint32_t>(at >> 32));
    }
    if (!FlushCompanion(*to, err, fn)) {
        SetError(err, fn, kCompanionFailed, *err, L"Cannot write companion file %s",
                 to->path.c_str());
        return false;
    }
    return true;
}

} // namespace orvik::hfa
