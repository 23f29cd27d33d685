// Exported free-space functions over the free-list cache (free_list.cpp).
#include <cstdio>

#include "core/guard.hpp"
#include "hfa/file.hpp"
#include "hfa/report.hpp"

using orvik::core::Guarded;
using orvik::core::SetError;
using namespace orvik::hfa;

extern "C" {

ORVIK_API uint32_t ohfa_NextFreePos(Ohfa_File *file, long size, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT {
    static const wchar_t *const kFn = L"ohfa_NextFreePos";
    if (err) *err = nullptr;
    return Guarded<uint32_t>(err, kFn, 0, [&]() -> uint32_t {
        if (!CheckFile(file, kFn, err)) return 0;
        return TakeSpace(file, size, err, kFn);
    });
}

ORVIK_API long ohfa_FreeSpace(Ohfa_File *file, uint32_t position, long size, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT {
    static const wchar_t *const kFn = L"ohfa_FreeSpace";
    if (err) *err = nullptr;
    return Guarded<long>(err, kFn, -1, [&]() -> long {
        if (!CheckFile(file, kFn, err)) return -1;
        return GiveSpace(file, position, size, err, kFn) ? 0 : -1;
    });
}

ORVIK_API long ohfa_FileFreeSpaceSize(Ohfa_File *file, Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    static const wchar_t *const kFn = L"ohfa_FileFreeSpaceSize";
    if (err) *err = nullptr;
    return Guarded<long>(err, kFn, -1, [&]() -> long {
        if (!CheckFile(file, kFn, err)) return -1;
        long total = 0;
        if (file->freeList.Loaded()) {
            for (const FreeBlock &b : file->freeList.Blocks()) total += b.size;
            return total;
        }
        const WalkEnd end = WalkDiskList(
            file, [&](uint32_t, uint32_t, uint32_t size) { total += size; }, err, kFn);
        if (end == WalkEnd::Failed) return -1;
        if (end == WalkEnd::Corrupt) {
            SetError(err, kFn, kFreeSizeCorrupt, nullptr, L"Corrupt free list");
            return -1;
        }
        return total;
    });
}

ORVIK_API long ohfa_ShowFreeSpace(Ohfa_File *file, Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    static const wchar_t *const kFn = L"ohfa_ShowFreeSpace";
    if (err) *err = nullptr;
    return Guarded<long>(err, kFn, -1, [&]() -> long {
        if (!CheckFile(file, kFn, err)) return -1;
        auto line = [](uint32_t position, uint32_t next, uint32_t size) {
            std::printf("Pointer %ld is %ld bytes...next @%ld\n", static_cast<long>(position),
                        static_cast<long>(size), static_cast<long>(next));
        };
        if (file->freeList.Loaded()) {
            const auto &blocks = file->freeList.Blocks();
            for (std::size_t i = 0; i < blocks.size(); ++i)
                line(blocks[i].position, i + 1 < blocks.size() ? blocks[i + 1].position : 0,
                     blocks[i].size);
        } else {
            const WalkEnd end = WalkDiskList(file, line, err, kFn);
            if (end == WalkEnd::Failed) return -1;
            if (end == WalkEnd::Corrupt) std::printf("Corrupt file!\n");
        }
        std::fflush(stdout);
        return 0;
    });
}

} // extern "C"
