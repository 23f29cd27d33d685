/*
 * oplg.h - the plug-in layer's start-up glue: what toolkit start-up calls so that plug-in
 * loading sees the settled environment and the library's preference implementation.
 *
 * The plug-in layer lives in this library, so it shares the report dispatcher (and with it
 * the error sinks start-up connects) with every other module.
 */
#ifndef ORVIK_OPLG_H
#define ORVIK_OPLG_H

#include <orvik/oerr.h>
#include <orvik/omsc.h>

ORVIK_BEGIN_DECLS

/* Starts the plug-in layer (again harmless). Returns 0. */
ORVIK_API long oplg_Init(Oerr_ErrorReport **err) ORVIK_NOEXCEPT;
/* OMSC_TRUE between oplg_Init and oplg_Close. */
ORVIK_API Omsc_Boolean oplg_IsStarted(void) ORVIK_NOEXCEPT;
/* Hands the settled environment to the plug-in layer: class lists kept from before are
 * forgotten, so that each class is searched again along its (new) path. Returns 0. */
ORVIK_API long oplg_EnvironmentSet(Oerr_ErrorReport **err) ORVIK_NOEXCEPT;
/* Installs the library's own preference implementation (the oprf_Default... methods with
 * their data) for the plug-ins. Returns 0, or -1 with the preference module's report. */
ORVIK_API long oplg_PreferenceImplementationSet(Oerr_ErrorReport **err) ORVIK_NOEXCEPT;
/* Closes every open plug-in instance, forgets the class lists and stops the layer. Returns 0,
 * or -1 when an instance failed to close (all are closed regardless). */
ORVIK_API long oplg_Close(Oerr_ErrorReport **err) ORVIK_NOEXCEPT;

ORVIK_END_DECLS

#endif /* ORVIK_OPLG_H */
