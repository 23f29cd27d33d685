// The entry-record cache against an ordered map of what it should hold: records at random
// positions (several in one 128-byte stretch, as a damaged file gives), writes of every size
// over them, a kept record, and the start afresh at the limit.
#include <gtest/gtest.h>

#include <map>
#include <random>

#include "hfa/record_cache.hpp"

namespace {

using orvik::hfa::RecordCache;

TEST(HfaRecordCache, AgreesWithAnOrderedMapThroughPutsAndWrites) {
    RecordCache cache;
    std::map<uint32_t, int32_t> model; // position -> the entry's dataSize, as a tag
    std::mt19937 random(11);
    for (int step = 0; step < 30000; ++step) {
        const uint32_t position = 64 + random() % 20000;
        if (random() % 2 == 0) {
            Ohfa_Entry e{};
            e.dataSize = step;
            cache.Put(position, e, 1 << 20);
            model[position] = step;
        } else {
            const int64_t count = random() % 4 == 0 ? random() % 30000 : 1 + random() % 300;
            const int64_t keep = random() % 3 == 0 ? int64_t{position} : -1;
            cache.Overwritten(position, count, keep);
            for (auto it = model.begin(); it != model.end();) {
                const bool over = int64_t{it->first} + 128 > position &&
                                  it->first < position + count && it->first != keep;
                it = over ? model.erase(it) : std::next(it);
            }
        }
        ASSERT_EQ(cache.Size(), model.size()) << step;
        if (step % 101 == 0)
            for (uint32_t p = 0; p < 20100; ++p) {
                const Ohfa_Entry *e = cache.Find(p);
                auto m = model.find(p);
                ASSERT_EQ(e != nullptr, m != model.end()) << p << " at " << step;
                if (e) {
                    EXPECT_EQ(e->dataSize, m->second);
                }
            }
    }
    // At the limit the cache starts afresh, keeping only the new record.
    Ohfa_Entry e{};
    cache.Clear();
    for (uint32_t p = 0; p < 4; ++p) cache.Put(1000 + 128 * p, e, 4);
    cache.Put(5000, e, 4);
    EXPECT_EQ(cache.Size(), 1u);
    EXPECT_NE(cache.Find(5000), nullptr);
}

} // namespace
