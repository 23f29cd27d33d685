/*
 * otxt.h - text conversion between wide text and narrow text. Narrow text is UTF-8; a
 * conversion fails (with a report) on input that has no image on the other side.
 */
#ifndef ORVIK_OTXT_H
#define ORVIK_OTXT_H

#include <wchar.h>

#include <orvik/oerr.h>
#include <orvik/omsc.h>

ORVIK_BEGIN_DECLS

/* Both return a new heap string owned by the caller. A null source returns null without a
 * report. Reports: 1 for text that cannot be converted (the message gives the position),
 * 5 "Out of memory". */
ORVIK_API char *otxt_Text_Unicode2Ascii(const wchar_t *text, Oerr_ErrorReport **err) ORVIK_NOEXCEPT;
ORVIK_API wchar_t *otxt_Text_Ascii2Unicode(const char *text, Oerr_ErrorReport **err) ORVIK_NOEXCEPT;

ORVIK_END_DECLS

#endif /* ORVIK_OTXT_H */
