#include "sweep.hpp"

#include <climits>
#include <cstdio>
#include <cstdlib>
#include <filesystem>

#include "core/heap_seam.hpp"
#include "fio/write_seam.hpp"

namespace sweep {

namespace {

using orvik::fio::testing::IoFault;

void Quiet(void *, Oerr_ErrorReport *, Oerr_ErrorReportingMode, Oerr_ErrorReport **) {}

// Runs one armed run between `arm` and `disarm` and checks it; returns whether a failure
// was injected (the seam counted at least n events).
long g_failAt = 0;
// Whether the allocation sweep's failure has happened yet.
bool AllocationFailed() { return orvik::core::testing::AllocationsCounted() >= g_failAt; }

template <class Arm, class Disarm>
bool OneRun(const Scenario &s, long n, const char *what, Arm arm, Disarm disarm, int &reported,
            bool (*reportLost)()) {
    s.prepare();
    g_failAt = n;
    Steps steps(reportLost);
    const long live = LiveNewBlocks();
    const long injected = arm(n);
    s.run(steps);
    const bool hit = disarm() >= injected;
    const long leaked = LiveNewBlocks() - live;
    const std::string where = std::string(s.name) + ", " + what + " " + std::to_string(n);
    if (steps.ViolatingCall() && reported < 5) {
        ++reported;
        ADD_FAILURE() << where << ": " << steps.ViolatingCall() << " " << steps.Violation();
    }
    if (s.countsBlocks && leaked != 0 && reported < 5) {
        ++reported;
        ADD_FAILURE() << where << ": " << leaked << " blocks of operator new not freed";
    }
    if (!hit && steps.Failed() && reported < 5) {
        ++reported;
        ADD_FAILURE() << where << ": a call failed although nothing was injected";
    }
    {
        SCOPED_TRACE(where);
        const int before =
            ::testing::UnitTest::GetInstance()->current_test_info()->result()->total_part_count();
        s.verify(!steps.Failed());
        if (::testing::UnitTest::GetInstance()->current_test_info()->result()->total_part_count() >
            before)
            ++reported;
    }
    return hit;
}

template <class Arm, class Disarm>
Figures Sweep(const Scenario &s, const char *what, long step, Arm arm, Disarm disarm,
              bool (*reportLost)()) {
    Silence();
    Figures figures;
    {
        // A whole run first: it must succeed, and it counts the points to sweep (and makes
        // the library's one-time allocations, which are not leaks of the later runs).
        s.prepare();
        Steps steps;
        arm(LONG_MAX);
        s.run(steps);
        figures.points = disarm();
        EXPECT_FALSE(steps.Failed()) << s.name << ": the run without failures failed";
        EXPECT_EQ(steps.ViolatingCall(), nullptr) << s.name;
        s.verify(true);
    }
    int reported = 0;
    long first = 1;
    if (const char *s = std::getenv("ORVIK_SWEEP_FROM")) first = std::max(1L, std::atol(s));
    for (long n = first;; n += step) {
        ++figures.runs;
        if (!OneRun(s, n, what, arm, disarm, reported, reportLost)) break;
        if (reported >= 5) {
            ADD_FAILURE() << s.name << ": sweep stopped after the first failures";
            break;
        }
        // A run far past the count of the whole run would mean the count is wrong.
        if (n > 4 * figures.points + 100) {
            ADD_FAILURE() << s.name << ": the sweep does not end";
            break;
        }
    }
    return figures;
}

} // namespace

void Steps::Trace(const char *call, bool ok, const Report &err) {
    static const bool on = std::getenv("ORVIK_SWEEP_TRACE") != nullptr;
    if (!on) return;
    std::fprintf(stderr, "  %s: %s", call, ok ? "ok" : "failed");
    for (auto *r = err.get(); r; r = r->next)
        std::fprintf(stderr, " | %ls", r->message ? r->message : L"");
    std::fputc('\n', stderr);
}

void Silence() {
    static const bool installed = [] {
        oerr_SetAltErrorFunction(&Quiet, nullptr);
        return true;
    }();
    (void)installed;
}

long SweepStep() {
    if (const char *s = std::getenv("ORVIK_SWEEP_STEP")) return std::max(1L, std::atol(s));
    return 1;
}

Figures SweepAllocations(const Scenario &scenario, long step) {
    using namespace orvik::core::testing;
    return Sweep(
        scenario, "allocation", step,
        [](long n) {
            FailNthAllocation(n);
            return n;
        },
        [] {
            const long counted = AllocationsCounted();
            ClearAllocationFailure();
            return counted;
        },
        &AllocationFailed);
}

Figures SweepTransfers(const Scenario &scenario, IoFault fault, long step) {
    using namespace orvik::fio::testing;
    const char *what = fault == IoFault::NoSpace      ? "full disk at transfer"
                       : fault == IoFault::ShortWrite ? "short write at transfer"
                                                      : "I/O error at transfer";
    return Sweep(
        scenario, what, step,
        [fault](long n) {
            FailNthTransfer(n, fault);
            return n;
        },
        [] {
            const long counted = TransfersCounted();
            ClearTransferFailure();
            return counted;
        },
        nullptr);
}

Figures SweepCrashes(const Scenario &s, long step) {
    using namespace orvik::fio::testing;
    Silence();
    Figures figures;
    s.prepare();
    Steps whole;
    StopWritesAfter(LONG_MAX);
    s.run(whole);
    figures.points = WritesCounted();
    ClearWriteStop();
    EXPECT_FALSE(whole.Failed()) << s.name;
    s.verify(true);
    for (long n = 0;; n += step) {
        const long stop = std::min(n, figures.points);
        ++figures.runs;
        s.prepare();
        Steps steps;
        StopWritesAfter(stop);
        s.run(steps);
        ClearWriteStop();
        SCOPED_TRACE(std::string(s.name) + ", stopped after write " + std::to_string(stop) +
                     " of " + std::to_string(figures.points));
        s.verify(false);
        if (::testing::Test::HasFailure() || stop == figures.points) break;
    }
    return figures;
}

bool ExpectSound(const std::wstring &name, bool mayBeUnfinished) {
    const std::string narrow(name.begin(), name.end());
    if (!std::filesystem::exists(narrow)) {
        EXPECT_TRUE(mayBeUnfinished) << narrow << " is gone";
        return false;
    }
    Report err;
    if (mayBeUnfinished && ohfa_IsHFAFile(name.c_str(), &err) == 0) return false;
    Ohfa_File *f = ohfa_FileOpen(name.c_str(), L"r+b", 0, &err);
    EXPECT_NE(f, nullptr) << narrow << ": " << hfa_test::Joined({err.Message()});
    if (!f) return false;
    ostr_StringList *problems = nullptr;
    std::vector<std::wstring> lines;
    EXPECT_EQ(ohfa_FileCheck(f, &problems, &err), 0)
        << narrow << ":\n"
        << [&] {
               for (int32_t i = 0; problems && i < problems->count; ++i)
                   lines.push_back(problems->strings[i]);
               return hfa_test::Joined(lines);
           }();
    ostr_StringListDelete(problems, nullptr);
    EXPECT_EQ(ohfa_FileClose(f, &err), 0) << narrow;
    return true;
}

} // namespace sweep
