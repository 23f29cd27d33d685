/*
 * oerr.h - error reports: the chain of records through which every fallible function of
 * the library reports failure, its printing, the message log, the alternative error
 * function and the error-handler list; in C++ also OerrException and OerrDispatcher.
 *
 * Calling convention: the last parameter of a fallible function is Oerr_ErrorReport **err.
 * The function sets *err to null on entry; on failure it stores one new record whose
 * `next` is the callee's chain (taken over) and returns its failure value.
 */
#ifndef ORVIK_OERR_H
#define ORVIK_OERR_H

#include <stdarg.h>
#include <stdint.h>
#include <wchar.h>

#include <orvik/omsc.h>

ORVIK_BEGIN_DECLS

/* One record of a chain; `next` leads towards the first cause. All texts are heap-owned. */
typedef struct _Oerr_ErrorReportU {
    struct _Oerr_ErrorReportU *next;
    wchar_t *function;
    int32_t number;
    int32_t kind; /* 1 warning, 2 error, 0 or -1 plain message without header */
    wchar_t *message;
} Oerr_ErrorReport;

/* The narrow twin, for clients built with narrow strings. */
typedef struct _Oerr_ErrorReportA {
    struct _Oerr_ErrorReportA *next;
    char *function;
    int32_t number;
    int32_t kind;
    char *message;
} Oerr_ErrorReportA;

/* A 32-bit integer so that callers in either language may pass a plain 0 or 1; any value
 * other than OERR_REPORT_FULL prints the brief form. */
typedef int32_t Oerr_ErrorReportingMode;
enum { OERR_REPORT_FULL = 0, OERR_REPORT_BRIEF = 1 };

enum { OERR_KIND_PLAIN = 0, OERR_KIND_WARNING = 1, OERR_KIND_ERROR = 2 };

/* Conventional numbers shared across the library. */
enum { OERR_NUMBER_OUT_OF_MEMORY = 5, OERR_NUMBER_DIVIDED_BY_ZERO = 6 };

typedef void (*Oerr_AltErrorFunction)(void *clientData, Oerr_ErrorReport *report,
                                      Oerr_ErrorReportingMode mode, Oerr_ErrorReport **outReport);

typedef void (*Oerr_ErrorHandlerFunction)(int32_t argument, void *clientData);

/* One registered handler; the record pointer is the client's handle. */
typedef struct _Oerr_ErrorHandler {
    Oerr_ErrorHandlerFunction handler;
    int32_t threadSafe;
    void *clientData;
    struct _Oerr_ErrorHandler *next;
    struct _Oerr_ErrorHandler *previous;
} Oerr_ErrorHandler;

ORVIK_API Oerr_ErrorReport **oerr_Init(Oerr_ErrorReport **err) ORVIK_NOEXCEPT;

/* Returns the new head record, or null when the heap is exhausted (the previous chain is
 * then freed, so nothing leaks and the failure goes unreported). `format` may be null. */
ORVIK_API Oerr_ErrorReport *oerr_CreateErrorReport(const wchar_t *function, long number, long kind,
                                                   Oerr_ErrorReport *previous,
                                                   const wchar_t *format, ...) ORVIK_NOEXCEPT;
ORVIK_API Oerr_ErrorReport *oerr_CreateErrorReportV(const wchar_t *function, long number, long kind,
                                                    Oerr_ErrorReport *previous,
                                                    const wchar_t *format, va_list args)
    ORVIK_NOEXCEPT;
ORVIK_API void oerr_DeleteErrorReportEx(Oerr_ErrorReport **report) ORVIK_NOEXCEPT;
ORVIK_API Oerr_ErrorReport *oerr_ErrorReportDuplicate(const Oerr_ErrorReport *report)
    ORVIK_NOEXCEPT;

/* Narrow chains: conversion both ways (null on a failed allocation or conversion) and
 * release. */
ORVIK_API Oerr_ErrorReport *oerr_ErrorReportA2U(const Oerr_ErrorReportA *report) ORVIK_NOEXCEPT;
ORVIK_API Oerr_ErrorReportA *oerr_ErrorReportU2A(const Oerr_ErrorReport *report) ORVIK_NOEXCEPT;
ORVIK_API void oerr_DeleteErrorReportExA(Oerr_ErrorReportA **report) ORVIK_NOEXCEPT;

ORVIK_API void oerr_PrintErrorReport(Oerr_ErrorReport *report, Oerr_ErrorReportingMode mode)
    ORVIK_NOEXCEPT;
ORVIK_API void oerr_PrintErrorReportNoEML(Oerr_ErrorReport *report, Oerr_ErrorReportingMode mode)
    ORVIK_NOEXCEPT;
ORVIK_API long oerr_MessageLog(long kind, const wchar_t *format, ...) ORVIK_NOEXCEPT;

ORVIK_API void oerr_SetAltErrorFunction(Oerr_AltErrorFunction function, void *clientData)
    ORVIK_NOEXCEPT;
ORVIK_API void oerr_GetAltErrorFunction(Oerr_AltErrorFunction *function, void **clientData)
    ORVIK_NOEXCEPT;

ORVIK_API Oerr_ErrorHandler *oerr_ErrorHandlerRegister(Oerr_ErrorHandlerFunction handler,
                                                       void *clientData) ORVIK_NOEXCEPT;
ORVIK_API void oerr_ErrorHandlerRemove(Oerr_ErrorHandler *handle) ORVIK_NOEXCEPT;
ORVIK_API void oerr_ErrorOccurred(int32_t argument) ORVIK_NOEXCEPT;

ORVIK_END_DECLS

#ifdef __cplusplus
#include <string>

#include <boost/shared_ptr.hpp>
#include <boost/signals2/signal.hpp>

#include <orvik/orviklog.h>

/* A non-owning carrier of a chain, the argument of report listeners. */
class ORVIK_API OerrErrorReport {
  public:
    explicit OerrErrorReport(Oerr_ErrorReport *report) : m_report(report) {}
    OerrErrorReport(const OerrErrorReport &other) = default;
    OerrErrorReport &operator=(const OerrErrorReport &other) = default;
    Oerr_ErrorReport *Get() const { return m_report; }

  private:
    Oerr_ErrorReport *m_report;
};

/* The process-wide fan-out point for printed reports and messages. */
class ORVIK_API OerrDispatcher {
  public:
    typedef boost::signals2::signal<void(const OerrErrorReport &, Oerr_ErrorReportingMode)>
        ReportSignal;
    /* Listeners receive (message text, narrow name of the message's source such as a
     * function or module); either may be null. */
    typedef boost::signals2::signal<void(const wchar_t *, char *)> MessageSignal;

    /* Holds a connection; dropping the handle leaves the listener connected. */
    class ConnectionImpl {
      public:
        explicit ConnectionImpl(const boost::signals2::connection &c) : connection(c) {}
        boost::signals2::connection connection;
    };
    typedef boost::shared_ptr<ConnectionImpl> Connection;

    static OerrDispatcher &Instance();

    OerrDispatcher(const OerrDispatcher &other);
    OerrDispatcher &operator=(const OerrDispatcher &other);

    Connection Connect(const ReportSignal::slot_type &listener);
    Connection Connect(const MessageSignal::slot_type &listener);
    void Dispatch(const OerrErrorReport &report, Oerr_ErrorReportingMode mode);
    void Dispatch(wchar_t *message, char *context);

  private:
    OerrDispatcher();
    boost::shared_ptr<ReportSignal> m_reportSignal;
    boost::shared_ptr<MessageSignal> m_messageSignal;
};

/*
 * Owns at most one report chain. Passed where a function expects Oerr_ErrorReport **, and
 * turns a present report into a thrown exception (Check, Throw) or a logged one (Log).
 * Destroying an object that still holds a chain prints it through the dispatcher first.
 * The members that throw (Check, Throw) throw an OerrException by value that owns the
 * chain; catch it by reference. Objects are not shared between threads.
 */
class ORVIK_API OerrException : public virtual OrvikLog::UnthrownException {
  public:
    OerrException();
    explicit OerrException(const char *function);
    OerrException(const char *function, const char *file);
    /* Takes over `report` as it is. */
    OerrException(const char *function, const char *file, Oerr_ErrorReport *report);
    /* The copy holds a duplicate of the source's chain. */
    OerrException(const OerrException &other);
    virtual ~OerrException();

    /* If a report is held: wrap it in "<inner function> failed" with number `code`, then
     * throw (throwIt) or print and clear it. */
    virtual void Check(long code, bool throwIt);
    /* Prints the held report through the dispatcher (full form); it stays held. */
    virtual void Log();
    /* Throws a new OerrException holding this object's chain; this object is left empty. */
    virtual void Throw();
    /* Wraps the held chain in a record whose message is the system's text for
     * `systemError` (an errno value; GetLastError on Windows), then throws. */
    virtual void Throw(long code, unsigned int systemError);
    virtual OerrException &operator=(const OerrException &other);
    virtual operator Oerr_ErrorReport **();
    virtual operator Oerr_ErrorReport *();
    virtual operator bool();
    virtual bool operator!();
    /* Hands the chain to the caller, who then owns it. */
    virtual Oerr_ErrorReport *Release();
    /* Frees the held chain, then takes *report over and sets *report to null. */
    virtual void Absorb(Oerr_ErrorReport **report);
    /* Frees the held chain, then holds a wide copy of the narrow chain *report; the narrow
     * chain is released and *report set to null. */
    virtual void Absorb(Oerr_ErrorReportA **report);

    void Check(long code) override;
    void Clear() override;
    /* For catch-all handlers: wraps the held chain in "<function>:  unknown exception
     * thrown"; prints nothing. */
    void Log(long code) override;
    /* Wraps the held chain in a record with `message`; prints nothing. */
    void Log(long code, const char *message) override;
    /* Wraps the cause (its chain, or one record describing it) on top of the held chain in
     * "<cause's function> failed"; prints nothing. */
    void Log(long code, OrvikLog::Exception &cause) override;
    /* Wraps the held chain in a record with `message`, then throws. */
    void Throw(long code, const char *message) override;
    /* Null when empty; otherwise every record's message followed by a line feed, head first,
     * as UTF-8. Valid until the next call or the object's death. */
    const char *get_What() override;

    /* Sets *report to null, then moves the held chain (if any) to it. */
    void Assign(Oerr_ErrorReport **report);
    /* As above, in narrow form; the wide chain is freed once the narrow copy exists. */
    void Assign(Oerr_ErrorReportA **report);

  private:
    friend class OerrExceptionASCII;
    Oerr_ErrorReportA *m_reportA; /* lent to narrow-reporting functions by OerrExceptionASCII */
    Oerr_ErrorReport *m_report;
    std::string m_what;
};

/*
 * Lends an exception's narrow slot to a function that reports with narrow chains:
 *     OerrException e("MyFunction", __FILE__);
 *     { OerrExceptionASCII a(e); narrowFunction(..., a); }   // a absorbs the narrow chain
 *     e.Check(3);
 * The conversion yields the address of the narrow slot, typed for narrow chains.
 */
class ORVIK_API OerrExceptionASCII {
  public:
    explicit OerrExceptionASCII(OerrException &exception) : m_exception(exception) {}
    virtual ~OerrExceptionASCII();
    operator Oerr_ErrorReportA **() { return &m_exception.m_reportA; }

  private:
    OerrException &m_exception;
};
#endif

#endif /* ORVIK_OERR_H */
