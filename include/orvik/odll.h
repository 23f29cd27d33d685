/*
 * odll.h - plug-in classes and instances, single libraries and resource libraries.
 *
 * A plug-in class (for example "RasterFormats") is a set of dynamic libraries found along the
 * class's search path, held in the environment variable odll_ClassPathNameGet names. Every
 * "*.dll" file along the path is a library of the class, and every "*.dlk" file is a text file
 * naming further libraries, one per line. An instance is one library of a class opened under
 * an instance name; open instances are kept in a process-wide table keyed
 * "<class>|<instance>|<library>" until closed.
 *
 * Plug-in ABI: a plug-in library exports, with C linkage, the functions below under the names
 * ODLL_CREATE_ENTRY and ODLL_DESTROY_ENTRY (both required: a library without them is refused
 * and unloaded) and optionally ODLL_CONFIGURE_ENTRY and ODLL_PARAMETER_ENTRY. See
 * docs/plugins.md.
 *
 * Security: libraries are loaded only from the class search list, from an explicit path the
 * caller gives, or (for a bare name given to odll_Open) from the system loader's own folders,
 * which never include the current directory.
 *
 * Threads: every function may be called from any thread; the instance table and the class
 * lists have their own lock. Plug-in entry points are called outside that lock.
 */
#ifndef ORVIK_ODLL_H
#define ORVIK_ODLL_H

#include <wchar.h>

#include <orvik/oerr.h>
#include <orvik/omsc.h>
#include <orvik/ostr.h>

ORVIK_BEGIN_DECLS

/* ---- Plug-in ABI --------------------------------------------------------------------- */

#define ODLL_CREATE_ENTRY "orvikPluginCreate"
#define ODLL_DESTROY_ENTRY "orvikPluginDestroy"
#define ODLL_CONFIGURE_ENTRY "orvikPluginConfigure"
#define ODLL_PARAMETER_ENTRY "orvikPluginParameter"

/* Creates the data of a new instance in *data (may stay null). Returns 0, or -1 with a
 * report in *err (then destroy is not called). */
typedef long (*Odll_CreateFunc)(const wchar_t *className, const wchar_t *instanceName, void **data,
                                Oerr_ErrorReport **err);
/* Releases what create made. Returns 0, or -1 with a report. */
typedef long (*Odll_DestroyFunc)(void *data, Oerr_ErrorReport **err);
/* Configures the instance (reads preferences, probes devices, ...). Returns 0, or -1. */
typedef long (*Odll_ConfigureFunc)(void *data, Oerr_ErrorReport **err);
/* The value of one configuration parameter as text owned by the instance (valid until the
 * next call into the instance), or null when the instance has no such parameter. */
typedef const wchar_t *(*Odll_ParameterFunc)(void *data, const wchar_t *name);

/* ---- Handles ------------------------------------------------------------------------- */

/* A loaded library: the system's module handle and the file name it was loaded from. */
typedef struct _odll_Handle {
    void *module;
    wchar_t *fileName;
} * OdllHandle;

/* ---- Class paths and class lists ----------------------------------------------------- */

/* The name of a class's path variable: "GIO", then every character of the class name in
 * upper case, with "_" before each character that was already upper case (capitals, digits
 * and every other non-letter), then "_PATH". "RasterFormats" -> "GIO_RASTER_FORMATS_PATH",
 * "Font3D" -> "GIO_FONT_3_D_PATH". A new heap string; null for a null or empty class name
 * (report 1). */
ORVIK_API wchar_t *odll_ClassPathNameGet(const wchar_t *className, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT;
/* The class's search path text: the variable's value, or "$GIO_HOME/usr/lib/$GIO_ARCHM/<class>"
 * expanded when the variable is unset. A new heap string, or null. */
ORVIK_API wchar_t *odll_ClassPathGet(const wchar_t *className, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT;
/* Every library named by a search list: the "*.dll" files folder by folder, then the names
 * listed in the "*.dlk" files (trimmed, empty lines skipped; a relative name is resolved
 * against the list file's own folder, then "$GIO_HOME/usr/lib/$GIO_ARCHM" and
 * "$GIO_HOME/bin/$GIO_ARCHM", and left out with a warning when none holds it). Repeats are
 * left out. A new list (possibly empty), or null. */
ORVIK_API ostr_StringList *
odll_SearchListGenerateAndIdentifyFiles(const ostr_StringList *searchList, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT;
/* The libraries of a class (a copy owned by the caller). The list is built on first use and
 * kept; `rebuild` builds it again from the class path. An empty list gives the warning
 * "No %s DLLs found!" and is returned. */
ORVIK_API ostr_StringList *odll_ClassDllListGet(const wchar_t *className, Omsc_Boolean rebuild,
                                                Oerr_ErrorReport **err) ORVIK_NOEXCEPT;
/* Forgets every kept class list (the next odll_ClassDllListGet rebuilds). */
ORVIK_API void odll_ClassDllListsReset(void) ORVIK_NOEXCEPT;

/* ---- Instances ----------------------------------------------------------------------- */

/* Opens `library` (a path) as instance `instanceName` of `className`, or returns the one the
 * table already holds under the same three names. Returns the instance's data (which may
 * legitimately be null: test *err), owned by the instance. */
ORVIK_API void *odll_InstanceOpenByClassName(const wchar_t *className, const wchar_t *instanceName,
                                             const wchar_t *library, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT;
/* The instance `instanceName` of a class: an open one when the table holds it, else the
 * library "<instanceName>.dll" found along the class path is opened. Returns its data. */
ORVIK_API void *odll_InstanceFind(const wchar_t *className, const wchar_t *instanceName,
                                  Oerr_ErrorReport **err) ORVIK_NOEXCEPT;
/* Whether the table holds an instance of that class and name (any library). */
ORVIK_API Omsc_Boolean odll_InstanceIsOpen(const wchar_t *className, const wchar_t *instanceName)
    ORVIK_NOEXCEPT;
/* Closes instance `instanceName` of a class (every library it is open from when `library` is
 * null): calls destroy, unloads the library, removes the entry. Returns 0, or -1 (also when
 * no such instance is open; a failing destroy is reported but the entry is still removed). */
ORVIK_API long odll_InstanceClose(const wchar_t *className, const wchar_t *instanceName,
                                  const wchar_t *library, Oerr_ErrorReport **err) ORVIK_NOEXCEPT;
/* Closes every open instance; returns 0, or -1 after closing all when a destroy failed. */
ORVIK_API long odll_InstanceCloseAll(Oerr_ErrorReport **err) ORVIK_NOEXCEPT;
/* Opens every library of the class (instance name = the library's name without folder and
 * extension). A library that cannot be opened is passed over with the warning "Unable to
 * open DLL instance %s". Returns the names of the class's open instances, sorted (a new
 * list), or null: "No DLL instances" when none could be opened. */
ORVIK_API ostr_StringList *odll_ClassInstancesGet(const wchar_t *className, Omsc_Boolean rebuild,
                                                  Oerr_ErrorReport **err) ORVIK_NOEXCEPT;

/* A progress meter for odll_ClassInstancesConfigWithMeter: setParameters gets the number of
 * steps, setTaskName the text of each step, step is called after each one. Each returns 0, or
 * -1 with a report. */
typedef struct _Odll_Meter {
    void *client;
    long (*setParameters)(void *client, long total, Oerr_ErrorReport **err);
    long (*setTaskName)(void *client, const wchar_t *task, Oerr_ErrorReport **err);
    void (*step)(void *client, long done);
} Odll_Meter;

/* Calls the configure entry of every open instance of the class (those without one are
 * passed over). Returns the number configured, or -1: "No DLL instances" for a class without
 * open instances, or the first failing configure (the others still run). */
ORVIK_API long odll_ClassInstancesConfig(const wchar_t *className, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT;
/* As odll_ClassInstancesConfig, telling the meter "Configuring %s..." before each instance. */
ORVIK_API long odll_ClassInstancesConfigWithMeter(const wchar_t *className, const Odll_Meter *meter,
                                                  Oerr_ErrorReport **err) ORVIK_NOEXCEPT;
/* One configuration parameter of an open instance, as a new heap string; null with no
 * report when the instance has no such parameter (or no parameter entry). */
ORVIK_API wchar_t *odll_InstanceConfigParameterValueFind(const wchar_t *className,
                                                         const wchar_t *instanceName,
                                                         const wchar_t *parameter,
                                                         Oerr_ErrorReport **err) ORVIK_NOEXCEPT;

/* ---- Single libraries ---------------------------------------------------------------- */

/* Loads a library: a name with a folder part is loaded from there; a bare name goes to the
 * system loader. A null or empty name, or the name "orasteru.dll", gives the handle of the
 * already loaded process image under that name. Release with odll_Close. */
ORVIK_API OdllHandle odll_Open(const wchar_t *name, Oerr_ErrorReport **err) ORVIK_NOEXCEPT;
/* The address of an exported symbol; report "Cannot locate symbol %s" when absent. */
ORVIK_API void *odll_Find(OdllHandle handle, const char *symbol, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT;
/* As odll_Find with a wide name and no report when the symbol is absent; a name longer than
 * 255 UTF-8 bytes gives "Temp buffer size exceeded". */
ORVIK_API void *odll_FindIfPresent(OdllHandle handle, const wchar_t *symbol, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT;
/* Unloads the library and frees the handle; "orasteru.dll" is never unloaded (only its
 * record is freed). A null handle is a no-op. Returns 0, or -1. */
ORVIK_API long odll_Close(OdllHandle handle, Oerr_ErrorReport **err) ORVIK_NOEXCEPT;
/* The system module handle of a loaded library (still owned by the handle). */
ORVIK_API void *odll_ReleaseWindowHandle(OdllHandle handle) ORVIK_NOEXCEPT;
/* Loads the resource library of a module: "<folder>/res/<name>Res.dll" for the module file
 * "<folder>/<name>.<ext>"; a null module name means this library's own file. The handle goes
 * to *handle. Returns 0, or -1 ("Could not load DLL"). */
ORVIK_API long odll_OpenResourceLibrary(const wchar_t *moduleName, OdllHandle *handle,
                                        Oerr_ErrorReport **err) ORVIK_NOEXCEPT;

ORVIK_END_DECLS

#endif /* ORVIK_ODLL_H */
