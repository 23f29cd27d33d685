// Whole blocks between the file and the caller's memory without a stop in the block cache:
// a window that covers blocks whole moves them with vectored calls, straight from or into
// the caller's rows.
#include <algorithm>

#include "core/guard.hpp"
#include "hfa/cache.hpp"
#include "hfa/file.hpp"
#include "hfa/report.hpp"

using orvik::core::SetError;

namespace orvik::hfa {
namespace {

using port::fs::Piece;

// Calls run(firstK, count) for every stretch of blocks[k..] whose positions follow each other
// in the file, per position(block) (0 ends a stretch as well as starting a new one).
template <class Position, class Run>
bool ForEachRun(const Ohfa_Cache_ &cache, const std::vector<int32_t> &blocks, Position &&position,
                Run &&run) {
    const auto size = static_cast<uint32_t>(cache.node.blocksize);
    std::size_t first = 0;
    for (std::size_t k = 1; k <= blocks.size(); ++k) {
        const bool joins = k < blocks.size() && position(blocks[k]) != 0 &&
                           position(blocks[k]) == position(blocks[k - 1]) + size;
        if (joins) continue;
        if (!run(first, k - first)) return false;
        first = k;
    }
    return true;
}

} // namespace

bool IsHeld(const Ohfa_Cache_ &cache, int32_t block) { return cache.blocks.count(block) != 0; }

bool WriteBlocksDirect(Ohfa_Cache_ &cache, const std::vector<int32_t> &blocks,
                       const std::vector<Piece> &pieces, Oerr_ErrorReport **err,
                       const wchar_t *fn) {
    // Stored blocks in place, a run per vectored write; the new ones into runs of new space.
    std::vector<int32_t> stored;
    std::vector<Piece> storedPieces;
    std::vector<std::pair<int32_t, const unsigned char *>> fresh;
    for (std::size_t k = 0; k < blocks.size(); ++k) {
        if (cache.index[static_cast<std::size_t>(blocks[k])] == 0) {
            fresh.emplace_back(blocks[k], static_cast<const unsigned char *>(pieces[k].bytes));
            continue;
        }
        stored.push_back(blocks[k]);
        storedPieces.push_back(pieces[k]);
    }
    const auto at = [&](int32_t b) { return cache.index[static_cast<std::size_t>(b)]; };
    const bool inPlace = ForEachRun(cache, stored, at, [&](std::size_t k, std::size_t n) {
        if (WritePiecesAt(cache.file, at(stored[k]), storedPieces.data() + k, n, err, fn))
            return true;
        SetError(err, fn, kCacheStoreWriteFailed, *err, L"Cannot write block %ld of %s",
                 static_cast<long>(stored[k]), cache.path.c_str());
        return false;
    });
    if (!inPlace || fresh.empty()) return inPlace;
    std::sort(fresh.begin(), fresh.end());
    return WriteFreshBlocks(cache, fresh, err, fn);
}

bool ReadBlocksDirect(Ohfa_Cache_ &cache, const std::vector<int32_t> &blocks,
                      const std::vector<Piece> &pieces, Oerr_ErrorReport **err, const wchar_t *fn) {
    const auto at = [&](int32_t b) { return cache.index[static_cast<std::size_t>(b)]; };
    return ForEachRun(cache, blocks, at, [&](std::size_t k, std::size_t n) {
        if (ReadPiecesAt(cache.file, at(blocks[k]), pieces.data() + k, n, err, fn)) return true;
        SetError(err, fn, kCacheReadFailed, *err, L"Cannot read block %ld of %s",
                 static_cast<long>(blocks[k]), cache.path.c_str());
        return false;
    });
}

} // namespace orvik::hfa
