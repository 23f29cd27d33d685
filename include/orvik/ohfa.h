/*
 * ohfa.h - HFA files: one disk file holding a tree of named, typed entries, the MIF
 * dictionary that describes their data, and a list of free space.
 *
 * File layout (every record in MIF file form: little-endian, no padding; offsets are 32-bit
 * and the file never grows beyond 0x7FFFFFFF bytes; see docs/hfa-format.md):
 *   0            Ohfa_HeaderTag   "OHFA_HEADER_TAG" and the offset of the header (64)
 *   headerPtr    Ohfa_File        version, free-list head, root entry, entry length,
 *                                 dictionary offset
 *   elsewhere    entries (128 bytes each), data blocks, the dictionary text and free blocks,
 *                all at positions handed out by the free-space allocator.
 *
 * Handles: ohfa_FileOpen / ohfa_FileCreate return one shared handle per file name; every
 * successful open or create adds a reference and needs its own ohfa_FileClose. A handle is
 * used by one thread at a time (there is no per-file lock).
 *
 * Errors: every fallible function clears *err on entry and on failure stores one report
 * (kind 2) naming itself, with the failing callee's report as its previous record. Warnings
 * met inside a successful call are printed and deleted on the spot; a successful call never
 * leaves a report behind.
 *
 * Before use: oint_InitToolkit (oint.h), then ohfa_Init.
 */
#ifndef ORVIK_OHFA_H
#define ORVIK_OHFA_H

#include <stdint.h>
#include <stdio.h>
#include <wchar.h>

#include <orvik/oerr.h>
#include <orvik/omif.h>
#include <orvik/omsc.h>
#include <orvik/ostr.h>

ORVIK_BEGIN_DECLS

/* The open-file handle (opaque). */
typedef struct Ohfa_File_ Ohfa_File;

/* ---- Fixed records: host forms of the six built-in designs -------------------------------
 * Text items are 8-bit, zero-terminated. File sizes: tag 20, header 18, entry 128, free-list
 * node 8, data descriptor 8, cache node 16. */

/* Design "Ohfa_HeaderTag", at file offset 0. */
typedef struct Ohfa_HeaderTag_ {
    char label[16];     /* "OHFA_HEADER_TAG" */
    uint32_t headerPtr; /* offset of the Ohfa_File record */
} Ohfa_HeaderTag;

/* Design "Ohfa_File" (the design bears the handle's name; the host record is this one). */
typedef struct Ohfa_FileHeader_ {
    int32_t version;           /* format version, 1 for new files */
    uint32_t freeList;         /* first free block, 0 for none */
    uint32_t rootEntryPtr;     /* the root Ohfa_Entry */
    int16_t entryHeaderLength; /* 128 */
    uint32_t dictionaryPtr;    /* the dictionary text; 0: no dictionary */
} Ohfa_FileHeader;

/* Design "Ohfa_Entry": one node of the entry tree. */
typedef struct Ohfa_Entry_ {
    uint32_t next;   /* next sibling, 0 for none */
    uint32_t prev;   /* previous sibling, 0 for none */
    uint32_t parent; /* 0 for the root */
    uint32_t child;  /* first child, 0 for none */
    uint32_t data;   /* the data block, 0 for none */
    int32_t dataSize;
    char name[64];  /* at most 63 characters */
    char type[32];  /* design name of the data block */
    double modTime; /* seconds since 1970-01-01 00:00 UTC */
} Ohfa_Entry;

/* Design "Ohfa_FreeListNode": the first 8 bytes of every free block. */
typedef struct Ohfa_FreeListNode_ {
    uint32_t freeList; /* next free block, 0 at the end */
    int32_t freeSize;  /* bytes of this free block, node included */
} Ohfa_FreeListNode;

/* Design "Ohfa_Data". */
typedef struct Ohfa_Data_ {
    int32_t size;
    uint32_t ptr;
} Ohfa_Data;

/* Design "Ohfa_CacheNode": root record of a block cache stored in a file. */
typedef struct Ohfa_CacheNode_ {
    int32_t blocksize;
    int32_t blockcount;
    int32_t bytecount;
    int32_t rootptr;
} Ohfa_CacheNode;

/* One of the six designs by name (owned by the library, created at first use). */
ORVIK_API const Omif_Design *ohfa_DesignFetch(const wchar_t *name, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT;

/* ---- Package ------------------------------------------------------------------------- */

/* Initialises the package (needs oint_InitToolkit first). Returns 0, or -1. Until then
 * every other function fails with "Ofha package has not been initialized". */
ORVIK_API long ohfa_Init(Oerr_ErrorReport **err) ORVIK_NOEXCEPT;

/* Switches the package off (OMSC_TRUE) or on again. While off, opening and creating fail
 * with "Ohfa package is disabled"; files already open stay usable. */
ORVIK_API void ohfa_PackageDisable(Omsc_Boolean disabled) ORVIK_NOEXCEPT;

/* Called after a flush or close has written changes to a file, and after a rename, with
 * the file's (new) name; runs inside the thread-unsafe section. */
typedef void (*Ohfa_FileChangedCallback)(const wchar_t *fileName);

/* Installs the one process-wide callback (null removes it); returns the previous one. */
ORVIK_API Ohfa_FileChangedCallback ohfa_SetFileChangedCallback(Ohfa_FileChangedCallback callback)
    ORVIK_NOEXCEPT;

/* ---- Options ---------------------------------------------------------------------------
 * The ...WithOptions functions and ohfa_FileChange take, after `err`, a list of option codes
 * each followed by its values, ending with 0. Codes and numbers are `int`; the value of
 * OHFA_OPTION_RENAME is a `const wchar_t *`. An unknown code is the warning "Illegal option
 * %ld"; scanning goes on with the next word. */
enum {
    OHFA_OPTION_END = 0,
    OHFA_OPTION_MAP = 1,                  /* 2 values: 1 maps the file, 0 unmaps; reserved */
    OHFA_OPTION_NOT_FLUSHED_ON_WRITE = 2, /* 1 value: 1 keeps flushes from writing the
                                             dictionary, 0 clears it */
    OHFA_OPTION_BATCH = 3,                /* 1 value: 1 enters batch mode, else leaves it */
    OHFA_OPTION_BLOCK_CACHE = 4,          /* 1 value: 1 block caching on, else off */
    OHFA_OPTION_RENAME = 5,               /* 1 value: const wchar_t *new name */
    OHFA_OPTION_RESERVED_6 = 6,           /* 5 values, ignored */
    OHFA_OPTION_EXCLUSIVE = 7,            /* 1 value: 1 makes create/open refuse a file that
                                             is already open */
    OHFA_OPTION_RESERVED_8 = 8,           /* 1 value, ignored */
    OHFA_OPTION_WORKER_THREADS = 9        /* 1 value: threads that encode and decode the blocks
                                             of coded raster layers in multi-block reads and
                                             writes (1 to 64; default 1: none started) */
};

/* ---- Files --------------------------------------------------------------------------- */

/* The file's format version when `name` is an HFA file with a dictionary, else 0. A file
 * that is not HFA (short, foreign, missing) is never an error: reports met on the way are
 * printed and deleted. Fails (0 with a report) only when the package is not ready. */
ORVIK_API long ohfa_IsHFAFile(const wchar_t *name, Oerr_ErrorReport **err) ORVIK_NOEXCEPT;

/* Creates (truncating) an HFA file: header tag, header, root entry and dictionary. A create
 * that fails deletes the partial file. An open name gets the open handle with one more
 * reference. `cacheArg` is kept in the record unchanged. Null on failure. */
ORVIK_API Ohfa_File *ohfa_FileCreate(const wchar_t *name, uint32_t cacheArg, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT;
ORVIK_API Ohfa_File *ohfa_FileCreateWithOptions(const wchar_t *name, uint32_t cacheArg,
                                                Oerr_ErrorReport **err, ...) ORVIK_NOEXCEPT;

/* Opens an HFA file with a stream mode ("r" and "rb" read-only, any other mode for update);
 * an open name gets the open handle with one more reference. errno is left as it was.
 * Null on failure. */
ORVIK_API Ohfa_File *ohfa_FileOpen(const wchar_t *name, const wchar_t *mode, uint32_t cacheArg,
                                   Oerr_ErrorReport **err) ORVIK_NOEXCEPT;
ORVIK_API Ohfa_File *ohfa_FileOpenWithOptions(const wchar_t *name, const wchar_t *mode,
                                              uint32_t cacheArg, Oerr_ErrorReport **err, ...)
    ORVIK_NOEXCEPT;

/* Finds `name` along a search list (ofio_Which) and opens it. */
ORVIK_API Ohfa_File *ohfa_SearchListFileOpen(const ostr_StringList *searchList, const wchar_t *name,
                                             const wchar_t *mode, uint32_t cacheArg,
                                             Oerr_ErrorReport **err) ORVIK_NOEXCEPT;

/* Drops one reference; the last one flushes, closes the stream and frees the handle (also
 * when the flush fails, which is reported). Returns 0, or -1. */
ORVIK_API long ohfa_FileClose(Ohfa_File *file, Oerr_ErrorReport **err) ORVIK_NOEXCEPT;

/* Writes what changed (dictionary, header, free list) and flushes the stream. A file with
 * no change gets only the stream flush. Returns 0, or -1. */
ORVIK_API long ohfa_FileFlush(Ohfa_File *file, Oerr_ErrorReport **err) ORVIK_NOEXCEPT;

/* Re-reads header and dictionary after another writer changed the file; unsaved free-list
 * changes of this handle are dropped. Returns 0, or -1. */
ORVIK_API long ohfa_FileReinitialize(Ohfa_File *file, Oerr_ErrorReport **err) ORVIK_NOEXCEPT;

/* Applies an option list to an open file. Returns 0, or -1. */
ORVIK_API long ohfa_FileChange(Ohfa_File *file, Oerr_ErrorReport **err, ...) ORVIK_NOEXCEPT;

ORVIK_API Omsc_Boolean ohfa_FileIsOpen(const wchar_t *name, Oerr_ErrorReport **err) ORVIK_NOEXCEPT;
ORVIK_API Omsc_Boolean ohfa_FileIsNotFlushedOnWrite(const Ohfa_File *file) ORVIK_NOEXCEPT;

/* Length of the file in bytes; -1 on failure. */
ORVIK_API long ohfa_FileSize(Ohfa_File *file, Oerr_ErrorReport **err) ORVIK_NOEXCEPT;

/* The file's name (owned by the handle), or null. */
ORVIK_API const wchar_t *ohfa_FileNameGet(const Ohfa_File *file) ORVIK_NOEXCEPT;

/* ---- Dictionary ---------------------------------------------------------------------- */

/* The file's dictionary (owned by the handle; change it only through the function below). */
ORVIK_API const Omif_Dictionary *ohfa_FileDictionaryGet(const Ohfa_File *file) ORVIK_NOEXCEPT;

/* Adds `design` (and the designs it uses) to the file's dictionary unless present; the
 * next flush stores it. Returns the dictionary's design, or null. */
ORVIK_API const Omif_Design *ohfa_FileDictionaryAddDesign(Ohfa_File *file,
                                                          const Omif_Design *design,
                                                          Oerr_ErrorReport **err) ORVIK_NOEXCEPT;

/* Stores the dictionary: in place when its text has the stored length or is at least 8
 * bytes shorter, else in a new block. Called by the flush. Returns 0, or -1. */
ORVIK_API long ohfa_DictionaryWrite(Ohfa_File *file, Oerr_ErrorReport **err) ORVIK_NOEXCEPT;

/* Returns a dictionary's old block to the free list. Returns 0, or -1. */
ORVIK_API long ohfa_DictionaryDelete(Ohfa_File *file, uint32_t position, long length,
                                     Oerr_ErrorReport **err) ORVIK_NOEXCEPT;

/* ---- Records ------------------------------------------------------------------------- */

/* Writes one host record of `design` (`size` = its file size) at `position`, converted to
 * file form. Returns size, or -1. */
ORVIK_API long ohfa_FileHostDataWrite(Ohfa_File *file, long position, const Omif_Design *design,
                                      long size, const void *hostBuffer, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT;

/* Reads `size` bytes at `position` (-1: where the stream stands) and converts them into the
 * host record `hostBuffer` of `design`. Returns size, or -1. */
ORVIK_API long ohfa_FileHostDataRead(Ohfa_File *file, long position, const Omif_Design *design,
                                     long size, void *hostBuffer, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT;

/* The same for bytes already in file form (no conversion). */
ORVIK_API long ohfa_FileMIFDataWrite(Ohfa_File *file, long position, long size, const void *buffer,
                                     Oerr_ErrorReport **err) ORVIK_NOEXCEPT;
ORVIK_API long ohfa_FileMIFDataRead(Ohfa_File *file, long position, long size, void *buffer,
                                    Oerr_ErrorReport **err) ORVIK_NOEXCEPT;

/* ---- Entry tree ----------------------------------------------------------------------
 * Every open file has one current entry (none until the first seek or write: relative moves
 * then start at the root). Node paths: "/" is the root, "/Layer_1/Statistics" a descendant.
 * Methods 17 and 18 take an entry's file position as decimal text in `name`. */
enum {
    OHFA_SEEK_ROOT = 0,
    OHFA_SEEK_NEXT = 1,
    OHFA_SEEK_PREV = 2,
    OHFA_SEEK_LAST = 3,  /* last sibling */
    OHFA_SEEK_FIRST = 4, /* first sibling */
    OHFA_SEEK_CHILD = 5, /* first child */
    OHFA_SEEK_PARENT = 6,
    OHFA_SEEK_SIBLING_NAMED = 7, /* sibling with that name (needs a parent) */
    OHFA_SEEK_PATH = 8,          /* node path */
    OHFA_SEEK_LAST_CHILD = 9,
    OHFA_SEEK_CHILD_NAMED = 10,
    OHFA_SEEK_DESCENDANT_NAMED = 11, /* depth first, children before siblings */
    OHFA_SEEK_NEXT_NAMED = 12,       /* a later sibling with that name */
    OHFA_SEEK_SIBLING_INDEXED = 13,  /* sibling with that name through the entry table */
    OHFA_SEEK_CHILD_OF_TYPE = 14,    /* first child whose type is `name` */
    OHFA_SEEK_NEXT_OF_TYPE = 15,     /* a later sibling of that type */
    OHFA_SEEK_SIBLING_OF_TYPE = 16,  /* first sibling of that type (needs a parent) */
    OHFA_SEEK_POSITION = 17,         /* a stored position; no name: the batch start node */
    OHFA_SEEK_AT_FILE_POSITION = 18  /* the entry record at a file position */
};

/* Write positions of ohfa_EntryWrite. */
enum {
    OHFA_WRITE_CURRENT = 0,   /* rewrite the current entry (null name or type: kept) */
    OHFA_WRITE_BEFORE = 1,    /* new entry before the current one */
    OHFA_WRITE_AFTER = 2,     /* new entry after the current one */
    OHFA_WRITE_LAST_CHILD = 3 /* new last child of the current entry */
};

/* Non-zero when the current entry moved to an existing entry; 0 when there is none (no
 * report) or on failure (report). */
ORVIK_API long ohfa_EntrySeek(Ohfa_File *file, long method, const wchar_t *name,
                              Oerr_ErrorReport **err) ORVIK_NOEXCEPT;

/* Writes an entry; a new entry becomes the current one. Returns 0, or -1. */
ORVIK_API long ohfa_EntryWrite(Ohfa_File *file, long writePosition, const wchar_t *name,
                               const wchar_t *type, Oerr_ErrorReport **err) ORVIK_NOEXCEPT;

/* Links of the current entry, from the host copy (never fail). */
ORVIK_API Omsc_Boolean ohfa_EntryCurrentHasNext(const Ohfa_File *file, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT;
ORVIK_API Omsc_Boolean ohfa_EntryCurrentHasPrev(const Ohfa_File *file, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT;
ORVIK_API Omsc_Boolean ohfa_EntryCurrentHasChild(const Ohfa_File *file, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT;

/* Node path of the current entry (a new heap string), or null. */
ORVIK_API wchar_t *ohfa_CurrentEntryPath(Ohfa_File *file, Oerr_ErrorReport **err) ORVIK_NOEXCEPT;

/* Copies the current entry into *entry (may be null) and returns its file position; 0 on
 * failure. */
ORVIK_API long ohfa_EntryCurrentGet(Ohfa_File *file, Ohfa_Entry *entry, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT;

/* A caller-owned snapshot of the current entry (its position and node path); restored by
 * path, so it survives entries written or deleted around it. */
typedef struct Ohfa_EntryPosition_ Ohfa_EntryPosition;
ORVIK_API Ohfa_EntryPosition *ohfa_EntryPositionGet(Ohfa_File *file, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT;
ORVIK_API long ohfa_EntryPositionSet(Ohfa_File *file, const Ohfa_EntryPosition *position,
                                     Oerr_ErrorReport **err) ORVIK_NOEXCEPT;
ORVIK_API void ohfa_EntryPositionFree(Ohfa_EntryPosition *position) ORVIK_NOEXCEPT;

/* The current entry's file position (0 on failure), and a move to the entry at a position. */
ORVIK_API uint32_t ohfa_EntryGetCurrentPosition(Ohfa_File *file, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT;
ORVIK_API long ohfa_EntrySetCurrentPosition(Ohfa_File *file, uint32_t position,
                                            Oerr_ErrorReport **err) ORVIK_NOEXCEPT;

/* Whether a seek would find an entry: 1 (the record copied into *entry when not null), 0, or -1
 * with a report; the current entry stays where it is. */
ORVIK_API long ohfa_EntryPeek(Ohfa_File *file, long method, const wchar_t *name, Ohfa_Entry *entry,
                              Oerr_ErrorReport **err) ORVIK_NOEXCEPT;

/* Node paths of every entry below `startNode` (null: the root), in preorder; a new list. */
ORVIK_API ostr_StringList *ohfa_ObjectList(Ohfa_File *file, const wchar_t *startNode,
                                           Oerr_ErrorReport **err) ORVIK_NOEXCEPT;

/* Moves the current entry with its subtree to be the last child of the node `toPath`; it
 * stays the current entry. Refused: a missing node ("%s|Node not found"), the root or a
 * node inside the moved subtree ("Invalid 'move to' path"), a node that already has a child
 * of that name ("%s|Node already exists for file %s"). Returns 0, or -1. */
ORVIK_API long ohfa_EntryMove(Ohfa_File *file, const wchar_t *toPath, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT;

/* Deletes the current entry with everything below it; the space of the records and of their
 * data blocks goes back to the free list. Refused while block caching is off. The previous
 * sibling becomes current, else the next one, else the parent. Returns 0, or -1. */
ORVIK_API long ohfa_EntryDelete(Ohfa_File *file, Oerr_ErrorReport **err) ORVIK_NOEXCEPT;

/* ---- Objects -------------------------------------------------------------------------
 * An object is a host record of a MIF design stored as the data block of an entry. Writers
 * move to `nodePath` first when it is not null (a node path), write the entry at
 * `writePosition` (as ohfa_EntryWrite) and add the design to the file's dictionary. A
 * rewrite (position 0) keeps the data block when the new object is not larger (its slack
 * stays with it) and moves it otherwise; raw data keeps it only for an equal byte count.
 * The data is written before the entry that names it. */
ORVIK_API long ohfa_ObjectWrite(Ohfa_File *file, const wchar_t *nodePath, const wchar_t *name,
                                const wchar_t *typeName, long writePosition, const void *object,
                                const Omif_Design *design, Oerr_ErrorReport **err) ORVIK_NOEXCEPT;
ORVIK_API long ohfa_ObjectDataWrite(Ohfa_File *file, const wchar_t *nodePath, const wchar_t *name,
                                    const wchar_t *typeName, long writePosition, long count,
                                    const void *bytes, Oerr_ErrorReport **err) ORVIK_NOEXCEPT;

/* Seeks by `seekMethod` and `name` and reads the entry's data into `object` (nothing when its
 * size is 0). ohfa_ObjectRead fails with "Object read failure!" when nothing is found;
 * ...IfPresent then returns null without a report. Both return `object` otherwise. */
ORVIK_API void *ohfa_ObjectRead(Ohfa_File *file, const wchar_t *name, long seekMethod, void *object,
                                const Omif_Design *design, Oerr_ErrorReport **err) ORVIK_NOEXCEPT;
ORVIK_API void *ohfa_ObjectReadIfPresent(Ohfa_File *file, const wchar_t *name, long seekMethod,
                                         void *object, const Omif_Design *design,
                                         Oerr_ErrorReport **err) ORVIK_NOEXCEPT;

/* Reads the found entry's data, whose design is one counted array of plain elements (its
 * only item is a "p" item of a numeric, text-character, enumeration or packed type), straight
 * into the caller's `destination`, which has room for `capacity` host elements: no array is
 * allocated and nothing is copied on the way. Returns the number of elements stored (0 for
 * an entry without data); -1 with a report when nothing is found, the design is not such an
 * array, the entry holds more than `capacity` elements (nothing is read then) or its data
 * does not decode. */
ORVIK_API long ohfa_ObjectArrayRead(Ohfa_File *file, const wchar_t *name, long seekMethod,
                                    const Omif_Design *design, void *destination, long capacity,
                                    Oerr_ErrorReport **err) ORVIK_NOEXCEPT;

/* The found entry's data in file form, in a new heap block (its size in *count); null
 * without a report when nothing is found or the entry has no data. */
ORVIK_API void *ohfa_ObjectDataReadIfPresent(Ohfa_File *file, const wchar_t *name, long seekMethod,
                                             long *count, Oerr_ErrorReport **err) ORVIK_NOEXCEPT;

/* Deletes the found entry (ohfa_EntryDelete); nothing found is no error. Returns 0, or -1. */
ORVIK_API long ohfa_ObjectDelete(Ohfa_File *file, const wchar_t *name, long seekMethod,
                                 Oerr_ErrorReport **err) ORVIK_NOEXCEPT;

/* ---- Listing and integrity check ------------------------------------------------------ */

/* Prints every entry below `startNode` (null: the root), the start node included, in
 * preorder to `out` (null: standard output): per entry its node path, "(%s Object)" with
 * its type, "(last modified %s)" with its time, then each item of its data decoded through
 * the file's dictionary, one line per element (see docs/hfa-check.md). Entries whose data
 * cannot be decoded get one line saying so. The current entry is kept. Returns 0, or -1. */
ORVIK_API long ohfa_ListFile(Ohfa_File *file, const wchar_t *startNode, FILE *out,
                             Oerr_ErrorReport **err) ORVIK_NOEXCEPT;

/* Checks the whole file as stored on disk (flush first what this handle changed): header,
 * dictionary, every link of the entry tree, names and types, every data block (inside the
 * file, decoding with its design), the index and stored blocks of every block cache, the
 * free list, and that no two structures share a byte.
 * *problems gets a new list with one line per problem (at most 1000, then one line with the
 * number of the others). Bytes that no structure holds and that are not free are reported
 * on one last line beginning with OHFA_CHECK_LEAK_PREFIX; that line is not a problem. Returns
 * the number of problems (0: sound, perhaps with leaked bytes), or -1 with a report. */
#define OHFA_CHECK_LEAK_PREFIX L"Leaked: "
ORVIK_API long ohfa_FileCheck(Ohfa_File *file, ostr_StringList **problems, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT;

/* Rebuilds the free list of a file open for update from what is reachable: after a flush,
 * the walk of ohfa_FileCheck finds every byte a structure holds, and every other range of at
 * least 8 bytes becomes one free block (leaked space is reclaimed, a damaged free list
 * replaced; reachable data is never written). Refused when the check finds problems other
 * than in the free list ("File %s is damaged beyond its free list (<first problem>); not
 * rebuilt") and for a read-only handle. No block cache or layer of the file may be open. A
 * crash during the rebuild leaves the old list or none (space leaks, nothing is lost).
 * Returns the bytes of the new list, or -1. */
ORVIK_API long ohfa_FileFreeListRebuild(Ohfa_File *file, Oerr_ErrorReport **err) ORVIK_NOEXCEPT;

/* ---- Free space ---------------------------------------------------------------------- */

/* Position of a block of `size` bytes, now in use; 0 on failure. */
ORVIK_API uint32_t ohfa_NextFreePos(Ohfa_File *file, long size, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT;

/* Returns a block to the free list, merging it with free neighbours. A range that overlaps
 * a free block is refused and nothing changes. Returns 0, or -1. */
ORVIK_API long ohfa_FreeSpace(Ohfa_File *file, uint32_t position, long size, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT;

/* Sum of the free blocks' sizes; -1 on failure. */
ORVIK_API long ohfa_FileFreeSpaceSize(Ohfa_File *file, Oerr_ErrorReport **err) ORVIK_NOEXCEPT;

/* Prints the free list to standard output, one line a block. Returns 0, or -1. */
ORVIK_API long ohfa_ShowFreeSpace(Ohfa_File *file, Oerr_ErrorReport **err) ORVIK_NOEXCEPT;

/* ---- Block caches ----------------------------------------------------------------------
 * A block cache is a store of `blocksize`-byte blocks numbered 0 .. blockcount - 1, kept
 * under one entry of type "Ohfa_CacheNode" whose data is the Ohfa_CacheNode record
 * (bytecount = blocksize x blockcount; rootptr = the block index, design
 * "Ohfa_CacheIndex"). A block never written takes no file space and reads as "not stored".
 * While block caching is on (option 4, the default) an open cache keeps recently used
 * blocks in memory up to a byte limit, least recently used first out, and writes changed
 * blocks when they leave memory, at ohfa_CacheFlush and at ohfa_CacheClose; while it is off
 * every call goes to the file. The file must stay open while a cache of it is open. Layout
 * and write order: docs/hfa-format.md. */
typedef struct Ohfa_Cache_ Ohfa_Cache;

typedef struct Ohfa_CacheStats_ {
    int64_t hits;      /* block reads served from memory */
    int64_t misses;    /* block reads that went to the file (or found no block) */
    int64_t bytesHeld; /* bytes of blocks now in memory */
    int64_t limit;     /* the byte limit */
} Ohfa_CacheStats;

/* Creates a cache as a new last child `name` of the entry at `nodePath` (null: the current
 * entry). blocksize >= 1, blockcount >= 0, their product at most 0x7FFFFFFF. The new entry
 * becomes the current one. Null on failure. */
ORVIK_API Ohfa_Cache *ohfa_CacheCreate(Ohfa_File *file, const wchar_t *nodePath,
                                       const wchar_t *name, long blocksize, long blockcount,
                                       Oerr_ErrorReport **err) ORVIK_NOEXCEPT;

/* Opens the cache whose node is the entry at `nodePath` (null: the current entry). A node or
 * index whose sizes disagree, or that names space outside the file, is refused. */
ORVIK_API Ohfa_Cache *ohfa_CacheOpen(Ohfa_File *file, const wchar_t *nodePath,
                                     Oerr_ErrorReport **err) ORVIK_NOEXCEPT;

/* Copies block `block` into `buffer` (blocksize bytes). Returns 1 when the block is stored,
 * 0 when it was never written (buffer untouched), -1 on failure. */
ORVIK_API long ohfa_CacheGetBlock(Ohfa_Cache *cache, long block, void *buffer,
                                  Oerr_ErrorReport **err) ORVIK_NOEXCEPT;

/* Stores blocksize bytes as block `block`. Returns 0, or -1. */
ORVIK_API long ohfa_CachePutBlock(Ohfa_Cache *cache, long block, const void *buffer,
                                  Oerr_ErrorReport **err) ORVIK_NOEXCEPT;

/* Grows the cache to `blockcount` blocks (the new ones not stored). Returns 0, or -1. */
ORVIK_API long ohfa_CacheExtend(Ohfa_Cache *cache, long blockcount, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT;

/* Writes every changed block held in memory. Returns 0, or -1. */
ORVIK_API long ohfa_CacheFlush(Ohfa_Cache *cache, Oerr_ErrorReport **err) ORVIK_NOEXCEPT;

/* Flushes and frees the handle (also when the flush fails, which is reported). Returns 0, or
 * -1. A null cache is no error. */
ORVIK_API long ohfa_CacheClose(Ohfa_Cache *cache, Oerr_ErrorReport **err) ORVIK_NOEXCEPT;

/* Deletes the cache entry at `nodePath` with its index and blocks (the space goes back to
 * the free list). No cache of it may be open. Returns 0, or -1. */
ORVIK_API long ohfa_CacheDelete(Ohfa_File *file, const wchar_t *nodePath, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT;

/* Sets the byte limit of the blocks held in memory (0 holds none); blocks beyond it are
 * written and dropped at once. Returns 0, or -1. */
ORVIK_API long ohfa_CacheSetLimit(Ohfa_Cache *cache, int64_t bytes, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT;

/* The node record as it stands (owned by the handle), or null. */
ORVIK_API const Ohfa_CacheNode *ohfa_CacheNodeGet(const Ohfa_Cache *cache) ORVIK_NOEXCEPT;

/* Whether a block has been written (in the file or in memory). */
ORVIK_API Omsc_Boolean ohfa_CacheBlockIsStored(const Ohfa_Cache *cache, long block) ORVIK_NOEXCEPT;

/* Counters since the open; zeros for a null cache. */
ORVIK_API void ohfa_CacheStatsGet(const Ohfa_Cache *cache, Ohfa_CacheStats *stats) ORVIK_NOEXCEPT;

/* ---- Copies ----------------------------------------------------------------------------
 * A copy reads every entry it can reach, then writes them into the target in the same order,
 * data blocks byte for byte (a block cache's stored blocks and index are written anew and
 * its node names the new index; the blocks a block index names are written anew and its
 * slots name the copies), each entry keeping its modTime; the designs of the copied
 * data join the target's dictionary. A new file written by ohfa_FileCopy holds no free space but
 * what is left of the block of its first dictionary (less than one entry), so copying
 * compacts a file. Damaged parts of the source (unreadable entries, data or block stores,
 * links that loop or name the wrong parent, missing designs) are skipped: everything else is
 * copied, and the call then fails with a report whose previous records name each part that
 * was skipped. Walks are bounded by the size of the source. */

/* Called after each entry copied with the count so far and the number to copy. */
typedef void (*Ohfa_FileCopyProgress)(void *context, long done, long total);

/* Installs the one process-wide progress callback of the copies (null removes it). */
ORVIK_API void ohfa_FileCopyProgressUpdate(Ohfa_FileCopyProgress callback, void *context)
    ORVIK_NOEXCEPT;

/* Copies the node `sourcePath` of `source` with its subtree to be the last child of the node
 * `targetPath` of `target` (the same file is allowed). Refused: a missing node ("%s|Node not
 * found"), the root as source, a target node that already has a child of that name ("%s|Node
 * already exists for file %s"). The current entry of `source` becomes the copied node, that
 * of `target` the last entry written. Returns the number of entries copied, or -1. */
ORVIK_API long ohfa_ObjectCopy(Ohfa_File *source, const wchar_t *sourcePath, Ohfa_File *target,
                               const wchar_t *targetPath, Oerr_ErrorReport **err) ORVIK_NOEXCEPT;

/* Copies the HFA file `source` into a new file `destination` (created, replacing any file of
 * that name) entry by entry, the root's own type and data included. Refused when the
 * destination is open or names the source: "Cannot copy to >%s< when it is already open".
 * Returns the number of entries copied below the root, or -1. */
ORVIK_API long ohfa_FileCopy(const wchar_t *source, const wchar_t *destination,
                             Oerr_ErrorReport **err) ORVIK_NOEXCEPT;

ORVIK_END_DECLS

#endif /* ORVIK_OHFA_H */
