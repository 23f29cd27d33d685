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

ORVIK_END_DECLS

#endif /* ORVIK_OSTR_H */
