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
#include <wchar.h>

#include <orvik/oerr.h>
#include <orvik/omsc.h>

ORVIK_BEGIN_DECLS

/* With a null `dest` the result is a new heap string (owned by the caller); otherwise at most
 * destCount characters including the terminator are written to dest (the text is cut) and
 * dest is returned. Null on an allocation failure, a null format or a destCount of 0. */
ORVIK_API wchar_t *ostr_Vsprintf(wchar_t *dest, size_t destCount, const wchar_t *format,
                                 va_list args);
ORVIK_API wchar_t *ostr_Sprintf(wchar_t *dest, size_t destCount, const wchar_t *format, ...);

/* ---- Single strings. Every returned string is a new library-heap block owned by the caller.
 * Functions taking `err` clear it on entry (a null `err` is tolerated: the report is dropped). */

/* Heap duplicate. A null text gives null and no report; exhaustion gives 5 "Out of memory". */
ORVIK_API wchar_t *ostr_StringCopy(const wchar_t *text, Oerr_ErrorReport **err);
ORVIK_API char *ostr_StringCopyA(const char *text, Oerr_ErrorReport **err);

/* The text between quote characters: the double quote when `doubleQuote` is non-zero, the
 * apostrophe otherwise; a backslash is put before every inner quote character (backslashes
 * are not doubled). Reports (function "ostr_QuoteString"): 1 "Invalid argument!" for a null
 * or empty text, 2 "Not enough memory!". */
ORVIK_API wchar_t *ostr_QuoteString(const wchar_t *text, Omsc_Boolean doubleQuote,
                                    Oerr_ErrorReport **err);

/* Quoted duplicate: the text in double quotes as ostr_QuoteString makes it, except that an
 * empty text gives the two quote characters. A null text gives null and no report. */
ORVIK_API wchar_t *ostr_StringQuotedCopy(const wchar_t *text, Oerr_ErrorReport **err);

/* Case-insensitive equality, independent of the C locale (simple one-to-one case folding of
 * the Latin, Greek and Cyrillic letters). Two null texts are equal; null and non-null are
 * not. */
ORVIK_API Omsc_Boolean ostr_Eqic(const wchar_t *a, const wchar_t *b);
ORVIK_API Omsc_Boolean ostr_EqicA(const char *a, const char *b);

/* Wildcard matching of the whole text: `*` matches any run of characters (also empty, also
 * across "/"), `?` exactly one character; every other character matches itself. There is no
 * escape character. Worst case time is proportional to pattern length times text length.
 * A null pattern or text never matches. The Loose form compares letters case-insensitively
 * (as ostr_Eqic). */
ORVIK_API Omsc_Boolean ostr_WildcardMatch(const wchar_t *pattern, const wchar_t *text);
ORVIK_API Omsc_Boolean ostr_WildcardMatchLoose(const wchar_t *pattern, const wchar_t *text);

/* Environment expansion: "$NAME" (NAME = letters, digits and "_", not starting with a digit)
 * and "${NAME}" are replaced by the variable's value. The text is scanned once (values are
 * not expanded again). A reference to an unset variable is kept as written; a "$" that does
 * not start a reference is kept. A null text gives null and no report. Reports: 1 when a
 * variable's value is not valid narrow text, 5 "Out of memory". */
ORVIK_API wchar_t *ostr_StringEvaluate(const wchar_t *text, Oerr_ErrorReport **err);

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
ORVIK_API wchar_t *ostr_FileNameLocalPart(const wchar_t *name, Oerr_ErrorReport **err);
ORVIK_API wchar_t *ostr_FileNameDirPart(const wchar_t *name, Oerr_ErrorReport **err);
ORVIK_API wchar_t *ostr_FileNameExtension(const wchar_t *name, Oerr_ErrorReport **err);
ORVIK_API wchar_t *ostr_FileNameLayerPart(const wchar_t *name, Oerr_ErrorReport **err);

ORVIK_END_DECLS

#endif /* ORVIK_OSTR_H */
