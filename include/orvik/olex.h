/*
 * olex.h - the table-driven scanner and parser of preference definition text. The parser
 * hands every recognised clause, in source order, to a caller's function; it keeps no state
 * between calls and is safe to run in several threads at once.
 *
 * The language is described in the library's documentation (docs/preferences.md).
 */
#ifndef ORVIK_OLEX_H
#define ORVIK_OLEX_H

#include <stddef.h>
#include <stdint.h>
#include <wchar.h>

#include <orvik/oerr.h>
#include <orvik/omsc.h>

ORVIK_BEGIN_DECLS

typedef enum Olex_ClauseKind_ {
    OLEX_PDF = 0,        /* file heading; text: the title */
    OLEX_CATEGORY_BEGIN, /* text: category name */
    OLEX_CATEGORY_END,
    OLEX_PARAMETER, /* text: parameter name; type: 0 string, 1 number, 4 colour */
    OLEX_PARAMETER_END,
    OLEX_READONLY,
    OLEX_NOCHECK,
    OLEX_NEWFILE,
    OLEX_FILENAME,
    OLEX_DIRECTORY,
    OLEX_BOOLEAN,
    OLEX_ENVEXPAND,
    OLEX_MULTILINE,
    OLEX_MAXLENGTH,        /* numbers[0] */
    OLEX_MINIMUM,          /* numbers[0] */
    OLEX_MAXIMUM,          /* numbers[0] */
    OLEX_ENUMS,            /* list */
    OLEX_TYPEDEF,          /* text */
    OLEX_HIDEON,           /* list */
    OLEX_SHOWON,           /* list */
    OLEX_DEFAULT_STRING,   /* text; platform */
    OLEX_DEFAULT_EXPANDED, /* text; platform */
    OLEX_DEFAULT_NUMBER,   /* numbers[0]; platform */
    OLEX_DEFAULT_COLOR,    /* numbers[0..count-1], count 3 or 4; platform */
    OLEX_CLAUSE_FORCE_32_BITS = 0x7fffffff
} Olex_ClauseKind;

enum { OLEX_PLATFORM_ANY = 0, OLEX_PLATFORM_PC = 1, OLEX_PLATFORM_UNIX = 2 };

/* One clause; every pointer is valid during the call only. */
typedef struct Olex_Clause_ {
    Olex_ClauseKind kind;
    int32_t type;
    int32_t platform;
    const wchar_t *text;
    const wchar_t *const *list;
    int32_t listCount;
    double numbers[4];
    int32_t count;
    const wchar_t *fileName;
    int32_t line;   /* position of the clause's first token, from 1 */
    int32_t column; /* from 1, in bytes */
} Olex_Clause;

/* Returns 0 to go on, or -1 with a report to stop the parse. */
typedef long (*Olex_ClauseFunc)(void *clientData, const Olex_Clause *clause,
                                Oerr_ErrorReport **err);

/* Parses definition text (UTF-8, `length` bytes; NUL bytes are refused). Returns 0, or -1
 * with a report "<file>:<line>:<column>: <problem>" (taking over the clause function's report
 * when that stopped the parse). */
ORVIK_API long olex_Parse(const wchar_t *fileName, const char *text, size_t length,
                          Olex_ClauseFunc function, void *clientData, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT;

ORVIK_END_DECLS

#endif /* ORVIK_OLEX_H */
