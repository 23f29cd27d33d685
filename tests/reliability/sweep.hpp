// Failure sweeps: run an operation again and again with the n-th allocation (or the n-th
// read or write of the file layer) failing, for n = 1, 2, ... until a run completes without
// a failure injected, and check after every run that it ended in success or a clean report,
// freed what it allocated and left every file it touched sound.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "fio/io_seam.hpp"
#include "hfa/hfa_test_util.hpp"

namespace sweep {

using hfa_test::Report;

// Live blocks of the test program's operator new (counting_new.cpp).
long LiveNewBlocks();

// Collects the outcome of each call of a run. Allocation-free: it runs while the seams are
// armed.
class Steps {
  public:
    // `reportLost` says whether a failure may have come without a report: when the heap
    // cannot hold the report itself it is dropped (by design), so an allocation sweep
    // accepts a missing report once its failure has been injected.
    explicit Steps(bool (*reportLost)() = nullptr) : m_reportLost(reportLost) {}
    // A call that answered `ok`: a failure must come with a report, a success without one.
    bool operator()(const char *call, bool ok, const Report &err) {
        Trace(call, ok, err);
        if (ok && err) Violation(call, "succeeded with a report");
        if (!ok && !err && !(m_reportLost && m_reportLost())) {
            Violation(call, "failed without a report");
        }
        if (!ok) m_failed = true;
        return ok;
    }
    // A call whose failure value is also an ordinary answer (nothing found): it failed when
    // it left a report.
    bool Answer(const char *call, bool ok, const Report &err) {
        Trace(call, ok, err);
        if (ok && err) Violation(call, "succeeded with a report");
        if (err) m_failed = true;
        return ok && !err;
    }
    bool Failed() const { return m_failed; }
    // The first broken promise, or null.
    const char *ViolatingCall() const { return m_call; }
    const char *Violation() const { return m_what; }

  private:
    // ORVIK_SWEEP_TRACE=1 prints every call of every run (to find what a failing run did).
    static void Trace(const char *call, bool ok, const Report &err);
    void Violation(const char *call, const char *what) {
        if (!m_call) {
            m_call = call;
            m_what = what;
        }
    }
    bool (*m_reportLost)() = nullptr;
    bool m_failed = false;
    const char *m_call = nullptr;
    const char *m_what = nullptr;
};

struct Scenario {
    const char *name;
    // Builds the files the operation starts from (nothing armed).
    std::function<void()> prepare;
    // The operation; reports each call to `steps`. Runs armed, so the test's side of it must
    // not allocate (paths and data are made by prepare or once beforehand).
    std::function<void(Steps &)> run;
    // Checks what the run left (nothing armed); `completed`: no call failed.
    std::function<void(bool completed)> verify;
    // Whether every block of operator new a run allocates is freed by its end (false where
    // the module keeps state between runs; the sanitizer still sees leaks at exit).
    bool countsBlocks = true;
};

struct Figures {
    long points = 0; // allocations (or transfers) of a whole run
    long runs = 0;   // runs with a failure injected
};

// Sweeps the allocations of the scenario, every `step`-th one.
Figures SweepAllocations(const Scenario &scenario, long step);
// Sweeps the reads and writes of the scenario with `fault`, every `step`-th one.
Figures SweepTransfers(const Scenario &scenario, orvik::fio::testing::IoFault fault, long step);

// Sweeps the points where the process may die: the scenario runs with every write after the
// n-th dropped silently, for n = 0, step, ... up to all its writes, and each run is checked
// as a failed one (verify(false)): the files left behind must be what a crash may leave.
Figures SweepCrashes(const Scenario &scenario, long step);

// Every point (ORVIK_SWEEP_STEP=k takes every k-th): the whole program stays within a minute
// under the sanitizers.
long SweepStep();

// The file `name` after a run: sound (opened for update, it checks without problems; leaked
// bytes are allowed). With `mayBeUnfinished` it may instead be missing or not yet an HFA file
// (the run was creating it). Returns whether it opened.
bool ExpectSound(const std::wstring &name, bool mayBeUnfinished);

// Installs a report listener that prints nothing and allocates nothing.
void Silence();

} // namespace sweep
