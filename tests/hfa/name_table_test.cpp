// The sibling index's name table against a plain map: random inserts and erases over a small
// key space, so that probe runs wrap around the array and erases shift cells back.
#include <gtest/gtest.h>

#include <map>
#include <random>
#include <string>

#include "hfa/name_table.hpp"

namespace {

using orvik::hfa::NameTable;

TEST(HfaNameTable, AgreesWithAMapThroughInsertsAndErases) {
    NameTable table;
    std::map<std::string, NameTable::Slot> model;
    std::mt19937 random(7);
    for (int step = 0; step < 40000; ++step) {
        const std::string name = "Layer_" + std::to_string(random() % 300);
        if (random() % 3 == 0) {
            EXPECT_EQ(table.Erase(name), model.erase(name) == 1) << step;
        } else {
            bool added = false;
            NameTable::Slot &s = table.Emplace(name, {static_cast<uint32_t>(step), 1}, added);
            EXPECT_EQ(added, model.count(name) == 0) << step;
            if (!added) ++s.count;
            auto &m = model.try_emplace(name, NameTable::Slot{static_cast<uint32_t>(step), 0})
                          .first->second;
            ++m.count;
        }
        if (step % 97 == 0) {
            ASSERT_EQ(table.Size(), model.size()) << step;
            for (const auto &[n, slot] : model) {
                const NameTable::Slot *s = table.Find(n);
                ASSERT_NE(s, nullptr) << n << " at " << step;
                EXPECT_EQ(s->first, slot.first);
                EXPECT_EQ(s->count, slot.count);
            }
        }
    }
    EXPECT_EQ(table.Find("Layer_300"), nullptr);
    EXPECT_EQ(table.Find(""), nullptr);
}

} // namespace
