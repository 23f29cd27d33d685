// The lifecycle of an open HFA file: recognition, open and create (one shared record per
// name), close, re-reading after another writer, and opening along a search list.
#include <cerrno>
#include <cstring>
#include <new>

#include <orvik/ofio.h>

#include "core/guard.hpp"
#include "fio/path.hpp"
#include "hfa/designs.hpp"
#include "fio/stream.hpp"
#include "hfa/file.hpp"
#include "hfa/open_list.hpp"
#include "mif/dictionary.hpp"
#include "hfa/report.hpp"

using orvik::core::Guarded;
using orvik::core::SetError;
using namespace orvik::hfa;

namespace {

using DiskHeaderStep = bool (*)(Ohfa_File *, Oerr_ErrorReport **, const wchar_t *);

void FreeRecord(Ohfa_File *file) {
    if (!file) return;
    if (file->dictionary) orvik::mif::FreeDictionary(file->dictionary);
    delete file;
}

// Closes the stream of a record that is being given up; a failure is printed.
void CloseQuietly(Ofio_File *stream) {
    Oerr_ErrorReport *e = nullptr;
    if (ofio_FileClose(stream, &e) != 0) PrintAndDelete(e);
}

// Closes a stream on the way out unless it was handed over to a record.
class StreamHolder {
  public:
    explicit StreamHolder(Ofio_File *stream) : m_stream(stream) {}
    ~StreamHolder() {
        if (m_stream) CloseQuietly(m_stream);
    }
    StreamHolder(const StreamHolder &) = delete;
    StreamHolder &operator=(const StreamHolder &) = delete;
    void Release() { m_stream = nullptr; }

  private:
    Ofio_File *m_stream;
};

bool IsReadOnlyMode(const wchar_t *mode) {
    return mode && (std::wcscmp(mode, L"r") == 0 || std::wcscmp(mode, L"rb") == 0);
}

// A new record around an open stream: measured, initialised by the disk-header step and
// listed. On failure the record is freed (the stream is the caller's to close).
Ohfa_File *InitRecord(Ofio_File *stream, const std::wstring &name, uint32_t cacheArg, bool readOnly,
                      DiskHeaderStep step, Oerr_ErrorReport **err) {
    static const wchar_t *const kInit = L"InitializeOHFAFile";
    if (!CheckReady(kInit, true, err)) return nullptr;
    Ohfa_File *file = new (std::nothrow) Ohfa_File_;
    if (!file) {
        SetError(err, kInit, kOpenNoMemory, nullptr, L"No memory");
        return nullptr;
    }
    try {
        file->stream = stream;
        file->cacheArg = cacheArg;
        file->readOnly = readOnly;
        file->thread = othr_ThreadSelf();
        file->name = name;
        const int64_t size = ofio_FileSizeGetByHandle(stream, err);
        if (size < 0) {
            SetError(err, kInit, kOpenSizeFailed, *err, L"ofio_FileSizeGetByHandle failed");
            FreeRecord(file);
            return nullptr;
        }
        file->sizeAtOpen = file->fileEnd = file->writtenEnd = size;
        if (size > kMaxFileSize)
            Warn(kInit, kOpenTooLarge, L"File size %ld of file %s exceeds the OS or OHFA limit",
                 static_cast<long>(size), name.c_str());
        file->caching = 1;
        file->localFileSystem = kLocalUnknown;
        file->flushGuard = kGuardInside; // held by the initialisation until it is done
        if (!step(file, err, kInit)) {
            SetError(err, kInit, kOpenHeaderStepFailed, *err, L"diskFileHeaderFunction failed");
            FreeRecord(file);
            return nullptr;
        }
        // The free-list cache is loaded when first needed; no block cache is attached.
        file->flushGuard = kGuardIdle;
        if (!readOnly && !FlushFreeList(file, err)) {
            SetError(err, kInit, kOpenCacheFailed, *err, L"CacheInit failed");
            FreeRecord(file);
            return nullptr;
        }
    } catch (...) {
        FreeRecord(file);
        throw;
    }
    try {
        OpenListInsert(file);
    } catch (const std::bad_alloc &) {
        FreeRecord(file);
        SetError(err, kInit, kOpenListFailed, nullptr, L"Unsuccessful in adding file to the list");
        return nullptr;
    }
    if (file->changed) {
        file->changed = false;
        NotifyChanged(file);
    }
    return file;
}

// Applies a create's or open's options; a failure leaves the file open with a warning.
void ApplyOpenOptions(Ohfa_File *file, const std::vector<Option> &options, const wchar_t *fn) {
    if (options.empty()) return;
    Oerr_ErrorReport *e = nullptr;
    if (ApplyOptions(file, options, &e, fn)) return;
    Oerr_ErrorReport *w = oerr_CreateErrorReport(fn, kOpenOptionsFailed, OERR_KIND_WARNING, e,
                                                 L"Could not set options on file");
    PrintAndDelete(w);
}

// The steps create and open share before they touch the disk: readiness, the name, and the
// shared record of a name that is already open (refused when the pre-scan asked for an
// exclusive open). Returns false when the call is over: *shared then holds the result (the
// shared record, or null after a report); true when a new record is to be made.
bool Prologue(const wchar_t *nameIn, bool exclusive, std::wstring &name, Ohfa_File *&shared,
              Oerr_ErrorReport **err, const wchar_t *fn) {
    shared = nullptr;
    if (!CheckReady(fn, true, err)) return false;
    if (!nameIn || !*nameIn) {
        SetError(err, fn, kOpenNoName, nullptr, L"Missing file name");
        return false;
    }
    name = orvik::fio::NormalizedName(nameIn);
    if (exclusive && OpenListContains(name)) {
        SetError(err, fn, kOpenAlreadyOpen, nullptr, L"File %s is already open", name.c_str());
        return false;
    }
    shared = OpenListAddRef(name);
    return shared == nullptr;
}

Ohfa_File *Open(const wchar_t *nameIn, const wchar_t *mode, uint32_t cacheArg,
                const std::vector<Option> &options, bool exclusive, Oerr_ErrorReport **err,
                const wchar_t *fn) {
    std::wstring name;
    Ohfa_File *shared = nullptr;
    if (!Prologue(nameIn, exclusive, name, shared, err, fn)) return shared;
    if (!mode) {
        SetError(err, fn, kOpenNoName, nullptr, L"Missing mode");
        return nullptr;
    }
    if (!FixedDesign(kTagDesign, err) || !FixedDesign(kHeaderDesign, err)) {
        SetError(err, fn, kOpenDesignFailed, *err, L"OMIF_DESIGN_FETCH failed");
        return nullptr;
    }
    const int64_t size = ofio_FileSizeGetByName(name.c_str(), err);
    oerr_DeleteErrorReportEx(err); // a missing file is reported by the open below
    if (size >= 0 && size < int64_t{kTagSize} + kHeaderSize) {
        SetError(err, fn, kOpenNotHfa, nullptr, L"File %s is not an OHFA file", name.c_str());
        return nullptr;
    }
    // Only ever "rb" or "r+b": a mode that truncates or appends must not reach the file.
    const bool readOnly = IsReadOnlyMode(mode);
    Ofio_File *stream = ofio_FileOpen(name.c_str(), readOnly ? L"rb" : L"r+b", err);
    // One writer at a time: a second writer is refused before it reads anything.
    if (stream && !readOnly && !stream->LockForWriting(err, fn)) {
        CloseQuietly(stream);
        stream = nullptr;
    }
    if (!stream) {
        SetError(err, fn, kOpenStreamFailed, *err, L"Error on opening file \"%s\"", name.c_str());
        return nullptr;
    }
    StreamHolder holder(stream);
    Ohfa_File *file = InitRecord(stream, name, cacheArg, readOnly, ReadDiskHeader, err);
    if (!file) {
        SetError(err, fn, kOpenHeaderFailed, *err, L"Header initialization failure");
        return nullptr;
    }
    holder.Release();
    ApplyOpenOptions(file, options, fn);
    return file;
}

Ohfa_File *Create(const wchar_t *nameIn, uint32_t cacheArg, const std::vector<Option> &options,
                  bool exclusive, Oerr_ErrorReport **err, const wchar_t *fn) {
    std::wstring name;
    Ohfa_File *shared = nullptr;
    if (!Prologue(nameIn, exclusive, name, shared, err, fn)) return shared;
    Oerr_ErrorReport *probe = nullptr;
    const bool existed = ofio_FileExists(name.c_str(), &probe) == OMSC_TRUE;
    oerr_DeleteErrorReportEx(&probe);
    // An existing file is truncated only once its writer's lock is held, so a create never
    // cuts the file from under another writer.
    Ofio_File *stream = ofio_FileOpen(name.c_str(), existed ? L"r+b" : L"w+b", err);
    if (!stream) {
        // The open may have created the file before it failed.
        if (!existed) ofio_FileRemove(name.c_str(), &probe);
        oerr_DeleteErrorReportEx(&probe);
        SetError(err, fn, kOpenStreamFailed, *err, L"Error on opening file \"%s\"", name.c_str());
        return nullptr;
    }
    if (!stream->LockForWriting(err, fn) || (existed && !stream->Resize(0, err, fn))) {
        CloseQuietly(stream); // the file is another writer's (or unchanged): left in place
        SetError(err, fn, kOpenStreamFailed, *err, L"Error on opening file \"%s\"", name.c_str());
        return nullptr;
    }
    Ohfa_File *file = nullptr;
    bool threw = true;
    {
        // A partial file is never left behind: closed and removed on failure.
        struct Cleanup {
            Ofio_File *stream;
            const std::wstring &name;
            Ohfa_File *&file;
            bool &threw;
            ~Cleanup() {
                if (file && !threw) return;
                CloseQuietly(stream);
                Oerr_ErrorReport *e = nullptr;
                if (ofio_FileRemove(name.c_str(), &e) != 0) PrintAndDelete(e);
            }
        } cleanup{stream, name, file, threw};
        file = InitRecord(stream, name, cacheArg, false, WriteNewHeader, err);
        threw = false;
    }
    if (!file) {
        SetError(err, fn, kOpenHeaderFailed, *err, L"Header initialization failure");
        return nullptr;
    }
    ApplyOpenOptions(file, options, fn);
    return file;
}

// Saves errno on entry and puts it back on return.
class ErrnoKeeper {
  public:
    ErrnoKeeper() : m_saved(errno) {}
    ~ErrnoKeeper() { errno = m_saved; }
    ErrnoKeeper(const ErrnoKeeper &) = delete;
    ErrnoKeeper &operator=(const ErrnoKeeper &) = delete;

  private:
    int m_saved;
};

} // namespace

extern "C" {

ORVIK_API Ohfa_File *ohfa_FileOpenWithOptions(const wchar_t *name, const wchar_t *mode,
                                              uint32_t cacheArg, Oerr_ErrorReport **err, ...)
    ORVIK_NOEXCEPT {
    static const wchar_t *const kFn = L"ohfa_FileOpenWithOptions";
    ErrnoKeeper keepErrno;
    if (err) *err = nullptr;
    va_list args;
    va_start(args, err);
    Ohfa_File *file = Guarded<Ohfa_File *>(err, kFn, nullptr, [&]() -> Ohfa_File * {
        bool exclusive = false;
        const std::vector<Option> options = ParseOptions(args, kFn, exclusive);
        return Open(name, mode, cacheArg, options, exclusive, err, kFn);
    });
    va_end(args);
    return file;
}

ORVIK_API Ohfa_File *ohfa_FileOpen(const wchar_t *name, const wchar_t *mode, uint32_t cacheArg,
                                   Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    static const wchar_t *const kFn = L"ohfa_FileOpen";
    ErrnoKeeper keepErrno;
    if (err) *err = nullptr;
    return Guarded<Ohfa_File *>(err, kFn, nullptr, [&]() -> Ohfa_File * {
        return Open(name, mode, cacheArg, {}, false, err, kFn);
    });
}

ORVIK_API Ohfa_File *ohfa_FileCreateWithOptions(const wchar_t *name, uint32_t cacheArg,
                                                Oerr_ErrorReport **err, ...) ORVIK_NOEXCEPT {
    static const wchar_t *const kFn = L"ohfa_FileCreateWithOptions";
    if (err) *err = nullptr;
    va_list args;
    va_start(args, err);
    Ohfa_File *file = Guarded<Ohfa_File *>(err, kFn, nullptr, [&]() -> Ohfa_File * {
        bool exclusive = false;
        const std::vector<Option> options = ParseOptions(args, kFn, exclusive);
        return Create(name, cacheArg, options, exclusive, err, kFn);
    });
    va_end(args);
    return file;
}

ORVIK_API Ohfa_File *ohfa_FileCreate(const wchar_t *name, uint32_t cacheArg, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT {
    static const wchar_t *const kFn = L"ohfa_FileCreate";
    if (err) *err = nullptr;
    return Guarded<Ohfa_File *>(err, kFn, nullptr, [&]() -> Ohfa_File * {
        return Create(name, cacheArg, {}, false, err, kFn);
    });
}

ORVIK_API Ohfa_File *ohfa_SearchListFileOpen(const ostr_StringList *searchList, const wchar_t *name,
                                             const wchar_t *mode, uint32_t cacheArg,
                                             Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    static const wchar_t *const kFn = L"ohfa_SearchListFileOpen";
    if (err) *err = nullptr;
    return Guarded<Ohfa_File *>(err, kFn, nullptr, [&]() -> Ohfa_File * {
        wchar_t *path = ofio_Which(searchList, name, err);
        if (!path) {
            SetError(err, kFn, kSearchWhichFailed, *err, L"Error returned from ofio_Which");
            return nullptr;
        }
        Ohfa_File *file = ohfa_FileOpen(path, mode, cacheArg, err);
        omsc_HeapFree(path);
        if (!file)
            SetError(err, kFn, kSearchOpenFailed, *err, L"Error returned from ohfa_FileOpen");
        return file;
    });
}

ORVIK_API long ohfa_FileClose(Ohfa_File *file, Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    static const wchar_t *const kFn = L"ohfa_FileClose";
    if (err) *err = nullptr;
    return Guarded<long>(err, kFn, -1, [&]() -> long {
        if (!CheckFile(file, kFn, err)) return -1;
        if (!OpenListRelease(file)) return 0;
        // The last reference: write what is pending, then give everything up, also when
        // the flush fails (that is reported).
        static const wchar_t *const kStep = L"DeleteAndCloseHFAFile";
        bool ok = !file->stream || FlushFile(file, err, kStep);
        if (file->stream) {
            Oerr_ErrorReport *closeErr = nullptr;
            if (ofio_FileClose(file->stream, &closeErr) != 0) {
                if (ok) {
                    SetError(err, kStep, kCloseFailed, closeErr, L"ofio_FileClose failed");
                    ok = false;
                } else {
                    PrintAndDelete(closeErr);
                }
            }
            file->stream = nullptr;
        }
        FreeRecord(file);
        if (!ok) SetError(err, kFn, kCloseFailed, *err, L"DeleteAndCloseHFAFile failed");
        return ok ? 0 : -1;
    });
}

ORVIK_API long ohfa_IsHFAFile(const wchar_t *nameIn, Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    static const wchar_t *const kFn = L"ohfa_IsHFAFile";
    if (err) *err = nullptr;
    return Guarded<long>(err, kFn, 0, [&]() -> long {
        if (!CheckReady(kFn, false, err)) return 0;
        if (!nameIn || !*nameIn) return 0;
        const std::wstring name = orvik::fio::NormalizedName(nameIn);
        if (Ohfa_File *open = OpenListAddRef(name)) {
            const long version = open->header.dictionaryPtr != 0 ? open->header.version : 0;
            ohfa_FileClose(open, nullptr);
            return version;
        }
        // From here on nothing is an error: what goes wrong is printed and means "no".
        Oerr_ErrorReport *local = nullptr;
        long answer = 0;
        if (!FixedDesign(kTagDesign, &local) || !FixedDesign(kHeaderDesign, &local)) {
            SetError(&local, kFn, kIsHfaDesignFailed, local, L"OMIF_DESIGN_FETCH failed");
            PrintAndDelete(local);
            return 0;
        }
        const int64_t size = ofio_FileSizeGetByName(name.c_str(), &local);
        oerr_DeleteErrorReportEx(&local); // missing: simply not an HFA file
        if (size < int64_t{kTagSize} + kHeaderSize) return 0;
        Ofio_File *stream = ofio_FileOpen(name.c_str(), L"r", &local);
        if (!stream) {
            SetError(&local, kFn, kIsHfaOpenFailed, local, L"Unable to open %s", name.c_str());
            PrintAndDelete(local);
            return 0;
        }
        Ohfa_HeaderTag tag{};
        Ohfa_FileHeader header{};
        if (ReadTag(stream, tag, &local, kFn) &&
            std::memcmp(tag.label, kTagLabel, sizeof kTagLabel) == 0 &&
            int64_t{tag.headerPtr} + kHeaderSize <= size &&
            ReadHeader(stream, tag.headerPtr, header, &local, kFn)) {
            answer = header.dictionaryPtr != 0 ? header.version : 0;
        }
        PrintAndDelete(local);
        CloseQuietly(stream);
        return answer;
    });
}

ORVIK_API Omsc_Boolean ohfa_FileIsOpen(const wchar_t *name, Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    static const wchar_t *const kFn = L"ohfa_FileIsOpen";
    if (err) *err = nullptr;
    return Guarded<Omsc_Boolean>(err, kFn, OMSC_FALSE, [&]() -> Omsc_Boolean {
        if (!CheckReady(kFn, false, err)) return OMSC_FALSE;
        if (!name) return OMSC_FALSE;
        return OpenListContains(orvik::fio::NormalizedName(name)) ? OMSC_TRUE : OMSC_FALSE;
    });
}

ORVIK_API long ohfa_FileReinitialize(Ohfa_File *file, Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    static const wchar_t *const kFn = L"ohfa_FileReinitialize";
    if (err) *err = nullptr;
    return Guarded<long>(err, kFn, -1, [&]() -> long {
        if (!CheckFile(file, kFn, err)) return -1;
        // What the stream still buffers may be stale now; pending writes go out first.
        if (ofio_Flush(file->stream, err) != 0) {
            SetError(err, kFn, kReinitializeCacheFailed, *err, L"Error re-initializing cache");
            return -1;
        }
        const int64_t size = ofio_FileSizeGetByHandle(file->stream, err);
        if (size < 0) {
            SetError(err, kFn, kReinitializeSizeFailed, *err, L"ofio_FileSizeGetByHandle failed");
            return -1;
        }
        const int64_t keptEnd = file->fileEnd;
        file->fileEnd = size;
        file->writtenEnd = size;
        if (!ReadDiskHeader(file, err, kFn)) {
            file->fileEnd = keptEnd;
            SetError(err, kFn, kReinitializeHeaderFailed, *err, L"Error re-reading header");
            return -1;
        }
        file->sizeAtOpen = size;
        file->entry.Forget();
        return 0;
    });
}

} // extern "C"
