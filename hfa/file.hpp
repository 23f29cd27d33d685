// Internal: the open-file record behind Ohfa_File and the helpers the hfa/ sources share.
// A record is used by one thread at a time; only the open-file list (open_list.cpp) is
// shared between threads and has its own lock.
#pragma once

#include <cstdarg>
#include <cstdint>
#include <string>
#include <vector>

#include <orvik/ofio.h>
#include <orvik/ohfa.h>
#include <orvik/othr.h>

#include "hfa/entry.hpp"
#include "port/file_system.hpp"
#include "hfa/free_list.hpp"

namespace orvik::hfa {

// Fixed sizes of the records in file form, and where a new file puts its header.
constexpr uint32_t kTagSize = 20;
constexpr uint32_t kHeaderSize = 18;
constexpr uint32_t kEntrySize = 128;
constexpr uint32_t kNodeSize = 8;
constexpr uint32_t kNewHeaderPtr = 64;
constexpr int32_t kNewVersion = 1;
// Every offset is 32-bit and signed sizes must stay positive: the file ends at or below this.
constexpr int64_t kMaxFileSize = 0x7FFFFFFF;
constexpr const char kTagLabel[] = "OHFA_HEADER_TAG";

// Bits of the option-flag word.
constexpr uint32_t kFlagBatch = 1u << 0;
constexpr uint32_t kFlagNotFlushedOnWrite = 1u << 1;

// The flush guard's states.
enum GuardState : uint32_t { kGuardIdle = 0, kGuardInside = 1, kGuardPending = 2 };

// Value of `localFileSystem` before the file layer has been asked.
constexpr int kLocalUnknown = -2;

} // namespace orvik::hfa

struct Ohfa_File_ {
    Ofio_File *stream = nullptr;           // owned; closed at the last close
    uint32_t headerPtr = 0;                // where the Ohfa_File record lies
    Ohfa_FileHeader header{};              // host copy; freeList is the logical head
    Omif_Dictionary *dictionary = nullptr; // owned
    bool dictionaryModified = false;
    uint32_t dictionaryPos = 0;    // where the stored text lies (0: none)
    uint32_t dictionaryLength = 0; // its length in bytes
    orvik::hfa::FreeList freeList; // the free-list cache
    uint32_t cacheArg = 0;         // the caller's, kept unchanged
    std::wstring name;             // as opened, "\" turned into "/"
    bool readOnly = false;
    int64_t sizeAtOpen = 0; // measured when opened
    int64_t fileEnd = 0;    // current length: where the file grows
    int64_t writtenEnd = 0; // what the stream has been given; below fileEnd while growth waits
    int localFileSystem = orvik::hfa::kLocalUnknown; // -2 unknown, else 0 / 1
    bool mapped = false;
    int64_t mapSize = 0;
    int caching = 1;       // block caching switch (option 4)
    int workerThreads = 1; // codec threads of coded raster layers (option 9)
    // Raster layers whose pixel data would carry the file past this many bytes keep their
    // blocks in a companion data file (oimg_CompanionThresholdSet).
    int64_t companionThreshold = int64_t{1} << 30;
    uint32_t optionFlags = 0; // kFlagBatch, kFlagNotFlushedOnWrite
    uint32_t batchStartNode = 0;
    uint32_t flushGuard = orvik::hfa::kGuardIdle;
    Othr_ThreadId thread = 0;     // the opener
    orvik::hfa::EntryState entry; // the current entry, path stack, entry table
    bool changed = false;         // written since the last change notice
    long references = 0;          // kept by the open-file list
};

namespace orvik::hfa {

// The flush guard (see docs/hfa-format.md): the outermost holder runs the deferred work
// (settling the file's growth) when the guard asks for it on leaving.
class GuardScope {
  public:
    explicit GuardScope(Ohfa_File *file);
    ~GuardScope();
    GuardScope(const GuardScope &) = delete;
    GuardScope &operator=(const GuardScope &) = delete;
    bool Outermost() const { return m_outermost; }
    // Leaves now and reports a failure of the deferred work (the destructor prints it).
    bool Leave(Oerr_ErrorReport **err);

  private:
    Ohfa_File *m_file;
    bool m_outermost;
    bool m_left = false;
};

// Fixed-record I/O (records.cpp). Each reports under `fn` and returns false on failure.
bool ReadTag(Ofio_File *stream, Ohfa_HeaderTag &tag, Oerr_ErrorReport **err, const wchar_t *fn);
bool ReadHeader(Ofio_File *stream, uint32_t at, Ohfa_FileHeader &header, Oerr_ErrorReport **err,
                const wchar_t *fn);
bool WriteTag(Ohfa_File *file, Oerr_ErrorReport **err, const wchar_t *fn);
// Writes the header record; its freeList item is what the free-list cache may show on disk.
bool HeaderReWrite(Ohfa_File *file, Oerr_ErrorReport **err, const wchar_t *fn);
// One record of a fixed design in file form, and back.
bool RecordToBytes(const wchar_t *design, const void *host, unsigned char *bytes, long size,
                   long baseOffset, Oerr_ErrorReport **err, const wchar_t *fn);
bool RecordFromBytes(const wchar_t *design, const unsigned char *bytes, long size, void *host,
                     Oerr_ErrorReport **err, const wchar_t *fn);

// Raw transfers that keep the record's file end up to date.
// `keep`: the cached entry record at that position stays (its writer replaces it next).
bool WriteAt(Ohfa_File *file, int64_t position, const void *bytes, long count,
             Oerr_ErrorReport **err, const wchar_t *fn, int64_t keep = -1);
// The same for blocks that lie one after another in the file but apart in memory: one
// vectored system call (or a few) instead of a staging copy.
bool WritePiecesAt(Ohfa_File *file, int64_t position, const orvik::port::fs::Piece *pieces,
                   std::size_t count, Oerr_ErrorReport **err, const wchar_t *fn);
bool ReadPiecesAt(Ohfa_File *file, int64_t position, const orvik::port::fs::Piece *pieces,
                  std::size_t count, Oerr_ErrorReport **err, const wchar_t *fn);
// Bookkeeping of a write made to the stream directly: the file's end and the cached entry
// records the bytes overlap.
void NoteWritten(Ohfa_File *file, int64_t position, int64_t count, int64_t keep = -1);
// Growth of the file is written lazily: the allocator moves fileEnd, and the first write
// that reaches the new end makes it real. Before an operation ends (and at every flush),
// this writes the last bytes of whatever growth no write reached yet.
bool SettleEnd(Ohfa_File *file, Oerr_ErrorReport **err, const wchar_t *fn);
// Reads exactly count bytes inside [0, fileEnd); anything reaching beyond is refused.
bool ReadAt(Ohfa_File *file, int64_t position, void *bytes, long count, Oerr_ErrorReport **err,
            const wchar_t *fn);

// Package checks shared by every entry point (package.cpp): toolkit and package initialised,
// package not disabled (when `forOpen`). Reports under `fn`.
bool CheckReady(const wchar_t *fn, bool forOpen, Oerr_ErrorReport **err);
bool CheckFile(const Ohfa_File *file, const wchar_t *fn, Oerr_ErrorReport **err);
// Refuses a file opened read-only (report 23 under `fn`).
bool CheckWritable(const Ohfa_File *file, const wchar_t *fn, Oerr_ErrorReport **err);
// Prints and deletes a warning chain (warnings never leave a successful call).
void PrintAndDelete(Oerr_ErrorReport *&report);
void Warn(const wchar_t *fn, long number, const wchar_t *format, ...);
// Calls the file-changed callback, if any.
void NotifyChanged(const Ohfa_File *file);

// The disk-header steps (header_io.cpp): the header and dictionary of an existing file into
// the record (open, reinitialise), and the fixed records of a new file (create).
bool ReadDiskHeader(Ohfa_File *file, Oerr_ErrorReport **err, const wchar_t *fn);
bool WriteNewHeader(Ohfa_File *file, Oerr_ErrorReport **err, const wchar_t *fn);
// Decodes the dictionary text stored at `at` (never reading past the file end) into a new
// dictionary; `length` gets the bytes the text takes. Null with a report under `fn`.
Omif_Dictionary *ReadStoredDictionary(Ohfa_File *file, uint32_t at, int64_t &length,
                                      Oerr_ErrorReport **err, const wchar_t *fn);

// Options (options.cpp): one parsed option of a list.
struct Option {
    int code;
    int values[5];
    const wchar_t *text; // the new name of OHFA_OPTION_RENAME
};
// Reads a zero-terminated option list; unknown codes are warned about (under `fn`) and
// skipped one word at a time. Sets `exclusive` when the pre-scan flag (code 7) is 1.
std::vector<Option> ParseOptions(va_list args, const wchar_t *fn, bool &exclusive);
bool ApplyOptions(Ohfa_File *file, const std::vector<Option> &options, Oerr_ErrorReport **err,
                  const wchar_t *fn);

// The flush proper (flush.cpp), used by ohfa_FileFlush, the last close and rename.
bool FlushFile(Ohfa_File *file, Oerr_ErrorReport **err, const wchar_t *fn);
// Stores the dictionary (placement rule), rewrites the header when the dictionary moved and
// then returns its old block. Reports under ohfa_DictionaryWrite.
bool WriteDictionary(Ohfa_File *file, Oerr_ErrorReport **err);
bool DeleteDictionaryBlock(Ohfa_File *file, uint32_t position, int64_t length,
                           Oerr_ErrorReport **err, const wchar_t *fn);

} // namespace orvik::hfa
