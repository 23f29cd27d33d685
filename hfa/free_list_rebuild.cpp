// ohfa_FileFreeListRebuild: a new free list made of every range that no reachable structure
// holds. The walk is the integrity check's, so what the check calls leaked becomes free and
// nothing it finds reachable is touched; a file with damage elsewhere is left alone, since a
// range that looks unclaimed there may belong to a structure the walk could not reach.
#include "core/guard.hpp"
#include "hfa/check.hpp"
#include "hfa/file.hpp"
#include "hfa/free_list.hpp"
#include "hfa/report.hpp"

using orvik::core::Guarded;
using orvik::core::SetError;
using namespace orvik::hfa;

extern "C" {

ORVIK_API long ohfa_FileFreeListRebuild(Ohfa_File *file, Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    static const wchar_t *const kFn = L"ohfa_FileFreeListRebuild";
    if (err) *err = nullptr;
    return Guarded<long>(err, kFn, -1, [&]() -> long {
        if (!CheckFile(file, kFn, err)) return -1;
        if (file->readOnly) {
            SetError(err, kFn, kRebuildReadOnly, nullptr, L"File %s is open read-only",
                     file->name.c_str());
            return -1;
        }
        // The walk reads the disk: what this handle holds in memory goes there first.
        if (!FlushFile(file, err, kFn)) {
            SetError(err, kFn, kRebuildFlushFailed, *err, L"Cannot flush %s", file->name.c_str());
            return -1;
        }
        std::vector<std::pair<int64_t, int64_t>> unclaimed;
        std::wstring damage;
        if (UnclaimedSpace(file, &unclaimed, &damage) > 0) {
            SetError(err, kFn, kRebuildDamaged, nullptr,
                     L"File %s is damaged beyond its free list (%s); not rebuilt",
                     file->name.c_str(), damage.c_str());
            return -1;
        }
        std::vector<FreeBlock> blocks;
        long total = 0;
        for (const auto &[position, length] : unclaimed) {
            if (length < static_cast<int64_t>(kNodeSize)) continue; // too small for a node
            blocks.push_back(
                FreeBlock{static_cast<uint32_t>(position), static_cast<uint32_t>(length), false});
            total += static_cast<long>(length);
        }
        if (!ReplaceFreeList(file, blocks, err, kFn) || !FlushFile(file, err, kFn)) {
            SetError(err, kFn, kRebuildWriteFailed, *err, L"Cannot write the free list of %s",
                     file->name.c_str());
            return -1;
        }
        return total;
    });
}

} // extern "C"
