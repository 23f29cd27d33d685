// Allocation-failure sweep: every scenario runs with its n-th allocation failing (library
// heap and operator new alike), for every n until a run completes.
#include <cstdio>

#include "scenarios.hpp"

namespace {

using namespace sweep;

void Sweep(const Scenario &s) {
    const Figures f = SweepAllocations(s, SweepStep());
    std::printf("[ figures  ] allocation sweep, %s: %ld allocations, %ld runs\n", s.name, f.points,
                f.runs);
    EXPECT_GT(f.points, 0);
}

TEST(AllocationSweep, Create) { Sweep(CreateScenario()); }
TEST(AllocationSweep, ReopenAndRead) { Sweep(ReadScenario()); }
TEST(AllocationSweep, Rewrite) { Sweep(RewriteScenario()); }
TEST(AllocationSweep, Delete) { Sweep(DeleteScenario()); }
TEST(AllocationSweep, Copy) { Sweep(CopyScenario()); }
TEST(AllocationSweep, PreferenceLoadAndSave) {
    PreferenceEnvironment environment;
    Sweep(PreferenceScenario());
}
TEST(AllocationSweep, DictionaryDecode) { Sweep(DictionaryScenario()); }
TEST(AllocationSweep, BaseDataAsciiRead) { Sweep(AsciiScenario()); }

} // namespace
