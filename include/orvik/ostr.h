/*
 * ostr.h - string services: the library's allocating wide formatter, string lists and the
 * other string helpers.
 *
 * Format convention (every platform): in a wide format, %s takes a wide string, %S a narrow
 * (UTF-8) one, %c a wide character and %C a narrow one; %ls / %hs are accepted as explicit
 * wide / narrow forms. Numeric conversions follow C (%ld takes a long). %n is not supported.
 */
#ifndef ORVIK_OSTR_H
#define ORVIK_OSTR_H

#include <stdarg.h>
#include <stddef.h>
#include <stdint.h>
#include <wchar.h>

#include <orvik/oerr.h>
#include <orvik/omsc.h>

ORVIK_BEGIN_DECLS

/* With a null `dest` the result is a new heap string (owned by the caller); otherwise at most
 * destCount characters including the terminator are written to dest (the text is cut) and
 * dest is returned. Null on an allocation failure, a null format or a destCount of 0. */
ORVIK_API wchar_t *ostr_Vsprintf(wchar_t *dest, size_t destCount, const wchar_t *format,
                                 va_list args) ORVIK_NOEXCEPT;
ORVIK_API wchar_t *ostr_Sprintf(wchar_t *dest, size_t destCount, const wchar_t *format, ...)
    ORVIK_NOEXCEPT;

/* ---- Single strings. Every returned string is a new library-heap block owned by the caller.
 * Functions taking `err` clear it on entry (a null `err` is tolerated: the report is dropped). */

/* Heap duplicate. A null text gives null and no report; exhaustion gives 5 "Out of memory". */
ORVIK_API wchar_t *ostr_StringCopy(const wchar_t *text, Oerr_ErrorReport **err) ORVIK_NOEXCEPT;
ORVIK_API char *ostr_StringCopyA(const char *text, Oerr_ErrorReport **err) ORVIK_NOEXCEPT;

/* The text between quote characters: the double quote when `doubleQuote` is non-zero, the
 * apostrophe otherwise; a backslash is put before every inner quote character (backslashes
 * are not doubled). Reports (function "ostr_QuoteString"): 1 "Invalid argument!" for a null
 * or empty text, 2 "Not enough memory!". */
ORVIK_API wchar_t *ostr_QuoteString(const wchar_t *text, Omsc_Boolean doubleQuote,
                                    Oerr_ErrorReport **err) ORVIK_NOEXCEPT;

/* Quoted duplicate: the text in double quotes as ostr_QuoteString makes it, except that an
 * empty text gives the two quote characters. A null text gives null and no report. */
ORVIK_API wchar_t *ostr_StringQuotedCopy(const wchar_t *text, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT;

/* Case-insensitive equality, independent of the C locale (simple one-to-one case folding of
 * the Latin, Greek and Cyrillic letters). Two null texts are equal; null and non-null are
 * not. */
ORVIK_API Omsc_Boolean ostr_Eqic(const wchar_t *a, const wchar_t *b) ORVIK_NOEXCEPT;
ORVIK_API Omsc_Boolean ostr_EqicA(const char *a, const char *b) ORVIK_NOEXCEPT;

/* Wildcard matching of the whole text: `*` matches any run of characters (also empty, also
 * across "/"), `?` exactly one character; every other character matches itself. There is no
 * escape character. Worst case time is proportional to pattern length times text length.
 * A null pattern or text never matches. The Loose form compares letters case-insensitively
 * (as ostr_Eqic). */
ORVIK_API Omsc_Boolean ostr_WildcardMatch(const wchar_t *pattern, const wchar_t *text)
    ORVIK_NOEXCEPT;
ORVIK_API Omsc_Boolean ostr_WildcardMatchLoose(const wchar_t *pattern, const wchar_t *text)
    ORVIK_NOEXCEPT;

/* Environment expansion: "$NAME" (NAME = letters, digits and "_", not starting with a digit)
 * and "${NAME}" are replaced by the variable's value. The text is scanned once (values are
 * not expanded again). A reference to an unset variable is kept as written; a "$" that does
 * not start a reference is kept. A null text gives null and no report. Reports: 1 when a
 * variable's value is not valid narrow text, 5 "Out of memory". */
ORVIK_API wchar_t *ostr_StringEvaluate(const wchar_t *text, Oerr_ErrorReport **err) ORVIK_NOEXCEPT;

/* File-name parts. "/" and "\" both separate directories; a layer suffix starting at the
 * first "(:" belongs to the local part and its separators are not directory separators.
 * Each returns a new string (never null for a non-null name; null name: null and no report).
 *   LocalPart: the text after the last separator ("c:/d/f.img(:L/x)" -> "f.img(:L/x)").
 *   DirPart:   the text before the last separator, "" when there is none; a separator that
 *              is the first character, or follows a drive letter and colon, is kept
 *              ("/f" -> "/", "c:/f" -> "c:/", "d/e/f" -> "d/e").
 *   Extension: the text after the last "." of the local part without its layer suffix, ""
 *              when there is none or the only "." opens the name ("a.b.img" -> "img",
 *              ".profile" -> "").
 *   LayerPart: backslashes become "/"; the text after the last "/" that comes before the
 *              layer suffix, suffix included; "*" when the name ends in "/"; the whole
 *              (converted) name when there is no "/" ("c:\d\f.img(:L)" -> "f.img(:L)").
 * Report: 5 "Out of memory". */
ORVIK_API wchar_t *ostr_FileNameLocalPart(const wchar_t *name, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT;
ORVIK_API wchar_t *ostr_FileNameDirPart(const wchar_t *name, Oerr_ErrorReport **err) ORVIK_NOEXCEPT;
ORVIK_API wchar_t *ostr_FileNameExtension(const wchar_t *name, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT;
ORVIK_API wchar_t *ostr_FileNameLayerPart(const wchar_t *name, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT;

/* ---- String lists.
 * A counted, growable array of owned wide strings. Entries at positions count..allocated-1
 * are null; null entries below count are legal everywhere. Every non-null entry is a
 * library-heap block that belongs to the list. Not synchronised: one list, one thread at a
 * time. */
typedef struct _ostr_StringList {
    int32_t count;     /* entries in use */
    wchar_t **strings; /* array of `allocated` entries */
    int32_t allocated; /* capacity of the array, in entries */
} ostr_StringList;

/* The narrow (UTF-8) form made by ostr_StringListU2A. Its array holds `count` entries;
 * `allocated` repeats the wide list's capacity and does not describe this array. */
typedef struct _ostr_StringListA {
    int32_t count;
    char **strings;
    int32_t allocated;
} ostr_StringListA;

/* n >= 1: n null entries (count = allocated = n); n < 1: an empty list without array.
 * Reports 1 (record) and 2 (array) "Unable to allocate storage for string list". */
ORVIK_API ostr_StringList *ostr_StringListCreate(long n, Oerr_ErrorReport **err) ORVIK_NOEXCEPT;
/* 0 for a null list. */
ORVIK_API long ostr_StringListCount(const ostr_StringList *list) ORVIK_NOEXCEPT;
/* Appends a heap copy of `string` (null stays null) and returns the list; a null list is
 * first created with 16 null slots and count 0. A full array grows by exactly 16 entries.
 * Reports (function "ostr_StringListAppend"): 5220 "String List create failed", 5237
 * "Unable to add string to string list" (the list is returned unchanged). A copy that cannot
 * be allocated is stored as a null entry without a report. With a null `err` a report is
 * printed (full form) and deleted. */
ORVIK_API ostr_StringList *ostr_StringListAppend(ostr_StringList *list, const wchar_t *string,
                                                 Oerr_ErrorReport **err) ORVIK_NOEXCEPT;
/* As Append, but only when no entry is equal: the same pointer (so null matches a null
 * entry) or equal text, case-sensitive. */
ORVIK_API ostr_StringList *ostr_StringListAppendUniq(ostr_StringList *list, const wchar_t *string,
                                                     Oerr_ErrorReport **err) ORVIK_NOEXCEPT;
/* Frees the first equal entry (equality as in AppendUniq) and shifts the later ones down.
 * False when the list is null, empty or holds no equal entry. */
ORVIK_API Omsc_Boolean ostr_StringListRemoveItem(ostr_StringList *list, const wchar_t *string)
    ORVIK_NOEXCEPT;
/* Keeps the first n entries (n < 0 counts as 0); the array and capacity are kept. */
ORVIK_API void ostr_StringListTruncate(ostr_StringList *list, long n) ORVIK_NOEXCEPT;
/* Deep copy into `destination` (created with the source's count when null) and returns it.
 * Every destination position below its own count is rewritten: a copy of the source entry,
 * or null past the source's end. A null source returns the destination unchanged, and so
 * does copying a list onto itself. Reports (function "ostr_StringListCopy"): 1 "Destination
 * string list too small" (destination untouched), 2 "Error reported by function
 * ostr_StringListCreate", 5 "Out of memory" when an entry could not be copied (the copy
 * still runs to the end; a destination created by the call is deleted). */
ORVIK_API ostr_StringList *ostr_StringListCopy(const ostr_StringList *source,
                                               ostr_StringList *destination, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT;
/* As Copy, each entry duplicated through ostr_StringQuotedCopy; reports carry the same
 * function name "ostr_StringListCopy". */
ORVIK_API ostr_StringList *ostr_StringListQuotedCopy(const ostr_StringList *source,
                                                     ostr_StringList *destination,
                                                     Oerr_ErrorReport **err) ORVIK_NOEXCEPT;
/* Replaces every entry by ostr_QuoteString(entry, doubleQuote). An entry that cannot be
 * quoted (null, empty, no memory) becomes null and the next entry is processed; *err then
 * holds the report of the last entry that failed. A null list returns null. With a null
 * `err` each failure is printed (full form) and deleted. */
ORVIK_API ostr_StringList *ostr_StringListQuote(ostr_StringList *list, Omsc_Boolean doubleQuote,
                                                Oerr_ErrorReport **err) ORVIK_NOEXCEPT;
/* Frees the entries, the array and the record; a null list is allowed. */
ORVIK_API void ostr_StringListDelete(ostr_StringList *list, Oerr_ErrorReport **err) ORVIK_NOEXCEPT;
/* One string: the entries in order with `delimiter` (null: none) between neighbours; null
 * entries count as empty. A null list gives null, an empty list "". Report 8560 "Could not
 * allocate space for string"; a null `err` is tolerated (the report is dropped). */
ORVIK_API wchar_t *ostr_StringListToDelimString(const ostr_StringList *list,
                                                const wchar_t *delimiter, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT;
ORVIK_API wchar_t *ostr_StringListToString(const ostr_StringList *list, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT;
/* Ascending, ordinal by code unit, case-sensitive; null entries first. Ties keep no defined
 * order. */
ORVIK_API void ostr_StringListSort(ostr_StringList *list) ORVIK_NOEXCEPT;
/* Ascending by name part: the layer part (ostr_FileNameLayerPart) cut at its first "(:" and
 * limited to 511 characters, compared as in ostr_StringListSort; null entries first. */
ORVIK_API void ostr_StringListSortByNamePart(ostr_StringList *list) ORVIK_NOEXCEPT;
/* Narrow (UTF-8) copy of a list; null for a null list. Report (function
 * "ostr_StringListU2A") 8475 "otxt_Text_Unicode2Ascii failed" with the conversion's report,
 * 5 "Out of memory"; nothing is left allocated on failure. With a null `err` a report is
 * printed (full form) and deleted. */
ORVIK_API ostr_StringListA *ostr_StringListU2A(const ostr_StringList *list, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT;
/* The converse (function "ostr_StringListA2U", 8475 "otxt_Text_Ascii2Unicode failed"). The
 * new list's capacity equals its count. */
ORVIK_API ostr_StringList *ostr_StringListA2U(const ostr_StringListA *list, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT;
/* Frees a narrow list (its `count` entries, array and record); null allowed. */
ORVIK_API void ostr_StringListDeleteA(ostr_StringListA *list) ORVIK_NOEXCEPT;

ORVIK_END_DECLS

#endif /* ORVIK_OSTR_H */
