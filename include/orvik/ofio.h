/*
 * ofio.h - file I/O: byte streams on files with sequential, positioned, character and
 * formatted access, a null device that only counts, memory mapping, files and folders,
 * temporary names, folder scans and search lists.
 *
 * Names are wide text. Inside the toolkit a path uses "/"; a "\" is accepted and treated as
 * "/". Names are handed to the system as UTF-8.
 *
 * Errors: every fallible function clears *err on entry and, on failure, stores one report
 * (kind 2) naming itself, whose message carries the system's reason and the file name where
 * there is one. The two callback-shaped functions (ofio_Fprintf, ofio_VFprintf) cannot take
 * a report argument; they keep their report in the stream instead (ofio_FileErrorTake).
 *
 * Threads: a stream may be used by one thread at a time; different streams are independent.
 *
 * Positions and sizes are 64-bit byte offsets. Stream positions are logical: seeking past
 * the end is allowed, and a later write there leaves a hole that reads back as zero bytes.
 */
#ifndef ORVIK_OFIO_H
#define ORVIK_OFIO_H

#include <stdarg.h>
#include <stdint.h>
#include <wchar.h>

#include <orvik/oerr.h>
#include <orvik/omsc.h>
#include <orvik/ostr.h>

ORVIK_BEGIN_DECLS

/* An open stream; created by ofio_FileOpen or ofio_NullDeviceOpen, released by
 * ofio_FileClose (never by omsc_HeapFree). */
typedef struct Ofio_File_ Ofio_File;

/* Origins for ofio_Seek. */
enum { OFIO_SEEK_SET = 0, OFIO_SEEK_CUR = 1, OFIO_SEEK_END = 2 };

/* Character results of ofio_Fgetc and of reader callbacks. */
enum {
    OFIO_EOF = -1,  /* end of file; no report */
    OFIO_ERROR = -2 /* failure; a report was stored */
};

/*
 * Writer callback: formats `format` with the arguments (the library's wide convention: %s
 * wide, %S narrow UTF-8, %ld long, ...) onto `context`, adds the number of characters
 * produced to *count (when count is not null) and returns that number; a negative result
 * means failure and leaves *count unchanged. ofio_Fprintf has this shape with an Ofio_File
 * as context; encoders take any function of this type so that they can also write into
 * memory.
 */
typedef int (*Ofio_WriterFunc)(void *context, const wchar_t *format, long *count, ...);

/*
 * Reader callback: returns the next byte (0 to 255) of `context`, OFIO_EOF at the end, or
 * OFIO_ERROR with a report in *err. ofio_FileReaderFunc has this shape with an Ofio_File as
 * context; decoders that read character by character take any function of this type.
 */
typedef int (*Ofio_ReaderFunc)(void *context, Oerr_ErrorReport **err);

/* ---- Streams ------------------------------------------------------------------------- */

/*
 * Opens `name` with a stream mode text: "r" read, "w" write (created, truncated), "a"
 * append (created; every write goes to the end), each optionally followed by "+" (read and
 * write) and "b" or "t" (ignored, there is no text translation), and "x" after "w" (fail
 * when the file exists). "r" and "rb" open read-only; writes to such a stream are refused.
 * Returns null on failure.
 */
ORVIK_API Ofio_File *ofio_FileOpen(const wchar_t *name, const wchar_t *mode, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT;

/* A stream that discards what is written and reads as empty. Writing to it measures text:
 * the character counter of ofio_Fprintf grows as for a file, and ofio_Tell gives the bytes
 * "written". Close it with ofio_FileClose. */
ORVIK_API Ofio_File *ofio_NullDeviceOpen(Oerr_ErrorReport **err) ORVIK_NOEXCEPT;

/* Writes what is still buffered, releases a mapping, closes and frees the stream, also when
 * it fails (a failed final write is reported: the data may be lost). A null stream is a
 * no-op. Returns 0, or -1 on failure. */
ORVIK_API int ofio_FileClose(Ofio_File *file, Oerr_ErrorReport **err) ORVIK_NOEXCEPT;

/* Moves the position to offset from `whence` (OFIO_SEEK_SET/CUR/END). A resulting negative
 * position is refused. Returns 0, or -1. */
ORVIK_API int ofio_Seek(Ofio_File *file, int64_t offset, int whence, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT;

/* Current position, or -1. */
ORVIK_API int64_t ofio_Tell(Ofio_File *file, Oerr_ErrorReport **err) ORVIK_NOEXCEPT;

/*
 * Reads exactly `count` bytes at the position and advances it. Reaching the end of the file
 * first is a failure (a short read), never zero-filled. Returns count, or -1 with the
 * position unchanged. A count of 0 returns 0.
 */
ORVIK_API long ofio_ReadSeq(Ofio_File *file, void *buffer, long count, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT;

/* Reads exactly `count` bytes at `position` without using or moving the stream position;
 * short reads fail as in ofio_ReadSeq. */
ORVIK_API long ofio_FileReadDirect(Ofio_File *file, int64_t position, void *buffer, long count,
                                   Oerr_ErrorReport **err) ORVIK_NOEXCEPT;

/*
 * Writes `count` bytes at the position (at the end in append mode) and advances it. Small
 * writes may be buffered: a failure of the system to store them (disk full, file-size
 * limit) is then reported by the call that writes the buffer out (a later write or read,
 * ofio_Flush, ofio_FileClose). Returns count, or -1. ofio_FileWriteSequential is the same function
 * under its other name.
 */
ORVIK_API long ofio_WriteSeq(Ofio_File *file, const void *buffer, long count,
                             Oerr_ErrorReport **err) ORVIK_NOEXCEPT;
ORVIK_API long ofio_FileWriteSequential(Ofio_File *file, const void *buffer, long count,
                                        Oerr_ErrorReport **err) ORVIK_NOEXCEPT;

/* Writes `count` bytes at `position` without using or moving the stream position (the file
 * grows when position + count lies beyond its end). Buffered as ofio_WriteSeq. */
ORVIK_API long ofio_FileWriteDirect(Ofio_File *file, int64_t position, const void *buffer,
                                    long count, Oerr_ErrorReport **err) ORVIK_NOEXCEPT;

/* Hands everything buffered to the system. Returns 0, or -1. */
ORVIK_API int ofio_Flush(Ofio_File *file, Oerr_ErrorReport **err) ORVIK_NOEXCEPT;

/* Size in bytes, including what is still buffered; -1 on failure. */
ORVIK_API int64_t ofio_FileSizeGetByHandle(Ofio_File *file, Oerr_ErrorReport **err) ORVIK_NOEXCEPT;
ORVIK_API int64_t ofio_FileSizeGetByName(const wchar_t *name, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT;

/* Next byte (0 to 255) at the position, OFIO_EOF at the end (no report), OFIO_ERROR on
 * failure. Text is read as bytes: a multi-byte UTF-8 character arrives byte by byte. */
ORVIK_API int ofio_Fgetc(Ofio_File *file, Oerr_ErrorReport **err) ORVIK_NOEXCEPT;

/* ofio_Fgetc in the shape of Ofio_ReaderFunc; `context` is an Ofio_File. */
ORVIK_API int ofio_FileReaderFunc(void *context, Oerr_ErrorReport **err) ORVIK_NOEXCEPT;

/*
 * Reads one line of UTF-8 text into `buffer` as wide characters: at most count - 1
 * characters, up to and including "\n", then a terminator; the rest of a longer line is
 * left for the next call. Returns buffer, or null: at the end of the file before any
 * character (*err stays null), or on failure (*err set; also for invalid UTF-8). With
 * count 1 nothing is read: buffer (holding "") before the end of the file, null at it.
 */
ORVIK_API wchar_t *ofio_Fgets(wchar_t *buffer, long count, Ofio_File *file, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT;

/*
 * Formatted writer (Ofio_WriterFunc contract) with an Ofio_File as context: the text is
 * formatted with the library's wide convention and written as UTF-8. *count (may be null)
 * grows by the number of wide characters formatted. Returns that number, or a negative
 * value on failure; the report is then kept in the stream for ofio_FileErrorTake. `format`
 * is never text from a file or a caller: pass such text as an argument of "%s".
 */
ORVIK_API int ofio_Fprintf(void *file, const wchar_t *format, long *count, ...) ORVIK_NOEXCEPT;
ORVIK_API int ofio_VFprintf(void *file, const wchar_t *format, long *count, va_list args)
    ORVIK_NOEXCEPT;

/* Hands over (the caller owns it) the report of the last failed ofio_Fprintf or
 * ofio_VFprintf on this stream, or null when there was none. */
ORVIK_API Oerr_ErrorReport *ofio_FileErrorTake(Ofio_File *file) ORVIK_NOEXCEPT;

/* OMSC_TRUE for a stream opened with "r" or "rb". */
ORVIK_API Omsc_Boolean ofio_FileIsReadOnly(const Ofio_File *file) ORVIK_NOEXCEPT;

/* The name the stream was opened with (owned by the stream), or null. */
ORVIK_API const wchar_t *ofio_FileNameGet(const Ofio_File *file) ORVIK_NOEXCEPT;

/* ---- Memory mapping ------------------------------------------------------------------ */

/*
 * Maps the whole file into memory and returns its first byte; *size receives the mapped
 * length. What the stream still buffers is written first. The view is shared: for a stream
 * open for writing, stores into it reach the file; for a read-only stream it is read-only.
 * Mapping a mapped stream renews the view as ofio_FileRemap does. An empty file cannot be
 * mapped. The view stays valid until ofio_FileRemap, ofio_FileUnmap or ofio_FileClose.
 * Null on failure (an existing view then stays as it was).
 */
ORVIK_API void *ofio_FileMap(Ofio_File *file, int64_t *size, Oerr_ErrorReport **err) ORVIK_NOEXCEPT;

/* Renews the view of a mapped stream so that it covers the file's present length (after the
 * file grew). The address may change; the old view is released once the new one exists. */
ORVIK_API void *ofio_FileRemap(Ofio_File *file, int64_t *size, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT;

/* Releases the view; a stream without one is left as it is. Returns 0, or -1. */
ORVIK_API int ofio_FileUnmap(Ofio_File *file, Oerr_ErrorReport **err) ORVIK_NOEXCEPT;

/* Whether the stream's file lies on a file system of this machine: 1 local, 0 on a network
 * or cluster file system (where mapping is not used), -1 on failure. */
ORVIK_API int ofio_FileSystemIsLocal(Ofio_File *file, Oerr_ErrorReport **err) ORVIK_NOEXCEPT;

/* ---- Files and folders --------------------------------------------------------------- */

/* Whether an entry (file, folder or other) of that name exists. A missing entry or path
 * component gives OMSC_FALSE without a report; other failures (no permission) report. */
ORVIK_API Omsc_Boolean ofio_FileExists(const wchar_t *name, Oerr_ErrorReport **err) ORVIK_NOEXCEPT;

/* Whether `name` is an existing folder; reports as ofio_FileExists. */
ORVIK_API Omsc_Boolean ofio_IsDirectory(const wchar_t *name, Oerr_ErrorReport **err) ORVIK_NOEXCEPT;

/* Removes a file (not a folder). Returns 0, or -1. */
ORVIK_API int ofio_FileRemove(const wchar_t *name, Oerr_ErrorReport **err) ORVIK_NOEXCEPT;

/* Renames or moves `from` to `to`, replacing an existing file `to`. Across file systems a
 * file is copied and the original removed. Returns 0, or -1. */
ORVIK_API int ofio_FileMove(const wchar_t *from, const wchar_t *to, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT;

/* Makes sure the folder exists, creating it and any missing parents. An existing folder is
 * success; an existing entry that is not a folder is a failure. Returns 0, or -1. */
ORVIK_API int ofio_MaybeMakeDir(const wchar_t *name, Oerr_ErrorReport **err) ORVIK_NOEXCEPT;

/* The folder for temporary files ($TMPDIR, else the system's), as a new heap string. */
ORVIK_API wchar_t *ofio_TempDirGet(Oerr_ErrorReport **err) ORVIK_NOEXCEPT;

/*
 * Creates a new empty file named directory/prefix + a random part + suffix, with exclusive
 * creation (a name is never guessed and then opened: two callers never get the same file).
 * A null or empty directory means ofio_TempDirGet; prefix and suffix may be null. Returns
 * the file's name (a new heap string; the caller removes the file and frees the name), or
 * null. ofio_TempFileOpen does the same and returns the file open with mode "w+b", its name
 * in *name.
 */
ORVIK_API wchar_t *ofio_TempFileCreate(const wchar_t *directory, const wchar_t *prefix,
                                       const wchar_t *suffix, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT;
ORVIK_API Ofio_File *ofio_TempFileOpen(const wchar_t *directory, const wchar_t *prefix,
                                       const wchar_t *suffix, wchar_t **name,
                                       Oerr_ErrorReport **err) ORVIK_NOEXCEPT;

/* ---- Folder scans and search lists ----------------------------------------------------- */

/*
 * The regular files of `directory` whose names match `pattern` (ostr_WildcardMatch: "*" any
 * run, "?" one character; null means "*"), as full names directory + "/" + name, sorted by
 * name (ordinal, case-sensitive). A new list owned by the caller (ostr_StringListDelete),
 * empty when nothing matches. A missing or unreadable folder is a failure (null).
 */
ORVIK_API ostr_StringList *ofio_DirScan(const wchar_t *directory, const wchar_t *pattern,
                                        Oerr_ErrorReport **err) ORVIK_NOEXCEPT;

/*
 * A search list is a string list of folders in search order. Made from text: environment
 * references ("$NAME", "${NAME}", ostr_StringEvaluate) are expanded first, so a variable may
 * itself hold a list; then the text is split at ";", each element is trimmed of surrounding
 * blanks, "" becomes "/" and trailing "/" are dropped (not from "/" itself); empty elements
 * and repeats of an earlier element are left out. A null text gives an empty list. The
 * ...FromEnv form takes the text from an environment variable; an unset variable is a
 * failure (report 7). New lists owned by the caller (ostr_StringListDelete).
 */
ORVIK_API ostr_StringList *ofio_SearchListCreateFromText(const wchar_t *text,
                                                         Oerr_ErrorReport **err) ORVIK_NOEXCEPT;
ORVIK_API ostr_StringList *ofio_SearchListCreateFromEnv(const wchar_t *variable,
                                                        Oerr_ErrorReport **err) ORVIK_NOEXCEPT;

/*
 * Finds `name` along the search list: the first folder holding an entry of that name that is
 * not a folder gives folder + "/" + name (a new heap string, owned by the caller). A name
 * that begins with "/" (or a drive letter and ":") is not searched; it is returned when it
 * exists. Folders that do not exist are passed over. Not found: null with report 7
 * naming the file. Other system failures are reported (2).
 */
ORVIK_API wchar_t *ofio_Which(const ostr_StringList *searchList, const wchar_t *name,
                              Oerr_ErrorReport **err) ORVIK_NOEXCEPT;

/*
 * Every regular file matching `pattern` in every folder of the search list: folder by folder
 * in list order, each folder's matches sorted by name (as ofio_DirScan). Folders that do not
 * exist are passed over; other failures (a file named as a folder, no permission) end the
 * search with a report. A new list owned by
 * the caller, empty when nothing matches.
 */
ORVIK_API ostr_StringList *ofio_SearchListFilesFind(const ostr_StringList *searchList,
                                                    const wchar_t *pattern, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT;

ORVIK_END_DECLS

#endif /* ORVIK_OFIO_H */
