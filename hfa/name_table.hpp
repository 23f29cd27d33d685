// Internal: the name table of a sibling index - an open-addressing map from a child name to
// its slot, in one array (linear probing, deletion by shifting back). A parent with many
// thousands of children costs one probe run per look-up instead of a chain of separately
// allocated nodes, and growing it moves one array; a parent with one child costs two cells.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace orvik::hfa {

class NameTable {
  public:
    struct Slot {
        uint32_t first; // position of the first child of that name in list order
        uint32_t count; // children of that name
    };

    // The slot of `name`, or null.
    Slot *Find(std::string_view name) {
        const std::size_t i = Locate(name);
        return i == kNone ? nullptr : &m_cells[i].slot;
    }
    // The slot of `name`, added with `fresh` when missing; `added` says which.
    Slot &Emplace(std::string_view name, Slot fresh, bool &added) {
        if (Slot *s = Find(name)) {
            added = false;
            return *s;
        }
        if ((m_used + 1) * 4 > m_cells.size() * 3) Grow();
        added = true;
        ++m_used;
        return Place(Cell{true, Hash(name), std::string(name), fresh});
    }
    bool Erase(std::string_view name) {
        std::size_t hole = Locate(name);
        if (hole == kNone) return false;
        // Later cells of the probe run shift back over the hole unless their home lies
        // (cyclically) in (hole, i].
        for (std::size_t i = (hole + 1) & Mask(); m_cells[i].taken; i = (i + 1) & Mask()) {
            const std::size_t home = m_cells[i].hash & Mask();
            const bool stays = hole <= i ? (home > hole && home <= i) : (home > hole || home <= i);
            if (stays) continue;
            m_cells[hole] = std::move(m_cells[i]);
            hole = i;
        }
        m_cells[hole] = Cell{};
        --m_used;
        return true;
    }
    std::size_t Size() const { return m_used; }

  private:
    struct Cell {
        bool taken = false;
        uint64_t hash = 0;
        std::string name;
        Slot slot{};
    };
    static constexpr std::size_t kNone = ~std::size_t{0};
    static uint64_t Hash(std::string_view name) { return std::hash<std::string_view>{}(name); }
    std::size_t Locate(std::string_view name) const {
        if (m_used == 0) return kNone;
        const uint64_t h = Hash(name);
        for (std::size_t i = h & Mask();; i = (i + 1) & Mask()) {
            const Cell &c = m_cells[i];
            if (!c.taken) return kNone;
            if (c.hash == h && c.name == name) return i;
        }
    }
    std::size_t Mask() const { return m_cells.size() - 1; }
    Slot &Place(Cell &&cell) {
        std::size_t i = cell.hash & Mask();
        while (m_cells[i].taken) i = (i + 1) & Mask();
        m_cells[i] = std::move(cell);
        return m_cells[i].slot;
    }
    void Grow() {
        std::vector<Cell> old(m_cells.empty() ? 2 : m_cells.size() * 2);
        old.swap(m_cells);
        for (Cell &c : old)
            if (c.taken) Place(std::move(c));
    }

    std::vector<Cell> m_cells; // a power of two in size, at most three quarters taken
    std::size_t m_used = 0;
};

} // namespace orvik::hfa
