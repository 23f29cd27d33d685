// Whole blocks of a coded layer that a window covers, moved between the file and the
// caller's rows without the store's held copies: a read takes the stored bytes of a run of
// blocks in as few calls as their places allow, then each block is checked and decoded while
// it is hot in the processor's cache and its rows go straight to the caller (a block stored as
// it is needs no decoding at all); a write gathers each block's rows, encodes it, and stores a
// run of blocks in one call. Workers share the blocks of a run.
#include <cstring>

#include "core/guard.hpp"
#include "hfa/block_index.hpp"
#include "hfa/file.hpp"
#include "img/coded_store.hpp"
#include "img/report.hpp"

using orvik::core::SetError;

namespace orvik::img {
namespace {

// What became of one block of a read.
struct Outcome {
    bool sumWrong = false;
    DecodeStatus status = DecodeStatus::kOk;
};

bool Report(const Oimg_Layer &layer, int32_t block, const Outcome &o, Oerr_ErrorReport **err,
            const wchar_t *fn) {
    if (o.sumWrong)
        SetError(err, fn, kWindowBlockDamaged, nullptr,
                 L"Block %ld of layer %s is damaged: its checksum does not match",
                 static_cast<long>(block), layer.path.c_str());
    else
        SetError(err, fn, kWindowBlockDamaged, nullptr, L"Block %ld of layer %s is damaged: %s",
                 static_cast<long>(block), layer.path.c_str(), DecodeProblem(o.status));
    return false;
}

} // namespace

bool ReadCodedWhole(Oimg_Layer &layer, const std::vector<int32_t> &blocks,
                    const std::vector<port::fs::Piece> &rows, bool shared, Oerr_ErrorReport **err,
                    const wchar_t *fn) {
    CodedStore &s = *layer.coded;
    const auto per = static_cast<std::size_t>(layer.info.blockHeight);
    const auto bytes = static_cast<std::size_t>(s.shape.blockBytes);
    // A shared read uses only its own thread, with its own scratch and codec context; the
    // store's workers, contexts and staging belong to the one read that holds the layer.
    const int32_t threads = shared ? 1 : Workers(layer);
    thread_local std::vector<unsigned char> ownStage;
    thread_local CodecContext ownContext;
    std::vector<unsigned char> &stage = shared ? ownStage : layer.stage;
    std::vector<std::vector<unsigned char>> decoded(static_cast<std::size_t>(threads));
    std::vector<std::size_t> offsets;
    std::vector<Outcome> outcomes;
    const auto slot = [&](int32_t b) -> const hfa::BlockSlot & {
        return s.index.slots[static_cast<std::size_t>(b)];
    };
    for (std::size_t first = 0; first < blocks.size();) {
        // A run of blocks whose stored bytes fit the staging size (at least one block).
        std::size_t end = first, total = 0;
        offsets.clear();
        while (end < blocks.size() &&
               (end == first || total + slot(blocks[end]).size <= kStageBytes)) {
            offsets.push_back(total);
            total += slot(blocks[end++]).size;
        }
        if (stage.size() < total) stage.resize(std::max(total, std::min(kStageBytes, bytes * 8)));
        // One read per stretch of blocks that lie one after another in the file.
        for (std::size_t k = first; k < end;) {
            std::size_t stop = k + 1;
            while (stop < end &&
                   slot(blocks[stop]).at == slot(blocks[stop - 1]).at + slot(blocks[stop - 1]).size)
                ++stop;
            const std::size_t from = offsets[k - first];
            const std::size_t count = (stop < end ? offsets[stop - first] : total) - from;
            const uint64_t at = slot(blocks[k]).at;
            const bool read =
                s.companion ? hfa::ReadFromCompanion(*s.companion, at, stage.data() + from,
                                                     static_cast<int64_t>(count), err, fn)
                            : hfa::ReadAt(layer.file, static_cast<int64_t>(at), stage.data() + from,
                                          static_cast<long>(count), err, fn);
            if (!read) {
                SetError(err, fn, kWindowStoreFailed, *err, L"Cannot read block %ld of layer %s",
                         static_cast<long>(blocks[k]), layer.path.c_str());
                return false;
            }
            k = stop;
        }
        outcomes.assign(end - first, Outcome{});
        Parallel(end - first, threads, [&](std::size_t k, std::size_t worker) {
            const int32_t b = blocks[first + k];
            const unsigned char *stored = stage.data() + offsets[k];
            const std::size_t size = slot(b).size;
            const port::fs::Piece *out = rows.data() + (first + k) * per;
            // Summed while the read has left the bytes in the nearest caches, and before any
            // of them reach the caller.
            if (s.index.checksum != OIMG_CHECKSUM_NONE &&
                BlockChecksum(s.index.checksum, stored, size) != slot(b).sum) {
                outcomes[k].sumWrong = true;
                return;
            }
            if (size == bytes) return CopyRows(stored, out, per); // stored as it is
            std::vector<unsigned char> &to = decoded[worker];
            to.resize(bytes);
            CodecContext &context = shared ? ownContext : *s.contexts[worker];
            outcomes[k].status = DecodeBlock(context, s.storage, s.shape, stored, size, to.data());
            if (outcomes[k].status == DecodeStatus::kOk) CopyRows(to.data(), out, per);
        });
        for (std::size_t k = 0; k < outcomes.size(); ++k)
            if (outcomes[k].sumWrong || outcomes[k].status != DecodeStatus::kOk)
                return Report(layer, blocks[first + k], outcomes[k], err, fn);
        first = end;
    }
    return true;
}

bool WriteCodedWhole(Oimg_Layer &layer, const std::vector<int32_t> &blocks,
                     const std::vector<port::fs::Piece> &rows, Oerr_ErrorReport **err,
                     const wchar_t *fn) {
    CodedStore &s = *layer.coded;
    const auto per = static_cast<std::size_t>(layer.info.blockHeight);
    const auto bytes = static_cast<std::size_t>(s.shape.blockBytes);
    const bool ok = EncodeAndStore(
        layer, blocks,
        [&](std::size_t i, std::size_t worker) -> const unsigned char * {
            std::vector<unsigned char> &block = s.gathered[worker];
            block.resize(bytes);
            unsigned char *to = block.data();
            for (std::size_t y = i * per; y < (i + 1) * per; ++y) {
                std::memcpy(to, rows[y].bytes, rows[y].count);
                to += rows[y].count;
            }
            return block.data();
        },
        false, err, fn);
    if (ok) return true;
    SetError(err, fn, kWindowStoreFailed, *err, L"Cannot write blocks of layer %s",
             layer.path.c_str());
    return false;
}

} // namespace orvik::img
