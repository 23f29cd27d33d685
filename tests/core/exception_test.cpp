// OerrException, its narrow adapter, the logging base and the dispatcher's signals.
#include <gtest/gtest.h>

#include <system_error>

#include <cerrno>
#include <cwchar>
#include <string>
#include <vector>

#include <orvik/oerr.h>
#include <orvik/orviklog.h>
#include <orvik/otxt.h>

#include "core/heap_seam.hpp"
#include "stderr_capture.hpp"

namespace {

using orvik::core::testing::ScopedAllocationFailure;

bool Holds(OerrException &e) { return static_cast<bool>(e); }

// A library call that fails with one record: number 1 of otxt_Text_Ascii2Unicode.
void FailingCall(Oerr_ErrorReport **err) {
    EXPECT_EQ(otxt_Text_Ascii2Unicode("ab\xff", err), nullptr);
}

const char *const kInnerPrinted =
    " ***ERROR NUMBER 1 IN FUNCTION otxt_Text_Ascii2Unicode***\n"
    " >>>Text cannot be converted: invalid UTF-8 byte 0xff at position 2<<<\n";

Oerr_ErrorReport *Chain3() {
    Oerr_ErrorReport *r = oerr_CreateErrorReport(L"ofio_ReadSeq", 4, 2, nullptr, L"Short read");
    r = oerr_CreateErrorReport(L"ohfa_FileOpen", 2, 2, r, nullptr);
    return oerr_CreateErrorReport(L"osta_StatisticsRead", 1, 2, r, L"Cannot read %s",
                                  L"Statistics");
}

std::string PrintNoEML(const Oerr_ErrorReport *r, Oerr_ErrorReportingMode mode) {
    StderrCapture cap;
    oerr_PrintErrorReportNoEML(const_cast<Oerr_ErrorReport *>(r), mode);
    return cap.Text();
}

// Records what reaches the dispatcher's report signal while it lives (a duplicate of each
// chain, since the owner frees it right after printing). Connecting our own listener keeps
// these tests independent of the process-wide default listener.
class DispatchRecorder {
  public:
    struct Seen {
        Oerr_ErrorReport *report;
        Oerr_ErrorReportingMode mode;
    };

    DispatchRecorder() {
        m_handle = OerrDispatcher::Instance().Connect(OerrDispatcher::ReportSignal::slot_type(
            [this](const OerrErrorReport &r, Oerr_ErrorReportingMode mode) {
                seen.push_back({oerr_ErrorReportDuplicate(r.Get()), mode});
            }));
    }
    ~DispatchRecorder() {
        m_handle->connection.disconnect();
        for (Seen &s : seen) oerr_DeleteErrorReportEx(&s.report);
    }
    std::string Printed(std::size_t i) const {
        return PrintNoEML(seen.at(i).report, seen.at(i).mode);
    }

    std::vector<Seen> seen;

  private:
    OerrDispatcher::Connection m_handle;
};

TEST(OerrException, SuccessfulCallLeavesItEmptyAndCheckDoesNothing) {
    DispatchRecorder rec;
    OerrException e("Caller", "caller.cpp");
    wchar_t *w = otxt_Text_Ascii2Unicode("abc", e);
    ASSERT_NE(w, nullptr);
    omsc_HeapFree(w);
    EXPECT_FALSE(Holds(e));
    EXPECT_TRUE(!e);
    EXPECT_EQ(static_cast<Oerr_ErrorReport *>(e), nullptr);
    EXPECT_NO_THROW(e.Check(7));
    EXPECT_NO_THROW(e.Check(7, false));
    EXPECT_EQ(e.get_What(), nullptr);
    EXPECT_EQ(e.Release(), nullptr);
    e.Log();
    EXPECT_TRUE(rec.seen.empty());
}

TEST(OerrException, CheckThrowsTheWrappedChainAndTheCatcherLogsIt) {
    DispatchRecorder rec;
    OerrException e("Caller", "caller.cpp");
    FailingCall(e);
    ASSERT_TRUE(Holds(e));
    Oerr_ErrorReport *inner = e;
    try {
        e.Check(7);
        FAIL() << "Check did not throw";
    } catch (OerrException &x) {
        EXPECT_FALSE(Holds(e));
        EXPECT_STREQ(x.GetFunctionName(), "Caller");
        EXPECT_STREQ(x.GetFileName(), "caller.cpp");
        Oerr_ErrorReport *head = x;
        ASSERT_NE(head, nullptr);
        EXPECT_EQ(head->number, 7);
        EXPECT_EQ(head->kind, 2);
        EXPECT_STREQ(head->function, L"Caller");
        EXPECT_STREQ(head->message, L"otxt_Text_Ascii2Unicode failed");
        EXPECT_EQ(head->next, inner);
        EXPECT_TRUE(rec.seen.empty());
    }
    // The handler neither cleared nor released the chain, so the thrown object printed it
    // when it died.
    ASSERT_EQ(rec.seen.size(), 1u);
    EXPECT_EQ(rec.seen[0].mode, OERR_REPORT_FULL);
    EXPECT_EQ(rec.Printed(0), std::string(" ***ERROR NUMBER 7 IN FUNCTION Caller***\n"
                                          " >>>otxt_Text_Ascii2Unicode failed<<<\n") +
                                  kInnerPrinted + "\n");
}

TEST(OerrException, CheckWithoutThrowPrintsTheWrappedChainAndEmpties) {
    DispatchRecorder rec;
    OerrException e("Caller");
    FailingCall(e);
    EXPECT_NO_THROW(e.Check(12, false));
    EXPECT_FALSE(Holds(e));
    ASSERT_EQ(rec.seen.size(), 1u);
    EXPECT_EQ(rec.seen[0].mode, OERR_REPORT_FULL);
    EXPECT_EQ(rec.Printed(0), std::string(" ***ERROR NUMBER 12 IN FUNCTION Caller***\n"
                                          " >>>otxt_Text_Ascii2Unicode failed<<<\n") +
                                  kInnerPrinted + "\n");

    // No own name and an inner record without one.
    OerrException anonymous;
    *static_cast<Oerr_ErrorReport **>(anonymous) =
        oerr_CreateErrorReport(nullptr, 3, 2, nullptr, L"inner");
    anonymous.Check(4, false);
    ASSERT_EQ(rec.seen.size(), 2u);
    EXPECT_EQ(rec.seen[1].report->function, nullptr);
    EXPECT_STREQ(rec.seen[1].report->message, L"Unknown function failed");
}

TEST(OerrException, BaseInterfaceReachesTheOverrides) {
    OerrException e("Caller");
    FailingCall(e);
    OrvikLog::UnthrownException &base = e;
    try {
        base.Check(9);
        FAIL() << "Check did not throw";
    } catch (OerrException &x) {
        EXPECT_EQ(static_cast<Oerr_ErrorReport *>(x)->number, 9);
        x.Clear();
    }
    EXPECT_EQ(base.get_What(), nullptr);
}

TEST(OerrException, GetWhatJoinsEveryMessageHeadFirst) {
    OerrException e;
    EXPECT_EQ(e.get_What(), nullptr);
    *static_cast<Oerr_ErrorReport **>(e) = Chain3();
    // The middle record has no message: its line is empty.
    EXPECT_STREQ(e.get_What(), "Cannot read Statistics\n\nShort read\n");
    e.Clear();
    *static_cast<Oerr_ErrorReport **>(e) =
        oerr_CreateErrorReport(L"f", 1, 2, nullptr, L"Gr\u00fc\u00dfe \u2603");
    EXPECT_STREQ(e.get_What(), "Gr\xc3\xbc\xc3\x9f"
                               "e \xe2\x98\x83\n");
    e.Clear();
    EXPECT_EQ(e.get_What(), nullptr);
}

TEST(OerrException, AssignMovesTheChainOut) {
    OerrException e;
    Oerr_ErrorReport *p = Chain3(); // overwritten, not freed: Assign owns nothing of p
    Oerr_ErrorReport *keep = p;
    e.Assign(&p);
    EXPECT_EQ(p, nullptr);
    oerr_DeleteErrorReportEx(&keep);

    Oerr_ErrorReport *chain = Chain3();
    e.Absorb(&chain);
    Oerr_ErrorReport *held = e;
    e.Assign(&p);
    EXPECT_EQ(p, held);
    EXPECT_FALSE(Holds(e));
    oerr_DeleteErrorReportEx(&p);
}

TEST(OerrException, AssignNarrowHandsOutANarrowCopy) {
    OerrException e;
    Oerr_ErrorReportA *a = reinterpret_cast<Oerr_ErrorReportA *>(&e); // any non-null value
    e.Assign(&a);
    EXPECT_EQ(a, nullptr);

    *static_cast<Oerr_ErrorReport **>(e) = Chain3();
    {
        ScopedAllocationFailure fail(1);
        e.Assign(&a);
    }
    // Under exhaustion nothing is handed out and the chain stays held.
    EXPECT_EQ(a, nullptr);
    EXPECT_TRUE(Holds(e));

    e.Assign(&a);
    EXPECT_FALSE(Holds(e));
    ASSERT_NE(a, nullptr);
    EXPECT_STREQ(a->function, "osta_StatisticsRead");
    EXPECT_STREQ(a->message, "Cannot read Statistics");
    EXPECT_EQ(a->number, 1);
    ASSERT_NE(a->next, nullptr);
    EXPECT_EQ(a->next->message, nullptr);
    ASSERT_NE(a->next->next, nullptr);
    EXPECT_EQ(a->next->next->number, 4);
    EXPECT_STREQ(a->next->next->message, "Short read");
    EXPECT_EQ(a->next->next->next, nullptr);
    oerr_DeleteErrorReportExA(&a);
}

TEST(OerrException, AbsorbWideTakesOverAndFreesTheOldChain) {
    OerrException e;
    FailingCall(e);
    Oerr_ErrorReport *p = Chain3();
    Oerr_ErrorReport *expected = p;
    e.Absorb(&p); // the failing call's chain is freed (ASan would report a leak)
    EXPECT_EQ(p, nullptr);
    EXPECT_EQ(static_cast<Oerr_ErrorReport *>(e), expected);
    e.Absorb(static_cast<Oerr_ErrorReport **>(e)); // its own slot: nothing happens
    EXPECT_EQ(static_cast<Oerr_ErrorReport *>(e), expected);
    e.Absorb(static_cast<Oerr_ErrorReport **>(nullptr));
    EXPECT_EQ(static_cast<Oerr_ErrorReport *>(e), expected);
    e.Absorb(&p); // absorbing an empty report empties the object
    EXPECT_FALSE(Holds(e));
}

Oerr_ErrorReportA *NarrowChain() {
    Oerr_ErrorReport *w = oerr_CreateErrorReport(L"inner", 3, 1, nullptr, L"caf\u00e9");
    w = oerr_CreateErrorReport(L"outer", 8, 2, w, nullptr);
    Oerr_ErrorReportA *a = oerr_ErrorReportU2A(w);
    oerr_DeleteErrorReportEx(&w);
    return a;
}

TEST(OerrException, AbsorbNarrowHoldsAWideCopyAndReleasesTheNarrowChain) {
    OerrException e;
    FailingCall(e);
    Oerr_ErrorReportA *a = NarrowChain();
    ASSERT_NE(a, nullptr);
    a->next->function[0] = '\xff'; // not UTF-8: replaced, the report is kept
    e.Absorb(&a);
    EXPECT_EQ(a, nullptr);
    Oerr_ErrorReport *r = e;
    ASSERT_NE(r, nullptr);
    EXPECT_STREQ(r->function, L"outer");
    EXPECT_EQ(r->number, 8);
    EXPECT_EQ(r->kind, 2);
    EXPECT_EQ(r->message, nullptr);
    ASSERT_NE(r->next, nullptr);
    EXPECT_STREQ(r->next->function, L"\ufffdnner");
    EXPECT_STREQ(r->next->message, L"caf\u00e9");
    EXPECT_EQ(r->next->number, 3);
    EXPECT_EQ(r->next->kind, 1);
    EXPECT_EQ(r->next->next, nullptr);
    e.Clear();
}

TEST(OerrException, AbsorbNarrowUnderExhaustionLosesOnlyTheCopy) {
    // Fail every allocation in turn: each round either holds the full copy or nothing, and
    // the narrow chain is always released (ASan checks for leaks).
    for (long n = 1;; ++n) {
        ASSERT_LT(n, 50);
        OerrException e;
        Oerr_ErrorReportA *a = NarrowChain();
        bool done;
        {
            ScopedAllocationFailure fail(n);
            e.Absorb(&a);
            done = orvik::core::testing::AllocationsCounted() < n;
        }
        EXPECT_EQ(a, nullptr);
        if (done) {
            ASSERT_TRUE(Holds(e));
            EXPECT_STREQ(static_cast<Oerr_ErrorReport *>(e)->next->message, L"caf\u00e9");
            e.Clear();
            break;
        }
        EXPECT_FALSE(Holds(e)) << "allocation " << n;
    }
}

TEST(OerrExceptionASCII, AdapterLendsTheNarrowSlotAndAbsorbsIt) {
    OerrException e("Caller");
    {
        OerrExceptionASCII adapter(e);
        Oerr_ErrorReportA **slot = adapter;
        EXPECT_EQ(*slot, nullptr);
        *slot = NarrowChain(); // as a narrow-reporting function would
        EXPECT_FALSE(Holds(e));
    }
    ASSERT_TRUE(Holds(e));
    EXPECT_STREQ(static_cast<Oerr_ErrorReport *>(e)->function, L"outer");
    EXPECT_STREQ(e.get_What(), "\ncaf\xc3\xa9\n");

    // An adapter whose slot stayed empty leaves the held chain alone.
    Oerr_ErrorReport *held = e;
    { OerrExceptionASCII idle(e); }
    EXPECT_EQ(static_cast<Oerr_ErrorReport *>(e), held);
    e.Clear();
}

TEST(OerrExceptionASCII, UnabsorbedNarrowChainLosesItsTailWithTheException) {
    Oerr_ErrorReportA *head = NarrowChain();
    ASSERT_NE(head->next, nullptr);
    {
        OerrException e;
        Oerr_ErrorReportA **slot;
        {
            OerrExceptionASCII adapter(e);
            slot = adapter;
        }
        *slot = head; // lent out but never absorbed
    }
    // The records behind the head were freed (ASan would flag a leak otherwise); the head
    // itself is left to its holder, with its link cleared.
    EXPECT_EQ(head->next, nullptr);
    EXPECT_EQ(head->number, 8);
    oerr_DeleteErrorReportExA(&head);
}

bool SameChain(const Oerr_ErrorReport *a, const Oerr_ErrorReport *b) {
    for (; a && b; a = a->next, b = b->next) {
        if (a == b || a->number != b->number || a->kind != b->kind) return false;
        if ((a->function == nullptr) != (b->function == nullptr)) return false;
        if (a->function && std::wcscmp(a->function, b->function) != 0) return false;
        if ((a->message == nullptr) != (b->message == nullptr)) return false;
        if (a->message && std::wcscmp(a->message, b->message) != 0) return false;
    }
    return !a && !b;
}

TEST(OerrException, CopiesHoldIndependentDuplicates) {
    OerrException e("Source", "source.cpp");
    *static_cast<Oerr_ErrorReport **>(e) = Chain3();
    OerrException copy(e);
    EXPECT_STREQ(copy.GetFunctionName(), "Source");
    EXPECT_STREQ(copy.GetFileName(), "source.cpp");
    EXPECT_TRUE(SameChain(e, copy));

    OerrException target("Target");
    FailingCall(target);
    target = e; // its own chain is freed, the other's duplicated
    EXPECT_STREQ(target.GetFunctionName(), "Source");
    EXPECT_TRUE(SameChain(e, target));

    Oerr_ErrorReport *before = target;
    OerrException &self = target;
    target = self;
    EXPECT_EQ(static_cast<Oerr_ErrorReport *>(target), before);

    e.Clear(); // the copies still own valid chains (ASan: no use after free, no double free)
    EXPECT_STREQ(static_cast<Oerr_ErrorReport *>(copy)->next->next->message, L"Short read");
    EXPECT_STREQ(static_cast<Oerr_ErrorReport *>(target)->message, L"Cannot read Statistics");

    target = e; // assigning an empty object empties the target
    EXPECT_FALSE(Holds(target));
    OerrException emptyCopy(e);
    EXPECT_FALSE(Holds(emptyCopy));
    copy.Clear();
}

TEST(OerrException, DestructorPrintsAnUnhandledChainOnce) {
    DispatchRecorder rec;
    { OerrException idle("Idle"); }
    EXPECT_TRUE(rec.seen.empty());
    {
        OerrException e("Holder");
        *static_cast<Oerr_ErrorReport **>(e) = Chain3();
        e.Log(); // printed, still held
        EXPECT_TRUE(Holds(e));
    }
    ASSERT_EQ(rec.seen.size(), 2u);
    EXPECT_TRUE(SameChain(rec.seen[0].report, rec.seen[1].report));
    EXPECT_EQ(rec.seen[1].mode, OERR_REPORT_FULL);
    EXPECT_EQ(rec.Printed(1), " ***ERROR NUMBER 1 IN FUNCTION osta_StatisticsRead***\n"
                              " >>>Cannot read Statistics<<<\n"
                              " ***ERROR NUMBER 2 IN FUNCTION ohfa_FileOpen***\n"
                              " >>>ofio_ReadSeq failed.<<<\n"
                              " ***ERROR NUMBER 4 IN FUNCTION ofio_ReadSeq***\n"
                              " >>>Short read<<<\n"
                              "\n");
}

TEST(OerrException, LogCodeRecordsAnUnknownExceptionWithoutPrinting) {
    DispatchRecorder rec;
    OerrException e("Worker");
    e.Log(31);
    Oerr_ErrorReport *r = e;
    ASSERT_NE(r, nullptr);
    EXPECT_STREQ(r->function, L"Worker");
    EXPECT_EQ(r->number, 31);
    EXPECT_EQ(r->kind, 2);
    EXPECT_STREQ(r->message, L"Unknown function:  unknown exception thrown");
    EXPECT_EQ(r->next, nullptr);
    EXPECT_EQ(e.GetCode(), 31);

    e.Log(44); // now the held head has a name
    r = e;
    EXPECT_STREQ(r->message, L"Worker:  unknown exception thrown");
    EXPECT_EQ(r->number, 44);
    ASSERT_NE(r->next, nullptr);
    EXPECT_EQ(r->next->number, 31);
    EXPECT_EQ(e.GetCode(), 44);
    EXPECT_TRUE(rec.seen.empty());
    e.Clear();
}

TEST(OerrException, LogWithMessageOrCauseWrapsWithoutPrinting) {
    DispatchRecorder rec;
    OerrException e("Worker");
    e.Log(5, "first");
    e.Log(6, static_cast<const char *>(nullptr));
    Oerr_ErrorReport *r = e;
    EXPECT_EQ(r->number, 6);
    EXPECT_STREQ(r->message, L"");
    EXPECT_STREQ(r->next->message, L"first");
    EXPECT_EQ(e.GetCode(), 6);

    // A plain cause becomes one record with its function, code and message.
    OrvikLog::Exception plain("Reader", "reader.cpp", 77);
    plain.SetMessage("disk gone");
    e.Log(8, plain);
    r = e;
    EXPECT_STREQ(r->message, L"Reader failed");
    EXPECT_EQ(r->number, 8);
    ASSERT_NE(r->next, nullptr);
    EXPECT_STREQ(r->next->function, L"Reader");
    EXPECT_EQ(r->next->number, 77);
    EXPECT_STREQ(r->next->message, L"disk gone");
    EXPECT_EQ(r->next->next->number, 6);

    // An OerrException cause contributes a duplicate of its chain.
    OerrException cause("Inner");
    FailingCall(cause);
    OerrException outer("Outer");
    *static_cast<Oerr_ErrorReport **>(outer) = oerr_CreateErrorReport(L"old", 1, 2, nullptr, L"o");
    outer.Log(9, cause);
    EXPECT_STREQ(outer.get_What(),
                 "otxt_Text_Ascii2Unicode failed\n"
                 "Text cannot be converted: invalid UTF-8 byte 0xff at position 2\no\n");
    EXPECT_NE(static_cast<Oerr_ErrorReport *>(outer)->next, static_cast<Oerr_ErrorReport *>(cause));
    EXPECT_TRUE(Holds(cause));
    EXPECT_TRUE(rec.seen.empty());
    cause.Clear();
    outer.Clear();
    e.Clear();
}

TEST(OerrException, ThrowWithMessageWrapsTheHeldChain) {
    OerrException e("Thrower", "thrower.cpp");
    FailingCall(e);
    try {
        e.Throw(21, "Bad \xc3\xa9tat");
        FAIL() << "Throw returned";
    } catch (OerrException &x) {
        EXPECT_FALSE(Holds(e));
        Oerr_ErrorReport *r = x;
        EXPECT_EQ(r->number, 21);
        EXPECT_STREQ(r->function, L"Thrower");
        EXPECT_STREQ(r->message, L"Bad \u00e9tat");
        EXPECT_EQ(r->next->number, 1);
        x.Clear();
    }
    try {
        e.Throw(22, static_cast<const char *>(nullptr));
        FAIL() << "Throw returned";
    } catch (OerrException &x) {
        EXPECT_STREQ(static_cast<Oerr_ErrorReport *>(x)->message, L"");
        EXPECT_EQ(static_cast<Oerr_ErrorReport *>(x)->next, nullptr);
        x.Clear();
    }
    try {
        e.Throw(23, static_cast<unsigned int>(ENOENT));
        FAIL() << "Throw returned";
    } catch (OerrException &x) {
        // The system's text for the number: "No such file or directory" on Linux; Windows
        // reads it as its own error 2, "File not found".
        const std::string text = std::system_category().message(ENOENT);
        EXPECT_EQ(std::wstring(static_cast<Oerr_ErrorReport *>(x)->message),
                  std::wstring(text.begin(), text.end()));
        x.Clear();
    }
    // Throw on an empty object still throws, without a chain.
    try {
        e.Throw();
        FAIL() << "Throw returned";
    } catch (OerrException &x) {
        EXPECT_FALSE(Holds(x));
        EXPECT_STREQ(x.GetFileName(), "thrower.cpp");
    }
}

TEST(OerrException, ExhaustionWhileWrappingThrowsWithoutAChain) {
    DispatchRecorder rec;
    OerrException e("Caller");
    FailingCall(e);
    {
        ScopedAllocationFailure fail(1, true);
        try {
            e.Check(7);
            FAIL() << "Check did not throw";
        } catch (OerrException &x) {
            EXPECT_FALSE(Holds(x)); // the chain was released with the failed record (ASan)
        }
        FailingCall(e); // fails too, but its own report cannot be made: nothing held
    }
    EXPECT_FALSE(Holds(e));

    FailingCall(e);
    {
        ScopedAllocationFailure fail(1, true);
        e.Check(7, false);
    }
    EXPECT_FALSE(Holds(e));
    EXPECT_TRUE(rec.seen.empty());
}

TEST(OerrDispatcher, ConnectionHandlesAndBothSignals) {
    OerrDispatcher &d = OerrDispatcher::Instance();
    EXPECT_EQ(&d, &OerrDispatcher::Instance());

    std::vector<std::wstring> first, second;
    std::vector<std::string> sources;
    OerrDispatcher::Connection h1 =
        d.Connect(OerrDispatcher::MessageSignal::slot_type([&](const wchar_t *text, char *source) {
            first.push_back(text ? text : L"(none)");
            sources.push_back(source ? source : "(none)");
        }));
    boost::signals2::connection keep = h1->connection;
    h1.reset(); // dropping the handle leaves the listener connected
    wchar_t hello[] = L"hello";
    char src[] = "ohfa";
    d.Dispatch(hello, src);
    EXPECT_EQ(first, std::vector<std::wstring>{L"hello"});
    EXPECT_EQ(sources, std::vector<std::string>{"ohfa"});

    OerrDispatcher::Connection h2 = d.Connect(OerrDispatcher::MessageSignal::slot_type(
        [&](const wchar_t *text, char *) { second.push_back(text); }));
    wchar_t again[] = L"again";
    d.Dispatch(again, nullptr);
    EXPECT_EQ(second, std::vector<std::wstring>{L"again"});
    h2->connection.disconnect();
    wchar_t third[] = L"third";
    d.Dispatch(third, nullptr);
    EXPECT_EQ(second.size(), 1u);
    EXPECT_EQ(first, (std::vector<std::wstring>{L"hello", L"again", L"third"}));
    EXPECT_EQ(sources.back(), "(none)");

    // A copy of the dispatcher reaches the same listeners.
    OerrDispatcher copy(d);
    wchar_t viaCopy[] = L"copy";
    copy.Dispatch(viaCopy, nullptr);
    EXPECT_EQ(first.back(), L"copy");
    keep.disconnect();
    d.Dispatch(hello, nullptr);
    EXPECT_EQ(first.size(), 4u);

    // Report listeners receive the chain itself (not a copy) and the mode.
    std::vector<const Oerr_ErrorReport *> reports;
    OerrDispatcher::Connection h3 = d.Connect(OerrDispatcher::ReportSignal::slot_type(
        [&](const OerrErrorReport &r, Oerr_ErrorReportingMode mode) {
            reports.push_back(r.Get());
            EXPECT_EQ(mode, OERR_REPORT_BRIEF);
        }));
    Oerr_ErrorReport *r = Chain3();
    oerr_PrintErrorReport(r, OERR_REPORT_BRIEF);
    h3->connection.disconnect();
    oerr_PrintErrorReport(r, OERR_REPORT_BRIEF);
    EXPECT_EQ(reports, std::vector<const Oerr_ErrorReport *>{r});
    oerr_DeleteErrorReportEx(&r);
}

TEST(OrvikLogException, NamesCodeAndMessageAreCopiedValues) {
    OrvikLog::Exception none;
    EXPECT_EQ(none.GetFunctionName(), nullptr);
    EXPECT_EQ(none.GetFileName(), nullptr);
    EXPECT_EQ(none.GetCode(), 0);
    EXPECT_EQ(none.get_What(), nullptr);

    char name[] = "fn";
    OrvikLog::Exception e(name, "file.cpp", 3);
    name[0] = 'X'; // the object keeps its own copy
    EXPECT_STREQ(e.GetFunctionName(), "fn");
    e.SetMessage("m");
    OrvikLog::Exception copy(e);
    e.SetFunctionName(nullptr);
    e.SetMessage(nullptr);
    EXPECT_EQ(e.GetFunctionName(), nullptr);
    EXPECT_EQ(e.get_What(), nullptr);
    EXPECT_STREQ(copy.GetFunctionName(), "fn");
    EXPECT_STREQ(copy.GetFileName(), "file.cpp");
    EXPECT_EQ(copy.GetCode(), 3);
    EXPECT_STREQ(copy.get_What(), "m");
    none = copy;
    EXPECT_STREQ(none.GetFunctionName(), "fn");
    EXPECT_STREQ(none.get_What(), "m");
}

TEST(OrvikLogUnthrownException, RecordsThenThrowsOnCheck) {
    OrvikLog::UnthrownException u("Task", "task.cpp");
    EXPECT_NO_THROW(u.Check(1)); // nothing pending
    u.Log(4);
    EXPECT_STREQ(u.get_What(), "Task:  unknown exception thrown");
    EXPECT_EQ(u.GetCode(), 4);
    u.Log(5, "pending");
    try {
        u.Check(6);
        FAIL() << "Check did not throw";
    } catch (OrvikLog::UnthrownException &x) {
        EXPECT_STREQ(x.get_What(), "pending");
        EXPECT_EQ(x.GetCode(), 6);
        EXPECT_STREQ(x.GetFileName(), "task.cpp");
    }
    EXPECT_EQ(u.get_What(), nullptr);
    EXPECT_EQ(u.GetCode(), 0);

    OrvikLog::Exception cause("Sub");
    u.Log(7, cause);
    EXPECT_STREQ(u.get_What(), "Sub failed");
    cause.SetMessage("why");
    u.Log(7, cause);
    EXPECT_STREQ(u.get_What(), "why");
    u.Clear();
    EXPECT_NO_THROW(u.Check(1));
    EXPECT_THROW(u.Throw(8, nullptr), OrvikLog::UnthrownException);
    EXPECT_EQ(u.get_What(), nullptr);
}

} // namespace
