// I/O-failure sweep: every scenario that reads or writes files runs with its n-th transfer
// failing (a full disk, a short write, an I/O error), for every n until a run completes.
#include <cstdio>

#include "scenarios.hpp"

namespace {

using namespace sweep;
using orvik::fio::testing::IoFault;

void Sweep(const Scenario &s) {
    for (const IoFault fault : {IoFault::NoSpace, IoFault::ShortWrite, IoFault::IoError}) {
        const Figures f = SweepTransfers(s, fault, SweepStep());
        std::printf("[ figures  ] transfer sweep (%s), %s: %ld transfers, %ld runs\n",
                    fault == IoFault::NoSpace      ? "full disk"
                    : fault == IoFault::ShortWrite ? "short write"
                                                   : "I/O error",
                    s.name, f.points, f.runs);
        EXPECT_GT(f.points, 0);
    }
}

TEST(TransferSweep, Create) { Sweep(CreateScenario()); }
TEST(TransferSweep, ReopenAndRead) { Sweep(ReadScenario()); }
TEST(TransferSweep, LargeRead) { Sweep(LargeReadScenario()); }
TEST(TransferSweep, Rewrite) { Sweep(RewriteScenario()); }
TEST(TransferSweep, Delete) { Sweep(DeleteScenario()); }
TEST(TransferSweep, Copy) { Sweep(CopyScenario()); }
TEST(TransferSweep, PreferenceLoadAndSave) {
    PreferenceEnvironment environment;
    Sweep(PreferenceScenario());
}
TEST(TransferSweep, BaseDataAsciiRead) { Sweep(AsciiScenario()); }

} // namespace
