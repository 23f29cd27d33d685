// Internal: the entry records of an open file kept in memory by position (write-through;
// every raw write over one drops it). Records are hashed by the 128-byte stretch of the file
// they start in: a look-up is one probe, and a write finds the records its bytes overlap by
// probing the few stretches it covers (or, when it covers more stretches than the cache
// holds, by one pass over the cache). Two records of a sound file never start in one
// stretch; in a damaged one the second goes to a small ordered side map.
#pragma once

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <map>
#include <unordered_map>

#include <orvik/ohfa.h>

namespace orvik::hfa {

class RecordCache {
  public:
    static constexpr int64_t kRecordBytes = 128;

    const Ohfa_Entry *Find(uint32_t position) const {
        auto it = m_main.find(position / kRecordBytes);
        if (it != m_main.end() && it->second.position == position) return &it->second.entry;
        if (m_extra.empty()) return nullptr;
        auto x = m_extra.find(position);
        return x == m_extra.end() ? nullptr : &x->second;
    }
    // Stores or replaces the record at `position`; starts afresh beyond `limit` records.
    Ohfa_Entry &Put(uint32_t position, const Ohfa_Entry &entry, std::size_t limit) {
        if (Size() >= limit && !Find(position)) Clear();
        m_highest = std::max(m_highest, position);
        auto [it, added] = m_main.try_emplace(position / kRecordBytes, Held{position, entry});
        if (added || it->second.position == position) return it->second.entry = entry;
        return m_extra[position] = entry;
    }
    // Drops every record that bytes [position, position + count) overlap, but the one at
    // `keep`.
    void Overwritten(int64_t position, int64_t count, int64_t keep) {
        if (count <= 0 || Size() == 0 || int64_t{m_highest} + kRecordBytes <= position) return;
        const int64_t from = std::max<int64_t>(0, position - kRecordBytes + 1);
        const int64_t to = position + count; // records starting in [from, to) overlap
        const auto overlaps = [&](int64_t p) { return p >= from && p < to && p != keep; };
        const int64_t first = from / kRecordBytes, last = (to - 1) / kRecordBytes;
        if (last - first + 1 > static_cast<int64_t>(m_main.size())) {
            for (auto it = m_main.begin(); it != m_main.end();)
                it = overlaps(it->second.position) ? m_main.erase(it) : std::next(it);
        } else {
            for (int64_t k = first; k <= last; ++k) {
                auto it = m_main.find(static_cast<uint32_t>(k));
                if (it != m_main.end() && overlaps(it->second.position)) m_main.erase(it);
            }
        }
        for (auto x = m_extra.lower_bound(static_cast<uint32_t>(from));
             x != m_extra.end() && x->first < to;)
            x = overlaps(x->first) ? m_extra.erase(x) : std::next(x);
    }
    void Clear() {
        m_main.clear();
        m_extra.clear();
        m_highest = 0;
    }
    std::size_t Size() const { return m_main.size() + m_extra.size(); }

  private:
    struct Held {
        uint32_t position;
        Ohfa_Entry entry;
    };
    std::unordered_map<uint32_t, Held> m_main; // by position / 128
    std::map<uint32_t, Ohfa_Entry> m_extra;    // records whose stretch is taken (by position)
    uint32_t m_highest = 0;                    // no record starts beyond it
};

} // namespace orvik::hfa
