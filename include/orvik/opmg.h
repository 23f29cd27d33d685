/*
 * opmg.h - the preference database: named, typed settings grouped in categories, declared by
 * definition files ("*.pdf" along GIO_PDF_PATH) and valued by preference files
 * ("v8preference" along GIO_PREFERENCES_PATH, or registry keys). The storage behind the
 * opmg_ functions is a replaceable implementation (a table of eight methods); the library's
 * own is the default (oprf.h).
 *
 * Start-up: opmg_Init installs the default implementation when none is installed and calls
 * the implementation's initialize method; opmg_Close flushes and terminates it.
 *
 * Threads: the database, the file-name and logging settings are guarded by one module mutex.
 * Callbacks run outside that mutex, inside the library's thread-unsafe section; a callback may
 * read and write preferences. Files are written inside the thread-unsafe section.
 *
 * Memory: every returned string, value, category or list is a library-heap block owned by
 * the caller (release with the matching opmg_Free... function or omsc_HeapFree for strings).
 */
#ifndef ORVIK_OPMG_H
#define ORVIK_OPMG_H

#include <stdarg.h>
#include <stddef.h>
#include <stdint.h>
#include <wchar.h>

#include <orvik/oerr.h>
#include <orvik/omsc.h>
#include <orvik/ostr.h>

ORVIK_BEGIN_DECLS

typedef enum Opmg_Type_ {
    OPMG_STRING = 0,
    OPMG_NUMBER = 1,
    OPMG_BOOLEAN = 2, /* stored as text: true when "yes", "on" or "true", ignoring case */
    OPMG_ENUM = 3,    /* stored as text, one of the declared names */
    OPMG_COLOR = 4,
    OPMG_TYPE_FORCE_32_BITS = 0x7fffffff
} Opmg_Type;

/* Three (count 3) or four (count 4) integer components. */
typedef struct Opmg_Color_ {
    int32_t count;
    int32_t red;
    int32_t green;
    int32_t blue;
    int32_t alpha;
} Opmg_Color;

/* One value. `string` (heap text, owned by the value) is used by OPMG_STRING, OPMG_BOOLEAN
 * and OPMG_ENUM; `number` by OPMG_NUMBER; `color` by OPMG_COLOR. */
typedef struct Opmg_Preference_ {
    Opmg_Type type;
    wchar_t *string;
    double number;
    Opmg_Color color;
} Opmg_Preference;

/* Attribute bits of a parameter. */
enum {
    OPMG_ATTR_READONLY = 0x001,
    OPMG_ATTR_NOCHECK = 0x002,
    OPMG_ATTR_NEWFILE = 0x004,
    OPMG_ATTR_FILENAME = 0x008,
    OPMG_ATTR_DIRECTORY = 0x010,
    OPMG_ATTR_ENVEXPAND = 0x020, /* the string value is environment-expanded when read */
    OPMG_ATTR_MULTILINE = 0x040,
    OPMG_ATTR_MINIMUM = 0x080,  /* `minimum` is set */
    OPMG_ATTR_MAXIMUM = 0x100,  /* `maximum` is set */
    OPMG_ATTR_MAXLENGTH = 0x200 /* `maxLength` is set */
};

typedef struct Opmg_Parameter_ {
    struct Opmg_Parameter_ *next;
    wchar_t *name;
    Opmg_Type type;         /* effective type (a string declared boolean is OPMG_BOOLEAN) */
    Opmg_Type declaredType; /* as written: OPMG_STRING, OPMG_NUMBER or OPMG_COLOR */
    Opmg_Preference value;
    Opmg_Preference defaultValue;
    uint32_t attributes; /* OPMG_ATTR_... */
    int32_t maxLength;
    double minimum;
    double maximum;
    ostr_StringList *enums;  /* OPMG_ENUM: the allowed names */
    ostr_StringList *hideOn; /* conditions for editors; not evaluated by the library */
    ostr_StringList *showOn;
    wchar_t *typedefName;
    Omsc_Boolean stored; /* set by a preference file or a put: written on save */
} Opmg_Parameter;

/* A category list is a chain of categories; the first category stands for the list. */
typedef struct Opmg_Category_ {
    struct Opmg_Category_ *next;
    wchar_t *name;
    Opmg_Parameter *parameters;
} Opmg_Category;

/* Called after a preference's value changed; `value` is valid during the call only. */
typedef void (*Opmg_CallbackFunc)(const wchar_t *category, const wchar_t *name,
                                  const Opmg_Preference *value, void *clientData);

typedef struct Opmg_CallbackEntry_ {
    Opmg_CallbackFunc function;
    void *clientData;
} Opmg_CallbackEntry;

/* ---- Implementation methods. Every method returns 0 on success, -1 with a report. */
enum {
    OPMG_DATA = 1,
    OPMG_DATABASE_INITIALIZE = 2,
    OPMG_DATABASE_TERMINATE = 3,
    OPMG_DATABASE_FLUSH = 4,
    OPMG_PREFERENCE_ADD_CB = 5,
    OPMG_PREFERENCE_REM_CB = 6,
    OPMG_PREFERENCE_GET = 7,
    OPMG_PREFERENCE_PUT = 8
};
typedef long (*Opmg_DatabaseFunc)(void *data, Oerr_ErrorReport **err);
typedef long (*Opmg_CallbackMethod)(void *data, const wchar_t *category, const wchar_t *name,
                                    Opmg_CallbackFunc function, void *clientData,
                                    Oerr_ErrorReport **err);
/* Fills *value with a new copy (value->string then belongs to the caller). */
typedef long (*Opmg_GetMethod)(void *data, const wchar_t *category, const wchar_t *name,
                               Opmg_Preference *value, Oerr_ErrorReport **err);
typedef long (*Opmg_PutMethod)(void *data, const wchar_t *category, const wchar_t *name,
                               const Opmg_Preference *value, Oerr_ErrorReport **err);

/*
 * Installs an implementation from key/value pairs ending with key 0, then the report
 * argument: opmg_PreferenceImplementationMethodsSet(OPMG_DATA, data, OPMG_PREFERENCE_GET,
 * get, ..., 0, &err). Values are pointers (methods cast to void *). Every key must be given
 * ("Missing DATA", ...); an unknown key fails ("Unknown method: %ld"). Nothing changes on
 * failure. Returns 0, or -1.
 */
ORVIK_API long opmg_PreferenceImplementationMethodsSet(long key, ...) ORVIK_NOEXCEPT;
/* The same with the pairs (after `key`), the 0 and the report argument in `args`. */
ORVIK_API long opmg_PreferenceImplementationMethodsSetVaPtr(long key, va_list *args) ORVIK_NOEXCEPT;
/* Refuses later changes of the implementation ("Changing the preference implementation has
 * been disabled by %s", naming `by`). */
ORVIK_API void opmg_PreferenceImplementationChangeDisable(const wchar_t *by) ORVIK_NOEXCEPT;

/* The start-up entry point: installs the default implementation when none is installed and
 * calls its initialize method. Returns 0, or -1. */
ORVIK_API long opmg_Init(Oerr_ErrorReport **err) ORVIK_NOEXCEPT;
/* Flushes and terminates the implementation; the next opmg_Init starts afresh. */
ORVIK_API long opmg_Close(Oerr_ErrorReport **err) ORVIK_NOEXCEPT;

/* The preference file's name (default "v8preference"); the getter returns a new string. */
ORVIK_API long opmg_InitPreferenceFileName(const wchar_t *name, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT;
ORVIK_API wchar_t *opmg_GetPreferenceFileName(Oerr_ErrorReport **err) ORVIK_NOEXCEPT;
/* When on, every change made by a put is written to standard error as a plain message. */
ORVIK_API void opmg_InitPreferenceChangeLogging(Omsc_Boolean on) ORVIK_NOEXCEPT;

/* ---- Definition files. */
/* Parses one definition file and merges its categories into *list (created when null).
 * Clauses that do not fit a parameter's type are dropped with a printed warning. Returns 0,
 * or -1 ("OPMG: Error return from olex_Parse!" over a report that gives file, line and
 * column); *list is then unchanged. */
ORVIK_API long opmg_Parse(const wchar_t *fileName, Opmg_Category **list, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT;
/* The same for definition text in memory (UTF-8); `fileName` only names it in reports. */
ORVIK_API long opmg_ParseText(const wchar_t *fileName, const char *text, size_t length,
                              Opmg_Category **list, Oerr_ErrorReport **err) ORVIK_NOEXCEPT;
/* Every "*.pdf" of every folder along GIO_PDF_PATH, in search-list order, folder by folder
 * in name order, into a new list. Null on failure. */
ORVIK_API Opmg_Category *opmg_LoadPDFs(Oerr_ErrorReport **err) ORVIK_NOEXCEPT;

/* ---- Preference files. */
/* Reads preference text (UTF-8) into the values of `list`. Entries for undefined parameters
 * or categories are warnings; loading goes on. Returns 0, or -1 on malformed text (file,
 * line and column in the report; entries before the fault are kept). */
ORVIK_API long opmg_PrfParseText(const wchar_t *fileName, const char *text, size_t length,
                                 Opmg_Category *list, Oerr_ErrorReport **err) ORVIK_NOEXCEPT;
/* Reads "v8preference" (or the file name set) from every element of the search list made
 * from GIO_PREFERENCES_PATH, last element first, so that the first element wins; "HKEY_"
 * elements are registry keys. Missing files are skipped. */
ORVIK_API long opmg_PrfParse(Opmg_Category *list, Oerr_ErrorReport **err) ORVIK_NOEXCEPT;
/* Writes the stored values of `list` to `fileName` in preference-file form, atomically
 * (a temporary file in the same folder, then a rename); mode 0644. */
ORVIK_API long opmg_WritePreferenceFile(const Opmg_Category *list, const wchar_t *fileName,
                                        Oerr_ErrorReport **err) ORVIK_NOEXCEPT;

/* ---- Typed access, through the implementation. A declared type other than the one asked
 * for gives "Type mismatch". Strings are new heap strings. */
ORVIK_API wchar_t *opmg_GetStringPreference(const wchar_t *category, const wchar_t *name,
                                            Oerr_ErrorReport **err) ORVIK_NOEXCEPT;
/* 0 on failure (check *err). */
ORVIK_API double opmg_GetNumberPreference(const wchar_t *category, const wchar_t *name,
                                          Oerr_ErrorReport **err) ORVIK_NOEXCEPT;
ORVIK_API Omsc_Boolean opmg_GetBooleanPreference(const wchar_t *category, const wchar_t *name,
                                                 Oerr_ErrorReport **err) ORVIK_NOEXCEPT;
ORVIK_API wchar_t *opmg_GetEnumPreference(const wchar_t *category, const wchar_t *name,
                                          Oerr_ErrorReport **err) ORVIK_NOEXCEPT;
ORVIK_API long opmg_GetColorPreference(const wchar_t *category, const wchar_t *name,
                                       Opmg_Color *color, Oerr_ErrorReport **err) ORVIK_NOEXCEPT;
ORVIK_API long opmg_PutStringPreference(const wchar_t *category, const wchar_t *name,
                                        const wchar_t *value, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT;
ORVIK_API long opmg_PutNumberPreference(const wchar_t *category, const wchar_t *name, double value,
                                        Oerr_ErrorReport **err) ORVIK_NOEXCEPT;
/* Stores "true" or "false". */
ORVIK_API long opmg_PutBooleanPreference(const wchar_t *category, const wchar_t *name,
                                         Omsc_Boolean value, Oerr_ErrorReport **err) ORVIK_NOEXCEPT;
ORVIK_API long opmg_PutEnumPreference(const wchar_t *category, const wchar_t *name,
                                      const wchar_t *value, Oerr_ErrorReport **err) ORVIK_NOEXCEPT;
ORVIK_API long opmg_PutColorPreference(const wchar_t *category, const wchar_t *name,
                                       const Opmg_Color *color, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT;

/* ---- Untyped access. */
ORVIK_API Opmg_Preference *opmg_GetPreference(const wchar_t *category, const wchar_t *name,
                                              Oerr_ErrorReport **err) ORVIK_NOEXCEPT;
ORVIK_API long opmg_PutPreference(const wchar_t *category, const wchar_t *name,
                                  const Opmg_Preference *value, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT;
ORVIK_API void opmg_PreferenceFree(Opmg_Preference *value) ORVIK_NOEXCEPT;
ORVIK_API Opmg_Preference *opmg_PreferenceDup(const Opmg_Preference *value, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT;
/* Copies `source` into `destination` (whose old text is released). Returns 0, or -1. */
ORVIK_API long opmg_ParameterValueCopy(Opmg_Preference *destination, const Opmg_Preference *source,
                                       Oerr_ErrorReport **err) ORVIK_NOEXCEPT;

/* ---- Callbacks. The first pair goes through the implementation; the older trio acts on the
 * default implementation's list directly (with a warning when another is installed). */
ORVIK_API long opmg_AddPreferenceCallback(const wchar_t *category, const wchar_t *name,
                                          Opmg_CallbackFunc function, void *clientData,
                                          Oerr_ErrorReport **err) ORVIK_NOEXCEPT;
ORVIK_API long opmg_RemovePreferenceCallback(const wchar_t *category, const wchar_t *name,
                                             Opmg_CallbackFunc function, void *clientData,
                                             Oerr_ErrorReport **err) ORVIK_NOEXCEPT;
ORVIK_API long opmg_AddCallback(const wchar_t *category, const wchar_t *name,
                                Opmg_CallbackFunc function, void *clientData,
                                Oerr_ErrorReport **err) ORVIK_NOEXCEPT;
ORVIK_API long opmg_RemoveCallback(const wchar_t *category, const wchar_t *name,
                                   Opmg_CallbackFunc function, void *clientData,
                                   Oerr_ErrorReport **err) ORVIK_NOEXCEPT;
/* Copies up to `capacity` registered callbacks into `entries`; returns how many are
 * registered (may exceed capacity), or -1. */
ORVIK_API long opmg_GetCallbackList(const wchar_t *category, const wchar_t *name,
                                    Opmg_CallbackEntry *entries, long capacity,
                                    Oerr_ErrorReport **err) ORVIK_NOEXCEPT;

/* ---- Category lists. */
/* A deep copy of the default database's categories (null and no report when empty). */
ORVIK_API Opmg_Category *opmg_GetCategoryList(Oerr_ErrorReport **err) ORVIK_NOEXCEPT;
/* A deep copy of the categories whose names match `pattern` (ostr_WildcardMatch). */
ORVIK_API Opmg_Category *opmg_FilterCategoryList(const Opmg_Category *list, const wchar_t *pattern,
                                                 Oerr_ErrorReport **err) ORVIK_NOEXCEPT;
/* Appends to *list a copy of its category `from` named `to`. */
ORVIK_API long opmg_CopyCategory(Opmg_Category **list, const wchar_t *from, const wchar_t *to,
                                 Oerr_ErrorReport **err) ORVIK_NOEXCEPT;
/* Unlinks and frees the category; returns OMSC_FALSE when there is none of that name. */
ORVIK_API Omsc_Boolean opmg_RemoveCategory(Opmg_Category **list, const wchar_t *name)
    ORVIK_NOEXCEPT;
ORVIK_API Opmg_Category *opmg_MatchCategory(const Opmg_Category *list, const wchar_t *name)
    ORVIK_NOEXCEPT;
/* Frees the whole chain. */
ORVIK_API void opmg_FreeCategoryList(Opmg_Category *list) ORVIK_NOEXCEPT;
/* Frees one category record (not those after it). */
ORVIK_API void opmg_FreeCatList(Opmg_Category *category) ORVIK_NOEXCEPT;
ORVIK_API Opmg_Category *opmg_ListTail(const Opmg_Category *list) ORVIK_NOEXCEPT;
ORVIK_API Opmg_Parameter *
opmg_CategoryListFindParameterInCategory(const Opmg_Category *list, const wchar_t *category,
                                         const wchar_t *name, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT;

/* ---- Saving. The user's file goes to the element of GIO_PREFERENCES_PATH that lies under
 * GIO_PERSONAL (else the first element); the global file to the last element. */
ORVIK_API long opmg_SaveUserPreference(Oerr_ErrorReport **err) ORVIK_NOEXCEPT;
ORVIK_API long opmg_SaveGlobalPreference(Oerr_ErrorReport **err) ORVIK_NOEXCEPT;
/* Whether puts happened since the last save or load. */
ORVIK_API Omsc_Boolean opmg_PreferenceChangesUnsaved(void) ORVIK_NOEXCEPT;
/* The installed implementation's data (the default database for the default one). */
ORVIK_API void *opmg_GetGlobalPreferenceHandle(void) ORVIK_NOEXCEPT;
/* "global" or "local" from GIO_PREFERENCE_DATABASE_TYPE (default "local"), a new string. */
ORVIK_API wchar_t *opmg_GetDataBaseType(Oerr_ErrorReport **err) ORVIK_NOEXCEPT;

ORVIK_END_DECLS

#endif /* ORVIK_OPMG_H */
