/*
 * oint.h - the toolkit's start-up state: whether the toolkit has been initialised.
 *
 * Modules that need a started toolkit (HFA files, for one) test oint_GetInit and refuse to
 * work before it. The flag is process-wide and may be read from any thread.
 */
#ifndef ORVIK_OINT_H
#define ORVIK_OINT_H

#include <orvik/oerr.h>
#include <orvik/omsc.h>

ORVIK_BEGIN_DECLS

/* Marks the toolkit initialised. Calling it again is harmless. Returns 0, or -1 with a
 * report. */
ORVIK_API long oint_InitToolkit(Oerr_ErrorReport **err) ORVIK_NOEXCEPT;

/* OMSC_TRUE between oint_InitToolkit and oint_DeInit. */
ORVIK_API Omsc_Boolean oint_GetInit(void) ORVIK_NOEXCEPT;

/* Marks the toolkit no longer initialised (files still open stay open). Harmless when it
 * was not initialised. */
ORVIK_API void oint_DeInit(Oerr_ErrorReport **err) ORVIK_NOEXCEPT;

ORVIK_END_DECLS

#endif /* ORVIK_OINT_H */
