/*
 * oprf.h - the library's own preference implementation: the methods that
 * opmg_PreferenceImplementationMethodsSet installs by default. Its data is the default
 * database (opmg_GetGlobalPreferenceHandle while it is installed).
 *
 * Initialize loads every definition file along GIO_PDF_PATH, then the preference files along
 * GIO_PREFERENCES_PATH, and connects the heap's big-arena size to the number preference
 * "memory"/"heap_size". Terminate empties the database and disconnects the heap. Flush
 * writes nothing (saving is explicit, opmg_SaveUserPreference).
 */
#ifndef ORVIK_OPRF_H
#define ORVIK_OPRF_H

#include <orvik/opmg.h>

ORVIK_BEGIN_DECLS

ORVIK_API long oprf_DefaultDatabaseInitialize(void *data, Oerr_ErrorReport **err) ORVIK_NOEXCEPT;
ORVIK_API long oprf_DefaultDatabaseTerminate(void *data, Oerr_ErrorReport **err) ORVIK_NOEXCEPT;
ORVIK_API long oprf_DefaultDatabaseFlush(void *data, Oerr_ErrorReport **err) ORVIK_NOEXCEPT;
ORVIK_API long oprf_DefaultPreferenceAddCB(void *data, const wchar_t *category, const wchar_t *name,
                                           Opmg_CallbackFunc function, void *clientData,
                                           Oerr_ErrorReport **err) ORVIK_NOEXCEPT;
ORVIK_API long oprf_DefaultPreferenceRemCB(void *data, const wchar_t *category, const wchar_t *name,
                                           Opmg_CallbackFunc function, void *clientData,
                                           Oerr_ErrorReport **err) ORVIK_NOEXCEPT;
ORVIK_API long oprf_DefaultPreferenceGet(void *data, const wchar_t *category, const wchar_t *name,
                                         Opmg_Preference *value, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT;
ORVIK_API long oprf_DefaultPreferencePut(void *data, const wchar_t *category, const wchar_t *name,
                                         const Opmg_Preference *value, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT;
/* The data pointer that belongs with the methods above. */
ORVIK_API void *oprf_DefaultData(void) ORVIK_NOEXCEPT;

ORVIK_END_DECLS

#endif /* ORVIK_OPRF_H */
