// Whole blocks between the file and the caller's memory without a stop in the block cache:
// a window that covers blocks whole moves them with vectored calls, straight from or into
// the caller's rows.
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
                       const std::vector<Piece> &pieces, std::size_t per, Oerr_ErrorReport **err,
                       const wchar_t *fn) {
    const int64_t size = cache.node.blocksize;
    // Stored blocks first, in place; the new ones are gathered for runs of new space.
    std::vector<int32_t> fresh;
    std::vector<Piece> freshPieces;
    std::vector<int32_t> stored;
    std::vector<Piece> storedPieces;
    for (std::size_t k = 0; k < blocks.size(); ++k) {
        const bool isNew = cache.index[static_cast<std::size_t>(blocks[k])] == 0;
        (isNew ? fresh : stored).push_back(blocks[k]);
        auto &to = isNew ? freshPieces : storedPieces;
        to.insert(to.end(), pieces.begin() + static_cast<std::ptrdiff_t>(k * per),
                  pieces.begin() + static_cast<std::ptrdiff_t>((k + 1) * per));
    }
    const auto at = [&](int32_t b) { return cache.index[static_cast<std::size_t>(b)]; };
    const bool inPlace = ForEachRun(cache, stored, at, [&](std::size_t k, std::size_t n) {
        if (WritePiecesAt(cache.file, at(stored[k]), storedPieces.data() + k * per, n * per, err,
                          fn))
            return true;
        SetError(err, fn, kCacheStoreWriteFailed, *err, L"Cannot write block %ld of %s",
                 static_cast<long>(stored[k]), cache.path.c_str());
        return false;
    });
    if (!inPlace) return false;
    const std::size_t perRun = static_cast<std::size_t>(std::max<int64_t>(1, kRunBytes / size));
    for (std::size_t first = 0; first < fresh.size(); first += perRun) {
        const std::size_t n = std::min(perRun, fresh.size() - first);
        const uint32_t pos =
            TakeSpace(cache.file, size * static_cast<int64_t>(n), err, L"ohfa_NextFreePos");
        if (pos == 0) {
            SetError(err, fn, kCacheNoSpace, *err, L"ohfa_NextFreePos failed");
            return false;
        }
        if (!WritePiecesAt(cache.file, pos, freshPieces.data() + first * per, n * per, err, fn)) {
            // The new space stays unnamed; it is lost, never handed out twice.
            SetError(err, fn, kCacheStoreWriteFailed, *err, L"Cannot write %ld blocks of %s",
                     static_cast<long>(n), cache.path.c_str());
            return false;
        }
        int32_t low = INT32_MAX, high = -1;
        for (std::size_t i = 0; i < n; ++i) {
            const int32_t b = fresh[first + i];
            cache.index[static_cast<std::size_t>(b)] =
                pos + static_cast<uint32_t>(i * static_cast<std::size_t>(size));
            low = std::min(low, b);
            high = std::max(high, b);
        }
        // Slots between these hold what memory holds for them, which is what the file has.
        if (!WriteSlots(cache, low, high, err, fn)) return false;
    }
    return true;
}

bool ReadBlocksDirect(Ohfa_Cache_ &cache, const std::vector<int32_t> &blocks,
                      const std::vector<Piece> &pieces, std::size_t per, Oerr_ErrorReport **err,
                      const wchar_t *fn) {
    const auto at = [&](int32_t b) { return cache.index[static_cast<std::size_t>(b)]; };
    return ForEachRun(cache, blocks, at, [&](std::size_t k, std::size_t n) {
        if (ReadPiecesAt(cache.file, at(blocks[k]), pieces.data() + k * per, n * per, err, fn))
            return true;
        SetError(err, fn, kCacheReadFailed, *err, L"Cannot read block %ld of %s",
                 static_cast<long>(blocks[k]), cache.path.c_str());
        return false;
    });
}

} // namespace orvik::hfa
