// Option lists of create, open and ohfa_FileChange: parsing the variadic words and applying
// each code to an open file (mapping, not-flushed-on-write, batch mode, block caching,
// rename). Codes 6 and 8 are accepted and have no effect; 7 only matters to the pre-scan.
#include <algorithm>
#include <cstring>

#include <orvik/ofio.h>

#include "core/guard.hpp"
#include "core/utf8.hpp"
#include "fio/path.hpp"
#include "hfa/companion.hpp"
#include "hfa/file.hpp"
#include "hfa/open_list.hpp"
#include "hfa/report.hpp"

using orvik::core::Guarded;
using orvik::core::SetError;

namespace orvik::hfa {

namespace {

// Values that follow each code (index = code); -1 for an unknown code.
constexpr int kValueCounts[] = {-1, 2, 1, 1, 1, 1, 5, 1, 1, 1};
// Most codec threads one file may start.
constexpr int kMaxWorkerThreads = 64;

bool SetMapping(Ohfa_File *file, bool on, Oerr_ErrorReport **err, const wchar_t *fn) {
    if (!on) {
        if (!file->mapped) return true;
        if (ofio_FileUnmap(file->stream, err) != 0) {
            SetError(err, fn, kOptionUnmapFailed, *err, L"ofio_FileUnmap failed");
            return false;
        }
        file->mapped = false;
        file->mapSize = 0;
        return true;
    }
    if (file->localFileSystem == kLocalUnknown) {
        // Asked once per file and remembered.
        const int local = ofio_FileSystemIsLocal(file->stream, err);
        if (local < 0) {
            SetError(err, fn, kOptionLocalFailed, *err, L"ofio_FileSystemIsLocal failed");
            return false;
        }
        file->localFileSystem = local;
    }
    if (file->localFileSystem == 0 || file->mapped) return true;
    int64_t size = 0;
    if (!ofio_FileMap(file->stream, &size, err)) {
        SetError(err, fn, kOptionMapFailed, *err, L"ofio_FileMap failed");
        return false;
    }
    file->mapped = true;
    file->mapSize = size;
    return true;
}

std::wstring FolderOf(const std::wstring &name) {
    const std::size_t slash = name.find_last_of(L'/');
    return slash == std::wstring::npos ? L"" : name.substr(0, slash + 1);
}

void UndoCompanionMoves(const std::vector<std::pair<std::wstring, std::wstring>> &moved) {
    for (const auto &[from, to] : moved) {
        Oerr_ErrorReport *why = nullptr;
        if (ofio_FileMove(to.c_str(), from.c_str(), &why) != 0) PrintAndDelete(why);
    }
}

// Moves the companion files of the file (closed) into the folder of `target` when it is
// another; `moved` receives the moves made. A companion already missing is left to the
// layer's open to report.
bool MoveCompanions(Ohfa_File *file, const std::wstring &target,
                    std::vector<std::pair<std::wstring, std::wstring>> &moved,
                    Oerr_ErrorReport **err, const wchar_t *fn) {
    const std::wstring from = FolderOf(file->name), to = FolderOf(target);
    if (from == to) return true;
    std::vector<std::string> names;
    // The stream is closed: the records are read through a short-lived one.
    file->stream = ofio_FileOpen(file->name.c_str(), L"rb", err);
    const bool listed = file->stream && CompanionFiles(file, names, err, fn);
    Oerr_ErrorReport *late = nullptr;
    ofio_FileClose(file->stream, &late);
    oerr_DeleteErrorReportEx(&late);
    file->stream = nullptr;
    if (!listed) {
        SetError(err, fn, kOptionMoveFailed, *err, L"Cannot list the companion files of %s",
                 file->name.c_str());
        return false;
    }
    for (const std::string &name : names) {
        const std::wstring leaf = text::Utf8ToWideLossy(name);
        if (!ofio_FileExists((from + leaf).c_str(), nullptr)) continue;
        if (ofio_FileMove((from + leaf).c_str(), (to + leaf).c_str(), err) != 0) {
            UndoCompanionMoves(moved);
            SetError(err, fn, kOptionMoveFailed, *err, L"ofio_FileMove failed");
            return false;
        }
        moved.emplace_back(from + leaf, to + leaf);
    }
    return true;
}

// Renames the file under the open record: pending changes are written, the stream closed,
// the file moved and opened again under its new name. When the move fails the old file is
// opened again, so the record always ends with a stream if it can.
bool Rename(Ohfa_File *file, const wchar_t *to, Oerr_ErrorReport **err, const wchar_t *fn) {
    if (!to || !*to) {
        SetError(err, fn, kOptionNoDestination, nullptr,
                 L"Destination file name not specified for file rename");
        return false;
    }
    const std::wstring target = fio::NormalizedName(to);
    if (!FlushFile(file, err, fn)) {
        SetError(err, fn, kOptionFlushFailed, *err, L"ohfa_FileFlush failed");
        return false;
    }
    const bool wasMapped = file->mapped;
    file->mapped = false;
    file->mapSize = 0;
    if (ofio_FileClose(file->stream, err) != 0) {
        file->stream = nullptr;
        SetError(err, fn, kOptionCloseFailed, *err, L"ofio_FileClose failed");
        return false;
    }
    file->stream = nullptr;
    const wchar_t *mode = file->readOnly ? L"rb" : L"r+b";
    // Companion data files follow into the new folder first (they keep their names); a
    // failure moves back those already moved and leaves the file where it was.
    std::vector<std::pair<std::wstring, std::wstring>> companions;
    if (!MoveCompanions(file, target, companions, err, fn)) {
        file->stream = ofio_FileOpen(file->name.c_str(), mode, nullptr);
        return false;
    }
    const bool moved = ofio_FileMove(file->name.c_str(), target.c_str(), err) == 0;
    if (!moved) UndoCompanionMoves(companions);
    Oerr_ErrorReport *moveErr = moved ? nullptr : *err;
    if (!moved) *err = nullptr;
    file->stream = ofio_FileOpen(moved ? target.c_str() : file->name.c_str(), mode, err);
    if (!moved) {
        if (!file->stream) PrintAndDelete(*err);
        *err = moveErr;
        SetError(err, fn, kOptionMoveFailed, *err, L"ofio_FileMove failed");
        return false;
    }
    if (!file->stream) {
        SetError(err, fn, kOptionReopenFailed, *err, L"Cannot reopen renamed file %s",
                 target.c_str());
        return false;
    }
    OpenListRename(file, target);
    NotifyChanged(file);
    return !wasMapped || SetMapping(file, true, err, fn);
}

} // namespace

std::vector<Option> ParseOptions(va_list args, const wchar_t *fn, bool &exclusive) {
    std::vector<Option> options;
    exclusive = false;
    for (;;) {
        Option o{};
        o.code = va_arg(args, int);
        if (o.code == OHFA_OPTION_END) break;
        if (o.code < 0 || o.code > OHFA_OPTION_WORKER_THREADS) {
            Warn(fn, kOptionIllegal, L"Illegal option %ld", static_cast<long>(o.code));
            continue;
        }
        if (o.code == OHFA_OPTION_RENAME) {
            o.text = va_arg(args, const wchar_t *);
        } else {
            for (int i = 0; i < kValueCounts[o.code]; ++i) o.values[i] = va_arg(args, int);
        }
        if (o.code == OHFA_OPTION_EXCLUSIVE) exclusive = o.values[0] == 1;
        options.push_back(o);
    }
    return options;
}

bool ApplyOptions(Ohfa_File *file, const std::vector<Option> &options, Oerr_ErrorReport **err,
                  const wchar_t *fn) {
    for (const Option &o : options) {
        switch (o.code) {
        case OHFA_OPTION_MAP:
            if (!SetMapping(file, o.values[0] == 1, err, fn)) return false;
            break;
        case OHFA_OPTION_NOT_FLUSHED_ON_WRITE:
            if (o.values[0] == 1)
                file->optionFlags |= kFlagNotFlushedOnWrite;
            else
                file->optionFlags &= ~kFlagNotFlushedOnWrite;
            break;
        case OHFA_OPTION_BATCH:
            if (o.values[0] == 1) {
                file->optionFlags |= kFlagBatch;
                file->batchStartNode = file->entry.position;
            } else {
                file->optionFlags &= ~kFlagBatch;
            }
            break;
        case OHFA_OPTION_BLOCK_CACHE:
            file->caching = o.values[0] == 1 ? 1 : 0;
            break;
        case OHFA_OPTION_WORKER_THREADS:
            file->workerThreads = std::clamp(o.values[0], 1, kMaxWorkerThreads);
            break;
        case OHFA_OPTION_RENAME:
            if (!Rename(file, o.text, err, fn)) return false;
            break;
        default: // 6, 7 and 8: nothing to do on an open file
            break;
        }
    }
    return true;
}

} // namespace orvik::hfa

using namespace orvik::hfa;

extern "C" ORVIK_API long ohfa_FileChange(Ohfa_File *file, Oerr_ErrorReport **err, ...)
    ORVIK_NOEXCEPT {
    static const wchar_t *const kFn = L"ohfa_FileChange";
    if (err) *err = nullptr;
    va_list args;
    va_start(args, err);
    const long result = Guarded<long>(err, kFn, -1, [&]() -> long {
        bool exclusive = false;
        const std::vector<Option> options = ParseOptions(args, kFn, exclusive);
        if (!CheckFile(file, kFn, err)) return -1;
        return ApplyOptions(file, options, err, kFn) ? 0 : -1;
    });
    va_end(args);
    return result;
}
