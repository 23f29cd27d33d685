// Error-report records: creation, chains, duplication, printed forms, handlers and the
// alternative error function.
#include <gtest/gtest.h>

#include <cwchar>
#include <string>
#include <thread>
#include <vector>

#include <orvik/oerr.h>
#include <orvik/othr.h>

#include "core/heap_seam.hpp"
#include "stderr_capture.hpp"

namespace {

Oerr_ErrorReport *Chain3() {
    Oerr_ErrorReport *r = oerr_CreateErrorReport(L"ofio_ReadSeq", 4, 2, nullptr, L"Short read");
    r = oerr_CreateErrorReport(L"ohfa_FileOpen", 2, 2, r, nullptr);
    return oerr_CreateErrorReport(L"osta_StatisticsRead", 1, 2, r, L"Cannot read %s",
                                  L"Statistics");
}

std::string PrintNoEML(Oerr_ErrorReport *r, Oerr_ErrorReportingMode mode) {
    StderrCapture cap;
    oerr_PrintErrorReportNoEML(r, mode);
    return cap.Text();
}

TEST(ErrorReport, CreateFillsFieldsAndTakesOverPrevious) {
    Oerr_ErrorReport *inner =
        oerr_CreateErrorReport(L"in", 3, 1, nullptr, L"%s=%ld %S", L"x", 7L, "narrow\xc3\xa9");
    ASSERT_NE(inner, nullptr);
    EXPECT_STREQ(inner->message, L"x=7 narrow\u00e9");
    EXPECT_EQ(inner->number, 3);
    EXPECT_EQ(inner->kind, 1);
    Oerr_ErrorReport *outer = oerr_CreateErrorReport(nullptr, 9, 2, inner, nullptr);
    ASSERT_NE(outer, nullptr);
    EXPECT_EQ(outer->next, inner);
    EXPECT_EQ(outer->function, nullptr);
    EXPECT_EQ(outer->message, nullptr);
    oerr_DeleteErrorReportEx(&outer);
    EXPECT_EQ(outer, nullptr);
    oerr_DeleteErrorReportEx(&outer); // harmless again
    oerr_DeleteErrorReportEx(nullptr);
}

TEST(ErrorReport, CallerTextIsNeverAFormat) {
    Oerr_ErrorReport *r = oerr_CreateErrorReport(L"f", 1, 2, nullptr, L"%s", L"%s%n%d");
    EXPECT_STREQ(r->message, L"%s%n%d");
    oerr_DeleteErrorReportEx(&r);
}

TEST(ErrorReport, ExhaustedHeapGivesSilentNullAndFreesPrevious) {
    Oerr_ErrorReport *inner = oerr_CreateErrorReport(L"in", 1, 2, nullptr, L"m");
    {
        orvik::core::testing::ScopedAllocationFailure fail(1);
        Oerr_ErrorReport *r = oerr_CreateErrorReport(L"out", 2, 2, inner, L"m");
        EXPECT_EQ(r, nullptr);
    }
    // ASan proves `inner` was released by the failed creation.
}

TEST(ErrorReport, DuplicateCopiesEveryRecord) {
    EXPECT_EQ(oerr_ErrorReportDuplicate(nullptr), nullptr);
    Oerr_ErrorReport *src = Chain3();
    Oerr_ErrorReport *copy = oerr_ErrorReportDuplicate(src);
    ASSERT_NE(copy, nullptr);
    for (auto *a = src, *b = copy; a || b; a = a->next, b = b->next) {
        ASSERT_TRUE(a && b);
        EXPECT_NE(a, b);
        EXPECT_EQ(a->number, b->number);
        EXPECT_EQ(a->kind, b->kind);
        if (a->message) {
            EXPECT_NE(a->message, b->message);
            EXPECT_STREQ(a->message, b->message);
        } else {
            EXPECT_EQ(b->message, nullptr);
        }
        EXPECT_STREQ(a->function, b->function);
    }
    oerr_DeleteErrorReportEx(&src);
    oerr_DeleteErrorReportEx(&copy);
}

TEST(ErrorReport, DuplicateUnderExhaustionAbortsWithoutLeak) {
    Oerr_ErrorReport *src = Chain3();
    for (long n = 1;; ++n) {
        orvik::core::testing::ScopedAllocationFailure fail(n);
        Oerr_ErrorReport *copy = oerr_ErrorReportDuplicate(src);
        if (copy) {
            oerr_DeleteErrorReportEx(&copy);
            break;
        }
        ASSERT_LT(n, 100);
    }
    oerr_DeleteErrorReportEx(&src);
}

TEST(ErrorReport, NarrowRoundTrip) {
    Oerr_ErrorReport *src = oerr_CreateErrorReport(L"f\u00fc", 1, 2, nullptr, L"\u00e9t\u00e9");
    Oerr_ErrorReportA *a = oerr_ErrorReportU2A(src);
    ASSERT_NE(a, nullptr);
    EXPECT_STREQ(a->function, "f\xc3\xbc");
    EXPECT_STREQ(a->message, "\xc3\xa9t\xc3\xa9");
    Oerr_ErrorReport *back = oerr_ErrorReportA2U(a);
    ASSERT_NE(back, nullptr);
    EXPECT_STREQ(back->message, src->message);
    a->message[0] = '\xff'; // invalid UTF-8 cannot be widened
    EXPECT_EQ(oerr_ErrorReportA2U(a), nullptr);
    oerr_DeleteErrorReportExA(&a);
    oerr_DeleteErrorReportEx(&back);
    oerr_DeleteErrorReportEx(&src);
}

TEST(ErrorReportPrint, FullFormOfAThreeDeepChain) {
    Oerr_ErrorReport *r = Chain3();
    EXPECT_EQ(PrintNoEML(r, OERR_REPORT_FULL),
              " ***ERROR NUMBER 1 IN FUNCTION osta_StatisticsRead***\n"
              " >>>Cannot read Statistics<<<\n"
              " ***ERROR NUMBER 2 IN FUNCTION ohfa_FileOpen***\n"
              " >>>ofio_ReadSeq failed.<<<\n"
              " ***ERROR NUMBER 4 IN FUNCTION ofio_ReadSeq***\n"
              " >>>Short read<<<\n"
              "\n");
    oerr_DeleteErrorReportEx(&r);
}

TEST(ErrorReportPrint, BriefFormPrintsOnlyTheInnermostHeader) {
    Oerr_ErrorReport *r = Chain3();
    // Records with an inner record are skipped entirely, message included.
    EXPECT_EQ(PrintNoEML(r, OERR_REPORT_BRIEF), " ***ERROR NUMBER 4 IN FUNCTION ofio_ReadSeq***\n"
                                                " >>>Short read<<<\n"
                                                "\n");
    oerr_DeleteErrorReportEx(&r);
}

TEST(ErrorReportPrint, KindsSelectTheHeader) {
    struct Case {
        long kind;
        const char *expected;
    } cases[] = {
        {1, " ***WARNING NUMBER 7 IN FUNCTION f***\n >>>m<<<\n\n"},
        {2, " ***ERROR NUMBER 7 IN FUNCTION f***\n >>>m<<<\n\n"},
        {3, " ***ERROR NUMBER 7 IN FUNCTION f***\n >>>m<<<\n\n"},
        {-2, " ***ERROR NUMBER 7 IN FUNCTION f***\n >>>m<<<\n\n"},
        {0, " >>>m<<<\n\n"},
        {-1, " >>>m<<<\n\n"},
    };
    for (const Case &c : cases) {
        Oerr_ErrorReport *r = oerr_CreateErrorReport(L"f", 7, c.kind, nullptr, L"m");
        EXPECT_EQ(PrintNoEML(r, OERR_REPORT_FULL), c.expected) << "kind " << c.kind;
        oerr_DeleteErrorReportEx(&r);
    }
}

TEST(ErrorReportPrint, NullReportAndMissingTexts) {
    EXPECT_EQ(PrintNoEML(nullptr, OERR_REPORT_FULL), "\n");
    Oerr_ErrorReport *inner = oerr_CreateErrorReport(nullptr, 1, 2, nullptr, nullptr);
    Oerr_ErrorReport *outer = oerr_CreateErrorReport(L"g", 2, 2, inner, nullptr);
    // No message and an inner record without a name: header lines only.
    EXPECT_EQ(PrintNoEML(outer, OERR_REPORT_FULL), " ***ERROR NUMBER 2 IN FUNCTION g***\n"
                                                   " ***ERROR NUMBER 1 IN FUNCTION (null)***\n\n");
    oerr_DeleteErrorReportEx(&outer);
}

TEST(ErrorReportPrint, NonAsciiTextIsWrittenAsUtf8) {
    Oerr_ErrorReport *r = oerr_CreateErrorReport(L"f", 1, 0, nullptr, L"Gr\u00fc\u00dfe \u2603");
    EXPECT_EQ(PrintNoEML(r, OERR_REPORT_FULL), " >>>Gr\xc3\xbc\xc3\x9f"
                                               "e \xe2\x98\x83<<<\n\n");
    oerr_DeleteErrorReportEx(&r);
}

// The alternative function and dispatcher are process-wide; these tests run in order in one
// process and restore a printing set-up at the end.
struct AltCall {
    int calls = 0;
    Oerr_ErrorReport *seen = nullptr;
    Oerr_ErrorReportingMode mode = OERR_REPORT_FULL;
    bool makeOutReport = false;
};

void AltFunction(void *data, Oerr_ErrorReport *report, Oerr_ErrorReportingMode mode,
                 Oerr_ErrorReport **out) {
    auto *c = static_cast<AltCall *>(data);
    ++c->calls;
    c->seen = report;
    c->mode = mode;
    if (c->makeOutReport) *out = oerr_CreateErrorReport(L"alt", 77, 2, nullptr, L"from alt");
}

TEST(ErrorReportDispatch, AlternativeFunctionReceivesEveryPrint) {
    Oerr_AltErrorFunction f = reinterpret_cast<Oerr_AltErrorFunction>(1);
    void *d = reinterpret_cast<void *>(1);
    oerr_GetAltErrorFunction(&f, &d);
    // Before any set the pair is null and the dispatcher has no listener: nothing is printed.
    EXPECT_EQ(f, nullptr);
    EXPECT_EQ(d, nullptr);
    Oerr_ErrorReport *r = oerr_CreateErrorReport(L"f", 1, 2, nullptr, L"m");
    {
        StderrCapture cap;
        oerr_PrintErrorReport(r, OERR_REPORT_FULL);
        oerr_MessageLog(2, L"log %ld", 1L);
        EXPECT_EQ(cap.Text(), "");
    }

    AltCall call;
    oerr_SetAltErrorFunction(AltFunction, &call);
    oerr_GetAltErrorFunction(&f, &d);
    EXPECT_EQ(f, &AltFunction);
    EXPECT_EQ(d, &call);
    {
        StderrCapture cap;
        oerr_PrintErrorReport(r, OERR_REPORT_BRIEF);
        EXPECT_EQ(cap.Text(), "");
    }
    EXPECT_EQ(call.calls, 1);
    EXPECT_EQ(call.seen, r);
    EXPECT_EQ(call.mode, OERR_REPORT_BRIEF);

    call.makeOutReport = true;
    {
        StderrCapture cap;
        oerr_PrintErrorReport(r, OERR_REPORT_FULL);
        EXPECT_EQ(cap.Text(), " ***ERROR NUMBER 77 IN FUNCTION alt***\n >>>from alt<<<\n\n");
    }
    // The reported chain still belongs to us (ASan would flag a double free here).
    oerr_DeleteErrorReportEx(&r);

    // The message log dispatches a header-less record with mode 1.
    call.makeOutReport = false;
    call.calls = 0;
    oerr_MessageLog(0, L"hello %s", L"log");
    EXPECT_EQ(call.calls, 1);
    EXPECT_EQ(call.mode, OERR_REPORT_BRIEF);

    // With no alternative function the listener prints the chain itself.
    oerr_SetAltErrorFunction(nullptr, nullptr);
    StderrCapture cap;
    oerr_MessageLog(0, L"plain %ld", 5L);
    // Each SetAltErrorFunction connected the listener once more, so it now runs twice.
    EXPECT_EQ(cap.Text(), " >>>plain 5<<<\n\n >>>plain 5<<<\n\n");
}

std::vector<int> gHandlerOrder;
void HandlerA(int32_t arg, void *data) {
    gHandlerOrder.push_back(*static_cast<int *>(data) * 100 + arg);
}

TEST(ErrorHandlers, NewestFirstAndRemoval) {
    int one = 1, two = 2, three = 3;
    EXPECT_EQ(oerr_ErrorHandlerRegister(nullptr, &one), nullptr);
    Oerr_ErrorHandler *h1 = oerr_ErrorHandlerRegister(HandlerA, &one);
    Oerr_ErrorHandler *h2 = oerr_ErrorHandlerRegister(HandlerA, &two);
    Oerr_ErrorHandler *h3 = oerr_ErrorHandlerRegister(HandlerA, &three);
    ASSERT_TRUE(h1 && h2 && h3);
    EXPECT_EQ(h1->threadSafe, 0);
    gHandlerOrder.clear();
    oerr_ErrorOccurred(5);
    EXPECT_EQ(gHandlerOrder, (std::vector<int>{305, 205, 105}));

    oerr_ErrorHandlerRemove(h2);
    Oerr_ErrorHandler stranger{};
    oerr_ErrorHandlerRemove(&stranger); // unknown handle: ignored
    gHandlerOrder.clear();
    oerr_ErrorOccurred(1);
    EXPECT_EQ(gHandlerOrder, (std::vector<int>{301, 101}));
    oerr_ErrorHandlerRemove(h3);
    oerr_ErrorHandlerRemove(h1);
    gHandlerOrder.clear();
    oerr_ErrorOccurred(1);
    EXPECT_TRUE(gHandlerOrder.empty());
}

// Handlers that change the list from inside their own call (the list lock is recursive).
struct SelfEditing {
    std::vector<int> *calls;
    int id;
    Oerr_ErrorHandler *self = nullptr;
    Oerr_ErrorHandler *victim = nullptr; // removed by this handler when set
    Oerr_ErrorHandler *added = nullptr;  // registered by this handler on its first call
    bool addOnCall = false;
};
void SelfEditingHandler(int32_t, void *data) {
    auto *s = static_cast<SelfEditing *>(data);
    s->calls->push_back(s->id);
    if (s->victim) {
        oerr_ErrorHandlerRemove(s->victim);
        s->victim = nullptr;
    }
    if (s->addOnCall && !s->added) s->added = oerr_ErrorHandlerRegister(HandlerA, &s->id);
}

TEST(ErrorHandlers, AHandlerMayRemoveItselfOrOthersAndRegisterDuringTheWalk) {
    std::vector<int> calls;
    SelfEditing last{&calls, 1}, middle{&calls, 2}, first{&calls, 3};
    last.self = oerr_ErrorHandlerRegister(SelfEditingHandler, &last);
    middle.self = oerr_ErrorHandlerRegister(SelfEditingHandler, &middle);
    first.self = oerr_ErrorHandlerRegister(SelfEditingHandler, &first);
    first.victim = middle.self; // the record after the running one
    last.victim = last.self;    // the running record itself
    last.addOnCall = true;
    gHandlerOrder.clear();
    oerr_ErrorOccurred(7);                      // would deadlock with a plain lock
    EXPECT_EQ(calls, (std::vector<int>{3, 1})); // the removed middle one is not called
    EXPECT_TRUE(gHandlerOrder.empty());         // one added during the walk waits for the next
    ASSERT_NE(last.added, nullptr);

    calls.clear();
    oerr_ErrorOccurred(2);
    EXPECT_EQ(calls, (std::vector<int>{3})); // only `first` of the three is still listed
    EXPECT_EQ(gHandlerOrder, (std::vector<int>{102}));
    oerr_ErrorHandlerRemove(last.added);
    oerr_ErrorHandlerRemove(first.self);
    calls.clear();
    oerr_ErrorOccurred(3);
    EXPECT_TRUE(calls.empty()); // ASan checks that the deferred records were freed
}

TEST(ErrorReportPrint, ModesArePlainIntegersInEitherLanguage) {
    Oerr_ErrorReport *r = Chain3();
    const std::string full = PrintNoEML(r, OERR_REPORT_FULL);
    const std::string brief = PrintNoEML(r, OERR_REPORT_BRIEF);
    EXPECT_NE(full, brief);
    StderrCapture cap;
    oerr_PrintErrorReportNoEML(r, 0);
    oerr_PrintErrorReportNoEML(r, 1);
    oerr_PrintErrorReportNoEML(r, -3); // any non-zero value is brief
    EXPECT_EQ(cap.Text(), full + brief + brief);
    oerr_DeleteErrorReportEx(&r);
}

} // namespace
