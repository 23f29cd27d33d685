/*
 * oint.h - toolkit start-up: the initialised flag and, for C++ applications,
 * DefaultToolkitContext and DefaultToolkitContextUtil (docs/startup.md).
 *
 * Modules that need a started toolkit (HFA files, for one) test oint_GetInit and refuse to
 * work before it. The flag is process-wide and may be read from any thread. Start-up itself
 * writes the process environment and is meant to run before the application starts threads.
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

#ifdef __cplusplus
#include <ostream>
#include <string>

/* What InitToolkit brought up. One process-wide record, owned by the library. */
typedef struct _Oint_ToolkitData {
    Omsc_Boolean preferencesStarted;
    Omsc_Boolean toolkitStarted;
    Omsc_Boolean pluginLayerStarted;
} Oint_ToolkitData;

/*
 * The steps of start-up, for applications that do not use DefaultToolkitContext. The
 * `verbose` flags ask start-up to log each variable it writes and each step it takes.
 */
class ORVIK_API DefaultToolkitContextUtil {
  public:
    /* Settles the toolkit's environment variables in order (docs/startup.md): a variable that
     * is set is kept, except GIO_ARCHM and PATH which are always written. Then hands the
     * environment to the plug-in layer. Returns false with a report when a variable cannot
     * be written. */
    static bool InitOrvikToolkitPaths(bool verbose, Oerr_ErrorReport **err = nullptr);
    /* As above with the defaults a constructor knows: installation home and architecture
     * mode (null: none). */
    static bool InitOrvikToolkitPaths(const wchar_t *home, const wchar_t *archMode, bool verbose,
                                      Oerr_ErrorReport **err = nullptr);
    /* Connects the error sinks, starts the preference database and the toolkit, and, when
     * the installation is present, the plug-in layer with the library's preference
     * implementation. When it is not installed, "Vortane ToolKit is not installed" is logged
     * (once per process) and an OerrException is thrown. Throws OerrException on any other
     * failure as well. */
    static const Oint_ToolkitData *InitToolkit(bool verbose);
    /* Whether a file can be created in `directory` (a temporary file named "tmp..." is made
     * and removed again). */
    static Omsc_Boolean IsDirectoryWriteable(const wchar_t *directory);
    /* The machine-wide data folder: $GIO_GLOBAL_DATA when set, else the first folder of
     * $XDG_DATA_DIRS (default "/usr/local/share") followed by "/orvik/toolkit-0.1". */
    static Omsc_Boolean ComputeGlobalAppStore(std::wstring &result);
    /* The default sinks: a report chain, each record as " ***<first line> IN FUNCTION
     * <function>***\n" and every further line of its message as " >>><line>\n"; a message
     * as its first line and "\n", further lines marked " >>>". UTF-8. */
    static void Errors2ostream(std::ostream &out, const Oerr_ErrorReport *report);
    static void Messages2ostream(std::ostream &out, const wchar_t *message);
    /* The installation folder found from the running executable's location (the parent of
     * the nearest "bin" folder above it, else the executable's folder); "" when unknown. */
    static std::wstring GIOHomeFromCmdLine();
};

/* Starts the toolkit for an application: settles the environment and runs InitToolkit.
 * Throws OerrException when start-up fails. Start-up is process-wide: destroying the context
 * stops nothing (call oint_DeInit at the end). */
class ORVIK_API DefaultToolkitContext {
  public:
    DefaultToolkitContext();
    DefaultToolkitContext(const wchar_t *home, bool verbose);
    DefaultToolkitContext(const wchar_t *home, const wchar_t *archMode, bool verbose);
    virtual ~DefaultToolkitContext();
    const Oint_ToolkitData *Data() const { return m_data; }

  private:
    const Oint_ToolkitData *m_data;
};
#endif

#endif /* ORVIK_OINT_H */
