// Crash points of raster layers (window writes, overviews), statistics, descriptor tables,
// copies and the compacting copy: the process "dies" after each write in turn, and every
// file left behind must open and check sound (leaked bytes allowed), a copy's source
// untouched.
#include <cstdio>

#include "scenarios.hpp"

namespace {

using namespace sweep;

void Sweep(const Scenario &s) {
    const Figures f = SweepCrashes(s, SweepStep());
    std::printf("[ figures  ] crash points, %s: %ld writes, %ld runs\n", s.name, f.points, f.runs);
    EXPECT_GT(f.points, 0);
}

TEST(CrashPoints, CreateLayersOverviewsStatisticsAndTable) { Sweep(CreateScenario()); }
TEST(CrashPoints, RewriteWindowOverviewsStatisticsAndTable) { Sweep(RewriteScenario()); }
TEST(CrashPoints, DeleteStatisticsAndLayer) { Sweep(DeleteScenario()); }
TEST(CrashPoints, CopyAndRepack) { Sweep(CopyScenario()); }

} // namespace
